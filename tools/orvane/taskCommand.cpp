#include "tools/orvane/taskCommand.h"

#include <memory>

#include <fmt/format.h>
#include <orvane/json.h>
#include <orvane/schema/ozy.h>

#include "tools/orvane/command.h"
#include "tools/orvane/commonOptions.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/methodRun.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/parallelRuns.h"
#include "tools/orvane/printer.h"
#include "tools/orvane/resultText.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/taskReader.h"
#include "tools/orvane/taskWatch.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/timeCell.h"

namespace orvaneCli {

namespace {

constexpr size_t kMostAtOnce = 100;

std::string TextAt(GObject *object, const char *path) {
    const GPtr<char> text(orvane_object_get_path_text(object, path));
    return text ? text.get() : "";
}

std::string FaultOf(GObject *info) {
    SkemaQormMethodFault *fault = nullptr;
    g_object_get(info, "error", &fault, nullptr);
    const ObjectPtr<SkemaQormMethodFault> owner(fault);
    return fault != nullptr ? FaultText(fault) : "";
}

ObjectPtr<GObject> InfoOf(SkemaQormManagedObject *task) {
    GObject *info = nullptr;
    g_object_get(task, "info", &info, nullptr);
    return ObjectPtr<GObject>(info);
}

/* "cancelled" is not a state of the service's own. */
std::string StateOf(GObject *info) {
    gboolean isCancelled = FALSE;
    g_object_get(info, "cancelled", &isCancelled, nullptr);
    return isCancelled ? "cancelled" : TextAt(info, "state");
}

/* -- ls ------------------------------------------------------------------------------------------ */

int RunList(const Service &service) {
    Printer printer({{.key = "task", .title = Text(MSGID("column.task") "TASK"), .isWhole = true},
                     {.key = "state", .title = Text(MSGID("column.state") "STATE")},
                     {.key = "progress", .title = "%", .isRight = true},
                     {.key = "name", .title = Text(MSGID("column.task.name") "WHAT")},
                     {.key = "entity", .title = Text(MSGID("column.entity") "OBJECT")},
                     {.key = "queued", .title = Text(MSGID("column.queued") "QUEUED")}},
                    {.hasHeading = !service.IsQuiet()});
    for (const ProxyPtr &task : ReadRecentTasks(service)) {
        const ObjectPtr<GObject> info = InfoOf(task.get());
        if (!info)
            continue; /* the service removed it meanwhile */
        gint percent = 0;
        g_object_get(info.get(), "progress", &percent, nullptr);
        const std::string entity = TextAt(info.get(), "entityName");
        printer.Row({TextCell(task->id), TextCell(StateOf(info.get())), NumberCell(percent),
                     TextCell(TextAt(info.get(), "descriptionId")),
                     entity.empty() ? NothingCell() : TextCell(entity),
                     TimeCell(TextAt(info.get(), "queueTime"))});
    }
    printer.End();
    return kDone;
}

/* -- tasks that are named ------------------------------------------------------------------------ */

std::vector<ProxyPtr> FindTasks(const Service &service, const std::vector<std::string> &words) {
    ObjectFinder finder(service);
    std::vector<ProxyPtr> tasks;
    for (const std::string &word : words) {
        ProxyPtr object = finder.Find(word, SKEMA_TYPE_OZY_TASK);
        if (!SKEMA_IS_OZY_TASK(object.get()))
            throw BadUsage(Text(MSGID("task.none") "\"%s\" is a %s, not a task",
                                Printable(word).c_str(),
                                TypeWord(G_OBJECT_TYPE(object.get())).c_str()));
        tasks.push_back(std::move(object));
    }
    return tasks;
}

std::string JsonOf(GObject *info) {
    GError *error = nullptr;
    return OwnJson(orvane_object_to_json(info, ORVANE_JSON_COMPACT, &error), error);
}

int RunShow(const Service &service, const std::vector<std::string> &words) {
    Printer printer(
        {{.key = "name", .title = Text(MSGID("column.property") "PROPERTY"), .isWhole = true},
         {.key = "value", .title = Text(MSGID("column.value") "VALUE")}},
        {.hasHeading = !service.IsQuiet()});
    for (const ProxyPtr &task : FindTasks(service, words)) {
        ReadObject(service, task.get(), {"info"});
        const ObjectPtr<GObject> info = InfoOf(task.get());
        if (!info)
            throw Failure(Text(MSGID("task.noInfo") "%s: the service does not describe the task",
                               Printable(task->id).c_str()));
        if (IsJsonWanted()) {
            printer.Row({NothingCell(), NothingCell()}, JsonOf(info.get()));
            continue;
        }
        for (const SchemaFieldInfo &field : FieldsOf(G_OBJECT_TYPE(info.get()))) {
            const std::string text = field.name == "error" ? FaultOf(info.get())
                                                           : TextAt(info.get(), field.name.c_str());
            if (!text.empty())
                printer.Row({TextCell(field.name), TextCell(text)});
        }
    }
    printer.End();
    return kDone;
}

int RunWait(const Service &service, const std::vector<std::string> &words, int limitSeconds) {
    std::vector<std::unique_ptr<TaskWatch>> watches;
    std::vector<ParallelRun> runs;
    for (ProxyPtr &task : FindTasks(service, words)) {
        watches.push_back(std::make_unique<TaskWatch>(service, std::move(task), limitSeconds));
        TaskWatch *watch = watches.back().get();
        runs.push_back({.name = watch->TaskId(),
                        .start = [watch] { watch->Start(); },
                        .isOver = [watch] { return watch->IsOver(); },
                        .percent = [watch] { return watch->Percent(); },
                        .succeed = [watch] { watch->Succeed(); },
                        .taskId = [watch] { return watch->TaskId(); }});
    }
    RunInParallel(runs, {.most = kMostAtOnce,
                         .hasBars = !service.IsQuiet(),
                         .isQuiet = service.IsQuiet(),
                         .done = Text(MSGID("run.done") "done")});
    return kDone;
}

int RunCancel(const Service &service, const std::vector<std::string> &words) {
    const MethodPtr method(orvane_method_info_new(SKEMA_TYPE_OZY_TASK, "CancelTask"));
    std::vector<ProxyPtr> tasks = FindTasks(service, words);
    std::vector<std::unique_ptr<MethodRun>> calls;
    std::vector<ParallelRun> runs;
    for (const ProxyPtr &task : tasks) {
        calls.push_back(std::make_unique<MethodRun>(service, Printable(task->id), TaskOptions()));
        MethodRun *call = calls.back().get();
        runs.push_back(
            {.name = task->id,
             .start = [call, &method, &task] { call->Start(*method, task.get(), nullptr, 0); },
             .isOver = [call] { return call->IsOver(); },
             .percent = [] { return 0; },
             .succeed = [call] { call->Succeed(); },
             .taskId = [&task] { return std::string(task->id); }});
    }
    RunInParallel(runs, {.most = kMostAtOnce,
                         .hasBars = false,
                         .isQuiet = service.IsQuiet(),
                         .done = Text(MSGID("task.cancelling") "is being cancelled")});
    return kDone;
}

CLI::App *AddWithTasks(CLI::App &task, const char *name, const std::string &help,
                       TaskCommandOptions &options) {
    CLI::App *command = task.add_subcommand(name, help);
    command
        ->add_option("tasks", options.tasks,
                     Text(MSGID("help.task.ids") "Ids of tasks, such as task-7"))
        ->required();
    AddServiceOptions(*command, options);
    return command;
}

} // namespace

void AddTask(CLI::App &program, TaskCommandOptions &options, int &status) {
    CLI::App *task =
        program.add_subcommand("task", Text(MSGID("help.task") "List, follow and cancel tasks"));
    task->require_subcommand(1);
    task->footer(FooterText(
        "", {"orvane task ls", "orvane task wait $(orvane call vm-102 PowerOnVM_Task --no-wait)"}));
    const auto set = [&](CLI::App *command, std::function<int(const Service &)> work) {
        command->callback([&options, &status, work] {
            status = RunCommand([&] {
                return WithService(options, [&](const Service &service) { return work(service); });
            });
        });
    };
    CLI::App *list = task->add_subcommand(
        "ls", Text(MSGID("help.task.ls") "List the tasks that the service remembers"));
    AddServiceOptions(*list, options);
    set(list, RunList);
    set(AddWithTasks(*task, "show", Text(MSGID("help.task.show") "Show all that is known of tasks"),
                     options),
        [&](const Service &service) { return RunShow(service, options.tasks); });
    set(AddWithTasks(*task, "cancel",
                     Text(MSGID("help.task.cancel") "Ask the service to end tasks"), options),
        [&](const Service &service) { return RunCancel(service, options.tasks); });
    CLI::App *wait = AddWithTasks(*task, "wait",
                                  Text(MSGID("help.task.wait") "Wait for the end of tasks, without "
                                                               "a limit unless there is --timeout"),
                                  options);
    wait->callback([&] {
        const int limit = GetCommonOptions().timeoutSeconds;
        status = RunCommand([&] {
            return WithService(options, [&](const Service &service) {
                return RunWait(service, options.tasks, limit);
            });
        });
    });
}

} // namespace orvaneCli
