#include "tools/orvane/methodHelp.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <orvane/orvane.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/methodRun.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/printer.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Json = nlohmann::ordered_json;

/* A row of the table. */
struct HelpRow {
    std::string name;
    GType type;
    GType elementType;
    bool isLikely;      /* the type is probable, not stated */
    const char *needed; /* for JSON */
    std::string release;
};

constexpr char kNeeded[] = "yes";
constexpr char kNotNeeded[] = "no";
constexpr char kNeedOpen[] = "depends";

const char *NeedOf(int flags) {
    if (flags & ORVANE_ARGUMENT_REQUIRED)
        return kNeeded;
    return flags & ORVANE_ARGUMENT_OPTIONAL ? kNotNeeded : kNeedOpen;
}

std::string NeedText(const char *needed) {
    if (needed == kNeeded)
        return Text(MSGID("need.yes") "yes");
    return needed == kNotNeeded ? Text(MSGID("need.no") "no") : Text(MSGID("need.open") "depends");
}

std::vector<std::string> WordsOf(const HelpRow &row) {
    return orvaneCli::WordsOf(row.elementType != 0 ? row.elementType : row.type);
}

/* "ArrayUpdateOperation: add, remove, edit" */
std::string TypeText(const HelpRow &row) {
    std::string text = TypeWord(row.type, row.elementType);
    if (const std::vector<std::string> words = WordsOf(row); !words.empty())
        text += fmt::format(": {}", fmt::join(words, ", "));
    return row.isLikely ? Text(MSGID("type.likely") "%s, probably", text.c_str()) : text;
}

void AddFields(std::vector<HelpRow> &rows, const std::string &prefix, GType type) {
    for (const SchemaFieldInfo &field : FieldsOf(type))
        rows.push_back({prefix + field.name, field.type, field.elementType, false,
                        field.isOptional ? kNotNeeded : kNeeded, field.release});
}

std::vector<HelpRow> RowsOf(const OrvaneMethodInfo &method) {
    std::vector<HelpRow> rows;
    for (guint i = 0; i < method.numArguments; i++) {
        const OrvaneArgumentInfo &argument = method.arguments[i];
        const bool isList = argument.elementType != 0;
        rows.push_back({argument.name, argument.type, argument.elementType,
                        (argument.flags & ORVANE_ARGUMENT_LIKELY) != 0, NeedOf(argument.flags),
                        ""});
        AddFields(rows, std::string(argument.name) + (isList ? "[]." : "."),
                  isList ? argument.elementType : argument.type);
    }
    return rows;
}

Json JsonOf(const std::vector<HelpRow> &rows) {
    Json all = Json::array();
    for (const HelpRow &row : rows) {
        Json each = {{"name", row.name},
                     {"type", TypeWord(row.type, row.elementType)},
                     {"isTypeStated", !row.isLikely},
                     {"needed", row.needed}};
        if (const std::vector<std::string> words = WordsOf(row); !words.empty())
            each["words"] = words;
        if (!row.release.empty())
            each["release"] = row.release;
        all.push_back(std::move(each));
    }
    return all;
}

void Show(const std::vector<HelpRow> &rows, const std::string &title) {
    Printer printer({{.key = "name", .title = title, .isWhole = true},
                     {.key = "type", .title = Text(MSGID("column.type") "TYPE")},
                     {.key = "needed", .title = Text(MSGID("column.needed") "NEEDED")},
                     {.key = "release", .title = Text(MSGID("column.release") "RELEASE")}});
    for (const HelpRow &row : rows)
        printer.Row({TextCell(row.name), TextCell(TypeText(row)), TextCell(NeedText(row.needed)),
                     TextCell(row.release)});
    printer.End();
}

void ShowMethod(const OrvaneMethodInfo &method) {
    Terminal terminal;
    terminal.Heading(
        Text(MSGID("method.title") "%s of %s", method.name, TypeWord(method.owner).c_str()));
    if (ReturnsTask(method))
        terminal.Line(Text(MSGID("method.task") "Starts a task, whose end is waited for."));
    else if (method.resultType == G_TYPE_NONE)
        terminal.Line(Text(MSGID("method.nothing") "Returns nothing."));
    else
        terminal.Line(Text(MSGID("method.returns") "Returns: %s",
                           TypeWord(method.resultType, method.resultElementType).c_str()));
    if (method.numArguments == 0)
        terminal.Line(Text(MSGID("method.noArguments") "It has no arguments."));
    else
        Show(RowsOf(method), Text(MSGID("column.argument") "ARGUMENT"));
}

void ShowMethods(const std::vector<MethodPtr> &methods) {
    Json all = Json::array();
    for (const MethodPtr &method : methods) {
        if (!IsJsonWanted()) {
            ShowMethod(*method);
            continue;
        }
        all.push_back({{"name", method->name},
                       {"class", TypeWord(method->owner)},
                       {"returns", TypeWord(method->resultType, method->resultElementType)},
                       {"arguments", JsonOf(RowsOf(*method))}});
    }
    if (IsJsonWanted())
        WriteJson(all);
}

void ShowClass(GType type) {
    std::vector<HelpRow> rows;
    AddFields(rows, "", type);
    if (rows.empty())
        throw BadUsage(Text(MSGID("class.noMethod") "%s is a data object, not a method; %s",
                            TypeWord(type).c_str(), NoFieldsText(type).c_str()));
    if (IsJsonWanted())
        WriteJson(JsonOf(rows));
    else
        Show(rows, Text(MSGID("column.property") "PROPERTY"));
}

} // namespace

std::string NoFieldsText(GType type) {
    return Text(MSGID("class.noFields") "the schema has no properties of %s; an overlay adds them: "
                                        "\"orvane schema import\", ORVANE_SCHEMA_OVERLAY",
                TypeWord(type).c_str());
}

void ShowSchemaHelp(const std::string &word) {
    std::vector<MethodPtr> methods;
    for (const GType type : ClassesWithMethod(word))
        methods.emplace_back(orvane_method_info_new(type, word.c_str()));
    if (!methods.empty())
        return ShowMethods(methods);
    const GType type = orvane_lookup_type(word.c_str());
    if (g_type_is_a(type, SKEMA_TYPE_QORM_DATA_OBJECT))
        return ShowClass(type);
    std::vector<std::string> known = AllMethodNames();
    for (std::string &name : DataClassNames())
        known.push_back(std::move(name));
    const std::string nearest = NearestWord(word, known);
    const std::string shown = Printable(word);
    if (nearest.empty())
        throw BadUsage(
            Text(MSGID("method.unknown") "the schema has no method or data object \"%s\"",
                 shown.c_str()));
    throw BadUsage(
        Text(MSGID("method.similar") "the schema has no method or data object \"%s\"; did "
                                     "you mean \"%s\"?",
             shown.c_str(), nearest.c_str()));
}

BadUsage NoMethod(const std::string &word, GType type) {
    const std::string shown = Printable(word);
    const std::string className = TypeWord(type);
    const std::string nearest = NearestWord(word, MethodNamesOf(type));
    if (!nearest.empty())
        return BadUsage(Text(MSGID("method.similarOfClass") "%s has no method \"%s\"; did you mean "
                                                            "\"%s\"?",
                             className.c_str(), shown.c_str(), nearest.c_str()));
    return BadUsage(Text(MSGID("method.unknownOfClass") "%s has no method \"%s\"",
                         className.c_str(), shown.c_str()));
}

} // namespace orvaneCli
