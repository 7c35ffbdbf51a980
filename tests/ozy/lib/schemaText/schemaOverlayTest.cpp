#include "ozy/lib/schemaText/schemaOverlay.h"

#include <random>

#include "ozy/lib/schemaRows/versionTexts.h"
#include "ozy/lib/schemaText/schemaRecover.h"
#include "tests/ozy/lib/schemaText/readSchema.h"

namespace {

constexpr const char *kShipped =
    "namespace ozy\n"                                                // 1
    "data Full : DynamicData  @ozy25/4.0\n"                          // 2
    "  a  string\n"                                                  // 3
    "  b  int?  @ozy25/5.0\n"                                        // 4
    "data Open : DynamicData ...\n"                                  // 5
    "  p  string    @ozy2/2.0\n"                                     // 6
    "  q  Full[]?   @ozy25/4.0\n"                                    // 7
    "  r  int\n"                                                     // 8
    "data Below : Open ...\n"                                        // 9
    "fault Bad : MethodFault ...\n"                                  // 10
    "enum Word in Open\n"                                            // 11
    "  one two\n"                                                    // 12
    "managed Site : ManagedObject\n"                                 // 13
    "  info  Open\n"                                                 // 14
    "  Build(what *, how *[], by ~Open, at int?, in Full!) Word[]\n" // 15
    "data Inner in Bad : DynamicData ...\n";                         // 16

/* The shipped tables with overlays over them, each read as "1.schema", "2.schema", ... */
struct Merged {
    SchemaModel model;
    SchemaErrors errors;

