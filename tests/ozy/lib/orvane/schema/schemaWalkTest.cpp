// All types of the shipped schema, live, against the tables that people read.
#include <map>
#include <span>

#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "tests/ozy/lib/orvane/schema/shippedSchema.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

using NameMap = std::unique_ptr<GHashTable, Release<g_hash_table_destroy>>;

struct NameMaps {
    NameMap maps[SCHEMA_NUM_NAMESPACES];
    NameMaps() {
        for (NameMap &map : maps)
            map.reset(g_hash_table_new(g_str_hash, g_str_equal));
        skema_core_populate_name_map(maps[SCHEMA_NAMESPACE_QORM].get());
        skema_ozy_populate_name_map(maps[SCHEMA_NAMESPACE_OZY].get());
        skema_ferry_populate_name_map(maps[SCHEMA_NAMESPACE_FERRY].get());
    }
    guint Size(SchemaNamespace ns) const { return g_hash_table_size(maps[ns].get()); }
    /* "ozy=SkemaOzyTask", for each map that has the wire name. */
    std::string EntriesOf(const std::string &wireName) const {
        std::string text;
        for (guint8 ns = 0; ns < SCHEMA_NUM_NAMESPACES; ns++) {
            const auto type =
                GPOINTER_TO_SIZE(g_hash_table_lookup(maps[ns].get(), wireName.c_str()));
            if (type != 0)
                text += std::string(SchemaNamespace_Word(static_cast<SchemaNamespace>(ns))) + "=" +
                        g_type_name(type);
        }
        return text;
    }
};

/* Unlisted types too, which no name leads to. */
void RegisterAll() {
    for (guint i = 0; i < SchemaEngine_Tables()->numTypes; i++)
        orvane_schema_get_type(i);
}

const char *RootOf(SchemaForm form) {
    switch (form) {
    case SCHEMA_FORM_DATA:
    case SCHEMA_FORM_EVENT:
        break;
    case SCHEMA_FORM_FAULT:
        return "SkemaQormMethodFault";
    case SCHEMA_FORM_MANAGED:
        return "SkemaQormManagedObject";
    case SCHEMA_FORM_ENUM:
        return "GEnum";
    }
    return "SkemaQormDataObject";
}

/* ---- properties, in words ---- */

struct ValueRow {
    const char *word;
    const char *spec; /* NULL: in arrays only */
    const char *value;
    const char *inBlurb;
};

constexpr auto kValues = std::to_array<ValueRow>({
    {"string", "GParamString", "gchararray", "gchar *"},
    {"boolean", "GParamBoolean", "gboolean", "gboolean"},
    {"byte", "GParamChar", "gchar", "gint8"},
    {"short", "GParamInt", "gint", "gint16"},
    {"int", "GParamInt", "gint", "gint32"},
    {"long", "GParamInt64", "gint64", "gint64"},
    {"float", "GParamFloat", "gfloat", "gfloat"},
    {"double", "GParamDouble", "gdouble", "gdouble"},
    {"dateTime", "GParamBoxed", "GTimeVal", "GTimeVal"},
    {"binary", "GParamBoxed", "OrvaneByteArray", "OrvaneByteArray"},
    {"any", "GParamBoxed", "GValue", "GValue"},
    {"anyURI", nullptr, "OrvaneURI", "gchar *"},
});

struct ValueWords {
    std::string spec, value, inBlurb;
};

ValueWords WordsOf(const std::string &typeName) {
    for (const ValueRow &row : kValues) {
        if (typeName == row.word)
            return {row.spec != nullptr ? row.spec : "none", row.value, row.inBlurb};
    }
    const TableType *type = Shipped().Find(typeName);
    const std::string name = Shipped().TypeName(typeName);
    const bool isEnum = type != nullptr && type->form == SCHEMA_FORM_ENUM;
    return {isEnum ? "GParamEnum" : "GParamObject", name, name};
}

/* "SkemaOzyTask.info: GParamObject of SkemaOzyTaskInfo, flags 3, since '', blurb ''". */
std::string Declared(const TableType &owner, const TableField &field) {
    const ValueWords words = WordsOf(field.type.name);
    const bool isArray = field.type.isArray;
    std::string version = field.version.empty() ? owner.version : field.version;
    if (version == "all")
        version.clear();
    return Shipped().NamesOf(owner).type + "." + field.name + ": " +
           (isArray ? "GParamBoxed of GValueArray" : words.spec + " of " + words.value) +
           (field.type.isOptional ? ", flags 259" : ", flags 3") + ", since '" + version +
           "', blurb '" +
           (isArray ? "Array of '" + words.inBlurb + "'' of " + words.value : "' of none");
}

std::string Shown(GParamSpec *spec) {
    const auto *version =
        static_cast<const char *>(g_param_spec_get_qdata(spec, orvane_quark_version()));
    const GType element = GPOINTER_TO_SIZE(g_param_spec_get_qdata(spec, orvane_quark_arraytype()));
    return std::string(g_type_name(spec->owner_type)) + "." + spec->name + ": " +
           G_PARAM_SPEC_TYPE_NAME(spec) + " of " + g_type_name(spec->value_type) + ", flags " +
           std::to_string(spec->flags) + ", since '" + (version != nullptr ? version : "NULL") +
           "', blurb '" + g_param_spec_get_blurb(spec) + "' of " +
           (element != 0 ? g_type_name(element) : "none");
}

