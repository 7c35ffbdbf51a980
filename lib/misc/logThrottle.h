/*
 * logThrottle.h -- which texts of a busy log are not written
 *
 *   bytes:  0 .. threshold      always written
 *           from there on       written unless the rate of the last 5 seconds (60, once throttled) is too high
 *
 * Threads: the caller guards the state.
 */
#pragma once

#include <stdarg.h>

#include <glib.h>

G_BEGIN_DECLS

#define LOG_NEVER_THROTTLE 0xffffffffu

typedef struct LogThrottleState {
    gboolean throttled;  /* the reader has been notified; the module that writes the note sets it */
    guint32 threshold;   /* in bytes */
    guint32 bytesPerSec; /* LOG_NEVER_THROTTLE; 0: nothing is written beyond the threshold */
    guint64 totalBytes;
    guint64 lastTimeUs; /* the begin of the measured window, and the bytes before it */
    guint64 lastBytes;
} LogThrottleState;

/* Counts a text of so many bytes. Returns whether it is not to be written. */
gboolean Log_IsThrottled(LogThrottleState *state, gsize length);

/* Whether the call with this number, counted from 1, is to be logged; see LogThrottled(). */
gboolean Util_Throttle(guint32 count);

/**
 * LogForGuest:
 * @throttle: the state of the source, kept by the caller
 * @format: printf() format
 * @arguments: its arguments
 *
 * Logs text of an untrusted source at level 120, as long as the source is not throttled, and once that it is.
 * The text goes to the outputs, and nowhere if there are none. It is dropped inside an output.
 */
void LogForGuest(LogThrottleState *throttle, const char *format, va_list arguments)
    G_GNUC_PRINTF(2, 0);

G_END_DECLS
