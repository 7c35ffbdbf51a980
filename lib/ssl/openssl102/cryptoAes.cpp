// AES by the processor's instructions, in the low-level functions of 1.0.2. Those of OpenSSL 3 are table look-ups: five
// times slower, and other processes can learn of the key by the caches. Its fast code is reached only by contexts, which
// cannot be kept in an AES_KEY: callers copy that record and never free it.
//
// An AES_KEY holds what OpenSSL itself puts there, so each of its functions can be given a key of these and the other way
// round:
//
//   encrypting   round keys as bytes, in order
//   decrypting   round keys in reverse order, all but the first and the last through InvMixColumns
//
// Where the processor has no such instructions, or OpenSSL's records are built in another way, OpenSSL does it all.
#include "lib/ssl/openssl102/openssl102.h"

#include <atomic>
#include <bit>
#include <cstdint>
#include <cstring>
#include <utility>

#include <openssl/aes.h>

USES_GENUINE(AES_set_encrypt_key);
USES_GENUINE(AES_set_decrypt_key);
USES_GENUINE(AES_ecb_encrypt);
USES_GENUINE(AES_cbc_encrypt);

#if defined(__x86_64__)

#include <cpuid.h>
#include <immintrin.h>

#define TARGET_AES __attribute__((target("aes,sse4.1")))

namespace {

constexpr int kLanes =
    8; /* blocks that are decrypted side by side: what the latency of a round leaves room for */

bool IsKeySize(int bits) {
    return bits == 128 || bits == 192 || bits == 256;
}

TARGET_AES __m128i Load(const unsigned char *bytes) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(bytes));
}

TARGET_AES void Store(unsigned char *bytes, __m128i block) {
    _mm_storeu_si128(reinterpret_cast<__m128i *>(bytes), block);
}

TARGET_AES __m128i RoundKey(const AES_KEY *key, int round) {
    return _mm_loadu_si128(reinterpret_cast<const __m128i *>(key->rd_key) + round);
}

/* The S-box on each byte of a word. */
TARGET_AES uint32_t SubWord(uint32_t word) {
    const __m128i sub = _mm_aeskeygenassist_si128(_mm_set1_epi32(static_cast<int>(word)), 0);
    return static_cast<uint32_t>(_mm_cvtsi128_si32(sub));
}

TARGET_AES void ExpandForEncrypting(const unsigned char *bytes, int bits, AES_KEY *key) {
    const int keyWords = bits / 32;
    key->rounds = keyWords + 6;
    uint32_t *words = key->rd_key;
    memcpy(words, bytes, static_cast<size_t>(bits / 8));
    uint32_t constant = 1;
    for (int i = keyWords; i < 4 * (key->rounds + 1); i++) {
        uint32_t word = words[i - 1];
        if (i % keyWords == 0) {
            word = std::rotr(SubWord(word), 8) ^ constant;
            constant = constant << 1 ^ (constant >> 7) * 0x11b;
        } else if (keyWords == 8 && i % keyWords == 4) {
            word = SubWord(word);
        }
        words[i] = words[i - keyWords] ^ word;
    }
}

TARGET_AES void ExpandForDecrypting(const unsigned char *bytes, int bits, AES_KEY *key) {
    ExpandForEncrypting(bytes, bits, key);
    auto *roundKeys = reinterpret_cast<unsigned char *>(key->rd_key);
    for (int first = 0, last = key->rounds; first <= last; first++, last--) {
        __m128i early = RoundKey(key, first);
        __m128i late = RoundKey(key, last);
        if (first > 0) {
            early = _mm_aesimc_si128(early);
            late = _mm_aesimc_si128(late);
        }
        Store(roundKeys + first * AES_BLOCK_SIZE, late);
        Store(roundKeys + last * AES_BLOCK_SIZE, early);
    }
}

