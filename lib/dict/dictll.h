/*
 * dictll.h -- one line of a configuration file, its syntax and nothing of what it means
 *
 *   # a comment
 *   displayName = "one |22quoted|22 word"   # a comment behind
 *   memsize=512
 *
 *   line     [BOM] (blank | [ws] "#" anything | pair)
 *   pair     [ws] name [ws] "=" [ws] value [ws] ["#" anything]
 *   name     bytes except NUL, tab, blank, "#", "="
 *   value    '"' bytes except NUL and '"' '"'  |  bytes except NUL, tab, blank, "#"; may be empty
 *
 * In a value "|" and two hexadecimal digits are one byte; names are never escaped. A written value is quoted, with
 * control bytes (but the tab), '"', "|" and 0x7f escaped. Bytes from 0x80 on are copied, so any encoding that
 * leaves ASCII in place can be stored.
 *
 * Ownership: results are the caller's. They may be secrets: wipe them before free().
 * Errors:    a line that is no pair is returned whole, with neither name nor value; the caller decides
 *            whether it is an error.
 * Threads:   stateless; a stream belongs to one thread at a time.
 */
#pragma once

#include <stdio.h>

#ifdef __cplusplus
#include <string_view>
#endif

#include "lib/misc/dynBuf.h"

G_BEGIN_DECLS

/* Results of reading a line. */
enum {
    STDIO_ERROR = 0, /* errno is set */
    STDIO_EOF = 1,
    STDIO_SUCCESS = 2,
};

/**
 * StdIO_ReadNextLine:
 * @stream: the stream
 * @line: (out) (transfer full) (nullable): the line without its end, with a NUL behind it
 * @maxLength: in bytes, without the end of the line; 0 for no limit
 * @length: (out) (optional): in bytes
 *
 * A line ends at a line feed, a carriage return, both in this order, or the end of the file.
 *
 * Returns: STDIO_SUCCESS; STDIO_EOF if nothing was left; STDIO_ERROR with errno, E2BIG for a longer line
 */
gint StdIO_ReadNextLine(FILE *stream, char **line, gsize maxLength, gsize *length);

/* Skips a byte-order mark at the start of a stream. FALSE if there is none, and always on standard input. */
gboolean DictLL_ReadUTF8BOM(FILE *stream);

/**
 * DictLL_ReadLine:
 * @stream: the stream
 * @line: (out) (transfer full) (nullable): the whole line without its end
 * @name: (out) (transfer full) (nullable): the name, if the line is a pair
 * @value: (out) (transfer full) (nullable): the value, if the line is a pair
 *
 * Returns: as StdIO_ReadNextLine()
 */
gint DictLL_ReadLine(FILE *stream, char **line, char **name, char **value);

/**
 * DictLL_UnmarshalLine:
 * @buffer: (array length=size): lines that end with line feeds
 * @size: in bytes
 * @line: (out) (transfer full) (nullable): as above
 * @name: (out) (transfer full) (nullable): as above
 * @value: (out) (transfer full) (nullable): as above
 *
 * Returns: (transfer none) (nullable): what is behind the first line; %NULL if @size is 0, or without memory
 */
const char *DictLL_UnmarshalLine(const char *buffer, gsize size, char **line, char **name,
                                 char **value);

#ifdef __cplusplus
/* Finds name and value of a pair in a line; the value is as it is written, before its escapes are undone. False for
 * a line that is no pair. */
extern "C++" bool DictLL_ParsePair(std::string_view line, std::string_view *name,
                                   std::string_view *value);

/* Undoes the escapes of a value, with a NUL behind it; NULL without memory. */
extern "C++" char *DictLL_UnescapeValue(std::string_view value);
#endif

/* Appends a pair in canonical form; or, with a NULL name, a line as it is. FALSE without memory. */
gboolean DictLL_MarshalLine(DynBuf *output, const char *name, const char *value);

/* Writes the same to a stream. FALSE with errno. */
gboolean DictLL_WriteLine(FILE *stream, const char *name, const char *value);

G_END_DECLS
