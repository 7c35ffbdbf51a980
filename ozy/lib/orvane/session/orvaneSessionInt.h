/*
 * orvaneSessionInt.h -- the record of a session, shared by its sources
 *
 * One connection is one run from a connect to the clean-up after it; it has a number. Whatever calls
 * out (a state's notify, a listener's signal, the release of an object that somebody watches) may come
 * back to another connection, or to none: ConnectionWatch tells.
 *
 *   orvaneSession.cpp            the object: properties, setters, clean-up
 *   orvaneSessionConnect.cpp     the entry points, and what the steps have in common
 *   orvaneSessionDiscovery.cpp   the documents that tell the version, read by orvaneSessionVersion.cpp
 *   orvaneSessionLogin.cpp       service content, the kinds of login, roles, keep-alive
 *   orvaneSessionVerify.cpp      the decision on certificates
 *   orvaneSessionDisconnect.cpp  the way back
 *   orvaneSessionInvoke.cpp      calls and replies
 *   orvaneSessionLocal.cpp       what is on this machine
 *   orvaneSessionSspi.cpp        single sign-on
 */
#pragma once

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/objectWatch.h"
#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/session/orvaneServer.h"
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

/* -- requests in flight ------------------------------------------------------------------------- */

/*
 * One HTTP request of a session, from its sending to its reply or the clean-up. It belongs to the
 * session's list; the weak reference of a listener points to it and not to the request, so that it
 * always knows whether there still is one.
 */
struct OrvaneCall {
    OrvaneCall *next;
    OrvaneSession *session;
    BasicHttpRequest *request;
    guint generation;         /* the transport's when it was sent; under another one it is gone */
    OrvaneListener *listener; /* weakly referenced; NULL without, or when nobody waits any more */
    GObject *context;         /* owned; what a discovery request is about, otherwise NULL */
    bool ownsListener;        /* nobody else would release it when no signal comes */
};

/* Whose request it is; NULL if it is nobody's any more. */
OrvaneSession *OrvaneSessionOfRequest(const BasicHttpRequest *request);
/* Takes the call of a request out of its session's list; NULL if there is none. */
OrvaneCall *OrvaneSessionTakeCall(BasicHttpRequest *request);
/* Enters a discovery request, and takes over the context. */
void OrvaneSessionAddDiscovery(OrvaneSession *session, BasicHttpRequest *request, GObject *context);
/* Frees all requests, and the internal listeners that would have had their replies. */
void OrvaneSessionFreeCalls(OrvaneSession *session);
void OrvaneSessionFreeCallHeaders(OrvaneSessionPrivate *priv);
/* What every request of a session has alike. */
void OrvaneSessionSetUpRequest(const OrvaneSession *session, BasicHttpRequest *request);
void OrvaneSessionUnlinkAllListeners(OrvaneSession *session);

/* -- the record ---------------------------------------------------------------------------------- */

struct OrvaneSspiState;

struct _OrvaneSessionPrivate {
    OrvaneSessionState state;
    GHashTable *roles;     /* role id to the set of its privileges */
    GHashTable *listeners; /* listener in flight to the name of its method */
    OrvaneServer *server;
    char *userAgent;
    gboolean useFreshConnection;
    bool hasReplyLimits;  /* the application has set them */
    guint64 maxBodyBytes; /* of a reply, if so; 0: no limit */
    guint64 maxTreeBytes; /* of a reply's tree; 0: no limit */
    gboolean keepAliveActive;
    char *sslCertificateFile;
    char *sslCertificatePath;
    OrvaneVerifyCertificateFunc verifyFunc;
    gpointer verifyData;
    gboolean strictTls;           /* for the connections to come */
    gboolean verifyHandshakeOver; /* nobody waits for the end of a handshake, */
    gboolean verifyDecided;       /* nor for an answer */
    gint verifyDecision;          /* 0 none, 1 accepted, 2 rejected */
    GObject *verifyQuestion;      /* weak: the context of what a connect has asked last */

