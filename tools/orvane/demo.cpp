#include "tools/orvane/demo.h"

#include <chrono>
#include <memory>
#include <optional>

#include <fmt/format.h>
#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

#include "tools/certificates/certificateKind.h"
#include "tools/orvane/command.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/inventoryTree.h"
#include "tools/orvane/library.h"
#include "tools/orvane/message.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"
#include "tools/simulator/simulator.h"

namespace orvaneCli {

namespace {

constexpr size_t kShownProperties = 8;
constexpr char kNoSuchMachine[] = "vm-0";
constexpr char kUser[] = "administrator";
constexpr char kSimulatorPassword[] = "secret"; /* of that user */
constexpr int kMaxMachines = 100000;
constexpr int kMaxSeconds = 3600;

/* Shows each change of a property of an object while this lives. */
class Watch {
public:
    Watch(Terminal &shownOn, GObject *watched) : terminal(shownOn), object(watched) {
        handler = g_signal_connect(object, "notify", G_CALLBACK(OnNotify), this);
    }
    ~Watch() { g_signal_handler_disconnect(object, handler); }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    int NumUpdates() const { return numUpdates; }

private:
    static void OnNotify(GObject *object, GParamSpec *property, gpointer data) {
        auto *self = static_cast<Watch *>(data);
        self->numUpdates++;
        GValue value = G_VALUE_INIT;
        g_value_init(&value, property->value_type);
        g_object_get_property(object, property->name, &value);
        const std::string text = ValueText(&value);
        g_value_unset(&value);
        self->terminal.Line(fmt::format(
            "  {} {} = {}",
            self->terminal.Styled(Style::kGood, Text(MSGID("demo.update") "update")),
            property->name, text.empty() ? Text(MSGID("demo.nothing") "(nothing)") : text));
    }

    Terminal &terminal;
    GObject *object;
    gulong handler;
    int numUpdates = 0;
};

class Demo {
public:
    explicit Demo(DemoOptions &demoOptions)
        : options(demoOptions), trustOptions(demoOptions.trust) {
        if (options.isQuiet)
            terminal.Silence();
    }
    void Run();

private:
    void StartSimulator();
    void LogIn();
    void ReadInventory();
    void LoadMachine();
    void ShowProperties();
    void SwitchOn();
    void SwitchOff();
    void RunTask(Operation &task, const char *label);
    void FailTask();
    void FailCall();
    void Disconnect();
    void Summarize();

    bool IsEmbedded() const { return simulator != nullptr; }
    OrvaneSession *Session() const { return connection->Session(); }
    bool MaySwitch() const { return IsEmbedded() || !options.machine.empty(); }
    SkemaOzyVirtualMachine *Machine() { return SKEMA_OZY_VIRTUAL_MACHINE(machine.get()); }

    DemoOptions &options;
    Terminal terminal;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    Login login;
    TrustOptions trustOptions;
    Password password;

