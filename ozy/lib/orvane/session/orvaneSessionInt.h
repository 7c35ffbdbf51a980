/*
 * orvaneSessionInt.h -- the record of a session, shared by its sources
 *
 * A connection lasts from a connect to the clean-up after it, and has a number. Whatever runs the
 * application's code (the notify of a state, a listener's signal, the release of an object) may return when
 * the session has another connection, or none: a ConnectionWatch checks that.
 *
 *   orvaneSession.cpp            the object: properties, setters, clean-up
 *   orvaneSessionConnect.cpp     the connect functions, and what all steps of a connect use
 *   orvaneSessionDiscovery.cpp   requests for the version documents, which orvaneSessionVersion.cpp reads
 *   orvaneSessionLogin.cpp       service content, the kinds of login, roles, keep-alive
 *   orvaneSessionVerify.cpp      decisions on certificates
 *   orvaneSessionDisconnect.cpp  disconnect
 *   orvaneSessionInvoke.cpp      calls and replies
 *   orvaneSessionCalls.cpp       the records of calls in flight
 *   orvaneSessionRepeat.cpp      calls that are sent again after another login
 *   orvaneSessionRelogin.cpp     another login when the service has ended the one of the connection
 *   orvaneSessionReconnect.cpp   another connection when the session was interrupted
 *   orvaneSessionBackOff.cpp     the time between tries of both
 *   orvaneSessionWire.cpp        records of requests and replies; wireFile.cpp is the file of them
 *   orvaneSessionLocal.cpp       services and ticket files of this machine
 *   orvaneSessionSspi.cpp        single sign-on
 */
#pragma once

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/objectWatch.h"
#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/session/orvaneServer.h"
#include "ozy/lib/orvane/session/orvaneSessionReconnect.h"
#include "ozy/lib/orvane/session/orvaneSessionRelogin.h"
#include "ozy/lib/orvane/session/orvaneSessionWire.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"

/* Stores and notifies "state"; nothing for an equal state. */
void orvane_session_set_state(OrvaneSession *session, OrvaneSessionState state);

/* -- how to log in ----------------------------------------------------------------------------- */

enum OrvaneCnxKind {
    ORVANE_CNX_PASSWORD = 0, /* user name, password */
    ORVANE_CNX_CLONE = 1,    /* clone ticket */
    ORVANE_CNX_SSPI = 2,     /* argument, or NULL */
    ORVANE_CNX_LOCAL = 3,    /* user name */
    ORVANE_CNX_HIJACK = 4,   /* cookie */
};

struct OrvaneCnxParams {
    OrvaneCnxKind kind;
    char *first;
    char *second;
};

/* Takes copies of the strings that the kind (an OrvaneCnxKind, as an int for va_start) has; NULL if a required
 * one is missing. */
OrvaneCnxParams *orvane_session_create_cnxparams(gint kind, ...);
/* Wipes and frees; NULL is accepted. */
void orvane_session_destroy_cnxparams(OrvaneCnxParams *params);

/* -- requests ------------------------------------------------------------------------------------ */

struct OrvaneCall; /* orvaneSessionCalls.h */

/* Adds a discovery request to the session. Takes over the context. May call the application's wire function. */
void OrvaneSessionAddDiscovery(OrvaneSession *session, BasicHttpRequest *request, GObject *context);
void OrvaneSessionFreeCallHeaders(OrvaneSessionPrivate *priv);
/* The longest time that a request of the library itself may take: that of the session, or that of the listener which it
 * serves; 0 if the session has none. */
guint OrvaneSessionLongerLimit(guint total, const OrvaneListener *listener);
/* Sets what all requests of a session have in common: connection, proxy, user agent. */
void OrvaneSessionSetUpRequest(const OrvaneSession *session, BasicHttpRequest *request);

/* -- the record ---------------------------------------------------------------------------------- */

struct OrvaneSspiState;

/*
 * The decision on the certificate of a connect. The states are made of the flags verifyDecided, which means that the
 * application has answered, and verifyHandshakeOver:
 *
 *   IDLE -> ASKED -> ANSWERED -> IDLE      the answer came first, then the end of the handshake
 *                 -> WAITING  -> IDLE      the handshake has failed; the connect waits for the answer
 */
