#include "ozy/lib/schemaText/schemaBuild.h"

#include <algorithm>
#include <numeric>

#include "ozy/lib/schemaRows/nameSlots.h"
#include "ozy/lib/schemaRows/versionTexts.h"

namespace {

struct Builder {
    const SchemaModel &model;
    SchemaIndex index;
    std::vector<SchemaTypeNames> names;
    std::vector<guint16> rows; /* place in SchemaModel::types -> row */
    std::unordered_map<std::string_view, guint32> offsets;
    SchemaBuilt *built;
};

/* All texts that rows refer to. */
std::vector<std::string_view> Texts(const Builder &builder) {
    std::vector<std::string_view> texts = {""};
    for (gsize i = 0; i < builder.model.types.size(); i++) {
        const TableType &type = builder.model.types[i];
        texts.insert(texts.end(), {builder.names[i].type, type.name});
        for (const TableField &field : type.fields)
            texts.push_back(field.name);
        for (const TableWord &word : type.words)
            texts.push_back(word.word);
        texts.insert(texts.end(), builder.names[i].constants.begin(),
                     builder.names[i].constants.end());
        for (const TableMethod &method : type.methods) {
            texts.push_back(method.wireName);
            for (const TableArgument &argument : method.arguments)
                texts.push_back(argument.name);
        }
    }
    return texts;
}

/* Read from the end, descending: a text follows all that end with it. */
bool ComesBefore(std::string_view a, std::string_view b) {
    return std::ranges::lexicographical_compare(b.rbegin(), b.rend(), a.rbegin(), a.rend());
}

void BuildText(Builder *builder) {
    std::vector<std::string_view> texts = Texts(*builder);
    std::ranges::sort(texts, ComesBefore);

    std::string &pool = builder->built->text;
    std::string_view last;
    for (std::string_view text : texts) {
        if (pool.empty() || !last.ends_with(text)) {
            pool.append(text).push_back('\0');
            last = text;
        }
        builder->offsets.emplace(text, static_cast<guint32>(pool.size() - 1 - text.size()));
    }
}

/* Texts that were not gathered before go behind the pool. */
guint32 OffsetOf(Builder *builder, std::string_view text) {
    std::string &pool = builder->built->text;
    const auto [at, isNew] = builder->offsets.emplace(text, static_cast<guint32>(pool.size()));
    if (isNew)
        pool.append(text).push_back('\0');
    return at->second;
}

SchemaKind KindOf(SchemaForm form) {
    switch (form) {
    case SCHEMA_FORM_DATA:
    case SCHEMA_FORM_EVENT:
        break;
    case SCHEMA_FORM_FAULT:
        return SCHEMA_KIND_FAULT;
    case SCHEMA_FORM_MANAGED:
        return SCHEMA_KIND_MANAGED;
    case SCHEMA_FORM_ENUM:
        return SCHEMA_KIND_ENUM;
    }
    return SCHEMA_KIND_DATA;
}

SchemaValueKind ValueKindOf(SchemaForm form) {
    switch (form) {
    case SCHEMA_FORM_DATA:
    case SCHEMA_FORM_EVENT:
    case SCHEMA_FORM_FAULT:
        break;
    case SCHEMA_FORM_MANAGED:
        return SCHEMA_VALUE_MANAGED;
    case SCHEMA_FORM_ENUM:
        return SCHEMA_VALUE_ENUM;
    }
    return SCHEMA_VALUE_OBJECT;
}

struct Value {
    SchemaValueKind kind;
    guint16 type;
};

Value ValueOf(const Builder &builder, const TableTypeRef &text) {
    if (text.isUnknown)
        return {SCHEMA_VALUE_UNKNOWN, kSchemaNoType};
    if (text.name.empty())
        return {SCHEMA_VALUE_NONE, kSchemaNoType};
    if (const auto kind = SchemaNames_BuiltIn(text.name))
        return {*kind, kSchemaNoType};

    const guint32 at = builder.index.at(text.name);
    return {ValueKindOf(builder.model.types[at].form), builder.rows[at]};
}

guint8 FlagsOf(const TableTypeRef &text) {
    return static_cast<guint8>(
        (text.isArray ? SCHEMA_ARRAY : 0) | (text.isOptional ? SCHEMA_OPTIONAL : 0) |
        (text.isLikely ? SCHEMA_LIKELY : 0) | (text.isRequired ? SCHEMA_REQUIRED : 0));
}

guint8 VersionOf(const TableType &type, const TableField &field) {
    const std::string &version = field.version.empty() ? type.version : field.version;
    return version == "all" ? 0 : static_cast<guint8>(VersionTexts_Index(version));
}

/* The one array of any whose elements may be managed objects. */
bool IsDynamic(const TableType &type, const TableField &field) {
    return type.ns == SCHEMA_NAMESPACE_QORM && type.name == "DynamicArray" && field.name == "val";
}

void BuildFields(Builder *builder, const TableType &type) {
    for (const TableField &field : type.fields) {
        const Value value = ValueOf(*builder, field.type);
        const guint8 dynamic = IsDynamic(type, field) ? SCHEMA_DYNAMIC : 0;
        builder->built->fields.push_back({OffsetOf(builder, field.name), value.type, value.kind,
                                          static_cast<guint8>(FlagsOf(field.type) | dynamic),
                                          VersionOf(type, field)});
    }
}

void BuildMethod(Builder *builder, guint16 owner, const TableMethod &method) {
    SchemaBuilt *built = builder->built;
    const Value result = ValueOf(*builder, method.result);
    built->methods.push_back({OffsetOf(builder, method.wireName),
                              static_cast<guint32>(built->arguments.size()), result.type,
                              static_cast<guint8>(method.arguments.size()), result.kind,
                              FlagsOf(method.result), owner});
    for (const TableArgument &argument : method.arguments) {
        const Value value = ValueOf(*builder, argument.type);
        built->arguments.push_back(
            {OffsetOf(builder, argument.name), value.type, value.kind, FlagsOf(argument.type)});
    }
}

bool IsUndated(const TableType &type) {
    return type.form == SCHEMA_FORM_MANAGED && type.version.empty() && !type.isPartial;
}

/* The type with its fields or words, which go behind all others. */
SchemaTypeRow BuildType(Builder *builder, guint32 at) {
    SchemaBuilt *built = builder->built;
    const TableType &type = builder->model.types[at];
    const SchemaTypeNames &names = builder->names[at];
    const bool isEnum = type.form == SCHEMA_FORM_ENUM;
    const auto base = builder->index.find(type.base);

    SchemaTypeRow row = {};
    row.name = OffsetOf(builder, names.type);
    row.wireName = OffsetOf(builder, type.name);
    row.first = static_cast<guint32>(isEnum ? built->words.size() : built->fields.size());
    row.count = static_cast<guint16>(isEnum ? type.words.size() : type.fields.size());
    row.base = base == builder->index.end() ? kSchemaNoType : builder->rows[base->second];
    row.kind = KindOf(type.form);
    row.ns = type.ns;
    row.flags = static_cast<guint8>((type.isUnlisted ? SCHEMA_TYPE_UNLISTED : 0) |
                                    (type.isPartial ? SCHEMA_TYPE_PARTIAL : 0) |
                                    (IsUndated(type) ? SCHEMA_TYPE_UNDATED : 0));

    BuildFields(builder, type);
    for (gsize i = 0; i < type.words.size(); i++)
        built->words.push_back(
            {OffsetOf(builder, names.constants[i]), OffsetOf(builder, type.words[i].word)});
    return row;
}

void BuildOrder(Builder *builder) {
    std::vector<guint32> &order = builder->built->order;
    order.resize(builder->model.types.size());
    std::iota(order.begin(), order.end(), 0);
    std::ranges::stable_sort(order, {}, [&](guint32 at) { return builder->model.types[at].ns; });

    builder->rows.resize(order.size());
    for (gsize row = 0; row < order.size(); row++)
        builder->rows[order[row]] = static_cast<guint16>(row);
}

/* ---- tables that extend others ---- */

SchemaBuilt CopyOf(const SchemaTables &base) {
    SchemaBuilt built;
    built.text.assign(base.text, base.textSize);
    built.types.assign(base.types, base.types + base.numTypes);
    built.fields.assign(base.fields, base.fields + base.numFields);
    built.words.assign(base.words, base.words + base.numWords);
    built.methods.assign(base.methods, base.methods + base.numMethods);
    built.arguments.assign(base.arguments, base.arguments + base.numArguments);
    return built;
}

/* Whether a type has anything that its row does not have. */
bool IsChanged(const SchemaTypeRow &row, const TableType &type) {
    const gsize count = type.form == SCHEMA_FORM_ENUM ? type.words.size() : type.fields.size();
    const bool wasPartial = row.flags & SCHEMA_TYPE_PARTIAL;
    const bool wasUndated = row.flags & SCHEMA_TYPE_UNDATED;
    return count != row.count || type.isPartial != wasPartial || IsUndated(type) != wasUndated ||
           std::ranges::any_of(type.fields,
                               [](const TableField &field) { return field.place.line != 0; });
}

/* What has one entry for each type. */
void BuildStates(SchemaBuilt *built) {
    built->ids.resize(built->types.size());
    built->instanceSizes.resize(built->types.size());
    built->nameSlots = SchemaBuild_NameSlots(SchemaBuild_Tables(built));
}

} // namespace

