/*
 * fileTemp.h -- a folder for temporary files that no other user can write to
 *
 *   File_GetSafeTmpDir(TRUE)   ->   "/tmp/halden-eve"
 *
 * It is in the setting `tmpDirectory`, else in the environment's TMPDIR, else in /tmp; it belongs to the user of
 * the process, and only that user has access. If somebody else has made a folder or a link of the name there, a
 * name that nobody can foresee is used.
 *
 * Ownership: the result is the caller's, to be released with free().
 * Errors:    NULL with errno.
 * Threads:   any. The folder is chosen once and checked at each call.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* useConf: look at the setting, too. */
char *File_GetSafeTmpDir(gboolean useConf);

G_END_DECLS