    /* of one connection, cleared by the clean-up */
    guint connection; /* its number */
    GObject *serviceContent;
    SkemaQormManagedObject *serviceInstance;
    char *url; /* base URL during discovery, SOAP URL after it */
    char *version;
    char *nameSpace;
    OrvaneCnxParams *cnxParams;
    OrvaneSspiState *sspiState;
    gboolean useLegacy;
    BasicHttpCookieJar *cookieJar;
    bool isStrict;             /* every connection is checked, */
    bool asksFunction;         /* by the application's function, otherwise by CA certificates */
    bool isSendingLogin;       /* the call that is being made carries one */
    GHashTable *acceptedCerts; /* set of SHA-256 thumbprints; NULL for none */
    OrvaneMOMgr *moMgr;
    SkemaQormManagedObject *authorizationManager;
    gulong roleListHandler;
    /* owned; loads the roles. The connect's listener is bound to it from CONNECTED until it is acknowledged */
    OrvaneListener *rolesLoadListener;
    SkemaQormManagedObject *sessionManager;
    GObject *userSession;
    OrvaneCall *calls; /* newest first */
    bool hasDoneCalls; /* some of them are over, and only wait to be freed */

    BasicHttpHeaders *callHeaders; /* kept between calls, and connections */
    char *callHeadersVersion;      /* that they were made for */

    OrvaneSession *nextLive;
    ObjectWatch<OrvaneSession> *watches;
};

/* All sessions that were not finalised yet, by nextLive. */
extern OrvaneSession *orvaneSessionLive;

/* Whether a session lives and is still in the connection that it was in. */
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

/* Ends the connection: frees and clears all that belongs to it. Calls out. */
void orvane_session_cleanup_private_state(OrvaneSession *session);

/* -- steps of a connect --------------------------------------------------------------------------- */

/* The listener bound to an object, or NULL. */
OrvaneListener *OrvaneSessionBound(gpointer object);
/* An internal listener for the next step, to which the application's is bound if there is one. */
OrvaneListener *OrvaneSessionNewStep(OrvaneSession *session, OrvaneListenerCallback callback,
                                     OrvaneListener *application);
/* To be called when the step's call was made: one that could not be sent fails now. */
void OrvaneSessionStepSent(OrvaneSession *session, OrvaneListener *step);
/* Gives up a call's reference on its listener after a reply that came too late to be told. If it is a
 * step's, somebody still waits for the end of the chain, and is told that this is it. */
void OrvaneSessionDropListener(OrvaneListener *listener);

void OrvaneSessionAcknowledgeSuccess(OrvaneListener *application);
/* Tells the listener, if there is one, of a fault, which it takes over; NULL is "no fault given". */
void OrvaneSessionAcknowledgeFault(OrvaneListener *application, SkemaQormMethodFault *fault);
/* The same after the state went to DISCONNECTED. */
void OrvaneSessionConnectFailed(OrvaneSession *session, OrvaneListener *application,
                                SkemaQormMethodFault *fault);

/* Ends a connect whose roles will not be loaded any more: its listener fails with a RequestCanceled. */
void OrvaneSessionCancelConnect(OrvaneSession *session);

/* Step 1 on takes over the parameters. */
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

/* -- what is on this machine, what is of which kind ------------------------------------------------ */

/* The text of a ticket file: a regular one of at most 4 KiB, not reached over a link. NULL otherwise. */
char *OrvaneSessionReadTicket(const char *path);

/* -- single sign-on: nothing on this platform ------------------------------------------------------- */

OrvaneSspiState *orvane_create_sspi_state(const char *argument);
void orvane_destroy_sspi_state(OrvaneSspiState *state);
gboolean orvane_set_sspi_challenge(OrvaneSspiState *state, const char *token);
gboolean orvane_get_sspi_response(OrvaneSspiState *state, char **token);
