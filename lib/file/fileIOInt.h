/*
 * fileIOInt.h -- what the sources of fileIO.h share
 *
 *   fileIO.cpp          opening, locking, plain transfers
 *   fileIOVector.cpp    vectors, coalescing
 *   fileIOAligned.cpp   the pool of aligned buffers
 *   fileIOAtomic.cpp    replacing a file
 */
#pragma once

#include "lib/file/fileIO.h"

constexpr gsize FILEIO_MAX_SIZE = 0x7FFFFFFF; /* of one transfer, in bytes */

FileIOResult FileIOErrno2Result(gint error);

/* Buffers of up to 1 MiB at multiples of 4,096, kept for the next transfer. */
void FileIOAligned_PoolInit(void);
void FileIOAligned_PoolExit(void);
/* NULL for a larger size, or when 30 are busy. */
gpointer FileIOAligned_PoolMalloc(gsize size);
/* FALSE for a buffer that is not of the pool. */
gboolean FileIOAligned_PoolFree(gpointer buffer);
