/*
 * schemaNames.h -- the C names of what the schema's tables name
 *
 *   fault AgentInstallFailed            SkemaOzyFaultAgentInstallFailed,
 * skema_ozy_fault_agent_install_failed data  FerryDiskInfo                 SkemaFerryDiskInfo
 *   CreateSnapshot_Task                 skema_ozy_virtual_machine_create_snapshot
 *   enum  TaskInfoState in TaskInfo     SKEMA_OZY_TASK_INFO_QUEUED
 *
 * A type is "Skema", its namespace, "Fault" for a fault or a type inside one, and its wire
 * name (ferry drops a leading "Ferry"); "= Path" replaces all behind the namespace. Prefixes are
 * the snake case of that. A stub is the prefix of its class and the snake case of the wire name
 * without "_Task", or the name after "= stub". A constant is the prefix, in capitals, of the class that
 * encloses the enumeration, or else of the enumeration, and the word in capitals.
 *
 * Threads: no state.
 */
#pragma once

#include <optional>
#include <unordered_map>

#include "ozy/lib/schemaText/schemaText.h"

/* Wire name -> place in SchemaModel::types. The keys point into the model, which must stay as it
 * is. */
using SchemaIndex = std::unordered_map<std::string_view, guint32>;

/* Where two types have one name, the first has it. */
SchemaIndex SchemaIndex_Make(const SchemaModel &model);

/* The type of a name, or NULL. */
const TableType *SchemaIndex_Find(const SchemaIndex &index, const SchemaModel &model,
                                  std::string_view name);

/* The kind of a type that the schema has built in: string, boolean, ... any; nothing for other
 * words. */
std::optional<SchemaValueKind> SchemaNames_BuiltIn(std::string_view word);

/* The word of a kind that is built in; empty for the others. */
std::string_view SchemaNames_BuiltInWord(SchemaValueKind kind);

/* What the C names of a namespace begin with: "SkemaOzy". */
std::string SchemaNames_Root(SchemaNamespace ns);

/* What the constants of an enumeration in a class begin with: "SKEMA_OZY_TASK" of "SkemaOzyTask". */
std::string SchemaNames_ConstantPath(std::string_view typeName);

/* "ForceTwoGBSplitDisks" gives "force_two_gbsplit_disks". */
std::string SchemaNames_Snake(std::string_view camel);
std::string SchemaNames_Upper(std::string_view text);

/* The part of a type's C name behind the namespace: "= Path", or the name by the rule. */
std::string SchemaNames_Path(const TableType &type, bool isInFault);

/* The C names that one type brings. */
struct SchemaTypeNames {
    std::string type;                   /* SkemaOzyTask */
    std::string prefix;                 /* skema_ozy_task */
    std::vector<std::string> stubs;     /* skema_ozy_task_cancel, one a method; empty if only
                                           rows tell of it, which do not say its name */
    std::vector<std::string> constants; /* SKEMA_OZY_TASK_INFO_QUEUED, one a word */
};

SchemaTypeNames SchemaNames_Of(const TableType &type, const SchemaModel &model,
                               const SchemaIndex &index);

/* Those of all types, in the order of the model. */
std::vector<SchemaTypeNames> SchemaNames_Make(const SchemaModel &model, const SchemaIndex &index);

/* "SKEMA_TYPE_OZY_TASK" of "skema_ozy_task" and "TYPE"; "SKEMA_OZY_TASK" with an empty word. */
std::string SchemaNames_Macro(std::string_view prefix, std::string_view word);