std::vector<guint16> SchemaBuild_NameSlots(const SchemaTables &tables) {
    const auto wireNameAt = [&](gsize row) { return tables.text + tables.types[row].wireName; };
    std::vector<guint16> slots(NameSlots_Count(tables.numTypes));
    for (guint32 row = 0; row < tables.numTypes; row++) {
        if (!(tables.types[row].flags & SCHEMA_TYPE_UNLISTED))
            NameSlots_Insert(slots, row, wireNameAt);
    }
    return slots;
}

SchemaBuilt SchemaBuild_Run(const SchemaModel &model) {
    SchemaBuilt built;
    Builder builder{model, SchemaIndex_Make(model), {}, {}, {}, &built};
    builder.names = SchemaNames_Make(model, builder.index);
    BuildText(&builder);
    BuildOrder(&builder);
    for (guint32 at : built.order) {
        built.types.push_back(BuildType(&builder, at));
        for (const TableMethod &method : model.types[at].methods)
            BuildMethod(&builder, builder.rows[at], method);
    }
    BuildStates(&built);
    return built;
}

SchemaBuilt SchemaBuild_Extend(const SchemaTables &base, const SchemaModel &model) {
    SchemaBuilt built = CopyOf(base);
    Builder builder{model, SchemaIndex_Make(model), {}, {}, {}, &built};
    builder.names.resize(model.types.size());
    built.order.resize(model.types.size());
    std::iota(built.order.begin(), built.order.end(), 0);
    builder.rows.assign(built.order.begin(), built.order.end());

    for (guint32 at = 0; at < model.types.size(); at++) {
        const bool isNew = at >= base.numTypes;
        if (isNew || IsChanged(base.types[at], model.types[at])) {
            builder.names[at] = SchemaNames_Of(model.types[at], model, builder.index);
            built.types.resize(std::max<gsize>(built.types.size(), at + 1));
            built.types[at] = BuildType(&builder, at);
        }
        for (const TableMethod &method : model.types[at].methods) {
            if (method.place.line != 0)
                BuildMethod(&builder, static_cast<guint16>(at), method);
        }
    }
    BuildStates(&built);
    return built;
}

SchemaTables SchemaBuild_Tables(SchemaBuilt *built) {
    return {
        built->text.data(),
        built->types.data(),
        built->fields.data(),
        built->words.data(),
        built->methods.data(),
        built->arguments.data(),
        built->ids.data(),
        built->instanceSizes.data(),
        built->nameSlots.data(),
        static_cast<guint32>(built->types.size()),
        static_cast<guint32>(built->fields.size()),
        static_cast<guint32>(built->words.size()),
        static_cast<guint32>(built->methods.size()),
        static_cast<guint32>(built->arguments.size()),
        static_cast<guint32>(built->text.size()),
        static_cast<guint32>(built->nameSlots.size()),
    };
}
