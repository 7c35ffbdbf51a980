/*
 * orvaneOperation.h -- the record of the operation that a listener serves, and its one end
 *
 *   NONE -> OPEN -> ENDED -> OPEN ...       ENDED once for each OPEN, with an outcome
 *
 * Whoever begins an operation of an application's listener calls OrvaneListener_BeginOperation() before
 * orvane_listener_initiate(). A final state ends it; whatever ends it without one calls
 * OrvaneListener_EndOperation(). What is still open when a connection ends is found in the session's list:
 *
 *   OrvaneOperations_Mark(list, DISCONNECTED)   the outcome of ends that follow
 *   ... the connection is cleaned up; some listeners fail with RequestCanceled ...
 *   OrvaneOperations_EndMarked(list)                      the silent ones
 *
 * Completion functions are not invoked by these, but by the next turn of the loop. The listener of a plain call is
 * the exception: its function is invoked by OrvaneListener_AcknowledgeReply(), which the loop's callback calls.
 * Internal listeners have no operations: all functions ignore them.
 *
 * Ownership: an open operation with a completion function has a reference to its listener. A list owns nothing;
 *            a listener leaves it when it is finalised.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/operation.h>

#include "ozy/lib/orvane/runtime/roomsAbove.h"

#include "apps/lib/basicHttp/basicHttpDeadline.h"

struct OrvaneCompletion;

/* Ends what an operation is made of, such as its transfer, without a signal on the listener. The data is alive: a
 * session, or what ends with it. May run other code of the application. */
typedef void (*OrvaneOperationStop)(OrvaneListener *listener, gpointer data);

/* What is kept in the listener's record. All zero at first. */
struct OrvaneOperation {
    OrvaneListener *next; /* in the list of open operations */
    OrvaneListener **link;
    guint serial; /* of the operation that was begun last */
    bool isOpen;
    bool isFresh;   /* begun, and orvane_listener_initiate() is still to be called */
    bool isDecided; /* the outcome is known; the signals are being emitted */
    bool isMarked;  /* an end from outside the operation has the outcome "mark" */
    bool hasOutcome;
    bool isInPlace;     /* the reply's handler invokes the functions */
    bool hasInPlaceEnd; /* the reply's handler is to invoke the functions now */
    bool ownsReference;
    bool isFaultCurrent; /* "fault" is of this operation */
    bool isStopped;      /* OrvaneListener_StopOperation() was called */
    bool isFailing;      /* the listener fails now because the operation was stopped */
    bool isOfFormer;     /* the signals that are emitted now are of a former operation */
    bool isObserved;     /* a completion function was set once; stays */
    bool hasReply;       /* the two values below are of this operation */
    guint errorCode;     /* of the transport */
    glong responseCode;  /* HTTP status */
    OrvaneOutcome outcome;
    OrvaneOutcome mark;
    char *url; /* owned; where a request failed, without secrets; NULL if that is not known */
    SkemaQormMethodFault *fault; /* owned; of an end that the listener's own fault does not show */
    OrvaneCompletion *function;  /* owned; of every operation; NULL for none */
    OrvaneCompletion *once;      /* owned; list of those for one operation */
    OrvaneOperationStop stop;    /* NULL if the operation cannot be stopped */
    gpointer stopData;
    guint timeLimit; /* of each operation, in milliseconds; 0: that of the session */
    BasicHttpDeadline deadline;
};

/* Opens an operation of a listener and adds it to the list, which may be NULL. A former one that is open ends. */
void OrvaneListener_BeginOperation(OrvaneListener *listener, OrvaneOperations *list);
/* The same for a begin without BeginOperation(); for orvane_listener_initiate(). */
void OrvaneListenerOpenOperation(OrvaneListener *listener);

/* Ends the open operation, if there is one. Invokes nothing. */
void OrvaneListener_EndOperation(OrvaneListener *listener, OrvaneOutcome outcome);
/* The same only if the operation is still the one that had this serial. */
void OrvaneListener_EndOperationOf(OrvaneListener *listener, guint serial, OrvaneOutcome outcome);

