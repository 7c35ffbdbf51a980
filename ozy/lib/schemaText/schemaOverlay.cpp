#include "ozy/lib/schemaText/schemaOverlay.h"

#include <algorithm>
#include <span>
#include <unordered_map>
#include <unordered_set>

#include "ozy/lib/schemaText/schemaCheck.h"
#include "ozy/lib/schemaText/schemaNames.h"

namespace {

struct Merger {
    SchemaModel *model;
    SchemaErrors *errors;
    std::unordered_map<std::string, guint32> index = {}; /* the model grows while it is merged */

    void fail(TablePlace place, const std::string &message) {
        SchemaErrors_Add(errors, *model, place, message);
    }
    /* Reports two places that contradict each other. */
    void contradict(TablePlace place, const std::string &declared, TablePlace other,
                    const std::string &otherSaid) {
        fail(place,
             declared + ", but " + SchemaPlace_Text(*model, other) + " declares " + otherSaid);
    }
};

std::string Quoted(const std::string &name) {
    return "'" + name + "'";
}

std::string FieldText(const TableField &field, const TableType &type) {
    return "field " + Quoted(field.name) + " of " + Quoted(type.name);
}

/* As it is spelt in a table: "~Name[]?". */
std::string TypeText(const TableTypeRef &type) {
    if (type.name.empty() && !type.isUnknown)
        return "nothing";
    return (type.isLikely ? "~" : "") + (type.isUnknown ? "*" : type.name) +
           (type.isArray ? "[]" : "") + (type.isOptional ? "?" : "") + (type.isRequired ? "!" : "");
}

/* ---- heads ---- */

/* Events are data objects under a word of their own. */
SchemaForm TreeOf(SchemaForm form) {
    return form == SCHEMA_FORM_EVENT ? SCHEMA_FORM_DATA : form;
}

const TableType *Find(const Merger &merger, const std::string &name) {
    const auto found = merger.index.find(name);
    return found == merger.index.end() ? nullptr : &merger.model->types[found->second];
}

std::string PathOf(const Merger &merger, const TableType &type) {
    const TableType *enclosing = Find(merger, type.enclosing);
    return SchemaNames_Path(type, enclosing != nullptr && enclosing->form == SCHEMA_FORM_FAULT);
}

/* With a path of its own, a class shows nowhere what encloses it. */
bool IsEnclosingKnown(const TableType &type) {
    return !type.enclosing.empty() || type.form == SCHEMA_FORM_ENUM || type.path.empty();
}

bool MergeHead(Merger *merger, const TableType &known, const TableType &over) {
    const std::string name = Quoted(over.name);
    if (TreeOf(known.form) != TreeOf(over.form)) {
        merger->contradict(over.place, name + " is " + SchemaForm_Word(over.form), known.place,
                           SchemaForm_Word(known.form));
        return false;
    }
    struct Row {
        const char *what;
        std::string declared;
        std::string known;
        bool isComparable;
    };
    const Row rows[] = {
        {" is in namespace ", SchemaNamespace_Word(over.ns), SchemaNamespace_Word(known.ns), true},
        {" has the base ", over.base, known.base, !over.base.empty()},
        {" has the path ", over.path, PathOf(*merger, known), !over.path.empty()},
        {" is in ", over.enclosing, known.enclosing.empty() ? "nothing" : known.enclosing,
         !over.enclosing.empty() && IsEnclosingKnown(known)},
    };
    bool agrees = true;
    for (const Row &row : rows) {
        if (!row.isComparable || row.declared == row.known)
            continue;
        merger->contradict(over.place, name + row.what + row.declared, known.place, row.known);
        agrees = false;
    }
    return agrees;
}

/* ---- fields ---- */

bool IsRoot(const TableType &type) {
    return type.base == "GObject" || type.base == "GInitiallyUnowned";
}

/* A managed class with neither "..." nor a release. */
bool IsUndated(const TableType &type) {
    return type.form == SCHEMA_FORM_MANAGED && type.version.empty() && !type.isPartial;
}

bool IsOpen(const TableType &type) {
    return !IsRoot(type) && (type.isPartial || IsUndated(type));
}

const std::string &VersionOf(const TableType &type, const TableField &field) {
    return field.version.empty() ? type.version : field.version;
}

/* Use and release are not known either. */
bool IsLoose(const TableType &type, const TableField &field) {
    return IsOpen(type) && VersionOf(type, field).empty();
}

std::string VersionText(const std::string &version) {
    return version.empty() ? "@all" : "@" + version;
}

/* Merges two declarations of a field. The known one is kept unless the other has more. */
bool MergeField(Merger *merger, const TableType &type, const TableField &known,
                const TableType &over, const TableField &declared, TableField *merged) {
    const bool isLoose = IsLoose(type, known);
    const TableTypeRef &a = known.type;
    const TableTypeRef &b = declared.type;
    if (a.name != b.name || a.isArray != b.isArray || (!isLoose && a.isOptional != b.isOptional) ||
        b.isUnknown || b.isLikely || b.isRequired) {
        merger->contradict(declared.place, FieldText(declared, over) + " is " + TypeText(b),
                           known.place, TypeText(a));
        return false;
    }

    const std::string &saidVersion = VersionOf(over, declared);
    const std::string version = VersionText(VersionOf(type, known));
    if (!isLoose && !saidVersion.empty() && VersionText(saidVersion) != version) {
        merger->contradict(declared.place,
                           FieldText(declared, over) + " is of " + VersionText(saidVersion),
                           known.place, version);
        return false;
    }

    const bool hasMore = isLoose && (!saidVersion.empty() || a.isOptional != b.isOptional);
    *merged = hasMore ? declared : known;
    merged->version = hasMore ? saidVersion : VersionOf(type, known);
    return true;
}

/* The fields of the known class, as an overlay puts more between them. */
struct FieldList {
    Merger *merger;
    const TableType &type;
    const TableType &over;
    std::unordered_map<std::string_view, gsize> places; /* of the known fields */
    gsize numTaken = 0;                                 /* of the known fields, from the front */
    std::vector<TableField> fields = {};
    std::vector<TableField> leading = {}; /* new ones in front of the first known one */
    bool agrees = true;

