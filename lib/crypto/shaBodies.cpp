// lib/crypto/shaBodies.cpp
#include "lib/crypto/shaBodies.h"

#include <array>
#include <atomic>
#include <bit>
#include <cstring>

#include "lib/crypto/shaBodiesInt.h"
#include "lib/misc/secret.h"

alignas(16) constexpr guint32 kSha256Constants[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2,
};

namespace {

guint32 ReadWord(const guint8 *bytes) {
    guint32 word;
    memcpy(&word, bytes, sizeof word);
    return GUINT32_FROM_BE(word);
}

/* One round of SHA-1. The caller renames the variables from round to round instead of moving them. */
template <int kPart>
inline void Sha1Round(guint32 a, guint32 &b, guint32 c, guint32 d, guint32 &e, guint32 word) {
    guint32 f;
    if constexpr (kPart == 0)
        f = ((c ^ d) & b) ^ d;
    else if constexpr (kPart == 2)
        f = ((b | c) & d) | (b & c);
    else
        f = b ^ c ^ d;
    constexpr guint32 kConstants[] = {0x5a827999, 0x6ed9eba1, 0x8f1bbcdc, 0xca62c1d6};
    e += std::rotl(a, 5) + f + kConstants[kPart] + word;
    b = std::rotl(b, 30);
}

/* Word t of the schedule, of which the latest 16 are kept. */
inline guint32 Sha1Word(guint32 *schedule, int t) {
    if (t < 16)
        return schedule[t];
    guint32 &word = schedule[t & 15];
    word = std::rotl(
        schedule[(t - 3) & 15] ^ schedule[(t - 8) & 15] ^ schedule[(t - 14) & 15] ^ word, 1);
    return word;
}

/* A quarter of the 80 rounds. */
template <int kPart> inline void Sha1Part(std::array<guint32, 5> &v, guint32 *schedule) {
    auto &[a, b, c, d, e] = v;
#pragma GCC unroll 4
    for (int t = kPart * 20; t < kPart * 20 + 20; t += 5) {
        Sha1Round<kPart>(a, b, c, d, e, Sha1Word(schedule, t));
        Sha1Round<kPart>(e, a, b, c, d, Sha1Word(schedule, t + 1));
        Sha1Round<kPart>(d, e, a, b, c, Sha1Word(schedule, t + 2));
        Sha1Round<kPart>(c, d, e, a, b, Sha1Word(schedule, t + 3));
        Sha1Round<kPart>(b, c, d, e, a, Sha1Word(schedule, t + 4));
    }
}

void Sha1Portable(guint32 *words, const guint8 *blocks, gsize numBlocks) {
    SecretValue<std::array<guint32, 16>> schedule;
    SecretValue<std::array<guint32, 5>> v;
    for (; numBlocks > 0; numBlocks--, blocks += SHA_BLOCK_SIZE) {
        for (gsize i = 0; i < 16; i++)
            schedule[i] = ReadWord(blocks + i * 4);
        memcpy(v.data(), words, sizeof(guint32) * 5);
        Sha1Part<0>(v, schedule.data());
        Sha1Part<1>(v, schedule.data());
        Sha1Part<2>(v, schedule.data());
        Sha1Part<3>(v, schedule.data());
        for (gsize i = 0; i < 5; i++)
            words[i] += v[i];
    }
}

inline guint32 Sha256Word(guint32 *schedule, int t) {
    if (t < 16)
        return schedule[t];
    const guint32 early = schedule[(t - 15) & 15];
    const guint32 late = schedule[(t - 2) & 15];
    schedule[t & 15] += (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) +
                        schedule[(t - 7) & 15] +
                        (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
    return schedule[t & 15];
}

void Sha256Portable(guint32 *words, const guint8 *blocks, gsize numBlocks) {
    SecretValue<std::array<guint32, 16>> schedule;
    SecretValue<std::array<guint32, 8>> v;
    for (; numBlocks > 0; numBlocks--, blocks += SHA_BLOCK_SIZE) {
        for (gsize i = 0; i < 16; i++)
            schedule[i] = ReadWord(blocks + i * 4);
        memcpy(v.data(), words, sizeof(guint32) * 8);
#pragma GCC unroll 64
        for (int t = 0; t < 64; t++) {
            // v[-t] is "a" of round t: the names move, not the values
            const auto at = [t](int name) { return static_cast<gsize>(name - t) & 7; };
            const guint32 a = v[at(0)];
            const guint32 e = v[at(4)];
            const guint32 sum = v[at(7)] + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                                (((v[at(5)] ^ v[at(6)]) & e) ^ v[at(6)]) + kSha256Constants[t] +
                                Sha256Word(schedule.data(), t);
            v[at(3)] += sum;
            v[at(7)] = sum + (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) +
                       (((a | v[at(1)]) & v[at(2)]) | (a & v[at(1)]));
        }
        for (gsize i = 0; i < 8; i++)
            words[i] += v[i];
    }
}

bool IsAlwaysUsable() {
    return true;
}

constexpr auto kBodies = std::to_array<ShaBody>({
#if defined(__x86_64__)
    {"x86 SHA extensions", ShaX86_IsUsable, ShaX86_Sha1, ShaX86_Sha256},
#elif defined(__aarch64__)
    {"ARMv8 cryptography extensions", ShaArm_IsUsable, ShaArm_Sha1, ShaArm_Sha256},
#endif
        {"portable", IsAlwaysUsable, Sha1Portable, Sha256Portable},
});

constinit std::atomic<const ShaBody *> gChosenBody = nullptr;

} // namespace

std::span<const ShaBody> ShaBodies() {
    return kBodies;
}

const ShaBody &ShaBody_Get() {
    const ShaBody *body = gChosenBody.load(std::memory_order_relaxed);
    if (body == nullptr) [[unlikely]] {
        for (body = kBodies.data(); !body->isUsable(); body++) {
        }
        gChosenBody.store(body, std::memory_order_relaxed);
    }
    return *body;
}
