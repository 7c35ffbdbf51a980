#include "tools/orvane/demo.h"

#include <chrono>
#include <memory>
#include <optional>

#include <fmt/format.h>
#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

#include "tools/certificates/certificateKind.h"
#include "tools/orvane/connection.h"
#include "tools/orvane/inventoryTree.h"
#include "tools/orvane/library.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/terminal.h"
#include "tools/simulator/simulator.h"

namespace orvaneCli {

namespace {

constexpr size_t kShownProperties = 8;
constexpr char kNoSuchMachine[] = "vm-0";

/* Shows each property of an object that changes, while this lives. */
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
        self->terminal.Line(fmt::format("  {} {} = {}",
                                        self->terminal.Styled(Style::kGood, "update"),
                                        property->name, text.empty() ? "(nothing)" : text));
    }

    Terminal &terminal;
    GObject *object;
    gulong handler;
    int numUpdates = 0;
};

class Demo {
public:
    explicit Demo(const DemoOptions &demoOptions) : options(demoOptions) {}
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
    bool MaySwitch() const { return IsEmbedded() || !options.machine.empty(); }
    SkemaOzyVirtualMachine *Machine() { return SKEMA_OZY_VIRTUAL_MACHINE(machine.get()); }

    const DemoOptions &options;
    Terminal terminal;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::string url;
    TrustOptions trustOptions;

    /* in this order: the last is released first */
    std::unique_ptr<simulator::Simulator> simulator;
    std::optional<Library> library;
    ObjectPtr<OrvaneSession> session;
    std::optional<ServiceTrust> trust;
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
        throw Failure(fmt::format("the simulator does not start on 127.0.0.1:{}: {}", options.port,
                                  error.what()));
    }
    url = simulator->Url();
    if (options.isTls)
        trustOptions.pin = simulator->Certificate()->Leaf().thumbprint256;
}

void Demo::LogIn() {
    session.reset(orvane_session_new());
    trust.emplace(trustOptions, url);
    Connect(session.get(), {url, options.user, options.password, options.timeoutSeconds}, *trust);

    const GPtrArray *versions = orvane_session_get_all_versions(session.get());
    terminal.Heading("Connected", fmt::format("{} as {}", url, options.user));
    if (url.starts_with("https:"))
        terminal.Line("  " + trust->Summary());
    terminal.Line(fmt::format("  negotiated {}, which includes {} versions",
                              orvane_session_get_version(session.get()),
                              versions ? versions->len : 0));
}

void Demo::ReadInventory() {
    GObject *content = nullptr;
    g_object_get(session.get(), "serviceInstanceContent", &content, nullptr);
    const ObjectPtr<GObject> contentOwner(content);
    GObject *about = nullptr;
    SkemaQormManagedObject *root = nullptr;
    if (content)
        g_object_get(content, "about", &about, "rootFolder", &root, nullptr);
    const ObjectPtr<GObject> aboutOwner(about);
    const ObjectPtr<SkemaQormManagedObject> rootOwner(root);
    if (!about || !root)
        throw Failure("the service does not name its root folder");
    gchar *fullName = nullptr;
    g_object_get(about, "fullName", &fullName, nullptr);
    terminal.Line(fmt::format("  {}", fullName ? fullName : "(a service without a name)"));
    g_free(fullName);

    inventory = InventoryTree::Read(session.get(), root, options.timeoutSeconds);
    if (IsEmbedded() && inventory->Count("VirtualMachine") != size_t(options.machines))
        throw Failure(fmt::format("{} machines were read instead of {}",
                                  inventory->Count("VirtualMachine"), options.machines));
    terminal.Heading("Inventory",
                     fmt::format("{}; {} running", inventory->Summary(), inventory->NumRunning()));
    inventory->Show(terminal);
}

void Demo::LoadMachine() {
    const Entity *found = inventory->FindMachine(options.machine);
    if (!found)
        throw Failure(options.machine.empty()
                          ? "no machine is switched off"
                          : fmt::format("there is no machine \"{}\"", options.machine));
    machine.reset(G_OBJECT(g_object_ref(found->object.get())));
    machineName = found->name;

    Operation load("loading " + machineName, options.timeoutSeconds);
    orvane_session_load_object(session.get(), FALSE,
                               reinterpret_cast<SkemaQormManagedObject *>(machine.get()),
                               load.Listener());
    load.Succeed();
    ShowProperties();
}

void Demo::ShowProperties() {
    terminal.Heading(machineName, "kept up to date from now on");
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
        throw Failure(machineName + ": none of its properties came");
}

