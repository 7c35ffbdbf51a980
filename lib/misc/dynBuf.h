/*
 * dynBuf.h -- a growing buffer of bytes: pointer, used size, allocated size
 *
 *   DynBuf buffer;
 *   DynBuf_Init(&buffer);
 *   if (!DynBuf_Append(&buffer, bytes, count)) ...
 *   char *text = DynBuf_DetachText(&buffer, &size);
 *
 * Grows by doubling, so that appending a byte at a time costs no more than copying twice.
 *
 * Ownership: the buffer owns its bytes until they are detached or it is destroyed; what was detached is
 *            the caller's, to be released with free().
 * Errors:    what needs memory returns FALSE when there is none, and the contents then stay as they were.
 * Threads:   a buffer belongs to one thread at a time.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef struct {
    char *data;      /* NULL while nothing was allocated */
    gsize size;      /* bytes in use */
    gsize allocated; /* bytes there is room for */
} DynBuf;

void DynBuf_Init(DynBuf *buffer);

/* Releases the bytes; the buffer is then empty and can be used again. */
void DynBuf_Destroy(DynBuf *buffer);

/**
 * DynBuf_Reserve:
 * @buffer: the buffer
 * @allocated: how many bytes there shall be room for in all
 *
 * Returns: %FALSE without memory
 */
gboolean DynBuf_Reserve(DynBuf *buffer, gsize allocated);

/**
 * DynBuf_Append:
 * @buffer: the buffer
 * @data: (array length=size) (nullable): what to append, from outside the buffer; %NULL only if @size is 0
 * @size: number of bytes
 *
 * Returns: %FALSE without memory
 */
gboolean DynBuf_Append(DynBuf *buffer, const void *data, gsize size);

/* Appends a text without its NUL. */
gboolean DynBuf_AppendString(DynBuf *buffer, const char *text);

/**
 * DynBuf_DetachText:
 * @buffer: the buffer, empty afterwards
 * @size: (out) (optional): number of bytes, without the closing NUL
 *
 * Hands out the bytes with a NUL behind them, without copying them. Inner NULs stay as they are.
 *
 * Returns: (transfer full) (nullable): the text, never %NULL for want of bytes; %NULL without memory, and
 *   the buffer then keeps what it has
 */
char *DynBuf_DetachText(DynBuf *buffer, gsize *size);

G_END_DECLS
