/*
 * logText.h -- levels as letters, and texts made fit for a line of a log
 *
 * Threads: stateless; any thread, also in signal handlers.
 */
#pragma once

#include <string>
#include <string_view>

#include <glib.h>

struct LogLevelRow {
    gint first;
    gint last;
    char letter;
    gint systemPriority; /* of syslog() */
};

/* Returns the row of a level; that of 120 for a level that is not listed. */
const LogLevelRow &LogText_FindLevel(gint level);

/* Returns a level, or 120 for one that is not listed. */
gint LogText_KnownLevel(gint level);

/* Returns how many bytes of a text fit into a limit without a part of a character at their end. */
size_t LogText_WholeLength(std::string_view text, size_t limit);

/**
 * LogText_SafeTruncate:
 * @buffer: (inout) (array length=size): a NUL-terminated text
 * @size: size of @buffer
 *
 * Cuts the text at the end of a character so that it, a newline and the NUL fit, and adds the newline.
 *
 * Returns: the new length with the newline; 0, and no newline, if nothing of the text remains
 */
size_t LogText_SafeTruncate(char *buffer, size_t size);

/* Whether there is a byte that a reader's terminal could obey. */
bool LogText_HasControls(std::string_view text);

/* Returns the text with its control bytes as "\x1b", but for tabs and newlines; a carriage return in front of a
 * newline is left out. */
std::string LogText_EscapeControls(std::string_view text);

/* Replaces the same bytes by question marks, which takes no memory: for signal handlers. */
void LogText_MaskControls(char *text, size_t length);

/* Makes a name of a thread fit for the head of a line: what is no printable byte is a question mark, also tabs and
 * newlines. @size is that of the array, at least 16; the bytes behind the end may be anything. */
void LogText_MaskName(char *name, size_t size);
