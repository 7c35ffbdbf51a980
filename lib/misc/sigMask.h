/*
 * sigMask.h -- the signal mask of the calling thread, and signals sent to it
 *
 *   sigset_t before;
 *   Sig_Block(SIGPROF, &before);
 *   ...
 *   Sig_Restore(&before);
 *
 * Errors:  a mask that cannot be changed ends the process, after a line in the log.
 * Threads: each call concerns the calling thread. All may be called in signal handlers.
 */
#pragma once

#include <csignal>

#include <glib.h>

G_BEGIN_DECLS

/* Change the mask. @before is optional and receives the former mask, for Sig_Restore(). */
void Sig_Block(gint signal, sigset_t *before);
void Sig_Unblock(gint signal, sigset_t *before);
void Sig_BlockAll(sigset_t *before);
void Sig_Restore(const sigset_t *before);

/* Lets a signal have its default effect now, whatever its handler is and whether or not it is blocked. If the
 * process survives (SIGTSTP), mask and handler are as before. */
void Sig_ForceSig(gint signal);

/* Sends a signal to the process, by the kernel's number of the calling thread. */
void Sig_RaiseSig(gint signal);

/* Installs a handler. A failure ends the process, after a line in the log. @before is optional. */
void SigSetHandler(gint signal, const struct sigaction *handler, struct sigaction *before);

G_END_DECLS
