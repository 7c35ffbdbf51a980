// Operations that are given up, or take longer than they may: what is closed, what fails, and when. Time is moved by hand.
#include <orvane/specBuilders.h>

#include "apps/lib/basicHttp/basicHttpInt.h"
#include "tests/ozy/lib/orvane/updates/managerTest.h"

namespace {

using Texts = std::vector<std::string>;

constexpr gint64 kMillisecond = 1000;
constexpr const char *kCanceled = "SkemaQormFaultRequestCanceled";

} // namespace

struct Stopping : ManagerTest {
    Texts texts; /* signals and outcomes, in order */
    ObjectPtr<OrvaneListener> listener;

    Stopping() {
        basicHttpNow = [] { return g_get_monotonic_time() + clockOffset; };
    }
    ~Stopping() override {
        listener.reset();
        basicHttpNow = g_get_monotonic_time;
    }

    /* A listener whose signals and ends are recorded from then on. */
    OrvaneListener *New() {
        texts.clear();
        listener.reset(orvane_listener_new());
        for (const char *signal : {"success", "failure"})
            On(listener.get(), signal, [this](OrvaneListener *from) { Note(from); });
        orvane_listener_set_completed_func(listener.get(), OnCompleted, this, nullptr);
        return listener.get();
    }
    void StartOver() {
        listener.reset();
        proxies.clear();
        SessionTest::StartOver();
    }
    using Operation = void (Stopping::*)();
    /* Begins an operation, whose request for that is not answered. */
    void Leave(const char *open, Operation operation) {
        service->answers[open] = {};
        (this->*operation)();
        testLoop::Settle();
    }
    void Call() { CurrentTime(listener.get()); }
    void LoadMachine() { Load(Machine("vm-1"), listener.get()); }
    void Retrieve() {
        orvane_session_load_properties(session, Machine("vm-1"), listener.get(), TRUE, nullptr);
    }
    void PowerOn() {
        service->answers["PowerOnVM_Task"] = Reply("PowerOnVM_Task", "task-1", "type=\"Task\"");
        skema_ozy_virtual_machine_power_on(SKEMA_OZY_VIRTUAL_MACHINE(Machine("vm-1")), nullptr,
                                           listener.get());
        testLoop::Settle();
    }
    void Logout() { orvane_session_disconnect(session, listener.get()); }
    void UpdateTask(bool isCancelable) {
        Update(TaskUpdate("enter", "running",
                          Tag("cancelled", "false") +
                              Tag("cancelable", isCancelable ? "true" : "false")));
    }
    void PowerOnCancelably() {
        PowerOn();
        UpdateTask(true);
    }
    void Reconnect() {
        Disconnect();
        service->Forget();
        orvane_session_connect(session, Url().c_str(), "u", "p", listener.get());
    }
    void ReconnectQuietly() {
        service->isQuiet = true;
        Reconnect();
    }
    /* Another service and another session, which is connected. */
    void ConnectAnew() {
        StartOver();
        Connect();
    }
    /* Aborts an operation when a signal is emitted first, with that result. Requests are counted from then on. */
    void AbortWhen(const char *signal, bool result = true) {
        On(listener.get(), signal, [this, result, isFirst = true]() mutable {
            if (!std::exchange(isFirst, false))
                return;
            service->Forget();
            EXPECT_EQ(result, orvane_listener_abort(listener.get()));
        });
    }
    void ExpectCancelled() { EXPECT_THAT(texts, ElementsAre(kCanceled, "cancelled")); }
    void ExpectSucceeded() { EXPECT_THAT(texts, ElementsAre("success", "succeeded")); }
    /* Moves the clocks of the loop and of the transport. */
    void Move(gint64 milliseconds) {
        clockOffset += milliseconds * kMillisecond;
        testLoop::Advance(milliseconds * kMillisecond);
        testLoop::Settle();
    }
    int NumOpen() const { return service->server.NumOpenConnections(); }

private:
    static inline gint64 clockOffset = 0;
    void Note(OrvaneListener *from) {
        const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(from));
        if (fault && G_OBJECT_TYPE(fault.get()) == ORVANE_TYPE_FAULT_INVALID_RESPONSE)
            texts.push_back("error " + std::to_string(GetNumber<guint>(fault.get(), "errorCode")));
        else
            texts.emplace_back(fault ? G_OBJECT_TYPE_NAME(fault.get()) : "success");
    }
    static void OnCompleted(OrvaneListener *, OrvaneOutcome outcome, gpointer data) {
        static_cast<Stopping *>(data)->texts.push_back(NickOf(outcome));
    }
};

struct StopRow {
    const char *name;
    const char *open; /* what is not answered */
    Stopping::Operation begin;
    const char *call = nullptr; /* that is made because of the stop; NULL for none */
    bool closes = true;         /* a connection */
};