/* Base first; a field that is declared twice is where it is declared last. */
std::vector<std::string> FieldsOf(const TableType &type) {
    std::vector<const TableType *> chain;
    for (const TableType *at = &type; at != nullptr; at = Shipped().Find(at->base))
        chain.insert(chain.begin(), at);
    std::vector<std::pair<std::string, std::string>> fields;
    for (const TableType *owner : chain) {
        for (const TableField &field : owner->fields) {
            std::erase_if(fields, [&](const auto &known) { return known.first == field.name; });
            fields.emplace_back(field.name, Declared(*owner, field));
        }
    }
    std::vector<std::string> texts;
    for (const auto &field : fields)
        texts.push_back(field.second);
    return texts;
}

std::vector<std::string> PropertiesOf(GType type) {
    const TypeClassPtr klass(g_type_class_ref(type));
    guint count = 0;
    const GPtr<GParamSpec *> specs(
        g_object_class_list_properties(static_cast<GObjectClass *>(klass.get()), &count));
    std::vector<std::string> texts;
    for (GParamSpec *spec : std::span(specs.get(), count))
        texts.push_back(Shown(spec));
    return texts;
}

class SchemaWalk : public testing::Test {
protected:
    void SetUp() override {
        if (!kIsShippedAlone)
            GTEST_SKIP() << "the library has an overlay's types and fields as well";
        RegisterAll();
    }
};

TEST_F(SchemaWalk, TheTablesAreWhole) {
    std::map<std::string, gsize> counts;
    for (const TableType &type : Shipped().model.types) {
        counts[type.isUnlisted ? "unlisted" : SchemaNamespace_Word(type.ns)]++;
        counts["enumerations"] += type.form == SCHEMA_FORM_ENUM;
        counts["words"] += type.words.size();
        counts["methods"] += type.methods.size();
        for (const TableMethod &method : type.methods)
            counts["arguments"] += method.arguments.size();
    }
    const std::map<std::string, gsize> expected = {
        {"qorm", 45},      {"unlisted", 20}, {"ozy", 3223},       {"ferry", 697},
        {"methods", 1191}, {"words", 1724},  {"arguments", 1827}, {"enumerations", 376}};
    EXPECT_EQ(expected, counts);
    EXPECT_EQ(kSchemaTables.numTypes, Shipped().model.types.size());
    EXPECT_EQ(kSchemaTables.numMethods, counts["methods"]);
    EXPECT_EQ(kSchemaTables.numArguments, counts["arguments"]);
    EXPECT_EQ(kSchemaTables.numWords, counts["words"]);
}

TEST_F(SchemaWalk, EveryTypeHasItsNamesItsParentItsRootAndItsMap) {
    const NameMaps maps;
    EXPECT_EQ(45u, maps.Size(SCHEMA_NAMESPACE_QORM));
    EXPECT_EQ(3223u, maps.Size(SCHEMA_NAMESPACE_OZY));
    for (const TableType &type : Shipped().model.types) {
        const std::string &name = Shipped().NamesOf(type).type;
        const GType live = g_type_from_name(name.c_str());
        ASSERT_NE(0u, live) << name;
        EXPECT_STREQ(type.name.c_str(),
                     static_cast<const char *>(g_type_get_qdata(live, orvane_quark_wsdlname())))
            << name;
        const bool isEnum = type.form == SCHEMA_FORM_ENUM;
        EXPECT_EQ(isEnum ? "GEnum" : Shipped().TypeName(type.base),
                  g_type_name(g_type_parent(live)))
            << name;
        EXPECT_TRUE(g_type_is_a(live, g_type_from_name(RootOf(type.form)))) << name;
        EXPECT_EQ(type.isUnlisted ? "" : std::string(SchemaNamespace_Word(type.ns)) + "=" + name,
                  maps.EntriesOf(type.name));
        EXPECT_EQ(type.isUnlisted ? 0 : live, orvane_lookup_type(type.name.c_str())) << name;
    }
}

TEST_F(SchemaWalk, EveryClassHasTheFieldsOfItsTableBaseFirst) {
    gsize numProperties = 0;
    for (const TableType &type : Shipped().model.types) {
        if (type.form == SCHEMA_FORM_ENUM)
            continue;
        const std::vector<std::string> live =
            PropertiesOf(g_type_from_name(Shipped().NamesOf(type).type.c_str()));
        EXPECT_EQ(FieldsOf(type), live) << type.name;
        numProperties += live.size();
    }
    EXPECT_LT(5000u, numProperties);
}

TEST_F(SchemaWalk, EveryWordGoesBothWays) {
    for (const TableType &type : Shipped().model.types) {
        if (type.form != SCHEMA_FORM_ENUM)
            continue;
        const SchemaTypeNames &names = Shipped().NamesOf(type);
        const GType live = g_type_from_name(names.type.c_str());
        const TypeClassPtr klass(g_type_class_ref(live));
        auto *values = static_cast<GEnumClass *>(klass.get());
        ASSERT_EQ(type.words.size(), values->n_values) << type.name;
        for (gsize i = 0; i < type.words.size(); i++) {
            const std::string &word = type.words[i].word;
            const GEnumValue *row = g_enum_get_value(values, static_cast<gint>(i));
            ASSERT_NE(nullptr, row) << word;
            EXPECT_EQ(word, row->value_nick);
            EXPECT_EQ(names.constants[i], row->value_name);
            EXPECT_EQ(row, g_enum_get_value_by_name(values, names.constants[i].c_str()));

            const GStringPtr out(g_string_new(nullptr));
            EXPECT_TRUE(orvane_soap_serialize_enum(out.get(), "e", live, row->value));
            EXPECT_EQ("<e xsi:type=\"" + type.name + "\">" + word + "</e>", out->str);
            Value value(live);
            EXPECT_TRUE(orvane_soap_deserialize_enum(word.c_str(), live, value.get()));
            EXPECT_EQ(row->value, g_value_get_enum(value.get())) << type.name << " " << word;
        }
    }
}

} // namespace
