// lib/crypto/shaBodiesArm.cpp: the compression functions by the cryptography extensions of ARMv8 processors
#include "lib/crypto/shaBodiesInt.h"

#if defined(__aarch64__)

#include <arm_neon.h>
#include <asm/hwcap.h>
#include <sys/auxv.h>

#include "lib/crypto/shaBodies.h"

#define TARGET_SHA __attribute__((target("+crypto")))

namespace {

TARGET_SHA inline uint32x4_t LoadBlock(const guint8 *from) {
    return vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(from)));
}

} // namespace

bool ShaArm_IsUsable() {
    constexpr unsigned long kNeeded = HWCAP_SHA1 | HWCAP_SHA2;
    return (getauxval(AT_HWCAP) & kNeeded) == kNeeded;
}

TARGET_SHA void ShaArm_Sha1(guint32 *words, const guint8 *blocks, gsize numBlocks) {
    constexpr guint32 kConstants[] = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};
    uint32x4_t abcd = vld1q_u32(words);
    guint32 e = words[4];

    for (; numBlocks > 0; numBlocks--, blocks += SHA_BLOCK_SIZE) {
        const uint32x4_t abcdBefore = abcd;
        const guint32 eBefore = e;
        uint32x4_t m[4]; /* the latest 16 words of the schedule */
        for (int i = 0; i < 4; i++)
            m[i] = LoadBlock(blocks + i * 16);

#pragma GCC unroll 20
        for (int step = 0; step < 20; step++) {
            uint32x4_t &word = m[step & 3];
            const uint32x4_t sum = vaddq_u32(word, vdupq_n_u32(kConstants[step / 5]));
            const guint32 next = vsha1h_u32(vgetq_lane_u32(abcd, 0));
            if (step / 5 == 0)
                abcd = vsha1cq_u32(abcd, e, sum);
            else if (step / 5 == 2)
                abcd = vsha1mq_u32(abcd, e, sum);
            else
                abcd = vsha1pq_u32(abcd, e, sum);
            e = next;
            if (step < 16)
                word = vsha1su1q_u32(vsha1su0q_u32(word, m[(step + 1) & 3], m[(step + 2) & 3]),
                                     m[(step + 3) & 3]);
        }
        abcd = vaddq_u32(abcd, abcdBefore);
        e += eBefore;
    }

    vst1q_u32(words, abcd);
    words[4] = e;
}

TARGET_SHA void ShaArm_Sha256(guint32 *words, const guint8 *blocks, gsize numBlocks) {
    uint32x4_t abcd = vld1q_u32(words);
    uint32x4_t efgh = vld1q_u32(words + 4);

    for (; numBlocks > 0; numBlocks--, blocks += SHA_BLOCK_SIZE) {
        const uint32x4_t abcdBefore = abcd;
        const uint32x4_t efghBefore = efgh;
        uint32x4_t m[4]; /* the latest 16 words of the schedule */
        for (int i = 0; i < 4; i++)
            m[i] = LoadBlock(blocks + i * 16);

#pragma GCC unroll 16
        for (int step = 0; step < 16; step++) {
            uint32x4_t &word = m[step & 3];
            const uint32x4_t sum = vaddq_u32(word, vld1q_u32(kSha256Constants + step * 4));
            const uint32x4_t abcdNow = abcd;
            abcd = vsha256hq_u32(abcd, efgh, sum);
            efgh = vsha256h2q_u32(efgh, abcdNow, sum);
            if (step < 12)
                word = vsha256su1q_u32(vsha256su0q_u32(word, m[(step + 1) & 3]), m[(step + 2) & 3],
                                       m[(step + 3) & 3]);
        }
        abcd = vaddq_u32(abcd, abcdBefore);
        efgh = vaddq_u32(efgh, efghBefore);
    }

    vst1q_u32(words, abcd);
    vst1q_u32(words + 4, efgh);
}

#endif