static const StopRow kStopRows[] = {
    {"a call", "CurrentTime", &Stopping::Call},
    {"a retrieval", "RetrieveProperties", &Stopping::Retrieve},
    {"a load whose filter exists", "", &Stopping::LoadMachine, "DestroyPropertyFilter", false},
    {"a connect, at its first document", "ozyServiceVersions.xml", &Stopping::Reconnect},
    {"a connect, at its login", "Login", &Stopping::Reconnect},
    {"a connect that loads its roles", "", &Stopping::ReconnectQuietly, "Logout"},
    {"a task before anything is known of it", "", &Stopping::PowerOn, "CancelTask", false},
    {"a task that can be cancelled", "", &Stopping::PowerOnCancelably, "CancelTask", false},
};

TEST_F(Stopping, AnAbortClosesTheTransferAndFailsFromTheLoop) {
    for (const StopRow &row : kStopRows) {
        SCOPED_TRACE(row.name);
        ConnectAnew();
        New();
        Leave(row.open, row.begin);
        const int numOpen = NumOpen();
        service->Forget();
        EXPECT_TRUE(orvane_listener_abort(listener.get()));
        EXPECT_FALSE(orvane_listener_abort(listener.get())) << "once is enough";
        EXPECT_THAT(texts, IsEmpty()) << "nothing from inside";
        testLoop::Settle();
        ExpectCancelled();
        EXPECT_TRUE(!row.closes || NumOpen() < numOpen);
        EXPECT_TRUE(row.call == nullptr || service->Count(row.call) == 1);
        EXPECT_FALSE(orvane_listener_abort(listener.get()));

        /* the listener may serve another operation, and the session too */
        texts.clear();
        if (State() == ORVANE_SESSION_CONNECTED) {
            service->answers["CurrentTime"] = TimeReply();
            Call();
            testLoop::Settle();
            ExpectSucceeded();
        } else {
            EXPECT_EQ(ORVANE_SESSION_DISCONNECTED, State());
        }
    }
}

/* In a handler of its beginning nothing is sent at all. */
TEST_F(Stopping, AnAbortHoldsInAHandlerOfTheBeginning) {
    for (const StopRow &row : kStopRows) {
        SCOPED_TRACE(row.name);
        ConnectAnew();
        New();
        AbortWhen("notify::state");
        Leave(row.open, row.begin);
        ExpectCancelled();
        EXPECT_THAT(service->Methods(), IsEmpty());
    }
}

TEST_F(Stopping, AnAbortHoldsInAHandlerOfTheReply) {
    for (const char *signal : {"notify::result", "acknowledge"}) {
        SCOPED_TRACE(signal);
        New();
        AbortWhen(signal);
        Call();
        testLoop::Settle();
        ExpectCancelled();
        EXPECT_EQ(ORVANE_LISTENER_FAILED, orvane_listener_get_state(listener.get()));
    }
    /* it is too late */
    New();
    AbortWhen("success", false);
    Call();
    testLoop::Settle();
    ExpectSucceeded();
}

TEST_F(Stopping, AnAbortHoldsIfTheSessionIsReleasedNext) {
    for (const StopRow &row : kStopRows) {
        SCOPED_TRACE(row.name);
        ConnectAnew();
        New();
        Leave(row.open, row.begin);
        EXPECT_TRUE(orvane_listener_abort(listener.get()));
        listener.reset(); /* the operation has a reference of its own */
        proxies.clear();
        g_clear_object(&session);
        testLoop::Settle();
        ExpectCancelled();
    }
    session = orvane_session_new();
}

TEST_F(Stopping, ATaskThatCannotBeCancelledIsNotAsked) {
    New();
    PowerOn();
    UpdateTask(false);
    EXPECT_TRUE(orvane_listener_abort(listener.get()));
    testLoop::Settle();
    EXPECT_EQ(0u, service->Count("CancelTask"));
    ExpectCancelled();
}

/* The filter is made all the same, and destroyed when its id is known; the place of the load is free again. */
TEST_F(Stopping, AnAbortedLoadLeavesNoFilter) {
    New();
    Leave("CreateFilter", &Stopping::LoadMachine);
    orvane_listener_abort(listener.get());
    service->server.Send(service->Last("CreateFilter").connection, FilterReply("filter-9").bytes);
    EXPECT_TRUE(RunUntilCount("DestroyPropertyFilter", 1));
    service->answers.erase("CreateFilter");
    LoadMachines(20, 32);
    testLoop::Settle();
    EXPECT_EQ(12u, service->Count("CreateFilter")) << "one, and eleven at a time";

    /* one of two that wait */
    Ending other;
    texts.clear();
    Update(Enter("VirtualMachine", "vm-20"));
    Load(Machine("vm-21"), listener.get());
    Load(Machine("vm-21"), other.listener);
    orvane_listener_abort(listener.get());
    Update(Enter("VirtualMachine", "vm-21"));
    EXPECT_EQ("success", other.text);
    EXPECT_EQ(1u, service->Count("DestroyPropertyFilter"));
    ExpectCancelled();
}

