/*
 * orvaneListenerInt.h -- the record of a listener, shared by its two sources
 */
#pragma once

#include <orvane/schema/ozy.h>

#include "ozy/lib/orvane/listener/objectWatch.h"
#include "ozy/lib/orvane/listener/orvaneListener.h"
#include "ozy/lib/orvane/listener/orvaneOperation.h"

constexpr gint32 kListenerNoProgress = G_MININT32;

struct _OrvaneListenerPrivate {
    OrvaneListenerState state;
    GValue result;               /* zeroed while neither its type nor its value is known */
    SkemaQormMethodFault *fault; /* owned */
    SkemaOzyTask *task;          /* owned; the one that is followed, or NULL */
    gint32 progress;
    GType returnElementType;    /* 0 unless the result is an array */
    gboolean isReturnTypeFresh; /* it was set for an operation that is still to begin */
    guint numOperations;        /* that were begun */
    gulong taskInfoHandler;
    gulong taskLeaveHandler;
    OrvaneListener *taskLoadListener; /* owned; loads the task, until it is loaded */
    gulong taskLoadHandler;
    gboolean taskLoaded; /* an unload is due */
    gboolean isInternal;
    OrvaneOperation operation;
    gpointer calls; /* for the session: the calls in flight with this listener, the newest first */
    ObjectWatch<OrvaneListener> *watches;
};

void OrvaneListenerEmitProgress(OrvaneListener *listener);
/* Stores the fault, which it takes over. Emits nothing. */
void OrvaneListenerTakeFault(OrvaneListener *listener, SkemaQormMethodFault *fault);

SkemaQormMethodFault *OrvaneListenerNewRequestCanceled(void);

/* Follows the task that a reply named. */
void OrvaneListenerFollowTask(OrvaneListener *listener, SkemaOzyTask *task);
void OrvaneListenerReleaseTask(OrvaneListener *listener);
