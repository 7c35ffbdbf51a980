#include "tools/orvane/propertyPath.h"

#include <algorithm>
#include <optional>

#include <fmt/format.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/message.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/owners.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

constexpr size_t kMostShown = 5;

struct ReleaseClass {
    void operator()(gpointer ofType) const { g_type_class_unref(ofType); }
};
using ClassPtr = std::unique_ptr<GObjectClass, ReleaseClass>;

ClassPtr ClassOf(GType type) {
    return ClassPtr(static_cast<GObjectClass *>(g_type_class_ref(type)));
}

const char *WireName(GType type) {
    const auto *name = static_cast<const char *>(g_type_get_qdata(type, orvane_quark_wsdlname()));
    return name != nullptr ? name : g_type_name(type);
}

/* The type of a property, of one element if it is a list; 0 if the class does not have it. */
struct PropertyType {
    GType type = 0;
    bool isList = false;
};

PropertyType FindProperty(GType type, const std::string &name) {
    GParamSpec *spec = g_object_class_find_property(ClassOf(type).get(), name.c_str());
    if (spec == nullptr)
        return {};
    const auto element = GPOINTER_TO_SIZE(g_param_spec_get_qdata(spec, orvane_quark_arraytype()));
    return {element != 0 ? element : spec->value_type, element != 0};
}

/* The same, also of a class below it. */
PropertyType FindPropertyBelow(GType type, const std::string &name) {
    for (const GType each : ClassesFrom(type)) {
        if (const PropertyType found = FindProperty(each, name); found.type != 0)
            return found;
    }
    return {};
}

/* The names of the properties of a class and those below it, without those that every data object has. */
std::vector<std::string> NamesBelow(GType type) {
    std::vector<std::string> names;
    for (const GType each : ClassesFrom(type)) {
        for (std::string &known : PropertyNames(each)) {
            if (!known.starts_with("dynamic") && std::ranges::find(names, known) == names.end())
                names.push_back(std::move(known));
        }
    }
    return names;
}

/* Whether a path leads into objects of the class; of managed objects only into the one that it begins with. */
bool HasProperties(GType type, bool isFirst) {
    return g_type_is_a(type, SKEMA_TYPE_QORM_DATA_OBJECT) ||
           g_type_is_a(type, SKEMA_TYPE_QORM_METHOD_FAULT) ||
           (isFirst && g_type_is_a(type, SKEMA_TYPE_QORM_MANAGED_OBJECT));
}

Failure UnknownProperty(GType type, const std::string &name) {
    const std::string shown = Printable(name);
    std::vector<std::string> names = NamesBelow(type);
    if (names.empty()) /* but for what every data object has */
        return BadUsage(
            Text(MSGID("property.classEmpty") "the schema has no properties of %s, so not "
                                              "\"%s\"; \"orvane schema import\" makes an "
                                              "overlay for $ORVANE_SCHEMA_OVERLAY",
                 WireName(type), shown.c_str()));
    const auto similar = NearestWords(name, names, kMostShown);
    if (!similar.empty())
        return BadUsage(Text(MSGID("property.similar") "%s has no property \"%s\"; similar: %s",
                             WireName(type), shown.c_str(),
                             fmt::format("{}", fmt::join(similar, ", ")).c_str()));
    names.resize(std::min(names.size(), kMostShown * 4));
    return BadUsage(Text(MSGID("property.unknown") "%s has no property \"%s\"; there are: %s",
                         WireName(type), shown.c_str(),
                         fmt::format("{}", fmt::join(names, ", ")).c_str()));
}

/* Splits a path at its dots; of each piece what precedes a bracket. Nothing if a bracket is not closed. */
std::optional<std::vector<std::string>> PropertiesOf(const std::string &text) {
    std::vector<std::string> names = {""};
    bool isInBrackets = false;
    bool isQuoted = false;
    for (const char letter : text) {
        if (isInBrackets) {
            isQuoted = isQuoted != (letter == '"');
            isInBrackets = isQuoted || letter != ']';
        } else if (letter == '[') {
            isInBrackets = true;
        } else if (letter == '.') {
            names.emplace_back();
        } else {
            names.back() += letter;
        }
    }
    const bool isWhole = !isInBrackets && std::ranges::find(names, "") == names.end();
    return isWhole ? std::optional(names) : std::nullopt;
}

} // namespace