enum OrvaneVerifyState {
    ORVANE_VERIFY_ASKED = 0,    /* the application's function was called, inside a handshake */
    ORVANE_VERIFY_ANSWERED = 1, /* verifyDecided */
    ORVANE_VERIFY_WAITING = 2,  /* verifyHandshakeOver */
    ORVANE_VERIFY_IDLE = 3,     /* both: no decision is pending */
};

struct _OrvaneSessionPrivate {
    OrvaneSessionState state;
    GHashTable *roles;  /* role id to the set of its privileges; read by OrvaneSessionGetRoles() */
    bool areRolesStale; /* the list of roles has changed since it was read */
    GHashTable *listeners; /* listener in flight to the name of its method */
    OrvaneServer *server;
    char *userAgent;
    gboolean useFreshConnection;
    OrvaneTimeLimits timeLimits;             /* "total" is that of requests without an operation */
    bool hasStrictLoads;                     /* of the manager */
    bool hasReplyLimits;                     /* the application has set them */
    guint64 maxBodyBytes;                    /* of a reply, if so; 0: no limit */
    guint64 maxTreeBytes;                    /* of a reply's tree; 0: no limit */
    BasicHttpBandwidthGroup *bandwidthGroup; /* of all requests; NULL until a limit is set */
    OrvaneWireReceiver *wireReceiver;        /* NULL for none */
    gsize wireLimit;                         /* bytes of a body that are shown */
    bool hasWireLimit;                       /* the application has set it */
    gboolean keepAliveActive;
    char *sslCertificateFile;
    char *sslCertificatePath;
    OrvaneVerifyCertificateFunc verifyFunc;
    gpointer verifyData;
    gboolean strictTls; /* for the connections to come */
    OrvaneVerifyState verifyState;
    gint verifyDecision;    /* 0 none, 1 accepted, 2 rejected */
    GObject *verifyContext; /* weak: the context of the connect's pending decision */

    /* of one connection, cleared by the clean-up */
    guint connection; /* its number, from 1 */
    GObject *serviceContent;
    SkemaQormManagedObject *serviceInstance;
    char *url; /* base URL during discovery, SOAP URL after it */
    char *version;
    char *nameSpace;
    OrvaneCnxParams *cnxParams;
    OrvaneSspiState *sspiState;
    gboolean useLegacy;
    BasicHttpCookieJar *cookieJar;
    bool isStrict; /* every connection is checked before anything is sent on it */
    bool
        asksFunction; /* certificates are checked by the application's function, not by CA certificates */
    GHashTable *acceptedCerts; /* set of SHA-256 thumbprints; NULL for none */
    char *lateCert;            /* owned; that of an answer for the next try; NULL for none */
    bool isLateAccepted;       /* the answer */
    bool isLateUsed;           /* by a try that is not over */
    OrvaneMOMgr *moMgr;
    SkemaQormManagedObject *authorizationManager;
    gulong roleListHandler;
    /* owned; loads the roles. The connect's listener is bound to it from CONNECTED until it is acknowledged */
    OrvaneListener *rolesLoadListener;
    SkemaQormManagedObject *sessionManager;
    GObject *userSession;
    OrvaneOperations operations; /* of the connection, that have not ended */
    OrvaneCall *calls;           /* in flight, newest first */
    OrvaneCall *doneCalls;       /* over, and freed with the next call or the clean-up */
    OrvaneCall *refusedCalls;    /* that wait for a login, newest first */
    OrvaneCall *repeatedCalls;   /* that are being sent again, oldest first */
    OrvaneRelogin relogin;
    OrvaneReconnector reconnector;

    BasicHttpHeaders *callHeaders; /* kept between calls and connections */
    char *callHeadersVersion;      /* the version that callHeaders were made for */

    ObjectWatch<OrvaneSession> *watches;
};

/* Checks whether a session exists and still has the connection that it had. */
class ConnectionWatch {
public:
    explicit ConnectionWatch(OrvaneSession *watched)
        : session(watched), connection(watched->priv->connection) {}
    bool IsSame() const { return session && session.Get()->priv->connection == connection; }
    bool IsIn(OrvaneSessionState state) const {
        return IsSame() && session.Get()->priv->state == state;
    }

private:
    ObjectWatch<OrvaneSession> session;
    guint connection;
};

/* Ends the connection: frees and clears all that belongs to it. Operations that are open end with the outcome. Runs
 * the application's code. */