    /* in this order: the last is released first */
    std::unique_ptr<simulator::Simulator> simulator;
    std::optional<Library> library;
    std::optional<Connection> connection;
    std::optional<InventoryTree> inventory;
    ObjectPtr<GObject> machine;
    std::string machineName;
};

void Demo::StartSimulator() {
    simulator = std::make_unique<simulator::Simulator>(
        simulator::Options{.port = options.port,
                           .machines = options.machines,
                           .taskDurationMs = options.taskMs,
                           .certificateKind = options.isTls ? "self-signed" : ""});
    try {
        simulator->RunInThread();
    } catch (const std::exception &error) {
        simulator.reset();
        throw Failure(Text(MSGID("demo.noSimulator") "the simulator does not start "
                                                     "on 127.0.0.1:%d: %s",
                           options.port, error.what()));
    }
    login.url = simulator->Url();
    password = Password(kSimulatorPassword);
    if (options.isTls)
        trustOptions.pin = simulator->Certificate()->Leaf().thumbprint256;
}

void Demo::LogIn() {
    connection.emplace(login, password, trustOptions);
    const GPtrArray *versions = orvane_session_get_all_versions(Session());
    terminal.Heading(Text(MSGID("demo.connected") "Connected"),
                     Text(MSGID("about.as") "%s as %s", Printable(login.url).c_str(),
                          Printable(login.user).c_str()));
    if (login.url.starts_with("https:"))
        terminal.Line("  " + connection->TrustSummary());
    terminal.Line("  " + Text(MSGID("demo.negotiated") "negotiated %s, which includes %u versions",
                              orvane_session_get_version(Session()), versions ? versions->len : 0));
}

void Demo::ReadInventory() {
    GObject *content = nullptr;
    g_object_get(Session(), "serviceInstanceContent", &content, nullptr);
    const ObjectPtr<GObject> contentOwner(content);
    GObject *about = nullptr;
    SkemaQormManagedObject *root = nullptr;
    if (content)
        g_object_get(content, "about", &about, "rootFolder", &root, nullptr);
    const ObjectPtr<GObject> aboutOwner(about);
    const ObjectPtr<SkemaQormManagedObject> rootOwner(root);
    if (!about || !root)
        throw Failure(Text(MSGID("demo.noRoot") "the service does not name its root folder"));
    gchar *fullName = nullptr;
    g_object_get(about, "fullName", &fullName, nullptr);
    terminal.Line(
        fmt::format("  {}", fullName ? Printable(fullName)
                                     : Text(MSGID("about.noName") "(a service without a name)")));
    g_free(fullName);

    inventory = InventoryTree::Read(Session(), root, login.timeoutSeconds);
    if (IsEmbedded() && inventory->Count("VirtualMachine") != size_t(options.machines))
        throw Failure(Text(MSGID("demo.machineCount") "%d machines were read instead of %d",
                           static_cast<int>(inventory->Count("VirtualMachine")), options.machines));
    terminal.Heading(Text(MSGID("demo.inventory") "Inventory"),
                     Text(MSGID("demo.running") "%s; %d running", inventory->Summary().c_str(),
                          static_cast<int>(inventory->NumRunning())));
    inventory->Show(terminal);
}

void Demo::LoadMachine() {
    const Entity *found = inventory->FindMachine(options.machine);
    if (!found)
        throw Failure(options.machine.empty()
                          ? Text(MSGID("demo.noneOff") "no machine is switched off")
                          : Text(MSGID("demo.noMachine") "there is no machine \"%s\"",
                                 Printable(options.machine).c_str()));
    machine.reset(G_OBJECT(g_object_ref(found->object.get())));
    machineName = Printable(found->name);

    Operation load(Text(MSGID("demo.loading") "loading %s", machineName.c_str()),
                   login.timeoutSeconds);
    orvane_session_load_object(Session(), FALSE,
                               reinterpret_cast<SkemaQormManagedObject *>(machine.get()),
                               load.Listener());
    load.Succeed();
    ShowProperties();
}

void Demo::ShowProperties() {
    terminal.Heading(machineName, Text(MSGID("demo.kept") "kept up to date from now on"));
    guint count = 0;
    const GPtr<GParamSpec *> properties(
        g_object_class_list_properties(G_OBJECT_GET_CLASS(machine.get()), &count));
    size_t shown = 0;
    for (guint i = 0; i < count && shown < kShownProperties; i++) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, properties.get()[i]->value_type);
        g_object_get_property(machine.get(), properties.get()[i]->name, &value);
        const std::string text = ValueText(&value);
        g_value_unset(&value);
        if (text.empty())
            continue;
        terminal.Line(fmt::format("  {:<22}{}", properties.get()[i]->name, text));
        shown++;
    }
    if (shown == 0)
        throw Failure(
            Text(MSGID("demo.noProperty") "%s: no property was received", machineName.c_str()));
}

/* Follows a task to its end with a bar. */
void Demo::RunTask(Operation &task, const char *label) {
    int last = -1;
    terminal.Progress(label, 0);
    task.OnProgress([&](int percent) { terminal.Progress(label, last = percent); });
    try {
        task.Succeed();
    } catch (const Failure &) {
        terminal.EndProgress(Style::kBad, Text(MSGID("demo.failed") "failed"));
        throw;
    }
    terminal.EndProgress(Style::kGood, Text(MSGID("demo.done") "done"));
    if (!orvane_listener_is_task(task.Listener()) || (IsEmbedded() && last != 100))
        throw Failure(
            Text(MSGID("demo.noProgress") "%s: its progress is missing (%d %%)", label, last));
}

