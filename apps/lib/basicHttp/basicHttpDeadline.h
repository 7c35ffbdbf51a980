/*
 * basicHttpDeadline.h -- times at which something is to happen, in any number, with one registration in the loop
 *
 *   BasicHttpDeadline deadline = {};
 *   BasicHttpDeadline_Set(&deadline, BasicHttpDeadline_Now() + 250 * 1000, OnPassed, data);
 *   BasicHttpDeadline_Clear(&deadline);
 *
 * To set or clear one costs the logarithm of their number. The registration is made anew only for a time that is
 * earlier than the one that is registered; one that is cleared leaves it, so it may pass without effect.
 *
 * Time:      BasicHttpDeadline_Now() is the clock of the transport, which is monotonic.
 * Ownership: a deadline is the caller's, zeroed at first, and is cleared before it is freed.
 * Errors:    if the loop refuses the registration, a line in the log; it is tried again with the next deadline.
 * Threads:   the loop's.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef void (*BasicHttpDeadlineFunc)(gpointer data);

typedef struct {
    gint64 due;  /* microseconds */
    gsize place; /* in the heap, from 1; 0 if it is not set */
    BasicHttpDeadlineFunc passed;
    gpointer data;
} BasicHttpDeadline;

gint64 BasicHttpDeadline_Now(void);

/* Calls the function once, from the loop, at that time or soon after it. Replaces what was set before. The function may
 * do anything, also free the deadline. */
void BasicHttpDeadline_Set(BasicHttpDeadline *deadline, gint64 due, BasicHttpDeadlineFunc passed,
                           gpointer data);
/* Does nothing if it is not set. */
void BasicHttpDeadline_Clear(BasicHttpDeadline *deadline);

/* Removes the registration. For BasicHttp_Shutdown(). */
void BasicHttpDeadline_Suspend(void);

G_END_DECLS
