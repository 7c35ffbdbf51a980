#include "tools/schemaImport/importMerge.h"

#include <algorithm>
#include <set>

#include "ozy/lib/schemaRows/versionTexts.h"
#include "tools/schemaImport/importMethods.h"
#include "tools/schemaImport/importVerify.h"

namespace schemaImport {

namespace {

struct Merger {
    const SchemaModel &shipped;
    const XsdSchema &schema;
    const TypeMap &types;
    const MergeOptions &options;
    std::vector<std::string> versions; /* of the releases: "ozy25/5.0", "all" */
    Notes *notes;
    SchemaModel overlay = {};

    void AddNote(const Place &place, const std::string &text) { notes->push_back({place, text}); }

    TablePlace place(const Place &at) {
        const auto found = std::ranges::find(overlay.files, at.document);
        const auto file = static_cast<guint32>(found - overlay.files.begin());
        if (found == overlay.files.end())
            overlay.files.push_back(at.document);
        return {file, static_cast<guint32>(at.line)};
    }
    const std::string &VersionOf(int release) const {
        return versions[static_cast<size_t>(release)];
    }
};

bool IsOpen(const TableType &type) {
    return type.isPartial && type.form != SCHEMA_FORM_MANAGED;
}

const std::string &VersionOf(const TableType &type, const TableField &field) {
    return field.version.empty() ? type.version : field.version;
}

const TableField *FindField(const TableType *type, const std::string &name) {
    if (type == nullptr)
        return nullptr;
    const auto found = std::ranges::find(type->fields, name, &TableField::name);
    return found == type->fields.end() ? nullptr : &*found;
}

/* ---- comparison with the schema ---- */

/* A field must be in the documents of its release and of all later ones, and in no earlier one. */
void CompareVersion(Merger *merger, const XsdType &type, const XsdField &field,
                    const std::string &known) {
    const int stated = known == "all" ? 0 : VersionTexts_Index(known);
    const int first = VersionTexts_Index(merger->VersionOf(field.firstRelease));
    if (stated < 0 || first <= 0)
        return;
    const bool isEarlier = first < stated;
    bool isLater = false;
    for (int i = type.firstRelease; i < field.firstRelease; i++)
        isLater |= VersionTexts_Index(merger->VersionOf(i)) >= stated;
    if (isEarlier || isLater)
        merger->AddNote(field.place, "element '" + field.name + "' of '" + type.name +
                                         "' comes with " + merger->VersionOf(field.firstRelease) +
                                         ", but the schema declares @" + known);
}

/* Returns true if the field's type agrees with the schema. For a field without a release the schema does not
 * state whether it is optional. */
bool CompareField(Merger *merger, const XsdType &type, const XsdField &field,
                  const TableType &knownType, const TableField &known, const TableTypeRef &said) {
    const std::string &version = VersionOf(knownType, known);
    const bool isLoose = IsOpen(knownType) && version.empty();
    if (!isLoose)
        CompareVersion(merger, type, field, version);
    if (isLoose ? known.type.name == said.name && known.type.isArray == said.isArray
                : AgreesWith(known.type, said))
        return true;
    merger->AddNote(field.place, "element '" + field.name + "' of '" + type.name + "' is " +
                                     RefText(said) + ", but the schema declares " +
                                     RefText(known.type));
    return false;
}

void CompareClosed(Merger *merger, const XsdType &type, const TableType &known) {
    for (const XsdField &field : type.fields) {
        const TableField *knownField = FindField(&known, field.name);
        TableTypeRef said;
        std::string why;
        if (knownField == nullptr)
            merger->AddNote(field.place,
                            "element '" + field.name + "' of '" + type.name +
                                "' is new, but the schema declares that its fields are complete");
        else if (!merger->types.RefOf(field, &knownField->type, &said, &why))
            merger->AddNote(field.place,
                            "element '" + field.name + "' of '" + type.name + "' " + why);
        else
            CompareField(merger, type, field, known, *knownField, said);
    }
}

/* The root classes have no base in the documents. */
void CompareBase(Merger *merger, const XsdType &type, const TableType &known) {
    const std::string &said = type.base.local;
    const TableType *base = merger->types.Shipped(known.base);
    const bool isBelowRoot = base == nullptr || merger->types.Shipped(base->base) == nullptr;
    if (said != known.base && !(said.empty() && isBelowRoot))
        merger->AddNote(type.place, "'" + type.name + "' has " +
                                        (said.empty() ? "no base" : "the base " + said) +
                                        ", but the schema declares " + known.base);
}

/* ---- classes ---- */

/* A class of the overlay while it is made. */
struct ClassImport {
    Merger *merger;
    const XsdType &type;
    const TableType *known; /* NULL for a new one */
    TableType made = {};
    bool isWhole = true; /* every field can be used */
    size_t numNew = 0;   /* fields that the schema does not have */

