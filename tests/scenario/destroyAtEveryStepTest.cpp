// Whatever a client may lose at any moment is taken away at every moment. Nothing may crash, leak, hang, or
// signal a listener twice.
//
// The plain run tries a sample of the moments; with ORVANE_EXHAUSTIVE set it tries all of them.
#include <cstdlib>

#include <gtest/gtest.h>

#include "tests/scenario/client.h"
#include "tests/support/testLoop.h"

namespace {

using scenario::Client;
using scenario::Step;

struct Disturbance {
    const char *name;
    void (Client::*apply)();
    bool goesOn;            /* the client must reach its end all the same */
    bool isRenewed = false; /* nothing fails, since the session logs in again */
};

constexpr Disturbance kDisturbances[] = {
    {"CancelListener", &Client::CancelListener, false},
    {"DropListener", &Client::DropListener, false},
    {"DropMachine", &Client::DropMachine, false},
    {"DropSession", &Client::DropSession, false},
    {"Disconnect", &Client::Disconnect, false},
    {"ShutDown", &Client::ShutDown, false},
    {"CloseConnections", &Client::CloseConnections, true},
    {"Abort", &Client::Abort, true},
    {"PassTimeLimit", &Client::PassTimeLimit, true},
    {"ExpireSessions", &Client::ExpireSessions, true, true},
    {"Interrupt", &Client::Interrupt, true},
};

void PrintTo(const Disturbance &disturbance, std::ostream *out) {
    *out << disturbance.name;
}

/* Of the callbacks at which something happens. */
const uint64_t kStride = getenv("ORVANE_EXHAUSTIVE") ? 1 : 5;

class DestroyAtEveryStep : public testing::TestWithParam<Disturbance> {};

TEST(Scenario, RunsUndisturbedToItsEnd) {
    Client client;
    client.Run();
    EXPECT_EQ(Step::kEnded, client.step) << scenario::StepName(client.step);
    EXPECT_FALSE(client.failed);
    EXPECT_EQ((std::vector<std::string>{"CONNECT success", "LOAD success", "LOAD success",
                                        "TASK success", "CALL success", "DISCONNECT success"}),
              client.signals);
    EXPECT_EQ(0, client.server.NumSessions());
    EXPECT_EQ("", client.End());
}

TEST_P(DestroyAtEveryStep, BeforeACallback) {
    bool applied = true;
    for (uint64_t n = 0; applied; n += kStride) {
        SCOPED_TRACE(testing::Message() << "at callback " << n);
        Client client;
        applied = false;
        if (GetParam().isRenewed || GetParam().apply == &Client::Interrupt)
            client.Renew();
        testLoop::SetBeforeStep([&](uint64_t number) {
            if (number != n)
                return;
            applied = true;
            (client.*GetParam().apply)();
        });
        client.Run();
        if (GetParam().goesOn) {
            EXPECT_EQ(Step::kEnded, client.step) << "stuck in " << scenario::StepName(client.step);
        }
        if (GetParam().isRenewed && client.server.NumCalls("Login") > 1) {
            EXPECT_FALSE(client.failed) << testing::PrintToString(client.signals);
        }
        ASSERT_EQ("", client.End());
    }
}

TEST_P(DestroyAtEveryStep, InsideASignalHandler) {
    bool applied = true;
    for (int n = 0; applied; n++) {
        SCOPED_TRACE(testing::Message() << "in handler " << n);
        Client client;
        applied = false;
        client.inHandler = [&](int number) {
            if (number != n)
                return;
            applied = true;
            (client.*GetParam().apply)();
        };
        client.Run();
        ASSERT_EQ("", client.End());
    }
}

/* The login or the connection ends early; then all that a client may lose is lost while the session comes back. */
TEST_P(DestroyAtEveryStep, WhileTheSessionComesBack) {
    constexpr uint64_t kLastStep = 90;
    for (auto lose : {&Client::ExpireSessions, &Client::Interrupt}) {
        for (uint64_t n = 0; n < kLastStep; n += kStride) {
            SCOPED_TRACE(testing::Message() << "at callback " << n << " after the loss");
            Client client;
            client.Renew();
            uint64_t loss = 0;
            testLoop::SetBeforeStep([&](uint64_t number) {
                if (loss == 0 && client.step == Step::kTask) {
                    (client.*lose)();
                    loss = number;
                }
                if (loss != 0 && number == loss + n)
                    (client.*GetParam().apply)();
            });
            client.Run();
            ASSERT_EQ("", client.End());
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, DestroyAtEveryStep, testing::ValuesIn(kDisturbances),
                         [](const auto &row) { return row.param.name; });

} // namespace
