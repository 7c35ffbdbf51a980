#include "lib/misc/sipHash.h"

#include <gtest/gtest.h>

namespace {

/* The vectors of the algorithm's authors: the key and the input count upwards from 0. */
TEST(SipHash, KnownAnswers) {
    const SipHashKey key = {
        {GUINT64_FROM_LE(0x0706050403020100), GUINT64_FROM_LE(0x0f0e0d0c0b0a0908)}};
    const guint8 input[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14};
    const std::pair<gsize, guint64> rows[] = {{0, 0x726fdb47dd0e0e31},
                                              {1, 0x74f839c593dc67fd},
                                              {7, 0xab0200f58b01d137},
                                              {8, 0x93f5f5799a932462},
                                              {15, 0xa129ca6149be45e5}};
    for (const auto &[size, expected] : rows)
        EXPECT_EQ(expected, SipHash_Compute(&key, input, size)) << size;
}

} // namespace
