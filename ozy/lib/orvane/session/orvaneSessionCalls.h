/*
 * orvaneSessionCalls.h -- the records of a session's calls
 *
 * A record is in one list of its session: calls in flight, refused ones, those being sent again, or those that are
 * over. One in flight is found by its request, at the same cost however many there are.
 */
#pragma once

#include <memory>

#include "lib/misc/glibPtr.h"
#include "lib/misc/secret.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"

/* What a call that was refused for want of a login has until it is sent again. */
struct OrvaneRefusal {
    SecretBlock body;                      /* of the request */
    ObjectPtr<SkemaQormMethodFault> fault; /* with which it was refused */
};

/*
 * One HTTP request of a session, from its sending to its reply or the clean-up. The session's list owns it.
 * The weak reference on a listener has this record as its data, not the request, since the record knows
 * whether the request still exists.
 */
struct OrvaneCall {
    OrvaneCall *next;
    OrvaneCall **link; /* the pointer to this record in the list that it is in */
    OrvaneSession *session;
    BasicHttpRequest *request; /* NULL while the call waits for a login */
    guint generation; /* of the transport that sent it; the request exists in that one only */
    OrvaneListener *listener; /* weak; NULL without one, or once no reply is expected */
    OrvaneCall *nextOfListener;
    guint operation;   /* of the listener that the call is */
    GObject *context;  /* owned; the context of a discovery request, otherwise NULL */
    bool ownsListener; /* the session releases it if the call ends without a signal */
    bool isCanceled;   /* its reply is dropped, also if the listener has another call by then */
    guint login;       /* number of the login with which it was sent */
    bool isRepeated;   /* it was refused once, and was sent again */
    std::unique_ptr<OrvaneRefusal> refusal; /* NULL unless it waits for a login */
    std::unique_ptr<OrvaneWireCall> wire;   /* NULL if the request was not recorded */
};

/* -- lists and index ------------------------------------------------------------------------------- */

/* A record for a request, among those in flight. */
OrvaneCall *OrvaneCall_Add(OrvaneSession *session, BasicHttpRequest *request);
/* Gives a record that is in no list its request, and puts it among those in flight. */
void OrvaneCall_PutInFlight(OrvaneCall *call, BasicHttpRequest *request);
/* (transfer none) (nullable): the call of a request in flight. */
OrvaneCall *OrvaneCall_Find(const BasicHttpRequest *request);
/* Whether its request exists. */
bool OrvaneCall_HasRequest(const OrvaneCall *call);
/* Puts the record at the head of a list. */
void OrvaneCall_PutFirst(OrvaneCall **list, OrvaneCall *call);
/* Takes the record from the list that it is in. */
void OrvaneCall_Unlist(OrvaneCall *call);
/* Removes the index entry, which may be that of another request: after a shutdown of the transport one may have the
 * address of this. */
void OrvaneCall_LeaveIndex(const OrvaneCall *call);
/* Takes the record from its list and from the index. The caller owns it. */
void OrvaneCall_Take(OrvaneCall *call);
/* Ends a call that expects no reply. Its request is freed with the next call, since this may run anywhere. */
void OrvaneCall_SetDone(OrvaneCall *call);
/* Frees the calls that are over, so that a long session does not accumulate them. */
void OrvaneCall_FreeDone(OrvaneSessionPrivate *priv);

/* (transfer none) (nullable): the session of a request in flight. */
OrvaneSession *OrvaneSessionOfRequest(const BasicHttpRequest *request);
/* (transfer full) (nullable): the call of a request, which is taken from its session. */
OrvaneCall *OrvaneSessionTakeCall(BasicHttpRequest *request);
/* Frees all requests, and the internal listeners of their calls. */
void OrvaneSessionFreeCalls(OrvaneSession *session);
/* Adds the requests in flight to the session's bandwidth group. */
void OrvaneSessionLimitCalls(OrvaneSession *session);

/* -- their listeners ------------------------------------------------------------------------------- */

/* Links the call to its listener, whose operation has the serial. */
void OrvaneCall_Link(OrvaneCall *call, OrvaneListener *listener, guint serial,
                     const char *methodName);
/* Removes the call from its listener. */
void OrvaneCall_ForgetListener(OrvaneCall *call);
/* Whether a listener has a call in a session. */
bool OrvaneCall_HasAny(OrvaneListener *listener, const OrvaneSession *session);
/* The session to which a listener's last call linked it: NULL for none, OrvaneCall_Unlinked() once it is unlinked. */
gpointer OrvaneCall_GetLink(OrvaneListener *listener);
gpointer OrvaneCall_Unlinked();
void OrvaneSessionUnlinkAllListeners(OrvaneSession *session);

/* -- calls that wait for a login ------------------------------------------------------------------- */

/* Keeps a call that was refused with a fault, which it takes over then, until the session has logged in again. FALSE if
 * it is to fail instead. The manager handles the refusal of its long call itself. May call the application's wire
 * function. */
bool OrvaneSessionKeepRefused(OrvaneSession *session, std::unique_ptr<OrvaneCall> &call,
                              OrvaneListener *listener, const char *methodName,
                              const GValue *fault);
/* Sends the calls again that were refused and wait for a login, unless the application disconnects. May call the
 * application's wire function. */
void OrvaneSessionRepeatCalls(OrvaneSession *session);
/* Fails them with the faults with which they were refused. Runs the application's code. */
void OrvaneSessionFailRefusedCalls(OrvaneSession *session);
/* Sends a call again: a request for a method with a body, which it takes over. FALSE if it cannot be sent; the call is
 * then in its list and without a request. */
bool OrvaneSessionSendAgain(OrvaneCall *call, const char *methodName, char *body, gsize length);
/* Whether a method is the long call of the update stream. */
bool OrvaneSessionIsWait(const char *methodName);
