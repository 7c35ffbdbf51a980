// Parts of documents that the tables cannot express are noted with their place, and the rest is imported.
#include "tests/tools/schemaImport/importFixture.h"

namespace {

using schemaImport::ImportOptions;
using testing::HasSubstr;
using namespace std::string_literals;

/* A class derived from DynamicData with these elements, one per line, the first on line 3. */
std::string Class(const std::string &name, const std::string &elements,
                  const std::string &base = "t:DynamicData") {
    return "<s:complexType name='" + name + "'><s:complexContent><s:extension base='" + base +
           "'><s:sequence>\n" + elements +
           "</s:sequence></s:extension></s:complexContent></s:complexType>";
}

std::string Element(const std::string &name, const std::string &type,
                    const std::string &more = "") {
    return "<s:element name='" + name + "' type='" + type + "' " + more + "/>\n";
}

struct RefusalRow {
    const char *name;
    std::string components;
    std::vector<std::string> report; /* lines that it must contain */
    std::string tables;              /* after the namespace; empty: none are written */
};

const std::string kGood = Element("good", "s:int");
const std::string kHalf = "\ndata Half : DynamicData ...\n"
                          "  good              int                 @ozy25/5.0\n";

/* The element of a class in line 4, behind a good one, and the note about it. */
const std::tuple<const char *, std::string, const char *> kElements[] = {
    {"unknown type", Element("bad", "t:Nowhere"),
     "element 'bad' of 'Half' has the type 'Nowhere', which is not known"},
    {"type that the tables lack", Element("bad", "s:unsignedLong"),
     "element 'bad' of 'Half' has the type xsd:unsignedLong, which the tables do not have"},
    {"choice", "<s:choice>" + Element("a", "s:int") + "</s:choice>",
     "unknown construct 's:choice' in 'Half'"},
    {"type without a name", "<s:element name='bad'><s:complexType/></s:element>",
     "element 'bad' of 'Half' has a type without a name"},
    {"name that is no identifier", Element("is-bad", "s:int"),
     "element 'is-bad' of 'Half' has a name that the tables cannot hold"},
    {"element that is defined twice", kGood, "element 'good' of 'Half' is defined twice"},
};

const RefusalRow kRefusals[] = {
    {"element of a base class",
     Class("Sub", kGood + Element("name", "s:string"), "t:Sealed"),
     {"a.xsd:4: left out: field 'name' of 'Sub' is already declared in 'Sealed' at "
      "shipped.schema:19"},
     "\ndata Sub : Sealed ...\n  good              int                 @ozy25/5.0\n"},
    {"wrapper outside an any",
     "<s:complexType name='ArrayOfInt'><s:sequence>" + Element("int", "s:int", "maxOccurs='9'") +
         "</s:sequence></s:complexType>" + Class("Half", kGood + Element("bad", "t:ArrayOfInt")),
     {"a.xsd:5: element 'bad' of 'Half' has the type 'ArrayOfInt', which cannot be used"},
     kHalf},
    {"class without a base",
     "<s:complexType name='Loose'/>",
     {"a.xsd:2: 'Loose' cannot be used: no base of it is a class that is known"},
     ""},
    {"bases in a circle",
     Class("A", "", "t:B") + Class("B", "", "t:A"),
     {"a.xsd:2: 'A' cannot be used: no base of it is a class that is known",
      "a.xsd:3: 'B' cannot be used: no base of it is a class that is known"},
     ""},
    {"type that is defined twice",
     Class("Twice", "") + Class("Twice", kGood),
     {"a.xsd:3: type 'Twice' is already defined at a.xsd:2"},
     "\ndata Twice : DynamicData  @ozy25/5.0\n"},
    {"complete class",
     Class("Sealed", Element("name", "s:int") + Element("lid", "s:int")),
     {"a.xsd:3: element 'name' of 'Sealed' is int, but the schema declares string",
      "a.xsd:4: element 'lid' of 'Sealed' is new, but the schema declares that its fields are "
      "complete"},
     ""},
    {"other base",
     Class("Burner", kGood, "t:Boiler"),
     {"a.xsd:2: 'Burner' has the base Boiler, but the schema declares DynamicData"},
     "\ndata Burner : DynamicData  @ozy25/5.0\n  good              int\n"},
    {"stated field of another type",
     Class("Boiler", kGood + Element("inlet", "s:string")),
     {"a.xsd:4: element 'inlet' of 'Boiler' is string, but the schema declares Site"},
     "\ndata Boiler : DynamicData  @ozy25/5.0\n  good              int\n"
     "  inlet             Site                @ozy2/2.0\n"},
    {"stated field missing",
     Class("Boiler", kGood),
     {"a.xsd:2: 'Boiler' has no element 'inlet', but the schema has it"},
     "\ndata Boiler : DynamicData ...\n  good              int                 @ozy25/5.0\n"},
    {"words that cannot be constants",
     "<s:simpleType name='Odd'><s:restriction base='s:string'><s:enumeration value='a b'/>"
     "<s:enumeration value='up'/>\n<s:enumeration value='UP'/></s:restriction></s:simpleType>",
     {"a.xsd:2: word 'a b' of 'Odd' cannot be written in the tables",
      "a.xsd:3: left out: C name 'SKEMA_OZY_ODD_UP' is already declared at a.xsd:2"},
     ""},
    {"operation of no known class",
     "<s:complexType name='FlyRequestType'><s:sequence>" + Element("_this", "t:X") +
         "</s:sequence></s:complexType>",
     {"a.xsd:2: operation 'Fly' is new: no class is known that could have it"},
     ""},
    {"operation with other arguments",
     "<s:complexType name='DrainRequestType'><s:sequence>" + Element("_this", "t:X") +
         Element("gallons", "s:int") + "</s:sequence></s:complexType>",
     {"a.xsd:2: operation 'Drain' has other arguments than in the schema"},
     ""},
    {"places that are not below the document",
     "<s:include schemaLocation='../../etc/passwd'/>\n<s:include schemaLocation='http://h/a.xsd'/>",
     {"a.xsd:3: 'http://h/a.xsd' is no local file; nothing is fetched without --url"},
     ""},
};

TEST(SchemaImportRefusal, IsNotedWithItsPlace) {
    std::vector<RefusalRow> rows(std::begin(kRefusals), std::end(kRefusals));
    for (const auto &[name, element, line] : kElements)
        rows.push_back({name, Class("Half", kGood + element), {"a.xsd:4: "s + line}, kHalf});
    for (const RefusalRow &row : rows) {
        SCOPED_TRACE(row.name);
        const DocumentFolder folder;
        const Imported imported =
            Import({.documents = {"ozy25/5.0=" + folder.WriteSchema("a.xsd", row.components)}});
        const std::string report = "\n" + folder.Shorten(imported.report);
        for (const std::string &line : row.report)
            EXPECT_THAT(report, HasSubstr("\n" + line + "\n"));
        if (row.tables.empty())
            EXPECT_EQ("", imported.tables);
        else
            EXPECT_EQ("# made by orvane schema import\nnamespace ozy\n" + row.tables,
                      imported.tables);
        EXPECT_EQ(row.tables.empty() ? 1 : 0, imported.status);
        EXPECT_EQ("{}", Refusals(imported.tables));
    }
}

TEST(SchemaImportRefusal, FilesOutsideTheFolderAreNotRead) {
    const DocumentFolder folder;
    folder.WriteSchema("secret.xsd", Class("Secret", ""));
    const std::string document =
        folder.WriteSchema("in/a.xsd", "<s:include schemaLocation='../secret.xsd'/>");
    std::filesystem::create_symlink("../secret.xsd",
                                    std::filesystem::path(document).parent_path() / "link.xsd");
    const std::string other =
        folder.WriteSchema("in/b.xsd", "<s:include schemaLocation='link.xsd'/>");
    for (const std::string &path : {document, other}) {
        const Imported imported = Import({.documents = {path}});
        EXPECT_EQ(1, imported.status);
        EXPECT_THAT(imported.report,
                    HasSubstr("is outside the folders of the documents that were named"));
    }
}

TEST(SchemaImportRefusal, DocumentsThatAreNoSchemas) {
    const std::pair<const char *, const char *> rows[] = {
        {"<!DOCTYPE a [<!ENTITY b SYSTEM '/etc/passwd'>]><a>&b;</a>",
         "a.xsd:1: refused: it has a document type declaration"},
        {"<a>\n<b></a>", "a.xsd:2: Opening and ending tag mismatch: b line 2 and a"},
        {"", "a.xsd:1: Document is empty"},
        {"<a/>", "a.xsd:1: neither a schema nor a WSDL: 'a'"},
        {"<?xml version='1.0' encoding='GB18030'?><a>\xff\xff\x81 x</a>",
         "input conversion failed due to input error"},
    };
    for (const auto &[text, line] : rows) {
        const DocumentFolder folder;
        testing::internal::CaptureStderr();
        const Imported imported = Import({.documents = {folder.Write("a.xsd", text)}});
        EXPECT_EQ("", testing::internal::GetCapturedStderr());
        EXPECT_EQ(1, imported.status);
        EXPECT_THAT(folder.Shorten(imported.report), HasSubstr(line));
    }
}

TEST(SchemaImportRefusal, WhatALaterReleaseSaysDifferently) {
    const DocumentFolder folder;
    const std::string old =
        folder.WriteSchema("old.xsd", Class("Half", Element("a", "s:int") + Element("b", "s:int") +
                                                        Element("c", "s:int")));
    const std::string later =
        folder.WriteSchema("new.xsd", Class("Half", Element("b", "s:long") + Element("d", "s:int") +
                                                        Element("a", "s:int", "minOccurs='0'")));
    const Imported imported = Import({.documents = {"ozy25/5.0=" + old, "ozy25/5.5=" + later}});
    EXPECT_EQ("# made by orvane schema import\nnamespace ozy\n\n"
              "data Half : DynamicData  @ozy25/5.0\n"
              "  a                 int?\n"
              "  b                 int\n"
              "  d                 int                 @ozy25/5.5\n"
              "  c                 int?\n",
              imported.tables);
    EXPECT_EQ(
        "new.xsd:3: element 'b' of 'Half' is long in release ozy25/5.5, but old.xsd:4 declares "
        "int\n"
        "new.xsd:5: element 'a' of 'Half' is int? in release ozy25/5.5, but old.xsd:3 declares "
        "int\n"
        "new.xsd:5: element 'a' of 'Half' comes after 'd' in release ozy25/5.5, but before "
        "it at old.xsd:3\n"
        "new.xsd:2: element 'c' of 'Half' is gone in release ozy25/5.5; it stays, as optional, "
        "from old.xsd:5\n"
        "1 class (1 new), 0 enumerations (0 new), 0 methods; 4 things not used\n",
        folder.Shorten(imported.report));
}

TEST(SchemaImportRefusal, CommandLinesThatMeanNothing) {
    const ImportOptions rows[] = {
        {},
        {.documents = {"ozy25/9.9=a.xsd"}},
        {.documents = {"ozy25/5.0=a.xsd", "ferry/1.0=b.xsd"}},
        {.documents = {"a.xsd"}, .ns = "mill"},
    };
    for (const ImportOptions &row : rows)
        EXPECT_EQ(2, Import(row).status);
    EXPECT_EQ(1, Import({.documents = {"/nonexistent.xsd"}}).status);
}

} // namespace
