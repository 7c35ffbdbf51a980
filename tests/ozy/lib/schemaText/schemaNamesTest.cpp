#include "ozy/lib/schemaText/schemaNames.h"

#include "tests/ozy/lib/schemaText/readSchema.h"

namespace {

/* The C names of the last type of a table. */
SchemaTypeNames NamesOfLast(const std::string &table) {
    const ReadSchema read = Read(table);
    EXPECT_THAT(read.errors.messages, ElementsAre()) << table;
    return SchemaNames_Make(read.model, SchemaIndex_Make(read.model)).back();
}

TEST(SchemaNames, SnakeBreaksOnlyBehindASmallLetter) {
    const std::pair<const char *, const char *> rows[] = {
        {"", ""},
        {"SkemaOzyTaskInfo", "skema_ozy_task_info"},
        {"ForceTwoGBSplitDisks", "force_two_gbsplit_disks"},
        {"ImportDestination64BitSupportFault", "import_destination64_bit_support_fault"},
        {"AgentInternalIDE2SCSIDeviceMappingAlert", "agent_internal_ide2scsidevice_mapping_alert"},
        {"RawDiskVer2BackingInfo", "raw_disk_ver2_backing_info"},
        {"ipV6Address", "ip_v6address"},
        {"findAllByDnsName", "find_all_by_dns_name"},
        {"2A", "2a"},
    };
    for (const auto &[camel, snake] : rows)
        EXPECT_EQ(snake, SchemaNames_Snake(camel)) << camel;
}

TEST(SchemaNames, TypesAreNamedByNamespaceKindAndPath) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"namespace ozy\ndata TaskInfo : D", "SkemaOzyTaskInfo", "skema_ozy_task_info"},
        {"namespace qorm\ndata PropertyFilterSpec : D = CorePropertyCollectorFilterSpec",
         "SkemaQormCorePropertyCollectorFilterSpec",
         "skema_qorm_core_property_collector_filter_spec"},
        {"namespace ozy\nfault OzyFault : M", "SkemaOzyFaultOzyFault", "skema_ozy_fault_ozy_fault"},
        {"namespace qorm\nfault MethodFault : GObject = MethodFault", "SkemaQormMethodFault",
         "skema_qorm_method_fault"},
        {"namespace ozy\nfault Outer : M\ndata OuterPart in Outer : D", "SkemaOzyFaultOuterPart",
         "skema_ozy_fault_outer_part"},
        {"namespace ozy\ndata Outer : M\nenum OuterKind in Outer\n  a", "SkemaOzyOuterKind",
         "skema_ozy_outer_kind"},
        {"namespace ferry\ndata FerryTask : D", "SkemaFerryTask", "skema_ferry_task"},
        {"namespace ferry\nfault FerryFerryFault : R", "SkemaFerryFaultFerryFault",
         "skema_ferry_fault_ferry_fault"},
        {"namespace ferry\ndata AgentInternalComputerSpec : D",
         "SkemaFerryAgentInternalComputerSpec", "skema_ferry_agent_internal_computer_spec"},
        {"namespace ozy\ndata FerryLike : D", "SkemaOzyFerryLike", "skema_ozy_ferry_like"},
    };
    for (const auto &[table, type, prefix] : rows) {
        const SchemaTypeNames names = NamesOfLast(table);
        EXPECT_EQ(type, names.type) << table;
        EXPECT_EQ(prefix, names.prefix) << table;
    }
}

TEST(SchemaNames, ConstantsFollowTheEnclosingTypeOrTheEnumeration) {
    const std::pair<const char *, const char *> rows[] = {
        {"namespace qorm\n"
         "data PropertyChange : D = CorePropertyCollectorChange\n"
         "enum PropertyChangeOp in PropertyChange = CorePropertyCollectorChangeOp\n"
         "  indirectRemove",
         "SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_INDIRECTREMOVE"},
        {"namespace ozy\nfault Bad : M\nenum BadReason in Bad\n  tooOld",
         "SKEMA_OZY_FAULT_BAD_TOOOLD"},
        {"namespace ozy\nenum EventCategory\n  info", "SKEMA_OZY_EVENT_CATEGORY_INFO"},
        {"namespace ferry\nenum FerryKind\n  NO_OS", "SKEMA_FERRY_KIND_NO_OS"},
    };
    for (const auto &[table, constant] : rows)
        EXPECT_THAT(NamesOfLast(table).constants, ElementsAre(constant));
}

} // namespace
