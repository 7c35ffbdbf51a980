#include "tests/ozy/lib/orvane/soap/envelope.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

std::string Request(const std::vector<OrvaneArgument> &arguments) {
    gsize length = 0;
    const GPtr<char> text(OrvaneSoapWriteRequest(
        {"ozy25", orvane_lookup_version("ozy25/6.0")->mask}, "Task", "task-1", "CancelTask",
        arguments.data(), static_cast<guint>(arguments.size()), &length));
    EXPECT_EQ(length, strlen(text.get()));
    return text.get();
}

std::string Whole(const std::string &arguments) {
    return Envelope("<CancelTask xmlns=\"urn:ozy25\"><_this type=\"Task\">task-1</_this>" +
                    arguments + "</CancelTask>");
}

char *SerializePairs(const char *first, ...) {
    va_list arguments;
    va_start(arguments, first);
    char *text = orvane_soap_serialize(nullptr, "Task", "task-1", first, arguments);
    va_end(arguments);
    return text;
}

TEST(SoapWrite, ArgumentsInOrderWithoutTheOmittedOnes) {
    const Value text = StringValue("50% <done> & %s");
    const Value number = IntValue(-3);
    const Value omitted;
    EXPECT_EQ(Whole(""), Request({}));
    EXPECT_EQ(
        Whole("<a xsi:type=\"xsd:string\">50% &lt;done&gt; &amp; %s</a>"
              "<b xsi:type=\"xsd:int\">-3</b>"),
        Request(
            {{"a", text.get()}, {"left", omitted.get()}, {"out", nullptr}, {"b", number.get()}}));
}

TEST(SoapWrite, PairsOfAVariableListAreTheSame) {
    const Value text = StringValue("x");
    const Value omitted;
    const GPtr<char> request(
        SerializePairs("CancelTask", "o", omitted.get(), "a", text.get(), NULL));
    EXPECT_EQ(Envelope("<CancelTask xmlns=\"urn:(null)\"><_this type=\"Task\">task-1</_this>"
                       "<a xsi:type=\"xsd:string\">x</a></CancelTask>"),
              request.get());
}

TEST(SoapWrite, WhatCannotBeWrittenEndsTheArguments) {
    const Value before = IntValue(1);
    const Value after = IntValue(2);
    const Value empty = ArrayValue({});
    const Value none(G_TYPE_VALUE_ARRAY);
    const Value flags(G_TYPE_POINTER);
    for (const Value *stopper : {&empty, &none, &flags})
        EXPECT_EQ(Whole("<a xsi:type=\"xsd:int\">1</a>"),
                  Request({{"a", before.get()}, {"b", stopper->get()}, {"c", after.get()}}));
}

TEST(SoapWrite, ArraysAreSiblingsWithoutAWrapper) {
    const Value a = StringValue("a");
    const Value b = StringValue("b");
    const Value empty = ArrayValue({});
    const Value texts = ArrayValue({&a, &b});
    const Value nested = ArrayValue({&a, &empty, &b});
    const Value none;
    const std::string both = "<p xsi:type=\"xsd:string\">a</p><p xsi:type=\"xsd:string\">b</p>";
    bool isWritten = false;

    EXPECT_EQ(both, Written("p", texts.get(), "", &isWritten));
    EXPECT_TRUE(isWritten);
    EXPECT_EQ(both, Written("p", AnyValue(texts).get(), "", &isWritten));
    EXPECT_TRUE(isWritten);
    EXPECT_EQ("<p xsi:type=\"xsd:string\">a</p>", Written("p", nested.get(), "", &isWritten));
    EXPECT_FALSE(isWritten) << "the member that fails ends the array";
    EXPECT_EQ("", Written("p", AnyValue(none).get(), "", &isWritten));
    EXPECT_FALSE(isWritten);

    const Value noObject(orvane_lookup_type("SelectionSpec"));
    const std::vector<const Value *> twelve(12, &noObject); /* as many as are looked at early */
    EXPECT_EQ("", Written("p", ArrayValue(twelve).get(), "", &isWritten));
}

TEST(SoapWrite, OptionalPropertiesGoByTheMarkNotByTheValue) {
    const ObjectPtr<GObject> options = New("WaitOptions");
    EXPECT_EQ("<o xsi:type=\"WaitOptions\"></o>", Written("o", ObjectValue(options).get(), ""));
    g_object_set(options.get(), "maxObjectUpdates", 0, nullptr);
    EXPECT_EQ("<o xsi:type=\"WaitOptions\">"
              "<maxObjectUpdates xsi:type=\"xsd:int\">0</maxObjectUpdates></o>",
              Written("o", ObjectValue(options).get(), ""));

    /* other data of the object, few and many, do not change that */
    const std::string marked = Written("o", ObjectValue(options).get(), "");
    for (int i = 0; i < 100; i++) {
        g_object_set_data(options.get(), ("other " + std::to_string(i)).c_str(), options.get());
        ASSERT_EQ(marked, Written("o", ObjectValue(options).get(), "")) << i;
    }
    g_object_set_data(options.get(), "_maxObjectUpdates", nullptr);
    EXPECT_EQ("<o xsi:type=\"WaitOptions\"></o>", Written("o", ObjectValue(options).get(), ""));
}

