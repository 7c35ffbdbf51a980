/*
 * orvaneMOMgr.h -- the manager of a session's managed objects: registry, loads, update stream
 */
#pragma once

#include <orvane/session.h>

G_BEGIN_DECLS

#define ORVANE_TYPE_MOMGR (orvane_momgr_get_type())

GType orvane_momgr_get_type(void);
OrvaneMOMgr *orvane_momgr_new(OrvaneSession *session);
SkemaQormManagedObject *orvane_momgr_lookup(OrvaneMOMgr *momgr, const char *id);
SkemaQormManagedObject *orvane_momgr_lookup_or_create(OrvaneMOMgr *momgr, const char *id,
                                                      GType type);
void orvane_momgr_insert(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy);
void orvane_momgr_discard_by_id(OrvaneMOMgr *momgr, const char *id);
void orvane_momgr_load_object(OrvaneMOMgr *momgr, gboolean partialUpdates,
                              SkemaQormManagedObject *proxy, OrvaneListener *listener);
void orvane_momgr_unload_object(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy, gboolean clear);
void orvane_momgr_acknowledge_load(OrvaneMOMgr *momgr, SkemaQormManagedObject *proxy,
                                   gboolean success, const GValue *value);
void orvane_momgr_retrieve_contents(OrvaneMOMgr *momgr, GValueArray *filterSpecSet,
                                    OrvaneListener *listener);

void orvane_momgr_set_collector(OrvaneMOMgr *momgr, SkemaQormManagedObject *collector);
void orvane_momgr_wait_for_updates(OrvaneMOMgr *momgr);
void orvane_momgr_cancel_updates(OrvaneMOMgr *momgr, OrvaneListener *listener);
void orvane_momgr_update_property(OrvaneMOMgr *momgr, GObject *object, const char *name,
                                  const GValue *value, gint op);

G_END_DECLS
