/*
 * threadId.h -- the kernel's number of the calling thread
 *
 * It is the number that top, gdb and /proc show, unique among the living threads of all processes. For small
 * numbers counted per process see lib/lock/vthreadBase.h.
 *
 * Errors:    on a kernel without such numbers, the number of the process.
 * Threads:   any, also in signal handlers. errno is kept.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

G_BEGIN_DECLS

pid_t Util_GetCurrentThreadId(void);

G_END_DECLS
