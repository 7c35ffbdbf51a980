#include "ozy/lib/schemaText/schemaCheck.h"

#include "ozy/lib/schemaRows/versionTexts.h"
#include "ozy/lib/schemaText/schemaNames.h"

namespace {

constexpr gsize kMaxDepth = 100;
constexpr gsize kMaxFields = 8000; /* an object is smaller than 64 KiB; a field takes 8 bytes */

struct Checker {
    const SchemaModel &model;
    SchemaErrors *errors;
    SchemaIndex index;

    void fail(TablePlace place, const std::string &message) {
        SchemaErrors_Add(errors, model, place, message);
    }
};

/* Names that must differ, and where each was seen first. */
struct Uses {
    const char *what;
    std::unordered_map<std::string, TablePlace> seen = {};

    void add(Checker *checker, const std::string &name, TablePlace place) {
        const auto [first, isNew] = seen.emplace(name, place);
        if (!isNew)
            checker->fail(place, std::string(what) + " '" + name + "' is already declared at " +
                                     SchemaPlace_Text(checker->model, first->second));
    }
};

/* The one class of each kind that has a base outside the schema. */
struct RootRow {
    SchemaForm form;
    const char *name;
    const char *base;
};

constexpr auto kRoots = std::to_array<RootRow>({
    {SCHEMA_FORM_DATA, "DataObject", "GObject"},
    {SCHEMA_FORM_FAULT, "MethodFault", "GObject"},
    {SCHEMA_FORM_MANAGED, "ManagedObject", "GInitiallyUnowned"},
});

bool IsRoot(const TableType &type) {
    return std::ranges::any_of(kRoots, [&](const RootRow &root) {
        return root.form == type.form && type.name == root.name && type.base == root.base;
    });
}

/* Events are data objects; apart from that each kind has its own tree. */
SchemaForm TreeOf(SchemaForm form) {
    return form == SCHEMA_FORM_EVENT ? SCHEMA_FORM_DATA : form;
}

void CheckBase(Checker *checker, const TableType &type) {
    if (type.form == SCHEMA_FORM_ENUM) {
        if (!type.base.empty())
            checker->fail(type.place, "enumeration '" + type.name + "' with a base");
        return;
    }
    if (type.base.empty())
        return checker->fail(type.place, "'" + type.name + "' has no base");
    if (IsRoot(type))
        return;

    const TableType *base = SchemaIndex_Find(checker->index, checker->model, type.base);
    if (base == nullptr)
        return checker->fail(type.place, "unknown base '" + type.base + "' of '" + type.name + "'");
    if (TreeOf(base->form) != TreeOf(type.form))
        return checker->fail(
            type.place, std::string(SchemaForm_Word(type.form)) + " '" + type.name + "' has the " +
                            SchemaForm_Word(base->form) + " '" + base->name + "' as its base");
    if (base->ns > type.ns)
        checker->fail(type.place, "base '" + base->name + "' is in a later namespace");
}

/* One message a cycle: at the type of it that comes first in the model. */
void CheckCycles(Checker *checker) {
    const auto &types = checker->model.types;
    std::vector<guint32> visitedBy(types.size(), G_MAXUINT32);
    for (guint32 start = 0; start < types.size(); start++) {
        guint32 at = start;
        while (visitedBy[at] == G_MAXUINT32) {
            visitedBy[at] = start;
            const auto base = checker->index.find(types[at].base);
            if (base == checker->index.end())
                break;
            at = base->second;
            if (visitedBy[at] == start)
                checker->fail(types[at].place,
                              "the bases of '" + types[at].name + "' lead back to itself");
        }
    }
}

void CheckVersion(Checker *checker, TablePlace place, const std::string &version) {
    if (!version.empty() && version != "all" && VersionTexts_Index(version) < 0)
        checker->fail(place, "unknown version '" + version + "'");
}

void CheckTypeText(Checker *checker, TablePlace place, const TableType &owner,
                   const TableTypeRef &type) {
    if (type.name.empty())
        return;
    if (const auto kind = SchemaNames_BuiltIn(type.name)) {
        if (*kind == SCHEMA_VALUE_URI && !type.isArray)
            checker->fail(place, "'anyURI' outside an array");
        return;
    }
    const TableType *named = SchemaIndex_Find(checker->index, checker->model, type.name);
    if (named == nullptr)
        return checker->fail(place, "unknown type '" + type.name + "'");
    if (owner.ns == SCHEMA_NAMESPACE_QORM && named->ns != SCHEMA_NAMESPACE_QORM)
        checker->fail(place, "type '" + type.name + "' of another namespace in the core");
}

void CheckFields(Checker *checker, const TableType &type) {
    Uses names{"field"};
    for (const TableField &field : type.fields) {
        names.add(checker, field.name, field.place);
        CheckVersion(checker, field.place, field.version);
        CheckTypeText(checker, field.place, type, field.type);
        if (!g_ascii_isalpha(field.name[0]))
            checker->fail(field.place, "field '" + field.name + "' does not begin with a letter");
        if (field.name.find('_') != std::string::npos) /* the property system would make it "-" */
            checker->fail(field.place, "field '" + field.name + "' has a '_'");
        if (field.type.isUnknown || field.type.isLikely || field.type.isRequired)
            checker->fail(field.place,
                          "'*', '~' and '!' are for arguments, not for field '" + field.name + "'");
    }
}

/* A class of another namespace can be declared where a stub takes one; an enumeration cannot. */
void CheckArgumentEnum(Checker *checker, const TableArgument &argument, const TableType &owner) {
    const TableType *type = SchemaIndex_Find(checker->index, checker->model, argument.type.name);
    if (type != nullptr && type->form == SCHEMA_FORM_ENUM && !argument.type.isArray &&
        type->ns != owner.ns && type->ns != SCHEMA_NAMESPACE_QORM)
        checker->fail(argument.place,
                      "argument '" + argument.name + "' is an enumeration of another namespace");
}

void CheckMethods(Checker *checker, const TableType &type) {
    Uses methods{"method"};
    for (const TableMethod &method : type.methods) {
        methods.add(checker, method.wireName, method.place);
        CheckTypeText(checker, method.place, type, method.result);
        const TableTypeRef &result = method.result;
        if (result.isUnknown || result.isLikely || result.isRequired || result.isOptional)
            checker->fail(method.place, "'*', '~', '?' and '!' mean nothing for the result of '" +
                                            method.wireName + "'");
        if (method.arguments.size() > G_MAXUINT8)
            checker->fail(method.place, "too many arguments for '" + method.wireName + "'");

        Uses arguments{"argument"};
        for (const TableArgument &argument : method.arguments) {
            arguments.add(checker, argument.name, argument.place);
            CheckTypeText(checker, argument.place, type, argument.type);
            CheckArgumentEnum(checker, argument, type);
        }
    }
}

void CheckWords(Checker *checker, const TableType &type) {
    Uses words{"word"};
    for (const TableWord &word : type.words)
        words.add(checker, word.word, word.place);
    if (type.words.empty())
        checker->fail(type.place, "enumeration '" + type.name + "' without words");
    if (!type.version.empty() || type.isPartial)
        checker->fail(type.place, "enumeration '" + type.name + "' with a version or '...'");
}

void CheckType(Checker *checker, const TableType &type) {
    CheckBase(checker, type);
    CheckVersion(checker, type.place, type.version);
    if (!type.enclosing.empty() &&
        SchemaIndex_Find(checker->index, checker->model, type.enclosing) == nullptr)
        checker->fail(type.place,
                      "unknown class '" + type.enclosing + "' around '" + type.name + "'");
    if (type.form == SCHEMA_FORM_ENUM)
        return CheckWords(checker, type);
    CheckFields(checker, type);
    CheckMethods(checker, type);
}

void CheckWireNames(Checker *checker) {
    Uses names{"type"};
    for (const TableType &type : checker->model.types) {
        names.add(checker, type.name, type.place);
        const bool isOutside = std::ranges::any_of(
            kRoots, [&](const RootRow &root) { return type.name == root.base; });
        if (isOutside || SchemaNames_BuiltIn(type.name))
            checker->fail(type.place, "type '" + type.name + "' is built in");
    }
}

/* All names that one program may see at once, but for the macros of SKEMA_TYPE_ and SKEMA_IS_: the same types would
 * have the same functions, too. */
void CheckCNames(Checker *checker) {
    Uses names{"C name"};
    const auto all = SchemaNames_Make(checker->model, checker->index);
    names.seen.reserve(all.size() * 4);
    for (gsize i = 0; i < all.size(); i++) {
        const TableType &type = checker->model.types[i];
        names.add(checker, all[i].type, type.place);
        names.add(checker, all[i].prefix + "_get_type", type.place);
        if (type.form != SCHEMA_FORM_ENUM)
            names.add(checker, SchemaNames_Macro(all[i].prefix, ""), type.place);
        for (gsize j = 0; j < type.methods.size(); j++) {
            if (!all[i].stubs[j].empty())
                names.add(checker, all[i].stubs[j], type.methods[j].place);
        }
        for (gsize j = 0; j < type.words.size(); j++)
            names.add(checker, all[i].constants[j], type.words[j].place);
    }
}

/* A chain of bases is walked by recursion, and GLib counts it and the size of an object in few bits.
 * Only the first is reported: all below it have too many as well. */
void CheckChains(Checker *checker) {
    for (const TableType &type : checker->model.types) {
        gsize depth = 1;
        gsize numFields = type.fields.size();
        const TableType *base = &type;
        while ((base = SchemaIndex_Find(checker->index, checker->model, base->base)) != nullptr) {
            numFields += base->fields.size();
            if (++depth > kMaxDepth || numFields > kMaxFields)
                return checker->fail(type.place, "'" + type.name +
                                                     "' has more bases, or with them more fields, "
                                                     "than a class can have");
        }
    }
}

/* Rows are numbered in 16 bits where there are many of them. */
void CheckSizes(Checker *checker) {
    const auto &types = checker->model.types;
    if (types.size() >= kSchemaNoType)
        checker->fail(types.back().place, "more types than the tables can number");
    for (const TableType &type : types) {
        if (std::max(type.fields.size(), type.words.size()) > G_MAXUINT16)
            checker->fail(type.place,
                          "more members in '" + type.name + "' than the tables can number");
    }
}

} // namespace

bool SchemaCheck_Run(const SchemaModel &model, SchemaErrors *errors) {
    const gsize before = errors->count;
    Checker checker{model, errors, SchemaIndex_Make(model)};
    CheckWireNames(&checker);
    for (const TableType &type : model.types)
        CheckType(&checker, type);
    const gsize beforeCycles = errors->count;
    CheckCycles(&checker);
    if (errors->count == beforeCycles)
        CheckChains(&checker);
    CheckCNames(&checker);
    CheckSizes(&checker);
    return errors->count == before;
}
