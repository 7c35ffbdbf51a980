#include "tools/orvane/schemaWords.h"

#include <array>
#include <functional>
#include <memory>
#include <set>

#include <orvane/method.h>
#include <orvane/orvane.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/owners.h"

namespace orvaneCli {

namespace {

constexpr int kOptional = 1 << G_PARAM_USER_SHIFT; /* of the properties of the schema */

struct PlainType {
    GType (*type)();
    const char *word;
};
constexpr auto kPlainTypes = std::to_array<PlainType>({
    {[] { return G_TYPE_NONE; }, "nothing"},
    {[] { return G_TYPE_STRING; }, "string"},
    {[] { return G_TYPE_BOOLEAN; }, "boolean"},
    {[] { return G_TYPE_CHAR; }, "byte"},
    {[] { return G_TYPE_INT; }, "int"},
    {[] { return G_TYPE_INT64; }, "long"},
    {[] { return G_TYPE_FLOAT; }, "float"},
    {[] { return G_TYPE_DOUBLE; }, "double"},
    {[] { return G_TYPE_VALUE; }, "any"},
    {orvane_timeval_get_type, "dateTime"},
    {orvane_byte_array_get_type, "binary"},
    {orvane_uri_get_type, "anyURI"},
});

void Visit(GType type, const std::function<void(GType)> &visit) {
    visit(type);
    guint count = 0;
    const GPtr<GType> children(g_type_children(type, &count));
    for (guint i = 0; i < count; i++)
        Visit(children.get()[i], visit);
}

/* Calls the function with a class of the schema and all below it. */
void ForEachClass(GType root, const std::function<void(GType)> &visit) {
    orvane_lookup_type("ManagedObject"); /* registers all */
    Visit(root, visit);
}

} // namespace

std::string TypeWord(GType type, GType elementType) {
    if (elementType != 0)
        return TypeWord(elementType) + "[]";
    for (const PlainType &plain : kPlainTypes) {
        if (plain.type() == type)
            return plain.word;
    }
    const auto *name = static_cast<const char *>(g_type_get_qdata(type, orvane_quark_wsdlname()));
    return name != nullptr ? name : g_type_name(type);
}

std::vector<std::string> WordsOf(GType type) {
    std::vector<std::string> words;
    if (!G_TYPE_IS_ENUM(type))
        return words;
    const TypeClassPtr klass(g_type_class_ref(type));
    const auto *values = static_cast<GEnumClass *>(klass.get());
    for (guint i = 0; i < values->n_values; i++)
        words.emplace_back(values->values[i].value_nick);
    return words;
}

std::vector<SchemaFieldInfo> FieldsOf(GType type) {
    std::vector<SchemaFieldInfo> fields;
    if (!g_type_is_a(type, SKEMA_TYPE_QORM_DATA_OBJECT))
        return fields;
    const GType common = orvane_lookup_type("DynamicData");
    const TypeClassPtr klass(g_type_class_ref(type));
    guint count = 0;
    const GPtr<GParamSpec *> specs(
        g_object_class_list_properties(static_cast<GObjectClass *>(klass.get()), &count));
    for (guint i = 0; i < count; i++) {
        GParamSpec *spec = specs.get()[i];
        const auto *release =
            static_cast<const char *>(g_param_spec_get_qdata(spec, orvane_quark_version()));
        if (release == nullptr || spec->owner_type == common)
            continue;
        const GType elementType =
            GPOINTER_TO_SIZE(g_param_spec_get_qdata(spec, orvane_quark_arraytype()));
        fields.push_back(
            {spec->name, spec->value_type, elementType, (spec->flags & kOptional) != 0, release});
    }
    return fields;
}

std::vector<std::string> DataClassNames() {
    std::vector<std::string> names;
    ForEachClass(SKEMA_TYPE_QORM_DATA_OBJECT, [&](GType type) { names.push_back(TypeWord(type)); });
    return names;
}

std::vector<GType> ClassesWithMethod(const std::string &name) {
    std::vector<GType> classes;
    ForEachClass(SKEMA_TYPE_QORM_MANAGED_OBJECT, [&](GType type) {
        const MethodPtr method(orvane_method_info_new(type, name.c_str()));
        if (method && method->owner == type)
            classes.push_back(type);
    });
    return classes;
}

std::vector<std::string> MethodNamesOf(GType type) {
    std::vector<std::string> names;
    const StrvPtr list(orvane_type_list_methods(type));
    for (char **name = list.get(); *name != nullptr; name++)
        names.emplace_back(*name);
    return names;
}

std::vector<std::string> AllMethodNames() {
    std::set<std::string> names;
    ForEachClass(SKEMA_TYPE_QORM_MANAGED_OBJECT, [&](GType type) {
        for (std::string &name : MethodNamesOf(type))
            names.insert(std::move(name));
    });
    return {names.begin(), names.end()};
}

} // namespace orvaneCli
