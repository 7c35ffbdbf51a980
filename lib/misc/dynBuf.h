/*
 * dynBuf.h -- a growing buffer of bytes: pointer, used size, allocated size
 *
 *   DynBuf buffer;
 *   DynBuf_Init(&buffer);
 *   if (!DynBuf_Append(&buffer, bytes, count)) ...
 *   char *text = DynBuf_DetachText(&buffer, &size);
 *
 * The allocated size doubles when it is exhausted, so appending byte by byte copies each byte twice at most
 * on average.
 *
 * Ownership: the buffer owns its bytes until they are detached or it is destroyed. The caller releases
 *            detached bytes with free().
 * Errors:    without memory a function returns FALSE and leaves the contents unchanged.
 * Threads:   a buffer belongs to one thread at a time.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef struct {
    char *data;      /* NULL before the first allocation */
    gsize size;      /* bytes in use */
    gsize allocated; /* room, in bytes */
} DynBuf;

void DynBuf_Init(DynBuf *buffer);

/* Releases the bytes. The buffer is empty afterwards and can be used again. */
void DynBuf_Destroy(DynBuf *buffer);

/**
 * DynBuf_Reserve:
 * @buffer: the buffer
 * @allocated: the total room required, in bytes
 *
 * Returns: %FALSE without memory
 */
gboolean DynBuf_Reserve(DynBuf *buffer, gsize allocated);

/**
 * DynBuf_Append:
 * @buffer: the buffer
 * @data: (array length=size) (nullable): the bytes, which are not part of the buffer; %NULL only if @size is 0
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
 * @size: (out) (optional): number of bytes, without the terminating NUL
 *
 * Passes the bytes with a terminating NUL to the caller, without copying them. NULs inside stay.
 *
 * Returns: (transfer full) (nullable): the text, also of an empty buffer; %NULL without memory, and the
 *   buffer then keeps its contents
 */
char *DynBuf_DetachText(DynBuf *buffer, gsize *size);

G_END_DECLS
