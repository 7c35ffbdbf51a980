// tests/scenario/client.cpp
#include "tests/scenario/client.h"

#include <poll.h>

#include <fmt/format.h>
#include <orvane/schema/ozy.h>

#include "apps/lib/basicHttp/basicHttpInt.h"
#include "lib/misc/glibPtr.h"
#include "tests/support/testLoop.h"

namespace scenario {

namespace {

constexpr const char *kMachine = "vm-101";
constexpr int kQuietMs = 3;      /* the loop is idle when nothing came for so long */
constexpr int kQuietRounds = 8;  /* nothing will come any more after so many idle rounds */
constexpr int64_t kTickMs = 500; /* the simulator's clock moves on by this in an idle round */
constexpr guint kTimeLimitMs = 3600000; /* of each operation */
constexpr int kMaxSteps = 20000;        /* a client that needs more is going in circles */

gint64 clockOffset = 0; /* of the transport */

/* "failure", the fault's class, and the error of a reply that was none. */
std::string Failure(OrvaneListener *listener) {
    const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener));
    if (!fault)
        return "failure";
    std::string text = fmt::format("failure {}", G_OBJECT_TYPE_NAME(fault.get()));
    if (G_TYPE_CHECK_INSTANCE_TYPE(fault.get(), ORVANE_TYPE_FAULT_INVALID_RESPONSE)) {
        guint error = 0;
        g_object_get(fault.get(), "errorCode", &error, nullptr);
        text += fmt::format(" {}", error);
    }
    return text;
}

} // namespace

const char *StepName(Step step) {
    constexpr const char *kNames[] = {"CONNECT", "LOAD",       "TASK", "UPDATE",
                                      "CALL",    "DISCONNECT", "ENDED"};
    return kNames[static_cast<int>(step)];
}

Client::Client()
    : server({.hosts = 1, .machines = 3, .taskDurationMs = 2 * kTickMs, .frozenClock = true}) {
    testLoop::Reset();
    basicHttpNow = [] { return g_get_monotonic_time() + clockOffset; };
    server.Start();
    testLoop::Watch(server.PollDescriptor(), POLLIN, [this](short) { server.Run(); });
    orvane_init(testLoop::Callback, testLoop::CallbackRemove);
    session = orvane_session_new();
    g_signal_connect_swapped(session, "notify::state", G_CALLBACK(OnState), this);
}

Client::~Client() {
    End();
    testLoop::Unwatch(server.PollDescriptor());
    testLoop::Reset();
    basicHttpNow = g_get_monotonic_time;
}

OrvaneListener *Client::NewListener() {
    OrvaneListener *listener = orvane_listener_new();
    Watched *watched = listeners.emplace_back(new Watched{this, listener, step}).get();
    orvane_listener_set_completed_func(listener, OnCompleted, watched, nullptr);
    orvane_listener_set_time_limit(listener, kTimeLimitMs);
    g_object_weak_ref(G_OBJECT(listener), OnListenerGone, watched);
    g_signal_connect(listener, "success", G_CALLBACK(OnFinal), watched);
    g_signal_connect(listener, "failure", G_CALLBACK(OnFinal), watched);
    return listener;
}

void Client::OnCompleted(OrvaneListener *, OrvaneOutcome, gpointer watched) {
    static_cast<Watched *>(watched)->numCompleted++;
}

void Client::OnReady(GObject *listener, GAsyncResult *result, gpointer watched) {
    orvane_listener_complete_finish(ORVANE_LISTENER(listener), result, nullptr, nullptr);
    static_cast<Watched *>(watched)->numReady++;
}

/* Awaits the operation that was just begun in the form of GIO, beside its completion function. */
void Client::FollowLast() {
    Watched *last = listeners.back().get();
    if (!last->listener)
        return;
    last->isFollowed = true;
    orvane_listener_complete_async(last->listener, nullptr, OnReady, last);
}

void Client::OnListenerGone(gpointer watched, GObject *) {
    static_cast<Watched *>(watched)->listener = nullptr;
}

void Client::OnFinal(OrvaneListener *listener, Watched *watched) {
    Client *client = watched->client;
    const bool succeeded = orvane_listener_get_state(listener) == ORVANE_LISTENER_SUCCEEDED;
    client->signals.push_back(
        fmt::format("{} {}", StepName(watched->step), succeeded ? "success" : Failure(listener)));
    if (watched->numFinals++ > 0)
        return;

    client->RunInHandler();
    if (!succeeded && watched->step != Step::kTask)
        client->failed = true;

    // the retrieval went well and the load did not: no update will come
    if (!succeeded && watched->step == Step::kLoad &&
        (client->step == Step::kTask || client->step == Step::kUpdate))
        client->Begin(Step::kDisconnect);

    // the next step begins only if the client is still at this listener's step
    if (client->step == watched->step) {
        const bool goesOn = succeeded || watched->step == Step::kTask;
        if (watched->step == Step::kDisconnect || (watched->step == Step::kConnect && !succeeded))
            client->Begin(Step::kEnded);
        else
            client->Begin(goesOn ? static_cast<Step>(static_cast<int>(watched->step) + 1)
                                 : Step::kDisconnect);
    }
    Release(watched); // what was handed to the call
}

void Client::RunInHandler() {
    const int number = numHandlers++;
    if (inHandler)
        inHandler(number);
}

/* An interrupted session gets no more updates. */
void Client::OnState(Client *client) {
    if (orvane_session_get_state(client->session) == ORVANE_SESSION_INTERRUPTED &&
        !client->connectsAgain && client->step > Step::kConnect && client->step < Step::kDisconnect)
        client->Begin(Step::kDisconnect);
}

