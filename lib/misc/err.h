/*
 * err.h -- errno values as texts that are valid for the life of the process
 *
 *   Log("FILE: open of '%s' failed: %s\n", path, Err_ErrString());
 *
 * One number always has the same text at the same address, so the number can be found again from the
 * pointer: a message keeps the error, and each reader formats it in a language of its own.
 *
 * Ownership: texts belong to a table that is never freed.
 * Errors:    lack of memory ends the process. errno is kept.
 * Threads:   any.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Returns the text of an errno value. */
const char *Err_Errno2String(gint number);

/* Returns the text of the current errno. */
const char *Err_ErrString(void);

/* Returns the number of a text that Err_Errno2String() returned, -1 for any other pointer. The address
 * is compared, not the text. */
gint Err_String2Errno(const char *text);

G_END_DECLS
