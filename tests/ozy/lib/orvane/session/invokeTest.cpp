// Calls: requests, the report of each reply, and ownership when something ends early.
#include "apps/lib/basicHttp/basicHttpInt.h"
#include "ozy/lib/orvane/listener/orvaneListener.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"
#include "tests/ozy/lib/orvane/updates/updateTexts.h"

namespace {

struct Invoke : SessionTest {
    Invoke() {
        EXPECT_EQ("success", Connect());
        LogRing_Clear();
    }
    std::string Call() {
        return Run([this](auto *l) { CurrentTime(l); });
    }
    /* Without the line of the parser. */
    static std::string SessionLog() {
        const std::string text = LogText();
        return text.starts_with("I SOAP: ") ? text.substr(text.find('\n') + 1) : text;
    }
    /* Leaves the call's request without an answer. */
    void Begin(Ending &ending) {
        service->answers["CurrentTime"] = {};
        const size_t before = service->Count("CurrentTime");
        CurrentTime(ending.listener);
        EXPECT_TRUE(RunUntilCount("CurrentTime", before + 1));
    }
    void Answer() {
        service->server.Send(service->Last("CurrentTime").connection, TimeReply().bytes);
        testLoop::Settle();
    }
    void DropOrDisconnect(bool isDropped) {
        if (isDropped)
            g_clear_object(&session);
        else
            EXPECT_EQ("success", Disconnect());
    }
};

std::string Body(const std::string &inner, const char *prefix = "soapenv",
                 const char *root = "Envelope", const char *body = "Body") {
    const std::string start = std::string("<") + prefix + ":";
    return start + root + " xmlns:" + prefix + "=\"http://schemas.xmlsoap.org/soap/envelope/\">" +
           start + body + ">" + inner + "</" + prefix + ":" + body + "></" + prefix + ":" + root +
           ">";
}

/* The service closes a kept connection when it has read the call. */
TEST_F(Invoke, OnlyWhatReadsIsSentTwice) {
    const std::pair<const char *, size_t> rows[] = {
        {"RetrieveProperties", 2}, {"RetrievePropertiesEx", 2},   {"CurrentTime", 2},
        {"PowerOnVM_Task", 1},     {"RetrieveServiceContent", 2}, {"RetrievePropertiesOfAll", 1}};
    for (const auto &[method, times] : rows) {
        EXPECT_EQ("success", Call()) << "leaves a connection";
        service->answers[method] = HttpReply("");
        service->answers[method].cutAfter = 0;
        const size_t before = service->Count(method);
        EXPECT_EQ(times == 1 ? "failure InvalidResponse 48 0" : "failure InvalidResponse 52 0",
                  Run([&, name = method](auto *l) {
                      orvane_session_invoke_method(session, G_OBJECT(Instance().get()), name, l,
                                                   nullptr);
                  }));
        EXPECT_EQ(before + times, service->Count(method)) << method;
        service->answers["CurrentTime"] = TimeReply();
    }
}

TEST_F(Invoke, ReportsEachReply) {
    const std::string good = "<CurrentTimeResponse/>";
    const struct {
        const char *name;
        CannedAnswer answer;
        const char *ending;
        const char *log;
    } rows[] = {
        {"result", Reply("CurrentTime", "2026-01-02T03:04:05Z", "type=\"x\""), "success", ""},
        {"no result", Reply("CurrentTime"), "success", ""},
        {"fault", Fault("NoPermission"), "failure NoPermission", ""},
        {"result with a status of 500", HttpReply(Body(good), 500), "success", ""},
        {"another method's response", HttpReply(Body("<XResponse/>")), "failure", ""},
        {"fault without detail",
         HttpReply(Body("<soapenv:Fault><faultcode>c</faultcode></soapenv:Fault>"), 500), "failure",
         ""},
        {"a page that is no XML", HttpReply("busy", 503), "failure InvalidResponse 0 503 busy",
         "I BasicHttpOnSent: xmlReadMemory (NULL == xmlDoc) errorCode 0 responseCode 503 message "
         "busy\n"},
        {"a page that quotes a login", HttpReply("busy: &lt;password&gt;p&lt;/password&gt;", 503),
         "failure InvalidResponse 0 503 busy: &lt;password&gt;p&lt;/password&gt;",
         "I BasicHttpOnSent: xmlReadMemory (NULL == xmlDoc) errorCode 0 responseCode 503 message "
         "busy: &lt;password&gt;[redacted]&lt;/password&gt;\n"},
        {"nothing", HttpReply("", 200), "failure InvalidResponse 0 200",
         "I BasicHttpOnSent: xmlReadMemory (NULL == xmlDoc) errorCode 0 responseCode 200 message "
         "\n"},
        {"a page that is XML", HttpReply("<html/>", 503), "failure",
         "I BasicHttpOnSent: xmlStrcmp\n"},
        {"another prefix", HttpReply(Body(good, "env")), "failure",
         "I BasicHttpOnSent: xmlStrcmp\n"},
        {"another root", HttpReply(Body(good, "soapenv", "Other")), "failure",
         "I BasicHttpOnSent: xmlStrcmp\n"},
        {"no body", HttpReply(Body(good, "soapenv", "Envelope", "Header")), "failure",
         "I BasicHttpOnSent: (NULL == soapBodyNode)\n"},
        {"a document with a DTD", HttpReply("<!DOCTYPE x>" + Body(good)),
         "failure InvalidResponse 0 200", nullptr},
        {"no answer", {.bytes = "", .reset = true}, "failure InvalidResponse 48 0", nullptr},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        LogRing_Clear();
        service->answers["CurrentTime"] = row.answer;
        EXPECT_EQ(row.ending, Call().substr(0, strlen(row.ending)));
        if (row.log) {
            EXPECT_EQ(row.log, SessionLog());
        }
    }
}

TEST_F(Invoke, RepliesHaveTheLimitsOfTheirSession) {
    service->answers["CurrentTime"] =
        HttpReply(Body("<CurrentTimeResponse/>" + Times(10000, "<a/>")));
    const struct {
        guint64 bodyBytes, treeBytes;
        const char *ending;
    } rows[] = {
        {30000, 0, "failure InvalidResponse 48"},
        {60000, 0, "success"},
        {0, 1000000, "failure InvalidResponse 0 200"},
        {0, 10000000, "success"},
        {0, 0, "success"},
    };
    EXPECT_EQ("success", Call());
    for (const auto &row : rows) {
        orvane_session_set_reply_limits(session, row.bodyBytes, row.treeBytes);
        EXPECT_EQ(row.ending, Call().substr(0, strlen(row.ending)));
    }
}

TEST_F(Invoke, SendsTheCallersOwnValues) {
    service->answers["Own"] = Reply("Own");
    const Value number = IntValue(7);
    const Value unset;
    EXPECT_EQ("success", Run([&](auto *l) {
                  orvane_session_invoke_method(session, G_OBJECT(Instance().get()), "Own", l,
                                               "left", unset.get(), "count", number.get(), nullptr);
              }));
    EXPECT_EQ(Envelope("<Own xmlns=\"urn:ozy25\"><_this type=\"ServiceInstance\">ServiceInstance"
                       "</_this><count xsi:type=\"xsd:int\">7</count></Own>"),
              service->Last("Own").body);
}

TEST_F(Invoke, UsesAFreshConnectionIfSet) {
    EXPECT_EQ("success", Call());
    const int kept = service->server.NumConnections();
    EXPECT_EQ("success", Call());
    EXPECT_EQ(kept, service->server.NumConnections());
    orvane_session_set_use_fresh_connection(session, TRUE);
    EXPECT_EQ("success", Call());
    EXPECT_EQ("success", Call());
    EXPECT_EQ(kept + 2, service->server.NumConnections());
}

TEST_F(Invoke, LeavesNothingOfACallWithoutAListener) {
    CurrentTime(nullptr);
    EXPECT_TRUE(RunUntilCount("CurrentTime"));
    testLoop::Settle();
    EXPECT_THAT(LogText(), IsEmpty());
}

TEST_F(Invoke, KeepsTheSessionAlive) {
    testLoop::Advance(G_GINT64_CONSTANT(1499000000));
    testLoop::Settle();
    EXPECT_EQ(0u, service->Count("CurrentTime"));
    for (size_t count : {1u, 2u}) {
        testLoop::Advance(G_GINT64_CONSTANT(1500000000));
        EXPECT_TRUE(RunUntilCount("CurrentTime", count));
    }
    EXPECT_EQ("success", Disconnect());
    testLoop::Advance(G_GINT64_CONSTANT(1500000000));
    testLoop::Settle();
    EXPECT_EQ(2u, service->Count("CurrentTime"));
}

/* The transfers of one session are slowed down together, whichever came first, the limit or the call. */
TEST_F(Invoke, FollowsTheLimitOfItsSession) {
    const auto numPaused = [] {
        return std::ranges::count_if(testLoop::Registrations(), [](const auto &row) {
            return row.function == BasicHttpResumePollCallback;
        });
    };
    for (const guint64 before : {10, 0}) {
        SCOPED_TRACE(before);
        orvane_session_set_bandwidth_limit(session, 0, before);
        service->answers["CurrentTime"] = HttpReply(Body(
            "<CurrentTimeResponse><a>" + std::string(300000, 'x') + "</a></CurrentTimeResponse>"));
        Ending ending[2];
        for (Ending &each : ending)
            CurrentTime(each.listener);
        orvane_session_set_bandwidth_limit(session, 0, 10);
        ASSERT_TRUE(testLoop::RunUntil([&] { return numPaused() == 2; }));
        testLoop::Settle();
        EXPECT_EQ("", ending[0].text + ending[1].text);
        orvane_session_set_bandwidth_limit(session, 0, 0);
        for (Ending &each : ending) {
            Wait(each);
            EXPECT_EQ("success", each.text);
        }
    }
}

/* -- early ends ----------------------------------------------------------------------------------- */

TEST_F(Invoke, IsCancelledByTheDeathOfItsListener) {
    const int open = service->server.NumOpenConnections();
    for (int i = 0; i < 3; i++) { /* the next call frees what is left of one */
        Ending ending;
        Begin(ending);
        g_clear_object(&ending.listener);
        testLoop::Settle();
        EXPECT_EQ(0, ending.times);
        EXPECT_LE(service->server.NumOpenConnections(), open);
    }
    EXPECT_THAT(LogText(), IsEmpty());
}

TEST_F(Invoke, EmitsNothingOnceCancelled) {
    Ending ending;
    Begin(ending);
    EXPECT_TRUE(OrvaneSession_HasCall(session, ending.listener));
    orvane_session_cancel_listener(session, ending.listener);
    EXPECT_FALSE(OrvaneSession_HasCall(session, ending.listener));
    g_object_ref(ending.listener);
    Answer();
    EXPECT_EQ("I BasicHttpOnSent: g_object_get_data returned ORVANE_SESSION_DATA_UNLINK_VALUE "
              "session\n",
              LogText());
    ASSERT_NE(nullptr, ending.listener);
    EXPECT_EQ(1u, G_OBJECT(ending.listener)->ref_count) << "the call's reference is gone";
    EXPECT_EQ(ORVANE_LISTENER_PENDING, orvane_listener_get_state(ending.listener));
    EXPECT_EQ(0, ending.times);
    g_clear_object(&ending.listener);
    service->answers.erase("CurrentTime");
    EXPECT_EQ("failure NotSupported", Call()) << "the session goes on";
}

/* Each call has a reference of its own. */
TEST_F(Invoke, AllowsOneListenerForSeveralCalls) {
    Ending dropped;
    for (int i = 0; i < 3; i++)
        Begin(dropped);
    g_clear_object(&dropped.listener);
    testLoop::Settle();
    EXPECT_EQ(0, dropped.times);

    Ending cancelled;
    Begin(cancelled);
    const int first = service->Last("CurrentTime").connection;
    for (int i = 0; i < 2; i++) {
        g_object_ref(cancelled.listener);
        Begin(cancelled);
    }
    orvane_session_cancel_listener(session, cancelled.listener);
    service->server.Send(first, Reply("CurrentTime").bytes);
    testLoop::Settle();
    ASSERT_NE(nullptr, cancelled.listener);
    EXPECT_EQ(2u, G_OBJECT(cancelled.listener)->ref_count);
    orvane_session_cancel_listener(session, cancelled.listener);
    g_clear_object(&session);
    EXPECT_EQ(nullptr, cancelled.listener);
    EXPECT_EQ(0, cancelled.times);
}

TEST_F(Invoke, TheReplyToACancelledCallDoesNotEndTheNextOne) {
    Ending ending;
    Begin(ending);
    const int first = service->Last("CurrentTime").connection;
    orvane_session_cancel_listener(session, ending.listener);
    g_object_ref(ending.listener);
    Begin(ending);
    service->server.Send(first, Reply("CurrentTime").bytes);
    testLoop::Settle();
    EXPECT_EQ(0, ending.times);
    EXPECT_EQ(1u, G_OBJECT(ending.listener)->ref_count)
        << "the reference of the first call is gone";
    EXPECT_TRUE(OrvaneSession_HasCall(session, ending.listener));
    Answer();
    EXPECT_EQ(1, ending.times);
    EXPECT_EQ(nullptr, ending.listener);
}

TEST_F(Invoke, FailsWithoutFaultIfTheListenerForgotItsSession) {
    Ending ending;
    Begin(ending);
    g_object_set_data(G_OBJECT(ending.listener), "session", nullptr);
    Answer();
    EXPECT_EQ("failure", ending.text);
    EXPECT_EQ("I BasicHttpOnSent: g_object_get_data returned null session\n", LogText());
}

TEST_F(Invoke, EmitsNothingOnceDisconnected) {
    Ending ending;
    Begin(ending);
    Ending second; /* of a session that is not disconnected */
    orvane_session_connect(session, Url().c_str(), "u", "p", second.listener);
    EXPECT_EQ("failure Unexpected", second.text);
    Answer();
    EXPECT_EQ("I BasicHttpOnSent: ORVANE_SESSION_DISCONNECTED == orvane_session_get_state\n",
              LogText());
    EXPECT_EQ(0, ending.times);
    EXPECT_EQ(nullptr, ending.listener);
}

/* No limit of time is set: the application ends what it no longer waits for, wherever the peer stalls. */
TEST_F(Invoke, CanBeEndedWhereverThePeerStalls) {
    const std::string reply = Reply("CurrentTime").bytes;
    const size_t body = reply.find("\r\n\r\n") + 4;
    const std::string endless = "HTTP/1.1 200 OK\r\nContent-Type: text/xml\r\n\r\n";
    const std::pair<const char *, std::string> rows[] = {
        {"before its answer", ""},
        {"in the status line", reply.substr(0, 10)},
        {"in a header", reply.substr(0, body - 10)},
        {"before the body", reply.substr(0, body)},
        {"in the body", reply.substr(0, body + 30)},
        {"before it closes", endless + reply.substr(body)},
    };
    for (const auto &[where, bytes] : rows) {
        for (bool isDisconnected : {false, true}) {
            SCOPED_TRACE(where);
            Ending ending;
            Begin(ending);
            service->server.Send(service->Last("CurrentTime").connection, bytes);
            testLoop::Settle();
            EXPECT_EQ(0, ending.times);
            if (isDisconnected) {
                EXPECT_EQ("success", Disconnect());
                EXPECT_EQ("success", Connect());
            } else {
                orvane_session_cancel_listener(session, ending.listener);
            }
            service->answers["CurrentTime"] = Reply("CurrentTime");
            EXPECT_EQ("success", Call());
            EXPECT_EQ(0, ending.times);
        }
    }
}

TEST_F(Invoke, IsNotSentWithAPartLeftOut) {
    const Value value = NestedObjects(300);
    Ending ending;
    orvane_session_invoke_method(session, G_OBJECT(Instance().get()), "CurrentTime",
                                 ending.listener, "deep", value.get(), nullptr);
    testLoop::Settle();
    EXPECT_EQ(0u, service->Count("CurrentTime"));
    EXPECT_EQ(0, ending.times);
    EXPECT_EQ(ORVANE_LISTENER_UNUSED, orvane_listener_get_state(ending.listener));
    EXPECT_FALSE(OrvaneSession_HasCall(session, ending.listener));
    EXPECT_EQ("success", Call());
}

TEST_F(Invoke, NeedsASessionThatExists) {
    Ending ending;
    const auto instance = Instance();
    g_clear_object(&session);
    g_test_expect_message(nullptr, G_LOG_LEVEL_CRITICAL, "*'OrvaneSession_IsLive*' failed*");
    skema_ozy_service_instance_current_time(instance.get(), ending.listener);
    g_test_assert_expected_messages();
    EXPECT_EQ(ORVANE_LISTENER_UNUSED, orvane_listener_get_state(ending.listener));
}

/* -- tasks ---------------------------------------------------------------------------------------- */

struct TaskCall : Invoke {
    /* Up to the load of the task, before its values arrive. */
    void Begin(Ending &ending) {
        service->answers["Own"] = Reply("Own", "task-1", "type=\"Task\"");
        orvane_listener_set_return_type(ending.listener, SKEMA_TYPE_OZY_TASK, FALSE);
        orvane_session_invoke_method(session, G_OBJECT(Instance().get()), "Own", ending.listener,
                                     nullptr);
        RunUntilCount("CreateFilter", 2);
        testLoop::Settle();
    }
    void Update(const char *kind, const std::string &state, int progress) {
        service->Update(TaskUpdate(kind, state,
                                   Reference("task", "Task", "task-1") + Tag("cancelled", "false") +
                                       Tag("cancelable", "true") +
                                       Tag("progress", std::to_string(progress))));
        testLoop::Settle();
    }
};

TEST_F(TaskCall, FollowsTheTaskAndReleasesItInTheEnd) {
    service->answers["CancelTask"] = Reply("CancelTask");
    Ending ending;
    Begin(ending);
    EXPECT_TRUE(orvane_listener_is_task(ending.listener));
    EXPECT_EQ(ORVANE_LISTENER_PENDING, orvane_listener_get_state(ending.listener));
    Update("enter", "running", 30);
    EXPECT_EQ(ORVANE_LISTENER_RUNNING, orvane_listener_get_state(ending.listener));
    EXPECT_EQ(30, orvane_listener_get_progress(ending.listener));
    EXPECT_TRUE(orvane_listener_cancel(ending.listener));
    testLoop::Settle();
    EXPECT_EQ(1u, service->Count("CancelTask"));
    Update("modify", "success", 100);
    EXPECT_EQ("success", ending.text);
    testLoop::Settle();
    EXPECT_EQ(1u, service->Count("DestroyPropertyFilter"));
}

TEST_F(TaskCall, FailsIfTheTaskCannotBeLoaded) {
    service->answers["CreateFilter"] = Fault("ManagedObjectNotFound");
    Ending ending;
    Begin(ending);
    EXPECT_THAT(ending.text, HasSubstr("ManagedObjectNotFound"));
}

TEST_F(TaskCall, EndsWithoutASignalWhenTheConnectionDoes) {
    for (const bool isLoaded : {false, true}) {
        for (const bool isDropped : {false, true}) {
            SCOPED_TRACE(testing::Message() << isLoaded << isDropped);
            StartOver();
            ASSERT_EQ("success", Connect());
            Ending ending;
            Begin(ending);
            if (isLoaded)
                Update("enter", "running", 30);
            DropOrDisconnect(isDropped);
            EXPECT_EQ(0, ending.times);
            ASSERT_NE(nullptr, ending.listener);
            g_clear_object(&ending.listener); /* which has a task of a session that is gone */
        }
    }
}

} // namespace
