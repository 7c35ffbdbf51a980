/*
 * unicode.h -- encodings by name, and text in them turned into UTF-8 and back
 *
 *   Unicode_EncodingNameToEnum("latin1")                     ->  the number of "ISO-8859-1"
 *   Unicode_AllocWithLength("\xe4", 1, thatEncoding)         ->  "ä"
 *   Unicode_GetAllocBytes("ä", thatEncoding)                 ->  "\xe4"
 *
 * Only encodings that leave ASCII in place are known. Names are matched as ICU matches aliases: case, "-"
 * and "_" do not count.
 *
 * Ownership: results are the caller's, to be released with free(); names are constants.
 * Errors:    NULL or FALSE for text that is not valid in its encoding, or cannot be said in it.
 * Threads:   any, while none changes the locale.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef gint StringEncoding;

enum {
    STRING_ENCODING_UNKNOWN = -2,
    STRING_ENCODING_DEFAULT = -1, /* that of the locale */
    STRING_ENCODING_UTF8 = 0,     /* further ones count up from here */
    STRING_ENCODING_US_ASCII = 1,
    STRING_ENCODING_ISO_8859_1 = 2,
};

/* Returns STRING_ENCODING_UNKNOWN for a name of no encoding that is known. */
StringEncoding Unicode_EncodingNameToEnum(const char *name);

/* Returns the name of an encoding, "UTF-8"; NULL for a number of none. */
const char *Unicode_EncodingEnumToName(StringEncoding encoding);

/* Returns the encoding of the locale; UTF-8 in the locale "C". */
StringEncoding Unicode_GetCurrentEncoding(void);

/* Returns the current encoding for STRING_ENCODING_DEFAULT, and any other as it is. */
StringEncoding Unicode_ResolveEncoding(StringEncoding encoding);

gboolean Unicode_IsBufferValid(gconstpointer buffer, gsize size, StringEncoding encoding);

/* Returns the bytes as UTF-8 with a NUL behind them. */
char *Unicode_AllocWithLength(gconstpointer buffer, gsize size, StringEncoding encoding);

/* Returns a text of UTF-8 in another encoding, with a NUL behind it. */
char *Unicode_GetAllocBytes(const char *text, StringEncoding encoding);

/* Returns bytes in a form that can be shown, whatever they are: each that is not printable ASCII, and each
 * backslash, as "\xNN". */
char *Unicode_EscapeBuffer(gconstpointer buffer, gsize size, StringEncoding encoding);

G_END_DECLS
