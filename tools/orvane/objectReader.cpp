#include "tools/orvane/objectReader.h"

#include <algorithm>

#include <fmt/format.h>
#include <orvane/json.h>
#include <orvane/objectPath.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/idMap.h"
#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/textWidth.h"

namespace orvaneCli {

namespace {

constexpr int kMostNamed = 60; /* columns of a message for names of objects */

using Json = nlohmann::ordered_json;

struct OwnedValue {
    GValue value = G_VALUE_INIT;
    ~OwnedValue() { orvane_value_cond_unset(&value); }
};

ValueArrayPtr ArrayOf(GObject *object, const char *property) {
    GValueArray *array = nullptr;
    g_object_get(object, property, &array, nullptr);
    return ValueArrayPtr(array != nullptr ? array : g_value_array_new(0));
}

std::string StringOf(GObject *object, const char *property) {
    gchar *text = nullptr;
    g_object_get(object, property, &text, nullptr);
    const GPtr<char> owner(text);
    return text != nullptr ? text : "";
}

Json JsonOf(const std::string &name, const GValue *value) {
    GError *error = nullptr;
    const GPtr<char> text(orvane_value_to_json(value, ORVANE_JSON_COMPACT, &error));
    if (!text)
        throw Failure(fmt::format("{}: {}", Printable(name), Printable(TakeMessage(error))));
    return Json::parse(text.get());
}

/* Objects of the same class and paths share a spec. */
std::string GroupOf(const ObjectToRead &each) {
    std::string group = G_OBJECT_TYPE_NAME(each.object.get());
    for (const PropertyPath &path : each.paths)
        group += "\n" + path.requested;
    return group;
}

void AppendText(GValueArray *array, const std::string &text) {
    GValue value = G_VALUE_INIT;
    g_value_init(&value, G_TYPE_STRING);
    g_value_set_string(&value, text.c_str());
    g_value_array_append(array, &value);
    g_value_unset(&value);
}

GObject *FilterSpec(const std::vector<const ObjectToRead *> &group) {
    const ObjectToRead &first = *group.front();
    GObject *propertySpec =
        orvane_property_spec_new(G_OBJECT_TYPE(first.object.get()), first.paths.empty(), nullptr);
    if (!first.paths.empty()) {
        std::vector<std::string> requested;
        const ValueArrayPtr paths(g_value_array_new(0));
        for (const PropertyPath &path : first.paths) {
            if (std::ranges::find(requested, path.requested) != requested.end())
                continue;
            requested.push_back(path.requested);
            AppendText(paths.get(), path.requested);
        }
        g_object_set(propertySpec, "pathSet", paths.get(), nullptr);
    }
    GObject *filterSpec = orvane_filter_spec_new(TRUE, propertySpec, nullptr);
    const ValueArrayPtr objects(g_value_array_new(static_cast<guint>(group.size())));
    for (const ObjectToRead *each : group)
        AppendObject(objects.get(), SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_SPEC,
                     orvane_object_spec_new(each->object.get(), FALSE, TRUE, nullptr));
    g_object_set(filterSpec, "objectSet", objects.get(), nullptr);
    return filterSpec;
}

/* The place of a property in the list of an object; -1 if it is not there. */
int IndexOf(const GValueArray *propSet, const std::string &name) {
    for (guint i = 0; i < propSet->n_values; i++) {
        auto *property = G_OBJECT(g_value_get_object(&propSet->values[i]));
        if (property != nullptr && StringOf(property, "name") == name)
            return static_cast<int>(i);
    }
    return -1;
}

void ReadPaths(GObject *content, const GValueArray *propSet, const std::vector<PropertyPath> &paths,
               ReadObjectResult &result) {
    for (const PropertyPath &path : paths) {
        const int index = IndexOf(propSet, path.requested);
        OwnedValue value;
        const std::string inContent =
            fmt::format("propSet[#{}].val{}", index, path.text.substr(path.requested.size()));
        if (index >= 0 && orvane_object_get_path(content, inContent.c_str(), &value.value))
            result.properties.push_back({path.text, JsonOf(path.text, &value.value)});
    }
}

ReadObjectResult ResultOf(GObject *content, const std::vector<PropertyPath> &paths) {
    ReadObjectResult result;
    const ValueArrayPtr propSet = ArrayOf(content, "propSet");
    ReadPaths(content, propSet.get(), paths, result);
    for (guint i = 0; paths.empty() && i < propSet->n_values; i++) {
        auto *property = G_OBJECT(g_value_get_object(&propSet->values[i]));
        if (property == nullptr)
            continue;
        OwnedValue value;
        orvane_object_get_any(property, "val", &value.value);
        const std::string name = StringOf(property, "name");
        result.properties.push_back({name, JsonOf(name, &value.value)});
    }
    const ValueArrayPtr missingSet = ArrayOf(content, "missingSet");
    for (guint i = 0; i < missingSet->n_values; i++) {
        auto *missing = G_OBJECT(g_value_get_object(&missingSet->values[i]));
        if (missing == nullptr)
            continue;
        SkemaQormMethodFault *fault = nullptr;
        g_object_get(missing, "fault", &fault, nullptr);
        const ObjectPtr<SkemaQormMethodFault> owner(fault);
        const std::string name = fault != nullptr ? ClassName(fault) : "";
        result.missing.push_back(
            {StringOf(missing, "path"),
             (fault != nullptr ? name : FaultText(nullptr)) + AdviceText(fault), name});
    }
    return result;
}

} // namespace

std::vector<ReadObjectResult> ReadObjects(const Service &service,
                                          const std::vector<ObjectToRead> &objects) {
    std::map<std::string, std::vector<const ObjectToRead *>> groups;
    IdMap<const ObjectToRead *> byId;
    std::string names;
    for (const ObjectToRead &each : objects) {
        if (!byId.emplace(each.object->id, &each).second)
            continue; /* it is named twice */
        groups[GroupOf(each)].push_back(&each);
        names += fmt::format("{}{}", names.empty() ? "" : ", ", Printable(each.object->id));
    }
    const ValueArrayPtr specSet(g_value_array_new(0));
    for (const auto &[name, group] : groups)
        AppendObject(specSet.get(), SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_FILTER_SPEC,
                     FilterSpec(group));
    const ProxyPtr collector = service.RequireManager("propertyCollector");
    Operation retrieve(
        Text(MSGID("object.reading") "reading %s", CutText(names, kMostNamed, "...").c_str()),
        service.TimeoutSeconds());
    skema_qorm_core_property_collector_retrieve_contents(
        SKEMA_QORM_CORE_PROPERTY_COLLECTOR(collector.get()), specSet.get(), retrieve.Listener());

    IdMap<ReadObjectResult> byResult;
    for (const ObjectPtr<GObject> &content : retrieve.Objects()) {
        SkemaQormManagedObject *object = nullptr;
        g_object_get(content.get(), "obj", &object, nullptr);
        const ProxyPtr owner(object);
        const auto asked = object != nullptr ? byId.find(object->id) : byId.end();
        if (asked != byId.end())
            byResult[asked->first] = ResultOf(content.get(), asked->second->paths);
    }
    std::vector<ReadObjectResult> results;
    for (const ObjectToRead &each : objects)
        results.push_back(byResult[each.object->id]);
    return results;
}

std::string TextOfJson(const Json &value) {
    if (value.is_null())
        return "";
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_array()) {
        std::string all;
        for (const Json &each : value)
            all += fmt::format("{}{}", all.empty() ? "" : ", ", TextOfJson(each));
        return all;
    }
    if (value.is_object() && value.contains("_id"))
        return fmt::format("{}:{}", TextOfJson(value.value("_type", Json())),
                           TextOfJson(value["_id"]));
    return value.dump();
}

} // namespace orvaneCli
