// Values that a user types, as the types of the schema have them; descriptions of changes.
#include "tools/orvane/typedValue.h"

#include <gmock/gmock.h>
#include <orvane/json.h>
#include <orvane/schema/ozy.h>

#include "tests/support/temporaryFolder.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/specJson.h"

namespace {

using namespace orvaneCli;
using Words = std::vector<std::string>;

ValueReader Reader() {
    return {nullptr, [](const std::string &) { return ObjectPtr<SkemaQormManagedObject>(); }};
}

/* The value as JSON, "(left out)", or what is wrong with it. */
std::string Read(const Words &texts, const ValuePlace &place) {
    GValue value = G_VALUE_INIT;
    try {
        Reader().Read("x", texts, place, &value);
    } catch (const BadUsage &wrong) {
        return wrong.what();
    }
    if (!G_IS_VALUE(&value))
        return "(left out)";
    const GPtr<char> json(orvane_value_to_json(&value, ORVANE_JSON_COMPACT, nullptr));
    g_value_unset(&value);
    return json.get();
}

TEST(TypedValue, IsReadByTheTypeOfTheSchema) {
    const TemporaryFolder folder;
    folder.Write("text", "two\nlines\n");
    folder.Write("bytes", std::string("\0\n", 2));
    folder.Write("spec", R"({"all": true, "type": "Folder"})");
    const std::string file = "@" + folder.Path();
    const GType spec = orvane_lookup_type("PropertySpec");
    const std::string cannot = ", which a request cannot carry";
    const GType root = orvane_lookup_type("DataObject");
    const struct {
        Words texts;
        ValuePlace place;
        std::string read;
    } rows[] = {
        {{"a \"b\""}, {G_TYPE_STRING}, R"("a \"b\"")"},
        {{""}, {G_TYPE_STRING}, R"("")"},
        {{"{}"}, {G_TYPE_STRING}, R"("{}")"},
        {{file + "/text"}, {G_TYPE_STRING}, R"("two\nlines")"},
        {{"@@x"}, {G_TYPE_STRING}, R"("@x")"},
        {{"\xff"}, {G_TYPE_STRING}, "x: the value is no UTF-8"},
        {{"a\x1b[31m"}, {G_TYPE_STRING}, "x: the value has the character U+001B" + cannot},
        {{"\xef\xbf\xbe"}, {G_TYPE_VALUE}, "x: the value has the character U+FFFE" + cannot},
        {{R"({"type": "a", "pathSet": ["b\t", "c\u0000"]})"},
         {spec},
         "x: pathSet[1]: the value has the character U+0000" + cannot},
        {{"true"}, {G_TYPE_BOOLEAN}, "true"},
        {{"yes"}, {G_TYPE_BOOLEAN}, "x: \"yes\" is no boolean"},
        {{"-5"}, {G_TYPE_INT}, "-5"},
        {{"0x10"}, {G_TYPE_INT}, "x: \"0x10\" is no int"},
        {{"2147483648"}, {G_TYPE_INT}, "x: \"2147483648\" is no int"},
        {{"9223372036854775807"}, {G_TYPE_INT64}, R"("9223372036854775807")"},
        {{"1.5"}, {G_TYPE_DOUBLE}, "1.5"},
        {{"NaN"}, {G_TYPE_DOUBLE}, R"("NaN")"},
        {{"1,5"}, {G_TYPE_DOUBLE}, "x: \"1,5\" is no double"},
        {{"2026-01-02T03:04:05Z"}, {ORVANE_TYPE_TIMEVAL}, R"("2026-01-02T03:04:05Z")"},
        {{file + "/bytes"}, {ORVANE_TYPE_BYTE_ARRAY}, R"("AAo=")"},
        {{"running"}, {orvane_lookup_type("TaskInfoState")}, R"("running")"},
        {{"ran"},
         {orvane_lookup_type("TaskInfoState")},
         "x: \"ran\" is no TaskInfoState (queued, running, success, error)"},
        {{"5"}, {G_TYPE_VALUE}, "5"},
        {{"5 a"}, {G_TYPE_VALUE}, R"("5 a")"},
        {{R"({"_type": "xsd:long", "_value": 5})"},
         {G_TYPE_VALUE},
         R"({"_type":"xsd:long","_value":5})"},
        {{"a", "b"}, {G_TYPE_VALUE_ARRAY, G_TYPE_STRING}, R"(["a","b"])"},
        {{R"(["a"])"}, {G_TYPE_VALUE_ARRAY, G_TYPE_STRING}, R"(["a"])"},
        {{"[]"}, {G_TYPE_VALUE_ARRAY, G_TYPE_STRING}, "(left out)"},
        {{"1", "b"}, {G_TYPE_VALUE_ARRAY, G_TYPE_INT}, "x: [1]: \"b\" is no int"},
        {{"1", "2"}, {G_TYPE_INT}, "x is given more than once"},
        {{file + "/spec"}, {spec}, R"({"_type":"PropertySpec","type":"Folder","all":true})"},
        {{"{\"nam\": 1}"}, {spec}, "x: PropertySpec has no property \"nam\""},
        {{"text"}, {spec}, "x: \"text\" is no PropertySpec"},
        {{R"({"_type": "TraversalSpec", "type": "Folder", "path": "p", "skip": false})"},
         {spec, 0, true},
         R"({"_type":"TraversalSpec","type":"Folder","path":"p","skip":false})"},
        {{R"({"_type": "SelectionSpec", "name": "s"})"},
         {root, 0, true},
         R"({"_type":"SelectionSpec","name":"s"})"},
        {{R"({"_type": "SelectionSpec"})"}, {spec}, "x: \"SelectionSpec\" is no PropertySpec"},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(row.read, Read(row.texts, row.place)) << row.texts.front();
    }
    EXPECT_THAT(Read({file + "/none"}, {G_TYPE_STRING}), testing::HasSubstr("No such file"));
    EXPECT_THAT(Read({"{"}, {spec}), testing::StartsWith("x: 1:"));
}

TEST(SpecJson, SetsPropertiesInObjectsOfObjects) {
    const GType info = orvane_lookup_type("TaskInfo");
    const struct {
        Words words;
        const char *json;
    } rows[] = {
        {{"name=a=b", "progress=5"}, R"({"name":"a=b","progress":"5"})"},
        {{"reason._type=TaskReasonUser", "reason.userName=x"}, "TaskReasonUser"},
        {{"description.key=k", "description.message=m"},
         R"({"description":{"key":"k","message":"m"}})"},
        {{"description._type=TaskReason"}, "\"TaskReason\" is no class below LocalizableMessage"},
        {{"nam=a"}, "TaskInfo has no property \"nam\"; did you mean \"name\"?"},
        {{"zzzzzzzz=a"}, "TaskInfo has no property \"zzzzzzzz\"; see \"orvane call TaskInfo "},
        {{"name.x=a"}, "name.x: \"name\" is no data object"},
        {{"progress=x"}, "progress: \"x\" is no int"},
        {{"name=a", "name=b"}, "name is given more than once"},
        {{"description={}", "description.key=k"}, "description"},
        {{"name"}, "\"name\" is not of the form NAME=VALUE"},
        {{"=x"}, "\"=x\" is not of the form NAME=VALUE"},
    };
    for (const auto &row : rows) {
        std::string json;
        try {
            json = SpecJson(info, row.words, Reader());
        } catch (const BadUsage &wrong) {
            json = wrong.what();
        }
        EXPECT_THAT(json, testing::HasSubstr(row.json)) << row.words.front();
    }
}

} // namespace
