/*
 * fileRotate.h -- makes room for a new file of a name and keeps some of the old ones
 *
 *   File_Rotate("a.log", 3, FALSE, NULL):   a-1.log -> a-2.log,  a-0.log -> a-1.log,  a.log -> a-0.log
 *   File_Rotate("a.log", 3, TRUE, NULL):    a.log -> a-7.log if 6 is the highest number; all but a-5, a-6 and
 *                                           a-7 are removed
 *
 * Errors:  a file that cannot be renamed or removed leaves a line in the log.
 * Threads: any, but one at a time for one name.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * File_Rotate:
 * @fileName: the name that is to be free afterwards; nothing happens if there is no regular file of it
 * @keepOld: number of old files that stay; 0 removes the file
 * @fast: give each old file one number for good, which takes one rename
 * @newFileName: (out) (optional) (transfer full) (nullable): the old file's new name, to be released with free();
 *   %NULL if it was not renamed
 */
void File_Rotate(const char *fileName, guint keepOld, gboolean fast, char **newFileName);

G_END_DECLS
