/*
 * hostinfo.h -- the running program and its libraries, the system, other processes, and the time
 *
 *   Hostinfo_GetLibraryPath((void *)&SomeFunctionOfTheLibrary)   ->   "/usr/lib/halden/liborvane.so.1.0.0"
 *   Hostinfo_GetModulePath(0)                                    ->   "/usr/bin/orvane"
 *
 * Ownership: the caller releases paths with free().
 * Errors:    NULL if a path or a name cannot be determined.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * Hostinfo_GetLibraryPath:
 * @address: an address of a function or of static data
 *
 * Returns: (transfer full) (nullable): the absolute path of the shared object, or of the program, that the
 *   address belongs to; symbolic links are followed
 */
char *Hostinfo_GetLibraryPath(const void *address);

/**
 * Hostinfo_GetModulePath:
 * @asSuperUser: not 0: read the path with root's rights, if the process may have them
 *
 * Returns: (transfer full) (nullable): the absolute path of the running program
 */
char *Hostinfo_GetModulePath(guint32 asSuperUser);

/* Returns distribution and kernel, "Debian GNU/Linux 12 (bookworm), Linux 6.1.0-13-amd64 x86_64". The text is
 * made once and belongs to this module. */
const char *Hostinfo_GetOSName(void);

typedef enum {
    HOSTINFO_PROCESS_EXISTENCE_ALIVE,
    HOSTINFO_PROCESS_EXISTENCE_DEAD,
    HOSTINFO_PROCESS_EXISTENCE_UNKNOWN,
} HostinfoProcessQuery;

/* Returns whether there is a process with the number; errno is kept. */
HostinfoProcessQuery Hostinfo_QueryProcessExistence(gint processId);

/* Returns the time since some moment of the past, in nanoseconds; no change of the system's time affects it. */
guint64 Hostinfo_SystemTimerNS(void);

/* Returns the system's time since 1970, in microseconds. */
gint64 Hostinfo_RealTimeUS(void);

/* The clocks behind the two functions above. */
typedef struct HostinfoClocks {
    guint64 (*systemTimerNS)(void);
    gint64 (*realTimeUS)(void);
} HostinfoClocks;

/* For tests: replaces both clocks; NULL restores the system's. The table must stay valid. */
void HostinfoSetClocks(const HostinfoClocks *clocks);

G_END_DECLS
