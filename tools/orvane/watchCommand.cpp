#include "tools/orvane/watchCommand.h"

#include <glib-unix.h>
#include <unistd.h>

#include <algorithm>

#include <orvane/schema/ozy.h>

#include "tools/orvane/command.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/message.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/sourcePtr.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/watchView.h"

namespace orvaneCli {

namespace {

constexpr int kMostSeconds = 1000000;
constexpr int kMostSecondsToProbe = 10; /* a dead service is noticed within twice that */

/* What is shown of objects of a class unless the user says what. */
std::vector<std::string> UsualProperties(GType type) {
    if (g_type_is_a(type, SKEMA_TYPE_OZY_TASK))
        return {"info.name", "info.state", "info.progress"};
    if (!g_type_is_a(type, SKEMA_TYPE_OZY_MANAGED_ENTITY))
        throw BadUsage(
            Text(MSGID("watch.noProperties") "-k PROPERTY-PATH is required for an object "
                                             "that is not in the inventory"));
    if (!g_type_is_a(type, SKEMA_TYPE_OZY_VIRTUAL_MACHINE))
        return {"name", "overallStatus"};
    const bool hasPower =
        HasFirstProperty(SKEMA_TYPE_OZY_VIRTUAL_MACHINE_RUNTIME_INFO, "powerState");
    return {"name", hasPower ? "runtime.powerState" : "guestHeartbeatStatus", "overallStatus"};
}

/* The nearest class that all are of. */
GType CommonClass(GType one, GType other) {
    while (!g_type_is_a(other, one))
        one = g_type_parent(one);
    return one;
}

struct Plan {
    std::vector<WatchTarget> targets;
    GType type; /* of the objects in containers */
    std::vector<PropertyPath> properties;
};

Plan MakePlan(const Service &service, const WatchOptions &options) {
    Plan plan;
    plan.type = options.type.empty() ? SKEMA_TYPE_OZY_VIRTUAL_MACHINE
                                     : FindClass(options.type, SKEMA_TYPE_OZY_MANAGED_ENTITY);
    ObjectFinder finder(service);
    std::vector<std::string> words = options.paths;
    if (words.empty())
        words.emplace_back("/");
    GType common = 0;
    for (const std::string &word : words) {
        ProxyPtr object = finder.Find(word);
        const bool isContainer =
            SKEMA_IS_OZY_MANAGED_ENTITY(object.get()) && IsContainer(service, object.get());
        const GType ofObject = isContainer ? plan.type : G_OBJECT_TYPE(object.get());
        for (const std::string &path : options.properties)
            CheckPropertyPath(ofObject, path);
        common = common == 0 ? ofObject : CommonClass(common, ofObject);
        plan.targets.push_back({std::move(object), isContainer});
    }
    for (const std::string &path :
         options.properties.empty() ? UsualProperties(common) : options.properties)
        plan.properties.push_back(CheckPropertyPath(common, path));
    return plan;
}

/* The request for updates is sent again and again to a service that does not answer; a call fails. */
void Probe(const Service &service) {
    SkemaQormManagedObject *instance = nullptr;
    g_object_get(service.Session(), "serviceInstance", &instance, nullptr);
    const ProxyPtr owner(instance);
    if (!owner)
        return; /* the session is ending, which the caller notices */
    Operation call(Text(MSGID("watch.probe") "following the objects"), service.TimeoutSeconds());
    skema_ozy_service_instance_current_time(SKEMA_OZY_SERVICE_INSTANCE(instance), call.Listener());
    call.Succeed();
}

gboolean OnOutputClosed(gint, GIOCondition, gpointer) {
    NoteClosedOutput();
    return G_SOURCE_REMOVE;
}

/* Until the time is over; throws if the service or the output ends before, or at a signal. */
void Wait(const Service &service, const ObjectWatch &watch, int seconds) {
    const auto isOver = [&] { return watch.IsOver() || OutputError() != 0; };
    /* a pipe whose reader has gone is noticed without a change, too */
    const SourcePtr closed(g_unix_fd_source_new(STDOUT_FILENO, G_IO_ERR));
    g_source_set_callback(closed.get(), G_SOURCE_FUNC(OnOutputClosed), nullptr, nullptr);
    g_source_attach(closed.get(), nullptr);
    const int interval = std::min(service.TimeoutSeconds(), kMostSecondsToProbe);
    int left = seconds;
    while (!RunUntil(isOver, seconds > 0 ? std::min(left, interval) : interval)) {
        left -= interval;
        watch.Check();
        if (seconds > 0 && left <= 0)
            break;
        if (!service.Reconnects()) /* otherwise the library notices, and tries again */
            Probe(service);
    }
    if (OutputError() != 0)
        throw OutputFailure();
    watch.Check();
    if (watch.IsInterrupted())
        throw LostFailure();
}

void WatchInPlace(const Service &service, const Plan &plan, int seconds) {
    WatchTable view(plan.properties);
    {
        /* whatever ends it, the cursor is below the table before that is reported */
        struct EndOfTable {
            WatchTable &table;
            ~EndOfTable() { table.End(); }
        } const end{view};
        ObjectWatch watch(service, view);
        watch.Start(plan.targets, plan.type, plan.properties);
        Wait(service, watch, seconds);
    }
}

void WatchByLines(const Service &service, const Plan &plan, int seconds) {
    const OutputForm form = GetOutputForm();
    WatchLines view(plan.properties,
                    form == OutputForm::kPlain ? OutputForm::kPlain : OutputForm::kJsonLines);
    ObjectWatch watch(service, view);
    watch.Start(plan.targets, plan.type, plan.properties);
    Wait(service, watch, seconds);
}

int RunWatch(WatchOptions &options) {
    return WithService(options, [&](Service &service) {
        const Plan plan = MakePlan(service, options);
        const bool isTable = GetOutputForm() == OutputForm::kTable && Terminal().TakesMoves();
        if (isTable)
            WatchInPlace(service, plan, options.seconds);
        else
            WatchByLines(service, plan, options.seconds);
        return kDone;
    });
}

} // namespace

void AddWatch(CLI::App &program, WatchOptions &options, int &status) {
    CLI::App *watch = program.add_subcommand(
        "watch", Text(MSGID("help.watch") "Follow objects: a table on a terminal, otherwise a line "
                                          "of JSON for each change"));
    watch->footer(FooterText(
        Text(MSGID("help.watch.footer") "Of a folder, or another object that contains others, the "
                                        "objects below are followed, also those that come later. "
                                        "Each line of JSON has \"time\", \"event\" (entered, "
                                        "ready, changed, left), the object and the properties. "
                                        "With --output plain it has tabs between time, event, id, "
                                        "property and value. With --reconnect there are also "
                                        "reconnecting (with \"attempt\" and \"seconds\") and "
                                        "reconnected, after which all objects enter again before "
                                        "the next ready."),
        {"orvane watch --profile lab",
         "orvane watch --profile lab /Datacenter/vm -k name -k runtime.powerState",
         "orvane watch --profile lab --type HostSystem --for 60 | jq .event",
         "orvane watch --profile lab Task:task-7",
         "orvane watch --profile lab --reconnect --output jsonl >>events"}));
    watch->add_option("path", options.paths,
                      Text(MSGID("help.watch.path") "Path, id or name of an object; / without it"));
    watch
        ->add_option("-k,--property", options.properties,
                     Text(MSGID("help.watch.property") "Property path to follow; may be repeated"))
        ->allow_extra_args(false);
    watch->add_option("--type", options.type,
                      Text(MSGID("help.watch.type") "Class of the objects below a folder; "
                                                    "VirtualMachine without it"));
    watch
        ->add_option("--for", options.seconds,
                     Text(MSGID("help.watch.for") "End after so many seconds"))
        ->check(CLI::Range(1, kMostSeconds));
    watch->add_flag("--reconnect", options.login.reconnects,
                    Text(MSGID("help.watch.reconnect") "Connect and log in again when the service "
                                                       "was lost, as often as needed"));
    AddServiceOptions(*watch, options);
    watch->callback([&] { status = RunCommand([&] { return RunWatch(options); }); });
}

} // namespace orvaneCli
