// lib/crypto/cryptoPBKDF2.cpp: PBKDF2 of RFC 2898 with HMAC-SHA-1
//
// A round hashes two blocks: the first blocks of both hashes of HMAC depend on the password only, so the states
// behind them are kept.
//
//   inner   state after (password XOR 0x36...)   +   20 bytes of the round before, padding   ->   20 bytes
//   outer   state after (password XOR 0x5c...)   +   these 20 bytes, padding                 ->   result of the round
#include <algorithm>
#include <array>
#include <cstring>

#include "lib/crypto/cryptoInt.h"
#include "lib/crypto/shaFips.h"
#include "lib/misc/log.h"
#include "lib/misc/secret.h"

namespace {

constexpr gsize kDigestSize = SHA1FipsState::kDigestSize;

/* The states behind the first blocks of HMAC. */
struct KeptStates {
    SHA1FipsState inner;
    SHA1FipsState outer;
};

void KeepStates(KeptStates *kept, const guint8 *password, gsize passwordSize) {
    SecretArray<SHA_BLOCK_SIZE> block;
    if (passwordSize > block.size()) {
        SecretValue<SHA1FipsState> state;
        SHA1_FIPS_Init(&state);
        CryptoForEachPiece(password, passwordSize, [&state](const guint8 *piece, gsize size) {
            SHA1_FIPS_Update(&state, piece, static_cast<guint32>(size));
        });
        SHA1_FIPS_Final(&state, block.data());
    } else if (passwordSize > 0) {
        memcpy(block.data(), password, passwordSize);
    }
    for (const auto &[state, pad] : {std::pair(&kept->inner, 0x36), {&kept->outer, 0x36 ^ 0x5c}}) {
        for (guint8 &byte : block)
            byte = static_cast<guint8>(byte ^ pad);
        SHA1_FIPS_Init(state);
        SHA1_FIPS_Update(state, block.data(), SHA_BLOCK_SIZE);
    }
}

/* HMAC of data of any size. */
void Hmac(const KeptStates &kept, const guint8 *data, gsize size, guint8 *out) {
    SecretValue<SHA1FipsState> state;
    state = kept.inner;
    CryptoForEachPiece(data, size, [&state](const guint8 *piece, gsize pieceSize) {
        SHA1_FIPS_Update(&state, piece, static_cast<guint32>(pieceSize));
    });
    SHA1_FIPS_Final(&state, out);
    state = kept.outer;
    SHA1_FIPS_Update(&state, out, kDigestSize);
    SHA1_FIPS_Final(&state, out);
}

/* Takes the HMAC of the digest in sum, then of that, and so on; XORs each to sum. */
void RunRounds(const KeptStates &kept, int rounds, guint8 *sum) {
    const ShaTransform transform = ShaBody_Get().sha1;
    SecretArray<SHA_BLOCK_SIZE> block; /* a digest behind a whole block, padded */
    SecretValue<std::array<guint32, 5>> words;
    memcpy(block.data(), sum, kDigestSize);
    block[kDigestSize] = 0x80;
    const guint16 numBits = GUINT16_TO_BE((SHA_BLOCK_SIZE + kDigestSize) * 8);
    memcpy(block.data() + SHA_BLOCK_SIZE - sizeof numBits, &numBits, sizeof numBits);

    for (; rounds > 0; rounds--) {
        for (const SHA1FipsState *state : {&kept.inner, &kept.outer}) {
            memcpy(words.data(), state->words, sizeof state->words);
            transform(words.data(), block.data(), 1);
            for (gsize i = 0; i < words.size(); i++) {
                const guint32 word = GUINT32_TO_BE(words[i]);
                memcpy(block.data() + i * sizeof word, &word, sizeof word);
            }
        }
        for (gsize i = 0; i < kDigestSize; i++)
            sum[i] ^= block[i];
    }
}

} // namespace

CryptoError CryptoPBKDF2_HMAC_SHA1_Compute(int rounds, const guint8 *password, gsize passwordSize,
                                           const guint8 *salt, gsize saltSize, guint8 *out,
                                           gsize outSize) {
    std::fill_n(out, outSize, guint8{0});
    if (rounds < 1) {
        Log("PBKDF2: at least one round required (%d requested)\n", rounds);
        return CRYPTO_ERROR_FAILED;
    }
    guint32 number = 0; /* of the current block, from 1, behind the salt */
    gsize inputSize;
    if (__builtin_add_overflow(saltSize, sizeof number, &inputSize))
        return CRYPTO_ERROR_NO_MEMORY;
    if ((outSize - (outSize != 0)) / kDigestSize >= G_MAXUINT32)
        return CRYPTO_ERROR_FAILED; // the number would start anew, and bytes repeat

    const SecretBlock input = SecretBlock::Allocate(inputSize);
    if (!input)
        return CRYPTO_ERROR_NO_MEMORY;
    SecretValue<KeptStates> kept;
    KeepStates(&kept, password, passwordSize);
    if (saltSize > 0)
        memcpy(input.data(), salt, saltSize);

    SecretArray<kDigestSize> sum;
    for (gsize done = 0; done < outSize; done += kDigestSize) {
        number++;
        const guint32 bigEndian = GUINT32_TO_BE(number);
        memcpy(input.data() + saltSize, &bigEndian, sizeof bigEndian);
        Hmac(kept, input.data(), inputSize, sum.data());
        RunRounds(kept, rounds - 1, sum.data());
        memcpy(out + done, sum.data(), std::min(kDigestSize, outSize - done));
    }
    return CRYPTO_ERROR_SUCCESS;
}
