#include "tools/simulator/tasks.h"

#include <fmt/format.h>

#include "tools/simulator/service.h"
#include "tools/simulator/types.h"

namespace simulator {

namespace {

constexpr int kNumSteps = 10;
/* How long a task can be read after its end. */
constexpr int64_t kKeptMs = 600000;
/* How many tasks that are over are listed by the task manager. */
constexpr size_t kMostRecent = 100;
constexpr char kTaskManagerId[] = "TaskManager";

Value State(const std::string &state) {
    return Enum("TaskInfoState", state);
}

/* "PowerOnVM_Task" -> "VirtualMachine.PowerOnVM" */
std::string DescriptionId(const TaskPlan &plan) {
    std::string name = plan.method;
    if (name.ends_with("_Task"))
        name.resize(name.size() - 5);
    return plan.entity->type + "." + name;
}

} // namespace

ObjectPtr Tasks::Create(const TaskPlan &plan) {
    const std::string id = service.inventory.NextId("task-");
    const Value name = plan.entity->Get("name");
    const bool isEntity = IsA(plan.entity->type, "ManagedEntity");
    const Value info = Structure(
        "TaskInfo",
        {{"key", Text(id)},
         {"task", Reference("Task", id)},
         {"name", Text(plan.method)},
         {"descriptionId", Text(DescriptionId(plan))},
         {"entity", isEntity ? plan.entity->Reference() : nullptr},
         {"entityName", name},
         {"state", State("queued")},
         {"cancelled", Truth(false)},
         {"cancelable", Truth(plan.cancelable)},
         {"reason", Structure("TaskReasonUser", {{"userName", Text(plan.userName)}})},
         {"queueTime", Time(service.clock.WallTime())},
         {"eventChainId", Int(static_cast<int64_t>(service.inventory.LastNumber() & INT32_MAX))}});
    ObjectPtr task = service.inventory.Create("Task", id, {{"info", info}});
    Link(task, plan.entity);
    return task;
}

ObjectPtr Tasks::Start(TaskPlan plan) {
    const auto kept = std::make_shared<TaskPlan>(std::move(plan));
    ObjectPtr task = Create(*kept);
    if (service.options.taskDurationMs <= 0)
        Finish(task, *kept);
    else
        Step(task, kept, 0);
    return task;
}

void Tasks::Step(const ObjectPtr &task, const std::shared_ptr<TaskPlan> &plan, int step) {
    if (task->gone || IsOver(task))
        return;
    if (step == kNumSteps)
        return Finish(task, *plan);
    if (step == 1) {
        SetInfo(task, "state", State("running"));
        SetInfo(task, "startTime", Time(service.clock.WallTime()));
    }
    if (step > 0)
        SetInfo(task, "progress", Int(step * 100 / kNumSteps));
    const int64_t duration = service.options.taskDurationMs;
    const int64_t delay = duration * (step + 1) / kNumSteps - duration * step / kNumSteps;
    service.clock.At(service.clock.Now() + delay, [this, task, plan, step] {
        Step(task, plan, step + 1);
        service.Settle();
    });
}

void Tasks::Finish(const ObjectPtr &task, const TaskPlan &plan) {
    if (!FieldOf(task->Get("info"), "startTime"))
        SetInfo(task, "startTime", Time(service.clock.WallTime()));
    try {
        const auto failing = service.troubles.failingTasks.find(plan.method);
        if (failing != service.troubles.failingTasks.end())
            throw Fault(failing->second.faultType, failing->second.message);
        if (plan.entity->gone)
            throw ObjectNotFound(plan.entity->type, plan.entity->id);
        const Value result = plan.effect ? plan.effect() : nullptr;
        SetState(task, "success", result, nullptr);
    } catch (const Fault &fault) {
        SetState(task, "error", nullptr, WrappedFault(fault.type, fault.what(), fault.fields));
    }
}

void Tasks::Cancel(const ObjectPtr &task) {
    const Value info = task->Get("info");
    if (FieldOf(info, "cancelable")->text != "true")
        throw Fault("NotSupported", "The task cannot be cancelled.");
    if (IsOver(task))
        throw Fault("InvalidState", "The task has ended.");
    SetInfo(task, "cancelled", Truth(true));
    SetState(task, "error", nullptr, WrappedFault("RequestCanceled", "The task was cancelled."));
}

void Tasks::SetProgress(const ObjectPtr &task, int percent) {
    if (IsOver(task))
        throw Fault("InvalidState", "The task has ended.");
    if (percent < 0 || percent > 100)
        throw InvalidArgument("percentDone", "A progress is a number from 0 to 100.");
    SetInfo(task, "progress", Int(percent));
}

void Tasks::SetState(const ObjectPtr &task, const std::string &state, const Value &result,
                     const Value &error) {
    if (IsOver(task))
        throw Fault("InvalidState", "The task has ended.");
    const bool isOver = state == "success" || state == "error";
    if (isOver) {
        SetInfo(task, "cancelable", Truth(false));
        SetInfo(task, "completeTime", Time(service.clock.WallTime()));
    }
    if (state == "success")
        SetInfo(task, "progress", Int(100));
    if (error)
        SetInfo(task, "error", error);
    if (result)
        SetInfo(task, "result", result);
    SetInfo(task, "state", State(state));
    if (!isOver)
        return;
    const ObjectPtr entity = service.inventory.Find(FieldOf(task->Get("info"), "entity")
                                                        ? FieldOf(task->Get("info"), "entity")->text
                                                        : std::string());
    Unlink(task, entity);
    KeepRecent(task);
    service.clock.At(service.clock.Now() + kKeptMs, [this, task] {
        if (std::erase(recent, task) > 0)
            Unlink(task, service.inventory.Find(kTaskManagerId));
        service.inventory.Remove(task);
        service.Settle();
    });
}

void Tasks::SetDescription(const ObjectPtr &task, const Value &description) {
    SetInfo(task, "description", description);
}

void Tasks::SetInfo(const ObjectPtr &task, const std::string &field, const Value &value) {
    Value info = WithField(task->Get("info"), field, value);
    if (field == "result") {
        auto data = std::make_shared<ValueData>(*info);
        for (Field &each : data->fields)
            each.any = each.any || each.name == field;
        info = data;
    }
    service.inventory.Set(task, "info", info);
}

/* A running task is listed in "recentTask" of its entity and of the task manager. */
void Tasks::Link(const ObjectPtr &task, const ObjectPtr &entity) {
    for (const ObjectPtr &holder : {entity, service.inventory.Find(kTaskManagerId)})
        if (holder && HasProperty(holder->type, "recentTask")) {
            const Value list = holder->Get("recentTask");
            service.inventory.Set(holder, "recentTask",
                                  WithItem(list ? list : References({}), task->Reference()));
        }
}

void Tasks::Unlink(const ObjectPtr &task, const ObjectPtr &holder) {
    if (holder && holder->Get("recentTask"))
        service.inventory.Set(holder, "recentTask",
                              WithoutReference(holder->Get("recentTask"), task->id));
}

/* The task manager lists a task that is over until it is removed, or until there are many later ones. */
void Tasks::KeepRecent(const ObjectPtr &task) {
    recent.push_back(task);
    if (recent.size() <= kMostRecent)
        return;
    Unlink(recent.front(), service.inventory.Find(kTaskManagerId));
    recent.pop_front();
}

bool Tasks::IsOver(const ObjectPtr &task) const {
    const std::string &state = FieldOf(task->Get("info"), "state")->text;
    return state == "success" || state == "error";
}

namespace {

using Result = std::optional<std::string>;

Result CancelTask(Service &service, const CallPtr &call) {
    service.tasks.Cancel(call->target);
    return "";
}

Result SetTaskDescription(Service &service, const CallPtr &call) {
    service.tasks.SetDescription(call->target,
                                 ToValue(ReadElement(call->Arguments(), "description")));
    return "";
}

Result SetTaskState(Service &service, const CallPtr &call) {
    const Element &arguments = call->Arguments();
    const std::string state = ReadElement(arguments, "state").text;
    if (state != "queued" && state != "running" && state != "success" && state != "error")
        throw InvalidArgument("state", fmt::format("\"{}\" is no state of a task.", state));
    const Element *result = arguments.Child("result");
    const Element *fault = arguments.Child("fault");
    const Value error =
        fault == nullptr ? nullptr : WrappedFault(fault->xsiType, "The task has failed.");
    service.tasks.SetState(call->target, state, result == nullptr ? nullptr : ToValue(*result),
                           error);
    return "";
}

Result UpdateProgress(Service &service, const CallPtr &call) {
    service.tasks.SetProgress(call->target, ReadInt(call->Arguments(), "percentDone"));
    return "";
}

Result CreateTask(Service &service, const CallPtr &call) {
    const Element &arguments = call->Arguments();
    TaskPlan plan;
    plan.entity = service.Require(ReadReference(arguments, "obj"), "ManagedObject");
    plan.method = ReadText(arguments, "taskTypeId");
    plan.userName = call->session->user.name;
    plan.cancelable = OptionalTruth(arguments, "cancelable", false);
    return Returned(service.tasks.Create(plan)->Get("info"));
}

constexpr auto kMethods = std::to_array<MethodRow>({
    {"Task", "CancelTask", CancelTask, Access::Change},
    {"Task", "SetTaskDescription", SetTaskDescription, Access::Change, "ozy25/4.0"},
    {"Task", "SetTaskState", SetTaskState, Access::Change, "ozy25/2.5"},
    {"Task", "UpdateProgress", UpdateProgress, Access::Change, "ozy25/2.5"},
    {"TaskManager", "CreateTask", CreateTask, Access::Change, "ozy25/2.5"},
});

} // namespace

std::span<const MethodRow> TaskMethods() {
    return kMethods;
}

} // namespace simulator
