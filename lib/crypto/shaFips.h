/*
 * shaFips.h -- SHA-1 and SHA-256 of FIPS 180, piece by piece
 *
 *   SHA1FipsState state;
 *   SHA1_FIPS_Init(&state);
 *   SHA1_FIPS_Update(&state, data, size);
 *   SHA1_FIPS_Final(&state, digest);
 *
 * A state is also the form in which a running hash is exported, in the byte order of the machine:
 *
 *   state words (5 or 8)   count of bits, low word first (2)   bytes of the block that is not full yet (64)
 *
 * Ownership: states are the caller's, who wipes them.
 * Errors:    none.
 * Threads:   any; one state is used by one thread at a time.
 */
#pragma once

#include <array>
#include <cstddef>

#include <glib.h>

#include "lib/crypto/shaBodies.h"

template <gsize NumWords> struct ShaFipsState {
    static constexpr gsize kDigestSize = NumWords * sizeof(guint32);

    guint32 words[NumWords];
    guint32 count[2];
    guint8 buffer[SHA_BLOCK_SIZE];
};
using SHA1FipsState = ShaFipsState<5>;
using SHA256FipsState = ShaFipsState<8>;
static_assert(sizeof(SHA1FipsState) == 92 && sizeof(SHA256FipsState) == 104);

void SHA1_FIPS_Init(SHA1FipsState *state);
void SHA1_FIPS_Update(SHA1FipsState *state, const guint8 *data, guint32 size);
/* Writes the 20 bytes of the digest. The state is of no use afterwards. */
void SHA1_FIPS_Final(SHA1FipsState *state, guint8 *digest);

void SHA256_FIPS_Init(SHA256FipsState *state);
void SHA256_FIPS_Update(SHA256FipsState *state, const guint8 *data, guint32 size);
/* Writes the 32 bytes of the digest. The state is of no use afterwards. */
void SHA256_FIPS_Final(SHA256FipsState *state, guint8 *digest);

/* The state words that a hash begins with. */
extern const std::array<guint32, 5> kSha1Start;
extern const std::array<guint32, 8> kSha256Start;

/* Writes words as big-endian bytes. */
template <gsize NumWords> void ShaWords_Write(const guint32 (&words)[NumWords], guint8 *bytes) {
    for (gsize i = 0; i < NumWords; i++) {
        const guint32 word = GUINT32_TO_BE(words[i]);
        __builtin_memcpy(bytes + i * sizeof word, &word, sizeof word);
    }
}
