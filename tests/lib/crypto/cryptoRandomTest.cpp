#include <crypto/cryptoHash.h>
#include <crypto/cryptoRandom.h>

#include <algorithm>

#include <gtest/gtest.h>
#include <ssl/ssl.h>
#include <sys/wait.h>

#include "lib/crypto/cryptoRandom.h"
#include "lib/ssl/sslThunks.h"
#include "tests/lib/crypto/bytes.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/support/inChild.h"
#include "tests/support/processLimits.h"

namespace {

Bytes Draw(gsize size) {
    Bytes bytes(size);
    EXPECT_EQ(0u, CryptoRandom_GetBytes(bytes.data(), bytes.size()));
    return bytes;
}

void SeedWith(const Bytes &seed) {
    EXPECT_EQ(0u, CryptoRandom_Seed(seed.data(), seed.size()));
}

/* The published example of the generator: a key and the two chunks that follow it. */
TEST(CryptoRandom, ASeedGivesTheKnownBytes) {
    SeedWith(FromHex("bd029bbe7f51960bcf9edb2b61f06f0feb5a38b6"));
    EXPECT_EQ("2070b3223dba372fde1c0ffc7b2e3b498b260614"
              "3c6c18bacb0f6c55babb13788e20d737a3275116",
              ToHex(Draw(40)));
}

/* Digests of the first 2926 bytes, by another program. The numbers of the rule run over in some way with each seed. */
TEST(CryptoRandom, BytesFollowTheRuleWhateverTheSizesOfTheRequests) {
    const std::pair<Bytes, const char *> rows[] = {
        {Bytes(20), "d1b0cce7e626aac4b8038a443a6bb5e74ff83a24"},
        {Bytes(20, 0xff), "dd70c001baba025c8855e026a14b354dfa7a51d9"},
        {SomeBytes(25), "d629964dbbcb716a517ba94e2b685a1283e39e87"}};
    for (const auto &[seed, digest] : rows) {
        SeedWith(seed);
        Bytes drawn;
        for (gsize size = 0; size < 77; size++) {
            const Bytes part = Draw(size);
            drawn.insert(drawn.end(), part.begin(), part.end());
        }
        Bytes actual(20);
        CryptoHash_Compute(CryptoHash_SHA_1, drawn.data(), drawn.size(), actual.data(), 20);
        EXPECT_EQ(digest, ToHex(actual));
    }
}

/* The bytes of a seed end after 999,999 chunks: then 20 bytes of the kernel are mixed in. */
TEST(CryptoRandom, TheKernelIsAskedAfterAMillionChunks) {
    const auto drawBoth = [] {
        const Bytes seed = SomeBytes(20);
        SeedWith(seed);
        Draw(999998 * 20);
        return std::pair{Draw(20), Draw(20)};
    };
    const auto first = drawBoth();
    const auto second = drawBoth();
    EXPECT_EQ(first.first, second.first);
    EXPECT_NE(first.second, second.second);
}

TEST(CryptoRandom, AShortSeedChangesNothingAndNoSeedAsksTheKernel) {
    EXPECT_EQ(20u, CryptoRandom_GetSeedSize());
    const Bytes seed = SomeBytes(20);
    SeedWith(seed);
    const Bytes expected = Draw(60);
    SeedWith(seed);
    EXPECT_EQ(3u, CryptoRandom_Seed(expected.data(), 19));
    const Bytes begun = Draw(30);
    EXPECT_EQ(0, memcmp(expected.data(), begun.data(), 30));
    EXPECT_EQ(0u, CryptoRandom_Seed(nullptr, 0));
    const Bytes rest = Draw(30);
    EXPECT_EQ(0, memcmp(expected.data() + 30, rest.data(), 10)); // the chunk that was begun
    EXPECT_NE(0, memcmp(expected.data() + 40, rest.data() + 10, 20));
}

TEST(CryptoRandom, WithoutTheKernelTheBufferIsWiped) {
    Draw(1);
    EXPECT_EQ(0u, CryptoRandom_Seed(nullptr, 0));
    {
        const ProcessLimit none(RLIMIT_NOFILE, 0);
        Bytes bytes(100, 0xee);
        EXPECT_EQ(1u, CryptoRandom_GetBytes(bytes.data(), bytes.size()));
        EXPECT_EQ(Bytes(100), bytes);
    }
    EXPECT_NE(Bytes(100), Draw(100)); // and it works again
}

TEST(CryptoRandomDeathTest, TheDefaultSourceCannotBeDestroyed) {
    EXPECT_DEATH(CryptoDefaultPRNG->destroy(), "NOT_REACHED .*lib/crypto/cryptoRandom.cpp:[0-9]+");
}

/* What a forked child draws, seeded first if a seed is given. */
Bytes DrawInChild(gsize size, const Bytes &seed = {}) {
    int ends[2];
    EXPECT_EQ(0, pipe(ends));
    const pid_t child = fork();
    if (child == 0) {
        alarm(20); // a lock that nobody releases must not stop the test
        Bytes bytes(size);
        if (!seed.empty())
            CryptoRandom_Seed(seed.data(), seed.size());
        const bool isDone = CryptoRandom_GetBytes(bytes.data(), size) == CRYPTO_ERROR_SUCCESS &&
                            write(ends[1], bytes.data(), size) == static_cast<ssize_t>(size);
        _exit(isDone ? 0 : 1);
    }
    close(ends[1]);
    Bytes bytes(size);
    EXPECT_EQ(static_cast<ssize_t>(size), read(ends[0], bytes.data(), size));
    close(ends[0]);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(0, status);
    return bytes;
}

TEST(CryptoRandom, AChildDrawsOtherBytesThanItsParentAndItsSiblings) {
    SeedWith(SomeBytes(20));
    const Bytes expected = Draw(60);
    SeedWith(SomeBytes(20));
    Draw(10); // a chunk is begun
    const Bytes first = DrawInChild(30);
    const Bytes second = DrawInChild(30);
    const Bytes parent = Draw(30);
    EXPECT_EQ(0, memcmp(expected.data() + 10, parent.data(), 30)); // a fork does not disturb it
    const std::string text = ToHex(expected);
    for (const Bytes &child : {first, second})
        EXPECT_EQ(std::string::npos, text.find(ToHex(child).substr(0, 20)));
    EXPECT_NE(first, second);
}

TEST(CryptoRandom, AChildCanBeSeeded) {
    Draw(1);
    const Bytes child = DrawInChild(50, SomeBytes(20));
    SeedWith(SomeBytes(20));
    EXPECT_EQ(child, Draw(50));
}

TEST(CryptoRandomThread, ChildrenDoNotHangOnALockOfTheirParent) {
    std::atomic<bool> isOver = false;
    InThreads(4, [&](int number) {
        if (number != 0) {
            while (!isOver)
                Draw(2000);
            return;
        }
        for (int i = 0; i < 30; i++)
            DrawInChild(40);
        isOver = true;
    });
}

/* Every chunk is handed out once: threads see pieces of one sequence. */
TEST(CryptoRandomThread, ThreadsShareOneSequence) {
    constexpr int kThreads = 4;
    constexpr int kDraws = 500;
    SeedWith(SomeBytes(20));
    std::vector<Bytes> expected;
    for (int i = 0; i < kThreads * kDraws; i++)
        expected.push_back(Draw(20));

    SeedWith(SomeBytes(20));
    std::vector<std::vector<Bytes>> drawn(kThreads);
    InThreads(kThreads, [&](int number) {
        for (int i = 0; i < kDraws; i++)
            drawn[number].push_back(Draw(20));
    });

    std::vector<Bytes> all;
    for (const std::vector<Bytes> &mine : drawn)
        all.insert(all.end(), mine.begin(), mine.end());
    std::ranges::sort(all);
    std::ranges::sort(expected);
    EXPECT_EQ(expected, all);
}

/* OpenSSL's method is one of the whole process: tests of it run in a child. */
TEST(CryptoRandomOpenSSL, DrawsFromOurGeneratorAlsoAfterTheLayerHasEnded) {
    InChild([] {
        SSL_Init(nullptr, nullptr, nullptr);
        CryptoRandom_SSLSetOurRand();
        for (bool isRunning : {true, false, true}) {
            SeedWith(SomeBytes(20));
            const Bytes expected = Draw(20);
            SeedWith(SomeBytes(20));
            Bytes bytes(20);
            EXPECT_EQ(1, __wrap_RAND_bytes(bytes.data(), 20));
            EXPECT_EQ(expected, bytes);
            EXPECT_EQ(1, __wrap_RAND_status());
            if (isRunning)
                SSL_Exit();
            else
                SSL_Init(nullptr, nullptr, nullptr);
        }
        // without a seed from the kernel OpenSSL gets none either
        const ProcessLimit none(RLIMIT_NOFILE, 0);
        CryptoRandom_Seed(nullptr, 0);
        Bytes bytes(40);
        EXPECT_EQ(0, __wrap_RAND_bytes(bytes.data(), 40));
    });
}

TEST(CryptoRandomThreadOpenSSL, ThreadsDrawWhileTheMethodIsSet) {
    InChild([] {
        SSL_Init(nullptr, nullptr, nullptr);
        std::atomic<bool> isOver = false;
        InThreads(4, [&](int number) {
            guint8 bytes[32];
            while (number != 0 && !isOver)
                EXPECT_EQ(1, __wrap_RAND_bytes(bytes, sizeof bytes));
            for (int i = 0; number == 0 && i < 200; i++) {
                CryptoRandom_SSLSetOurRand();
                std::this_thread::yield();
            }
            isOver = true;
        });
    });
}

} // namespace
