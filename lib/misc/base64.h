/*
 * base64.h -- bytes as text of the standard alphabet:  {0x00, 0xff}  <->  "AP8="
 *
 * Decoding skips blanks, tabs, line breaks, vertical tabs and form feeds, and ends with success at the first "=" or
 * NUL, whatever follows.
 *
 * Ownership: results of the Easy functions are the caller's, to be released with free(); sizes count no NUL.
 * Errors:    FALSE, with all outs cleared. What was decoded before a fault is wiped.
 * Threads:   stateless; may be called from any thread.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * Base64_Encode:
 * @source: (array length=size): the bytes
 * @size: number of bytes
 * @target: (out caller-allocates) (array length=targetSize): where the text and a NUL are written
 * @targetSize: size of @target; Base64_EncodedLength() is enough
 * @outSize: (out) (optional): length of the text without the NUL
 *
 * Returns: %FALSE if @target is too small; it is then not touched
 */
gboolean Base64_Encode(const guint8 *source, gsize size, char *target, gsize targetSize,
                       gsize *outSize);

/* Decodes a text that ends in a NUL. */
gboolean Base64_Decode(const char *source, guint8 *target, gsize targetSize, gsize *outSize);

/**
 * Base64_ChunkDecode:
 * @source: (array length=sourceSize): the text
 * @sourceSize: its length; the text also ends at a NUL before that
 * @target: (out caller-allocates) (array length=targetSize): where the bytes are written
 * @targetSize: size of @target
 * @outSize: (out): number of bytes written
 *
 * Returns: %FALSE if @target is too small or the text has another byte than it may
 */
gboolean Base64_ChunkDecode(const char *source, gsize sourceSize, guint8 *target, gsize targetSize,
                            gsize *outSize);

/* Encodes into a block of its own. FALSE without memory. */
gboolean Base64_EasyEncode(const guint8 *source, gsize size, char **target);

/* Decodes a text that ends in a NUL into a block of its own, whose size is that of Base64_DecodedLength(). A last
 * group without its "=" therefore does not fit, and is a failure. */
gboolean Base64_EasyDecode(const char *source, guint8 **target, gsize *size);

/* How many bytes Base64_Encode() needs for so many bytes, its NUL included. The bytes are not read. */
gsize Base64_EncodedLength(const guint8 *source, gsize size);

/* How many bytes a text without whitespace decodes to. */
gsize Base64_DecodedLength(const char *source, gsize size);

/* Whether each byte of a text is of the alphabet, or "=". */
gboolean Base64_ValidEncoding(const char *source, gsize size);

G_END_DECLS
