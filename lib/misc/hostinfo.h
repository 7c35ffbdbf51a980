/*
 * hostinfo.h -- paths of the running program and of its libraries
 *
 *   Hostinfo_GetLibraryPath((void *)&SomeFunctionOfTheLibrary)   ->   "/usr/lib/halden/liborvane.so.1.0.0"
 *   Hostinfo_GetModulePath(0)                                    ->   "/usr/bin/orvane"
 *
 * Ownership: the caller releases results with free().
 * Errors:    NULL if the path cannot be determined.
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

G_END_DECLS
