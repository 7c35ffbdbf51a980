// Connection and inactivity time-outs, by a clock that moves by hand.
#include "tests/apps/lib/basicHttp/httpFixture.h"

#include <poll.h>

#include "tests/support/loopback.h"

namespace {

constexpr gint64 kSecond = 1000000;

using BasicHttpTimeouts = BasicHttpFixture;

/* A port on which connections are neither refused nor established: its queue is full. */
struct FullPort {
    FullPort() {
        int port = 0;
        listener = ListenOnLoopback(&port, 0);
        url = "http://127.0.0.1:" + std::to_string(port);
        for (int &filler : fillers) {
            filler = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            if (ConnectToLoopback(filler, port) == 0)
                continue;
            pollfd wait{filler, POLLOUT, 0};
            poll(&wait, 1, 20);
        }
    }
    ~FullPort() {
        for (int filler : fillers)
            close(filler);
        close(listener);
    }
    std::string url;

private:
    int listener;
    int fillers[3];
};

TEST_F(BasicHttpTimeouts, AConnectionThatIsNotEstablished) {
    const FullPort port;
    for (bool isWatched : {true, false}) {
        BasicHttpRequest *request = Get(port.url);
        BasicHttp_SetConnectTimeout(request, 10);
        Sent outcome(request);
        testLoop::Settle();
        EXPECT_LE(0, request->socket);
        if (!isWatched)
            request->socket = CURL_SOCKET_BAD; /* as while a name is being looked up */
        PassSeconds(9);
        EXPECT_EQ(0, outcome.numCalls);
        AdvanceClock(kSecond);
        RunUntilDone(outcome);
        EXPECT_EQ(BASICHTTP_ERROR_CONNECT_TIMEOUT, outcome.error);
        EXPECT_EQ(503, outcome.status);
        EXPECT_NE(std::string::npos,
                  LogText().find(isWatched ? " not connected." : "before connecting to host."));
    }
}

TEST_F(BasicHttpTimeouts, AnEstablishedConnectionMayWaitLonger) {
    AnswerNothing();
    for (const char *how : {"new", "used again"}) {
        BasicHttpRequest *request = Request("/x");
        BasicHttp_SetConnectTimeout(request, 10);
        Sent outcome(request);
        EXPECT_TRUE(RunUntilServed(server.Requests().size() + 1));
        PassSeconds(11);
        EXPECT_EQ(0, outcome.numCalls) << how;
        EXPECT_EQ(0u, request->settings.connectTimeout);
        server.Send(server.Requests().back().connection, HttpReply("late").bytes);
        RunUntilDone(outcome);
        EXPECT_EQ("late", outcome.content) << how;
    }
    EXPECT_EQ(1, server.NumConnections());
}

TEST_F(BasicHttpTimeouts, InactivityEndsARequestByTheLimitOfItsState) {
    const std::tuple<const char *, const char *, BasicHttpState, int> rows[] = {
        {nullptr, "", BASICHTTP_STATE_SENDING, BASICHTTP_TIMEOUT_SENDING},
        {"<x/>", "", BASICHTTP_STATE_SENT, BASICHTTP_TIMEOUT_SENT},
        {"<x/>", "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc", BASICHTTP_STATE_RECEIVING,
         BASICHTTP_TIMEOUT_RECEIVING},
    };
    for (const auto &[body, answer, state, endingKind] : rows) {
        for (int kind :
             {BASICHTTP_TIMEOUT_SENDING, BASICHTTP_TIMEOUT_SENT, BASICHTTP_TIMEOUT_RECEIVING}) {
            AnswerAll({answer});
            BasicHttpRequest *request =
                Request("/x", body ? BASICHTTP_METHOD_POST : BASICHTTP_METHOD_GET, body);
            BasicHttp_SetInactivityTimeout(request, kind, 5);
            Sent outcome(request);
            EXPECT_TRUE(RunUntilServed(server.Requests().size() + 1));
            testLoop::Settle();
            EXPECT_EQ(state, State(request)) << endingKind;
            PassSeconds(4);
            EXPECT_EQ(0, outcome.numCalls) << endingKind;
            PassSeconds(2);
            if (kind != endingKind) {
                EXPECT_EQ(0, outcome.numCalls) << endingKind << kind;
                BasicHttp_FreeRequest(request);
                continue;
            }
            EXPECT_EQ(1, outcome.numCalls) << endingKind;
            EXPECT_EQ(BASICHTTP_ERROR_INACTIVITY_TIMEOUT, outcome.error);
            EXPECT_EQ(state == BASICHTTP_STATE_RECEIVING ? "abc" : "", outcome.content);
        }
    }
    EXPECT_NE(std::string::npos,
              LogText().find("seconds having sent 4/4 and received 3/9 bytes. Cancelling request."))
        << LogText();
}

TEST_F(BasicHttpTimeouts, ByteByByteIsActivity) {
    AnswerAll({"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\n"});
    BasicHttpRequest *request = Request("/x");
    BasicHttp_SetInactivityTimeout(request, BASICHTTP_TIMEOUT_RECEIVING, 5);
    BasicHttp_SetInactivityTimeout(request, BASICHTTP_TIMEOUT_SENDING, 5);
    Sent outcome(request);
    EXPECT_TRUE(RunUntilServed());
    for (int i = 0; i < 9; i++) {
        EXPECT_EQ(0, outcome.numCalls);
        server.Send(0, "x");
        testLoop::Settle();
        PassSeconds(4);
    }
    RunUntilDone(outcome);
    EXPECT_EQ("xxxxxxxxx", outcome.content);
}

TEST_F(BasicHttpTimeouts, APausedRequestIsNotInactive) {
    AnswerAll({"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nabc"});
    BasicHttpRequest *request = Request("/x");
    BasicHttp_SetInactivityTimeout(request, BASICHTTP_TIMEOUT_RECEIVING, 5);
    Sent outcome(request);
    EXPECT_TRUE(RunUntilServed());
    testLoop::Settle();
    EXPECT_TRUE(BasicHttp_PauseRecvRequest(request, TRUE));
    PassSeconds(100);
    EXPECT_EQ(0, outcome.numCalls);
    EXPECT_TRUE(BasicHttp_PauseRecvRequest(request, FALSE));
    PassSeconds(4);
    EXPECT_EQ(0, outcome.numCalls) << "counts from the end of the pause";
    AdvanceClock(2 * kSecond);
    RunUntilDone(outcome);
}

TEST_F(BasicHttpTimeouts, AreOnlyTakenBeforeARequestIsSent) {
    AnswerNothing();
    BasicHttpRequest *request = Request("/x");
    EXPECT_DEATH(BasicHttp_SetInactivityTimeout(request, 4, 1), "NOT_IMPLEMENTED ");
    Sent outcome(request);
    BasicHttp_SetInactivityTimeout(request, BASICHTTP_TIMEOUT_SENDING, 1);
    PassSeconds(100);
    EXPECT_EQ(0, outcome.numCalls);
    BasicHttp_FreeRequest(request);
}

TEST_F(BasicHttpTimeouts, ALoopThatTakesNoTimerIsTheEndOfTheProgram) {
    const auto send = [&](bool isConnection) {
        BasicHttpRequest *request = Request("/x");
        if (isConnection)
            BasicHttp_SetConnectTimeout(request, 1);
        else
            BasicHttp_SetInactivityTimeout(request, BASICHTTP_TIMEOUT_SENT, 1);
        testLoop::SetRefusing(true);
        BasicHttp_SendRequest(request, NoteOutcome, nullptr);
    };
    EXPECT_DEATH(send(true), "NOT_REACHED .*basicHttpTimeout.cpp:");
    EXPECT_DEATH(send(false), "NOT_REACHED .*basicHttpTimeout.cpp:");
}

TEST_F(BasicHttpTimeouts, DeadlinesPassInTheOrderOfTheirTimes) {
    constexpr int kCount = 40;
    std::string passed;
    BasicHttpDeadline deadlines[kCount] = {};
    const gint64 start = BasicHttpDeadline_Now();
    for (int i = 0; i < kCount; i++)
        BasicHttpDeadline_Set(
            &deadlines[i], start + (i * 17 % kCount + 1) * kSecond,
            [](gpointer data) { *static_cast<std::string *>(data) += 'x'; }, &passed);
    for (int i = 0; i < kCount; i += 3)
        BasicHttpDeadline_Clear(&deadlines[i]);
    std::string expected;
    for (int second = 1; second <= kCount; second++) {
        for (int i = 0; i < kCount; i++)
            expected += i * 17 % kCount + 1 == second && i % 3 != 0 ? "x" : "";
        PassSeconds(1);
        EXPECT_EQ(expected, passed) << second;
    }
}

} // namespace
