#include "ozy/lib/orvane/listener/orvaneListener.h"

#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/soap/orvaneFault.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"
#include "tests/support/logText.h"

namespace {

using Events = std::vector<std::string>;

Value Owned(GType type, gpointer object) {
    Value value(type);
    g_value_take_object(value.get(), object);
    return value;
}

/* A listener and all its signals, each with the state at that time: "success 16". Releases the listener in the
 * signal that dropAt names. */
struct Recorder {
    Events events;
    std::string dropAt;
    OrvaneListener *listener;

    Recorder() : listener(orvane_listener_new()) {
        for (const std::string name : {"notify::state", "notify::result", "notify::fault",
                                       "acknowledge", "progress", "success", "failure"})
            On(listener, name.c_str(), [this, name] {
                events.push_back(name + " " + std::to_string(orvane_listener_get_state(listener)));
                if (dropAt == name)
                    g_object_unref(listener);
            });
        g_object_add_weak_pointer(G_OBJECT(listener), reinterpret_cast<gpointer *>(&listener));
    }
    ~Recorder() { g_clear_object(&listener); }

    Events Take() { return std::exchange(events, {}); }
    GType FaultType() {
        const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener));
        return fault ? G_OBJECT_TYPE(fault.get()) : 0;
    }
};

/* -- plain calls ---------------------------------------------------------------------------------- */

TEST(Listener, EmitsTheSignalsOfAReplyInOrder) {
    const auto fault = [](gpointer object) { return Owned(SKEMA_TYPE_QORM_METHOD_FAULT, object); };
    const Value unset;
    const Value seven = IntValue(7);
    const Value canceled = fault(g_object_new(SKEMA_TYPE_QORM_FAULT_REQUEST_CANCELED, nullptr));
    const Value noFault = fault(nullptr);
    const struct {
        const char *name;
        const Value *value; /* of a success; NULL: none */
        const char *first;  /* the signal of the value; empty: none */
        bool hasFailed = false;
        GType fault = 0;
    } rows[] = {
        {"success", nullptr, ""},
        {"success with an unset value", &unset, ""},
        {"result", &seven, "notify::result 2"},
        {"failure", nullptr, "", true},
        {"fault", &canceled, "notify::fault 2", true, SKEMA_TYPE_QORM_FAULT_REQUEST_CANCELED},
        {"no fault given", &noFault, "notify::fault 2", true, ORVANE_TYPE_FAULT_UNEXPECTED},
        {"a value that is no fault", &seven, "notify::fault 2", true, ORVANE_TYPE_FAULT_UNEXPECTED},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Recorder recorder;
        LogRing_Clear();
        orvane_listener_set_return_type(recorder.listener, G_TYPE_INT, FALSE);
        orvane_listener_initiate(recorder.listener);
        EXPECT_EQ((Events{"notify::state 2"}), recorder.Take());
        orvane_listener_acknowledge(recorder.listener, !row.hasFailed,
                                    row.value ? row.value->get() : nullptr);
        Events events = {"notify::state 4", "acknowledge 4"};
        if (*row.first != '\0')
            events.insert(events.begin(), row.first);
        events.push_back(row.hasFailed ? "notify::state 32" : "notify::state 16");
        events.push_back(row.hasFailed ? "failure 32" : "success 16");
        EXPECT_EQ(events, recorder.Take());
        EXPECT_EQ(row.fault, recorder.FaultType());
        EXPECT_EQ(row.fault == ORVANE_TYPE_FAULT_UNEXPECTED
                      ? "I Orvane method failed without a specified fault.\n"
                      : "",
                  LogText());
    }
}

TEST(Listener, HandsOutCopiesOfItsResult) {
    Recorder recorder;
    const Value reply = IntValue(7);
    orvane_listener_set_return_type(recorder.listener, G_TYPE_INT, FALSE);
    orvane_listener_acknowledge(recorder.listener, TRUE, reply.get());
    Value result = IntValue(1); /* the value that the caller passed is released */
    EXPECT_TRUE(orvane_listener_get_result(recorder.listener, result.get()));
    EXPECT_EQ(7, g_value_get_int(result.get()));
    auto *property = GetNumber<GValue *>(recorder.listener, "result");
    EXPECT_EQ(7, g_value_get_int(property));
    g_boxed_free(G_TYPE_VALUE, property);
}

