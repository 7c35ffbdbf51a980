/*
 * orvaneSessionVerify.h -- the session's decision on the certificates of its peers
 *
 * A handshake cannot wait for a person. So the application's function is asked inside it, and unless it answers
 * at once the handshake fails; when the answer comes, the connect starts over, and the function is asked again:
 *
 *   asked -> answered at once: yes -> the handshake goes on
 *                              no  -> it fails, and the connect with error 49
 *         -> not answered          -> it fails; whichever comes second, this failure or the answer, acts:
 *                              yes -> the connect starts over
 *                              no  -> the connect fails with error 49
 *
 * A question holds its session and its listener weakly. One whose connect has ended in another way meanwhile is
 * answered in vain.
 *
 * Strict: every connection of the session is checked and not only those of discovery, and the calls of a session
 * share no connection with anybody else. A certificate that the function has accepted is not asked about again
 * until the session's connection ends. When a request has got its connection, a last look makes sure that the
 * function has accepted the peer of this very one.
 *
 * Threads: the loop's.
 */
#pragma once

#include "ozy/lib/orvane/session/orvaneSessionInt.h"

/* Whether a session may send anything to the URL: if it is strict, https, or a service of this machine. Says in
 * the log why not. */
bool OrvaneSessionVerify_MayConnect(const OrvaneSession *session, const char *url);

/* Settles what the connection that begins will check; its cookie jar is there. FALSE: it cannot be kept. */
bool OrvaneSessionVerify_Begin(OrvaneSession *session);

/* Forgets what the connection knows. */
void OrvaneSessionVerify_End(OrvaneSession *session);

/* Make a request check the connections that it will use. */
void OrvaneSessionVerify_SetUpDiscovery(const OrvaneSession *session, BasicHttpRequest *request);
void OrvaneSessionVerify_SetUpCall(const OrvaneSession *session, BasicHttpRequest *request,
                                   bool isLogin);

/* A discovery request has ended with error 49, and there is a function to ask. */
void OrvaneSessionVerify_HandshakeOver(OrvaneSession *session, OrvaneListener *listener);

/* Who waits for a connect that rests until the application answers; the answer will be in vain. NULL if nobody
 * does. */
OrvaneListener *OrvaneSessionVerify_TakeResting(OrvaneSession *session);
