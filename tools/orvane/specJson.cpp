#include "tools/orvane/specJson.h"

#include <algorithm>
#include <map>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>
#include <orvane/schema/qorm.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/methodHelp.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kType[] = "_type";
constexpr size_t kMostLevels = 100;

SchemaFieldInfo FindField(GType type, const std::string &name) {
    std::vector<SchemaFieldInfo> fields = FieldsOf(type);
    const auto found = std::ranges::find(fields, name, &SchemaFieldInfo::name);
    if (found != fields.end())
        return *found;
    if (fields.empty())
        throw BadUsage(NoFieldsText(type));
    std::vector<std::string> names;
    for (const SchemaFieldInfo &field : fields)
        names.push_back(field.name);
    const std::string nearest = NearestWord(name, names);
    const std::string shown = Printable(name);
    const std::string className = TypeWord(type);
    if (nearest.empty())
        throw BadUsage(Text(MSGID("spec.unknown") "%s has no property \"%s\"; see \"orvane call %s "
                                                  "--help\"",
                            className.c_str(), shown.c_str(), className.c_str()));
    throw BadUsage(Text(MSGID("spec.similar") "%s has no property \"%s\"; did you mean \"%s\"?",
                        className.c_str(), shown.c_str(), nearest.c_str()));
}

/* The class that an object has: the declared one, or that of its "_type". */
GType ClassOf(const Json &object, GType declared) {
    if (!object.contains(kType))
        return declared;
    const auto name = object[kType].get<std::string>();
    const GType named = orvane_lookup_type(name.c_str());
    if (!g_type_is_a(named, declared))
        throw BadUsage(Text(MSGID("spec.class") "\"%s\" is no class below %s",
                            Printable(name).c_str(), TypeWord(declared).c_str()));
    return named;
}

class Builder {
public:
    Builder(GType itsType, const ValueReader &itsReader) : type(itsType), reader(itsReader) {}

    void Add(const std::string &path, const std::vector<std::string> &texts) {
        Json *object = &whole;
        GType at = type;
        std::string rest = path;
        for (size_t level = 0; level < kMostLevels; level++) {
            const std::string name = TakePiece(rest);
            if (rest.empty())
                return Set(*object, at, path, name, texts);
            const SchemaFieldInfo field = FindField(ClassOf(*object, at), name);
            if (!g_type_is_a(field.type, SKEMA_TYPE_QORM_DATA_OBJECT))
                throw BadUsage(Text(MSGID("spec.noObject") "%s: \"%s\" is no data object",
                                    Printable(path).c_str(), name.c_str()));
            object = &(*object)[name];
            if (!object->is_object() && !object->is_null())
                break;
            at = field.type;
        }
        throw BadUsage(
            Text(MSGID("value.twice") "%s is given more than once", Printable(path).c_str()));
    }
    std::string Whole() const { return whole.dump(); }

private:
    void Set(Json &object, GType at, const std::string &path, const std::string &name,
             const std::vector<std::string> &texts) {
        if (name == kType) {
            object[kType] = texts.front();
            ClassOf(object, at); /* checks it */
            return;
        }
        const SchemaFieldInfo field = FindField(ClassOf(object, at), name);
        const std::string shown = Printable(path);
        if (object.contains(name))
            throw BadUsage(Text(MSGID("value.twice") "%s is given more than once", shown.c_str()));
        const ValuePlace place{field.type, field.elementType};
        const std::string json = reader.Json(shown, texts, place);
        GValue value = G_VALUE_INIT; /* read to find out whether it is right */
        reader.ReadJson(shown, json, place, &value);
        orvane_value_cond_unset(&value);
        object[name] = Json::parse(json, nullptr, false, true);
        if (object[name].is_discarded())
            throw BadUsage(Text(MSGID("value.noJson") "%s: the value is no JSON", shown.c_str()));
    }

    GType type;
    const ValueReader &reader;
    Json whole = Json::object();
};

} // namespace

std::string TakePiece(std::string &path) {
    const size_t dot = path.find('.');
    const std::string piece = path.substr(0, dot);
    path.erase(0, dot == std::string::npos ? dot : dot + 1);
    return piece;
}

std::string SpecJson(GType type, const std::vector<std::string> &words, const ValueReader &reader) {
    std::vector<std::pair<std::string, std::vector<std::string>>>
        given; /* in the order of the words */
    for (const std::string &word : words) {
        NamedText named = SplitNamedText(word);
        const auto found =
            std::ranges::find_if(given, [&](const auto &each) { return each.first == named.name; });
        if (found != given.end())
            found->second.push_back(std::move(named.text));
        else
            given.push_back({named.name, {std::move(named.text)}});
    }
    /* a class decides which properties there are */
    std::stable_partition(given.begin(), given.end(),
                          [](const auto &each) { return each.first.ends_with(kType); });
    Builder builder(type, reader);
    for (const auto &[name, texts] : given)
        builder.Add(name, texts);
    return builder.Whole();
}

} // namespace orvaneCli
