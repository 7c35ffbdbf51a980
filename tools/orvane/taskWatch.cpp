#include "tools/orvane/taskWatch.h"

#include <utility>

#include <fmt/format.h>
#include <orvane/schema/ozy.h>

#include "tools/orvane/methodRun.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

TaskWatch::TaskWatch(const Service &itsService, ProxyPtr itsTask, int limit)
    : service(itsService), task(std::move(itsTask)), limitSeconds(limit),
      load(Printable(task->id), service.TimeoutSeconds()) {}

void TaskWatch::Start() {
    start = std::chrono::steady_clock::now();
    orvane_session_load_object(service.Session(), FALSE, task.get(), load.Listener());
}

ObjectPtr<GObject> TaskWatch::Info() const {
    GObject *info = nullptr;
    g_object_get(task.get(), "info", &info, nullptr);
    return ObjectPtr<GObject>(info);
}

bool TaskWatch::HasEnded() const {
    const ObjectPtr<GObject> info = Info();
    if (!load.IsOver() || !info)
        return false;
    gint state = 0;
    gboolean isCancelled = FALSE;
    g_object_get(info.get(), "state", &state, "cancelled", &isCancelled, nullptr);
    return isCancelled || state == SKEMA_OZY_TASK_INFO_SUCCESS ||
           state == SKEMA_OZY_TASK_INFO_ERROR;
}

bool TaskWatch::IsLate() const {
    const int limit = load.IsOver() ? limitSeconds : service.TimeoutSeconds();
    return limit > 0 && std::chrono::steady_clock::now() - start >= std::chrono::seconds(limit);
}

bool TaskWatch::IsOver() const {
    const bool hasFailed = load.IsOver() && !Info();
    return hasFailed || HasEnded() || IsLost(service) || IsLate();
}

int TaskWatch::Percent() const {
    const ObjectPtr<GObject> info = Info();
    gint percent = 0;
    if (info)
        g_object_get(info.get(), "progress", &percent, nullptr);
    return percent;
}

void TaskWatch::Succeed() {
    const std::string name = Printable(task->id);
    if (load.IsOver())
        load.Succeed();
    if (!HasEnded() && IsLost(service))
        throw LostTask(service, name, task.get());
    if (!HasEnded())
        throw Failure(Text(MSGID("task.late") "%s: the task has not ended within %d s",
                           name.c_str(), limitSeconds) +
                          GoesOnText({TaskId()}),
                      kTimedOut);
    const ObjectPtr<GObject> info = Info();
    gint state = 0;
    gboolean isCancelled = FALSE;
    SkemaQormMethodFault *fault = nullptr;
    g_object_get(info.get(), "state", &state, "cancelled", &isCancelled, "error", &fault, nullptr);
    const ObjectPtr<SkemaQormMethodFault> owner(fault);
    if (isCancelled)
        throw Failure(Text(MSGID("task.cancelled") "%s: the task was cancelled", name.c_str()));
    if (state != SKEMA_OZY_TASK_INFO_SUCCESS)
        throw FailureOf(name, fault);
}

} // namespace orvaneCli