TEST_F(Stopping, ALimitOfAListenerEndsEveryKindAtItsTime) {
    for (const StopRow &row : kStopRows) {
        SCOPED_TRACE(row.name);
        ConnectAnew();
        orvane_listener_set_time_limit(New(), 60000);
        Leave(row.open, row.begin);
        const int numOpen = NumOpen();
        Move(50000);
        EXPECT_THAT(texts, IsEmpty()) << "too early";
        Move(10000);
        EXPECT_THAT(texts, ElementsAre("error 28", "timed-out"));
        EXPECT_TRUE(!row.closes || NumOpen() < numOpen);
        EXPECT_EQ(0u, service->Count("CancelTask")) << "a task continues";
    }
}

TEST_F(Stopping, LimitsOfASessionHoldForEachOfItsRequests) {
    const OrvaneTimeLimits limits = {.connect = 20000, .inactivity = 30000, .total = 90000};
    const std::pair<const char *, Operation> rows[] = {
        {"ozyServiceVersions.xml", &Stopping::Reconnect},
        {"Login", &Stopping::Reconnect},
        {"CurrentTime", &Stopping::Call},
        {"Logout", &Stopping::Logout},
        {"a task", &Stopping::PowerOn},
    };
    for (const auto &[open, begin] : rows) {
        SCOPED_TRACE(open);
        const bool isTask = begin == &Stopping::PowerOn;
        StartOver();
        orvane_session_set_time_limits(session, &limits);
        Connect();
        New();
        Leave(open, begin);
        Move(isTask ? 89000 : 29000);
        EXPECT_THAT(texts, IsEmpty()) << "too early";
        Move(1000);
        EXPECT_THAT(texts, ElementsAre(isTask ? "error 28" : "error 51", "timed-out"));
    }
    /* the wait for updates has none */
    StartOver();
    orvane_session_set_time_limits(session, &limits);
    Connect();
    Move(100000);
    EXPECT_EQ(0u, service->Count("WaitForUpdatesEx")) << "sent again";
    EXPECT_EQ(ORVANE_SESSION_CONNECTED, State());
}

/* What the library sends for an operation may take as long as the operation. */
TEST_F(Stopping, ALongerLimitOfAListenerReplacesThatOfItsSession) {
    const OrvaneTimeLimits limits = {.connect = 0, .inactivity = 0, .total = 10000};
    const struct {
        const char *open; /* what is not answered in time */
        CannedAnswer answer;
        Operation begin;
    } rows[] = {
        {"CurrentTime", TimeReply(), &Stopping::Call},
        {"RetrieveProperties", Reply("RetrieveProperties"), &Stopping::Retrieve},
        {"CreateFilter", FilterReply("filter-9"), &Stopping::LoadMachine},
        {"ozyServiceVersions.xml", HttpReply(kVersions), &Stopping::Reconnect},
        {"Login",
         Reply("Login", "<key>52</key><userName>root</userName>", "xsi:type=\"UserSession\""),
         &Stopping::Reconnect},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.open);
        ConnectAnew();
        orvane_session_set_time_limits(session, &limits);
        orvane_listener_set_time_limit(New(), 60000);
        Leave(row.open, row.begin);
        Move(30000);
        EXPECT_THAT(texts, IsEmpty()) << "that of the session";
        service->server.Send(service->Last(row.open).connection, row.answer.bytes);
        testLoop::Settle();
        if (strcmp(row.open, "CreateFilter") == 0)
            Update(Enter("VirtualMachine", "vm-1"));
        ExpectSucceeded();
    }
}

/* A reply that comes a byte at a time is active, but must end at the total limit. */
TEST_F(Stopping, ASlowReplyIsActiveButNotEndless) {
    const OrvaneTimeLimits limits = {.connect = 0, .inactivity = 10000, .total = 35000};
    orvane_session_set_time_limits(session, &limits);
    New();
    Leave("CurrentTime", &Stopping::Call);
    const int connection = service->Last("CurrentTime").connection;
    service->server.Send(connection, "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\n");
    testLoop::Settle();
    for (int i = 0; i < 4; i++) {
        EXPECT_THAT(texts, IsEmpty());
        Move(9000);
        service->server.Send(connection, "x");
        testLoop::Settle();
    }
    EXPECT_THAT(texts, ElementsAre("error 28", "timed-out"));
}

/* The library is shut down between the abort and the failure. */
TEST_F(Stopping, MayBeOvertakenByAShutdown) {
    New();
    Leave("CurrentTime", &Stopping::Call);
    EXPECT_TRUE(orvane_listener_abort(listener.get()));
    orvane_shutdown();
    EXPECT_THAT(texts, ElementsAre("cancelled"));
    listener.reset();
    g_clear_object(&session);
    testLoop::Settle();
    EXPECT_EQ("cancelled", texts.back());
}