    void take(gsize end) {
        for (; numTaken < end; numTaken++) {
            TableField field = type.fields[numTaken];
            field.version = VersionOf(type, field);
            fields.push_back(std::move(field));
        }
    }
    void addNew(const TableField &declared) {
        TableField field = declared;
        field.isAdded = true;
        (numTaken == 0 ? leading : fields).push_back(std::move(field));
    }
    void addKnown(gsize place, const TableField &declared) {
        const TableField &known = type.fields[place];
        if (place < numTaken) {
            merger->contradict(declared.place,
                               FieldText(declared, over) + " is after " +
                                   Quoted(type.fields[numTaken - 1].name),
                               known.place, "it before");
            agrees = false;
            return;
        }
        const bool isFirst = numTaken == 0;
        take(place);
        if (isFirst)
            std::ranges::move(leading, std::back_inserter(fields));
        TableField merged = known;
        agrees &= MergeField(merger, type, known, over, declared, &merged);
        fields.push_back(std::move(merged));
        numTaken = place + 1;
    }
    void finish() {
        const bool isFirst = numTaken == 0;
        take(type.fields.size());
        if (isFirst)
            std::ranges::move(leading, std::back_inserter(fields));
    }
};

std::unordered_map<std::string_view, gsize> PlacesOf(const std::vector<TableField> &fields) {
    std::unordered_map<std::string_view, gsize> places;
    for (gsize i = 0; i < fields.size(); i++)
        places.emplace(fields[i].name, i);
    return places;
}

bool CheckTwice(Merger *merger, const TableType &over) {
    std::unordered_map<std::string_view, TablePlace> seen;
    bool agrees = true;
    for (const TableField &field : over.fields) {
        const auto [first, isNew] = seen.emplace(field.name, field.place);
        if (isNew)
            continue;
        merger->fail(field.place, "field " + Quoted(field.name) + " is already declared at " +
                                      SchemaPlace_Text(*merger->model, first->second));
        agrees = false;
    }
    return agrees;
}

/* All that are known must be there; the order is that of the full list, unless it is known. */
bool CheckFull(Merger *merger, const TableType &known, const TableType &over) {
    const auto places = PlacesOf(over.fields);
    bool agrees = true;
    for (const TableField &field : known.fields) {
        if (places.contains(field.name))
            continue;
        merger->contradict(over.place,
                           Quoted(over.name) + " has no field " + Quoted(field.name) +
                               " in its full list",
                           field.place, "it");
        agrees = false;
    }
    return agrees;
}

/* A class with all its fields may only be repeated. */
bool CheckClosed(Merger *merger, const TableType &known, const TableType &over) {
    const auto places = PlacesOf(known.fields);
    bool agrees = true;
    for (const TableField &field : over.fields) {
        if (places.contains(field.name))
            continue;
        merger->contradict(field.place, FieldText(field, over) + " is new", known.place,
                           "that the fields are complete");
        agrees = false;
    }
    return agrees;
}

/* The order of a full list counts, even against that of fields which were known. */
bool MergeFullList(Merger *merger, const TableType &known, const TableType &over,
                   std::vector<TableField> *merged) {
    const auto places = PlacesOf(known.fields);
    bool agrees = true;
    for (const TableField &declared : over.fields) {
        const auto found = places.find(declared.name);
        TableField field = declared;
        if (found != places.end())
            agrees &=
                MergeField(merger, known, known.fields[found->second], over, declared, &field);
        else
            field.isAdded = true;
        merged->push_back(std::move(field));
    }
    return agrees;
}

bool MergeList(Merger *merger, const TableType &known, const TableType &over,
               std::vector<TableField> *merged) {
    FieldList list{merger, known, over, PlacesOf(known.fields)};
    for (const TableField &declared : over.fields) {
        const auto found = list.places.find(declared.name);
        if (found == list.places.end())
            list.addNew(declared);
        else
            list.addKnown(found->second, declared);
    }
    list.finish();
    *merged = std::move(list.fields);
    return list.agrees;
}

bool MergeFields(Merger *merger, TableType *known, const TableType &over) {
    const bool isFull = !over.version.empty();
    if (!CheckTwice(merger, over) || (isFull && !CheckFull(merger, *known, over)))
        return false;
    if (!IsOpen(*known) && !CheckClosed(merger, *known, over))
        return false;

    std::vector<TableField> merged;
    if (IsOpen(*known) && isFull) {
        if (!MergeFullList(merger, *known, over, &merged))
            return false;
        known->version = over.version;
        known->isPartial = false;
        known->place = over.place;
    } else if (!MergeList(merger, *known, over, &merged)) {
        return false;
    }
    known->fields = std::move(merged);
    return true;
}

/* ---- methods ---- */

bool IsStated(const TableTypeRef &type) {
    return !type.isUnknown && !type.isLikely;
}

/* "T" does not contradict "T!". */
bool IsSameType(const TableTypeRef &known, const TableTypeRef &declared) {
    return known.name == declared.name && known.isArray == declared.isArray &&
           known.isOptional == declared.isOptional && (known.isRequired || !declared.isRequired);
}

bool MergeArgument(Merger *merger, const TableMethod &method, TableArgument *known,
                   const TableArgument &declared) {
    bool agrees = known->name == declared.name;
    if (!agrees) {
        merger->contradict(declared.place,
                           "an argument of " + Quoted(method.wireName) + " is " +
                               Quoted(declared.name),
                           known->place, Quoted(known->name));
        return false;
    }
    if (declared.type.isUnknown && !declared.type.isArray)
        return true;
    if (IsStated(known->type))
        agrees = IsSameType(known->type, declared.type);
    else
        agrees = !known->type.isUnknown || !known->type.isArray || declared.type.isArray;
    if (!agrees)
        merger->contradict(declared.place,
                           "argument " + Quoted(declared.name) + " of " + Quoted(method.wireName) +
                               " is " + TypeText(declared.type),
                           known->place, TypeText(known->type));
    else if (!IsStated(known->type) && !declared.type.isUnknown)
        known->type = declared.type;
    return agrees;
}

bool MergeMethod(Merger *merger, TableMethod *known, const TableMethod &declared) {
    const std::string name = "method " + Quoted(declared.wireName);
    if (known->arguments.size() != declared.arguments.size()) {
        merger->contradict(declared.place,
                           name + " has " + std::to_string(declared.arguments.size()) +
                               " arguments",
                           known->place, std::to_string(known->arguments.size()));
        return false;
    }
    if (!IsSameType(known->result, declared.result)) {
        merger->contradict(declared.place, name + " returns " + TypeText(declared.result),
                           known->place, TypeText(known->result));
        return false;
    }
    const bool isStubKnown = known->place.line != 0;
    if (isStubKnown && !declared.stub.empty() && declared.stub != known->stub) {
        merger->contradict(declared.place, name + " has the stub " + declared.stub, known->place,
                           known->stub.empty() ? "none" : known->stub);
        return false;
    }
    bool agrees = true;
    for (gsize i = 0; i < declared.arguments.size(); i++)
        agrees &= MergeArgument(merger, *known, &known->arguments[i], declared.arguments[i]);
    return agrees;
}

bool MergeMethods(Merger *merger, TableType *known, const TableType &over) {
    bool agrees = true;
    const gsize numKnown = known->methods.size();
    for (const TableMethod &declared : over.methods) {
        const auto methods = std::span(known->methods).first(numKnown);
        const auto found = std::ranges::find(methods, declared.wireName, &TableMethod::wireName);
        if (found == methods.end())
            known->methods.push_back(declared);
        else
            agrees &= MergeMethod(merger, &*found, declared);
    }
    return agrees;
}

/* ---- enumerations ---- */

bool MergeWords(Merger *merger, TableType *known, const TableType &over) {
    if (!over.version.empty() || over.isPartial) {
        merger->fail(over.place, "enumeration " + Quoted(over.name) + " with a version or '...'");
        return false;
    }
    for (gsize i = 0; i < known->words.size(); i++) {
        const TableWord &word = known->words[i];
        const std::string place = "word " + std::to_string(i + 1) + " of " + Quoted(over.name);
        if (i == over.words.size()) {
            merger->contradict(over.place, place + " is missing", word.place, Quoted(word.word));
            return false;
        }
        if (over.words[i].word != word.word) {
            merger->contradict(over.words[i].place, place + " is " + Quoted(over.words[i].word),
                               word.place, Quoted(word.word));
            return false;
        }
    }
    known->words.insert(known->words.end(),
                        over.words.begin() + static_cast<gssize>(known->words.size()),
                        over.words.end());
    return true;
}

/* ---- types ---- */

/* In an overlay, a class without the word could be of either kind. */
bool CheckCompleteness(Merger *merger, const TableType &over) {
    if (over.form == SCHEMA_FORM_ENUM || over.form == SCHEMA_FORM_MANAGED ||
        !over.version.empty() || over.isPartial)
        return true;
    merger->fail(over.place, Quoted(over.name) + " has neither '...' nor '@version' of its fields");
    return false;
}

void AddType(Merger *merger, TableType &&over) {
    for (TableField &field : over.fields)
        field.isAdded = true;
    merger->index.emplace(over.name, static_cast<guint32>(merger->model->types.size()));
    merger->model->types.push_back(std::move(over));
}

bool MergeType(Merger *merger, TableType &&over) {
    if (!CheckCompleteness(merger, over))
        return false;
    const auto found = merger->index.find(over.name);
    if (found == merger->index.end()) {
        AddType(merger, std::move(over));
        return true;
    }

    TableType *known = &merger->model->types[found->second];
    if (!MergeHead(merger, *known, over))
        return false;
    if (over.form == SCHEMA_FORM_ENUM)
        return MergeWords(merger, known, over);
    const bool fieldsAgree = MergeFields(merger, known, over);
    return MergeMethods(merger, known, over) && fieldsAgree;
}

/* Places of the overlay as places of the model, whose files come first. */
void ShiftPlaces(TableType *type, guint32 numFiles) {
    type->place.file += numFiles;
    for (TableField &field : type->fields)
        field.place.file += numFiles;
    for (TableWord &word : type->words)
        word.place.file += numFiles;
    for (TableMethod &method : type->methods) {
        method.place.file += numFiles;
        for (TableArgument &argument : method.arguments)
            argument.place.file += numFiles;
    }
}

/* ---- bases ---- */

bool HasAdded(const TableType &type) {
    return std::ranges::any_of(type.fields, &TableField::isAdded);
}

/* At the one of two fields of one name that an overlay brought. */
void CheckBaseField(const SchemaModel &model, const TableType &type, const TableField &own,
                    const TableType &base, const TableField &inherited, SchemaErrors *errors) {
    if (!own.isAdded && !inherited.isAdded)
        return;
    const TableField &added = own.isAdded ? own : inherited;
    const TableField &other = own.isAdded ? inherited : own;
    SchemaErrors_Add(errors, model, added.place,
                     FieldText(added, own.isAdded ? type : base) + " is already declared in " +
                         Quoted(own.isAdded ? base.name : type.name) + " at " +
                         SchemaPlace_Text(model, other.place));
}

void CheckBaseFields(const SchemaModel &model, SchemaErrors *errors) {
    const SchemaIndex index = SchemaIndex_Make(model);
    std::vector<bool> hasAdded;
    for (const TableType &type : model.types)
        hasAdded.push_back(HasAdded(type));

    for (const TableType &type : model.types) {
        if (type.fields.empty())
            continue;
        const auto places = PlacesOf(type.fields);
        const bool isAdded = hasAdded[static_cast<gsize>(&type - model.types.data())];
        auto base = index.find(type.base);
        for (; base != index.end(); base = index.find(model.types[base->second].base)) {
            const TableType &above = model.types[base->second];
            if (!isAdded && !hasAdded[base->second])
                continue;
            for (const TableField &inherited : above.fields) {
                const auto own = places.find(inherited.name);
                if (own != places.end())
                    CheckBaseField(model, type, type.fields[own->second], above, inherited, errors);
            }
        }
    }
}

} // namespace

bool SchemaOverlay_Apply(SchemaModel *model, SchemaModel overlay, SchemaErrors *errors) {
    const gsize before = errors->count;
    const auto numFiles = static_cast<guint32>(model->files.size());
    std::ranges::move(overlay.files, std::back_inserter(model->files));

    Merger merger{model, errors};
    for (guint32 i = 0; i < model->types.size(); i++)
        merger.index.emplace(model->types[i].name, i);

    std::unordered_map<std::string, TablePlace> seen;
    for (TableType &type : overlay.types) {
        ShiftPlaces(&type, numFiles);
        const auto [first, isNew] = seen.emplace(type.name, type.place);
        if (isNew)
            MergeType(&merger, std::move(type));
        else
            merger.fail(type.place, "type " + Quoted(type.name) + " is already declared at " +
                                        SchemaPlace_Text(*model, first->second));
    }
    return errors->count == before;
}

bool SchemaOverlay_Check(const SchemaModel &model, SchemaErrors *errors) {
    const gsize before = errors->count;
    if (SchemaCheck_Run(model, errors))
        CheckBaseFields(model, errors);
    return errors->count == before;
}
