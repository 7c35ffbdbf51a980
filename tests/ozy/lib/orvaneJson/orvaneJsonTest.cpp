#include <orvane/json.h>
#include <orvane/schema/ozy.h>

#include "tests/ozy/lib/orvane/schema/filledObjects.h"

namespace {

using namespace filledObjects;

struct OrvaneJson : FilledObjects {
    std::string Write(GObject *object, int flags = ORVANE_JSON_COMPACT) {
        GError *error = nullptr;
        const GPtr<char> text(orvane_object_to_json(object, OrvaneJsonFlags(flags), &error));
        return Ended(text != nullptr ? text.get() : "", error);
    }
    ObjectPtr<GObject> Read(GType type, const std::string &text, std::string *problem = nullptr) {
        GError *error = nullptr;
        ObjectPtr<GObject> object(
            orvane_object_from_json(session.get(), type, text.c_str(), &error));
        EXPECT_NE(object == nullptr, error == nullptr);
        const std::string message = Ended("", error);
        EXPECT_TRUE(problem != nullptr || object != nullptr) << message << text;
        if (problem != nullptr)
            *problem = message;
        return object;
    }
    /* The message of the error, or the text. */
    static std::string Ended(const std::string &text, GError *error) {
        if (error == nullptr)
            return text;
        EXPECT_EQ(ORVANE_JSON_ERROR, error->domain);
        const std::string message = error->message;
        g_error_free(error);
        return message;
    }
    std::string Problem(GType type, const std::string &text) {
        std::string problem;
        EXPECT_EQ(nullptr, Read(type, text, &problem)) << text;
        return problem;
    }
};

TEST_F(OrvaneJson, AnObjectOfEveryClassIsReadAsItWasWritten) {
    const Warnings warnings;
    ForEachClass([this](GType type) {
        const ObjectPtr<GObject> object = Filled(type, 0);
        if (g_type_is_a(type, SKEMA_TYPE_QORM_MANAGED_OBJECT))
            return;
        for (int flags : {ORVANE_JSON_COMPACT, ORVANE_JSON_INDENTED, ORVANE_JSON_ALL_TYPES}) {
            const std::string text = Write(object.get(), flags);
            const ObjectPtr<GObject> read = Read(type, text);
            ASSERT_NE(nullptr, read);
            EXPECT_EQ(Tell(object.get()), Tell(read.get())) << text;
            EXPECT_EQ(text, Write(read.get(), flags));
        }
    });
    EXPECT_THAT(warnings.texts, ElementsAre());
}

std::string Change(const std::string &value) {
    return R"({"_type":"PropertyChange","name":"n","op":"assign","val":)" + value + "}";
}

/* A class above all that the text can name. */
GType RootOf(const std::string &text) {
    return text.find("Error") != std::string::npos ? SKEMA_TYPE_QORM_METHOD_FAULT
                                                   : SKEMA_TYPE_QORM_DATA_OBJECT;
}

TEST_F(OrvaneJson, ATextInTheFormOfTheWriterComesBack) {
    const std::string texts[] = {
        R"({"_type":"PropertyFilterSpec","propSet":[{"type":"Folder","all":false,"pathSet":[]}],)"
        R"("objectSet":[{"obj":{"_type":"Folder","_id":"group-1"},"skip":true,"selectSet":)"
        R"([{"name":"a"},{"_type":"TraversalSpec","name":"t","type":"Folder","path":"childEntity"}]}]})",
        R"({"_type":"PropertyFilterSpec","propSet":null,"objectSet":null})",
        R"({"_type":"RetrieveOptions","maxObjects":-2147483648})",
        R"({"_type":"UserSession","key":"k","userName":"\u001b[2J\u009b\u202e\"\\\n/é","fullName":"",)"
        R"("loginTime":"2026-11-23T13:14:15.000001Z","lastActiveTime":null,"locale":null,)"
        R"("messageLocale":null,"extensionSession":false,"ipAddress":null,"userAgent":null,)"
        R"("callCount":"-9223372036854775808"})",
        R"({"_type":"SystemError","reason":"r"})",
    };
    for (const std::string &text : texts) {
        const ObjectPtr<GObject> object = Read(RootOf(text), text);
        ASSERT_NE(nullptr, object);
        EXPECT_EQ(text, Write(object.get()));
    }
    for (const char *held :
         {R"("text")", "true", "7", "[]", R"(["a",1,null,[false]])",
          R"({"_type":"xsd:long","_value":5})",
          R"({"_type":"xsd:long","_value":"9223372036854775807"})",
          R"({"_type":"xsd:byte","_value":-128})",
          R"({"_type":"xsd:unsignedInt","_value":4294967295})",
          R"({"_type":"xsd:double","_value":1e+300})", R"({"_type":"xsd:float","_value":"-INF"})",
          R"({"_type":"xsd:double","_value":"NaN"})", R"({"_type":"xsd:float","_value":0.1})",
          R"({"_type":"xsd:dateTime","_value":"1969-12-31T23:59:59Z"})",
          R"({"_type":"xsd:base64Binary","_value":"AAEC"})",
          R"({"_type":"xsd:anyURI","_value":"http://x/"})",
          R"({"_type":"VirtualMachinePowerState","_value":"poweredOn"})",
          R"({"_type":"VirtualMachine","_id":"vm-42"})",
          R"({"_type":"SelectionSpec","name":"x"})"}) {
        const ObjectPtr<GObject> object =
            Read(SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_CHANGE, Change(held));
        ASSERT_NE(nullptr, object);
        EXPECT_EQ(Change(held), Write(object.get()));
    }
}

TEST_F(OrvaneJson, AValueAloneHasTheFormOfItsPlace) {
    const std::pair<GType, const char *> rows[] = {
        {G_TYPE_INT64, "5"},
        {G_TYPE_STRING, "null"},
        {G_TYPE_STRING, R"("x")"},
        {SKEMA_TYPE_OZY_VIRTUAL_MACHINE_POWER_STATE, R"("poweredOff")"},
        {SKEMA_TYPE_OZY_VIRTUAL_MACHINE, R"({"_type":"VirtualMachine","_id":"vm-1"})"},
        {G_TYPE_VALUE_ARRAY, R"(["a",2])"}};
    for (const auto &[type, text] : rows) {
        Value value;
        ASSERT_TRUE(orvane_value_from_json(session.get(), type, 0, text, value.get(), nullptr));
        const GPtr<char> again(orvane_value_to_json(value.get(), ORVANE_JSON_COMPACT, nullptr));
        EXPECT_STREQ(text, again.get());
    }
    Value texts;
    EXPECT_TRUE(orvane_value_from_json(nullptr, G_TYPE_VALUE_ARRAY, G_TYPE_INT64, "[1]",
                                       texts.get(), nullptr));
    EXPECT_TRUE(
        G_VALUE_HOLDS_INT64(static_cast<GValueArray *>(g_value_get_boxed(texts.get()))->values));
    EXPECT_FALSE(orvane_value_from_json(nullptr, G_TYPE_VALUE_ARRAY, G_TYPE_INT64, R"(["x"])",
                                        Value().get(), nullptr));
    const GValue nothing = G_VALUE_INIT;
    const GPtr<char> null(orvane_value_to_json(&nothing, ORVANE_JSON_COMPACT, nullptr));
    EXPECT_STREQ("null", null.get());
}

TEST_F(OrvaneJson, AnErrorSaysWhereAndWhat) {
    const GType spec = SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_FILTER_SPEC;
    const GType change = SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_CHANGE;
    const GType options = SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_RETRIEVE_OPTIONS;
    const auto propSet = [](const std::string &element) {
        return R"({"objectSet":[],"propSet":[{"type":"A"},)" + element + "]}";
    };
    const std::tuple<GType, std::string, const char *> rows[] = {
        {spec, propSet(R"({"type":3})"), "propSet[1].type: 3 is no text"},
        {spec, propSet("{}"), R"(propSet[1]: PropertySpec needs "type")"},
        {spec, propSet("[]"), "propSet[1]: an array is no PropertySpec"},
        {spec, propSet(R"({"type":"B","all":1})"), "propSet[1].all: 1 is no boolean"},
        {spec, propSet(R"({"type":"B","pathset":[]})"),
         R"(propSet[1]: PropertySpec has no property "pathset")"},
        {spec, propSet(R"({"_type":"ObjectSpec"})"),
         R"(propSet[1]: "ObjectSpec" is no PropertySpec)"},
        {spec, propSet(R"({"_type":"Nothing"})"),
         R"(propSet[1]: "Nothing" is no type of the schema)"},
        {spec, R"({"propSet":null,"objectSet":[{"obj":"group-1"}]})",
         R"(objectSet[0].obj: "group-1" is no managed object, such as {"_type": "Task", "_id": "task-1"})"},
        {spec, R"({"propSet":null,"objectSet":[{"obj":{"_type":"Folder"}}]})",
         R"(objectSet[0].obj: has no "_id")"},
        {spec, R"({"propSet":null,"objectSet":[{"obj":{"_type":"PropertySpec","_id":"x"}}]})",
         R"(objectSet[0].obj: "PropertySpec" is no ManagedObject)"},
        {options, R"({"maxObjects":2147483648})", "maxObjects: 2147483648 is no int"},
        {options, R"({"maxObjects":1.5})", "maxObjects: 1.5 is no int"},
        {options, R"({"maxObjects":"1x"})", R"(maxObjects: "1x" is no int)"},
        {options, R"({"maxObjects":""})", R"(maxObjects: "" is no int)"},
        {options, "null", "null is no RetrieveOptions"},
        {options, "7", "7 is no RetrieveOptions"},
        {options, R"({"maxObjects":1)", nullptr},
        {options, "", nullptr},
        {options, "var x = {}", nullptr},
        {options, "{\"\xff\":1}", nullptr},
        {options, std::string(600, '['), "the text is nested too deeply"},
        {options, std::string(60, 'x'), nullptr},
        {change, R"({"name":null,"op":null})", nullptr},
        {change, R"({"name":null,"op":"set"})",
         R"(op: "set" is no PropertyChangeOp (add, remove, assign, indirectRemove))"},
        {change, Change("{}"), R"(val: has no "_type")"},
        {change, Change(R"({"_type":"xsd:int"})"), R"(val: xsd:int has a "_value" and no more)"},
        {change, Change(R"({"_type":"xsd:int","_value":1,"x":1})"),
         R"(val: xsd:int has a "_value" and no more)"},
        {change, Change(R"({"_type":"PropertySpec","_value":1})"),
         R"(val: PropertySpec has no "_value")"},
        {change, Change(R"({"_type":"xsd:byte","_value":128})"), "val: 128 is no byte"},
        {change, Change(R"({"_type":"xsd:float","_value":1e300})"), nullptr},
        {change, Change(R"({"_type":"xsd:base64Binary","_value":"A"})"),
         R"(val: "A" is no text in base 64)"},
        {change, Change(R"({"_type":"xsd:dateTime","_value":"soon"})"),
         R"(val: "soon" is no date, such as "2026-11-23T13:14:15Z")"},
        {change, Change(R"([1,{"_type":"xsd:long","_value":"99999999999999999999"}])"),
         R"(val[1]: "99999999999999999999" is no long)"},
    };
    const Warnings warnings;
    for (const auto &[type, text, message] : rows) {
        const std::string problem = Problem(type, text);
        EXPECT_FALSE(problem.empty());
        if (message != nullptr) {
            EXPECT_EQ(message, problem);
        }
    }
    EXPECT_THAT(Problem(options, R"({"maxObjects":")" + std::string(1000, 'x') + "\"}"),
                testing::SizeIs(testing::Lt(80)));
    EXPECT_THAT(warnings.texts, ElementsAre());
}

