// Operations as a GLib application writes them, against the simulator in a thread of its own.
#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ozy.h>

#include "tests/ozy/lib/orvane/runtime/objects.h"
#include "tests/support/matchers.h"
#include "tools/simulator/simulator.h"

namespace {

/* The callback's arguments, kept for the finish function. */
struct Async {
    ObjectPtr<GAsyncResult> result;
    int times = 0;

    static void OnReady(GObject *, GAsyncResult *result, gpointer data) {
        auto *async = static_cast<Async *>(data);
        async->result.reset(G_ASYNC_RESULT(g_object_ref(result)));
        async->times++;
    }
    void Wait() const {
        while (times == 0)
            g_main_context_iteration(nullptr, TRUE);
    }
};

struct Error {
    GError *error = nullptr;
    ~Error() { g_clear_error(&error); }
};

struct GlibOperation : testing::Test {
    GlibOperation() {
        server.RunInThread();
        EXPECT_TRUE(orvane_glib_init(nullptr));
        session = orvane_session_new();
    }
    ~GlibOperation() override {
        g_clear_object(&session);
        orvane_glib_shutdown();
        RunLoop();
        /* the server is not stopped while it is about to see that a connection was closed */
        const gint64 end = g_get_monotonic_time() + 10 * G_USEC_PER_SEC;
        while (server.NumOpenConnections() > 0 && g_get_monotonic_time() < end)
            g_thread_yield();
    }
    static void RunLoop() {
        while (g_main_context_iteration(nullptr, FALSE)) {
        }
    }
    gboolean Connect(const char *password, GError **error) {
        Async async;
        orvane_session_connect_async(session, server.Url().c_str(), "administrator", password,
                                     nullptr, Async::OnReady, &async);
        EXPECT_EQ(0, async.times);
        async.Wait();
        return orvane_session_connect_finish(session, async.result.get(), error);
    }
    ObjectPtr<SkemaQormManagedObject> Machine(const char *id) {
        return Own(orvane_session_get_object(session, id, skema_ozy_virtual_machine_get_type()));
    }
    ObjectPtr<SkemaOzyServiceInstance> Instance() const {
        return GetObject<SkemaOzyServiceInstance>(session, "serviceInstance");
    }

