/*
 * codeSet.h -- UTF-8, in which the library keeps all text, and the encodings of the world around it
 *
 *   CodeSet_Utf8ToCurrent("/srv/Schlüssel.pem", ...)    ->   the bytes that open() wants
 *
 * The current encoding is the locale's. In a process that never called setlocale(), and in the locales "C" and
 * "POSIX", it is UTF-8 too: file names are bytes to the kernel, and UTF-8 is what they are elsewhere.
 *
 * Ownership: results are the caller's, to be released with g_free().
 * Errors:    text that is no UTF-8, or that the other encoding cannot say, is refused as a whole.
 * Threads:   any, while none changes the locale.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * CodeSet_Utf8ToCurrent:
 * @text: (array length=size): the text, without embedded NULs
 * @size: number of bytes, without the closing NUL
 * @result: (out) (transfer full) (nullable): the text with a NUL behind it; %NULL after a failure
 * @resultSize: (out) (optional): number of bytes of @result, without the closing NUL; 0 after a failure
 *
 * Returns: whether the text could be converted
 */
gboolean CodeSet_Utf8ToCurrent(const char *text, gsize size, char **result, gsize *resultSize);

/**
 * CodeSet_Utf8ToUtf16le:
 * @text: (array length=size): the text
 * @size: number of bytes, without the closing NUL
 * @result: (out) (transfer full) (nullable): the units in little-endian order, a 0 behind them; %NULL
 *   after a failure
 * @resultSize: (out) (optional): number of bytes of @result, without the closing 0; 0 after a failure
 *
 * Returns: whether the text could be converted
 */
gboolean CodeSet_Utf8ToUtf16le(const char *text, gsize size, gunichar2 **result, gsize *resultSize);

/**
 * CodeSet_GetAltPathName:
 * @path: a path as UTF-16LE units, ended by a 0
 *
 * The other name, in plain ASCII, that some file systems keep for a file. Those of Linux keep none.
 *
 * Returns: (transfer full) (nullable): that name; always %NULL on this platform
 */
char *CodeSet_GetAltPathName(const gunichar2 *path);

G_END_DECLS
