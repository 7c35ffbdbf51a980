/*
 * secretBuf.h -- a text that grows piece by piece and is wiped wherever it has been
 *
 *   SecretBuf text;
 *   if (!text.Append("type=") || !text.Append(name)) ...       // no memory
 *   char *result = text.ReleaseText(&size);
 *
 * Ownership: the buffer owns its bytes until they are released to the caller, who frees them with free().
 * Errors:    Append() returns false without memory, and the contents then stay as they were.
 * Threads:   a buffer belongs to one thread at a time.
 */
#pragma once

#include <algorithm>
#include <string_view>

#include "lib/misc/secret.h"

class SecretBuf {
public:
    bool Append(std::string_view piece) {
        gsize needed; /* with room for a NUL */
        if (__builtin_add_overflow(used + 1, piece.size(), &needed))
            return false;
        if (needed > block.size() && !Grow(needed))
            return false;
        if (!piece.empty())
            memcpy(block.data() + used, piece.data(), piece.size());
        used += piece.size();
        return true;
    }

    /* The text with a NUL, which is not counted; nullptr without memory. The buffer is empty afterwards. */
    char *ReleaseText(gsize *size) {
        *size = 0;
        if (!block && !Grow(1))
            return nullptr;
        block.data()[used] = '\0';
        *size = std::exchange(used, 0);
        gsize room;
        return reinterpret_cast<char *>(block.release(&room));
    }

private:
    bool Grow(gsize needed) {
        SecretBlock larger = SecretBlock::Allocate(std::max({needed, block.size() * 2, kFirst}));
        if (!larger)
            return false;
        if (used != 0)
            memcpy(larger.data(), block.data(), used);
        block = std::move(larger);
        return true;
    }

    static constexpr gsize kFirst = 256;
    SecretBlock block;
    gsize used = 0;
};
