#include "ozy/lib/orvane/schema/schemaEngine.h"

#include <algorithm>

#include <orvane/schema/ozy.h>

#include "tests/lib/lock/inThreads.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

using ClassPtr = std::unique_ptr<GObjectClass, Release<g_type_class_unref>>;

ClassPtr ClassOf(GType type) {
    return ClassPtr(static_cast<GObjectClass *>(g_type_class_ref(type)));
}

ClassPtr ClassOf(const char *wireName) {
    return ClassOf(orvane_lookup_type(wireName));
}

/* "GParamBoxed of GValueArray, flags 3, since 'ozy25/5.0', Array of 'gint16' = gint". */
std::string Shape(const std::string &property, const char *wireName = "TestKinds") {
    const ClassPtr klass = ClassOf(wireName);
    GParamSpec *spec = g_object_class_find_property(klass.get(), property.c_str());
    std::string shape =
        std::string(G_PARAM_SPEC_TYPE_NAME(spec)) + " of " + g_type_name(spec->value_type) +
        ", flags " + std::to_string(spec->flags) + ", since '" +
        static_cast<char *>(g_param_spec_get_qdata(spec, orvane_quark_version())) + "'";
    const GType element = GPOINTER_TO_SIZE(g_param_spec_get_qdata(spec, orvane_quark_arraytype()));
    if (element != 0)
        shape += std::string(", ") + g_param_spec_get_blurb(spec) + " = " + g_type_name(element);
    return shape;
}

TEST(SchemaClass, ParamSpecsAreWhatTheWireNeeds) {
    const struct {
        const char *word, *spec, *value, *inBlurb;
    } rows[] = {
        {"Boolean", "GParamBoolean", "gboolean", "gboolean"},
        {"Byte", "GParamChar", "gchar", "gint8"},
        {"Short", "GParamInt", "gint", "gint16"},
        {"Int", "GParamInt", "gint", "gint32"},
        {"Long", "GParamInt64", "gint64", "gint64"},
        {"Float", "GParamFloat", "gfloat", "gfloat"},
        {"Double", "GParamDouble", "gdouble", "gdouble"},
        {"String", "GParamString", "gchararray", "gchar *"},
        {"Time", "GParamBoxed", "GTimeVal", "GTimeVal"},
        {"Binary", "GParamBoxed", "OrvaneByteArray", "OrvaneByteArray"},
        {"Any", "GParamBoxed", "GValue", "GValue"},
        {"Enum", "GParamEnum", "SkemaQormCorePropertyCollectorObjectUpdateKind", nullptr},
        {"Object", "GParamObject", "SkemaQormCorePropertyCollectorSelectionSpec", nullptr},
    };
    const std::string since = ", since 'ozy25/5.0'";
    for (const auto &row : rows) {
        const std::string one = std::string(row.spec) + " of " + row.value + ", flags ";
        EXPECT_EQ(one + "3" + since, Shape(std::string("one") + row.word));
        EXPECT_EQ(one + "259" + since, Shape(std::string("maybe") + row.word));
        EXPECT_EQ("GParamBoxed of GValueArray, flags 3" + since + ", Array of '" +
                      (row.inBlurb != nullptr ? row.inBlurb : row.value) + "' = " + row.value,
                  Shape(std::string("all") + row.word));
    }
    EXPECT_EQ("GParamString of gchararray, flags 259, since ''",
              Shape("dynamicType", "DynamicData"));
}

TEST(SchemaClass, EachNamespaceHasItsNamesAndUnlistedTypesHaveNone) {
    const std::pair<void (*)(GHashTable *), const char *> rows[] = {
        {skema_core_populate_name_map, "ManagedObject"},
        {skema_ozy_populate_name_map, "Task"},
        {skema_ferry_populate_name_map, "FerryServiceContent"}};
    for (const auto &[populate, own] : rows) {
        const std::unique_ptr<GHashTable, Release<g_hash_table_destroy>> map(
            g_hash_table_new(g_str_hash, g_str_equal));
        populate(map.get());
        for (const auto &row : rows)
            EXPECT_EQ(row.second == own ? orvane_lookup_type(own) : 0,
                      GPOINTER_TO_SIZE(g_hash_table_lookup(map.get(), row.second)));
    }
    EXPECT_EQ(0u, orvane_lookup_type("DynamicTypeEnumTypeInfo"));
    EXPECT_STREQ("SkemaFerryServiceContent",
                 g_type_name(orvane_lookup_type("FerryServiceContent")));
    EXPECT_STREQ("Task", static_cast<const char *>(
                             g_type_get_qdata(SKEMA_TYPE_OZY_TASK, orvane_quark_wsdlname())));
}

