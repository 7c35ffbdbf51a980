/*
 * hostinfo.h -- where the running code came from
 *
 *   Hostinfo_GetLibraryPath((void *)&SomeFunctionOfTheLibrary)   ->   "/usr/lib/halden/liborvane.so.1.0.0"
 *   Hostinfo_GetModulePath(0)                                    ->   "/usr/bin/orvane"
 *
 * Ownership: results are the caller's, to be released with free().
 * Errors:    NULL if it cannot be found out.
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
 * @asSuperUser: not 0 to ask with root's rights where the process can have them
 *
 * Returns: (transfer full) (nullable): the absolute path of the running program
 */
char *Hostinfo_GetModulePath(guint32 asSuperUser);

G_END_DECLS