TARGET_AES __m128i EncryptBlock(__m128i block, const AES_KEY *key) {
    block = _mm_xor_si128(block, RoundKey(key, 0));
    for (int round = 1; round < key->rounds; round++)
        block = _mm_aesenc_si128(block, RoundKey(key, round));
    return _mm_aesenclast_si128(block, RoundKey(key, key->rounds));
}

/* Decrypts count blocks side by side. */
template <int count> TARGET_AES void DecryptBlocks(__m128i *blocks, const AES_KEY *key) {
    const __m128i firstKey = RoundKey(key, 0);
#pragma GCC unroll 8
    for (int i = 0; i < count; i++)
        blocks[i] = _mm_xor_si128(blocks[i], firstKey);
    for (int round = 1; round < key->rounds; round++) {
        const __m128i roundKey = RoundKey(key, round);
#pragma GCC unroll 8
        for (int i = 0; i < count; i++)
            blocks[i] = _mm_aesdec_si128(blocks[i], roundKey);
    }
    const __m128i lastKey = RoundKey(key, key->rounds);
#pragma GCC unroll 8
    for (int i = 0; i < count; i++)
        blocks[i] = _mm_aesdeclast_si128(blocks[i], lastKey);
}

TARGET_AES void EncryptChain(const unsigned char *in, unsigned char *out, size_t numBlocks,
                             const AES_KEY *key, unsigned char *iv) {
    __m128i chain = Load(iv);
    for (; numBlocks > 0; numBlocks--, in += AES_BLOCK_SIZE, out += AES_BLOCK_SIZE) {
        chain = EncryptBlock(_mm_xor_si128(chain, Load(in)), key);
        Store(out, chain);
    }
    Store(iv, chain);
}

/* Decrypts count blocks; all of them are read before one is written. Returns the last one as it was. */
template <int count> TARGET_AES __m128i DecryptLinks(const unsigned char *in, unsigned char *out,
                                                     const AES_KEY *key, __m128i chain) {
    __m128i blocks[count];
    __m128i masks[count + 1];
    masks[0] = chain;
#pragma GCC unroll 8
    for (int i = 0; i < count; i++)
        blocks[i] = masks[i + 1] = Load(in + i * AES_BLOCK_SIZE);
    DecryptBlocks<count>(blocks, key);
#pragma GCC unroll 8
    for (int i = 0; i < count; i++)
        Store(out + i * AES_BLOCK_SIZE, _mm_xor_si128(blocks[i], masks[i]));
    return masks[count];
}

TARGET_AES void DecryptChain(const unsigned char *in, unsigned char *out, size_t numBlocks,
                             const AES_KEY *key, unsigned char *iv) {
    __m128i chain = Load(iv);
    for (; numBlocks >= kLanes; numBlocks -= kLanes) {
        chain = DecryptLinks<kLanes>(in, out, key, chain);
        in += kLanes * AES_BLOCK_SIZE;
        out += kLanes * AES_BLOCK_SIZE;
    }
    for (; numBlocks > 0; numBlocks--, in += AES_BLOCK_SIZE, out += AES_BLOCK_SIZE)
        chain = DecryptLinks<1>(in, out, key, chain);
    Store(iv, chain);
}

TARGET_AES void CryptOneBlock(const unsigned char *in, unsigned char *out, const AES_KEY *key,
                              bool isEncrypting) {
    __m128i block = Load(in);
    if (isEncrypting)
        block = EncryptBlock(block, key);
    else
        DecryptBlocks<1>(&block, key);
    Store(out, block);
}

/* Whether OpenSSL builds the same schedules as we do. */
bool AreSchedulesAlike() {
    const unsigned char bytes[32] = {0x2b, 0x7e, 0x15, 0x16, 0x28, 0xae, 0xd2, 0xa6};
    for (const int bits : {128, 192, 256}) {
        AES_KEY ours[2];
        AES_KEY theirs[2];
        memset(ours, 0, sizeof ours);
        memset(theirs, 0, sizeof theirs);
        ExpandForEncrypting(bytes, bits, &ours[0]);
        ExpandForDecrypting(bytes, bits, &ours[1]);
        if (GENUINE(AES_set_encrypt_key)(bytes, bits, &theirs[0]) != 0 ||
            GENUINE(AES_set_decrypt_key)(bytes, bits, &theirs[1]) != 0 ||
            memcmp(ours, theirs, sizeof ours) != 0)
            return false;
    }
    return true;
}

