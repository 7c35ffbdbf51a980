#include "tools/simulator/authorization.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "tools/simulator/estate.h"
#include "tools/simulator/service.h"

namespace simulator {

namespace {

using Result = std::optional<std::string>;

constexpr char kManagerId[] = "AuthorizationManager";

/* Privileges of administrators. */
constexpr auto kPrivileges = std::to_array<const char *>({"Global.CancelTask",
                                                          "Global.Diagnostics",
                                                          "Global.LogEvent",
                                                          "Global.ManageCustomFields",
                                                          "Global.SetCustomField",
                                                          "Global.Settings",
                                                          "Folder.Create",
                                                          "Folder.Move",
                                                          "Folder.Rename",
                                                          "Datacenter.Create",
                                                          "Datacenter.Move",
                                                          "Datacenter.Rename",
                                                          "Datacenter.Reconfigure",
                                                          "Datastore.AllocateSpace",
                                                          "Datastore.Browse",
                                                          "Datastore.DeleteFile",
                                                          "Datastore.FileManagement",
                                                          "Datastore.Rename",
                                                          "Network.Assign",
                                                          "Network.Config",
                                                          "Host.Config.Connection",
                                                          "Host.Config.Maintenance",
                                                          "Host.Config.Network",
                                                          "Host.Config.Storage",
                                                          "Host.Inventory.AddHostToCluster",
                                                          "Host.Inventory.CreateCluster",
                                                          "Host.Inventory.EditCluster",
                                                          "VirtualMachine.Config.CPUCount",
                                                          "VirtualMachine.Config.EditDevice",
                                                          "VirtualMachine.Config.Memory",
                                                          "VirtualMachine.Config.Rename",
                                                          "VirtualMachine.Config.Settings",
                                                          "VirtualMachine.Interact.PowerOff",
                                                          "VirtualMachine.Interact.PowerOn",
                                                          "VirtualMachine.Interact.Reset",
                                                          "VirtualMachine.Interact.Suspend",
                                                          "VirtualMachine.Inventory.Create",
                                                          "VirtualMachine.Inventory.Delete",
                                                          "VirtualMachine.Inventory.Move",
                                                          "VirtualMachine.Inventory.Register",
                                                          "VirtualMachine.Inventory.Unregister",
                                                          "VirtualMachine.Provisioning.Clone",
                                                          "VirtualMachine.Provisioning.Customize",
                                                          "VirtualMachine.State.CreateSnapshot",
                                                          "VirtualMachine.State.RemoveSnapshot",
                                                          "VirtualMachine.State.RevertToSnapshot",
                                                          "Resource.AssignVMToPool",
                                                          "Resource.CreatePool",
                                                          "Resource.HotMigrate",
                                                          "Task.Create",
                                                          "Task.Update",
                                                          "Sessions.GlobalMessage",
                                                          "Sessions.ImpersonateUser",
                                                          "Sessions.TerminateSession",
                                                          "Sessions.ValidateSession",
                                                          "Authorization.ModifyPermissions",
                                                          "Authorization.ModifyRoles",
                                                          "Authorization.ReassignRolePermissions"});

Value Role(int id, const std::string &name, const std::vector<std::string> &privileges,
           bool isBuiltIn) {
    return Structure("AuthorizationRole", {{"roleId", Int(id)},
                                           {"system", Truth(isBuiltIn)},
                                           {"name", Text(name)},
                                           {"privilege", Texts(privileges)}});
}

std::vector<std::string> AllPrivileges() {
    std::vector<std::string> all(kPrivileges.begin(), kPrivileges.end());
    for (const char *name : {"System.Anonymous", "System.Read", "System.View"})
        all.emplace_back(name);
    return all;
}

bool IsGranted(const User &user, const std::string &privilege) {
    if (user.readOnly)
        return privilege.starts_with("System.");
    return std::ranges::find(kPrivileges, privilege) != kPrivileges.end() ||
           privilege.starts_with("System.");
}

Value RoleList(const Service &service) {
    return service.inventory.Find(kManagerId)->Get("roleList");
}

/* Replaces the role with the id; a null value removes it. Throws a fault if there is none or it is fixed. */
void ReplaceRole(Service &service, int id, const Value &role) {
    auto list = std::make_shared<ValueData>(*RoleList(service));
    const auto at = std::ranges::find_if(list->items, [&](const Value &item) {
        return FieldOf(item, "roleId")->text == std::to_string(id);
    });
    if (at == list->items.end())
        throw Fault("NotFound", fmt::format("There is no role {}.", id));
    if (FieldOf(*at, "system")->text == "true")
        throw InvalidArgument("roleId", "The role cannot be changed.");
    if (role)
        *at = role;
    else
        list->items.erase(at);
    service.inventory.Set(service.inventory.Find(kManagerId), "roleList", list);
}

Result AddRole(Service &service, const CallPtr &call) {
    int next = 1;
    for (const Value &role : RoleList(service)->items)
        next = std::max(next, std::stoi(FieldOf(role, "roleId")->text) + 1);
    const Value role = Role(next, ReadText(call->Arguments(), "name"),
                            ReadTexts(call->Arguments(), "privIds"), false);
    service.inventory.Set(call->target, "roleList", WithItem(RoleList(service), role));
    return Returned(Int(next));
}

Result UpdateRole(Service &service, const CallPtr &call) {
    const int id = ReadInt(call->Arguments(), "roleId");
    ReplaceRole(service, id,
                Role(id, ReadText(call->Arguments(), "newName"),
                     ReadTexts(call->Arguments(), "privIds"), false));
    return "";
}

Result RemoveRole(Service &service, const CallPtr &call) {
    ReplaceRole(service, ReadInt(call->Arguments(), "roleId"), nullptr);
    return "";
}

Result HasPrivilege(Service &service, const CallPtr &call) {
    const Element &arguments = call->Arguments();
    service.Require(ReadReference(arguments, "entity"), "ManagedEntity");
    const SessionPtr session = service.sessions.Find(ReadText(arguments, "sessionId"));
    if (!session)
        throw InvalidArgument("sessionId", "There is no such session.");
    std::string text;
    for (const std::string &privilege : ReadTexts(arguments, "privId"))
        text += Returned(Truth(IsGranted(session->user, privilege)));
    return text;
}

constexpr auto kMethods = std::to_array<MethodRow>({
    {"AuthorizationManager", "AddAuthorizationRole", AddRole, Access::Change},
    {"AuthorizationManager", "UpdateAuthorizationRole", UpdateRole, Access::Change},
    {"AuthorizationManager", "RemoveAuthorizationRole", RemoveRole, Access::Change},
    {"AuthorizationManager", "HasPrivilegeOnEntity", HasPrivilege, Access::Session, "ozy25/5.5"},
});

} // namespace

std::vector<Field> AuthorizationProperties() {
    const std::vector<Value> roles = {
        Role(kAdminRole, "Admin", AllPrivileges(), true),
        Role(kReadOnlyRole, "ReadOnly", {"System.Anonymous", "System.Read", "System.View"}, true)};
    return {{"roleList", List("AuthorizationRole", roles)},
            {"description", Structure("AuthorizationDescription", {})}};
}

std::span<const MethodRow> AuthorizationMethods() {
    return kMethods;
}

} // namespace simulator
