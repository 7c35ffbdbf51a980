#include "tests/ozy/lib/orvane/schema/schemaKinds.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstring>

#include "ozy/lib/schemaText/schemaBuild.h"

namespace schemaKinds {
namespace {

void FillTime(GValue *value) {
    const GTimeVal time = {5, 7};
    g_value_set_boxed(value, &time);
}

void FillBytes(GValue *value) {
    GByteArray *bytes = g_byte_array_new();
    g_byte_array_append(bytes, reinterpret_cast<const guint8 *>("\0\xff"), 2);
    g_value_take_boxed(value, bytes);
}

void FillAny(GValue *value) {
    g_value_set_boxed(value, IntValue(7).get());
}

void FillSpec(GValue *value) {
    g_value_take_object(value, g_object_new(orvane_lookup_type("SelectionSpec"), nullptr));
}

constexpr auto kRows = std::to_array<KindRow>({
    {SCHEMA_VALUE_BOOLEAN, "Boolean", nullptr, [](GValue *v) { g_value_set_boolean(v, TRUE); },
     "1"},
    {SCHEMA_VALUE_BYTE, "Byte", nullptr, [](GValue *v) { g_value_set_schar(v, -128); }, "-128"},
    {SCHEMA_VALUE_SHORT, "Short", nullptr, [](GValue *v) { g_value_set_int(v, -32768); }, "-32768"},
    {SCHEMA_VALUE_INT, "Int", nullptr, [](GValue *v) { g_value_set_int(v, G_MININT); },
     "-2147483648"},
    {SCHEMA_VALUE_LONG, "Long", nullptr, [](GValue *v) { g_value_set_int64(v, G_MAXINT64); },
     "9223372036854775807"},
    {SCHEMA_VALUE_FLOAT, "Float", nullptr, [](GValue *v) { g_value_set_float(v, -FLT_MAX); },
     "-3.40282e+38"},
    {SCHEMA_VALUE_DOUBLE, "Double", nullptr, [](GValue *v) { g_value_set_double(v, DBL_MAX); },
     "1.79769e+308"},
    {SCHEMA_VALUE_STRING, "String", nullptr, [](GValue *v) { g_value_set_string(v, "text"); },
     "\"text\""},
    {SCHEMA_VALUE_DATETIME, "Time", nullptr, FillTime, "5.7s"},
    {SCHEMA_VALUE_BINARY, "Binary", nullptr, FillBytes, "00ff"},
    {SCHEMA_VALUE_ANY, "Any", nullptr, FillAny, "any(7)"},
    {SCHEMA_VALUE_ENUM, "Enum", "ObjectUpdateKind", [](GValue *v) { g_value_set_enum(v, 2); },
     "leave"},
    {SCHEMA_VALUE_OBJECT, "Object", "SelectionSpec", FillSpec, "a SelectionSpec"},
});

/* The shipped tables and what is added to them. */
struct Extension {
    Extension() {
        const SchemaTables &from = *SchemaEngine_Tables();
        types.assign(from.types, from.types + from.numTypes);
        fields.assign(from.fields, from.fields + from.numFields);
        methods.assign(from.methods, from.methods + from.numMethods);
        arguments.assign(from.arguments, from.arguments + from.numArguments);
        text.assign(from.text, TextSize(from));
        tables = from;

        const guint16 kinds = AddType("TestKinds", SCHEMA_KIND_DATA, "DynamicData");
        for (const KindRow &row : kRows) {
            AddField("one", row, 0);
            AddField("maybe", row, SCHEMA_OPTIONAL);
            AddField("all", row, SCHEMA_ARRAY);
            AddMethod(row, kinds);
        }
        AddType("TestNumbers", SCHEMA_KIND_DATA, "TestKinds");
        AddType("TestFault", SCHEMA_KIND_FAULT, "MethodFault");
        AddField("proxy", kReference, 0);
        AddType("TestProxy", SCHEMA_KIND_MANAGED, "ManagedObject");
        AddField("proxy", kReference, 0);
        AddField("proxies", kReference, SCHEMA_ARRAY | SCHEMA_OPTIONAL);
        AddField("value", {SCHEMA_VALUE_ANY, "", nullptr, nullptr, ""}, SCHEMA_OPTIONAL);
        AddType("TestProxyBelow", SCHEMA_KIND_MANAGED, "TestProxy");

        ids.resize(types.size());
        instanceSizes.resize(types.size());
        tables.text = text.data();
        tables.types = types.data();
        tables.fields = fields.data();
        tables.methods = methods.data();
        tables.arguments = arguments.data();
        tables.ids = ids.data();
        tables.instanceSizes = instanceSizes.data();
        tables.numTypes = static_cast<guint32>(types.size());
        tables.numFields = static_cast<guint32>(fields.size());
        tables.numMethods = static_cast<guint32>(methods.size());
        tables.numArguments = static_cast<guint32>(arguments.size());
        nameSlots = SchemaBuild_NameSlots(tables);
        tables.nameSlots = nameSlots.data();
        tables.numNameSlots = static_cast<guint32>(nameSlots.size());
    }

