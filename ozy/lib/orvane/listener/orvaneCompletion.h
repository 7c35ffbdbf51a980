/*
 * orvaneCompletion.h -- the queue of operations that have ended, whose completion functions the loop is to invoke
 *
 * What ends within a turn of the loop waits for the next one. While the library shuts down there is no loop:
 * OrvaneCompletion_InvokeAll() empties the queue then.
 *
 * Ownership: an entry of the queue has a reference to its listener, unless it is that of a stopped operation.
 * Threads:   the loop's.
 */
#pragma once

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/objectWatch.h"
#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/listener/orvaneOperation.h"

/* The operation that a listener serves, or served last. */
inline OrvaneOperation &OrvaneOperation_Of(const OrvaneListener *listener) {
    return listener->priv->operation;
}

/* A function for the end of one operation or of each. */
struct OrvaneCompletion {
    OrvaneCompletedFunc function;
    gpointer data;
    GDestroyNotify destroy;
    OrvaneCompletion *next;

    ~OrvaneCompletion() {
        if (destroy != nullptr)
            destroy(data);
    }
};

/* An operation that was stopped, and whose listener is to fail. The listener may die before. */
struct OrvaneStopped {
    ObjectWatch<OrvaneListener> listener;
    guint serial;
    ObjectPtr<SkemaQormMethodFault> fault;
};

/* The end of one operation whose functions are to be invoked, or that is to fail first. */
struct OrvaneEnded {
    ObjectPtr<OrvaneListener> listener; /* the operation's own reference */
    OrvaneOutcome outcome;
    bool callsFunction;     /* that of all operations, too */
    OrvaneCompletion *once; /* owned */
    OrvaneStopped *stopped; /* owned; NULL for an end, and otherwise all above is zero */
    OrvaneEnded *next;
};

/* Puts an entry at the end of the queue, which takes it over. */
void OrvaneCompletion_PushEntry(OrvaneEnded *ended);
/* The same for a listener that has ended. Takes over the reference and the list. */
void OrvaneCompletion_Push(OrvaneListener *listener, OrvaneOutcome outcome, bool callsFunction,
                           OrvaneCompletion *once);
/* Invokes the functions of an end. Runs the application's code. */
void OrvaneCompletion_Invoke(OrvaneEnded &ended);
/* Fails the listener of a stopped operation, if it still serves that one. While the library shuts down, nothing is
 * emitted. Runs the application's code. */
void OrvaneCompletion_FinishStopped(const OrvaneStopped &stopped);
/* Invokes what is in the queue without the loop, for a shutdown. Runs the application's code. */
void OrvaneCompletion_InvokeAll();
/* Frees a list of functions, which are not invoked. */
void OrvaneCompletion_FreeAll(OrvaneCompletion *list);
