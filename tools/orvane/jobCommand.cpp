#include "tools/orvane/jobCommand.h"

#include <array>

#include <fmt/format.h>
#include <orvane/schema/ferry.h>

#include "tools/orvane/command.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/jobReader.h"
#include "tools/orvane/jobWatch.h"
#include "tools/orvane/message.h"
#include "tools/orvane/printer.h"
#include "tools/orvane/timeCell.h"

namespace orvaneCli {

namespace {

enum class FactKind { kText, kNumber, kTime, kId };

/* What is shown of a job, by its path. */
struct FactRow {
    const char *key;
    const char *title;
    const char *path;
    bool isLong; /* not in the short list */
    FactKind kind = FactKind::kText;
};

constexpr auto kFacts = std::to_array<FactRow>({
    {"name", MSGID("job.column.name") "NAME", "name", false},
    {"state", MSGID("job.column.state") "STATE", "info.state", false},
    {"task", MSGID("job.column.task") "TASK", "info.lastTask.state", false},
    {"progress", MSGID("job.column.progress") "PROGRESS", "info.lastTask.progress", false,
     FactKind::kNumber},
    {"status", MSGID("job.column.status") "STATUS", "overallStatus", true},
    {"created", MSGID("job.column.created") "CREATED", "info.createdTime", true, FactKind::kTime},
    {"started", MSGID("job.column.started") "STARTED", "info.lastRunStartedTime", true,
     FactKind::kTime},
    {"ended", MSGID("job.column.ended") "ENDED", "info.lastRunCompletedTime", true,
     FactKind::kTime},
    {"id", MSGID("job.column.id") "ID", "", false, FactKind::kId},
});

Cell FactCell(const Job &job, const FactRow &row) {
    const std::string text = row.kind == FactKind::kId ? job.object->id : job.Fact(row.path);
    if (text.empty())
        return NothingCell();
    if (row.kind == FactKind::kNumber)
        return JsonCell(text, text);
    if (row.kind == FactKind::kTime)
        return TimeCell(text);
    const bool isBad = text == "error" || text == "red";
    return TextCell(text, isBad ? Style::kBad : Style::kPlain);
}

/* The fault of the last task, as a sentence; empty if there is none. */
std::string WhyFailed(const Job &job) {
    if (!job.IsFailed())
        return "";
    SkemaQormManagedObject *object = job.object.get();
    GObject *info = nullptr;
    GObject *task = nullptr;
    g_object_get(object, "info", &info, nullptr);
    const ObjectPtr<GObject> infoOwner(info);
    g_object_get(info, "lastTask", &task, nullptr);
    const ObjectPtr<GObject> taskOwner(task);
    SkemaQormMethodFault *fault = nullptr;
    g_object_get(task, "error", &fault, nullptr);
    const ObjectPtr<SkemaQormMethodFault> faultOwner(fault);
    return fault != nullptr ? FaultText(fault) : "";
}

int RunLs(Service &service, const JobOptions &options) {
    std::vector<Column> columns;
    for (const FactRow &row : kFacts) {
        if (options.isLong || !row.isLong)
            columns.push_back({.key = row.key,
                               .title = PlainText(row.title),
                               .isRight = row.kind == FactKind::kNumber,
                               .isWhole = row.kind == FactKind::kId});
    }
    Printer printer(std::move(columns), {.hasHeading = !service.IsQuiet()});
    for (const Job &job : ReadJobs(service)) {
        std::vector<Cell> cells;
        for (const FactRow &row : kFacts) {
            if (options.isLong || !row.isLong)
                cells.push_back(FactCell(job, row));
        }
        printer.Row(cells);
    }
    printer.End();
    return kDone;
}

int RunShow(Service &service, const JobOptions &options) {
    const std::vector<Job> jobs = FindJobs(service, options.jobs);
    const auto label = [](const FactRow &row) { return PlainText(row.title); };
    std::vector<Column> columns;
    const bool isVertical = GetOutputForm() == OutputForm::kTable;
    if (isVertical) {
        columns = {{.key = "property", .title = Text(MSGID("job.column.property") "PROPERTY")},
                   {.key = "value", .title = Text(MSGID("job.column.value") "VALUE")}};
    } else {
        for (const FactRow &row : kFacts)
            columns.push_back({.key = row.key, .title = label(row)});
        columns.push_back({.key = "error", .title = ""});
    }
    Printer printer(std::move(columns), {.hasHeading = false});
    for (const Job &job : jobs) {
        std::vector<Cell> cells;
        const std::string why = WhyFailed(job);
        for (const FactRow &row : kFacts) {
            Cell cell = FactCell(job, row);
            if (isVertical && !cell.text.empty())
                printer.Row({TextCell(label(row)), cell});
            cells.push_back(std::move(cell));
        }
        cells.push_back(why.empty() ? NothingCell() : TextCell(why));
        if (!isVertical)
            printer.Row(cells);
        else if (!why.empty())
            printer.Row({TextCell(Text(MSGID("job.column.error") "ERROR")), TextCell(why)});
        if (isVertical && &job != &jobs.back())
            printer.Row({TextCell(""), TextCell("")});
    }
    printer.End();
    return kDone;
}

int RunWatch(Service &service, const JobOptions &options) {
    WatchJobs(service, options.jobs);
    return kDone;
}

/* What changes the state of jobs. A task that runs does not keep a job from it. */
struct JobChange {
    const char *word;
    const char *help;
    const char *doing; /* with the id behind it */
    const char *done;
    void (*start)(SkemaFerryServerJobJob *job, const GValue *handling, OrvaneListener *listener);
};
constexpr auto kChanges = std::to_array<JobChange>({
    {"cancel", MSGID("help.job.cancel") "Cancel jobs", MSGID("job.cancelling") "cancelling job",
     MSGID("job.cancelled") "cancelled", skema_ferry_server_job_job_stop},
    {"suspend",
     MSGID("help.job.suspend") "Interrupt jobs until they are resumed; a task that runs is "
                               "cancelled",
     MSGID("job.suspending") "suspending job", MSGID("job.suspended") "suspended",
     skema_ferry_server_job_job_suspend},
    {"resume", MSGID("help.job.resume") "Go on with jobs that are suspended",
     MSGID("job.resuming") "resuming job", MSGID("job.resumed") "resumed",
     [](SkemaFerryServerJobJob *job, const GValue *, OrvaneListener *listener) {
         skema_ferry_server_job_job_resume(job, listener);
     }},
});

void Change(const Service &service, const Job &job, const JobChange &change) {
    GValue handling = G_VALUE_INIT;
    g_value_init(&handling, SKEMA_TYPE_FERRY_SERVER_JOB_JOB_ACTIVE_TASK_HANDLING);
    g_value_set_enum(&handling, SKEMA_FERRY_SERVER_JOB_JOB_CANCELACTIVETASK);
    Operation call(fmt::format("{} {}", PlainText(change.doing), Printable(job.object->id)),
                   service.TimeoutSeconds());
    change.start(SKEMA_FERRY_SERVER_JOB_JOB(job.object.get()), &handling, call.Listener());
    g_value_unset(&handling);
    call.Succeed();
}

/* One that the service refuses does not keep the others from it. */
int RunChange(const Service &service, const JobOptions &options, const JobChange &change) {
    int status = kDone;
    for (const Job &job : FindJobs(service, options.jobs)) {
        try {
            Change(service, job, change);
        } catch (const Failure &failure) {
            if (failure.status != kFailed)
                throw;
            status = ReportFailure(failure);
            continue;
        }
        if (!service.IsQuiet())
            WriteOutput(fmt::format("{} ({}): {}\n", Printable(job.name), Printable(job.object->id),
                                    PlainText(change.done)));
    }
    return status;
}

} // namespace

void AddJob(CLI::App &program, JobOptions &options, int &status) {
    CLI::App *job = program.add_subcommand(
        "job", Text(MSGID("help.job") "Show, cancel and suspend conversion jobs of the second "
                                      "service"));
    job->require_subcommand(1);
    job->footer(FooterText(
        Text(MSGID("help.job.footer") "A job is named by its id, or by a name that only one has. "
                                      "What a service tells of its jobs depends on the tables "
                                      "of its schema; see \"orvane schema\"."),
        {"orvane job ls --profile lab", "orvane job watch job-17 --profile lab",
         "orvane job cancel job-17 --profile lab"}));
    const auto command = [&](const char *name, const std::string &text, auto run) {
        CLI::App *added = job->add_subcommand(name, text);
        AddServiceOptions(*added, options.service);
        added->callback([&options, &status, run] {
            options.service.login.isFerry = true;
            status = RunCommand([&] {
                return WithService(options.service,
                                   [&](Service &service) { return run(service, options); });
            });
        });
        return added;
    };
    const std::string word = Text(MSGID("help.job.job") "Ids or names of jobs; all without any");
    command("ls", Text(MSGID("help.job.ls") "List the jobs"), RunLs)
        ->add_flag("-l,--long", options.isLong,
                   Text(MSGID("help.job.long") "Show status and times, too"));
    command("show", Text(MSGID("help.job.show") "Show what is known of jobs"), RunShow)
        ->add_option("job", options.jobs, word);
    command("watch",
            Text(MSGID("help.job.watch") "Show the progress of jobs until all are over; in a pipe "
                                         "each change is a line of JSON"),
            RunWatch)
        ->add_option("job", options.jobs, word);
    for (const JobChange &change : kChanges)
        command(change.word, PlainText(change.help),
                [&change](const Service &service, const JobOptions &with) {
                    return RunChange(service, with, change);
                })
            ->add_option("job", options.jobs,
                         Text(MSGID("help.job.cancel.job") "Ids or names of jobs"))
            ->required();
}

} // namespace orvaneCli
