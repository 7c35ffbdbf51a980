/*
 * orvaneSessionRelogin.h -- another login within a connection, when the service has ended the first
 *
 * A reply of NotAuthenticated leads to one login, for which all calls that get such a reply wait. Then they are sent again,
 * once. If the login is that of another session of the service, the manager creates its filters anew.
 *
 *   IDLE -> SCHEDULED -> RUNNING -> IDLE        at most one at a time
 *
 * The first login begins in the next turn of the loop. Later ones wait for 1, 2, 4 ... 60 seconds, half of that random,
 * until a call for updates has succeeded while no filter was being created.
 *
 * Threads: the loop's.
 */
#pragma once

#include <memory>

#include <orvane/session.h>

#include "apps/lib/basicHttp/basicHttpDeadline.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/orvaneListener.h"

/* The function of the application. */
struct OrvaneCredentialsSource {
    OrvaneCredentialsFunc function;
    gpointer data;
    GDestroyNotify destroy;
};
/* A copy keeps it while it runs, also if it is replaced meanwhile. The release of the last one runs the application's code. */
using OrvaneCredentials = std::shared_ptr<const OrvaneCredentialsSource>;

enum class OrvaneReloginState { Idle, Scheduled, Running };

/* Part of the session's record. All zero at first. */
struct OrvaneRelogin {
    OrvaneCredentials *credentials; /* owned, of the object; NULL without a function */

    /* of one connection */
    bool isPassword; /* of a connect by password */
    char *localUser; /* owned; of a connect by local ticket */
    guint number;    /* of the login in use, from 0 */
    guint tries;     /* since a call for updates has succeeded */
    OrvaneReloginState state;
    BasicHttpDeadline deadline; /* of the beginning, then of the end */
    OrvaneListener *internal;   /* of the call that is in flight; owned by it */
};

/* Stores how the connection logs in. */
void OrvaneSessionRelogin_Begin(OrvaneSession *session);
/* Gives up what is scheduled or in progress. The calls that wait are left alone. */
void OrvaneSessionRelogin_Stop(OrvaneSession *session);
/* Stops, and forgets the connection. */
void OrvaneSessionRelogin_End(OrvaneSession *session);
/* Releases the function. Runs the application's code. */
void OrvaneSessionRelogin_Free(OrvaneSession *session);

/* Whether the connection is of a kind that can log in again, and there is a function, where one is needed. */
bool OrvaneSessionRelogin_HasCredentials(const OrvaneSession *session);
/* Whether a refused call could be sent again. */
bool OrvaneSessionRelogin_IsPossible(const OrvaneSession *session);
/* Whether the listener is that of a call by which the session logs in again. */
bool OrvaneSessionRelogin_IsPart(const OrvaneSession *session, const OrvaneListener *listener);

/* Sends the login for the connection's kind. The callback handles the end of the login itself. FALSE if there are no
 * credentials. Runs the application's code; the connection may be over afterwards, and then it returns TRUE. */
bool OrvaneSessionRelogin_Send(OrvaneSession *session, OrvaneListenerCallback callback);

/* (nullable): the result of the login; NULL if it failed, or if there was no ticket for it. */
ObjectPtr<GObject> OrvaneSessionRelogin_TakeUserSession(OrvaneListener *internal);
