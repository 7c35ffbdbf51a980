/*
 * file.h -- paths and folders, as far as the foundation needs them
 *
 * Ownership: paths that are returned are the caller's, to be released with free().
 * Errors:    errno.
 * Threads:   any.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

G_BEGIN_DECLS

/* Returns an absolute path without links; of a path whose last part does not exist, that of its folder with the last
 * part behind it. NULL with errno. */
char *File_FullPath(const char *path);

/* Returns both with one "/" between them. */
char *File_PathJoin(const char *folder, const char *name);

/* Returns what is before the last "/" ("." for none, "/" for the root), and what is behind it. Either may be NULL. */
void File_GetPathName(const char *path, char **folder, char **name);

/* Makes a folder with the mode, and those above it that are missing; whether it is there now. */
gboolean File_CreateDirectoryHierarchy(const char *path, mode_t mode);

/* Locks that the system enforces: on another host type only. */
gboolean File_SupportsMandatoryLock(const char *path);

/**
 * Util_DeriveFileName:
 * @source: a path
 * @name: (nullable): a name beside it, or an absolute path; %NULL for the source's own name
 * @extension: (nullable): replaces what is behind the last "." of the source's name; only without @name
 *
 * Returns: (transfer full) (nullable): the path, to be released with free(); %NULL without @name and @extension
 */
char *Util_DeriveFileName(const char *source, const char *name, const char *extension);

G_END_DECLS
