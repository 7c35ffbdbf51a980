#include "tools/orvane/jobWatch.h"

#include <algorithm>
#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include <fmt/format.h>
#include <orvane/filter.h>

#include "tools/orvane/jobReader.h"
#include "tools/orvane/jsonText.h"
#include "tools/orvane/message.h"
#include "tools/orvane/methodRun.h"
#include "tools/orvane/progressBars.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kRedraw = std::chrono::milliseconds(100);

class Watch {
public:
    Watch(const Service &connected, const std::vector<std::string> &words);
    ~Watch();
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    void Run();

private:
    /* Called by the library: they only take notes, since an exception must not cross it. */
    static void OnCreated(SkemaQormMethodFault *fault, gpointer data);
    static void OnEntered(SkemaQormManagedObject *object, gpointer data);
    static void OnChanged(SkemaQormManagedObject *object, const char *path, gpointer data);
    static void OnLeft(SkemaQormManagedObject *object, gpointer data);
    static void OnFinished(gboolean isWhole, gpointer data);
    static void OnEnded(gpointer data);

    void WaitForChanges();
    void Show();
    void ShowBar(const std::string &id, const Job *job);
    void ShowEnd(const Job &job);
    bool IsWatched(const std::string &id) const { return wanted.empty() || wanted.contains(id); }

    const Service &service;
    std::set<std::string> wanted; /* ids; empty for all */
    Terminal terminal;
    ProgressBars bars;
    Clock::time_point lastDrawn;
    std::map<std::string, size_t> numbers; /* of the bars, by id */
    guint filter = 0;
    std::map<std::string, Job> jobs; /* by id */
    std::set<std::string> changed;   /* ids, also of those that have left */
    std::set<std::string> ended;     /* ids whose end was shown */
    std::map<std::string, std::string>
        lines;            /* the last ones, by id: a change may be of what is not shown */
    bool isFresh = false; /* changes are complete */
    bool isLost = false;
    bool isEmpty = false;
    bool hasAnswered = false;
    std::optional<Failure> refusal;
    int numFailed = 0;
};

Watch::Watch(const Service &connected, const std::vector<std::string> &words)
    : service(connected), bars(GetOutputForm() == OutputForm::kTable && !connected.IsQuiet()) {
    const std::vector<Job> now = FindJobs(service, words);
    isEmpty = now.empty(); /* the service would wait for the first */
    for (const Job &job : now) {
        if (!words.empty())
            wanted.insert(job.object->id);
    }
    OrvaneFilterFuncs functions{};
    functions.created = OnCreated;
    functions.entered = OnEntered;
    functions.changed = OnChanged;
    functions.left = OnLeft;
    functions.finished = OnFinished;
    functions.ended = OnEnded;
    filter = orvane_session_add_filter(service.Session(), JobFilterSpec(service).get(), TRUE,
                                       &functions, this, nullptr);
    isLost = filter == 0;
}

Watch::~Watch() {
    if (filter != 0)
        orvane_session_remove_filter(service.Session(), filter);
}

void Watch::OnCreated(SkemaQormMethodFault *fault, gpointer data) {
    auto *self = static_cast<Watch *>(data);
    if (fault == nullptr)
        return;
    self->refusal = FailureOf(Text(MSGID("job.reading") "reading the jobs"), fault);
    self->filter = 0;
}

void Watch::OnEntered(SkemaQormManagedObject *object, gpointer data) {
    auto *self = static_cast<Watch *>(data);
    if (!self->IsWatched(object->id))
        return;
    self->jobs.insert_or_assign(object->id, MakeJob(object));
    self->changed.insert(object->id);
}

void Watch::OnChanged(SkemaQormManagedObject *object, const char * /* path */, gpointer data) {
    auto *self = static_cast<Watch *>(data);
    const auto job = self->jobs.find(object->id);
    if (job == self->jobs.end())
        return;
    job->second = MakeJob(object);
    self->changed.insert(object->id);
}

void Watch::OnLeft(SkemaQormManagedObject *object, gpointer data) {
    auto *self = static_cast<Watch *>(data);
    if (self->jobs.erase(object->id) > 0)
        self->changed.insert(object->id);
}

void Watch::OnFinished(gboolean isWhole, gpointer data) {
    static_cast<Watch *>(data)->isFresh = isWhole != FALSE;
}

