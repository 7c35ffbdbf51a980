#include "ozy/lib/schemaText/schemaRecover.h"

#include <unordered_map>

#include "ozy/lib/schemaRows/versionTexts.h"
#include "ozy/lib/schemaText/schemaNames.h"

namespace {

struct Recovery {
    const SchemaTables &tables;
    SchemaModel *model;

    std::string_view text(guint32 offset) const { return tables.text + offset; }
};

SchemaForm FormOf(SchemaKind kind) {
    switch (kind) {
    case SCHEMA_KIND_DATA:
        break;
    case SCHEMA_KIND_FAULT:
        return SCHEMA_FORM_FAULT;
    case SCHEMA_KIND_MANAGED:
        return SCHEMA_FORM_MANAGED;
    case SCHEMA_KIND_ENUM:
        return SCHEMA_FORM_ENUM;
    }
    return SCHEMA_FORM_DATA;
}

TableTypeRef TypeRefOf(const Recovery &from, SchemaValueKind kind, guint16 type, guint8 flags) {
    TableTypeRef ref;
    if (type != kSchemaNoType)
        ref.name = from.text(from.tables.types[type].wireName);
    else
        ref.name = SchemaNames_BuiltInWord(kind);
    ref.isUnknown = kind == SCHEMA_VALUE_UNKNOWN;
    ref.isArray = flags & SCHEMA_ARRAY;
    ref.isOptional = flags & SCHEMA_OPTIONAL;
    ref.isLikely = flags & SCHEMA_LIKELY;
    ref.isRequired = flags & SCHEMA_REQUIRED;
    return ref;
}

/* Behind "Skema" and the namespace. */
std::string_view PathOf(const Recovery &from, const SchemaTypeRow &row) {
    std::string_view name = from.text(row.name);
    name.remove_prefix(SchemaNames_Root(row.ns).size());
    return name;
}

/* GObject's classes are below no type of the schema. */
std::string_view BaseOf(const Recovery &from, const SchemaTypeRow &row) {
    if (row.base != kSchemaNoType)
        return from.text(from.tables.types[row.base].wireName);
    if (row.kind == SCHEMA_KIND_ENUM)
        return "";
    return row.kind == SCHEMA_KIND_MANAGED ? "GInitiallyUnowned" : "GObject";
}

/* An unknown release is left empty where that is allowed; an overlay may then state it. */
void RecoverFields(const Recovery &from, const SchemaTypeRow &row, TableType *type) {
    const bool isOpen = row.flags & (SCHEMA_TYPE_PARTIAL | SCHEMA_TYPE_UNDATED);
    for (guint i = 0; i < row.count; i++) {
        const SchemaFieldRow &field = from.tables.fields[row.first + i];
        TableField recovered;
        recovered.name = from.text(field.name);
        recovered.type = TypeRefOf(from, field.kind, field.type, field.flags);
        if (field.version != 0)
            recovered.version = kVersionTexts[field.version];
        else
            recovered.version = isOpen ? "" : "all";
        type->fields.push_back(std::move(recovered));
    }
}

void RecoverWords(const Recovery &from, const SchemaTypeRow &row, TableType *type) {
    for (guint i = 0; i < row.count; i++)
        type->words.push_back({{}, std::string(from.text(from.tables.words[row.first + i].word))});
}

void RecoverType(const Recovery &from, const SchemaTypeRow &row) {
    TableType type;
    type.form = FormOf(row.kind);
    type.ns = row.ns;
    type.isUnlisted = row.flags & SCHEMA_TYPE_UNLISTED;
    type.isPartial = row.flags & SCHEMA_TYPE_PARTIAL;
    type.name = from.text(row.wireName);
    type.base = BaseOf(from, row);
    type.path = PathOf(from, row);
    if (row.kind == SCHEMA_KIND_ENUM) {
        RecoverWords(from, row, &type);
    } else {
        if (!(row.flags & (SCHEMA_TYPE_PARTIAL | SCHEMA_TYPE_UNDATED)))
            type.version = "all";
        RecoverFields(from, row, &type);
    }
    from.model->types.push_back(std::move(type));
}

void RecoverMethods(const Recovery &from) {
    for (guint i = 0; i < from.tables.numMethods; i++) {
        const SchemaMethodRow &row = from.tables.methods[i];
        TableMethod method;
        method.wireName = from.text(row.wireName);
        method.result = TypeRefOf(from, row.resultKind, row.resultType, row.resultFlags);
        for (guint j = 0; j < row.numArguments; j++) {
            const SchemaArgumentRow &argument = from.tables.arguments[row.firstArgument + j];
            method.arguments.push_back(
                {{},
                 std::string(from.text(argument.name)),
                 TypeRefOf(from, argument.kind, argument.type, argument.flags)});
        }
        from.model->types[row.owner].methods.push_back(std::move(method));
    }
}

/* The constants of an enumeration begin with the path of the class that encloses it. */
void RecoverEnclosing(const Recovery &from) {
    std::unordered_map<std::string, guint32> classes;
    for (guint32 i = 0; i < from.tables.numTypes; i++)
        classes.emplace(SchemaNames_ConstantPath(from.text(from.tables.types[i].name)), i);

    for (guint32 i = 0; i < from.tables.numTypes; i++) {
        const SchemaTypeRow &row = from.tables.types[i];
        if (row.kind != SCHEMA_KIND_ENUM || row.count == 0)
            continue;
        const SchemaWordRow &word = from.tables.words[row.first];
        std::string_view path = from.text(word.identifier);
        path.remove_suffix(from.text(word.word).size() + 1);
        const auto found = classes.find(std::string(path));
        if (found != classes.end() && found->second != i)
            from.model->types[i].enclosing = from.model->types[found->second].name;
    }
}

} // namespace

SchemaModel SchemaRecover_Run(const SchemaTables &tables) {
    SchemaModel model;
    model.files.emplace_back("the built-in schema");
    model.types.reserve(tables.numTypes);
    const Recovery from{tables, &model};
    for (guint32 i = 0; i < tables.numTypes; i++)
        RecoverType(from, tables.types[i]);
    RecoverMethods(from);
    RecoverEnclosing(from);
    return model;
}
