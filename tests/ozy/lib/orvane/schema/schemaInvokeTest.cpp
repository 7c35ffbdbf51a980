// Method stubs: which values their parameters become, as the service sees them.
#include "ozy/lib/orvane/listener/orvaneListener.h"
#include "tests/ozy/lib/orvane/schema/schemaKinds.h"
#include "tests/ozy/lib/orvane/session/sessionFixture.h"

namespace {

struct SchemaInvoke : SessionTest {
    void SetUp() override { ASSERT_EQ("success", Connect()); }

    template <class T> T *Proxy(const char *wireName) {
        proxies.push_back(Owned(wireName, orvane_lookup_type(wireName)));
        return reinterpret_cast<T *>(proxies.back().get());
    }

    /* Calls the method that takes each form of one kind. Returns what was sent. */
    template <class... Arguments>
    std::string Take(const std::string &word, Arguments... arguments) {
        orvane_schema_invoke(schemaKinds::MethodOf("Take" + word), Proxy<void>("TestProxy"),
                             nullptr, arguments...);
        return Sent("Take" + word);
    }

    std::vector<ObjectPtr<SkemaQormManagedObject>> proxies;
};

std::string Element(const std::string &name, const std::string &type, const std::string &text) {
    return "<" + name + " xsi:type=\"" + type + "\">" + text + "</" + name + ">";
}

/* All four arguments of Take...(): the third is a list of two. */
std::string All(const std::string &type, const std::string &text) {
    return Element("one", type, text) + Element("maybe", type, text) + Element("all", type, text) +
           Element("all", type, text) + Element("likely", type, text);
}

TEST_F(SchemaInvoke, NumbersComeByValueOrByPointer) {
    const auto expectSent = [this](const char *word, const std::string &sent, GType type, auto set,
                                   auto number) {
        Value value(type);
        set(value.get(), number);
        EXPECT_EQ(sent, Take(word, number, &number, ArrayValue({&value, &value}).Array(), number))
            << word;
    };
    expectSent("Boolean", All("xsd:boolean", "0"), G_TYPE_BOOLEAN, g_value_set_boolean, FALSE);
    expectSent("Byte", All("xsd:byte", "-128"), G_TYPE_CHAR, g_value_set_schar, gint8{-128});
    expectSent("Short", All("xsd:int", "-5"), G_TYPE_INT, g_value_set_int, -5);
    expectSent("Int", All("xsd:int", "-5"), G_TYPE_INT, g_value_set_int, -5);
    expectSent("Long", All("xsd:long", "9223372036854775807"), G_TYPE_INT64, g_value_set_int64,
               gint64{G_MAXINT64});
    expectSent("Enum", All("ObjectUpdateKind", "leave"), orvane_lookup_type("ObjectUpdateKind"),
               g_value_set_enum, SKEMA_QORM_CORE_PROPERTY_COLLECTOR_OBJECT_UPDATE_LEAVE);
    expectSent("Float", All("xsd:float", "0.500000"), G_TYPE_FLOAT, g_value_set_float, 0.5F);
    expectSent("Double", All("xsd:double", "0.250000"), G_TYPE_DOUBLE, g_value_set_double, 0.25);
}

TEST_F(SchemaInvoke, WhatComesByPointerIsLeftOutIfThatIsNull) {
    const Value text = StringValue("x");
    EXPECT_EQ(All("xsd:string", "x"),
              Take("String", "x", "x", ArrayValue({&text, &text}).Array(), "x"));
    EXPECT_EQ(Element("one", "xsd:int", "1") + Element("likely", "xsd:int", "2"),
              Take("Int", 1, nullptr, nullptr, 2));

    const GTimeVal time = {0, 0};
    EXPECT_EQ(Element("one", "xsd:dateTime", "1970-01-01T00:00:00Z") +
                  Element("likely", "xsd:dateTime", "1970-01-01T00:00:00Z"),
              Take("Time", &time, nullptr, nullptr, &time));
}

TEST_F(SchemaInvoke, ARequiredTextIsPassedOnEvenIfItIsNull) {
    const Warnings warnings; /* the writer's */
    EXPECT_EQ(Element("likely", "xsd:string", "(null)"),
              Take("String", nullptr, nullptr, nullptr, nullptr));
    EXPECT_EQ(1u, warnings.texts.size());
}

TEST_F(SchemaInvoke, AnObjectIsOfItsOwnClassWhereTheDeclaredOneIsOnlyLikely) {
    const ObjectPtr<GObject> declared = New("SelectionSpec");
    const ObjectPtr<GObject> below = New("TraversalSpec");
    const ObjectPtr<GObject> other = New("PropertySpec");
    g_object_set(below.get(), "type", "t", "path", "p", nullptr);
    g_object_set(other.get(), "type", "t", nullptr);
    const std::string sent = Take("Object", below.get(), nullptr, nullptr, other.get());
    EXPECT_THAT(sent, testing::StartsWith("<one xsi:type=\"TraversalSpec\">"));
    EXPECT_THAT(sent, HasSubstr("<likely xsi:type=\"PropertySpec\">"));

    const Warnings warnings; /* GObject's own check refuses it where the class is stated */
    EXPECT_EQ("<likely xsi:type=\"SelectionSpec\"></likely>",
              Take("Object", nullptr, nullptr, nullptr, declared.get()));
    Take("Object", other.get(), nullptr, nullptr, declared.get());
    EXPECT_EQ(1u, warnings.texts.size());
}

TEST_F(SchemaInvoke, AnAnyIsReadFromTheParameterItselfAndNeverFollowed) {
    const Value value = StringValue("never looked at");
    const std::string unset = Take("Any", nullptr, nullptr, nullptr, value.get());
    EXPECT_EQ(std::string::npos, unset.find("never"));
    for (const gsize garbage : {gsize{1}, gsize{0xff}, gsize{1} << 40, G_MAXSIZE})
        EXPECT_EQ(unset, Take("Any", nullptr, nullptr, nullptr, GSIZE_TO_POINTER(garbage)));
    for (const GType type : {G_TYPE_INTERFACE, G_TYPE_NONE, G_TYPE_BOXED})
        EXPECT_EQ(unset, Take("Any", nullptr, nullptr, nullptr, GSIZE_TO_POINTER(type)));
    EXPECT_EQ(Element("likely", "xsd:int", "0"),
              Take("Any", nullptr, nullptr, nullptr, GSIZE_TO_POINTER(G_TYPE_INT)));
}

TEST_F(SchemaInvoke, AnUnknownArgumentGoesOutAsItIs) {
    auto *manager = Proxy<SkemaOzyCustomFieldsManager>("CustomFieldsManager");
    auto *folder = Proxy<SkemaOzyManagedEntity>("Folder");
    const Value key = IntValue(3);
    const Value text = StringValue("x");
    skema_ozy_custom_fields_manager_set_field(manager, folder, key.get(), text.get(), nullptr);
    EXPECT_THAT(Sent("SetField"), testing::EndsWith(Element("key", "xsd:int", "3") +
                                                    Element("value", "xsd:string", "x")));
    const Value unset;
    skema_ozy_custom_fields_manager_set_field(manager, nullptr, unset.get(), nullptr, nullptr);
    EXPECT_EQ("", Sent("SetField"));
}

TEST_F(SchemaInvoke, AnObjectThatCannotBeCalledIsAWarningAndNoRequest) {
    const size_t before = service->server.Requests().size();
    const Warnings warnings;
    skema_ozy_task_cancel(nullptr, nullptr);
    const ObjectPtr<GObject> data = New("TaskInfo");
    skema_ozy_task_cancel(reinterpret_cast<SkemaOzyTask *>(data.get()), nullptr);
    auto *task = Proxy<SkemaOzyTask>("Task");
    OrvaneSession *const kept =
        std::exchange(reinterpret_cast<SkemaQormManagedObject *>(task)->session, nullptr);
    skema_ozy_task_cancel(task, nullptr);
    reinterpret_cast<SkemaQormManagedObject *>(task)->session = kept;
    g_clear_object(&session);
    skema_ozy_task_cancel(task, nullptr); /* its session has gone */
    testLoop::Settle();
    EXPECT_EQ(4u, warnings.texts.size());
    EXPECT_EQ(before, service->server.Requests().size());
}

TEST(SchemaInvokeDeathTest, AMethodPastTheTablesEndsTheProcess) {
    EXPECT_DEATH(orvane_schema_invoke(SchemaEngine_Tables()->numMethods, nullptr, nullptr), "");
    EXPECT_DEATH(orvane_schema_get_type(SchemaEngine_Tables()->numTypes), "");
}

} // namespace