TEST(Listener, EmitsNothingMoreOnceReleased) {
    const std::pair<const char *, Events> rows[] = {
        {"notify::result", {"notify::result 2"}},
        {"notify::state", {"notify::result 2", "notify::state 4"}},
        {"acknowledge", {"notify::result 2", "notify::state 4", "acknowledge 4"}},
        {"success",
         {"notify::result 2", "notify::state 4", "acknowledge 4", "notify::state 16",
          "success 16"}},
    };
    for (const auto &[dropAt, events] : rows) {
        SCOPED_TRACE(dropAt);
        Recorder recorder;
        const Value reply = IntValue(7);
        orvane_listener_set_return_type(recorder.listener, G_TYPE_INT, FALSE);
        orvane_listener_initiate(recorder.listener);
        recorder.Take();
        recorder.dropAt = dropAt;
        orvane_listener_acknowledge(recorder.listener, TRUE, reply.get());
        EXPECT_EQ(events, recorder.events);
        EXPECT_EQ(nullptr, recorder.listener);
    }
}

/* -- tasks ---------------------------------------------------------------------------------------- */

struct Info {
    gint state;
    gboolean cancelled;
    gint progress;
};

/* A task without a session: its info is set by hand. */
struct Task {
    ObjectPtr<SkemaOzyTask> task = NewObject<SkemaOzyTask>(SKEMA_TYPE_OZY_TASK);

    void Acknowledge(Recorder &recorder) {
        orvane_listener_initiate(recorder.listener);
        const Value reply = Owned(SKEMA_TYPE_OZY_TASK, g_object_ref(task.get()));
        orvane_listener_acknowledge(recorder.listener, FALSE, reply.get());
    }
    void Set(const Info &info) {
        const Value result = IntValue(7);
        const auto object = NewObject(SKEMA_TYPE_OZY_TASK_INFO);
        const auto error = NewObject(SKEMA_TYPE_QORM_FAULT_REQUEST_CANCELED);
        g_object_set(object.get(), "state", info.state, "cancelled", info.cancelled, "progress",
                     info.progress, "cancelable", info.progress == 1, "error", error.get(),
                     nullptr);
        orvane_object_set_any(object.get(), "result", result.get());
        g_object_set(task.get(), "info", object.get(), nullptr);
    }
};

TEST(Listener, FollowsATask) {
    enum { kQueued, kRunning, kSuccess, kError };
    const struct {
        const char *name;
        std::vector<Info> infos;
        Events events;
    } rows[] = {
        {"queued, running, done",
         {{kQueued, FALSE, 0}, {kRunning, FALSE, 0}, {kRunning, FALSE, 50}, {kSuccess, FALSE, 50}},
         {"progress 2", "notify::state 4", "acknowledge 4", "notify::state 8", "progress 8",
          "notify::state 16", "success 16"}},
        {"seen running first: not acknowledged",
         {{kRunning, FALSE, 0}, {kError, FALSE, 0}},
         {"progress 2", "notify::state 8", "notify::state 32", "failure 32"}},
        {"queued again",
         {{kRunning, FALSE, 0}, {kQueued, FALSE, 0}},
         {"progress 2", "notify::state 8", "notify::state 4", "acknowledge 4"}},
        {"cancelled beats success",
         {{kSuccess, TRUE, 0}},
         {"progress 2", "notify::state 32", "failure 32"}},
        {"the end is signalled once",
         {{kSuccess, FALSE, 0}, {kSuccess, FALSE, 0}},
         {"progress 2", "notify::state 16", "success 16"}},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        Task task;
        Recorder recorder;
        task.Acknowledge(recorder);
        EXPECT_THAT(recorder.Take(), ElementsAre("notify::state 2"));
        EXPECT_TRUE(orvane_listener_is_task(recorder.listener));
        EXPECT_EQ(static_cast<gpointer>(task.task.get()),
                  orvane_listener_get_task(recorder.listener));
        for (const Info &info : row.infos)
            task.Set(info);
        EXPECT_EQ(row.events, recorder.Take());
        const bool hasFailed =
            orvane_listener_get_state(recorder.listener) == ORVANE_LISTENER_FAILED;
        EXPECT_EQ(hasFailed ? SKEMA_TYPE_QORM_FAULT_REQUEST_CANCELED : 0, recorder.FaultType());
    }
}

