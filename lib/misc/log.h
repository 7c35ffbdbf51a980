/*
 * log.h -- messages for people
 *
 *   Warning("SSL: no CA file at \"%s\"\n", path);
 *       ->  2026-03-01T10:15:02.123+01:00| vthread-4| W110: SSL: no CA file at "/etc/x"
 *
 * A message is formatted once, cut into lines, stamped with time, thread and level, and handed to the outputs
 * of logOutput.h. Until there is an output, its lines wait in a ring of 32,768 bytes in memory, which keeps the
 * newest; the first output receives them. Nothing is attached and nothing is printed unless the program asks
 * for it.
 *
 * A text without a newline at its end is continued by the next message. Text from a peer cannot be mistaken for
 * another message, nor can it control the terminal of a reader: the second and later lines of a message are
 * marked, and control bytes are shown as "\x1b".
 *
 * Ownership: formats and arguments are only read.
 * Errors:    none: a line that cannot be kept is dropped. errno is kept.
 * Threads:   any, also while the caller holds locks, and inside an output, whose own messages wait in the ring.
 *            A call that has something to write waits for the outputs of another. One above every level returns
 *            without taking a lock.
 */
#pragma once

#include <stdarg.h>

#include <glib.h>

G_BEGIN_DECLS

/* A lower number is more severe. A level that is not listed counts as 120. */
enum {
    LOG_LEVEL_FATAL = 100,
    LOG_LEVEL_ERROR = 105,
    LOG_LEVEL_WARNING = 110,
    LOG_LEVEL_AUDIT = 115, /* is written whatever the levels are */
    LOG_LEVEL_INFO = 120,  /* the least severe that is kept while there is no output */
    LOG_LEVEL_VERBOSE = 125,
    LOG_LEVEL_TRIVIA = 130,
    LOG_LEVEL_DEBUG = 135, /* and each number up to 145 */
    LOG_LEVEL_DEBUG_LAST = 145,
};

/* An informational line. */
void Log(const char *format, ...) G_GNUC_PRINTF(1, 2);

void Warning(const char *format, ...) G_GNUC_PRINTF(1, 2);

/* An audit line: a decision on trust, such as accepting a certificate. */
void Log_Audit(const char *format, ...) G_GNUC_PRINTF(1, 2);

void Log_Level(gint level, const char *format, ...) G_GNUC_PRINTF(2, 3);

void LogV(gint level, const char *format, va_list arguments) G_GNUC_PRINTF(2, 0);

/* Count the call in a counter of the caller's, which begins at 0, and log the 1st to 99th, then each 100th up
 * to 10,000, each 10,000th up to 1,000,000, and each 1,000,000th. */
void LogThrottled(guint32 *counter, const char *format, ...) G_GNUC_PRINTF(2, 3);
void WarningThrottled(guint32 *counter, const char *format, ...) G_GNUC_PRINTF(2, 3);

/**
 * LogRingFunc:
 * @level: level of the line
 * @isContinued: whether it is the second or a later line of its message
 * @line: the line, without a newline; valid during the call
 * @data: the argument of LogRing_ForEach()
 */
typedef void (*LogRingFunc)(gint level, gboolean isContinued, const char *line, gpointer data);

/**
 * LogRing_ForEach:
 * @function: (scope call): called for each line that waits for an output, oldest first
 * @data: passed to @function
 *
 * The ring stays as it is. Lines that are logged meanwhile are not included.
 */
void LogRing_ForEach(LogRingFunc function, gpointer data);

/**
 * LogRing_Copy:
 *
 * Returns: (transfer full): all lines in the ring, each as its level's letter (E, W, A, I or D), a blank
 * or, if it continues a message, "+", the line and a newline; to be released with g_free()
 */
char *LogRing_Copy(void);

/* Removes all lines. */
void LogRing_Clear(void);

G_END_DECLS