    SchemaTables tables;

private:
    static constexpr KindRow kReference = {SCHEMA_VALUE_MANAGED, "", "ManagedObject", nullptr, ""};

    static gsize TextSize(const SchemaTables &from) {
        guint32 last = 0;
        for (guint32 i = 0; i < from.numTypes; i++)
            last = std::max({last, from.types[i].name, from.types[i].wireName});
        for (guint32 i = 0; i < from.numFields; i++)
            last = std::max(last, from.fields[i].name);
        for (guint32 i = 0; i < from.numWords; i++)
            last = std::max({last, from.words[i].identifier, from.words[i].word});
        for (guint32 i = 0; i < from.numMethods; i++)
            last = std::max(last, from.methods[i].wireName);
        for (guint32 i = 0; i < from.numArguments; i++)
            last = std::max(last, from.arguments[i].name);
        return last + strlen(from.text + last) + 1;
    }

    guint32 AddText(const std::string &added) {
        const auto at = static_cast<guint32>(text.size());
        text.append(added).push_back('\0');
        return at;
    }

    guint16 IndexOf(const char *wireName) const {
        for (gsize i = 0; wireName != nullptr && i < types.size(); i++) {
            if (strcmp(text.data() + types[i].wireName, wireName) == 0)
                return static_cast<guint16>(i);
        }
        return kSchemaNoType;
    }

    guint16 AddType(const std::string &name, SchemaKind kind, const char *base) {
        const guint16 baseIndex = IndexOf(base);
        types.push_back({AddText("Skema" + name), AddText(name),
                         static_cast<guint32>(fields.size()), 0, baseIndex, kind,
                         SCHEMA_NAMESPACE_FERRY, 0});
        return static_cast<guint16>(types.size() - 1);
    }

    void AddField(const std::string &prefix, const KindRow &row, int flags) {
        fields.push_back({AddText(prefix + row.word), IndexOf(row.type), row.kind,
                          static_cast<guint8>(flags), 7});
        types.back().count++;
    }

    void AddMethod(const KindRow &row, guint16 result) {
        methods.push_back({AddText(std::string("Take") + row.word),
                           static_cast<guint32>(arguments.size()), result, 4, SCHEMA_VALUE_OBJECT,
                           SCHEMA_ARRAY});
        const guint16 type = IndexOf(row.type);
        const auto add = [&](const char *name, int flags) {
            arguments.push_back({AddText(name), type, row.kind, static_cast<guint8>(flags)});
        };
        add("one", 0);
        add("maybe", SCHEMA_OPTIONAL);
        add("all", SCHEMA_ARRAY | SCHEMA_OPTIONAL);
        add("likely", SCHEMA_LIKELY | SCHEMA_REQUIRED);
    }

    std::string text;
    std::vector<SchemaTypeRow> types;
    std::vector<SchemaFieldRow> fields;
    std::vector<SchemaMethodRow> methods;
    std::vector<SchemaArgumentRow> arguments;
    std::vector<GType> ids;
    std::vector<guint16> instanceSizes;
    std::vector<guint16> nameSlots;
};

struct Tables : testing::Environment {
    void SetUp() override {
        static const Extension extension;
        ASSERT_TRUE(SchemaEngine_SetTables(&extension.tables));
    }
};

[[maybe_unused]] const testing::Environment *const kTables =
    testing::AddGlobalTestEnvironment(new Tables);

} // namespace

std::span<const KindRow> Rows() {
    return kRows;
}

guint MethodOf(const std::string &wireName) {
    const SchemaTables *tables = SchemaEngine_Tables();
    guint found = tables->numMethods;
    for (guint i = 0; i < tables->numMethods; i++) {
        if (wireName == tables->text + tables->methods[i].wireName)
            found = i;
    }
    EXPECT_LT(found, tables->numMethods) << wireName;
    return found;
}

} // namespace schemaKinds

namespace {

TEST(SchemaTables, CannotBeReplacedOnceATypeIsRegistered) {
    const SchemaTables *before = SchemaEngine_Tables();
    EXPECT_NE(0u, orvane_lookup_type("TestKinds"));
    EXPECT_FALSE(SchemaEngine_SetTables(&kSchemaTables));
    EXPECT_EQ(before, SchemaEngine_Tables());
}

} // namespace
