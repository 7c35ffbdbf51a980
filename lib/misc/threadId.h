/*
 * threadId.h -- the kernel's number of the calling thread
 *
 * The number that top, gdb and /proc show. It is unique among the threads that live now, in all
 * processes; for small numbers that are counted per process, see lib/lock/vthreadBase.h.
 *
 * Errors:    a kernel without such numbers gives the process's own, for every thread.
 * Threads:   any, also in signal handlers; errno is kept.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

G_BEGIN_DECLS

pid_t Util_GetCurrentThreadId(void);

G_END_DECLS
