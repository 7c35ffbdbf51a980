#include <orvane/privilege.h>

#include <array>

#include "lib/misc/glibPtr.h"
#include "lib/misc/keyedHash.h"

namespace {

/* Identifiers that begin with the same word; the list has the rest of each. */
struct PrivilegeGroup {
    const char *name;
    const char *words;
};

constexpr auto kGroups = std::to_array<PrivilegeGroup>({
    {"Global", "ManageCustomFields SetCustomField LogEvent CancelTask Diagnostics Settings "
               "FulcrumServer CapacityPlanning ScriptAction Proxy DisableMethods EnableMethods "
               "ServiceManagers Health SystemTag GlobalTag"},
    {"Folder", "Create Rename Move"},
    {"Datacenter", "Create Rename Move IpPoolConfig IpPoolReleaseIp IpPoolQueryAllocations "
                   "Reconfigure"},
    {"ApiProxy", "Service"},
    {"Datastore", "Rename Move Browse DeleteFile FileManagement AllocateSpace Config "
                  "UpdateVirtualMachineFiles UpdateVirtualMachineMetadata"},
    {"Network", "Move Config Assign"},
    {"DVSwitch", "Create Modify HostOp PolicyOp PortConfig PortSetting Move Rillet "
                 "ResourceManagement"},
    {"DVPortgroup", "Create Modify PolicyOp ScopeOp"},
    {"Host", "Inventory.AddStandaloneHost Inventory.CreateCluster Inventory.AddHostToCluster "
             "Inventory.MoveCluster Inventory.RenameCluster Inventory.EditCluster "
             "Inventory.MoveHost Ferrule.FerruleManagement Config.AuthenticationStore "
             "Config.SystemManagement Config.Connection Config.Maintenance Config.AutoStart "
             "Config.HyperThreading Config.Storage Config.NetService Config.Memory "
             "Config.Network Config.AdvancedConfig Config.Resources Config.Snmp "
             "Config.DateTime Config.PciPassthru Config.Settings Config.Patch Config.Firmware "
             "Config.Power Config.Image Local.InstallAgent Local.ManageUserGroups "
             "Local.CreateVM Local.ReconfigVM Local.DeleteVM Local.RelayoutSnapshots "
             "Local.ExtractNvramContent Cim.CimInteraction Amqp.AmqpInteraction"},
    {"VirtualMachine",
     "Inventory.Create Inventory.CreateFromExisting Inventory.Register "
     "Inventory.Delete Inventory.Unregister Inventory.Move Interact.PowerOn "
     "Interact.PowerOff Interact.Suspend Interact.Reset Interact.Pause "
     "Interact.AnswerQuestion Interact.ConsoleInteract Interact.DeviceConnection "
     "Interact.SetCDMedia Interact.SetFloppyMedia Interact.ToolsInstall "
     "Interact.GuestControl Interact.DefragmentAllDisks Interact.CreateSecondary "
     "Interact.TurnOffFaultTolerance Interact.MakePrimary "
     "Interact.TerminateFaultTolerantVM Interact.DisableSecondary "
     "Interact.EnableSecondary Interact.Record Interact.Replay Interact.Backup "
     "Interact.CreateScreenshot Interact.PutUsbScanCodes Interact.SESparseMaintenance "
     "Interact.DnD GuestOperations.Query GuestOperations.Modify "
     "GuestOperations.Execute GuestOperations.QueryAliases "
     "GuestOperations.ModifyAliases Config.Rename Config.Annotation "
     "Config.AddExistingDisk Config.AddNewDisk Config.RemoveDisk Config.RawDevice "
     "Config.HostUSBDevice Config.CPUCount Config.Memory Config.AddRemoveDevice "
     "Config.EditDevice Config.Settings Config.Resource Config.UpgradeVirtualHardware "
     "Config.ResetGuestInfo Config.AdvancedConfig Config.DiskLease "
     "Config.SwapPlacement Config.DiskExtend Config.ChangeTracking Config.Unlock "
     "Config.QueryUnownedFiles Config.ReloadFromPath Config.QueryFTCompatibility "
     "Config.MksControl Config.ManagedBy State.CreateSnapshot State.RevertToSnapshot "
     "State.RemoveSnapshot State.RenameSnapshot Ferrule.ConfigureReplication "
     "Ferrule.ReplicaManagement Ferrule.MonitorReplication Provisioning.Customize "
     "Provisioning.Clone Provisioning.PromoteDisks Provisioning.CreateTemplateFromVM "
     "Provisioning.DeployTemplate Provisioning.CloneTemplate "
     "Provisioning.MarkAsTemplate Provisioning.MarkAsVM Provisioning.ReadCustSpecs "
     "Provisioning.ModifyCustSpecs Provisioning.DiskRandomAccess "
     "Provisioning.DiskRandomRead Provisioning.GetVmFiles Provisioning.PutVmFiles "
     "Namespace.Management Namespace.Query Namespace.ModifyContent "
     "Namespace.ReadContent Namespace.Event Namespace.EventNotify"},
    {"VRMPolicy", "Query Update"},
    {"Resource", "AssignVMToPool AssignTesselToPool ApplyRecommendation CreatePool RenamePool "
                 "EditPool MovePool DeletePool HotMigrate ColdMigrate QueryGlidepath"},
    {"Alarm", "Create Delete Edit Acknowledge SetStatus DisableActions"},
    {"Task", "Create Update"},
    {"ScheduledTask", "Create Delete Run Edit"},
    {"Sessions", "TerminateSession ValidateSession GlobalMessage ImpersonateUser"},
    {"Performance", "ModifyIntervals"},
    {"Authorization", "ModifyRoles ReassignRolePermissions ModifyPermissions"},
    {"Extension", "Register Update Unregister"},
    {"Hook", "DeclareHookService RemoveHookService AcquireHook ReleaseHook "
             "UpdatePreCallbackResult ExecuteHookPreCallback ExecuteHookPostCallback"},
    {"Tessel", "ResourceConfig InstanceConfig ApplicationConfig ManagedByConfig Export Import "
               "ExtractOvfEnvironment AssignVM AssignResourcePool AssignTessel Clone Create "
               "Delete Unregister Move PowerOn PowerOff Suspend Rename"},
    {"Profile", "Create Delete Edit View Clear Export"},
    {"EAM", "Config Modify View"},
    {"StoragePod", "Config"},
    {"VmCheckTestletManager", "Config View"},
    {"Certificate", "Manage"},
});

} // namespace

GHashTable *skema_privilege_create_table(void) {
    GHashTable *table = g_hash_table_new_full(KeyedHash_Text, g_str_equal, g_free, nullptr);
    g_return_val_if_fail(table != NULL, nullptr);
    for (const PrivilegeGroup &group : kGroups) {
        const StrvPtr words(g_strsplit(group.words, " ", -1));
        for (gchar **word = words.get(); *word != nullptr; word++)
            g_hash_table_replace(table, g_strconcat(group.name, ".", *word, nullptr),
                                 GINT_TO_POINTER(FALSE));
    }
    return table;
}

void skema_privilege_update(GHashTable *table, const char *identifier, gboolean granted) {
    g_return_if_fail(table != nullptr && identifier != nullptr);
    g_hash_table_replace(table, g_strdup(identifier), GINT_TO_POINTER(granted));
}

gint skema_privilege_check(GHashTable *table, const char *identifier) {
    g_return_val_if_fail(table != nullptr && identifier != nullptr, 0);
    return GPOINTER_TO_INT(g_hash_table_lookup(table, identifier));
}
