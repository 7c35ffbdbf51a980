/*
 * orvaneSessionReconnect.h -- a session that was interrupted connects again automatically
 *
 * The connection of the session stays, with its manager, its proxies and its number; only its state is INTERRUPTED. Each try
 * goes through the steps of a connect, from the discovery to the login, with a listener of its own:
 *
 *   IDLE -> ENDING -> SCHEDULED -> TRYING -> IDLE           CONNECTED
 *                         ^          |
 *                         +--FAILED<-+                      the next delay is longer
 *                              |
 *                              +-> IDLE                     no more tries: DISCONNECTED; INTERRUPTED if the service has
 *                                                           refused the login
 *
 * ENDING and FAILED last until the next turn of the loop, where no call of the session is being worked on.
 *
 * Threads: the loop's.
 */
#pragma once

#include <memory>

#include <orvane/session.h>

#include "apps/lib/basicHttp/basicHttpDeadline.h"

/* What the application has set. A copy keeps it while one of its functions runs, also if it is replaced meanwhile. The release
 * of the last one runs the application's code. */
using OrvaneReconnectPolicy = std::shared_ptr<const OrvaneReconnect>;

enum class OrvaneReconnectState { Idle, Ending, Scheduled, Trying, Failed };

/* Part of the session's record. All zero at first. */
struct OrvaneReconnector {
    OrvaneReconnectPolicy *policy; /* owned, of the object; NULL without one */
    GError *error;                 /* owned; of the last try; NULL if it was none */

    /* of one connection */
    char *url;      /* owned; that of the connect */
    guint attempts; /* since updates have come */
    OrvaneReconnectState state;
    BasicHttpDeadline deadline;
    OrvaneListener *listener; /* owned; of the try */
    bool isRefused;           /* there were no credentials for the last try */
    bool isLoginRefused;      /* by the service: the same login once more could lock the account */
    char *soapUrl;            /* owned; those of the connection, while a try has others */
    gboolean useLegacy;
};

/* Stores where the connection leads. */
void OrvaneSessionReconnect_Begin(OrvaneSession *session, const char *url);
/* The session is INTERRUPTED. Does nothing without a policy, or if the session cannot log in again. */
void OrvaneSessionReconnect_Interrupted(OrvaneSession *session);
/* Stops all tries: the application has disconnected, or connects. */
void OrvaneSessionReconnect_Stop(OrvaneSession *session);
/* Stops, and forgets the connection. */
void OrvaneSessionReconnect_End(OrvaneSession *session);
/* Releases what belongs to the object. Runs the application's code. */
void OrvaneSessionReconnect_Free(OrvaneSession *session);

/* Whether there is a try, or will be one. */
bool OrvaneSessionReconnect_IsActive(const OrvaneSession *session);
/* Whether the steps of a connect are those of a try. Then they do not change the state. */
bool OrvaneSessionReconnect_IsTrying(const OrvaneSession *session);
/* The first step of a try, also after an accepted certificate. Its end is reported to the listener of the try. */
void OrvaneSessionReconnect_Discover(OrvaneSession *session);
/* (transfer full): the fault of a try whose service is not the one that the session knows. */
SkemaQormMethodFault *OrvaneSessionReconnect_NewRefusal(const char *text);
/* The last login has succeeded, or has failed for the reason that its listener has. If the service has refused user or
 * password, there are no tries with them. */
void OrvaneSessionReconnect_NoteLogin(OrvaneSession *session, OrvaneListener *internal);
/* The login of a try. FALSE if there are no credentials. Runs the application's code. */
bool OrvaneSessionReconnect_LogIn(OrvaneSession *session);
