#include "tools/simulator/filterSpec.h"

#include <algorithm>
#include <map>
#include <set>

#include <fmt/format.h>

#include "tools/simulator/types.h"

namespace simulator {

namespace {

std::string_view FirstName(std::string_view path) {
    return path.substr(0, path.find_first_of(".["));
}

void RequireType(const std::string &type) {
    if (!IsType(type))
        throw Fault("InvalidType", fmt::format("There is no type \"{}\".", type),
                    {{"argument", Text(type)}});
}

void RequireProperty(const std::string &type, std::string_view path) {
    if (!HasProperty(type, FirstName(path)))
        throw Fault("InvalidProperty", fmt::format("{} has no property \"{}\".", type, path),
                    {{"name", Text(std::string(path))}});
}

/* Reads specs into rows; names are resolved at the end. */
class SpecReader {
public:
    FilterSpec Read(const Element &element) {
        for (const Element *set : element.Children("propSet"))
            ReadProperties(*set);
        for (const Element *set : element.Children("objectSet"))
            ReadObject(*set);
        spec.reportMissing = OptionalTruth(element, "reportMissingObjectsInResults", false);
        if (spec.properties.empty())
            throw InvalidArgument("propSet", "A filter without properties selects nothing.");
        if (spec.objects.empty())
            throw InvalidArgument("objectSet", "A filter without objects selects nothing.");
        ResolveNames();
        return std::move(spec);
    }

private:
    void ReadProperties(const Element &element) {
        PropertyRow row{ReadText(element, "type"), OptionalTruth(element, "all", false),
                        ReadTexts(element, "pathSet")};
        RequireType(row.type);
        for (const auto &path : row.paths)
            RequireProperty(row.type, path);
        spec.properties.push_back(std::move(row));
    }

    void ReadObject(const Element &element) {
        const Element &object = ReadReference(element, "obj");
        ObjectRow row{object.type, object.text, OptionalTruth(element, "skip", false), {}};
        const size_t index = spec.objects.size();
        spec.objects.push_back(row);
        const auto next = ReadSelections(element, {true, index});
        spec.objects[index].next = next;
    }

    /* The row that has a list of selections: an object row or a traversal row. */
    struct Place {
        bool inObject;
        size_t index;
    };

    std::vector<size_t> ReadSelections(const Element &element, Place place) {
        std::vector<size_t> next;
        for (const Element *selection : element.Children("selectSet")) {
            const std::string name = OptionalText(*selection, "name");
            const bool isTraversal =
                selection->xsiType == "TraversalSpec" || selection->Child("path") != nullptr;
            if (isTraversal)
                next.push_back(ReadTraversal(*selection, name));
            else
                toResolve.push_back({place, name});
        }
        return next;
    }

    size_t ReadTraversal(const Element &element, const std::string &name) {
        const size_t index = spec.traversals.size();
        TraversalRow row{name,
                         ReadText(element, "type"),
                         ReadText(element, "path"),
                         OptionalTruth(element, "skip", false),
                         {}};
        RequireType(row.type);
        RequireProperty(row.type, row.path);
        spec.traversals.push_back(row);
        if (!name.empty())
            byName[name] = index;
        const auto next = ReadSelections(element, {false, index});
        spec.traversals[index].next = next;
        return index;
    }

    void ResolveNames() {
        for (const auto &[place, name] : toResolve) {
            const auto found = byName.find(name);
            if (found == byName.end())
                throw InvalidArgument("selectSet",
                                      fmt::format("No traversal has the name \"{}\".", name));
            auto &next =
                place.inObject ? spec.objects[place.index].next : spec.traversals[place.index].next;
            next.push_back(found->second);
        }
    }

    FilterSpec spec;
    std::map<std::string, size_t> byName;
    std::vector<std::pair<Place, std::string>> toResolve;
};

/* Walks from the starting points; visits every pair of an object and a traversal once. */
class Walk {
public:
    Walk(const FilterSpec &filterSpec, const Inventory &objects, bool reportsMissing)
        : spec(filterSpec), inventory(objects), reportMissing(reportsMissing) {}

    Selection Run() {
        for (const ObjectRow &row : spec.objects) {
            const ObjectPtr object = inventory.Find(row.id);
            if (!object || !IsA(object->type, row.type)) {
                if (!reportMissing)
                    throw ObjectNotFound(row.type, row.id);
                selection.missing.push_back(&row);
                continue;
            }
            Reach(object, row.skip, row.next);
            while (!open.empty()) {
                const auto [from, traversal] = open.back();
                open.pop_back();
                Follow(*from, spec.traversals[traversal]);
            }
        }
        return std::move(selection);
    }

private:
    void Reach(const ObjectPtr &object, bool skip, const std::vector<size_t> &next) {
        selection.visited.insert(object.get());
        if (!skip && spec.RowFor(object->type) != nullptr && selected.insert(object.get()).second)
            selection.objects.push_back(object);
        for (auto traversal = next.rbegin(); traversal != next.rend(); ++traversal)
            if (done.emplace(object.get(), *traversal).second)
                open.emplace_back(object, *traversal);
    }

    void Follow(const Object &from, const TraversalRow &row) {
        if (!IsA(from.type, row.type))
            return;
        const std::string_view first = FirstName(row.path);
        const std::string_view rest =
            std::string_view(row.path).substr(std::min(first.size() + 1, row.path.size()));
        const Value value = Resolve(from.Get(first), rest);
        if (!value)
            return;
        if (value->kind == ValueKind::Reference)
            ReachReference(*value, row);
        for (const Value &item : value->items)
            if (item->kind == ValueKind::Reference)
                ReachReference(*item, row);
    }

    void ReachReference(const ValueData &reference, const TraversalRow &row) {
        const ObjectPtr object = inventory.Find(reference.text);
        if (object)
            Reach(object, row.skip, row.next);
    }

    struct PairHash {
        size_t operator()(const std::pair<const Object *, size_t> &pair) const {
            return std::hash<const void *>()(pair.first) * 31 + pair.second;
        }
    };

    const FilterSpec &spec;
    const Inventory &inventory;
    const bool reportMissing;
    Selection selection;
    std::unordered_set<const Object *> selected;
    std::unordered_set<std::pair<const Object *, size_t>, PairHash> done;
    std::vector<std::pair<ObjectPtr, size_t>> open;
};

} // namespace

const PropertyRow *FilterSpec::RowFor(std::string_view type) const {
    const PropertyRow *best = nullptr;
    for (const PropertyRow &row : properties)
        if (IsA(type, row.type) && (best == nullptr || IsA(row.type, best->type)))
            best = &row;
    return best;
}

bool FilterSpec::Traverses(std::string_view property) const {
    return std::ranges::any_of(
        traversals, [&](const TraversalRow &row) { return FirstName(row.path) == property; });
}

FilterSpec ParseFilterSpec(const Element &element) {
    return SpecReader().Read(element);
}

Selection Select(const FilterSpec &spec, const Inventory &inventory, bool reportMissing) {
    return Walk(spec, inventory, reportMissing).Run();
}

} // namespace simulator
