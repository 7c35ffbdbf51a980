/*
 * typeRows.h -- the table of the classes of managed objects that the simulator knows
 */
#pragma once

#include <array>
#include <string_view>

namespace simulator {

struct TypeRow {
    std::string_view name;
    std::string_view base;
    std::string_view properties; /* without those of its base, each followed by a space */
};

inline constexpr auto kTypes = std::to_array<TypeRow>({
    {"ManagedObject", "", ""},
    {"ExtensibleManagedObject", "ManagedObject", "value availableField "},
    {"ManagedEntity", "ExtensibleManagedObject",
     "parent customValue overallStatus configStatus configIssue effectiveRole permission name "
     "disabledMethod recentTask declaredAlarmState triggeredAlarmState alarmActionsEnabled tag "},
    {"Folder", "ManagedEntity", "childType childEntity "},
    {"Datacenter", "ManagedEntity",
     "vmFolder hostFolder datastoreFolder networkFolder datastore network configuration "},
    {"ComputeResource", "ManagedEntity",
     "resourcePool host datastore network summary environmentBrowser configurationEx "},
    {"ClusterComputeResource", "ComputeResource",
     "configuration recommendation tillerRecommendation migrationHistory actionHistory "
     "tillerFault "},
    {"ResourcePool", "ManagedEntity",
     "summary runtime owner resourcePool vm config childConfiguration "},
    {"HostSystem", "ManagedEntity",
     "runtime summary hardware capability configManager config vm datastore network "
     "datastoreBrowser systemResources "},
    {"VirtualMachine", "ManagedEntity",
     "capability config layout layoutEx storage environmentBrowser resourcePool parentTessel "
     "resourceConfig runtime guest guestInstallManager summary datastore network snapshot "
     "rootSnapshot configLocked guestHeartbeatStatus "},
    {"VirtualMachineSnapshot", "ExtensibleManagedObject", "config childSnapshot vm "},
    {"Datastore", "ManagedEntity", "info summary host vm browser capability iormConfiguration "},
    {"Network", "ManagedEntity", "summary host vm "},
    {"Task", "ExtensibleManagedObject", "info "},
    {"TaskManager", "ManagedObject", "recentTask description maxCollector "},
    {"ServiceInstance", "ManagedObject", "serverClock capability content "},
    {"SessionManager", "ManagedObject",
     "sessionList currentSession message messageLocaleList supportedLocaleList defaultLocale "},
    {"AuthorizationManager", "ManagedObject", "privilegeList roleList description "},
    {"PropertyCollector", "ManagedObject", "filter "},
    {"PropertyFilter", "ManagedObject", "spec partialUpdates "},
    {"View", "ManagedObject", ""},
    {"ManagedObjectView", "View", "view "},
    {"ContainerView", "ManagedObjectView", "container type recursive "},
    {"ListView", "ManagedObjectView", ""},
    {"ViewManager", "ManagedObject", "viewList "},
    {"SearchIndex", "ManagedObject", ""},
    {"OptionManager", "ManagedObject", "supportedOption setting "},
    {"UserDirectory", "ManagedObject", "domainList "},
    {"ServiceManager", "ManagedObject", "service "},
    {"PerformanceManager", "ManagedObject", "description historicalInterval perfCounter "},
    {"ScheduledTaskManager", "ManagedObject", "scheduledTask description "},
    {"AlarmManager", "ManagedObject", "defaultExpression description lastTriggerId "},
    {"EventManager", "ManagedObject", "description latestEvent maxCollector "},
    {"ExtensionManager", "ManagedObject", "extensionList "},
    {"CustomizationSpecManager", "ManagedObject", "info encryptionKey "},
    {"CustomFieldsManager", "ManagedObject", "field "},
    {"DiagnosticManager", "ManagedObject", ""},
    {"FileManager", "ManagedObject", ""},
    {"VirtualDiskManager", "ManagedObject", ""},
    {"OvfManager", "ManagedObject", "ovfImportOption ovfExportOption "},
    {"StorageResourceManager", "ManagedObject", ""},
    {"FerryServiceInstance", "ManagedObject", "content currentTime "},
    {"FerrySessionManager", "ManagedObject",
     "sessionList currentSession messageLocaleList supportedLocaleList defaultLocale "},
    {"FerryTaskManager", "ManagedObject",
     "description maxTask maxConnection recentTask maxCollector "},
    {"FerryManagedEntity", "ManagedObject", "overallStatus name "},
    {"FerryServerJobJob", "FerryManagedEntity", "info spec extraInfo "},
    {"FerryServerConversionConversionJob", "FerryServerJobJob", "info spec "},
    {"FerryServerConversionConversionFolder", "FerryManagedEntity", "job "},
    {"FerryServerConversionConversionManager", "ManagedObject", "rootFolder maxCollector "},
});

} // namespace simulator