TEST(Listener, ReadsTheTaskOnDemand) {
    Task task;
    Recorder recorder;
    task.Acknowledge(recorder);
    for (int i = 0; i < 2; i++)
        g_test_expect_message(nullptr, G_LOG_LEVEL_CRITICAL, "*assertion 'taskInfo' failed*");
    EXPECT_EQ(G_MININT32, orvane_listener_get_progress(recorder.listener));
    EXPECT_FALSE(orvane_listener_is_cancellable(recorder.listener));
    g_test_assert_expected_messages();

    task.Set({1, FALSE, 1});
    EXPECT_EQ(1, orvane_listener_get_progress(recorder.listener));
    EXPECT_TRUE(orvane_listener_is_cancellable(recorder.listener));
    task.Set({1, FALSE, 2});
    EXPECT_FALSE(orvane_listener_cancel(recorder.listener));
    task.Set({2, FALSE, 2});
    Value result;
    EXPECT_TRUE(orvane_listener_get_result(recorder.listener, result.get()));
    EXPECT_EQ(7, g_value_get_int(result.get()));
}

TEST(Listener, MayBeReleasedInEachSignalOfATask) {
    for (const char *dropAt : {"progress", "notify::state", "acknowledge", "success"}) {
        SCOPED_TRACE(dropAt);
        Task task;
        Recorder recorder;
        task.Acknowledge(recorder);
        recorder.Take();
        recorder.dropAt = dropAt;
        for (gint state : {0, 1, 2})
            task.Set({state, FALSE, state});
        EXPECT_EQ(nullptr, recorder.listener);
        EXPECT_EQ(dropAt, recorder.events.back().substr(0, recorder.events.back().find(' ')));
    }
}

/* An operation may not show, or follow, anything of the one before. */
TEST(Listener, BeginsEachOperationAnew) {
    Task task;
    Recorder recorder;
    task.Acknowledge(recorder);
    task.Set({2, FALSE, 5});
    EXPECT_EQ(ORVANE_LISTENER_SUCCEEDED, orvane_listener_get_state(recorder.listener));
    orvane_listener_initiate(recorder.listener);
    recorder.Take();
    task.Set({3, FALSE, 6});
    EXPECT_THAT(recorder.Take(), IsEmpty());
    EXPECT_FALSE(orvane_listener_is_task(recorder.listener));
    EXPECT_EQ(nullptr, orvane_listener_get_task(recorder.listener));
    EXPECT_EQ(G_MININT32, orvane_listener_get_progress(recorder.listener));
    orvane_listener_acknowledge(recorder.listener, TRUE, nullptr);
    Value result;
    EXPECT_TRUE(orvane_listener_get_result(recorder.listener, result.get()));
    EXPECT_FALSE(G_IS_VALUE(result.get()));

    const Value fault = Owned(SKEMA_TYPE_QORM_METHOD_FAULT, OrvaneFault_NewUnexpected());
    for (const auto &[value, type] :
         {std::pair{static_cast<const Value &>(fault).get(), ORVANE_TYPE_FAULT_UNEXPECTED},
          std::pair{static_cast<const GValue *>(nullptr), GType(0)}}) {
        orvane_listener_initiate(recorder.listener);
        orvane_listener_acknowledge(recorder.listener, FALSE, value);
        EXPECT_EQ(type, recorder.FaultType());
    }
    EXPECT_EQ(4u, orvane_listener_get_operation_count(recorder.listener));
}

TEST(Listener, MayDieWhenItsOldFaultIsReleased) {
    Recorder recorder;
    Value fault = Owned(SKEMA_TYPE_QORM_METHOD_FAULT, OrvaneFault_NewUnexpected());
    orvane_listener_acknowledge(recorder.listener, FALSE, fault.get());
    recorder.Take();
    g_object_weak_ref(
        G_OBJECT(g_value_get_object(fault.get())),
        [](gpointer data, GObject *) { g_clear_object(&static_cast<Recorder *>(data)->listener); },
        &recorder);
    g_value_reset(fault.get());
    orvane_listener_initiate(recorder.listener);
    EXPECT_EQ(nullptr, recorder.listener);
    EXPECT_THAT(recorder.Take(), IsEmpty());
}

TEST(Listener, FollowsOnlyTheLatestTask) {
    Task first;
    Task second;
    Recorder recorder;
    first.Acknowledge(recorder);
    second.Acknowledge(recorder);
    recorder.Take();
    first.Set({2, FALSE, 5});
    EXPECT_THAT(recorder.Take(), IsEmpty());
    second.Set({1, FALSE, 5});
    EXPECT_THAT(recorder.Take(), ElementsAre("progress 2", "notify::state 8"));
}

} // namespace
