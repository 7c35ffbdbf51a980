/*
 * listener.h -- the completion object of one asynchronous operation
 */
#pragma once

#include <orvane/runtime.h>

G_BEGIN_DECLS

typedef enum {
    ORVANE_LISTENER_UNUSED = 1,
    ORVANE_LISTENER_PENDING = 2,
    ORVANE_LISTENER_ACKNOWLEDGED = 4,
    ORVANE_LISTENER_RUNNING = 8,
    ORVANE_LISTENER_SUCCEEDED = 16,
    ORVANE_LISTENER_FAILED = 32,
} OrvaneListenerState;

typedef struct _OrvaneListenerPrivate OrvaneListenerPrivate;

struct _OrvaneListener {
    GObject parent;
    OrvaneListenerPrivate *priv;
};

typedef struct {
    GObjectClass parent;
    void (*acknowledge)(OrvaneListener *listener);
    void (*progress)(OrvaneListener *listener);
    void (*success)(OrvaneListener *listener);
    void (*failure)(OrvaneListener *listener);
} OrvaneListenerClass;

#define ORVANE_TYPE_LISTENER (orvane_listener_get_type())
#define ORVANE_LISTENER(obj) (G_TYPE_CHECK_INSTANCE_CAST((obj), ORVANE_TYPE_LISTENER, OrvaneListener))
#define ORVANE_IS_LISTENER(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), ORVANE_TYPE_LISTENER))

ORVANE_EXPORT GType orvane_listener_get_type(void);
ORVANE_EXPORT GType orvane_listener_state_get_type(void);
ORVANE_EXPORT OrvaneListener *orvane_listener_new(void);
ORVANE_EXPORT OrvaneListenerState orvane_listener_get_state(OrvaneListener *listener);
ORVANE_EXPORT gboolean orvane_listener_is_task(OrvaneListener *listener);
ORVANE_EXPORT gint orvane_listener_get_progress(OrvaneListener *listener);
ORVANE_EXPORT gboolean orvane_listener_is_cancellable(OrvaneListener *listener);
ORVANE_EXPORT gboolean orvane_listener_cancel(OrvaneListener *listener);
ORVANE_EXPORT SkemaQormMethodFault *orvane_listener_get_fault(OrvaneListener *listener);
ORVANE_EXPORT gboolean orvane_listener_get_result(OrvaneListener *listener, GValue *value);

G_DEFINE_AUTOPTR_CLEANUP_FUNC(OrvaneListener, g_object_unref)

G_END_DECLS