void Watch::OnEnded(gpointer data) {
    auto *self = static_cast<Watch *>(data);
    self->isLost = true;
    self->filter = 0;
}

/* A field of a line; one that is not known is null. */
void AppendFact(std::string &line, const char *key, const std::string &text) {
    line += fmt::format(", \"{}\": ", key);
    if (text.empty())
        line += "null";
    else
        AppendJsonText(line, text);
}

std::string ChangeLine(const Job &job) {
    const std::string state = job.Fact("info.state");
    const std::string task = job.Fact("info.lastTask.state");
    const int percent = job.Progress();
    if (GetOutputForm() == OutputForm::kPlain)
        return fmt::format("{}\t{}\t{}\t{}\t{}\n", Printable(job.object->id), Printable(job.name),
                           state, task, percent < 0 ? "" : std::to_string(percent));
    std::string line = "{\"id\": " + JsonText(job.object->id);
    AppendFact(line, "name", job.name);
    AppendFact(line, "state", state);
    AppendFact(line, "task", task);
    return line +
           fmt::format(", \"progress\": {}}}\n", percent < 0 ? "null" : std::to_string(percent));
}

std::string RemovalLine(const std::string &id) {
    if (GetOutputForm() == OutputForm::kPlain)
        return fmt::format("{}\t\t\t\t\n", Printable(id));
    return "{\"id\": " + JsonText(id) + ", \"removed\": true}\n";
}

void Watch::WaitForChanges() {
    const auto start = Clock::now();
    const std::chrono::seconds limit(service.TimeoutSeconds());
    const auto isLate = [&] { return !hasAnswered && Clock::now() - start > limit; };
    WaitUntil(
        [&] {
            isLost =
                isLost || orvane_session_get_state(service.Session()) != ORVANE_SESSION_CONNECTED;
            return isFresh || isLost || refusal || isLate();
        },
        bars);
    if (!isFresh && !isLost && !refusal)
        throw LateFailure(Text(MSGID("job.reading") "reading the jobs"), service.TimeoutSeconds());
    if (refusal)
        throw Failure(*refusal);
    if (isLost)
        throw LostFailure();
}

void Watch::ShowEnd(const Job &job) {
    if (!job.IsOver() || !ended.insert(job.object->id).second)
        return;
    numFailed += job.IsFailed() ? 1 : 0;
    if (!bars.IsLive())
        return;
    const std::string word =
        job.IsFailed() ? terminal.Styled(Style::kBad, Text(MSGID("job.word.failed") "failed"))
                       : terminal.Styled(Style::kGood, Text(MSGID("job.word.done") "done"));
    bars.Line(fmt::format("{}  {}", Printable(job.name), word));
}

/* A job without one is not there any more. */
void Watch::ShowBar(const std::string &id, const Job *job) {
    const size_t number = numbers.try_emplace(id, numbers.size()).first->second;
    if (job == nullptr || job->IsOver())
        bars.Remove(number);
    else
        bars.Set(number, Printable(job->name), std::max(job->Progress(), 0));
}

void Watch::Show() {
    for (const std::string &id : std::exchange(changed, {})) {
        const auto job = jobs.find(id);
        const std::string line = job == jobs.end() ? RemovalLine(id) : ChangeLine(job->second);
        if (bars.IsLive())
            ShowBar(id, job == jobs.end() ? nullptr : &job->second);
        else if (std::exchange(lines[id], line) != line)
            WriteOutput(line);
        if (job != jobs.end())
            ShowEnd(job->second);
    }
    if (OutputError() != 0)
        throw OutputFailure();
    /* changes may come faster than the wait for them redraws */
    if (const auto now = Clock::now(); now - lastDrawn >= kRedraw) {
        bars.Draw();
        lastDrawn = now;
    }
}

void Watch::Run() {
    const auto isOver = [this] {
        return std::ranges::all_of(jobs, [](const auto &each) { return each.second.IsOver(); });
    };
    if (isEmpty)
        return;
    do {
        WaitForChanges();
        hasAnswered = true;
        isFresh = false;
        Show();
    } while (!isOver());
    if (numFailed > 0)
        throw Failure(Text(MSGID("job.failed") "%d of %d jobs failed", numFailed,
                           static_cast<int>(jobs.size())));
}

} // namespace

void WatchJobs(const Service &service, const std::vector<std::string> &words) {
    Watch(service, words).Run();
}

} // namespace orvaneCli
