/*
 * log.h -- messages for people, kept in memory
 *
 *   Warning("SSL: no CA file at \"%s\"\n", path);     ->  "W SSL: no CA file at "/etc/x""
 *
 * Nothing is printed. The newest lines are kept in a ring buffer of about 56 KiB in memory, for debuggers,
 * core dumps and tests. Each call is one message and ends its line. Text from a peer cannot be mistaken for
 * another message, nor can it control the terminal of a reader: the second and later lines of a message are
 * marked, and control bytes are shown as "\x1b".
 *
 * Ownership: formats and arguments are only read.
 * Errors:    none: a line that cannot be kept is dropped. errno is kept.
 * Threads:   any, also while the caller holds locks. No function waits.
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
    LOG_LEVEL_AUDIT = 115,
    LOG_LEVEL_INFO = 120,
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
 * @function: (scope call): called for each line that is still kept, oldest first
 * @data: passed to @function
 *
 * Lines that are written meanwhile are not included.
 */
void LogRing_ForEach(LogRingFunc function, gpointer data);

/**
 * LogRing_Copy:
 *
 * Returns: (transfer full): all kept lines, each as its level's letter (E, W, A, I or D), a blank
 * or, if it continues a message, "+", the line and a newline; to be released with g_free()
 */
char *LogRing_Copy(void);

/* Removes all lines. */
void LogRing_Clear(void);

G_END_DECLS
