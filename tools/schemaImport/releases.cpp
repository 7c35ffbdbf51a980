#include "tools/schemaImport/releases.h"

#include <algorithm>
#include <map>

namespace schemaImport {

namespace {

struct Combiner {
    const std::vector<Release> &releases;
    Notes *notes;
    XsdSchema schema = {};
    std::map<std::string, size_t> index = {};
    int release = 0; /* that is being added */

    void AddNote(const Place &place, const std::string &text) { notes->push_back({place, text}); }
    std::string now() const { return "release " + releases[static_cast<size_t>(release)].version; }
};

std::string FieldText(const XsdField &field, const XsdType &type) {
    return "element '" + field.name + "' of '" + type.name + "'";
}

std::string UseText(const XsdField &field) {
    return field.type.local + (field.isArray ? "[]" : "") + (field.isOptional ? "?" : "");
}

template <class Items> auto FindNamed(Items &items, const std::string &name) {
    return std::ranges::find_if(items, [&](const auto &item) { return item.name == name; });
}

void CombineField(Combiner *combiner, const XsdType &type, XsdField *earlier,
                  const XsdField &later) {
    if (earlier->type != later.type || earlier->isArray != later.isArray ||
        earlier->isOptional != later.isOptional)
        combiner->AddNote(later.place, FieldText(later, type) + " is " + UseText(later) + " in " +
                                           combiner->now() + ", but " + PlaceText(earlier->place) +
                                           " declares " + UseText(*earlier));
    earlier->isOptional |= later.isOptional;
}

/* Inserts new elements after the element that precedes them in the later release. */
void CombineFields(Combiner *combiner, XsdType *earlier, const XsdType &later) {
    const std::vector<XsdField> before = earlier->fields;
    size_t next = 0; /* index after the last element that both have */
    for (const XsdField &field : later.fields) {
        const auto found = FindNamed(earlier->fields, field.name);
        if (found == earlier->fields.end()) {
            XsdField added = field;
            added.firstRelease = combiner->release;
            earlier->fields.insert(earlier->fields.begin() + static_cast<long>(next++), added);
            continue;
        }
        CombineField(combiner, *earlier, &*found, field);
        const size_t place = static_cast<size_t>(found - earlier->fields.begin());
        if (place < next)
            combiner->AddNote(field.place, FieldText(field, later) + " comes after '" +
                                               earlier->fields[next - 1].name + "' in " +
                                               combiner->now() + ", but before it at " +
                                               PlaceText(found->place));
        next = std::max(next, place + 1);
    }
    for (const XsdField &field : before) {
        if (later.isIncomplete || FindNamed(later.fields, field.name) != later.fields.end())
            continue;
        combiner->AddNote(later.place, FieldText(field, *earlier) + " is gone in " +
                                           combiner->now() + "; it stays, as optional, from " +
                                           PlaceText(field.place));
        FindNamed(earlier->fields, field.name)->isOptional = true;
    }
}

void CombineWords(XsdType *earlier, const XsdType &later) {
    for (const XsdWord &word : later.words) {
        if (std::ranges::find(earlier->words, word.word, &XsdWord::word) == earlier->words.end())
            earlier->words.push_back(word);
    }
}

void CombineType(Combiner *combiner, XsdType *earlier, const XsdType &later) {
    if (earlier->isSimple != later.isSimple || earlier->base != later.base) {
        combiner->AddNote(later.place, "'" + later.name + "' has another base or kind in " +
                                           combiner->now() + " than at " +
                                           PlaceText(earlier->place) + "; this one is not used");
        return;
    }
    earlier->isIncomplete |= later.isIncomplete;
    CombineWords(earlier, later);
    CombineFields(combiner, earlier, later);
}

void AddType(Combiner *combiner, const XsdType &type) {
    XsdType added = type;
    added.firstRelease = combiner->release;
    for (XsdField &field : added.fields)
        field.firstRelease = combiner->release;
    combiner->index.emplace(type.name, combiner->schema.types.size());
    combiner->schema.types.push_back(std::move(added));
}

/* The latest form of an operation is used: arguments have no releases. */
void AddOperation(Combiner *combiner, const XsdOperation &operation) {
    const auto found = FindNamed(combiner->schema.operations, operation.name);
    if (found == combiner->schema.operations.end())
        combiner->schema.operations.push_back(operation);
    else
        *found = operation;
}

} // namespace

XsdSchema CombineReleases(const std::vector<Release> &releases, Notes *notes) {
    Combiner combiner{releases, notes};
    for (const Release &release : releases) {
        for (const XsdType &type : release.schema.types) {
            const auto found = combiner.index.find(type.name);
            if (found == combiner.index.end())
                AddType(&combiner, type);
            else
                CombineType(&combiner, &combiner.schema.types[found->second], type);
        }
        for (const XsdOperation &operation : release.schema.operations)
            AddOperation(&combiner, operation);
        combiner.release++;
    }
    return std::move(combiner.schema);
}

} // namespace schemaImport
