// lib/crypto/shaBodiesX86.cpp: the compression functions by the SHA instructions of x86 processors
#include "lib/crypto/shaBodiesInt.h"

#if defined(__x86_64__)

#include <cpuid.h>
#include <immintrin.h>

#include "lib/crypto/shaBodies.h"

#define TARGET_SHA __attribute__((target("sha,sse4.1,ssse3")))

namespace {

TARGET_SHA inline __m128i LoadBlock(const guint8 *from, __m128i order) {
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i *>(from)), order);
}

} // namespace

bool ShaX86_IsUsable() {
    unsigned a = 0, b = 0, c = 0, d = 0;
    constexpr unsigned kNeeded = bit_SSSE3 | bit_SSE4_1;
    if (__get_cpuid(1, &a, &b, &c, &d) == 0 || (c & kNeeded) != kNeeded)
        return false;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (b & bit_SHA) != 0;
}

/* The state is held as {d, c, b, a} and e in the highest lane; a step makes four rounds. */
TARGET_SHA void ShaX86_Sha1(guint32 *words, const guint8 *blocks, gsize numBlocks) {
    const __m128i order = _mm_set_epi64x(0x0001020304050607, 0x08090a0b0c0d0e0f);
    __m128i abcd =
        _mm_shuffle_epi32(_mm_loadu_si128(reinterpret_cast<const __m128i *>(words)), 0x1b);
    __m128i e = _mm_set_epi32(static_cast<int>(words[4]), 0, 0, 0);

    for (; numBlocks > 0; numBlocks--, blocks += SHA_BLOCK_SIZE) {
        const __m128i abcdBefore = abcd;
        const __m128i eBefore = e;
        __m128i m[4]; /* the latest 16 words of the schedule */
        for (int i = 0; i < 4; i++)
            m[i] = LoadBlock(blocks + i * 16, order);

        __m128i previous = abcd;
#pragma GCC unroll 20
        for (int step = 0; step < 20; step++) {
            __m128i &word = m[step & 3];
            const __m128i sum =
                step == 0 ? _mm_add_epi32(e, word) : _mm_sha1nexte_epu32(previous, word);
            previous = abcd;
            switch (step / 5) { // the operand must be a constant
            case 0:
                abcd = _mm_sha1rnds4_epu32(abcd, sum, 0);
                break;
            case 1:
                abcd = _mm_sha1rnds4_epu32(abcd, sum, 1);
                break;
            case 2:
                abcd = _mm_sha1rnds4_epu32(abcd, sum, 2);
                break;
            default:
                abcd = _mm_sha1rnds4_epu32(abcd, sum, 3);
            }
            if (step < 16)
                word = _mm_sha1msg2_epu32(
                    _mm_xor_si128(_mm_sha1msg1_epu32(word, m[(step + 1) & 3]), m[(step + 2) & 3]),
                    m[(step + 3) & 3]);
        }
        e = _mm_sha1nexte_epu32(previous, eBefore);
        abcd = _mm_add_epi32(abcd, abcdBefore);
    }

    _mm_storeu_si128(reinterpret_cast<__m128i *>(words), _mm_shuffle_epi32(abcd, 0x1b));
    words[4] = static_cast<guint32>(_mm_extract_epi32(e, 3));
}

/* The state is held as {f, e, b, a} and {h, g, d, c}, from the lowest lane; a step makes four rounds. */
TARGET_SHA void ShaX86_Sha256(guint32 *words, const guint8 *blocks, gsize numBlocks) {
    const __m128i order = _mm_set_epi64x(0x0c0d0e0f08090a0b, 0x0405060700010203);
    const auto *constants = reinterpret_cast<const __m128i *>(kSha256Constants);
    auto *state = reinterpret_cast<__m128i *>(words);
    const __m128i badc = _mm_shuffle_epi32(_mm_loadu_si128(state), 0xb1);
    const __m128i hgfe = _mm_shuffle_epi32(_mm_loadu_si128(state + 1), 0x1b);
    __m128i feba = _mm_alignr_epi8(badc, hgfe, 8);
    __m128i hgdc = _mm_blend_epi16(hgfe, badc, 0xf0);

    for (; numBlocks > 0; numBlocks--, blocks += SHA_BLOCK_SIZE) {
        const __m128i febaBefore = feba;
        const __m128i hgdcBefore = hgdc;
        __m128i m[4]; /* the latest 16 words of the schedule */
        for (int i = 0; i < 4; i++)
            m[i] = LoadBlock(blocks + i * 16, order);

#pragma GCC unroll 16
        for (int step = 0; step < 16; step++) {
            __m128i &word = m[step & 3];
            const __m128i sum = _mm_add_epi32(word, _mm_loadu_si128(constants + step));
            hgdc = _mm_sha256rnds2_epu32(hgdc, feba, sum);
            feba = _mm_sha256rnds2_epu32(feba, hgdc, _mm_shuffle_epi32(sum, 0x0e));
            if (step < 12) {
                const __m128i &last = m[(step + 3) & 3];
                word = _mm_sha256msg2_epu32(
                    _mm_add_epi32(_mm_sha256msg1_epu32(word, m[(step + 1) & 3]),
                                  _mm_alignr_epi8(last, m[(step + 2) & 3], 4)),
                    last);
            }
        }
        feba = _mm_add_epi32(feba, febaBefore);
        hgdc = _mm_add_epi32(hgdc, hgdcBefore);
    }

    const __m128i abef = _mm_shuffle_epi32(feba, 0x1b);
    const __m128i dchg = _mm_shuffle_epi32(hgdc, 0xb1);
    _mm_storeu_si128(state, _mm_blend_epi16(abef, dchg, 0xf0));
    _mm_storeu_si128(state + 1, _mm_alignr_epi8(dchg, abef, 8));
}

#endif
