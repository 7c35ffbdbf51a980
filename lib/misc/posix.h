/*
 * posix.h -- system calls that take file names, with names in UTF-8
 *
 * Errors:  those of the system call. A name without a form in the current encoding is a failure, with errno
 *          EINVAL.
 * Threads: any, unless one of them changes the locale.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * Posix_Dlopen:
 * @path: (nullable): name of a shared object; %NULL for the program
 * @flags: RTLD_ flags of dlopen()
 *
 * Returns: (nullable): the handle, to be closed with dlclose(); %NULL after a failure, which dlerror() explains
 *   unless errno is EINVAL
 */
void *Posix_Dlopen(const char *path, int flags);

G_END_DECLS
