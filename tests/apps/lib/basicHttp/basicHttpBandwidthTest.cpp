// Bandwidth groups: the share of a transfer, the window that its rate is measured over, and limits that change or end.
#include "tests/apps/lib/basicHttp/httpFixture.h"

namespace {

struct Member {
    gint64 rate = 0;
    gint64 windowBytes = 0;
    guint32 pausedMask = 0;
};

using GroupPtr = std::unique_ptr<BasicHttpBandwidthGroup, Release<BasicHttp_DeleteBandwidthGroup>>;
using RequestPtr = std::unique_ptr<BasicHttpRequest, Release<BasicHttp_FreeRequest>>;

struct BasicHttpBandwidth : BasicHttpFixture {
    static gint64 Delay(guint64 limit, const std::vector<Member> &members,
                        BasicHttpDirection direction) {
        const GroupPtr group(BasicHttp_CreateBandwidthGroup(limit, limit));
        std::vector<RequestPtr> requests;
        for (const Member &member : members) {
            requests.emplace_back(Get("http://h"));
            BasicHttpRequest *request = requests.back().get();
            EXPECT_TRUE(BasicHttp_AddRequestToBandwidthGroup(group.get(), request));
            BasicHttpSetPausedMask(request, member.pausedMask);
            (direction == BASICHTTP_UPLOAD ? request->sendStats : request->recvStats) = {
                .windowBytes = member.windowBytes, .transferRate = member.rate};
        }
        return BasicHttpBandwidthGetDelay(group.get(), requests.front().get(), direction);
    }

    /* The delay until the next resume is due; -1 if none is registered. */
    static gint64 PendingDelay() {
        gint64 delay = -1;
        for (const testLoop::Registration &row : testLoop::Registrations()) {
            if (row.function != BasicHttpResumePollCallback)
                continue;
            const gint64 due = static_cast<BasicHttpRequest *>(row.clientData)->resumeTime;
            const gint64 left = std::max<gint64>(due - TestClock(), 0);
            delay = delay < 0 ? left : std::min(delay, left);
        }
        return delay;
    }
    /* Runs until the transfer is paused by its group, or over. */
    static bool RunUntilDelayed(const Outcome &outcome) {
        EXPECT_TRUE(
            testLoop::RunUntil([&] { return outcome.numCalls > 0 || PendingDelay() >= 0; }));
        return outcome.numCalls == 0;
    }
    /* Moves the clock over all delays, and beyond each fourth. Returns the time that the transfer took. */
    static gint64 RunThroughDelays(const Outcome &outcome, gint64 lateness = 0) {
        const gint64 start = TestClock();
        for (int i = 1; RunUntilDelayed(outcome); i++) {
            AdvanceClock(PendingDelay() + (i % 4 == 0 ? lateness : 0));
            testLoop::Step();
        }
        return TestClock() - start;
    }
    BasicHttpRequest *Join(BasicHttpBandwidthGroup *group, BasicHttpRequest *request) {
        EXPECT_TRUE(BasicHttp_AddRequestToBandwidthGroup(group, request));
        return request;
    }

