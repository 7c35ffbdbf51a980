/*
 * ledger.h -- what a piece of work may cost and must leave behind
 *
 *   Ledger ledger;
 *   ... talk to a peer ...
 *   EXPECT_EQ("", ledger.Close(numBytesReceived));
 *
 * Memory:     the resident set, under a sanitizer the heap, grows by at most 64 bytes for each byte received, and 8 MiB.
 * Time:       the process uses at most 1 us for each byte received, and 50 ms; ten times that under a sanitizer.
 * Descriptors: as many are open at the end as at the beginning.
 * Output:     nothing is written to stderr.
 * Secrets:    no text that begins with kCanary is on stderr or in the ring of the log. Give such texts as passwords,
 *             tickets and cookies.
 *
 * While a ledger is open stderr goes to a file of its own; reports of sanitizers go to the real one.
 *
 * Threads: one; the figures are those of the whole process, so a peer belongs in another one.
 */
#pragma once

#include <cstdint>
#include <string>

namespace hostile {

inline constexpr char kCanary[] = "canary-";

struct Ledger {
    Ledger();
    ~Ledger(); /* gives stderr back */
    Ledger(const Ledger &) = delete;
    Ledger &operator=(const Ledger &) = delete;

    /* Empty, or each bound that does not hold. Gives stderr back. */
    std::string Close(uint64_t numBytesReceived);

private:
    std::string TakeOutput();

    int realStderr = -1;
    int output = -1; /* the file in the place of stderr */
    int64_t memory;
    uint64_t microseconds;
    long numDescriptors;
};

} // namespace hostile