/* Ends it with a fault that is not that of the listener, whose state does not change. Takes over the fault; NULL for
 * none. What the reply of @source was is copied. */
void OrvaneListener_EndWithFault(OrvaneListener *listener, SkemaQormMethodFault *fault,
                                 OrvaneListener *source);

bool OrvaneListener_IsOperationOpen(const OrvaneListener *listener);
/* Whether an operation, by its serial, is over for an application with completion functions, since another one was begun.
 * What still comes for it is dropped. Listeners that only have signals emit those of both. */
bool OrvaneListener_ServesAnother(const OrvaneListener *listener, guint serial);
/* Whether the application's code, which has just run, has stopped an operation or replaced it so. Nothing is sent or
 * emitted for it any more. */
bool OrvaneListener_IsGivenUp(const OrvaneListener *listener, guint serial);
guint OrvaneListener_GetOperationSerial(const OrvaneListener *listener);
/* Whether a completion function is to be invoked. */
bool OrvaneListener_HasCompleted(const OrvaneListener *listener);
/* Whether there has ever been one. */
bool OrvaneListener_IsObserved(const OrvaneListener *listener);

/* How the open operation is stopped; to be called after its begin. */
void OrvaneListener_SetStop(OrvaneListener *listener, OrvaneOperationStop stop, gpointer data);
/* Stops the open operation. It fails with the fault, which is taken over, at once or in the next turn of the loop.
 * Returns FALSE if there is none, or it cannot be stopped. */
bool OrvaneListener_StopOperation(OrvaneListener *listener, OrvaneOutcome outcome,
                                  SkemaQormMethodFault *fault, bool isAtOnce);
/* The limit of the next operation, in milliseconds: that of the listener, or else the given one. NULL has none. */
guint OrvaneListener_TimeLimit(const OrvaneListener *listener, guint otherwise);

/* The outcome that a failure of the open operation will have, in place of the one by its fault. */
void OrvaneListener_MarkOperation(OrvaneListener *listener, OrvaneOutcome outcome);

/* Takes the open operation from the list of its session, or adds it to one: the end of a connection ends those of the
 * list. */
void OrvaneListener_LeaveOperations(OrvaneListener *listener);
void OrvaneListener_JoinOperations(OrvaneListener *listener, OrvaneOperations *list);

/* Stores the URL of a request that failed, for orvane_listener_get_error(); its secrets are left out. Either may be
 * NULL. */
void OrvaneListener_NoteUrl(OrvaneListener *listener, const char *url);
/* Stores what the transport reported about a reply that is no SOAP message, for orvane_listener_get_error(). */
void OrvaneListener_NoteReply(OrvaneListener *listener, guint errorCode, glong responseCode);
/* Copies both from one listener to another; either may be NULL. */
void OrvaneListener_CopyReply(OrvaneListener *to, const OrvaneListener *from);

/* orvane_listener_acknowledge() for the reply to the call of an operation, called from the loop. Invokes the completion
 * functions before it returns. */
void OrvaneListener_AcknowledgeReply(OrvaneListener *listener, guint serial, gboolean success,
                                     const GValue *value);

/* The outcome is decided before the signals of a final state, and the operation ends after them. */
void OrvaneListenerDecideOutcome(OrvaneListener *listener);
void OrvaneListenerFinalizeOperation(OrvaneListener *listener);

void OrvaneOperations_Mark(OrvaneOperations *list, OrvaneOutcome outcome);
void OrvaneOperations_EndMarked(OrvaneOperations *list);
/* Stop one operation, or all: their session connects again. They fail with a RequestCanceled in the next turn of the loop,
 * as DISCONNECTED. */
void OrvaneListener_StopReconnecting(OrvaneListener *listener);
void OrvaneOperations_StopAll(OrvaneOperations *list);
/* Marks and ends all. */
void OrvaneOperations_EndAll(OrvaneOperations *list, OrvaneOutcome outcome);
