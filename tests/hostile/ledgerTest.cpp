#include "tests/hostile/ledger.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include "lib/misc/log.h"
#include "tests/support/inChild.h"

namespace {

using hostile::Ledger;

/* Uses memory, so that it is there. */
void Fill(size_t bytes) {
    const std::unique_ptr<volatile char[]> block(new volatile char[bytes]);
    for (size_t i = 0; i < bytes; i += 1024)
        block[i] = 1;
}

void Work(clock_t milliseconds) {
    const clock_t end = clock() + milliseconds * CLOCKS_PER_SEC / 1000;
    while (clock() < end) {
    }
}

TEST(Ledger, NoticesEachExcess) {
    const std::pair<const char *, void (*)()> rows[] = {
        {"", [] {}},
        {"", [] { Fill(12 << 20); }}, /* 8 MiB and 64 for each of 100,000 bytes */
        {"bytes of memory", [] { Fill(20 << 20); }},
        {"", [] { Work(100); }},
        {"us of processor time", [] { Work(1600); }},
        {"descriptors", [] { open("/dev/null", O_RDONLY | O_CLOEXEC); }},
        {"on stderr: oh", [] { fputs("oh", stderr); }},
        {"a secret is shown: I my canary-x", [] { Log("my canary-x\n"); }},
    };
    for (const auto &row : rows) {
        InChild([&noticed = row.first, &spend = row.second] {
            Ledger ledger;
            spend();
            const std::string wrong = ledger.Close(100000);
            if (*noticed == '\0')
                EXPECT_EQ("", wrong);
            else
                EXPECT_THAT(wrong, testing::HasSubstr(noticed));
        });
    }
}

} // namespace