    void addField(const XsdField &field);
    void addMissing();
    void finishWhole();
    void finishPartial();
};

void ClassImport::addField(const XsdField &field) {
    const std::string text = "element '" + field.name + "' of '" + type.name + "' ";
    const TableField *knownField = FindField(known, field.name);
    TableField out;
    out.place = merger->place(field.place);
    out.name = field.name;
    out.version = merger->VersionOf(field.firstRelease);
    std::string why = "has a name that the tables cannot hold";
    if (!IsIdentifier(field.name) ||
        !merger->types.RefOf(field, knownField != nullptr ? &knownField->type : nullptr, &out.type,
                             &why)) {
        merger->AddNote(field.place, text + why);
        isWhole = false;
        return;
    }
    if (FindField(&made, field.name) != nullptr) {
        merger->AddNote(field.place, text + "is defined twice");
        isWhole = false;
        return;
    }
    if (knownField != nullptr) {
        const bool agrees = CompareField(merger, type, field, *known, *knownField, out.type);
        const std::string &version = VersionOf(*known, *knownField);
        if (!agrees || !version.empty()) {
            out.type = knownField->type;
            out.version = version;
        }
        numNew += version.empty();
    } else {
        numNew++;
    }
    made.fields.push_back(std::move(out));
}

/* Notes the fields of the schema that the documents do not have. */
void ClassImport::addMissing() {
    if (known == nullptr)
        return;
    for (const TableField &field : known->fields) {
        if (FindField(&made, field.name) != nullptr)
            continue;
        if (std::ranges::find(type.fields, field.name, &XsdField::name) == type.fields.end())
            merger->AddNote(type.place, "'" + type.name + "' has no element '" + field.name +
                                            "', but the schema has it");
        isWhole = false;
    }
}

/* Writes the release of most fields in the head. */
void ClassImport::finishWhole() {
    made.version = merger->VersionOf(type.firstRelease);
    std::map<std::string, size_t> counts;
    size_t most = 0;
    for (const TableField &field : made.fields)
        counts[field.version]++;
    for (const TableField &field : made.fields) {
        if (counts[field.version] <= most)
            continue;
        most = counts[field.version];
        made.version = field.version;
    }
    for (TableField &field : made.fields) {
        if (field.version == made.version)
            field.version.clear();
    }
}

/* Known fields mark the position of the others; where the order differs, they cannot. */
void ClassImport::finishPartial() {
    made.isPartial = true;
    if (known == nullptr)
        return;
    size_t next = 0;
    std::erase_if(made.fields, [&](const TableField &field) {
        const TableField *knownField = FindField(known, field.name);
        if (knownField == nullptr)
            return false;
        const auto place = static_cast<size_t>(knownField - known->fields.data());
        const bool isBehind = place < next;
        next = std::max(next, place + 1);
        return isBehind;
    });
}

void ImportClass(Merger *merger, const XsdType &type) {
    const TableType *known = merger->types.Shipped(type.name);
    const std::optional<SchemaForm> form = merger->types.FormOf(type);
    if (!form || *form == SCHEMA_FORM_MANAGED || *form == SCHEMA_FORM_ENUM) {
        const char *why = form ? " is a complexType, but the schema declares "
                               : " cannot be used: no base of it is a class that is known";
        return merger->AddNote(type.place,
                               "'" + type.name + "'" + why + (form ? SchemaForm_Word(*form) : ""));
    }
    if (known != nullptr)
        CompareBase(merger, type, *known);
    if (known != nullptr && !IsOpen(*known))
        return CompareClosed(merger, type, *known);

    ClassImport import{merger, type, known};
    import.made.place = merger->place(type.place);
    import.made.form = *form;
    import.made.name = type.name;
    import.made.ns = known != nullptr ? known->ns : merger->options.ns;
    import.made.isUnlisted = known != nullptr && known->isUnlisted;
    import.made.base = known != nullptr ? known->base : type.base.local;
    import.isWhole = !type.isIncomplete;
    for (const XsdField &field : type.fields)
        import.addField(field);
    import.addMissing();
    if (import.isWhole)
        import.finishWhole();
    else
        import.finishPartial();
    if (import.isWhole || import.numNew > 0 || known == nullptr)
        merger->overlay.types.push_back(std::move(import.made));
}

/* ---- enumerations ---- */

bool IsWord(const std::string &word) {
    return !word.empty() && word.size() <= 200 && std::ranges::all_of(word, [](char byte) {
        return g_ascii_isalnum(byte) || byte == '_';
    });
}

void ImportEnum(Merger *merger, const XsdType &type) {
    const TableType *known = merger->types.Shipped(type.name);
    if ((known != nullptr && known->form != SCHEMA_FORM_ENUM) || !IsIdentifier(type.name)) {
        const std::string why = known != nullptr
                                    ? std::string(" is an enumeration, but the schema declares ") +
                                          SchemaForm_Word(known->form)
                                    : " has a name that the tables cannot hold";
        return merger->AddNote(type.place, "'" + type.name + "'" + why);
    }
    TableType made;
    made.place = merger->place(type.place);
    made.form = SCHEMA_FORM_ENUM;
    made.name = type.name;
    made.ns = merger->options.ns;
    if (known != nullptr) {
        made.ns = known->ns;
        made.isUnlisted = known->isUnlisted;
        made.enclosing = known->enclosing;
        made.words = known->words;
    }
    const size_t numKnown = made.words.size();
    for (const XsdWord &word : type.words) {
        if (!IsWord(word.word))
            merger->AddNote(word.place, "word '" + word.word + "' of '" + type.name +
                                            "' cannot be written in the tables");
        else if (std::ranges::find(made.words, word.word, &TableWord::word) == made.words.end())
            made.words.push_back({merger->place(word.place), word.word});
    }
    if (made.words.size() > numKnown)
        merger->overlay.types.push_back(std::move(made));
}

/* ---- the whole overlay ---- */

std::vector<std::string> VersionWords(const std::vector<Release> &releases, bool isOldestAll) {
    std::vector<std::string> words;
    for (const Release &release : releases)
        words.push_back(
            release.version.empty() || (isOldestAll && words.empty()) ? "all" : release.version);
    return words;
}

void Count(const SchemaModel &shipped, Merged *merged) {
    std::set<std::string> known;
    for (const TableType &type : shipped.types)
        known.insert(type.name);
    for (const TableType &type : merged->overlay.types) {
        const bool isNew = !known.contains(type.name);
        const bool isEnum = type.form == SCHEMA_FORM_ENUM;
        merged->numMethods += type.methods.size();
        if (type.form == SCHEMA_FORM_MANAGED)
            continue;
        (isEnum ? merged->numEnums : merged->numClasses)++;
        (isEnum ? merged->numNewEnums : merged->numNewClasses) += isNew;
    }
}

} // namespace

Merged MergeImport(const SchemaModel &shipped, const std::vector<Release> &releases,
                   const MergeOptions &options, Notes *notes) {
    const XsdSchema schema = CombineReleases(releases, notes);
    const TypeMap types(shipped, schema);
    Merger merger{shipped, schema, types, options, VersionWords(releases, options.isOldestAll),
                  notes};
    for (const XsdType &type : schema.types) {
        if (!type.isSimple && !TypeMap::IsWrapper(type))
            ImportClass(&merger, type);
        else if (type.isSimple && !type.words.empty())
            ImportEnum(&merger, type);
    }
    ImportMethods(shipped, schema, types, options.ns, &merger.overlay.types, notes);

    Merged merged;
    merged.overlay = std::move(merger.overlay);
    VerifyOverlay(shipped, &merged.overlay, notes);
    Count(shipped, &merged);
    return merged;
}

} // namespace schemaImport
