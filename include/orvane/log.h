/*
 * log.h -- the library's messages, handed to a function of the application
 *
 *   static void OnLine(gint level, const char *text, gpointer data) {
 *       g_log("orvane", level <= 110 ? G_LOG_LEVEL_WARNING : G_LOG_LEVEL_INFO, "%s", text);
 *   }
 *   ...
 *   orvane_log_set_handler(OnLine, NULL, 120);
 *
 * Without a handler nothing is printed or written: the newest lines, 32,768 bytes of them, are kept in memory, and the
 * first handler receives them. No line has a password, a ticket or a key in it.
 *
 *   100, 105   errors          115   decisions on trust: they are handed over whatever the level is
 *   110        warnings        120   information        125 to 145   details, more and more of them
 */
#pragma once

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/**
 * OrvaneLogFunc:
 * @level: how severe the line is; a lower number is more severe
 * @text: one line without a newline; control bytes are shown as "\x1b". It is valid during the call
 * @data: the argument of orvane_log_set_handler()
 *
 * Called on the thread that logged the line, whichever it is, and on one thread at a time: a lock of the log is held
 * meanwhile. So the function must not wait for another thread that may log, and should be short. It may call the
 * library. Lines that are logged by that are handed over with the next message.
 */
typedef void (*OrvaneLogFunc)(gint level, const char *text, gpointer data);

/**
 * orvane_log_set_handler:
 * @function: (nullable) (scope forever) (closure data): receives the lines; %NULL for none
 * @data: passed to @function
 * @level: the least severe level that is handed over; 120 is usual
 *
 * Replaces the handler of the process. A first handler receives the lines that are kept in memory before the call
 * returns. After the call the former handler is not called any more, unless the call was made by that handler itself:
 * then it ends with its return.
 *
 * A text that is logged in pieces is handed over as one line when its newline comes. If the handler is replaced before
 * that, the new one receives the whole line. If it is ended, the line is kept in memory like all further ones.
 *
 * May be called from any thread, before orvane_init() too, and stays in effect after orvane_shutdown().
 */
ORVANE_EXPORT void orvane_log_set_handler(OrvaneLogFunc function, gpointer data, gint level);

G_END_DECLS
