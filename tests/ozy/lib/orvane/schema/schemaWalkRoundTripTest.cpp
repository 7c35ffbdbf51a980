// Objects of every class with random values: request text -> the same text as a reply -> an equal object; and which objects
// are equal.
//
// A fault that wraps another one in a property "fault" reads as the inner one.
#include "ozy/lib/orvane/schema/schemaCompare.h"
#include "tests/ozy/lib/orvane/schema/filledObjects.h"

namespace {

using namespace filledObjects;

ObjectPtr<GObject> InnerFault(GObject *object) {
    return IsWrapper(G_OBJECT_TYPE(object)) ? GetObject(object, "fault") : nullptr;
}

struct SchemaRoundTrip : FilledObjects {
    std::string Write(GObject *object) {
        const GStringPtr out(g_string_new(nullptr));
        orvane_soap_serialize_object(session.get(), out.get(), "returnval", object);
        return out->str;
    }

    Value Read(const std::string &text, GType type) {
        if (g_type_is_a(type, SKEMA_TYPE_QORM_MANAGED_OBJECT)) {
            Value value(type); /* as no reply holds one: its values come as those of an object */
            EXPECT_TRUE(
                orvane_soap_deserialize_object(session.get(), Element(text), type, value.get()));
            return value;
        }
        Value value;
        const Element body("<soapenv:Body><GetResponse>" + text + "</GetResponse></soapenv:Body>");
        EXPECT_TRUE(orvane_soap_deserialize(session.get(), "Get", body, type, FALSE, value.get()));
        return value;
    }

    void ThereAndBack(GType type) {
        const ObjectPtr<GObject> object = Filled(type, 0);
        const std::string text = Write(object.get());
        const Value read = Read(text, type);
        ASSERT_NE(nullptr, read.Object()) << text;
        if (const ObjectPtr<GObject> inner = InnerFault(object.get())) {
            EXPECT_EQ(Tell(inner.get()), Tell(read.Object())) << text;
            return;
        }
        EXPECT_EQ(Tell(object.get()), Tell(read.Object())) << text;
        EXPECT_EQ(text, Write(read.Object()));
        if (SKEMA_IS_QORM_MANAGED_OBJECT(object.get()))
            return; /* those are compared by id */
        EXPECT_TRUE(AreEqual(object.get(), read.Object())) << text;
        const ObjectPtr<GObject> other = Filled(type, 0);
        EXPECT_EQ(Tell(object.get()) == Tell(other.get()), AreEqual(object.get(), other.get()))
            << text << "\n"
            << Write(other.get());
    }

    static bool AreEqual(GObject *first, GObject *second) {
        ScopedValue a(G_OBJECT_TYPE(first));
        ScopedValue b(G_TYPE_OBJECT);
        g_value_set_object(&a.value, first);
        g_value_set_object(&b.value, second);
        return SchemaCompare_AreEqual(&a.value, &b.value);
    }
};

TEST_F(SchemaRoundTrip, AnObjectOfEveryClassIsReadAsItWasWritten) {
    const Warnings warnings;
    ForEachClass([this](GType type) { ThereAndBack(type); });
    EXPECT_THAT(warnings.texts, ElementsAre());
}

} // namespace