TEST_F(OrvaneJson, WithoutASessionThereAreNoManagedObjects) {
    const char *text = R"({"_type":"VirtualMachine","_id":"vm-1"})";
    const ObjectPtr<OrvaneSession> unconnected(orvane_session_new());
    for (OrvaneSession *without : {static_cast<OrvaneSession *>(nullptr), unconnected.get()}) {
        GError *error = nullptr;
        EXPECT_EQ(nullptr,
                  orvane_object_from_json(without, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, text, &error));
        EXPECT_EQ("a managed object needs a session that was connected", Ended("", error));
    }
    ObjectPtr<GObject> proxy = Read(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, text);
    g_object_ref_sink(proxy.get());
    EXPECT_EQ(text, Write(proxy.get())) << "nothing was loaded";
    EXPECT_EQ(R"("vm-1" is no HostSystem)",
              Problem(SKEMA_TYPE_OZY_HOST_SYSTEM, R"({"_type":"HostSystem","_id":"vm-1"})"));
    g_object_unref(proxy.get());
}

TEST_F(OrvaneJson, WhatJsonCannotExpressIsAnError) {
    const ObjectPtr<GObject> options(static_cast<GObject *>(g_object_new(
        SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_SELECTION_SPEC, "name", "\xff", nullptr)));
    EXPECT_EQ("name: is no UTF-8", Write(options.get()));
    const ObjectPtr<GObject> stranger(static_cast<GObject *>(g_object_new(G_TYPE_OBJECT, nullptr)));
    EXPECT_EQ("is no object of the schema: GObject", Write(stranger.get()));

    EXPECT_THAT(Write(NestedObjects(600).Object()), HasSubstr("is nested too deeply"));
}

} // namespace