    simulator::Simulator server{{.hosts = 1, .machines = 2, .taskDurationMs = 10}};
    OrvaneSession *session;
};

TEST_F(GlibOperation, FinishesWithItsResultOrItsError) {
    Error refused;
    EXPECT_FALSE(Connect("wrong", &refused.error));
    EXPECT_TRUE(g_error_matches(refused.error, ORVANE_ERROR, ORVANE_OUTCOME_FAULT));
    EXPECT_THAT(refused.error->message, HasSubstr("password is wrong"));
    Error none;
    ASSERT_TRUE(Connect("secret", &none.error));
    EXPECT_EQ(nullptr, none.error);

    const auto machine = Machine("vm-101");
    Async load;
    orvane_session_load_object_async(session, FALSE, machine.get(), nullptr, Async::OnReady, &load);
    load.Wait();
    EXPECT_TRUE(orvane_session_load_object_finish(session, load.result.get(), nullptr));
    EXPECT_EQ(server.Property("vm-101", "name"), GetString(machine.get(), "name"));

    /* a retrieval that fails is not left pending */
    for (const char *path : {"name", "nmae"}) {
        GObject *properties =
            orvane_property_spec_new(skema_ozy_virtual_machine_get_type(), FALSE, path, nullptr);
        GObject *object = orvane_object_spec_new(machine.get(), FALSE, FALSE, nullptr);
        const ValueArrayPtr filters(orvane_filter_spec_set_new(
            TRUE, orvane_filter_spec_new(TRUE, properties, object, nullptr), nullptr));
        Async read;
        orvane_session_retrieve_contents_async(session, filters.get(), nullptr, Async::OnReady,
                                               &read);
        read.Wait();
        Error error;
        const ValueArrayPtr found(
            orvane_session_retrieve_contents_finish(session, read.result.get(), &error.error));
        EXPECT_EQ(path[1] == 'a', found && found->n_values == 1);
        EXPECT_EQ(path[1] != 'a', g_error_matches(error.error, ORVANE_ERROR, ORVANE_OUTCOME_FAULT));
    }

    Async logout;
    orvane_session_disconnect_async(session, nullptr, Async::OnReady, &logout);
    logout.Wait();
    EXPECT_TRUE(orvane_session_disconnect_finish(session, logout.result.get(), nullptr));
    EXPECT_EQ(0, server.NumSessions());
}

TEST_F(GlibOperation, CompletesACallOfTheApplication) {
    ASSERT_TRUE(Connect("secret", nullptr));
    const auto instance = Instance();
    OrvaneListener *listener = orvane_listener_new();
    g_object_add_weak_pointer(G_OBJECT(listener), reinterpret_cast<gpointer *>(&listener));
    for (int i = 0; i < 2; i++) { /* one listener, call after call */
        Async async;
        skema_ozy_service_instance_current_time(instance.get(), listener);
        orvane_listener_complete_async(listener, nullptr, Async::OnReady, &async);
        async.Wait();
        ScopedValue value;
        EXPECT_TRUE(
            orvane_listener_complete_finish(listener, async.result.get(), &value.value, nullptr));
        EXPECT_TRUE(G_IS_VALUE(&value.value));
        EXPECT_TRUE(orvane_glib_wait(listener, -1));
    }
    /* without the application's reference, and cancelled on another thread */
    server.AddTrouble({.kind = simulator::TroubleKind::Silent, .method = "CurrentTime"});
    const ObjectPtr<GCancellable> cancellable(g_cancellable_new());
    Async async;
    skema_ozy_service_instance_current_time(instance.get(), listener);
    OrvaneListener *begun = listener;
    orvane_listener_complete_async(listener, cancellable.get(), Async::OnReady, &async);
    g_object_unref(listener);
    GThread *other = g_thread_new(
        "canceller",
        [](gpointer data) -> gpointer {
            g_cancellable_cancel(G_CANCELLABLE(data));
            return nullptr;
        },
        cancellable.get());
    async.Wait();
    g_thread_join(other);
    Error error;
    EXPECT_FALSE(orvane_listener_complete_finish(begun, async.result.get(), nullptr, &error.error));
    EXPECT_TRUE(g_error_matches(error.error, G_IO_ERROR, G_IO_ERROR_CANCELLED));
    async.result.reset();
    g_clear_object(&session); /* the operation ends with it at the latest */
    RunLoop();
    EXPECT_EQ(nullptr, listener);
    EXPECT_EQ(1, async.times);
}

/* There is nothing that could end, and release the listener. */
TEST_F(GlibOperation, CompletesAtOnceWhereNothingWasBegun) {
    OrvaneListener *listener = orvane_listener_new();
    g_object_add_weak_pointer(G_OBJECT(listener), reinterpret_cast<gpointer *>(&listener));
    Async async;
    orvane_listener_complete_async(listener, nullptr, Async::OnReady, &async);
    EXPECT_EQ(0, async.times);
    async.Wait();
    Error error;
    EXPECT_FALSE(
        orvane_listener_complete_finish(listener, async.result.get(), nullptr, &error.error));
    EXPECT_TRUE(g_error_matches(error.error, ORVANE_ERROR, ORVANE_OUTCOME_NOT_SENT));
    async.result.reset();
    g_object_unref(listener);
    EXPECT_EQ(nullptr, listener);
}

/* A retrieval that has failed stays with the manager until the connection ends; its listener serves others meanwhile. */
TEST_F(GlibOperation, IsWaitedForWithTheListenerOfOneThatFailed) {
    ASSERT_TRUE(Connect("secret", nullptr));
    const auto machine = Machine("vm-101");
    const ObjectPtr<OrvaneListener> listener(orvane_listener_new());
    const auto retrieve = [&](const char *path) {
        orvane_session_load_properties(session, machine.get(), listener.get(), FALSE, path,
                                       nullptr);
        return orvane_glib_wait(listener.get(), -1);
    };
    EXPECT_FALSE(retrieve("nmae"));
    EXPECT_TRUE(retrieve("name"));
    EXPECT_FALSE(retrieve("nmae"));
    orvane_session_load_object(session, FALSE, machine.get(), listener.get());
    EXPECT_TRUE(orvane_glib_wait(listener.get(), -1));
    EXPECT_FALSE(retrieve("nmae"));
    orvane_session_disconnect(session, listener.get());
    EXPECT_TRUE(orvane_glib_wait(listener.get(), -1));
}

/* A wait needs no time to be safe: the operation ends without a signal. */
TEST_F(GlibOperation, IsWaitedForWhereNoSignalComes) {
    ASSERT_TRUE(Connect("secret", nullptr));
    server.AddTrouble({.kind = simulator::TroubleKind::Silent, .method = "CurrentTime"});
    const ObjectPtr<OrvaneListener> listener(orvane_listener_new());
    skema_ozy_service_instance_current_time(Instance().get(), listener.get());
    g_idle_add(
        [](gpointer data) {
            g_clear_object(static_cast<OrvaneSession **>(data));
            return G_SOURCE_REMOVE;
        },
        &session);
    EXPECT_FALSE(orvane_glib_wait(listener.get(), -1));
    OrvaneOutcome outcome = ORVANE_OUTCOME_SUCCEEDED;
    EXPECT_TRUE(orvane_listener_get_outcome(listener.get(), &outcome));
    EXPECT_EQ(ORVANE_OUTCOME_SESSION_RELEASED, outcome);
}

} // namespace
