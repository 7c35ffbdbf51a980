/*
 * sig.h -- takes over the signals of a process and runs their callbacks as normal code, from its loop
 *
 *   Poll_InitWithImpl(&loop);
 *   Sig_Init();
 *   Sig_Callback(SIGINT, SIG_MODE_QUEUE, OnInterrupt, &program);
 *   ...
 *   void OnInterrupt(gint signal, siginfo_t *, gpointer, gpointer program) { Sig_ClearBlocked(signal); ... }
 *
 * Each signal has a mode:
 *
 *   0 NONE       has the handler that the process had before
 *   1 DEFAULT    logs a line. HUP, INT, TERM and TSTP then have their usual effect; any other logs registers and
 *                stack and ends in Panic(). A second signal of this mode ends the process
 *   2 QUEUE      goes through a pipe into the loop (poll.h), where its callback runs
 *   4 IMMEDIATE  its callback runs in the handler and may only do what is safe there
 *   5 IGNORE     has no effect
 *
 * Sig_Init() puts HUP INT QUIT ILL ABRT BUS FPE USR1 SEGV USR2 ALRM TERM STKFLT TSTP URG XCPU XFSZ VTALRM IO into
 * DEFAULT and CHLD into IGNORE, and lets the system ignore PIPE, TTIN and TTOU. So a program that can be stopped
 * with Ctrl-Z takes TSTP over and calls Sig_ForceSig() from its loop.
 *
 * A queued callback runs once at a time: the next one of its signal waits until the callback, or what it
 * started, calls Sig_ClearBlocked(). Until then a waiting signal goes round in the pipe and keeps the loop busy.
 * The pipe has room for 512 signals; more are lost, with a line in the log.
 *
 * Ownership: client data belongs to the caller and must live until the mode changes.
 * Errors:    a call that the present mode does not allow, and a failure of the system, end the process.
 * Threads:   Sig_Init(), Sig_Exit() and Sig_Callback() belong to the thread of the loop. Other threads call
 *            Sig_InitThread() first. Crashes are handled on the thread that crashes.
 */
#pragma once

#include <csetjmp>
#include <csignal>

#include <glib.h>

#include "lib/misc/coreDumpRegion.h"
#include "lib/misc/sigMask.h"

G_BEGIN_DECLS

enum {
    SIG_MODE_NONE = 0,
    SIG_MODE_DEFAULT = 1,
    SIG_MODE_QUEUE = 2,
    SIG_MODE_NOT_ALLOWED = 3,
    SIG_MODE_IMMEDIATE = 4,
    SIG_MODE_IGNORE = 5,
    SIG_MODE_MASK = 0xf,
    /* With DEFAULT: the handler that the process had before runs in place of ours, if there was one. With
     * IMMEDIATE: it runs before the callback. */
    SIG_CHAIN = 0x10,
};

/* @context: (nullable): the interrupted state, a ucontext_t; only in a handler. */
typedef void (*SigCallbackFunc)(gint signal, siginfo_t *info, gpointer context,
                                gpointer clientData);

/* Installs the handlers and registers with the loop. Returns TRUE. A second call is logged. */
gboolean Sig_Init(void);

/* Restores the former handlers and removes what Sig_Init() registered. Signals that are still queued are lost. */
void Sig_Exit(void);

/* Blocks the signals that the thread of the loop is to receive, in the calling thread. */
void Sig_InitThread(void);

/**
 * Sig_Callback:
 * @signal: number of a signal, 1 to 64
 * @mode: the new mode, which may include SIG_CHAIN
 * @callback: (scope notified) (nullable): for QUEUE and IMMEDIATE
 * @clientData: passed to @callback
 *
 * DEFAULT is allowed for a signal in QUEUE or IMMEDIATE, any other mode for one in DEFAULT or IGNORE.
 */
void Sig_Callback(gint signal, gint mode, SigCallbackFunc callback, gpointer clientData);

/* Allows the next queued callback of a signal. */
void Sig_ClearBlocked(gint signal);

/* A callback that logs the signal as ignored; @name is a text or NULL. */
void Sig_NullHandler(gint signal, siginfo_t *info, gpointer context, gpointer name);

/* Turned off (TRUE) as often as on (FALSE): while it is off, queued callbacks run in the handler, since no loop
 * runs. */
void Sig_NoMainLoop(gboolean isOff);

/* -- crashes ------------------------------------------------------------------------------------- */

/* Called first for BUS, SEGV, ABRT and ILL, in the handler. */
typedef void (*SigCrashFunc)(gint signal, siginfo_t *info, gpointer context);

/* NULL for none. */
void Sig_SetCustomCrashCatcher(SigCrashFunc function);

/**
 * SigCrashCatcher: a place to continue at after BUS, SEGV, ABRT or ILL on the same thread
 *
 *   SigCrashCatcher catcher;
 *   if (const gint signal = setjmp(catcher.frame); signal != 0) ... it crashed ...
 *   Sig_ArmCrashCatcher(&catcher);
 *   ...
 *   Sig_DisarmCrashCatcher(&catcher);
 *
 * One is armed at a time for each thread, the innermost. A crash disarms it, restores the signal mask that the thread had
 * when it was armed and goes to @frame, with the number of the signal; destructors do not run. If the crash is in a signal
 * handler that interrupted the armed code, the handler ends, too.
 */
typedef struct SigCrashCatcher {
    jmp_buf frame;
    struct SigCrashCatcher *outer;
    sigset_t mask;     /* of the thread, when it was armed */
    gint32 numSignals; /* handlers that the thread was in then */
} SigCrashCatcher;

void Sig_ArmCrashCatcher(SigCrashCatcher *catcher);
void Sig_DisarmCrashCatcher(const SigCrashCatcher *catcher);

/* Reads instruction, stack and base pointer of an interrupted state. */
void Sig_GetRegs(gconstpointer context, guintptr *ip, guintptr *sp, guintptr *bp);

G_END_DECLS
