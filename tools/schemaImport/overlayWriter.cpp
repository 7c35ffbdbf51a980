#include "tools/schemaImport/overlayWriter.h"

#include <algorithm>
#include <tuple>

#include <fmt/format.h>

#include "tools/schemaImport/importMethods.h"

namespace schemaImport {

namespace {

constexpr size_t kMaxLine = 100;
constexpr size_t kNameColumn = 17; /* least width of a field's name */
constexpr size_t kTypeColumn = 19;

std::string HeadText(const TableType &type) {
    std::string head = std::string(SchemaForm_Word(type.form)) + " " + type.name;
    if (!type.enclosing.empty())
        head += " in " + type.enclosing;
    if (!type.base.empty())
        head += " : " + type.base;
    if (!type.path.empty())
        head += " = " + type.path;
    if (!type.version.empty())
        head += "  @" + type.version;
    else if (type.isPartial)
        head += " ...";
    return head + "\n";
}

std::string FieldsText(const TableType &type) {
    size_t nameWidth = kNameColumn;
    size_t typeWidth = kTypeColumn;
    for (const TableField &field : type.fields) {
        nameWidth = std::max(nameWidth, field.name.size());
        typeWidth = std::max(typeWidth, RefText(field.type).size());
    }
    std::string text;
    for (const TableField &field : type.fields) {
        const std::string name = RefText(field.type);
        if (field.version.empty())
            text += fmt::format("  {:{}} {}\n", field.name, nameWidth, name);
        else
            text += fmt::format("  {:{}} {:{}} @{}\n", field.name, nameWidth, name, typeWidth,
                                field.version);
    }
    return text;
}

std::string WordsText(const TableType &type) {
    std::string text;
    std::string line = " ";
    for (const TableWord &word : type.words) {
        if (line.size() + 1 + word.word.size() > kMaxLine && line.size() > 1) {
            text += line + "\n";
            line = " ";
        }
        line += " " + word.word;
    }
    return text + line + "\n";
}

/* On one line, or with a line for each argument. */
std::string MethodText(const TableMethod &method) {
    std::string result;
    if (!method.result.name.empty() || method.result.isUnknown)
        result = " " + RefText(method.result);
    std::string line;
    std::string lines;
    for (const TableArgument &argument : method.arguments) {
        const std::string text = argument.name + " " + RefText(argument.type);
        line += (line.empty() ? "" : ", ") + text;
        lines += (lines.empty() ? "\n      " : ",\n      ") + text;
    }
    const std::string head = "  " + method.wireName + "(";
    const bool fits = head.size() + line.size() + 1 + result.size() <= kMaxLine;
    return head + (fits ? line : lines) + ")" + result + "\n";
}

std::string BlockText(const TableType &type) {
    std::string text = HeadText(type);
    if (type.form == SCHEMA_FORM_ENUM)
        return text + WordsText(type);
    text += FieldsText(type);
    for (const TableMethod &method : type.methods)
        text += MethodText(method);
    return text;
}

bool HasMembers(const TableType &type) {
    return !type.fields.empty() || !type.methods.empty() || !type.words.empty();
}

} // namespace

std::string WriteOverlay(const SchemaModel &overlay, const std::string &comment) {
    std::vector<const TableType *> types;
    for (const TableType &type : overlay.types)
        types.push_back(&type);
    const auto section = [](const TableType *type) {
        return std::tuple(type->ns, type->isUnlisted);
    };
    std::ranges::sort(types, {}, [&](const TableType *type) {
        return std::tuple(section(type), type->form, type->name);
    });

    std::string text = "# " + comment + "\n";
    const TableType *before = nullptr;
    for (const TableType *type : types) {
        const bool isNewSection = before == nullptr || section(before) != section(type);
        if (isNewSection)
            text +=
                fmt::format("{}namespace {}{}\n", before == nullptr ? "" : "\n",
                            SchemaNamespace_Word(type->ns), type->isUnlisted ? " unlisted" : "");
        if (isNewSection || HasMembers(*type) || HasMembers(*before))
            text += "\n";
        text += BlockText(*type);
        before = type;
    }
    return text;
}

} // namespace schemaImport