void Demo::SwitchOn() {
    terminal.Heading(Text(MSGID("demo.task") "A task"),
                     Text(MSGID("demo.task.remark") "progress and property updates come from "
                                                    "the update stream"));
    Watch watch(terminal, machine.get());
    Operation task(Text(MSGID("demo.on") "switching on %s", machineName.c_str()),
                   login.timeoutSeconds);
    skema_ozy_virtual_machine_power_on(Machine(), nullptr, task.Listener());
    RunTask(task, "PowerOnVM_Task");
    if (!RunUntil([&] { return watch.NumUpdates() > 0; }, login.timeoutSeconds))
        throw Failure(
            Text(MSGID("demo.noUpdate") "%s: no update was received", machineName.c_str()));
}

void Demo::FailTask() {
    terminal.Heading(Text(MSGID("demo.faults") "Faults"),
                     Text(MSGID("demo.faults.remark") "typed, from a task and from a call"));
    Operation task(Text(MSGID("demo.twice") "switching it on twice"), login.timeoutSeconds);
    skema_ozy_virtual_machine_power_on(Machine(), nullptr, task.Listener());
    const ObjectPtr<SkemaQormMethodFault> fault = task.Fail();
    if (IsEmbedded() && ClassName(fault.get()) != "InvalidPowerState")
        throw Failure(Text(MSGID("demo.taskFault") "the task failed with another fault: %s",
                           FaultText(fault.get()).c_str()));
    terminal.Line("  " + terminal.Styled(Style::kBad, FaultText(fault.get())));
}

void Demo::FailCall() {
    Operation call(Text(MSGID("demo.missing") "calling an object that is not there"),
                   login.timeoutSeconds);
    const ObjectPtr<SkemaQormManagedObject> missing(SKEMA_QORM_MANAGED_OBJECT(g_object_ref_sink(
        orvane_session_get_object(Session(), kNoSuchMachine, SKEMA_TYPE_OZY_VIRTUAL_MACHINE))));
    skema_ozy_managed_entity_reload(SKEMA_OZY_MANAGED_ENTITY(missing.get()), call.Listener());
    const ObjectPtr<SkemaQormMethodFault> fault = call.Fail();
    if (ClassName(fault.get()) != "ManagedObjectNotFound")
        throw Failure(Text(MSGID("demo.callFault") "the call failed with another fault: %s",
                           FaultText(fault.get()).c_str()));
    terminal.Line("  " + terminal.Styled(Style::kBad, FaultText(fault.get())));
}

void Demo::SwitchOff() {
    Operation task(Text(MSGID("demo.off") "switching off %s", machineName.c_str()),
                   login.timeoutSeconds);
    skema_ozy_virtual_machine_power_off(Machine(), task.Listener());
    RunTask(task, "PowerOffVM_Task");
}

void Demo::Disconnect() {
    orvane_session_unload_object(Session(),
                                 reinterpret_cast<SkemaQormManagedObject *>(machine.get()), FALSE);
    connection->LogOut();
    if (IsEmbedded() && simulator->NumSessions() != 0)
        throw Failure(Text(MSGID("demo.session") "the service still has a session"));
    terminal.Heading(Text(MSGID("demo.loggedOut") "Logged out"));
}

void Demo::Summarize() {
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::string text = fmt::format("  {:.1f} s", taken.count());
    if (IsEmbedded())
        text += Text(MSGID("demo.traffic") ", %d calls on %d connections, %lld "
                                           "bytes sent, %lld received",
                     static_cast<int>(simulator->NumCalls()),
                     static_cast<int>(simulator->NumConnections()),
                     static_cast<long long>(simulator->BytesIn()),
                     static_cast<long long>(simulator->BytesOut()));
    terminal.Line(text);
    terminal.Line(terminal.Styled(Style::kGood, Text(MSGID("demo.worked") "All of it worked.")));
}

