#include "ozy/lib/orvane/schemaEngine.h"

#include <span>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <orvane/schema/ozy.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/orvaneRuntime.h"

namespace {

struct ClassUnref {
    void operator()(GObjectClass *klass) const { g_type_class_unref(klass); }
};
using ClassPtr = std::unique_ptr<GObjectClass, ClassUnref>;

ClassPtr ClassOf(GType type) {
    return ClassPtr(static_cast<GObjectClass *>(g_type_class_ref(type)));
}

ClassPtr ClassOf(const char *wireName) {
    return ClassOf(orvane_lookup_type(wireName));
}

std::vector<std::string> PropertyNames(const char *wireName) {
    const ClassPtr klass = ClassOf(wireName);
    guint count = 0;
    const GPtr<GParamSpec *> specs(g_object_class_list_properties(klass.get(), &count));
    std::vector<std::string> names;
    for (GParamSpec *spec : std::span(specs.get(), count))
        names.emplace_back(spec->name);
    return names;
}

/* Shapes a person can compare: "GParamBoxed flags 259 since ozy2/2.0 'Array of ...' of GValue". */
std::string Shape(const char *wireName, const char *property) {
    const ClassPtr klass = ClassOf(wireName);
    GParamSpec *spec = g_object_class_find_property(klass.get(), property);
    if (spec == nullptr)
        return "none";
    std::string shape =
        std::string(G_PARAM_SPEC_TYPE_NAME(spec)) + " of " + g_type_name(spec->value_type) +
        ", flags " + std::to_string(spec->flags) + ", since '" +
        static_cast<char *>(g_param_spec_get_qdata(spec, orvane_quark_version())) + "'";
    const GType element = GPOINTER_TO_SIZE(g_param_spec_get_qdata(spec, orvane_quark_arraytype()));
    if (element != 0)
        shape += std::string(", ") + g_param_spec_get_blurb(spec) + " = " + g_type_name(element);
    return shape;
}

TEST(SchemaClass, EveryClassIsMadeReadAndReleased) {
    const SchemaTables *tables = SchemaEngine_Tables();
    for (guint i = 0; i < tables->numTypes; i++) {
        if (tables->types[i].kind == SCHEMA_KIND_ENUM)
            continue;
        const ObjectPtr<GObject> object(
            static_cast<GObject *>(g_object_new(orvane_schema_get_type(i), nullptr)));
        if (g_object_is_floating(object.get()))
            g_object_ref_sink(object.get());
        guint count = 0;
        const GPtr<GParamSpec *> specs(
            g_object_class_list_properties(G_OBJECT_GET_CLASS(object.get()), &count));
        for (GParamSpec *spec : std::span(specs.get(), count)) {
            GValue value = G_VALUE_INIT;
            g_value_init(&value, spec->value_type);
            g_object_get_property(object.get(), spec->name, &value);
            EXPECT_TRUE(spec->flags == 3 || spec->flags == 259) << spec->name;
            EXPECT_STREQ("", g_param_spec_get_nick(spec));
            EXPECT_NE(nullptr, g_param_spec_get_qdata(spec, orvane_quark_version()));
            g_value_unset(&value);
        }
    }
}

TEST(SchemaClass, PropertiesComeBaseFirstThenInTheOrderOfTheSchema) {
    using testing::ElementsAre;
    EXPECT_THAT(PropertyNames("SelectionSpec"),
                ElementsAre("dynamicType", "dynamicProperty", "name"));
    EXPECT_THAT(PropertyNames("MethodFault"), ElementsAre("faultCause", "faultMessage"));
}

TEST(SchemaClass, ParamSpecsAreWhatTheWireNeeds) {
    EXPECT_EQ("GParamString of gchararray, flags 259, since ''",
              Shape("DynamicData", "dynamicType"));
    EXPECT_EQ("GParamBoxed of GValueArray, flags 259, since '', "
              "Array of 'SkemaQormDynamicProperty' = SkemaQormDynamicProperty",
              Shape("DynamicData", "dynamicProperty"));
}

} // namespace
