/*
 * readableMemory.h -- copies memory that may not exist
 *
 * For reports about a damaged process: a wrong address is a result, not a crash.
 *
 * Threads: any, also in signal handlers. errno is kept.
 */
#pragma once

#include <cstddef>

/* Copies bytes of this process. Returns false, with the copy undefined, unless all of them can be read. */
bool ReadableMemory_Copy(void *copy, const void *address, std::size_t size);
