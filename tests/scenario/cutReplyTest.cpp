// Each answer of the service is cut short at every 7th byte. The call's listener fails once, with the fault of
// an unreadable reply, and the session continues.
//
// The plain run tries a few places; with ORVANE_EXHAUSTIVE set it tries every 7th byte.
#include <cstdlib>

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "tests/scenario/client.h"

namespace {

using scenario::Client;
using scenario::Step;

constexpr const char *kInvalid = "OrvaneFaultInvalidResponse 52";

struct Row {
    const char *answer;
    const char *signal; /* the client's signal after the cut; NULL if there must be none */
};

constexpr Row kRows[] = {
    {"versions", "CONNECT failure"}, {"RetrieveServiceContent", "CONNECT failure"},
    {"Login", "CONNECT failure"},    {"PowerOnVM_Task", "TASK failure"},
    {"WaitForUpdatesEx", nullptr}, /* sent again at once */
    {"CurrentTime", "CALL failure"}, {"Logout", "DISCONNECT failure"},
};

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.answer;
}

/* Bytes of the answer as the service gives it; a versions document counts as a short one. */
size_t LengthOf(const char *answer) {
    Client client;
    client.Run();
    const size_t length = client.server.LastReply(answer).size();
    return length > 0 ? length : 200;
}

class CutReply : public testing::TestWithParam<Row> {};

TEST_P(CutReply, AtEverySeventhByte) {
    const auto &[answer, signal] = GetParam();
    const size_t length = LengthOf(answer);
    const size_t stride = getenv("ORVANE_EXHAUSTIVE") ? 7 : length / 5;
    for (size_t bytes = 0; bytes < length; bytes += stride) {
        SCOPED_TRACE(fmt::format("after {} of {} bytes", bytes, length));
        Client client;
        client.server.AddTrouble(
            {.kind = simulator::TroubleKind::Drop, .method = answer, .bytes = bytes});
        client.Run();
        EXPECT_EQ(Step::kEnded, client.step) << "stuck in " << scenario::StepName(client.step);
        if (signal)
            EXPECT_THAT(client.signals, testing::Contains(fmt::format("{} {}", signal, kInvalid)));
        else
            EXPECT_FALSE(client.failed);
        ASSERT_EQ("", client.End());
    }
}

INSTANTIATE_TEST_SUITE_P(, CutReply, testing::ValuesIn(kRows),
                         [](const auto &row) { return std::string(row.param.answer); });

} // namespace
