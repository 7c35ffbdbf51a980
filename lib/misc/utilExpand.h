/*
 * utilExpand.h -- paths with a home folder and variables in them
 *
 *   "~/.halden/config"      ->  "/home/eve/.halden/config"
 *   "halden-$PID.log"       ->  "halden-4711.log"
 *
 * "~" or "~name" is expanded at the start. "$PID" and "$USER" are the process and its user; any other "$NAME"
 * is an environment variable, "" if it is not set. Variables are not read in a process that has more rights
 * than its user.
 *
 * Ownership: the result is the caller's, to be released with free().
 * Errors:    NULL if a home folder is not known.
 * Threads:   any, while none changes the environment.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

char *Util_ExpandString(const char *text);

G_END_DECLS