std::vector<std::string> PropertyNames(GType type) {
    guint count = 0;
    const ClassPtr ofType = ClassOf(type);
    const GPtr<GParamSpec *> specs(g_object_class_list_properties(ofType.get(), &count));
    std::vector<std::string> names;
    for (guint i = 0; i < count; i++)
        names.emplace_back(specs.get()[i]->name);
    return names;
}

std::vector<GType> ClassesFrom(GType type) {
    std::vector<GType> all = {type};
    for (size_t i = 0; i < all.size(); i++) {
        guint count = 0;
        const GPtr<GType> children(g_type_children(all[i], &count));
        all.insert(all.end(), children.get(), children.get() + count);
    }
    return all;
}

GType FindClass(const std::string &name, GType base) {
    const GType type = orvane_lookup_type(name.c_str());
    if (type != 0 && g_type_is_a(type, base))
        return type;
    std::vector<std::string> names;
    for (const GType each : ClassesFrom(base))
        names.emplace_back(WireName(each));
    const std::string nearest = NearestWord(name, names);
    const std::string shown = Printable(name);
    if (nearest.empty())
        throw BadUsage(Text(MSGID("class.unknown") "\"%s\" is no class of objects in the "
                                                   "inventory; \"orvane ls -R -l\" shows classes",
                            shown.c_str()));
    throw BadUsage(
        Text(MSGID("class.similar") "\"%s\" is no class of objects in the inventory; did "
                                    "you mean \"%s\"?",
             shown.c_str(), nearest.c_str()));
}

std::vector<PropertyChoice> PropertiesAt(GType type, const std::string &path) {
    const auto names = path.empty() ? std::vector<std::string>() : PropertiesOf(path);
    GType at = names ? type : 0;
    for (size_t i = 0; at != 0 && i < names->size(); i++)
        at = HasProperties(at, i == 0) ? FindPropertyBelow(at, (*names)[i]).type : 0;
    if (at == 0 || !HasProperties(at, names->empty()))
        return {};
    std::vector<PropertyChoice> all;
    for (const std::string &name : NamesBelow(at))
        all.push_back({name, FindPropertyBelow(at, name).isList});
    return all;
}

bool HasFirstProperty(GType type, const std::string &text) {
    return FindProperty(type, text.substr(0, text.find_first_of(".["))).type != 0;
}

PropertyPath CheckPropertyPath(GType type, const std::string &text) {
    const auto names = PropertiesOf(text);
    if (!names)
        throw BadUsage(Text(MSGID("property.noPath") "\"%s\" is no property path such as "
                                                     "config.hardware.device[*].label",
                            Printable(text).c_str()));
    std::string requested;
    const size_t bracket = std::min(text.find('['), text.size());
    GType at = type;
    bool isList = false;
    for (const std::string &name : *names) {
        if (at == G_TYPE_VALUE)
            break;
        if (!HasProperties(at, requested.empty()))
            throw BadUsage(Text(MSGID("property.noObject") "%s: \"%s\" is in no object that can be "
                                                           "read with it",
                                Printable(text).c_str(), Printable(name).c_str()));
        const PropertyType next = FindPropertyBelow(at, name);
        if (next.type == 0)
            throw UnknownProperty(at, name);
        requested += (requested.empty() ? "" : ".") + name;
        at = next.type;
        isList = next.isList;
    }
    requested.resize(std::min(requested.size(), bracket));
    const bool isWholeList = isList && !text.ends_with(']');
    return {text, requested, at == G_TYPE_VALUE || isWholeList ? 0 : at};
}

} // namespace orvaneCli