TEST(SoapWrite, APropertyIsWrittenToServicesThatKnowIt) {
    const ObjectPtr<GObject> session = New("UserSession");
    g_object_set(session.get(), "key", "k", "userName", "u", "fullName", "f", "locale", "l",
                 "messageLocale", "m", "ipAddress", "i", "userAgent", "a", nullptr);
    const Value value = ObjectValue(session);
    const struct {
        const char *version;
        bool hasKey, hasExtensionSession, hasIpAddress;
    } rows[] = {
        {"", false, false, false},         {"ozy2", true, false, false},
        {"ozy25/4.1", true, false, false}, {"ozy25/5.0", true, true, false},
        {"ozy25/5.1", true, true, true},   {"ozy25/6.0", true, true, true},
        {"ferry/2.0", true, false, false}, {"ferry/3.0", true, true, false},
        {"ferry/5.0", true, true, true},   {"reflect/1.0", false, false, false},
    };
    for (const auto &row : rows) {
        const std::string text = Written("s", value.get(), row.version);
        const auto has = [&text](const char *tag) { return text.find(tag) != std::string::npos; };
        EXPECT_EQ(row.hasKey, has("<key ")) << row.version;
        EXPECT_EQ(row.hasExtensionSession, has("<extensionSession ")) << row.version;
        EXPECT_EQ(row.hasIpAddress, has("<ipAddress ")) << row.version;
    }
    const GStringPtr out(g_string_new(nullptr));
    EXPECT_TRUE(orvane_soap_serialize_value(nullptr, out.get(), "s", value.get()));
    EXPECT_STREQ("<s xsi:type=\"UserSession\"></s>", out->str) << "no session knows no version";
}

TEST(SoapWrite, AnObjectsResultIsThatOfItsLastProperty) {
    const Value empty = ArrayValue({});
    bool isWritten = false;

    const ObjectPtr<GObject> first = New("PropertyFilterSpec"); // an array in front of a boolean
    g_object_set(first.get(), "propSet", g_value_get_boxed(empty.get()), "objectSet",
                 g_value_get_boxed(empty.get()), "reportMissingObjectsInResults", FALSE, nullptr);
    EXPECT_EQ("<s xsi:type=\"PropertyFilterSpec\"><reportMissingObjectsInResults "
              "xsi:type=\"xsd:boolean\">0</reportMissingObjectsInResults></s>",
              Written("s", ObjectValue(first).get(), "", &isWritten));
    EXPECT_TRUE(isWritten);

    const ObjectPtr<GObject> last = New("PropertySpec"); // an array at the end
    g_object_set(last.get(), "type", "Task", "pathSet", g_value_get_boxed(empty.get()), nullptr);
    EXPECT_EQ("<s xsi:type=\"PropertySpec\"><type xsi:type=\"xsd:string\">Task</type></s>",
              Written("s", ObjectValue(last).get(), "", &isWritten));
    EXPECT_FALSE(isWritten);

    EXPECT_EQ("<s xsi:type=\"DataObject\"></s>", /* of a class without properties */
              Written("s", ObjectValue(New("DataObject")).get(), "", &isWritten));
    EXPECT_TRUE(isWritten);
}

/* So many arrays, each the only member of the one around it. */
Value NestedArrays(int levels) {
    Value value = IntValue(5);
    for (int i = 0; i < levels; i++)
        value = ArrayValue({&value});
    return value;
}

/* A request with a part left out must not be sent. Its text is written all the same. */
bool MayBeSent(const GValue *value) {
    const OrvaneArgument argument{"s", value};
    bool isCut = false;
    const GPtr<char> text(
        OrvaneSoapWriteRequest({"ozy25", orvane_lookup_version("ozy25/6.0")->mask}, "Task",
                               "task-1", "CancelTask", &argument, 1, nullptr, &isCut));
    EXPECT_TRUE(text);
    return !isCut;
}

TEST(SoapWrite, NestingHasALimit) {
    const auto count = [](const std::string &text) {
        gsize found = 0;
        for (gsize at = text.find("<val "); at != text.npos; at = text.find("<val ", at + 1))
            found++;
        return found;
    };
    for (int levels : {255, 256, 257, 2000}) {
        const std::string text = Written("s", NestedObjects(levels).get(), "ozy25/6.0");
        EXPECT_EQ(levels <= 256, text.find(">5<") != text.npos) << levels;
        EXPECT_EQ(levels <= 256 ? gsize(levels) : 255, count(text)) << levels;
        EXPECT_EQ(levels <= 256, MayBeSent(NestedObjects(levels).get())) << levels;
    }
    for (int levels : {512, 513}) {
        EXPECT_EQ(levels == 512, !Written("s", NestedArrays(levels).get(), "").empty()) << levels;
        EXPECT_EQ(levels == 512, MayBeSent(NestedArrays(levels).get())) << levels;
    }
}

} // namespace
