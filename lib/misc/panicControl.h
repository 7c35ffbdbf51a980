/*
 * panicControl.h -- what a panic does on its way to the end of the process
 *
 *   text to stderr -> log -> stack -> core dump by a child -> wait for a debugger -> message -> exit(-1)
 *
 * A second panic, of this thread or another one, ends the process at once with status 1, after "Panic loop".
 * The settings below change what is done; by default no step is left out but the wait.
 *
 * panic.h has Panic() itself and the checks.
 *
 * Errors:  none. A step that fails is logged and the next one follows.
 * Threads: any, also signal handlers. The file name is set before other threads read it.
 */
#pragma once

#include <stdarg.h>

#include <sys/types.h>

#include <glib.h>

G_BEGIN_DECLS

void Panic_Panic(const char *format, va_list arguments) G_GNUC_PRINTF(1, 0) G_GNUC_NORETURN;

/* Whether the person is shown a message. */
void Panic_SetPanicMsgPost(gboolean isPosted);
gboolean Panic_GetPanicMsgPost(void);

/* Whether a core file is written. */
void Panic_SetCoreDumpOnPanic(gboolean isDumped);
gboolean Panic_GetCoreDumpOnPanic(void);

/* Stored for hosts; nothing here reads it. */
void Panic_SetCoreDumpFlags(gint32 flags);
gint32 Panic_GetCoreDumpFlags(void);

/* Stored for hosts. The name is copied; NULL clears it. What is returned is valid until the next change. */
void Panic_SetCoreDumpFileName(const char *fileName);
const char *Panic_GetCoreDumpFileName(void);

/* Whether the host is to stop in its debugger. The value of the setting: 0 never, 1 not on its own, 2 always. */
void Panic_SetBreakOnPanic(gboolean isBreak);
gboolean Panic_GetBreakOnPanic(void);
void PanicSetBreakValue(gint32 value);

/* Hooks without an effect on this platform. */
void Panic_BreakOnPanic(void);
void Panic_DumpGuiResources(void);

/* Prints "Looping pid=N" to stderr and waits as long as the flag is set, which a debugger can clear. */
void Panic_LoopOnPanic(void);
void PanicSetLoop(gboolean isLooping);

/* Ends the process at once. No exit handlers run. */
void Util_ExitProcessAbruptly(gint status) G_GNUC_NORETURN;

/**
 * Panic_PostPanicMsg:
 * @format: printf() format of the text; 1,023 bytes of the result count
 *
 * Shows the person what happened and where to find help. Does nothing if posting is off. It is a part of the
 * room of messages (lib/user), which Panic() uses in programs that have it; in others the text on stderr is all.
 */
void Panic_PostPanicMsg(const char *format, ...) G_GNUC_PRINTF(1, 2) G_GNUC_INTERNAL;

/* A seam of the tests: waits for a second. */
extern void (*gPanicSleepSecond)(void);

G_END_DECLS
