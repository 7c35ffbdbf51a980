// After a login nothing of the process has the password any more.
#include <fstream>
#include <vector>

#include <sys/mman.h>

#include "tests/hostile/peer.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"
#include "tests/support/inChild.h"

namespace {

/* The password is in no text of the program, so that each place where it is found is a copy. */
constexpr size_t kLength = 24;
char Letter(size_t at) {
    return char('a' + (at * at * 7 + at * 3 + 11) % 26);
}

bool IsPassword(const char *text) {
    for (size_t i = 0; i < kLength; i++) {
        if (text[i] != Letter(i))
            return false;
    }
    return true;
}

struct Region {
    const char *start;
    const char *end;
    std::string name;
};

/* All memory that can be written. */
std::vector<Region> Regions() {
    std::vector<Region> regions;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        unsigned long start = 0, end = 0;
        char mode[5] = "", name[256] = "";
        if (sscanf(line.c_str(), "%lx-%lx %4s %*s %*s %*s %255[^\n]", &start, &end, mode, name) >=
                3 &&
            std::string_view(mode).starts_with("rw"))
            regions.push_back(
                {reinterpret_cast<const char *>(start), reinterpret_cast<const char *>(end), name});
    }
    return regions;
}

/* Where the password is, a line each. */
std::string Copies() {
    std::string found;
    for (const Region &region : Regions()) {
        for (const char *at = region.start; at + kLength <= region.end; at++) {
            at = static_cast<const char *>(memchr(at, Letter(0), size_t(region.end - at)));
            if (at == nullptr || at + kLength > region.end)
                break;
            if (IsPassword(at))
                found += "in " + region.name +
                         ", behind: " + std::string(std::max(region.start, at - 60), at) + "\n";
        }
    }
    return found;
}

class Wipe : public testing::TestWithParam<bool> {};

TEST_P(Wipe, NoCopyOfThePasswordStays) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer keeps memory of its own";
#endif
    InChild([] {
        const auto presented = GetParam() ? certificates::MakeKind("good") : std::nullopt;
        const hostile::Peer peer({}, presented ? &*presented : nullptr);
        auto *password = static_cast<char *>(
            mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
        for (size_t i = 0; i < kLength; i++)
            password[i] = Letter(i);
        EXPECT_NE("", Copies()) << "it is found";

        testLoop::Reset();
        orvane_init(testLoop::Callback, testLoop::CallbackRemove);
        OrvaneSession *session = orvane_session_new();
        Told connect;
        orvane_session_connect(session, peer.Url().c_str(), "root", password, connect.listener);
        munmap(password, 4096);
        testLoop::RunUntil([&] { return connect.times > 0; });
        EXPECT_EQ("success", connect.text);
        EXPECT_EQ("", Copies()) << "while connected";
        g_object_unref(session);
        orvane_shutdown();
        EXPECT_EQ("", Copies()) << "after the shutdown";
    });
}

INSTANTIATE_TEST_SUITE_P(, Wipe, testing::Bool(),
                         [](const auto &isTls) { return isTls.param ? "OverTls" : "InTheClear"; });

} // namespace
