#include "tools/simulator/value.h"

#include <gtest/gtest.h>

using namespace simulator;

namespace {

std::string Written(const Value &value, bool typed) {
    std::string text;
    AppendElement(text, "val", value, typed);
    return text;
}

/* Returns the changes, one per line: "assign a.b <val>...</val>". */
std::string Difference(const Value &before, const Value &after, bool inParts) {
    std::vector<simulator::PropertyChange> changes;
    AppendDifference(before, after, "p", inParts, changes);
    std::string text;
    for (const auto &change : changes)
        text += change.op + " " + change.path + " " + Written(change.value, false) + "\n";
    return text;
}

Value Item(const std::string &key, int number) {
    return Structure("Item", {{"key", Text(key)}, {"n", Int(number)}});
}

TEST(Value, IsWrittenInTheFormOfItsKind) {
    const Value reference = Reference("Task", "task-1");
    /* whether it is written with its type */
    const std::tuple<Value, bool, const char *> rows[] = {
        {Text("a<b&c\x01"), true, "<val xsi:type=\"xsd:string\">a&lt;b&amp;c?</val>"},
        {Text(""), false, "<val></val>"},
        {Int(-3), true, "<val xsi:type=\"xsd:int\">-3</val>"},
        {Truth(true), true, "<val xsi:type=\"xsd:boolean\">true</val>"},
        {Enum("TaskInfoState", "error"), true, "<val xsi:type=\"TaskInfoState\">error</val>"},
        {reference, false, "<val type=\"Task\">task-1</val>"},
        {reference, true, "<val type=\"Task\" xsi:type=\"ManagedObjectReference\">task-1</val>"},
        {Texts({"a", "b"}), true,
         "<val xsi:type=\"ArrayOfString\"><string xsi:type=\"xsd:string\">a</string>"
         "<string xsi:type=\"xsd:string\">b</string></val>"},
        {Texts({"a", "b"}), false, "<val>a</val><val>b</val>"},
        {Texts({}), true, "<val xsi:type=\"ArrayOfString\"></val>"},
        {References({reference}), true,
         "<val xsi:type=\"ArrayOfManagedObjectReference\"><ManagedObjectReference type=\"Task\" "
         "xsi:type=\"ManagedObjectReference\">task-1</ManagedObjectReference></val>"},
        {Item("k", 1), false, "<val xsi:type=\"Item\"><key>k</key><n>1</n></val>"},
        {Structure("Info", {{"result", Int(1), true}, {"unset", nullptr}}), false,
         "<val xsi:type=\"Info\"><result xsi:type=\"xsd:int\">1</result></val>"},
        {WrappedFault("NotFound", "gone"), true,
         "<val xsi:type=\"LocalizedMethodFault\"><fault xsi:type=\"NotFound\"></fault>"
         "<localizedMessage>gone</localizedMessage></val>"},
        {nullptr, true, ""},
    };
    for (const auto &[value, isTyped, text] : rows)
        EXPECT_EQ(text, Written(value, isTyped));
}

TEST(Value, DifferencesInPartsNameWhatDiffers) {
    const Value one = Item("a", 1);
    const Value two = Item("b", 2);
    const auto items = [](std::vector<Value> list) { return List("Item", std::move(list)); };
    const std::tuple<Value, Value, const char *> rows[] = {
        {one, one, ""},
        {one, Item("a", 1), ""},
        {nullptr, Int(1), "assign p <val>1</val>\n"},
        {Int(1), nullptr, "assign p \n"},
        {one, Item("a", 5), "assign p.n <val>5</val>\n"},
        {Structure("T", {{"a", Int(1)}}), Structure("T", {{"b", Int(2)}}),
         "assign p.a \nassign p.b <val>2</val>\n"},
        {Structure("T", {}), Structure("U", {}), "assign p <val xsi:type=\"U\"></val>\n"},
        {items({one}), items({one, two}),
         "add p[\"b\"] <val xsi:type=\"Item\"><key>b</key><n>2</n></val>\n"},
        {items({one, two}), items({two}), "remove p[\"a\"] \n"},
        {items({one, two}), items({one, Item("b", 7)}), "assign p[\"b\"].n <val>7</val>\n"},
        {Texts({"x", "y"}), Texts({"y", "z"}), "remove p[\"x\"] \nadd p[\"z\"] <val>z</val>\n"},
        {List("Int", {Int(1)}), List("Int", {Int(1), Int(4)}), "add p[4] <val>4</val>\n"},
        {References({Reference("Task", "t")}), References({}), "remove p[\"t\"] \n"},
        /* another order, equal keys, and keys that no path can hold */
        {Texts({"x", "y"}), Texts({"y", "x"}), "assign p <val>y</val><val>x</val>\n"},
        {Texts({"x"}), Texts({"x", "x"}), "assign p <val>x</val><val>x</val>\n"},
        {Texts({}), Texts({"a]"}), "assign p <val>a]</val>\n"},
    };
    for (const auto &[before, after, changes] : rows)
        EXPECT_EQ(changes, Difference(before, after, true));
    EXPECT_EQ("assign p <val xsi:type=\"Item\"><key>a</key><n>5</n></val>\n",
              Difference(one, Item("a", 5), false));
}

TEST(Value, PathsLeadIntoFieldsAndLists) {
    const Value value = Structure("T", {{"list", List("Item", {Item("a", 1), Item("b.c", 2)})},
                                        {"numbers", List("Int", {Int(7)})}});
    const std::pair<const char *, const char *> rows[] = {
        {"list[\"a\"].n", "1"},     {"list[\"b.c\"].n", "2"}, {"numbers[7]", "7"},
        {"list[\"x\"].n", nullptr}, {"list[\"a", nullptr},    {"none.n", nullptr}};
    for (const auto &[path, text] : rows) {
        const Value found = Resolve(value, path);
        ASSERT_EQ(text != nullptr, found != nullptr) << path;
        if (found) {
            EXPECT_EQ(text, found->text) << path;
        }
    }
}

} // namespace
