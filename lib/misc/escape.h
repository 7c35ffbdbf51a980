/*
 * escape.h -- selected bytes of a text in a reversible form, and a few fixed forms
 *
 *   Escape_Do('|', marked, "a=b", 3, &size)      ->  "a|3Db" if marked['='] is not zero
 *   Escape_Undo('|', "a|3Db|zz", 8, &size)       ->  "a=b|zz"
 *
 * Inputs that are given with a size may contain NULs. A "table" has 256 ints; one that is not zero marks its byte.
 *
 * Ownership: results are the caller's, to be released with free(). They end in a NUL, which outSize does not count.
 *            Each result is built in one block, so that no copy of it is left in freed memory.
 * Errors:    without memory the result is NULL, and outSize is 0.
 * Threads:   stateless; may be called from any thread.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * Escape_Do:
 * @escapeChar: begins an escape sequence
 * @bytesToEscape: (array fixed-size=256): the table; it should mark @escapeChar, or the text cannot be read back
 * @buffer: (array length=size) (element-type guint8): the bytes
 * @size: number of bytes
 * @outSize: (out) (optional): length of the result
 *
 * Replaces each marked byte by @escapeChar and two upper-case hexadecimal digits.
 *
 * Returns: (transfer full) (nullable): the text
 */
char *Escape_Do(char escapeChar, const int *bytesToEscape, const void *buffer, gsize size,
                gsize *outSize);

/* The same with an escape sequence that begins with a text. */
char *Escape_DoString(const char *escapeString, const int *bytesToEscape, const void *buffer,
                      gsize size, gsize *outSize);

/**
 * Escape_Undo:
 * @escapeChar: begins an escape sequence
 * @buffer: (array length=size) (element-type guint8): the bytes
 * @size: number of bytes
 * @outSize: (out) (optional): length of the result
 *
 * Replaces each escape sequence by its byte. A sequence that breaks off, or has another character where a digit is
 * due, is copied as it is up to and with that character.
 *
 * Returns: (transfer full) (nullable): the bytes
 */
char *Escape_Undo(char escapeChar, const void *buffer, gsize size, gsize *outSize);

/**
 * Escape_Strchr:
 * @escapeChar: hides the character behind it
 * @text: the text to search
 * @wanted: the character to find
 *
 * Returns: (transfer none) (nullable): the first place of @text where @wanted is not hidden
 */
const char *Escape_Strchr(char escapeChar, const char *text, char wanted);

/* Removes each escape character and keeps the character behind it, whatever that is. */
char *Escape_Unescape(char escapeChar, const char *text);

/* Writes a backslash before each comma and backslash. */
char *Escape_Comma(const char *text);

/* Replaces in place: backslash n by a newline, two backslashes by one, backslash and three octal digits by that byte
 * (the low 8 bits). Any other backslash is kept. */
void Escape_UnescapeCString(char *text);

/* Writes a backslash before each special character of a POSIX basic regular expression. */
char *Escape_BRE(const void *buffer, gsize size, gsize *outSize);

/* Quotes a text as one word of a shell command. */
char *Escape_Sh(const void *buffer, gsize size, gsize *outSize);

/* Replaces each carriage return with a line feed behind it by the line feed. */
char *Escape_AnsiToUnix(const void *buffer, gsize size, gsize *outSize);

G_END_DECLS