/* Follows a task to its end with a bar. */
void Demo::RunTask(Operation &task, const char *label) {
    int last = -1;
    terminal.Progress(label, 0);
    task.OnProgress([&](int percent) { terminal.Progress(label, last = percent); });
    try {
        task.Succeed();
    } catch (const Failure &) {
        terminal.EndProgress(Style::kBad, "failed");
        throw;
    }
    terminal.EndProgress(Style::kGood, "done");
    if (!orvane_listener_is_task(task.Listener()) || (IsEmbedded() && last != 100))
        throw Failure(fmt::format("{}: its progress did not come ({} %)", label, last));
}

void Demo::SwitchOn() {
    terminal.Heading("A task", "progress and property updates come from the update stream");
    Watch watch(terminal, machine.get());
    Operation task("switching on " + machineName, options.timeoutSeconds);
    skema_ozy_virtual_machine_power_on(Machine(), nullptr, task.Listener());
    RunTask(task, "PowerOnVM_Task");
    if (!RunUntil([&] { return watch.NumUpdates() > 0; }, options.timeoutSeconds))
        throw Failure(machineName + ": no update came");
}

void Demo::FailTask() {
    terminal.Heading("Faults", "typed, from a task and from a call");
    Operation task("switching it on twice", options.timeoutSeconds);
    skema_ozy_virtual_machine_power_on(Machine(), nullptr, task.Listener());
    const ObjectPtr<SkemaQormMethodFault> fault = task.Fail();
    if (IsEmbedded() && ClassName(fault.get()) != "InvalidPowerState")
        throw Failure("the task failed with another fault: " + FaultText(fault.get()));
    terminal.Line("  " + terminal.Styled(Style::kBad, FaultText(fault.get())));
}

void Demo::FailCall() {
    Operation call("calling an object that is not there", options.timeoutSeconds);
    const ObjectPtr<SkemaQormManagedObject> nobody(SKEMA_QORM_MANAGED_OBJECT(g_object_ref_sink(
        orvane_session_get_object(session.get(), kNoSuchMachine, SKEMA_TYPE_OZY_VIRTUAL_MACHINE))));
    skema_ozy_managed_entity_reload(SKEMA_OZY_MANAGED_ENTITY(nobody.get()), call.Listener());
    const ObjectPtr<SkemaQormMethodFault> fault = call.Fail();
    if (ClassName(fault.get()) != "ManagedObjectNotFound")
        throw Failure("the call failed with another fault: " + FaultText(fault.get()));
    terminal.Line("  " + terminal.Styled(Style::kBad, FaultText(fault.get())));
}

void Demo::SwitchOff() {
    Operation task("switching off " + machineName, options.timeoutSeconds);
    skema_ozy_virtual_machine_power_off(Machine(), task.Listener());
    RunTask(task, "PowerOffVM_Task");
}

void Demo::Disconnect() {
    orvane_session_unload_object(session.get(),
                                 reinterpret_cast<SkemaQormManagedObject *>(machine.get()), FALSE);
    Operation disconnect("logging out", options.timeoutSeconds);
    orvane_session_disconnect(session.get(), disconnect.Listener());
    disconnect.Succeed();
    if (orvane_session_get_state(session.get()) != ORVANE_SESSION_DISCONNECTED)
        throw Failure("the session is still connected");
    if (IsEmbedded() && simulator->NumSessions() != 0)
        throw Failure("the service still has a session");
    terminal.Heading("Logged out");
}

void Demo::Summarize() {
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    std::string text = fmt::format("  {:.1f} s", taken.count());
    if (IsEmbedded())
        text += fmt::format(", {} calls on {} connections, {} bytes sent, {} received",
                            simulator->NumCalls(), simulator->NumConnections(),
                            simulator->BytesIn(), simulator->BytesOut());
    terminal.Line(text);
    terminal.Line(terminal.Styled(Style::kGood, "All of it worked."));
}

void Demo::Run() {
    url = options.url;
    trustOptions = options.trust;
    if (url.empty())
        StartSimulator();
    library.emplace();
    LogIn();
    ReadInventory();
    LoadMachine();
    if (MaySwitch()) {
        SwitchOn();
        FailTask();
    } else {
        terminal.Heading("No task", "--machine NAME says which one may be switched on and off");
    }
    FailCall();
    if (MaySwitch())
        SwitchOff();
    Disconnect();
    Summarize();
}

} // namespace

int RunDemo(const DemoOptions &options) {
    try {
        Demo(options).Run();
        return 0;
    } catch (const Failure &failure) {
        fflush(stdout);
        fmt::print(stderr, "orvane: {}\n", failure.what());
        return 1;
    }
}

} // namespace orvaneCli
