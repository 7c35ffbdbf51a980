/*
 * secret.h -- owners of passwords, keys, tickets and cookies that wipe them before they are freed
 *
 *   SecretText password(g_strdup(text));                // wiped on every path out of the scope
 *   SecretBlock plain = SecretBlock::Allocate(size);    // the same for bytes; empty without memory
 *   SecretArray<20> digest;                             // the same on the stack
 *
 * Ownership: texts come from GLib's allocator, blocks from malloc(), which is also what g_free() releases.
 * Errors:    none; NULL is accepted everywhere.
 * Threads:   any.
 */
#pragma once

#include <array>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "lib/misc/glibPtr.h"

/* Overwrites the bytes in a way that the compiler must not remove. */
inline void Secret_Wipe(void *bytes, gsize size) {
    if (bytes != nullptr)
        explicit_bzero(bytes, size);
}

/* Wipes a text up to its NUL and frees it. */
inline void Secret_FreeText(char *text) {
    if (text == nullptr)
        return;
    explicit_bzero(text, strlen(text));
    g_free(text);
}

using SecretText = std::unique_ptr<char, Release<Secret_FreeText>>;

/* Wipes a block from malloc() and frees it. */
inline void Secret_FreeBlock(void *bytes, gsize size) {
    Secret_Wipe(bytes, size);
    free(bytes);
}

/* Whether two blocks are equal; takes the same time wherever they differ. */
inline bool Secret_IsEqual(const void *first, const void *second, gsize size) {
    const auto *a = static_cast<const volatile guint8 *>(first);
    const auto *b = static_cast<const volatile guint8 *>(second);
    unsigned difference = 0;
    for (gsize i = 0; i < size; i++)
        difference |= static_cast<unsigned>(a[i] ^ b[i]);
    return difference == 0;
}

/* Owner of a block from malloc() with its size; release() hands both on. */
class SecretBlock {
public:
    SecretBlock() = default;
    SecretBlock(void *block, gsize blockSize)
        : bytes(static_cast<guint8 *>(block)), count(blockSize) {}
    ~SecretBlock() { Secret_FreeBlock(bytes, count); }
    SecretBlock(SecretBlock &&other) noexcept
        : bytes(std::exchange(other.bytes, nullptr)), count(std::exchange(other.count, 0)) {}
    SecretBlock &operator=(SecretBlock &&other) noexcept {
        std::swap(bytes, other.bytes);
        std::swap(count, other.count);
        return *this;
    }
    SecretBlock(const SecretBlock &) = delete;
    SecretBlock &operator=(const SecretBlock &) = delete;

    /* At least one byte is allocated, so nullptr always means a lack of memory. */
    static SecretBlock Allocate(gsize size) {
        void *block = malloc(size != 0 ? size : 1);
        return {block, block != nullptr ? size : 0};
    }
    static SecretBlock Copy(const void *from, gsize size) {
        SecretBlock block = Allocate(size);
        if (block && size != 0)
            memcpy(block.data(), from, size);
        return block;
    }

    explicit operator bool() const { return bytes != nullptr; }
    guint8 *data() const { return bytes; }
    gsize size() const { return count; }

    /* Gives the block to the caller. */
    guint8 *release(gsize *size) {
        *size = std::exchange(count, 0);
        return std::exchange(bytes, nullptr);
    }

private:
    guint8 *bytes = nullptr;
    gsize count = 0;
};

/* A record without pointers, zeroed at first. */
template <class T> struct SecretValue : T {
    SecretValue() : T{} {}
    ~SecretValue() { Secret_Wipe(static_cast<T *>(this), sizeof(T)); }
    SecretValue(const SecretValue &) = delete;
    SecretValue &operator=(const SecretValue &) = delete;
    SecretValue &operator=(const T &value) {
        static_cast<T &>(*this) = value;
        return *this;
    }
};

/* Bytes on the stack, zeroed at first. */
template <gsize N> using SecretArray = SecretValue<std::array<guint8, N>>;
