/*
 * orvaneListener.h -- the library's own side of a listener: how an operation drives it
 */
#pragma once

#include <orvane/listener.h>

G_BEGIN_DECLS

void orvane_listener_initiate(OrvaneListener *listener);
void orvane_listener_set_state(OrvaneListener *listener, OrvaneListenerState state);
GType orvane_listener_get_return_type(OrvaneListener *listener, gboolean *isArray);
void orvane_listener_set_return_type(OrvaneListener *listener, GType type, gboolean isArray);
void orvane_listener_acknowledge(OrvaneListener *listener, gboolean success, const GValue *value);

G_END_DECLS
