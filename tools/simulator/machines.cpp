/*
 * machines.cpp -- methods of virtual machines and snapshots
 *
 * Clients see a machine's power in "runtime.powerState" (if they know that class's fields), in the
 * heartbeat (green while it runs) and in the methods that its state disables.
 */
#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "tools/simulator/estate.h"
#include "tools/simulator/service.h"

namespace simulator {

namespace {

using Result = std::optional<std::string>;

std::string PowerOf(const ObjectPtr &machine) {
    return FieldOf(machine->Get("runtime"), "powerState")->text;
}

void RequirePower(const ObjectPtr &machine, std::initializer_list<std::string_view> states) {
    const std::string power = PowerOf(machine);
    for (const std::string_view state : states)
        if (power == state)
            return;
    throw Fault(
        "InvalidPowerState",
        fmt::format("The machine is in the state \"{}\", which does not allow this.", power),
        {{"existingState", Enum("VirtualMachinePowerState", power)}});
}

void SetPower(Service &service, const ObjectPtr &machine, const std::string &state) {
    Inventory &inventory = service.inventory;
    inventory.Set(
        machine, "runtime",
        WithField(machine->Get("runtime"), "powerState", Enum("VirtualMachinePowerState", state)));
    const bool isOn = state == "poweredOn";
    inventory.Set(machine, "guestHeartbeatStatus",
                  Enum("ManagedEntityStatus", isOn ? "green" : "gray"));
    inventory.Set(machine, "disabledMethod",
                  isOn ? Texts({"PowerOnVM_Task", "Destroy_Task"}) : Texts({}));
}

Result Start(Service &service, const CallPtr &call, std::function<Value()> effect,
             bool cancelable = true) {
    TaskPlan plan{call->request.method, call->target, call->session->user.name, cancelable,
                  std::move(effect)};
    return Returned(service.tasks.Start(std::move(plan))->Reference());
}

/* A task that changes the power state of a machine. */
Result ChangePower(Service &service, const CallPtr &call,
                   std::initializer_list<std::string_view> from, const std::string &to) {
    const ObjectPtr machine = call->target;
    return Start(service, call, [&service, machine, states = std::vector(from), to]() -> Value {
        const std::string power = PowerOf(machine);
        if (std::ranges::find(states, power) == states.end())
            RequirePower(machine, {});
        SetPower(service, machine, to);
        return nullptr;
    });
}

Result PowerOn(Service &service, const CallPtr &call) {
    return ChangePower(service, call, {"poweredOff", "suspended"}, "poweredOn");
}

Result PowerOff(Service &service, const CallPtr &call) {
    return ChangePower(service, call, {"poweredOn"}, "poweredOff");
}

Result Suspend(Service &service, const CallPtr &call) {
    return ChangePower(service, call, {"poweredOn"}, "suspended");
}

Result Reset(Service &service, const CallPtr &call) {
    return ChangePower(service, call, {"poweredOn"}, "poweredOn");
}

/* The guest acts later by itself, so there is no task. */
Result ShutdownGuest(Service &service, const CallPtr &call) {
    RequirePower(call->target, {"poweredOn"});
    const ObjectPtr machine = call->target;
    service.clock.At(service.clock.Now() + service.options.taskDurationMs, [&service, machine] {
        if (!machine->gone && PowerOf(machine) == "poweredOn")
            SetPower(service, machine, "poweredOff");
        service.Settle();
    });
    return "";
}

Result CreateSnapshot(Service &service, const CallPtr &call) {
    const Element &arguments = call->Arguments();
    const std::string name = ReadText(arguments, "name");
    OptionalText(arguments, "description");
    ReadTruth(arguments, "memory");
    ReadTruth(arguments, "quiesce");
    if (name.empty())
        throw Fault("InvalidName", "A snapshot needs a name.");
    const ObjectPtr machine = call->target;
    return Start(service, call, [&service, machine] {
        const ObjectPtr snapshot = service.inventory.Create(
            "VirtualMachineSnapshot", service.inventory.NextId("snapshot-"),
            {{"vm", machine->Reference()}, {"childSnapshot", References({})}});
        AddToList(service, machine, "rootSnapshot", snapshot);
        return snapshot->Reference();
    });
}

Result RemoveSnapshot(Service &service, const CallPtr &call) {
    ReadTruth(call->Arguments(), "removeChildren");
    const ObjectPtr snapshot = call->target;
    return Start(service, call, [&service, snapshot]() -> Value {
        RemoveFromList(service, service.inventory.Find(snapshot->Get("vm")->text), "rootSnapshot",
                       snapshot);
        service.inventory.Remove(snapshot);
        return nullptr;
    });
}

Result RemoveAllSnapshots(Service &service, const CallPtr &call) {
    const ObjectPtr machine = call->target;
    return Start(service, call, [&service, machine]() -> Value {
        const Value snapshots = machine->Get("rootSnapshot");
        service.inventory.Set(machine, "rootSnapshot", References({}));
        for (const Value &reference : snapshots->items)
            if (const ObjectPtr snapshot = service.inventory.Find(reference->text))
                service.inventory.Remove(snapshot);
        return nullptr;
    });
}

/* Only the name of the description has an effect. The machine is locked while the task runs. */
Result Reconfigure(Service &service, const CallPtr &call) {
    const Element &spec = ReadElement(call->Arguments(), "spec");
    const std::string name = OptionalText(spec, "name");
    const ObjectPtr machine = call->target;
    service.inventory.Set(machine, "configLocked", Truth(true));
    return Start(service, call, [&service, machine, name]() -> Value {
        service.inventory.Set(machine, "configLocked", Truth(false));
        if (!name.empty())
            service.inventory.Set(machine, "name", Text(name));
        return nullptr;
    });
}

Result Clone(Service &service, const CallPtr &call) {
    const ObjectPtr folder = service.Require(ReadReference(call->Arguments(), "folder"), "Folder");
    const std::string name = ReadText(call->Arguments(), "name");
    return Start(service, call, [&service, folder, name] {
        if (folder->gone)
            throw ObjectNotFound(folder->type, folder->id);
        return AddMachine(service, folder, name)->Reference();
    });
}

Result Unregister(Service &service, const CallPtr &call) {
    RequirePower(call->target, {"poweredOff", "suspended"});
    RemoveEntity(service, call->target);
    return "";
}

constexpr auto kMethods = std::to_array<MethodRow>({
    {"VirtualMachine", "PowerOnVM_Task", PowerOn, Access::Change},
    {"VirtualMachine", "PowerOffVM_Task", PowerOff, Access::Change},
    {"VirtualMachine", "SuspendVM_Task", Suspend, Access::Change},
    {"VirtualMachine", "ResetVM_Task", Reset, Access::Change},
    {"VirtualMachine", "ShutdownGuest", ShutdownGuest, Access::Change},
    {"VirtualMachine", "CreateSnapshot_Task", CreateSnapshot, Access::Change},
    {"VirtualMachine", "RemoveAllSnapshots_Task", RemoveAllSnapshots, Access::Change},
    {"VirtualMachine", "ReconfigVM_Task", Reconfigure, Access::Change},
    {"VirtualMachine", "CloneVM_Task", Clone, Access::Change},
    {"VirtualMachine", "UnregisterVM", Unregister, Access::Change},
    {"VirtualMachineSnapshot", "RemoveSnapshot_Task", RemoveSnapshot, Access::Change},
});

} // namespace

std::span<const MethodRow> MachineMethods() {
    return kMethods;
}

} // namespace simulator
