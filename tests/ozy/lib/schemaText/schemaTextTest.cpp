#include "ozy/lib/schemaText/schemaText.h"

#include "tests/ozy/lib/schemaText/readSchema.h"

namespace {

TEST(SchemaText, ReadsHeads) {
    const ReadSchema read = Read("# a comment\n"
                                 "namespace ozy\n"
                                 "\n"
                                 "data A in B : C = D  @ozy25/r15i4x3CD75 # and another\n"
                                 "event E : F ...\r\n"
                                 "fault G : H  @all\n"
                                 "namespace qorm unlisted\n"
                                 "managed I : J\n"
                                 "enum K in L");
    ASSERT_THAT(read.errors.messages, ElementsAre());
    ASSERT_EQ(5u, read.model.types.size());

    const TableType &a = read.model.types[0];
    EXPECT_EQ(SCHEMA_FORM_DATA, a.form);
    EXPECT_EQ(SCHEMA_NAMESPACE_OZY, a.ns);
    EXPECT_EQ("A B C D ozy25/r15i4x3CD75",
              a.name + " " + a.enclosing + " " + a.base + " " + a.path + " " + a.version);
    EXPECT_EQ(4u, a.place.line);
    EXPECT_FALSE(a.isPartial);

    EXPECT_TRUE(read.model.types[1].isPartial);
    EXPECT_EQ("all", read.model.types[2].version);
    EXPECT_FALSE(read.model.types[2].isUnlisted);
    EXPECT_TRUE(read.model.types[3].isUnlisted);
    EXPECT_EQ(SCHEMA_NAMESPACE_QORM, read.model.types[4].ns);
    EXPECT_EQ("L", read.model.types[4].enclosing);
}

TEST(SchemaText, RefusesByFileAndLine) {
    /* texts below "namespace ozy"; lines and messages */
    const std::pair<const char *, const char *> rows[] = {
        {"namespace mars\n", "2: unknown namespace 'mars'"},
        {"namespace ozy listed\n", "2: unexpected 'listed' where the end of the line belongs"},
        {"struct A\n", "2: unknown kind of type 'struct'"},
        {"data\n", "2: the name of a type missing at the end of the line"},
        {"data 2A : B\n", "2: name that begins with a digit: '2A'"},
        {"data A-B : C\n", "2: unexpected '-' where the end of the line belongs"},
        {"data A :\n", "2: a base missing at the end of the line"},
        {"data A : B @\n", "2: no version behind '@'"},
        {"data A : B @all ...\n", "2: unexpected '...' where the end of the line belongs"},
        {"  field int\n", "2: indented line below no type: 'field'"},
        {"data A : B\n  field\n", "3: a type missing at the end of the line"},
        {"data A : B\n  field int?!\n", "3: unexpected '!' where the end of the line belongs"},
        {"data A : B\n  field int = 3\n", "3: unexpected '=' where the end of the line belongs"},
        {"data A : B\n  ~field int\n", "3: no field or method can begin with '~'"},
        {"data A : B\n  Method() int\n", "3: method outside a managed class: 'Method'"},
        {"managed A : B\n  Method(a)\n", "3: unexpected ')' where a type belongs"},
        {"managed A : B\n  Method(a int\n  Other()\n",
         "3: ',' or ')' missing at the end of the line"},
        {"managed A : B\n  Method(\n      a int;\n      b int)\n  field int\n",
         "4: unexpected ';' where ',' or ')' belongs"},
        {"managed A : B\n  Method() int = \n", "3: a stub's name missing at the end of the line"},
        {"enum A\n  one, two\n", "3: no word of an enumeration: ','"},
        {"data \xc3\x84 : B\n", "2: byte that is no printable ASCII"},
    };
    for (const auto &[text, message] : rows)
        EXPECT_THAT(Read(std::string("namespace ozy\n") + text).errors.messages,
                    ElementsAre(std::string("a.schema:") + message))
            << text;
    EXPECT_THAT(Read("data A : B\n").errors.messages,
                ElementsAre("a.schema:1: no 'namespace' line before the first type"));
    EXPECT_THAT(Read({"namespace ozy\0\n", 15}).errors.messages,
                ElementsAre("a.schema:1: byte that is no printable ASCII"));
}

TEST(SchemaText, LinesHaveALimit) {
    const std::string name(240 - 5, 'A');
    EXPECT_EQ(0u, Read("namespace ozy\nenum " + name).errors.count);
    EXPECT_THAT(Read("namespace ozy\nenum A" + name).errors.messages,
                ElementsAre("a.schema:2: line of more than 240 bytes"));
}

TEST(SchemaText, ReadsOnBehindAFault) {
    const ReadSchema read = Read("namespace ozy\n"
                                 "data : A\n"
                                 "  belowTheBrokenHead  int\n"
                                 "data B : A\n"
                                 "  broken\n"
                                 "  fine  int\n"
                                 "  broken\n");
    EXPECT_THAT(read.errors.messages,
                ElementsAre("a.schema:2: unexpected ':' where the name of a type belongs",
                            "a.schema:5: a type missing at the end of the line",
                            "a.schema:7: a type missing at the end of the line"));
    ASSERT_EQ(1u, read.model.types.size());
    EXPECT_EQ(1u, read.model.types[0].fields.size());
}

TEST(SchemaText, KeepsOnlyTheFirstFaults) {
    std::string text;
    for (int i = 0; i < 100; i++)
        text += "bad\n";
    const ReadSchema read = Read(text);
    EXPECT_EQ(100u, read.errors.count);
    EXPECT_EQ(SchemaErrors::kMaxMessages, read.errors.messages.size());
}

} // namespace
