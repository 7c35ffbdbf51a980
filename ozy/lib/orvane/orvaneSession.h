/*
 * orvaneSession.h -- what the codec, the listener and the manager need of a session beside
 * <orvane/session.h>
 */
#pragma once

#include <orvane/session.h>

G_BEGIN_DECLS

void orvane_session_set_state(OrvaneSession *session, OrvaneSessionState state);
void orvane_session_set_interrupted(OrvaneSession *session);
void orvane_session_unlink_listener(OrvaneListener *listener);

G_END_DECLS