void Client::OnNameChanged(Client *client) {
    client->numChanges++;
    if (client->step != Step::kUpdate)
        return;
    client->RunInHandler();
    if (client->step == Step::kUpdate)
        client->Begin(Step::kCall);
}

void Client::Begin(Step next) {
    step = !machine && next > Step::kLoad && next < Step::kDisconnect ? Step::kDisconnect : next;
    if (!session || isShutDown) {
        step = Step::kEnded;
        return;
    }
    switch (step) {
    case Step::kConnect:
        return Connect();
    case Step::kLoad:
        return Load();
    case Step::kTask:
        skema_ozy_virtual_machine_power_on(SKEMA_OZY_VIRTUAL_MACHINE(machine), nullptr,
                                           NewListener());
        return FollowLast();
    case Step::kUpdate:
        server.SetProperty(kMachine, "name", "renamed");
        return;
    case Step::kCall:
        return Call();
    case Step::kDisconnect:
        orvane_session_disconnect(session, NewListener());
        return FollowLast();
    case Step::kEnded:
        return;
    }
}

void Client::Connect() {
    orvane_session_connect(session, server.Url().c_str(), "administrator", "secret", NewListener());
    FollowLast();
}

void Client::Load() {
    machine = orvane_session_get_object(session, kMachine, skema_ozy_virtual_machine_get_type());
    g_object_ref_sink(machine);
    g_signal_connect_swapped(machine, "notify::name", G_CALLBACK(OnNameChanged), this);
    orvane_session_load_object(session, TRUE, machine, NewListener());
    FollowLast();
    orvane_session_load_properties(session, machine, NewListener(), FALSE, "name", nullptr);
    FollowLast();
}

void Client::Call() {
    SkemaOzyServiceInstance *instance = nullptr;
    g_object_get(session, "serviceInstance", &instance, nullptr);
    skema_ozy_service_instance_current_time(instance, NewListener());
    FollowLast();
    g_object_unref(instance);
}

void Client::DropMachine() {
    if (!machine)
        return;
    g_signal_handlers_disconnect_by_data(machine, this);
    g_clear_object(&machine);
}

void Client::Run() {
    Begin(Step::kConnect);
    int idle = 0;
    for (int i = 0; i < kMaxSteps && idle < kQuietRounds && step != Step::kEnded; i++) {
        if (testLoop::Step(kQuietMs)) {
            idle = 0;
            continue;
        }
        idle++;
        server.Advance(kTickMs);
    }
    testLoop::Settle();
}

void Client::Release(Watched *watched) {
    if (!watched->listener || std::exchange(watched->isReleased, true))
        return;
    g_object_unref(watched->listener);
}

Client::Watched *Client::Pending() {
    for (const auto &watched : listeners) {
        if (watched->listener && watched->numFinals == 0)
            return watched.get();
    }
    return nullptr;
}

void Client::CancelListener() {
    if (Watched *pending = Pending(); pending && session) {
        orvane_session_cancel_listener(session, pending->listener);
    }
}

void Client::DropListener() {
    if (Watched *pending = Pending())
        Release(pending);
}

void Client::DropSession() {
    DropMachine();
    g_clear_object(&session);
}

void Client::Disconnect() {
    if (!session || isShutDown || step == Step::kDisconnect || step == Step::kEnded)
        return;
    Begin(Step::kDisconnect);
}

void Client::ShutDown() {
    if (!isShutDown)
        orvane_shutdown();
    isShutDown = true;
}

void Client::Abort() {
    if (Watched *pending = Pending())
        orvane_listener_abort(pending->listener);
}

void Client::PassTimeLimit() {
    clockOffset += kTimeLimitMs * gint64(1000);
    testLoop::Advance(kTimeLimitMs * gint64(1000));
}

void Client::Renew() {
    orvane_session_set_credentials_func(
        session,
        [](OrvaneSession *, char **user, char **password, gpointer) -> gboolean {
            *user = g_strdup("administrator");
            *password = g_strdup("secret");
            return TRUE;
        },
        nullptr, nullptr);
    OrvaneReconnect policy = {};
    policy.firstDelay = policy.longestDelay = 1;
    policy.reconnecting = [](OrvaneSession *, guint, guint, gpointer data) {
        static_cast<Client *>(data)->server.SetListening(true);
    };
    policy.data = this;
    orvane_session_set_reconnect(session, &policy);
    connectsAgain = true;
}

void Client::Interrupt() {
    server.SetListening(false);
    server.ResetConnections();
}

std::string Client::End() {
    testLoop::SetBeforeStep(nullptr);
    inHandler = nullptr;
    DropSession();
    testLoop::Settle();
    ShutDown();
    while (g_main_context_iteration(nullptr, FALSE)) {
    }

    std::string wrong;
    for (const auto &watched : listeners) {
        const auto check = [&](bool isGood, const char *what, int times) {
            if (!isGood)
                wrong += fmt::format("{}: {}, {} times; ", StepName(watched->step), what, times);
        };
        check(watched->numFinals <= 1, "signalled", watched->numFinals);
        check(watched->numCompleted == 1, "completed", watched->numCompleted);
        check(watched->numReady == watched->isFollowed, "ready", watched->numReady);
        if (!watched->listener)
            continue;
        check(watched->numFinals == 0, "its listener outlived its end", 1);
        // after a call that ended without a signal the application still owns the listener
        g_object_unref(watched->listener);
    }
    listeners.clear();
    if (const size_t left = testLoop::Registrations().size(); left > 0)
        wrong += fmt::format("{} callbacks still registered; ", left);
    return wrong;
}

} // namespace scenario
