#include "tests/lib/crypto/wiping/freedBlocks.h"

#include <cstdlib>
#include <cstring>

#include <glib.h>
#include <malloc.h>

namespace {

constexpr size_t kWindow = 8;

bool gIsRecording;
int gNumAllocations;
int gFailing;
/* All freed blocks, one behind the other. */
char *gBytes;
size_t gSize;
size_t gRoom;

} // namespace

extern "C" {

void *__real_malloc(size_t size);
void *__real_calloc(size_t count, size_t size);
void *__real_realloc(void *block, size_t size);
void __real_free(void *block);
void __real_g_free(void *block);
void *__real__Znwm(size_t size);
void *__real__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t &tag);
void __real__ZdlPv(void *block);
void __real__ZdlPvm(void *block, size_t size);
}

namespace {

void Keep(const void *block) {
    if (!gIsRecording || !block)
        return;
    const size_t size = malloc_usable_size(const_cast<void *>(block));
    if (gSize + size > gRoom) {
        gRoom = (gSize + size) * 2;
        gBytes = static_cast<char *>(__real_realloc(gBytes, gRoom));
    }
    memcpy(gBytes + gSize, block, size);
    gSize += size;
}

/* Whether this allocation is the one that fails. */
bool Fails() {
    return gIsRecording && gNumAllocations++ == gFailing;
}

void *Zeroed(void *block) {
    if (block && gIsRecording)
        memset(block, 0, malloc_usable_size(block));
    return block;
}

} // namespace

/* The linker may let shared libraries refer to them, too. */
#pragma GCC visibility push(default)
extern "C" {

void *__wrap_malloc(size_t size) {
    return Fails() ? nullptr : Zeroed(__real_malloc(size));
}

void *__wrap_calloc(size_t count, size_t size) {
    return Fails() ? nullptr : __real_calloc(count, size);
}

/* The old block is kept as if it were freed, since it may be moved. */
void *__wrap_realloc(void *block, size_t size) {
    if (Fails())
        return nullptr;
    Keep(block);
    return __real_realloc(block, size);
}

void __wrap_free(void *block) {
    Keep(block);
    __real_free(block);
}

char *__wrap_strdup(const char *text) {
    auto *copy = static_cast<char *>(__wrap_malloc(strlen(text) + 1));
    return copy ? strcpy(copy, text) : nullptr;
}

void __wrap_g_free(void *block) {
    Keep(block);
    __real_g_free(block);
}

void *__wrap__Znwm(size_t size) {
    return Zeroed(__real__Znwm(size));
}

void *__wrap__ZnwmRKSt9nothrow_t(size_t size, const std::nothrow_t &tag) {
    return Fails() ? nullptr : Zeroed(__real__ZnwmRKSt9nothrow_t(size, tag));
}

void __wrap__ZdlPv(void *block) {
    Keep(block);
    __real__ZdlPv(block);
}

void __wrap__ZdlPvm(void *block, size_t size) {
    Keep(block);
    __real__ZdlPvm(block, size);
}
}
#pragma GCC visibility pop

void FreedBlocks_Start(int failingAllocation) {
    gSize = 0;
    gNumAllocations = 0;
    gFailing = failingAllocation;
    gIsRecording = true;
}

int FreedBlocks_Stop() {
    gIsRecording = false;
    return gNumAllocations;
}

bool FreedBlocks_Has(std::string_view secret) {
    const std::string_view all(gBytes, gSize);
    for (size_t at = 0; at + kWindow <= secret.size(); at++) {
        if (all.find(secret.substr(at, kWindow)) != all.npos)
            return true;
    }
    return false;
}
