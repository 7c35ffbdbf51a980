#include "tools/orvane/powerCommand.h"

#include <array>
#include <memory>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/orvane/command.h"
#include "tools/orvane/commonOptions.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/methodHelp.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/parallelRuns.h"
#include "tools/orvane/question.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

constexpr int kMostParallel = 100;
constexpr size_t kMostNamed = 10; /* machines in a question */

struct Action {
    const char *word;
    const char *method;
    const char *help;
    const char *question; /* NULL: nothing is lost */
};
constexpr auto kActions = std::to_array<Action>({
    {"on", "PowerOnVM_Task", MSGID("help.power.on") "Switch machines on", nullptr},
    {"off", "PowerOffVM_Task",
     MSGID("help.power.off") "Switch machines off, without notice to their systems",
     MSGID("power.off.sure") "Switch them off: yes or no?"},
    {"reset", "ResetVM_Task",
     MSGID("help.power.reset") "Switch machines off and on, without notice to their systems",
     MSGID("power.reset.sure") "Reset them: yes or no?"},
    {"suspend", "SuspendVM_Task", MSGID("help.power.suspend") "Suspend machines", nullptr},
});

/* What a system loses when its machine is switched off is asked about. */
void MakeSure(const Action &action, const PowerOptions &options) {
    if (action.question == nullptr || options.isSure || options.isDry)
        return;
    if (!CanAsk())
        throw BadUsage(Text(
            MSGID("power.needsYes") "power %s needs --yes where nobody can be asked", action.word));
    std::string names;
    for (size_t i = 0; i < options.machines.size() && i < kMostNamed; i++)
        names += "  " + Printable(options.machines[i]) + "\n";
    if (options.machines.size() > kMostNamed)
        names += Text(MSGID("power.more") "  and %d more\n",
                      static_cast<int>(options.machines.size() - kMostNamed));
    enum { kYes, kNo };
    static const char *const kButtons[] = {MSGID("button.yes") "yes", MSGID("button.no") "no",
                                           nullptr};
    if (Choose(kButtons, kNo, names, action.question) != kYes)
        throw Failure(Text(MSGID("power.notDone") "nothing was done"));
}

/* One machine and its call. */
struct Machine {
    ProxyPtr object;
    MethodPtr method;
    std::unique_ptr<MethodRun> run;
};

void WriteRequests(const std::vector<Machine> &machines, const PowerOptions &options) {
    auto all = nlohmann::ordered_json::array();
    for (size_t i = 0; i < machines.size(); i++)
        all.push_back(
            {{"name", options.machines[i]},
             {"request", RequestText(*machines[i].method, machines[i].object.get(), nullptr, 0)}});
    if (IsJsonWanted())
        return WriteJson(all);
    for (const auto &each : all)
        WriteOutput(each["request"].get<std::string>() + "\n");
}

int RunPower(const Action &action, PowerOptions &options) {
    MakeSure(action, options);
    options.task.limitSeconds = GetCommonOptions().timeoutSeconds;
    return WithService(options, [&](const Service &service) {
        ObjectFinder finder(service);
        std::vector<Machine> machines; /* all are found before the first is switched */
        for (const std::string &word : options.machines) {
            ProxyPtr object = finder.Find(word);
            const GType type = G_OBJECT_TYPE(object.get());
            MethodPtr method(orvane_method_info_new(type, action.method));
            if (!method)
                throw NoMethod(action.method, type);
            machines.push_back(
                {std::move(object), std::move(method),
                 std::make_unique<MethodRun>(service, Printable(word), options.task)});
        }
        if (options.isDry) {
            WriteRequests(machines, options);
            return kDone;
        }
        std::vector<ParallelRun> runs;
        for (size_t i = 0; i < machines.size(); i++) {
            const Machine &machine = machines[i];
            MethodRun *run = machine.run.get();
            runs.push_back({.name = options.machines[i],
                            .start =
                                [&machine] {
                                    machine.run->Start(*machine.method, machine.object.get(),
                                                       nullptr, 0);
                                },
                            .isOver = [run] { return run->IsOver(); },
                            .percent = [run] { return run->Percent(); },
                            .succeed = [run] { run->Succeed(); },
                            .taskId = [run] { return run->TaskId(); }});
        }
        RunInParallel(runs, {.most = size_t(options.parallel),
                             .hasBars = !service.IsQuiet() && options.task.isTaskWaited,
                             .isQuiet = service.IsQuiet(),
                             .showsTasks = !options.task.isTaskWaited,
                             .done = Text(MSGID("run.done") "done")});
        return kDone;
    });
}

} // namespace

void AddPower(CLI::App &program, PowerOptions &options, int &status) {
    CLI::App *power = program.add_subcommand(
        "power", Text(MSGID("help.power") "Switch machines on or off, reset or suspend them"));
    power->require_subcommand(1);
    power->footer(
        FooterText(Text(MSGID("help.power.footer") "There is no --ferry: the second service of a "
                                                   "host has no machines."),
                   {"orvane power on --parallel 20 /Datacenter/vm/web vm-102",
                    "orvane power off --yes --no-wait vm-102"}));
    for (const Action &action : kActions) {
        CLI::App *command = power->add_subcommand(action.word, PlainText(action.help));
        command
            ->add_option("machines", options.machines,
                         Text(MSGID("help.power.machines") "Paths, ids or names of machines"))
            ->required();
        command
            ->add_option("--parallel", options.parallel,
                         Text(MSGID("help.power.parallel") "Most machines at the same time"))
            ->capture_default_str()
            ->check(CLI::Range(1, kMostParallel));
        if (action.question != nullptr)
            command->add_flag("--yes", options.isSure,
                              Text(MSGID("help.yes") "Do not ask whether it is meant"));
        AddDryRun(*command, options.isDry);
        AddTaskOptions(*command, options.task);
        AddServiceOptions(*command, options);
        command->callback([&action, &options, &status] {
            status = RunCommand([&] { return RunPower(action, options); });
        });
    }
}

} // namespace orvaneCli
