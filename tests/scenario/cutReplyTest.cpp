// Each answer of the service cut short at every 7th byte: the call's listener fails once, with the
// fault of a reply that is none, and the session lives on.
#include <cstdlib>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/scenario/client.h"
#include "tests/support/testLoop.h"

namespace {

using scenario::Client;
using scenario::Step;

constexpr const char *kAnswers[] = {
    "versions",       "RetrieveServiceContent", "Login",       "CreateFilter",
    "PowerOnVM_Task", "WaitForUpdatesEx",       "CurrentTime", "Logout"};

class CutReply : public testing::TestWithParam<const char *> {};

TEST_P(CutReply, AtEverySeventhByte) {
    const bool all = getenv("ORVANE_EXHAUSTIVE") != nullptr;
    const size_t stride = all ? 7 : 7 * 11;
    bool cut = true;
    for (size_t bytes = 0; cut; bytes += stride) {
        SCOPED_TRACE(fmt::format("after {} bytes", bytes));
        Client client({.hosts = 1, .machines = 3});
        client.server.AddTrouble(
            {.kind = simulator::TroubleKind::Drop, .method = GetParam(), .bytes = bytes});
        client.Run();
        EXPECT_EQ(Step::kEnded, client.step) << "stuck in " << scenario::StepName(client.step);
        // the update stream tries again by itself, so that a cut there is not seen
        const bool isSeen = std::string(GetParam()) != "WaitForUpdatesEx";
        cut = isSeen ? client.failed || client.signals.size() != 5 : bytes < 4096;
        ASSERT_EQ("", client.End());
        ASSERT_LT(bytes, 100000u) << "the answer never came whole";
    }
}

INSTANTIATE_TEST_SUITE_P(, CutReply, testing::ValuesIn(kAnswers),
                         [](const auto &row) { return std::string(row.param); });

} // namespace
