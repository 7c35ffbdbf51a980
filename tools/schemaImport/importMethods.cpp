#include "tools/schemaImport/importMethods.h"

#include <algorithm>

namespace schemaImport {

namespace {

/* A method of the schema, and the class that has it. */
struct Owned {
    const TableType *owner;
    const TableMethod *method;
};

using MethodIndex = std::multimap<std::string, Owned>;

/* Methods of the service that the documents describe, and of the core. */
MethodIndex IndexMethods(const SchemaModel &shipped, SchemaNamespace ns) {
    MethodIndex index;
    for (const TableType &type : shipped.types) {
        if (type.ns != ns && type.ns != SCHEMA_NAMESPACE_QORM)
            continue;
        for (const TableMethod &method : type.methods)
            index.emplace(method.wireName, Owned{&type, &method});
    }
    return index;
}

std::vector<Owned> FindMethods(const MethodIndex &index, const XsdOperation &operation) {
    std::vector<Owned> found;
    const auto add = [&](const std::string &name) {
        const auto [begin, end] = index.equal_range(name);
        for (auto at = begin; at != end; ++at)
            found.push_back(at->second);
    };
    add(operation.name);
    if (found.empty() && operation.isGuess)
        add(operation.name + "_Task");
    return found;
}

std::vector<XsdField> ArgumentsOf(const XsdOperation &operation) {
    std::vector<XsdField> arguments = operation.arguments;
    if (!arguments.empty() && arguments[0].name == "_this")
        arguments.erase(arguments.begin());
    return arguments;
}

bool HasArguments(const TableMethod &method, const std::vector<XsdField> &arguments) {
    return std::ranges::equal(method.arguments, arguments, {}, &TableArgument::name,
                              &XsdField::name);
}

bool IsStated(const TableTypeRef &type) {
    return !type.isUnknown && !type.isLikely;
}

struct Importer {
    const TypeMap &types;
    Notes *notes;

    void AddNote(const Place &place, const std::string &text) { notes->push_back({place, text}); }
};

/* A reference names no class, so the likely class of the schema stays. */
TableTypeRef Supply(const TableTypeRef &known, const XsdField &argument, const TableTypeRef &said) {
    const bool isLikelyClass = known.isLikely && argument.type.local == "ManagedObjectReference" &&
                               !argument.type.isBuiltIn && known.name == said.name;
    TableTypeRef supplied = said;
    supplied.isLikely = isLikelyClass && said.name != "ManagedObject";
    return supplied;
}

bool IsSame(const TableTypeRef &a, const TableTypeRef &b) {
    return RefText(a) == RefText(b);
}

/* Returns true if the documents have more types than the schema. */
bool ImportArgument(Importer *importer, const Owned &owned, const XsdField &said,
                    TableArgument *argument) {
    const std::string text = "argument '" + said.name + "' of '" + owned.method->wireName + "' ";
    TableTypeRef ref;
    std::string why;
    if (!importer->types.RefOf(said, &argument->type, &ref, &why)) {
        importer->AddNote(said.place, text + why);
        return false;
    }
    const TableTypeRef known = argument->type;
    const bool agrees = IsStated(known) ? AgreesWith(known, ref)
                                        : !known.isUnknown || !known.isArray || ref.isArray;
    if (!agrees) {
        importer->AddNote(said.place, text + "is " + RefText(ref) + ", but the schema declares " +
                                          RefText(known));
        return false;
    }
    if (IsStated(known))
        return false;
    argument->type = Supply(known, said, ref);
    return !IsSame(known, argument->type);
}

void CheckResult(Importer *importer, const Owned &owned, const XsdOperation &operation) {
    if (operation.isGuess || operation.results.size() > 1)
        return;
    TableTypeRef said;
    std::string why;
    const TableTypeRef &known = owned.method->result;
    if (!operation.results.empty() &&
        !importer->types.RefOf(operation.results[0], &known, &said, &why))
        return importer->AddNote(operation.results[0].place,
                                 "the result of '" + operation.name + "' " + why);
    if (said.name != known.name || said.isArray != known.isArray)
        importer->AddNote(operation.place, "'" + operation.name + "' returns " + RefText(said) +
                                               ", but the schema declares " + RefText(known));
}

TableType *BlockOf(std::vector<TableType> *overlay, size_t begin, const TableType &owner) {
    for (size_t i = begin; i < overlay->size(); i++) {
        if ((*overlay)[i].name == owner.name)
            return &(*overlay)[i];
    }
    TableType block;
    block.form = owner.form;
    block.ns = owner.ns;
    block.isUnlisted = owner.isUnlisted;
    block.name = owner.name;
    overlay->push_back(std::move(block));
    return &overlay->back();
}

} // namespace

std::string RefText(const TableTypeRef &ref) {
    if (ref.name.empty() && !ref.isUnknown)
        return "nothing";
    return (ref.isLikely ? "~" : "") + (ref.isUnknown ? "*" : ref.name) +
           (ref.isArray ? "[]" : "") + (ref.isOptional ? "?" : "") + (ref.isRequired ? "!" : "");
}

bool AgreesWith(const TableTypeRef &known, const TableTypeRef &said) {
    return known.name == said.name && known.isArray == said.isArray &&
           known.isOptional == said.isOptional;
}

void ImportMethods(const SchemaModel &shipped, const XsdSchema &schema, const TypeMap &types,
                   SchemaNamespace ns, std::vector<TableType> *overlay, Notes *notes) {
    Importer importer{types, notes};
    const MethodIndex index = IndexMethods(shipped, ns);
    const size_t begin = overlay->size();
    for (const XsdOperation &operation : schema.operations) {
        const std::vector<Owned> methods = FindMethods(index, operation);
        if (methods.empty()) {
            importer.AddNote(operation.place, "operation '" + operation.name +
                                                  "' is new: no class is known that could have it");
            continue;
        }
        const std::vector<XsdField> arguments = ArgumentsOf(operation);
        bool isKnown = false;
        for (const Owned &owned : methods) {
            if (operation.isIncomplete || !HasArguments(*owned.method, arguments))
                continue;
            isKnown = true;
            CheckResult(&importer, owned, operation);
            TableMethod method = *owned.method;
            method.stub.clear();
            bool isBetter = false;
            for (size_t i = 0; i < arguments.size(); i++)
                isBetter |= ImportArgument(&importer, owned, arguments[i], &method.arguments[i]);
            if (isBetter)
                BlockOf(overlay, begin, *owned.owner)->methods.push_back(std::move(method));
        }
        if (!isKnown)
            importer.AddNote(operation.place, "operation '" + operation.name +
                                                  "' has other arguments than in the schema");
    }
}

} // namespace schemaImport
