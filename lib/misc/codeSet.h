/*
 * codeSet.h -- conversion between UTF-8, the encoding of all text in the library, and other encodings
 *
 *   CodeSet_Utf8ToCurrent("/srv/Schlüssel.pem", ...)    ->   the bytes for open()
 *
 * The current encoding is the one of the locale. In the locales "C" and "POSIX", which are also those of a
 * process that never called setlocale(), it is UTF-8: the kernel takes file names as bytes, and other
 * programs write UTF-8.
 *
 * Ownership: the caller releases results with g_free().
 * Errors:    text that is not valid UTF-8, or has no form in the other encoding, is refused as a whole.
 * Threads:   any, unless one of them changes the locale.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Returns the name of the locale's encoding, as the C library says it: "UTF-8"; in the locale "C"
 * "ANSI_X3.4-1968". */
const char *CodeSet_GetCurrentCodeSet(void);

/**
 * CodeSet_Utf8ToCurrent:
 * @text: (array length=size): the text, without embedded NULs
 * @size: number of bytes, without the terminating NUL
 * @result: (out) (transfer full) (nullable): the text, NUL-terminated; %NULL after a failure
 * @resultSize: (out) (optional): number of bytes of @result, without the terminating NUL; 0 after a failure
 *
 * Returns: whether the text could be converted
 */
gboolean CodeSet_Utf8ToCurrent(const char *text, gsize size, char **result, gsize *resultSize);

/**
 * CodeSet_Utf8ToUtf16le:
 * @text: (array length=size): the text
 * @size: number of bytes, without the terminating NUL
 * @result: (out) (transfer full) (nullable): the units in little-endian order, 0-terminated; %NULL
 *   after a failure
 * @resultSize: (out) (optional): number of bytes of @result, without the terminating 0; 0 after a failure
 *
 * Returns: whether the text could be converted
 */
gboolean CodeSet_Utf8ToUtf16le(const char *text, gsize size, gunichar2 **result, gsize *resultSize);

/**
 * CodeSet_GetAltPathName:
 * @path: a path as UTF-16LE units, 0-terminated
 *
 * Some file systems store a second name in plain ASCII for each file. Those of Linux do not.
 *
 * Returns: (transfer full) (nullable): the second name; always %NULL on this platform
 */
char *CodeSet_GetAltPathName(const gunichar2 *path);

G_END_DECLS
