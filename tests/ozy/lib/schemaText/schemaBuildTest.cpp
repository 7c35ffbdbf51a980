#include "ozy/lib/schemaText/schemaBuild.h"

#include "ozy/lib/schemaRows/nameSlots.h"
#include "ozy/lib/schemaRows/versionTexts.h"
#include "tests/ozy/lib/schemaText/readSchema.h"

namespace {

/* Tables of a small schema and short ways into them. */
struct Built {
    std::unique_ptr<ReadSchema> read;
    SchemaBuilt built;
    SchemaTables tables;

    explicit Built(const char *text) : read(ReadAndCheck(text)) {
        EXPECT_THAT(read->errors.messages, ElementsAre());
        built = SchemaBuild_Run(read->model);
        tables = SchemaBuild_Tables(&built);
    }
    std::string text(guint32 offset) const { return tables.text + offset; }
    guint16 indexOf(const char *wireName) const {
        guint16 i = 0;
        while (i < tables.numTypes && text(tables.types[i].wireName) != wireName)
            i++;
        return i;
    }
    const SchemaTypeRow &type(const char *wireName) const {
        return tables.types[indexOf(wireName)];
    }
    const SchemaFieldRow &field(const char *wireName, guint32 i) const {
        return tables.fields[type(wireName).first + i];
    }
};

TEST(SchemaBuild, TypesAreOrderedByNamespaceWithTheirBases) {
    const Built built("namespace ferry\n"
                      "data FerryA : DynamicData ...\n"
                      "namespace ozy\n"
                      "managed Late : Early\n"
                      "managed Early : ManagedObject\n"
                      "fault Bad : MethodFault @all\n"
                      "enum Word\n"
                      "  one two\n"
                      "namespace qorm unlisted\n"
                      "data Hidden : DynamicData @all\n");
    const SchemaTables &tables = built.tables;
    ASSERT_EQ(10u, tables.numTypes);
    EXPECT_EQ(SCHEMA_NAMESPACE_QORM, tables.types[4].ns);
    EXPECT_EQ(SCHEMA_NAMESPACE_OZY, tables.types[5].ns);
    EXPECT_EQ(SCHEMA_NAMESPACE_FERRY, tables.types[9].ns);
    EXPECT_EQ(kSchemaNoType, built.type("ManagedObject").base);
    EXPECT_EQ(built.indexOf("Early"), built.type("Late").base);
    EXPECT_EQ(built.indexOf("DynamicData"), built.type("FerryA").base);

    EXPECT_EQ("SkemaFerryA", built.text(built.type("FerryA").name));
    EXPECT_EQ(SCHEMA_KIND_DATA, built.type("FerryA").kind);
    EXPECT_EQ(SCHEMA_KIND_MANAGED, built.type("Late").kind);
    EXPECT_EQ(SCHEMA_KIND_FAULT, built.type("Bad").kind);
    EXPECT_EQ(SCHEMA_KIND_ENUM, built.type("Word").kind);
    EXPECT_EQ(kSchemaNoType, built.type("Word").base);
    EXPECT_EQ(SCHEMA_TYPE_PARTIAL, built.type("FerryA").flags);
    EXPECT_EQ(SCHEMA_TYPE_UNLISTED, built.type("Hidden").flags);
    EXPECT_EQ(SCHEMA_TYPE_UNDATED, built.type("Late").flags);
    EXPECT_EQ(0, built.type("Bad").flags);

    ASSERT_EQ(2, built.type("Word").count);
    const SchemaWordRow &two = tables.words[built.type("Word").first + 1];
    EXPECT_EQ("SKEMA_OZY_WORD_TWO", built.text(two.identifier));
    EXPECT_EQ("two", built.text(two.word));
    EXPECT_EQ(0u, tables.ids[9]);
}

TEST(SchemaBuild, FieldsHaveKindTypeUseAndRelease) {
    const Built built("namespace ozy\n"
                      "data A : DynamicData  @ozy25/4.0\n"
                      "  plain    string\n"
                      "  list     long[]?       @all\n"
                      "  word     Word?         @ferry/5.0\n"
                      "  object   A\n"
                      "  fault    MethodFault\n"
                      "  managed  ManagedObject[]\n"
                      "data Open : DynamicData ...\n"
                      "  field    anyURI[]\n"
                      "enum Word\n"
                      "  one\n"
                      "namespace qorm\n"
                      "data DynamicArray : DataObject  @all\n"
                      "  val any[]\n");
    struct Row {
        const char *name;
        SchemaValueKind kind;
        guint8 flags;
        const char *type;
        const char *version;
    };
    const Row rows[] = {
        {"plain", SCHEMA_VALUE_STRING, 0, nullptr, "ozy25/4.0"},
        {"list", SCHEMA_VALUE_LONG, SCHEMA_ARRAY | SCHEMA_OPTIONAL, nullptr, ""},
        {"word", SCHEMA_VALUE_ENUM, SCHEMA_OPTIONAL, "Word", "ferry/5.0"},
        {"object", SCHEMA_VALUE_OBJECT, 0, "A", "ozy25/4.0"},
        {"fault", SCHEMA_VALUE_OBJECT, 0, "MethodFault", "ozy25/4.0"},
        {"managed", SCHEMA_VALUE_MANAGED, SCHEMA_ARRAY, "ManagedObject", "ozy25/4.0"},
    };
    ASSERT_EQ(std::size(rows), built.type("A").count);
    for (gsize i = 0; i < std::size(rows); i++) {
        const Row &row = rows[i];
        const SchemaFieldRow &field = built.field("A", static_cast<guint32>(i));
        EXPECT_EQ(row.name, built.text(field.name));
        EXPECT_EQ(row.kind, field.kind) << row.name;
        EXPECT_EQ(row.flags, field.flags) << row.name;
        EXPECT_EQ(row.type == nullptr ? kSchemaNoType : built.indexOf(row.type), field.type);
        EXPECT_STREQ(row.version, kVersionTexts[field.version]) << row.name;
    }
    EXPECT_EQ(0, built.field("Open", 0).version);
    EXPECT_EQ(SCHEMA_VALUE_URI, built.field("Open", 0).kind);
    EXPECT_EQ(SCHEMA_ARRAY | SCHEMA_DYNAMIC, built.field("DynamicArray", 0).flags);
}

TEST(SchemaBuild, MethodsHaveArgumentsAndResult) {
    const Built built("namespace ozy\n"
                      "managed A : ManagedObject\n"
                      "  First(a ~string?, b *, c *[], d DynamicData!) A[]\n"
                      "  Second()\n"
                      "  Third(e any) dateTime\n");
    ASSERT_EQ(3u, built.tables.numMethods);
    const SchemaMethodRow &first = built.tables.methods[0];
    EXPECT_EQ("First", built.text(first.wireName));
    EXPECT_EQ(SCHEMA_VALUE_MANAGED, first.resultKind);
    EXPECT_EQ(SCHEMA_ARRAY, first.resultFlags);
    EXPECT_EQ(built.indexOf("A"), first.resultType);
    ASSERT_EQ(4, first.numArguments);

    const std::pair<SchemaValueKind, int> arguments[] = {
        {SCHEMA_VALUE_STRING, SCHEMA_LIKELY | SCHEMA_OPTIONAL},
        {SCHEMA_VALUE_UNKNOWN, 0},
        {SCHEMA_VALUE_UNKNOWN, SCHEMA_ARRAY},
        {SCHEMA_VALUE_OBJECT, SCHEMA_REQUIRED},
        {SCHEMA_VALUE_ANY, 0},
    };
    ASSERT_EQ(std::size(arguments), built.tables.numArguments);
    for (gsize i = 0; i < std::size(arguments); i++) {
        EXPECT_EQ(arguments[i].first, built.tables.arguments[i].kind) << i;
        EXPECT_EQ(arguments[i].second, built.tables.arguments[i].flags) << i;
    }
    EXPECT_EQ(SCHEMA_VALUE_NONE, built.tables.methods[1].resultKind);
    EXPECT_EQ(4u, built.tables.methods[2].firstArgument);
    EXPECT_EQ(SCHEMA_VALUE_DATETIME, built.tables.methods[2].resultKind);
}

TEST(SchemaBuild, WireNamesLeadToListedTypes) {
    const Built built("namespace ozy\n"
                      "data A : DynamicData\n"
                      "data AB : DynamicData\n"
                      "namespace qorm unlisted\n"
                      "data Hidden : DynamicData @all\n");
    const SchemaTables &tables = built.tables;
    const auto find = [&](const char *name) {
        return NameSlots_Find(std::span(tables.nameSlots, tables.numNameSlots), name,
                              [&](gsize i) { return tables.text + tables.types[i].wireName; });
    };
    for (const char *name : {"A", "AB", "DynamicData", "ManagedObject"})
        EXPECT_EQ(built.indexOf(name), find(name));
    for (const char *name : {"", "B", "ABC", "Hidden"})
        EXPECT_EQ(-1, find(name)) << name;
}

TEST(SchemaBuild, TextsShareTheirEnds) {
    const Built built("namespace ozy\n"
                      "data TaskInfo : DynamicData\n"
                      "  Info int\n"
                      "  nfo int\n");
    const guint32 name = built.type("TaskInfo").name;
    EXPECT_EQ(name + 8, built.type("TaskInfo").wireName); /* behind "SkemaOzy" */
    EXPECT_EQ(name + 12, built.field("TaskInfo", 0).name);
    EXPECT_EQ(name + 13, built.field("TaskInfo", 1).name);
}

} // namespace