void orvane_session_cleanup_private_state(OrvaneSession *session, OrvaneOutcome outcome);

/* -- steps of a connect --------------------------------------------------------------------------- */

/* Binds the application's listener to a step of its operation. */
void OrvaneSessionBind(GObject *object, OrvaneListener *application);
/* (transfer none) (nullable): the listener that is bound to an object, unless it serves another operation by now. */
OrvaneListener *OrvaneSessionBound(gpointer object);
/* An internal listener for the next call. The application's listener, if any, is bound to it. */
OrvaneListener *OrvaneSessionNewListener(OrvaneSession *session, OrvaneListenerCallback callback,
                                         OrvaneListener *application);
/* Whether a listener is one of those. */
bool OrvaneSessionIsStep(OrvaneListener *listener);
/* Fails a call that could not be sent; to be called right after it was made. */
void OrvaneSessionCheckSent(OrvaneSession *session, OrvaneListener *internal);
/* Releases a call's reference on its listener after a reply that came too late to be reported. If it is one of
 * OrvaneSessionNewListener(), the application's listener fails with an OrvaneFaultUnexpected. */
void OrvaneSessionDropListener(OrvaneListener *listener);

void OrvaneSessionAcknowledgeSuccess(OrvaneListener *application);
/* Acknowledges a failure with an OrvaneFaultUnexpected, if there is a listener, whose operation has the outcome. */
void OrvaneSessionAcknowledgeUnexpected(OrvaneListener *application, OrvaneOutcome outcome);
/* Acknowledges a failure, if there is a listener. Takes over the fault; NULL counts as an unspecified one. */
void OrvaneSessionAcknowledgeFault(OrvaneListener *application, SkemaQormMethodFault *fault);
/* Sets the state DISCONNECTED, then does the same. */
void OrvaneSessionConnectFailed(OrvaneSession *session, OrvaneListener *application,
                                SkemaQormMethodFault *fault);

/* Sets the state DISCONNECTED, unless the step that failed is that of a try to connect again. */
void OrvaneSessionSetFailed(OrvaneSession *session);
/* The session has logged in again on another connection: CONNECTED, updates, keep-alive. Runs the application's code. */
void OrvaneSessionResume(OrvaneSession *session);
/* Whether the service has a collector, without which a session cannot be resumed. */
bool OrvaneSessionHasCollector(OrvaneSession *session);

/* (transfer none): the roles of the main service, which are read again if they have changed. */
GHashTable *OrvaneSessionGetRoles(OrvaneSession *session);

/* Ends a connect that waits for its roles: its listener fails with a RequestCanceled. */
void OrvaneSessionCancelConnect(OrvaneSession *session);

/* The first step of a connect. Takes over the parameters. */
void orvane_session_connect_internal(OrvaneSession *session, const char *url,
                                     OrvaneListener *listener, OrvaneCnxParams *cnxParams);
gboolean orvane_session_get_version_url(OrvaneSession *session, const char *url,
                                        BasicHttpOnSentProc callback, OrvaneListener *listener);
void orvane_session_server_version_cb(BasicHttpRequest *request, BasicHttpResponse *response,
                                      gpointer context);
void orvane_session_retrieveServiceInstanceContent(OrvaneSession *session,
                                                   OrvaneListener *listener);
gboolean orvane_session_invoke_login(OrvaneSession *session, OrvaneListener *listener);
void OrvaneSessionStopKeepAlive(OrvaneSession *session);

/* (transfer full) (nullable): the user and the password of the ticket that is the result of a call. */
OrvaneCnxParams *OrvaneSessionReadTicketReply(OrvaneSession *session, OrvaneListener *internal);

/* -- this machine --------------------------------------------------------------------------------- */

/* The text of a ticket file: a regular one of at most 4 KiB, not reached over a link. NULL otherwise. */
char *OrvaneSessionReadTicket(const char *path);

/* -- single sign-on: not available on this platform ------------------------------------------------- */

OrvaneSspiState *orvane_create_sspi_state(const char *argument);
void orvane_destroy_sspi_state(OrvaneSspiState *state);
gboolean orvane_set_sspi_challenge(OrvaneSspiState *state, const char *token);
gboolean orvane_get_sspi_response(OrvaneSspiState *state, char **token);
