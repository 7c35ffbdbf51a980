// lib/crypto/shaFips.cpp
#include "lib/crypto/shaFips.h"

#include <algorithm>
#include <cstring>

constexpr std::array<guint32, 5> kSha1Start = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476,
                                               0xc3d2e1f0};
constexpr std::array<guint32, 8> kSha256Start = {0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                                 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};

namespace {

constexpr gsize kLengthSize = 8; /* of the count of bits at the end of the last block */

template <gsize N> void Init(ShaFipsState<N> *state, const std::array<guint32, N> &start) {
    memset(state, 0, sizeof *state);
    memcpy(state->words, start.data(), sizeof state->words);
}

template <gsize N> gsize BytesInBuffer(const ShaFipsState<N> *state) {
    return state->count[0] / 8 % SHA_BLOCK_SIZE;
}

template <gsize N>
void Update(ShaFipsState<N> *state, ShaTransform transform, const guint8 *data, guint32 size) {
    const gsize used = BytesInBuffer(state);
    const guint32 lowBits = size << 3;
    state->count[0] += lowBits;
    state->count[1] += (size >> 29) + (state->count[0] < lowBits ? 1 : 0);

    gsize done = 0;
    if (used > 0) {
        done = std::min<gsize>(size, SHA_BLOCK_SIZE - used);
        memcpy(state->buffer + used, data, done);
        if (used + done < SHA_BLOCK_SIZE)
            return;
        transform(state->words, state->buffer, 1);
    }
    const gsize numBlocks = (size - done) / SHA_BLOCK_SIZE;
    if (numBlocks > 0) {
        transform(state->words, data + done, numBlocks);
        done += numBlocks * SHA_BLOCK_SIZE;
    }
    if (done < size)
        memcpy(state->buffer, data + done, size - done);
}

template <gsize N> void Final(ShaFipsState<N> *state, ShaTransform transform, guint8 *digest) {
    gsize used = BytesInBuffer(state);
    state->buffer[used++] = 0x80;
    if (used > SHA_BLOCK_SIZE - kLengthSize) {
        memset(state->buffer + used, 0, SHA_BLOCK_SIZE - used);
        transform(state->words, state->buffer, 1);
        used = 0;
    }
    memset(state->buffer + used, 0, SHA_BLOCK_SIZE - kLengthSize - used);
    const guint32 length[] = {state->count[1], state->count[0]};
    ShaWords_Write(length, state->buffer + SHA_BLOCK_SIZE - kLengthSize);
    transform(state->words, state->buffer, 1);
    ShaWords_Write(state->words, digest);
}

} // namespace

void SHA1_FIPS_Init(SHA1FipsState *state) {
    Init(state, kSha1Start);
}

void SHA1_FIPS_Update(SHA1FipsState *state, const guint8 *data, guint32 size) {
    Update(state, ShaBody_Get().sha1, data, size);
}

void SHA1_FIPS_Final(SHA1FipsState *state, guint8 *digest) {
    Final(state, ShaBody_Get().sha1, digest);
}

void SHA256_FIPS_Init(SHA256FipsState *state) {
    Init(state, kSha256Start);
}

void SHA256_FIPS_Update(SHA256FipsState *state, const guint8 *data, guint32 size) {
    Update(state, ShaBody_Get().sha256, data, size);
}

void SHA256_FIPS_Final(SHA256FipsState *state, guint8 *digest) {
    Final(state, ShaBody_Get().sha256, digest);
}
