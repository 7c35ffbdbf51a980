#include "ozy/lib/schemaText/schemaCheck.h"

#include "tests/ozy/lib/schemaText/readSchema.h"

namespace {

TEST(SchemaCheck, RefusesByFileAndLine) {
    /* texts below the core and "namespace ozy"; lines and messages */
    const std::pair<const char *, const char *> rows[] = {
        {"data A : DynamicData\n  a Foo\n", "3: unknown type 'Foo'"},
        {"data A : DynamicData\n  a anyURI\n", "3: 'anyURI' outside an array"},
        {"data A : DynamicData\n  a int\n  a long\n",
         "4: field 'a' is already declared at a.schema:3"},
        {"data A : DynamicData\n  _a int\n", "3: field '_a' does not begin with a letter"},
        {"data A : DynamicData\n  a ~int\n",
         "3: '*', '~' and '!' are for arguments, not for field 'a'"},
        {"data A : DynamicData @ozy25/9.9\n", "2: unknown version 'ozy25/9.9'"},
        {"data A : DynamicData\n  a int @x\n", "3: unknown version 'x'"},
        {"data A : Foo\n", "2: unknown base 'Foo' of 'A'"},
        {"data A\n", "2: 'A' has no base"},
        {"fault A : DynamicData\n", "2: fault 'A' has the data 'DynamicData' as its base"},
        {"managed A : MethodFault\n", "2: managed 'A' has the fault 'MethodFault' as its base"},
        {"fault A : GObject\n", "2: unknown base 'GObject' of 'A'"},
        {"data A in Foo : DynamicData\n", "2: unknown class 'Foo' around 'A'"},
        {"data A : A\n", "2: the bases of 'A' lead back to itself"},
        {"data A : B\ndata B : C\ndata C : B\n", "3: the bases of 'B' lead back to itself"},
        {"data string : DynamicData\n", "2: type 'string' is built in"},
        {"managed A : ManagedObject\n  M()\n  M(a int) = n\n",
         "4: method 'M' is already declared at a.schema:3"},
        {"managed A : ManagedObject\n  M(a int, a int)\n",
         "3: argument 'a' is already declared at a.schema:3"},
        {"managed A : ManagedObject\n  M(\n      a Foo)\n", "4: unknown type 'Foo'"},
        {"managed A : ManagedObject\n  M() Foo\n", "3: unknown type 'Foo'"},
        {"managed A : ManagedObject\n  M() int?\n",
         "3: '*', '~', '?' and '!' mean nothing for the result of 'M'"},
        {"managed A : ManagedObject\n  M()\n  M_Task()\n",
         "4: C name 'skema_ozy_a_m' is already declared at a.schema:3"},
        {"managed A : ManagedObject\n  GetType()\n",
         "3: C name 'skema_ozy_a_get_type' is already declared at a.schema:2"},
        {"enum A\n", "2: enumeration 'A' without words"},
        {"enum A : DynamicData\n  a\n", "2: enumeration 'A' with a base"},
        {"enum A @all\n  a\n", "2: enumeration 'A' with a version or '...'"},
        {"enum A\n  a b a\n", "3: word 'a' is already declared at a.schema:3"},
        {"data A : DynamicData\nenum B in A\n  one\nenum C in A\n  ONE\n",
         "6: C name 'SKEMA_OZY_A_ONE' is already declared at a.schema:4"},
        {"data AB : DynamicData = X\ndata C : DynamicData = X\n",
         "3: C name 'SkemaOzyX' is already declared at a.schema:2"},
        {"enum A\n  a\nnamespace ferry\nmanaged B : ManagedObject\n  M(a A)\n",
         "6: argument 'a' is an enumeration of another namespace"},
        {"data A : DynamicData\nnamespace qorm\ndata B : A\n",
         "4: base 'A' is in a later namespace"},
        {"data A : DynamicData\nnamespace qorm\ndata B : DynamicData\n  a A\n",
         "5: type 'A' of another namespace in the core"},
    };
    for (const auto &[text, message] : rows) {
        const auto read = ReadAndCheck(std::string("namespace ozy\n") + text);
        ASSERT_FALSE(read->errors.messages.empty()) << text;
        EXPECT_EQ(std::string("a.schema:") + message, read->errors.messages[0]) << text;
    }
}

TEST(SchemaCheck, NamesBothPlacesOfATypeDeclaredTwice) {
    EXPECT_EQ("a.schema:3: type 'DynamicData' is already declared at core.schema:3",
              ReadAndCheck("namespace ozy\n\ndata DynamicData : DataObject\n")->errors.messages[0]);
}

TEST(SchemaCheck, FindsAllFaultsOfOneRun) {
    EXPECT_THAT(ReadAndCheck("namespace ozy\ndata A : DynamicData\n  a Foo\n  b Bar @none\n")
                    ->errors.messages,
                ElementsAre("a.schema:3: unknown type 'Foo'", "a.schema:4: unknown version 'none'",
                            "a.schema:4: unknown type 'Bar'"));
}

TEST(SchemaCheck, AllowsWhatTheSchemaHas) {
    const char *const rows[] = {
        "event A : DynamicData ...\ndata B : A\n",              /* events are data objects */
        "data A : DynamicData\n  a int\ndata B : A\n  a int\n", /* declared again below its class */
        "managed A : ManagedObject\n  Destroy()\nmanaged B : A\n  Destroy()\n",
        "enum A\n  a\nenum B\n  a\n",
        "data A : DynamicData\n  a anyURI[]?\n  b MethodFault\n  c ManagedObject[]\n",
        "data A : DynamicData\nnamespace ferry\nmanaged B : ManagedObject\n  M(a A) A\n",
    };
    for (const char *text : rows)
        EXPECT_THAT(ReadAndCheck(std::string("namespace ozy\n") + text)->errors.messages,
                    ElementsAre())
            << text;
}

} // namespace