void Demo::Run() {
    const bool isEmbedded = options.login.url.empty() && options.profile.empty();
    if (options.login.user.empty() && options.profile.empty())
        options.login.user = kUser;
    if (!isEmbedded)
        password = CompleteLogin(options);
    login = options.login;
    if (login.timeoutSeconds == 0)
        login.timeoutSeconds = TimeoutSetting();
    if (isEmbedded)
        StartSimulator();
    library.emplace();
    LogIn();
    ReadInventory();
    LoadMachine();
    if (MaySwitch()) {
        SwitchOn();
        FailTask();
    } else {
        terminal.Heading(Text(MSGID("demo.noTask") "No task"),
                         Text(MSGID("demo.noTask.remark") "--machine NAME says which one may be "
                                                          "switched on and off"));
    }
    FailCall();
    if (MaySwitch())
        SwitchOff();
    Disconnect();
    Summarize();
}

int RunDemo(DemoOptions &options) {
    Demo(options).Run();
    return kDone;
}

/* --profile is an option of the program, which excludes none of a command. */
void CheckOptions(const CLI::App &demo, const DemoOptions &options) {
    const bool hasProfile = !options.profile.empty();
    for (const char *name : {"--url", "--machines", "--port", "--task-ms", "--tls"}) {
        if (hasProfile && demo.count(name) > 0)
            throw BadUsage(Text(MSGID("usage.excludes") "%s excludes %s", name, "--profile"));
    }
    const bool isGiven = hasProfile || !options.login.url.empty();
    for (const char *name : {"--password", "--password-stdin", "--pin", "--ca", "--insecure"}) {
        if (!isGiven && demo.count(name) > 0)
            throw BadUsage(Text(MSGID("demo.needsService") "%s needs --url or --profile; "
                                                           "see orvane demo --help",
                                name));
    }
}

} // namespace

void AddDemo(CLI::App &program, DemoOptions &options, int &status) {
    CLI::App *demo = program.add_subcommand(
        "demo", Text(MSGID("help.demo") "Show what the library does, on one screen"));
    demo->footer(FooterText(
        Text(MSGID("help.demo.footer") "Without --url or --profile it starts a simulator of "
                                       "the service inside this program. A given "
                                       "service is only read, unless --machine names one "
                                       "that may be switched. With --quiet it only writes "
                                       "what fails."),
        {"orvane demo --machines 1000 --tls", "orvane demo --profile lab --machine web"}));
    CLI::Option *url = demo->add_option("--url", options.login.url,
                                        Text(MSGID("help.demo.url") "Service to connect to"));
    demo->add_option("--user", options.login.user,
                     Text(MSGID("help.demo.user") "User name; administrator, "
                                                  "unless the profile has one"));
    AddLoginOptions(*demo, options);
    demo->add_option("--machine", options.machine,
                     Text(MSGID("help.demo.machine") "Machine to switch on and off, by its name"));
    demo->add_option("--machines", options.machines,
                     Text(MSGID("help.demo.machines") "Machines in the simulator"))
        ->capture_default_str()
        ->check(CLI::Range(1, kMaxMachines))
        ->excludes(url);
    demo->add_option("--port", options.port,
                     Text(MSGID("help.demo.port") "Loopback port of the "
                                                  "simulator; 0 for a free one"))
        ->capture_default_str()
        ->check(CLI::Range(0, 65535))
        ->excludes(url);
    demo->add_option("--task-ms", options.taskMs,
                     Text(MSGID("help.demo.task") "Duration of the simulator's "
                                                  "tasks, in milliseconds"))
        ->capture_default_str()
        ->check(CLI::Range(0, kMaxSeconds * 1000))
        ->excludes(url);
    demo->add_flag("--tls", options.isTls,
                   Text(MSGID("help.demo.tls") "Let the simulator serve https, "
                                               "and pin its certificate"))
        ->excludes(url);
    demo->callback([&options, &status, demo] {
        status = RunCommand([&] {
            TakeCommonOptions(options);
            CheckOptions(*demo, options);
            return RunDemo(options);
        });
    });
}

} // namespace orvaneCli