bool HasProcessorAes() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    constexpr unsigned kNeeded = bit_AES | bit_SSE4_1;
    return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & kNeeded) == kNeeded && AreSchedulesAlike();
}

enum class Serves { Unknown, Instructions, Genuine };

constinit std::atomic<Serves> gServes = Serves::Unknown;

/* Decided at the first use; threads that come at once decide alike. */
bool UsesInstructions() {
    Serves serves = gServes.load(std::memory_order_relaxed);
    if (serves == Serves::Unknown) [[unlikely]] {
        serves = HasProcessorAes() ? Serves::Instructions : Serves::Genuine;
        gServes.store(serves, std::memory_order_relaxed);
    }
    return serves == Serves::Instructions;
}

} // namespace

OPENSSL102(int, AES_set_encrypt_key, const unsigned char *bytes, int bits, AES_KEY *key) {
    if (bytes == nullptr || key == nullptr || !IsKeySize(bits) || !UsesInstructions())
        return GENUINE(AES_set_encrypt_key)(bytes, bits, key);
    ExpandForEncrypting(bytes, bits, key);
    return 0;
}

OPENSSL102(int, AES_set_decrypt_key, const unsigned char *bytes, int bits, AES_KEY *key) {
    if (bytes == nullptr || key == nullptr || !IsKeySize(bits) || !UsesInstructions())
        return GENUINE(AES_set_decrypt_key)(bytes, bits, key);
    ExpandForDecrypting(bytes, bits, key);
    return 0;
}

OPENSSL102(void, AES_ecb_encrypt, const unsigned char *in, unsigned char *out, const AES_KEY *key,
           int encrypt) {
    if (!UsesInstructions())
        return GENUINE(AES_ecb_encrypt)(in, out, key, encrypt);
    CryptOneBlock(in, out, key, encrypt != AES_DECRYPT);
}

/* A length that is no multiple of the block size ends in a block that OpenSSL completes in its own way. */
OPENSSL102(void, AES_cbc_encrypt, const unsigned char *in, unsigned char *out, size_t size,
           const AES_KEY *key, unsigned char *iv, int encrypt) {
    if (!UsesInstructions())
        return GENUINE(AES_cbc_encrypt)(in, out, size, key, iv, encrypt);
    const size_t whole = size - size % AES_BLOCK_SIZE;
    if (encrypt != AES_DECRYPT)
        EncryptChain(in, out, whole / AES_BLOCK_SIZE, key, iv);
    else
        DecryptChain(in, out, whole / AES_BLOCK_SIZE, key, iv);
    if (whole < size)
        GENUINE(AES_cbc_encrypt)(in + whole, out + whole, size - whole, key, iv, encrypt);
}

#else

OPENSSL102(int, AES_set_encrypt_key, const unsigned char *bytes, int bits, AES_KEY *key) {
    return GENUINE(AES_set_encrypt_key)(bytes, bits, key);
}

OPENSSL102(int, AES_set_decrypt_key, const unsigned char *bytes, int bits, AES_KEY *key) {
    return GENUINE(AES_set_decrypt_key)(bytes, bits, key);
}

OPENSSL102(void, AES_ecb_encrypt, const unsigned char *in, unsigned char *out, const AES_KEY *key,
           int encrypt) {
    GENUINE(AES_ecb_encrypt)(in, out, key, encrypt);
}

OPENSSL102(void, AES_cbc_encrypt, const unsigned char *in, unsigned char *out, size_t size,
           const AES_KEY *key, unsigned char *iv, int encrypt) {
    GENUINE(AES_cbc_encrypt)(in, out, size, key, iv, encrypt);
}

#endif