    explicit Merged(const std::vector<std::string> &overlays, bool isRecovered = false) {
        SchemaText_Parse(&model, "core.schema", kCoreTable, &errors);
        SchemaText_Parse(&model, "a.schema", kShipped, &errors);
        if (isRecovered) {
            SchemaBuilt built = SchemaBuild_Run(model);
            model = SchemaRecover_Run(SchemaBuild_Tables(&built));
        }
        int number = 0;
        for (const std::string &text : overlays) {
            SchemaModel overlay;
            const std::string name = std::to_string(++number) + ".schema";
            if (!SchemaText_Parse(&overlay, name.c_str(), "namespace ozy\n" + text, &errors) ||
                !SchemaOverlay_Apply(&model, std::move(overlay), &errors))
                return;
        }
        SchemaOverlay_Check(model, &errors);
    }
    const TableType &type(const char *name) const {
        return *SchemaIndex_Find(SchemaIndex_Make(model), model, name);
    }
    /* "a string @ozy25/4.0, b int? @all" */
    std::string fields(const char *name) const {
        std::string text;
        for (const TableField &field : type(name).fields) {
            const std::string &version = field.version.empty() ? type(name).version : field.version;
            text += (text.empty() ? "" : ", ") + field.name + " " + field.type.name +
                    (field.type.isArray ? "[]" : "") + (field.type.isOptional ? "?" : "") +
                    (version.empty() ? "" : " @" + version);
        }
        return text;
    }
};

TEST(SchemaOverlay, FieldsGoToTheirPlace) {
    const std::tuple<std::vector<std::string>, const char *, const char *> rows[] = {
        {{"data Open ...\n  x int\n"},
         "Open",
         "p string @ozy2/2.0, q Full[]? @ozy25/4.0, r int, x int"},
        {{"data Open : DynamicData ...\n  p string\n  x int  @ozy25/5.5\n  r int\n  y int\n"},
         "Open",
         "p string @ozy2/2.0, x int @ozy25/5.5, q Full[]? @ozy25/4.0, r int, y int"},
        {{"data Open ...\n  x int\n  q Full[]?\n"},
         "Open",
         "p string @ozy2/2.0, x int, q Full[]? @ozy25/4.0, r int"},
        /* a field without release may get one, and its use */
        {{"data Open ...\n  r int?  @ozy25/6.0\n"},
         "Open",
         "p string @ozy2/2.0, q Full[]? @ozy25/4.0, r int? @ozy25/6.0"},
        /* the full list's order counts */
        {{"data Open  @ozy25/4.0\n  x int\n  r int?\n  q Full[]?\n  p string @ozy2/2.0\n"},
         "Open",
         "x int @ozy25/4.0, r int? @ozy25/4.0, q Full[]? @ozy25/4.0, p string @ozy2/2.0"},
        {{"data Open ...\n  x int\n", "data Open ...\n  x int\n  y Word?\n"},
         "Open",
         "p string @ozy2/2.0, q Full[]? @ozy25/4.0, r int, x int, y Word?"},
        {{"managed Site\n  more int[]?\n  info Open?  @ozy2/2.0\n"},
         "Site",
         "more int[]?, info Open? @ozy2/2.0"},
        {{"data Full ...\n  b int?\n", "data Full @ozy25/4.0\n  a string\n  b int? @ozy25/5.0\n"},
         "Full",
         "a string @ozy25/4.0, b int? @ozy25/5.0"},
        {{"data New : Below  @ozy25/5.0\n  w Extra\nenum Extra\n  yes no\n"},
         "New",
         "w Extra @ozy25/5.0"},
    };
    for (const auto &[overlays, name, fields] : rows) {
        for (const bool isRecovered : {false, true}) {
            const Merged merged(overlays, isRecovered);
            EXPECT_THAT(merged.errors.messages, ElementsAre()) << overlays[0];
            EXPECT_EQ(fields, merged.fields(name)) << overlays[0];
        }
    }
}

TEST(SchemaOverlay, OpenClassesStayOpenUntilTheirListIsFull) {
    EXPECT_TRUE(Merged({"data Open ...\n  x int\n"}).type("Open").isPartial);
    const Merged full({"data Below @all\n"});
    EXPECT_FALSE(full.type("Below").isPartial);
    EXPECT_THAT(
        Merged({"data Below @all\n", "data Below ...\n  x int\n"}).errors.messages,
        ElementsAre("2.schema:3: field 'x' of 'Below' is new, but 1.schema:2 declares that the "
                    "fields are complete"));
}

TEST(SchemaOverlay, MethodsWordsAndEnclosingClasses) {
    const Merged merged({"managed Site\n"
                         "  Build(what string?, how int[], by Below!, at *, in Full) Word[]\n"
                         "  Extra(x int)\n"
                         "enum Word in Open\n"
                         "  one two three\n"
                         "data Inner in Bad ...\n"});
    EXPECT_THAT(merged.errors.messages, ElementsAre());
    const TableType &site = merged.type("Site");
    ASSERT_EQ(2u, site.methods.size());
    EXPECT_EQ("Extra", site.methods[1].wireName);
    std::vector<std::string> types;
    for (const TableArgument &argument : site.methods[0].arguments)
        types.push_back(argument.type.name + (argument.type.isLikely ? "~" : "") +
                        (argument.type.isOptional ? "?" : "") +
                        (argument.type.isRequired ? "!" : ""));
    EXPECT_THAT(types, ElementsAre("string?", "int", "Below!", "int?", "Full!"));
    EXPECT_EQ("three", merged.type("Word").words[2].word);
}

/* Each with the place in the overlay and the place in the model. */
TEST(SchemaOverlay, ContradictionsNameBothPlaces) {
    const std::pair<const char *, const char *> rows[] = {
        {"data Full ...\n  a int\n",
         "3: field 'a' of 'Full' is int, but a.schema:3 declares string"},
        {"data Full ...\n  b int\n", "3: field 'b' of 'Full' is int, but a.schema:4 declares int?"},
        {"data Full ...\n  b int?  @ozy25/5.5\n",
         "3: field 'b' of 'Full' is of @ozy25/5.5, but a.schema:4 declares @ozy25/5.0"},
        {"data Full ...\n  c int\n", "3: field 'c' of 'Full' is new, but a.schema:2 declares "
                                     "that the fields are complete"},
        {"data Full ...\n  b int?\n  a string\n",
         "4: field 'a' of 'Full' is after 'b', but a.schema:3 declares it before"},
        {"data Full @ozy25/4.0\n  a string\n", "2: 'Full' has no field 'b' in its full "
                                               "list, but a.schema:4 declares it"},
        {"data Open @ozy2/2.0\n  p string\n  r int\n",
         "2: 'Open' has no field 'q' in its full list, but a.schema:7 declares it"},
        {"data Open ...\n  r long\n",
         "3: field 'r' of 'Open' is long, but a.schema:8 declares int"},
        {"data Open ...\n  q Full?\n",
         "3: field 'q' of 'Open' is Full?, but a.schema:7 declares Full[]?"},
        {"fault Full ...\n", "2: 'Full' is fault, but a.schema:2 declares data"},
        {"data Open : Full ...\n",
         "2: 'Open' has the base Full, but a.schema:5 declares DynamicData"},
        {"data Open = Wide ...\n", "2: 'Open' has the path Wide, but a.schema:5 declares Open"},
        {"enum Word in Full\n  one two\n", "2: 'Word' is in Full, but a.schema:11 declares Open"},
        {"namespace ferry\ndata Open ...\n",
         "3: 'Open' is in namespace ferry, but a.schema:5 declares ozy"},
        {"enum Word\n  one\n", "2: word 2 of 'Word' is missing, but a.schema:12 declares 'two'"},
        {"enum Word\n  one three\n",
         "3: word 2 of 'Word' is 'three', but a.schema:12 declares 'two'"},
        {"managed Site\n  Build(what *, how *[], by *, at int, in *) Word[]\n",
         "3: argument 'at' of 'Build' is int, but a.schema:15 declares int?"},
        {"managed Site\n  Build(what *, how int, by *, at *, in *) Word[]\n",
         "3: argument 'how' of 'Build' is int, but a.schema:15 declares *[]"},
        {"managed Site\n  Build(what *, which *[], by *, at *, in *) Word[]\n",
         "3: an argument of 'Build' is 'which', but a.schema:15 declares 'how'"},
        {"managed Site\n  Build(what *) Word[]\n",
         "3: method 'Build' has 1 arguments, but a.schema:15 declares 5"},
        {"managed Site\n  Build(what *, how *[], by *, at *, in *)\n",
         "3: method 'Build' returns nothing, but a.schema:15 declares Word[]"},
        {"namespace qorm\nmanaged ManagedObject\n  x int\n",
         "4: field 'x' of 'ManagedObject' is new, but core.schema:5 declares that the "
         "fields "
         "are complete"},
    };
    for (const auto &[overlay, message] : rows)
        EXPECT_THAT(Merged({overlay}).errors.messages,
                    ElementsAre(std::string("1.schema:") + message))
            << overlay;
}

TEST(SchemaOverlay, RefusesWhatCannotBe) {
    const std::pair<const char *, const char *> rows[] = {
        {"data Open\n  x int\n", "2: 'Open' has neither '...' nor '@version'"},
        {"data Open ...\n  x int\n  x int\n", "4: field 'x' is already declared at 1.schema:3"},
        {"data Open ...\ndata Open ...\n", "3: type 'Open' is already declared at 1.schema:2"},
        {"data Below ...\n  p int\n",
         "3: field 'p' of 'Below' is already declared in 'Open' at a.schema:6"},
        {"data Below ...\n  x int\ndata Open ...\n  x int\n",
         "3: field 'x' of 'Below' is already declared in 'Open' at 1.schema:5"},
        {"data Open ...\n  x Nothing\n", "3: unknown type 'Nothing'"},
        {"data Open ...\n  x int @ozy25/99\n", "3: unknown version 'ozy25/99'"},
        {"data Open ...\n  x_y int\n", "3: field 'x_y' has a '_'"},
        {"data A : B @all\ndata B : A @all\n", "2: the bases of 'A' lead back to itself"},
        {"data A @all\n", "2: 'A' has no base"},
        {"data GObject : DynamicData @all\n", "2: type 'GObject' is built in"},
        {"data New : DynamicData = Open @all\n",
         "2: C name 'SkemaOzyOpen' is already declared at "},
        {"enum Word ...\n  one two\n", "2: enumeration 'Word' with a version"},
        {"enum Word\n  one two two\n", "3: word 'two' is already declared at "},
    };
    for (const auto &[overlay, message] : rows) {
        for (const bool isRecovered : {false, true}) {
            const Merged merged({overlay}, isRecovered);
            ASSERT_FALSE(merged.errors.messages.empty()) << overlay;
            if (isRecovered && strstr(message, "a.schema") != nullptr)
                continue;
            EXPECT_THAT(merged.errors.messages[0], HasSubstr(std::string("1.schema:") + message))
                << overlay;
        }
    }
    EXPECT_THAT(
        Merged({"data Full ...\n  a int\n"}, true).errors.messages,
        ElementsAre("1.schema:3: field 'a' of 'Full' is int, but the built-in schema declares "
                    "string"));
}

TEST(SchemaOverlay, ChainsAndObjectsHaveTheirLimits) {
    const auto chain = [](int length) {
        std::string text = "data C0 : DynamicData @all\n";
        for (int i = 1; i < length; i++)
            text += "data C" + std::to_string(i) + " : C" + std::to_string(i - 1) + " @all\n";
        return text;
    };
    EXPECT_THAT(Merged({chain(98)}).errors.messages, ElementsAre()); /* and two bases */
    EXPECT_THAT(Merged({chain(99)}).errors.messages, ElementsAre(HasSubstr("'C98' has more")));

    const auto wide = [](int count) {
        std::string text = "data Wide : Full @all\n";
        for (int i = 0; i < count; i++)
            text += "  f" + std::to_string(i) + " string\n";
        return text;
    };
    EXPECT_THAT(Merged({wide(7998)}).errors.messages, ElementsAre());
    EXPECT_THAT(Merged({wide(7999)}).errors.messages, ElementsAre(HasSubstr("'Wide' has more")));
}

/* Rows -> model -> rows: the recovered model is what the rows were made from. */
TEST(SchemaRecover, NothingOnTopGivesTheSameRows) {
    const Merged shipped({});
    SchemaBuilt built = SchemaBuild_Run(shipped.model);
    const SchemaTables tables = SchemaBuild_Tables(&built);
    const Merged merged({}, true);
    const SchemaBuilt again = SchemaBuild_Extend(tables, merged.model);
    EXPECT_EQ(built.text, again.text);
    EXPECT_EQ(built.types.size(), again.types.size());
    EXPECT_EQ(built.fields.size(), again.fields.size());

    const SchemaBuilt anew = SchemaBuild_Run(merged.model);
    EXPECT_EQ(built.text, anew.text);
    const auto compare = [](const auto &before, const auto &after, auto shown) {
        EXPECT_TRUE(std::ranges::equal(before, after, {}, shown, shown));
    };
    compare(built.fields, anew.fields, [](const SchemaFieldRow &row) {
        return std::tuple(row.name, row.type, row.kind, row.flags, row.version);
    });
    compare(built.words, anew.words, &SchemaWordRow::identifier);
    compare(built.methods, anew.methods, &SchemaMethodRow::owner);
    compare(built.arguments, anew.arguments, [](const SchemaArgumentRow &row) {
        return std::tuple(row.name, row.type, row.kind, row.flags);
    });
}

/* Compiled stubs go by the arguments that they were compiled with. */
TEST(SchemaRecover, ExtendedTablesKeepAllNumbers) {
    const Merged shipped({});
    SchemaBuilt built = SchemaBuild_Run(shipped.model);
    const SchemaTables base = SchemaBuild_Tables(&built);
    const Merged merged({"managed Site\n"
                         "  Build(what int, how *[], by Full, at *, in *) Word[]\n"
                         "  Extra(x int)\n"
                         "managed Early : ManagedObject\n"
                         "  Run()\n"
                         "namespace qorm\n"
                         "data New : DynamicData @all\n"},
                        true);
    ASSERT_THAT(merged.errors.messages, ElementsAre());
    SchemaBuilt extended = SchemaBuild_Extend(base, merged.model);
    const SchemaTables tables = SchemaBuild_Tables(&extended);
    const auto text = [&](guint32 offset) { return std::string(tables.text + offset); };
    ASSERT_EQ(base.numTypes + 2, tables.numTypes);
    EXPECT_EQ("SkemaQormNew", text(tables.types[base.numTypes + 1].name));
    ASSERT_EQ(base.numMethods + 2, tables.numMethods);
    EXPECT_EQ(base.methods->firstArgument, tables.methods->firstArgument);
    EXPECT_EQ(base.methods->numArguments, tables.methods->numArguments);
    EXPECT_EQ(0,
              memcmp(base.arguments, tables.arguments, sizeof *base.arguments * base.numArguments));
    EXPECT_EQ("Run", text(tables.methods[base.numMethods + 1].wireName));
    EXPECT_EQ(base.numTypes, tables.methods[base.numMethods + 1].owner);
}

/* Whatever is done to a good overlay, it is taken or refused; nothing else happens. */
TEST(SchemaOverlay, SurvivesDamagedTexts) {
    const std::string good =
        "data Open ...\n  x New[]?  @ozy25/5.5\n"
        "data New : Open = Path  @all\n  y Word\n"
        "enum Word in Open\n  one two three\n"
        "managed Site\n  Build(what int, how *[], by Full, at *, in *) Word[]\n";
    const std::vector<std::string> words = {"data ",  "enum ", " : ",  "Open", "GObject", " in ",
                                            " ...\n", "[]",    "@all", "\n",   "  ",      "Word",
                                            "(",      ")",     "*",    "~",    "\xff",    "New"};
    const Merged shipped({});
    SchemaBuilt built = SchemaBuild_Run(shipped.model);
    const SchemaTables base = SchemaBuild_Tables(&built);
    std::mt19937 random(20);
    int numTaken = 0;
    for (int round = 0; round < 500; round++) {
        std::string text = good;
        for (int change = 0; change < 1 + round % 4; change++) {
            const gsize at = random() % text.size();
            if (random() % 2 == 0)
                text.erase(at, 1 + random() % 6);
            else
                text.insert(at, words[random() % words.size()]);
        }
        const Merged merged({text}, true);
        if (!merged.errors.messages.empty())
            continue;
        numTaken++;
        const SchemaBuilt extended = SchemaBuild_Extend(base, merged.model);
        for (const SchemaTypeRow &row : extended.types)
            ASSERT_LT(row.wireName, extended.text.size());
    }
    EXPECT_GT(numTaken, 0);
}

} // namespace