TEST(SchemaClass, RootsAreTheStructsAndHaveTheSignalsThatApplicationsSee) {
    const struct {
        const char *wireName;
        GType parent;
        gsize size;
    } rows[] = {
        {"DataObject", G_TYPE_OBJECT, sizeof(SkemaQormDataObject)},
        {"MethodFault", G_TYPE_OBJECT, sizeof(SkemaQormMethodFault)},
        {"ManagedObject", G_TYPE_INITIALLY_UNOWNED, sizeof(SkemaQormManagedObject)},
    };
    const auto expectSignal = [](const char *signal, GType type, guint flags, guint numParameters) {
        GSignalQuery query;
        g_signal_query(g_signal_lookup(signal, type), &query);
        EXPECT_EQ(type, query.itype) << signal << g_type_name(type);
        EXPECT_EQ(flags, query.signal_flags) << signal << g_type_name(type);
        EXPECT_EQ(numParameters, query.n_params) << signal << g_type_name(type);
    };
    for (const auto &row : rows) {
        const ClassPtr klass = ClassOf(row.wireName);
        GTypeQuery query;
        g_type_query(orvane_lookup_type(row.wireName), &query);
        EXPECT_EQ(row.parent, g_type_parent(query.type)) << row.wireName;
        EXPECT_EQ(row.size, query.instance_size) << row.wireName;
        expectSignal("array_notify", query.type, 121, 3);
    }
    expectSignal("leave", SKEMA_TYPE_QORM_MANAGED_OBJECT, 41, 0);
    guint count = 99;
    const ClassPtr below = ClassOf("TaskInfo");
    g_free(g_signal_list_ids(orvane_lookup_type("TaskInfo"), &count));
    EXPECT_EQ(0u, count);
}

/* Default handlers of an application's class, in the places behind GObjectClass. */
struct AppProxyClass {
    GObjectClass parent;
    void (*leave)(GObject *);
    void (*arrayNotify)(GObject *, GParamSpec *, gboolean, const GValue *);
};

std::string emitted;

void AppProxyClassInit(gpointer klass, gpointer) {
    auto *app = static_cast<AppProxyClass *>(klass);
    app->leave = [](GObject *) { emitted += "leave "; };
    app->arrayNotify = [](GObject *, GParamSpec *spec, gboolean flag, const GValue *value) {
        emitted += std::string(spec->name) + (flag ? " yes " : " no ") +
                   std::to_string(g_value_get_int(value));
    };
}

TEST(SchemaClass, DefaultHandlersFollowTheObjectClassLeaveFirst) {
    const GType type =
        RegisterSubclass(orvane_lookup_type("TestProxy"), "AppProxy", AppProxyClassInit);
    const auto proxy = NewObject(type);
    GParamSpec *spec = g_object_class_find_property(G_OBJECT_GET_CLASS(proxy.get()), "proxies");
    const Value value = IntValue(7);
    emitted.clear();
    g_signal_emit_by_name(proxy.get(), "leave");
    g_signal_emit_by_name(proxy.get(), "array_notify::proxies", spec, TRUE, value.get());
    EXPECT_EQ("leave proxies yes 7", emitted);
}

TEST(SchemaClass, RegistersFromManyThreadsAtOnce) {
    const guint numTypes = SchemaEngine_Tables()->numTypes;
    std::vector<std::vector<GType>> seen(8);
    InThreads(8, [&](int number) {
        for (guint i = 0; i < numTypes; i++)
            seen[number].push_back(orvane_schema_get_type(numTypes - 1 - i));
        g_type_class_unref(g_type_class_ref(SKEMA_TYPE_OZY_TASK_INFO));
    });
    for (const auto &types : seen)
        EXPECT_EQ(seen[0], types);
    EXPECT_EQ(0, std::ranges::count(seen[0], GType{0}));
}

} // namespace
