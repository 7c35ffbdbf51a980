#include "tools/orvane/methodRun.h"

#include <utility>

#include <fmt/format.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/sourcePtr.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

constexpr guint kRedrawMs = 100;
constexpr int kForeverSeconds = 4000000; /* 46 days; the most that a timer of GLib takes */

/* Reads a task by a plain call, which the service answers or refuses whatever the state of the session is. */
void AskOnce(const Service &service, SkemaQormManagedObject *task) {
    const ProxyPtr collector = service.RequireManager("propertyCollector");
    const ValueArrayPtr specs(orvane_filter_spec_set_new(
        TRUE,
        orvane_filter_spec_new(
            TRUE, orvane_property_spec_new(SKEMA_TYPE_OZY_TASK, FALSE, "info", nullptr),
            orvane_object_spec_new(task, FALSE, TRUE, nullptr), nullptr),
        nullptr));
    Operation read(Text(MSGID("task.readingOne") "reading %s", Printable(task->id).c_str()),
                   service.TimeoutSeconds());
    const ObjectPtr<SkemaQormCorePropertyCollectorRetrieveOptions> options(
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR_RETRIEVE_OPTIONS(
            g_object_new(SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_RETRIEVE_OPTIONS, nullptr)));
    skema_qorm_core_property_collector_retrieve_properties_ex(
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR(collector.get()), specs.get(), options.get(),
        read.Listener());
    read.Succeed();
}

gboolean Draw(gpointer bars) {
    static_cast<ProgressBars *>(bars)->Draw();
    return G_SOURCE_CONTINUE;
}

} // namespace

void AddTaskOptions(CLI::App &command, TaskOptions &options) {
    command.add_flag_callback(
        "--no-wait", [&options] { options.isTaskWaited = false; },
        Text(MSGID("help.noWait") "Print the id of a task, which \"orvane task\" takes, instead of "
                                  "waiting for its end; the wait has a limit only with --timeout"));
}

bool ReturnsTask(const OrvaneMethodInfo &method) {
    return g_type_is_a(method.resultType, SKEMA_TYPE_OZY_TASK);
}

std::string RequestText(const OrvaneMethodInfo &method, SkemaQormManagedObject *object,
                        const GValue *values, guint numValues) {
    const GPtr<char> text(orvane_method_format_request(&method, object, values, numValues));
    if (!text)
        throw Failure(
            Text(MSGID("call.unwritable") "the request of %s cannot be written", method.name));
    return text.get();
}

void AddDryRun(CLI::App &command, bool &isDry) {
    command.add_flag("--dry-run", isDry,
                     Text(MSGID("help.dryRun") "Show the request without its secrets, and do not "
                                               "send it"));
}

MethodRun::MethodRun(const Service &itsService, std::string itsLabel, const TaskOptions &itsOptions)
    : service(itsService), label(std::move(itsLabel)), options(itsOptions),
      operation(label, service.TimeoutSeconds()) {
    operation.OnProgress([this](int now) { percent = now; });
}

void MethodRun::Start(const OrvaneMethodInfo &method, SkemaQormManagedObject *object,
                      const GValue *values, guint numValues) {
    start = std::chrono::steady_clock::now();
    orvane_method_invoke(&method, object, values, numValues, operation.Listener());
}

bool MethodRun::IsLate() const {
    const int limit = IsTask() ? options.limitSeconds : service.TimeoutSeconds();
    return limit > 0 && std::chrono::steady_clock::now() - start >= std::chrono::seconds(limit);
}

bool MethodRun::IsOver() const {
    const bool isEnough = IsTask() && (!options.isTaskWaited || IsLost(service));
    return operation.IsOver() || isEnough || IsLate();
}

void MethodRun::Succeed() {
    if (operation.IsOver()) {
        try {
            return operation.Succeed();
        } catch (const Failure &failure) {
            if (failure.status != kNoConnection)
                throw;
            throw Failure(failure.what() + GoesOnText({TaskId()}), kNoConnection);
        }
    }
    if (IsTask() && !options.isTaskWaited)
        return;
    if (!IsTask())
        throw LateFailure(label, service.TimeoutSeconds());
    if (IsLost(service))
        throw LostTask(service, label, orvane_listener_get_task(operation.Listener()));
    throw Failure(Text(MSGID("task.late") "%s: the task has not ended within %d s", label.c_str(),
                       options.limitSeconds) +
                      GoesOnText({TaskId()}),
                  kTimedOut);
}

std::string MethodRun::TaskId() const {
    const SkemaQormManagedObject *task = orvane_listener_get_task(operation.Listener());
    return task != nullptr && task->id != nullptr ? task->id : "";
}

void WaitUntil(const std::function<bool()> &condition, ProgressBars &bars) {
    const SourcePtr redraw(g_timeout_source_new(kRedrawMs)); /* also so that limits are noticed */
    g_source_set_callback(redraw.get(), Draw, &bars, nullptr);
    g_source_attach(redraw.get(), nullptr);
    RunUntil(condition, kForeverSeconds);
}

bool IsLost(const Service &service) {
    return orvane_session_get_state(service.Session()) != ORVANE_SESSION_CONNECTED;
}

Failure LostTask(const Service &service, const std::string &label, SkemaQormManagedObject *task) {
    const std::string goesOn = GoesOnText({task->id});
    try {
        AskOnce(service, task);
    } catch (const Interrupted &) {
        throw;
    } catch (const Failure &failure) {
        if (failure.status == kNoConnection || failure.status == kLoginRefused)
            return Failure(fmt::format("{}: {}{}", label, failure.what(), goesOn), failure.status,
                           failure.fault);
    }
    return Failure(
        Text(MSGID("task.lost") "%s: the connection to the service was lost", label.c_str()) +
            goesOn,
        kNoConnection);
}

std::string GoesOnText(const std::vector<std::string> &taskIds) {
    std::string ids;
    for (const std::string &id : taskIds)
        ids += (ids.empty() || id.empty() ? "" : " ") + Printable(id);
    if (ids.empty())
        return "";
    return Text(MSGID("task.goesOn") "; the service goes on with it: \"orvane task wait %s\"",
                ids.c_str());
}

} // namespace orvaneCli
