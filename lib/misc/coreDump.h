/*
 * coreDump.h -- a core file of the running process, written by a copy of it
 *
 * A child, made by a bare fork, kills itself with SIGABRT. So the process itself is not disturbed and can report
 * the file's name and end in order:
 *
 *   Attempting a core dump using an unlimited size limit
 *   Core dumped.
 *   A core file is available in "/var/crash/core.4711"
 *
 * Memory that would only fill the file is handled as coreDumpRegion.h says.
 *
 * Errors:  each failure is a line in the log.
 * Threads: the thread that panics. The setters are called while there is one thread.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

G_BEGIN_DECLS

/* Writes a core file and logs its name. Waits up to 120 seconds for the child. */
void CoreDump_CoreDump(void);

/* Logs the address range and name of each loaded object: "[0x0x7f..-0x0x7f..): /lib/libc.so.6". With a heading, the
 * list is between two lines, and objects without a name are left out. */
void CoreDump_LogModules(gboolean withHeading);

/* Keeps that much address space free, which CoreDump_CoreDump() releases; at most 20,480 KB, 0 for none. */
void CoreDumpReserve(gsize sizeKB);

/* The function is called in the child, before anything else. NULL for none. */
void Sig_SetCoreDumpFunc(void (*function)(gpointer data), gpointer data);

/* Lets a process dump that the system does not dump because its rights have changed. */
void Sig_AllowSuidCoreDump(void);

/* Returns the number of the child if it has dumped; else -1. */
pid_t SigCoreDumpViaChild(void);

/**
 * SigGetCoreFileName:
 * @child: the process that has dumped
 *
 * Returns: (transfer full) (nullable): the path of its core file, by the system's settings, to be released with
 *   free(); %NULL if it could be one of several
 */
char *SigGetCoreFileName(pid_t child);

/**
 * SigCoreFileNameOf:
 * @pattern: (nullable): as in core(5), without a final newline, perhaps empty; %NULL if it cannot be read, for "core"
 * @usesPid: whether the number of the process is appended to a pattern without it
 * @child: as above
 *
 * Returns: as above, for given settings
 */
char *SigCoreFileNameOf(const char *pattern, gboolean usesPid, pid_t child);

G_END_DECLS