    const std::string body = std::string(1000000, 'x');
};

TEST_F(BasicHttpBandwidth, ATransferAboveItsShareWaitsUntilItsAverageIsTheShare) {
    /* the first of the members is asked for */
    const std::tuple<guint64, std::vector<Member>, gint64> rows[] = {
        {100, {{200, 100}}, 500000}, /* as long as the window took */
        {100, {{100, 100}}, 0},
        {100, {{101, 101}}, 10000},
        {100, {{150, 900}, {10}}, 4000000}, /* 50 and 40 that the other leaves */
        {100, {{90, 900}, {10}}, 0},
        {100, {{200, 100}, {200}}, 1500000},
        {90, {{200, 800}, {10}, {20}}, 9333333}, /* 30 and all that the others leave: 60 */
        {2, {{5000, 5000}, {0}, {0}}, 0},        /* a share of 0 limits nobody */
        {100, {{150, 150}, {0, 0, kPausedRecv | kPausedSend}}, 500000},
        {100, {{150, 150, kPausedRecv | kPausedSend}}, 0},
        {1, {{G_MAXINT64, G_MAXINT64}}, G_MAXINT64 - 1000000},
        {G_MAXUINT64, {{G_MAXINT64, 5}}, 0},
    };
    for (const auto &[limit, members, delay] : rows) {
        for (BasicHttpDirection direction : {BASICHTTP_UPLOAD, BASICHTTP_DOWNLOAD})
            EXPECT_EQ(delay, Delay(limit, members, direction))
                << limit << " " << members.size() << " " << members[0].rate;
    }
    EXPECT_THAT(LogText(), testing::HasSubstr("GetDelay: This download transfer is paused.\n"));
}

TEST_F(BasicHttpBandwidth, TheWindowKeepsTheRateAndForgetsOldTraffic) {
    static gint64 now;
    basicHttpNow = [] { return now; };
    BasicHttpBandwidthStats stats{};
    const std::tuple<gint64, gint64, gint64, gint64> rows[] = {
        {5000000, 1000, 0, 1000},         /* no time has passed yet */
        {6000000, 100000, 100000, 21845}, /* more than 65,535: a third of that, */
        {6000000, 100000, 100000, 21845}, /* over the time that it took */
        {7000000, 100000, 17928, 21845},
        {9000000, 90000, 0, 90000}, /* a count that drops begins anew */
    };
    for (const auto &[time, bytes, rate, windowBytes] : rows) {
        now = time;
        BasicHttpBandwidthUpdate(&stats, bytes);
        EXPECT_EQ(rate, stats.transferRate) << time;
        BasicHttpBandwidthSlideWindow(&stats);
        EXPECT_EQ(windowBytes, stats.windowBytes) << time;
    }
    EXPECT_THAT(LogText(), testing::HasSubstr("transferredBytes dropped"));

    /* a rate without a window is continued; neither a long pause nor a clock that goes back overflows */
    stats = {.transferredBytes = 0, .transferRate = G_MAXINT64 / 2, .windowStartTime = 1};
    now = G_MAXINT64;
    BasicHttpBandwidthUpdate(&stats, 0);
    EXPECT_EQ(G_MAXINT64, stats.windowBytes);
    stats = {.transferredBytes = 5, .windowBytes = 5, .transferRate = 7, .windowStartTime = 900};
    now = 100;
    BasicHttpBandwidthUpdate(&stats, 10);
    EXPECT_EQ(10, stats.windowBytes);
    EXPECT_EQ(7, stats.transferRate);
}

TEST_F(BasicHttpBandwidth, ALimitHoldsInBothDirectionsAndIsShared) {
    server.Answer([](const CannedRequest &request) { return HttpReply(request.body); });
    const std::tuple<guint64, guint64, size_t, gint64> rows[] = {
        {0, 100000, 1, 10}, {100000, 0, 1, 10}, {0, 100000, 2, 20}};
    for (const auto &[upload, download, numRequests, seconds] : rows) {
        const GroupPtr group(BasicHttp_CreateBandwidthGroup(upload, download));
        std::vector<Outcome> outcomes(numRequests);
        for (Outcome &outcome : outcomes)
            Send(Join(group.get(), Request("/x", BASICHTTP_METHOD_POST, body.c_str())), &outcome);
        gint64 elapsed = 0;
        for (Outcome &outcome : outcomes) {
            elapsed += RunThroughDelays(outcome);
            EXPECT_EQ(body, outcome.content);
        }
        EXPECT_NEAR(double(seconds), double(elapsed) / 1e6, 0.05 * double(seconds)) << upload;
    }
}

TEST_F(BasicHttpBandwidth, TheTimeOfALateLoopIsMadeUp) {
    constexpr guint64 kLimit = 1000000;
    const std::string large(3 * kLimit, 'x');
    server.Answer([](const CannedRequest &request) { return HttpReply(request.body); });
    for (const gint64 lateness : {0, 50000, 100000}) {
        for (const guint64 upload : {guint64{0}, kLimit}) {
            const GroupPtr group(BasicHttp_CreateBandwidthGroup(upload, kLimit - upload));
            Sent outcome(Join(group.get(), Request("/x", BASICHTTP_METHOD_POST, large.c_str())));
            EXPECT_NEAR(3.0, double(RunThroughDelays(outcome, lateness)) / 1e6, 0.15)
                << lateness << " " << upload;
        }
    }
    /* after a long sleep of the process, a transfer is as fast as before */
    const GroupPtr group(BasicHttp_CreateBandwidthGroup(0, kLimit));
    Sent outcome(Join(group.get(), Request("/x", BASICHTTP_METHOD_POST, large.c_str())));
    ASSERT_TRUE(RunUntilDelayed(outcome));
    AdvanceClock(3600 * kMicrosecondsPerSecond);
    EXPECT_LT(2.7, double(RunThroughDelays(outcome)) / 1e6);
}

TEST_F(BasicHttpBandwidth, OthersMayChangeOrEndALimitWhileATransferWaits) {
    AnswerAll(HttpReply(body));
    const GroupPtr other(BasicHttp_CreateBandwidthGroup(0, 0));
    using Action = std::function<void(GroupPtr & group, BasicHttpRequest * request)>;
    /* the delay afterwards, and whether the transfer is over */
    const std::tuple<const char *, Action, gint64, bool> rows[] = {
        {"raise",
         [](auto &group, auto *) { BasicHttp_ChangeBandwidthGroup(group.get(), 0, 100000000); }, 0,
         false},
        {"no limit", [](auto &group, auto *) { BasicHttp_ChangeBandwidthGroup(group.get(), 0, 0); },
         0, false},
        {"delete", [](auto &group, auto *) { group.reset(); }, -1, false},
        {"leave",
         [&](auto &group, auto *request) {
             BasicHttp_RemoveRequestFromBandwidthGroup(other.get(), request);
             EXPECT_LT(0, PendingDelay()) << "of another group";
             BasicHttp_RemoveRequestFromBandwidthGroup(group.get(), request);
         },
         -1, false},
        {"move", [&](auto &, auto *request) { Join(other.get(), request); }, -1, false},
        {"pause",
         [](auto &group, auto *request) {
             EXPECT_TRUE(BasicHttp_PauseRecvRequest(request, TRUE));
             BasicHttp_ChangeBandwidthGroup(group.get(), 0, 0);
         },
         -1, false},
        {"cancel",
         [](auto &, auto *request) {
             BasicHttp_CancelRequest(request);
             BasicHttp_FreeRequest(request);
         },
         -1, true},
        {"free", [](auto &, auto *request) { BasicHttp_FreeRequest(request); }, -1, true},
        {"shutdown", [](auto &, auto *) { InitAgain(); }, -1, true},
    };
    for (const auto &[name, act, delay, isOver] : rows) {
        SCOPED_TRACE(name);
        GroupPtr group(BasicHttp_CreateBandwidthGroup(0, 10));
        Outcome outcome;
        BasicHttpRequest *request = Join(group.get(), Request("/x"));
        BasicHttp_SetInactivityTimeout(request, BASICHTTP_TIMEOUT_RECEIVING, 3);
        Send(request, &outcome);
        ASSERT_TRUE(RunUntilDelayed(outcome));
        PassSeconds(100); /* no peer is late: we do not read */
        ASSERT_LT(0, PendingDelay());
        ASSERT_EQ(0, outcome.numCalls);
        act(group, request);
        EXPECT_EQ(delay, PendingDelay());
        if (isOver) {
            EXPECT_EQ(nullptr, group->requests);
            continue;
        }
        EXPECT_TRUE(delay == 0 || BasicHttp_PauseRecvRequest(request, FALSE)) << "resumes it";
        RunThroughDelays(outcome);
        EXPECT_EQ(body, outcome.content);
    }
}

TEST_F(BasicHttpBandwidth, ALoopThatRefusesTheResumeGetsTheTransferUnlimited) {
    AnswerAll(HttpReply(body));
    const GroupPtr group(BasicHttp_CreateBandwidthGroup(0, 10));
    Sent outcome(Join(group.get(), Request("/x")));
    ASSERT_TRUE(RunUntilDelayed(outcome));
    testLoop::SetRefusing(true);
    AdvanceClock(PendingDelay());
    testLoop::Settle();
    EXPECT_THAT(LogText(), testing::HasSubstr("is not slowed down"));
    testLoop::SetRefusing(false);
}

/* A short body that libcurl gets as one text is not read by callbacks. */
TEST_F(BasicHttpBandwidth, OnlyAnUploadLimitNeedsTheReadCallback) {
    AnswerAll(HttpReply("reply"));
    for (guint64 upload : {0, 1000000}) {
        const GroupPtr group(BasicHttp_CreateBandwidthGroup(upload, 1000000));
        Outcome outcome;
        outcome.then = nullptr;
        BasicHttpRequest *request = Join(group.get(), Request("/x", BASICHTTP_METHOD_POST, "<x/>"));
        Send(request, &outcome);
        EXPECT_EQ(upload == 0, request->settings.isBodyJoined);
        RunUntilDone(outcome);
        EXPECT_EQ(nullptr, group->requests) << "leaves when it is over";
        BasicHttp_FreeRequest(request);
    }
    EXPECT_FALSE(BasicHttp_AddRequestToBandwidthGroup(nullptr, nullptr));
    BasicHttp_RemoveRequestFromBandwidthGroup(nullptr, nullptr);
    BasicHttp_ChangeBandwidthGroup(nullptr, 0, 0);
}

} // namespace
