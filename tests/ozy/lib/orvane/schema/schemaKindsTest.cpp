#include "tests/ozy/lib/orvane/schema/schemaKinds.h"

#include <orvane/schemaOverlay.h>

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstring>

#include "ozy/lib/schemaRows/schemaValues.h"

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

/* The tables of the head comment. */
std::string Added() {
    std::string fields, methods;
    for (const KindRow &row : kRows) {
        const std::string type(row.type != nullptr ? row.type : SchemaValue_Words(row.kind).word);
        const std::string word = row.word;
        fields += "  one" + word + " " + type + "\n  maybe" + word + " " + type + "?\n  all" +
                  word + " " + type + "[]\n";
        methods += "  Take" + word + "(one " + type + ", maybe " + type + "?, all " + type +
                   "[]?, likely ~" + type + "!) TestKinds[]\n";
    }
    return "namespace qorm\n"
           "data TestKinds : DynamicData  @ozy25/5.0\n" +
           fields +
           "data TestNumbers : TestKinds  @all\n"
           "fault TestFault : MethodFault  @all\n"
           "  proxy ManagedObject\n"
           "managed TestProxy : ManagedObject\n"
           "  proxy ManagedObject\n"
           "  proxies ManagedObject[]?\n"
           "  value any?\n" +
           methods + "managed TestProxyBelow : TestProxy\n";
}

struct Tables : testing::Environment {
    void SetUp() override {
        GError *error = nullptr;
        EXPECT_TRUE(orvane_schema_add_overlay("schemaKinds", Added().c_str(), &error))
            << error->message;
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
