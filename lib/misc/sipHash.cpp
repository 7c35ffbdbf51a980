#include "lib/misc/sipHash.h"

#include <bit>
#include <cstring>

namespace {

struct State {
    guint64 v0, v1, v2, v3;

    void Round() {
        v0 += v1;
        v2 += v3;
        v1 = std::rotl(v1, 13) ^ v0;
        v3 = std::rotl(v3, 16) ^ v2;
        v0 = std::rotl(v0, 32);
        v2 += v1;
        v0 += v3;
        v1 = std::rotl(v1, 17) ^ v2;
        v3 = std::rotl(v3, 21) ^ v0;
        v2 = std::rotl(v2, 32);
    }

    void Take(guint64 word) {
        v3 ^= word;
        Round();
        Round();
        v0 ^= word;
    }
};

} // namespace

guint64 SipHash_Compute(const SipHashKey *key, const void *data, gsize size) {
    const auto [k0, k1] = key->words;
    State state = {k0 ^ 0x736f6d6570736575, k1 ^ 0x646f72616e646f6d, k0 ^ 0x6c7967656e657261,
                   k1 ^ 0x7465646279746573};
    const auto *bytes = static_cast<const guint8 *>(data);
    const gsize whole = size / 8 * 8;
    for (gsize i = 0; i < whole; i += 8) {
        guint64 word;
        memcpy(&word, bytes + i, 8);
        state.Take(GUINT64_FROM_LE(word));
    }
    guint64 last = static_cast<guint64>(size) << 56;
    for (gsize i = whole; i < size; i++)
        last |= static_cast<guint64>(bytes[i]) << (8 * (i - whole));
    state.Take(last);
    state.v2 ^= 0xff;
    for (int i = 0; i < 4; i++)
        state.Round();
    return state.v0 ^ state.v1 ^ state.v2 ^ state.v3;
}
