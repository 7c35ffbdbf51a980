#include "tools/simulator/jobs.h"

#include <array>

#include <fmt/format.h>

#include "tools/simulator/estate.h"
#include "tools/simulator/service.h"

namespace simulator {

namespace {

constexpr int kNumSteps = 100;
constexpr char kCreateMethod[] = "FerryServerConversionManagerCreateJob";

Value JobState(const std::string &word) {
    return Enum("FerryServerJobJobInfoState", word);
}

Value TaskState(const std::string &word) {
    return Enum("FerryTaskInfoState", word);
}

std::string StateOf(const ObjectPtr &job) {
    return FieldOf(job->Get("info"), "state")->text;
}

std::string TaskStateOf(const ObjectPtr &job) {
    return FieldOf(FieldOf(job->Get("info"), "lastTask"), "state")->text;
}

int ProgressOf(const ObjectPtr &job) {
    return std::stoi(FieldOf(FieldOf(job->Get("info"), "lastTask"), "progress")->text);
}

bool IsBusy(const ObjectPtr &job) {
    return StateOf(job) == "active";
}

} // namespace

ObjectPtr Jobs::Create(const std::string &name, const Value &spec) {
    const std::string id = service.inventory.NextId("job-");
    const Value task =
        Structure("FerryTaskInfo", {{"state", TaskState("queued")}, {"progress", Int(0)}});
    const Value info = Structure("FerryServerConversionConversionJobInfo",
                                 {{"key", Text(id)},
                                  {"state", JobState("active")},
                                  {"createdTime", Time(service.clock.WallTime())},
                                  {"lastTask", task}});
    ObjectPtr job =
        service.inventory.Create("FerryServerConversionConversionJob", id,
                                 {{"overallStatus", Enum("FerryManagedEntityStatus", "green")},
                                  {"name", Text(name)},
                                  {"info", info},
                                  {"spec", spec}});
    AddToList(service, service.inventory.Find(kJobFolderId), "job", job);
    RunQueued();
    return job;
}

void Jobs::RunQueued() {
    const ObjectPtr folder = service.inventory.Find(kJobFolderId);
    const int most = std::stoi(service.inventory.Find("FerryTaskManager")->Get("maxTask")->text);
    std::vector<ObjectPtr> queued;
    int numRunning = 0;
    for (const Value &reference : folder->Get("job")->items) {
        const ObjectPtr job = service.inventory.Find(reference->text);
        if (!IsBusy(job))
            continue;
        if (TaskStateOf(job) == "running")
            numRunning++;
        else
            queued.push_back(job);
    }
    for (const ObjectPtr &job : queued) {
        if (numRunning++ >= most)
            return;
        runs[job->id]++;
        SetInfo(job, "lastRunStartedTime", Time(service.clock.WallTime()));
        SetTask(job, "state", TaskState("running"));
        ScheduleStep(job);
    }
}

void Jobs::ScheduleStep(const ObjectPtr &job) {
    const int64_t duration = service.options.jobDurationMs;
    const int step = ProgressOf(job);
    const int64_t delay = duration * (step + 1) / kNumSteps - duration * step / kNumSteps;
    service.clock.At(service.clock.Now() + delay, [this, job, run = runs[job->id]] {
        Step(job, run);
        service.Settle();
    });
}

void Jobs::Step(const ObjectPtr &job, int run) {
    if (job->gone || runs[job->id] != run)
        return;
    SetTask(job, "progress", Int(ProgressOf(job) + 1));
    if (ProgressOf(job) < kNumSteps)
        return ScheduleStep(job);
    const auto failing = service.troubles.failingTasks.find(kCreateMethod);
    if (failing == service.troubles.failingTasks.end())
        return End(job, "success", nullptr);
    End(job, "error", WrappedFault(failing->second.faultType, failing->second.message));
}

void Jobs::End(const ObjectPtr &job, const std::string &taskState, const Value &error) {
    runs[job->id]++;
    if (error) {
        SetTask(job, "error", error);
        service.inventory.Set(job, "overallStatus", Enum("FerryManagedEntityStatus", "red"));
    }
    SetTask(job, "state", TaskState(taskState));
    SetInfo(job, "lastRunCompletedTime", Time(service.clock.WallTime()));
    SetInfo(job, "state", JobState("deactivated"));
    RunQueued();
}

void Jobs::RequireIdle(const ObjectPtr &job, bool cancelsTask) const {
    if (IsBusy(job) && !cancelsTask)
        throw Fault("FerryJobHasActiveTaskFault", "The job has a task that is not over.");
}

void Jobs::Stop(const ObjectPtr &job, bool cancelsTask) {
    if (StateOf(job) == "deactivated")
        throw Fault("InvalidState", "The job has ended.");
    RequireIdle(job, cancelsTask);
    End(job, "error", WrappedFault("RequestCanceled", "The job was cancelled."));
}

void Jobs::Suspend(const ObjectPtr &job, bool cancelsTask) {
    if (StateOf(job) != "active")
        throw Fault("InvalidState", "The job is not active.");
    RequireIdle(job, cancelsTask);
    runs[job->id]++;
    SetTask(job, "state", TaskState("queued"));
    SetInfo(job, "state", JobState("suspended"));
    RunQueued();
}

void Jobs::Resume(const ObjectPtr &job) {
    if (StateOf(job) != "suspended")
        throw Fault("InvalidState", "The job is not suspended.");
    SetInfo(job, "state", JobState("active"));
    RunQueued();
}

void Jobs::Destroy(const ObjectPtr &job, bool cancelsTask) {
    RequireIdle(job, cancelsTask);
    RemoveFromList(service, service.inventory.Find(kJobFolderId), "job", job);
    runs.erase(job->id);
    service.inventory.Remove(job);
    RunQueued();
}

void Jobs::SetInfo(const ObjectPtr &job, const std::string &field, const Value &value) {
    service.inventory.Set(job, "info", WithField(job->Get("info"), field, value));
}

void Jobs::SetTask(const ObjectPtr &job, const std::string &field, const Value &value) {
    SetInfo(job, "lastTask", WithField(FieldOf(job->Get("info"), "lastTask"), field, value));
}

namespace {

using Result = std::optional<std::string>;

/* What happens to a task that runs, if the caller says so. */
bool CancelsTask(const CallPtr &call) {
    const Element *handling = call->Arguments().Child("activeTaskHandling");
    if (handling == nullptr || handling->text == "failIfActiveTask")
        return false;
    if (handling->text != "cancelActiveTask")
        throw InvalidArgument("activeTaskHandling",
                              fmt::format("\"{}\" is no such handling.", handling->text));
    return true;
}

ObjectPtr JobOf(Service &service, const CallPtr &call, std::string_view argument) {
    return service.Require(ReadReference(call->Arguments(), argument),
                           "FerryServerConversionConversionJob");
}

Result CreateJob(Service &service, const CallPtr &call) {
    const Element *spec = call->Arguments().Child("spec");
    const std::string name = spec == nullptr ? "" : OptionalText(*spec, "name");
    const ObjectPtr job = service.jobs.Create(
        name.empty() ? "Conversion" : name,
        spec == nullptr ? Structure("FerryServerConversionConversionJobSpec", {}) : ToValue(*spec));
    return Returned(job->Get("info"));
}

Result DestroyJob(Service &service, const CallPtr &call) {
    service.jobs.Destroy(JobOf(service, call, "job"), CancelsTask(call));
    return "";
}

Result GetJobInfo(Service &service, const CallPtr &call) {
    return Returned(JobOf(service, call, "conversionJob")->Get("info"));
}

Result GetJobSpec(Service &service, const CallPtr &call) {
    return Returned(JobOf(service, call, "conversionJob")->Get("spec"));
}

Result StopJob(Service &service, const CallPtr &call) {
    service.jobs.Stop(call->target, CancelsTask(call));
    return "";
}

Result SuspendJob(Service &service, const CallPtr &call) {
    service.jobs.Suspend(call->target, CancelsTask(call));
    return "";
}

Result ResumeJob(Service &service, const CallPtr &call) {
    service.jobs.Resume(call->target);
    return "";
}

constexpr auto kJobMethods = std::to_array<MethodRow>({
    {"FerryServerConversionConversionManager", kCreateMethod, CreateJob, Access::Change},
    {"FerryServerConversionConversionManager", "FerryServerConversionManagerDestroyJob", DestroyJob,
     Access::Change},
    {"FerryServerConversionConversionManager", "FerryServerConversionManagerGetJobInfo",
     GetJobInfo},
    {"FerryServerConversionConversionManager", "FerryServerConversionManagerGetJobSpec",
     GetJobSpec},
    {"FerryServerJobJob", "FerryServerJobStop", StopJob, Access::Change},
    {"FerryServerJobJob", "FerryServerJobSuspend", SuspendJob, Access::Change},
    {"FerryServerJobJob", "FerryServerJobResume", ResumeJob, Access::Change},
});

} // namespace

std::span<const MethodRow> JobMethods() {
    return kJobMethods;
}

} // namespace simulator
