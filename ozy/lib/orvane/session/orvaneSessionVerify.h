/*
 * orvaneSessionVerify.h -- the session's decision on the certificates of its peers
 *
 * A handshake cannot wait for a person. So the application's function is called within it. If it does not answer at
 * once, the handshake fails; when the answer comes, the connect starts over, and the function is called again:
 *
 *   called -> answers at once: yes -> the handshake continues
 *                              no  -> the handshake fails, and the connect with error 49
 *          -> answers later        -> the handshake fails; then, when both this failure and the answer have come:
 *                              yes -> the connect starts over
 *                              no  -> the connect fails with error 49
 *
 * A pending decision holds its session and its listener weakly. An answer has no effect if the connect has ended
 * meanwhile.
 *
 * When a session connects again, an answer that comes after the end of its try holds for the next one, which does not call
 * the function for that certificate. A login that the session sends again by itself, and all that it sends in such a try,
 * goes over a connection that is checked as those of discovery are, also if the session is not strict.
 *
 * Strict: every connection of the session is checked, not only those of discovery, and the session shares no
 * connection with others. The function is not called again for a certificate that it has accepted, until the
 * session's connection ends or a try to connect again begins. Before each request is sent, its connection must be
 * one whose peer was accepted.
 *
 * Threads: the loop's.
 */
#pragma once

#include "ozy/lib/orvane/session/orvaneSessionInt.h"

/* Whether a session may send anything to the URL; a strict one only to https or to this machine. Logs a refusal. */
bool OrvaneSessionVerify_MayConnect(const OrvaneSession *session, const char *url);

/* Determines what the new connection checks. Its cookie jar must exist. FALSE if libcurl cannot keep connections apart. */
bool OrvaneSessionVerify_Begin(OrvaneSession *session);

/* Clears what was decided for the connection. */
void OrvaneSessionVerify_End(OrvaneSession *session);

/* Gives up a pending decision. An answer has no effect any more. What was accepted before stays so. */
void OrvaneSessionVerify_Forget(OrvaneSession *session);

/* A try begins: what was accepted before is asked for again. */
void OrvaneSessionVerify_DecideAnew(OrvaneSession *session);

/* Forget the answer that came too late: always, or if a try has used it. */
void OrvaneSessionVerify_ForgetLate(OrvaneSession *session);
void OrvaneSessionVerify_ForgetUsed(OrvaneSession *session);

/* Make a request check the connections that it will use. */
void OrvaneSessionVerify_SetUpDiscovery(const OrvaneSession *session, BasicHttpRequest *request);
void OrvaneSessionVerify_SetUpCall(const OrvaneSession *session, BasicHttpRequest *request,
                                   bool isLogin);

/* To be called when a discovery request has ended with error 49 and a function is set. */
void OrvaneSessionVerify_HandshakeOver(OrvaneSession *session, OrvaneListener *listener);

/* Returns the listener of a connect that waits for an answer, which has no effect any more; NULL without one. */
OrvaneListener *OrvaneSessionVerify_TakeWaiting(OrvaneSession *session);
