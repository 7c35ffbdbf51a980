#include "ozy/lib/orvane/schema/schemaEngine.h"

#include <orvane/schema/ozy.h>

#include "tests/ozy/lib/orvane/schema/schemaKinds.h"

namespace {

using schemaKinds::Get;
using schemaKinds::KindRow;
using schemaKinds::Set;
using schemaKinds::Show;

GType TypeOf(GObject *object, const std::string &property) {
    return g_object_class_find_property(G_OBJECT_GET_CLASS(object), property.c_str())->value_type;
}

/* A value for one of the fields of a kind: its sample, or a list of two of them. */
Value Sample(GObject *object, const KindRow &row, const std::string &prefix) {
    Value one(TypeOf(object, std::string("one") + row.word));
    row.fill(one.get());
    return prefix == "all" ? ArrayValue({&one, &one}) : std::move(one);
}

std::string ShownSample(const KindRow &row, const std::string &prefix) {
    const std::string one = row.sample;
    return prefix == "all" ? "[" + one + " " + one + "]" : one;
}

TEST(SchemaStore, EachKindReadsBackAsItWasSetAndIsReleasedOnce) {
    const ObjectPtr<GObject> object = New("TestKinds");
    for (const char *round : {"set", "set again", "read"}) {
        for (const KindRow &row : schemaKinds::Rows()) {
            for (const std::string prefix : {"one", "maybe", "all"}) {
                const std::string property = prefix + row.word;
                if (round == std::string("read"))
                    EXPECT_EQ(ShownSample(row, prefix), Get(object.get(), property)) << property;
                else
                    Set(object.get(), property, Sample(object.get(), row, prefix));
            }
        }
    }
}

TEST(SchemaStore, WhatWasNeverSetIsEmptyWhateverTheDefault) {
    const ObjectPtr<GObject> object = New("TestKinds");
    const std::pair<const char *, const char *> rows[] = {
        {"oneString", "NULL"}, {"oneTime", "NULL"},      {"oneBinary", "NULL"},
        {"oneInt", "0"},       {"oneAny", "any(unset)"}, {"oneEnum", "modify"},
        {"oneObject", "NULL"}, {"allInt", "NULL"},       {"maybeString", "NULL"}};
    for (const auto &[property, shown] : rows) {
        EXPECT_EQ(shown, Get(object.get(), property)) << property;
        EXPECT_FALSE(IsMarked(object.get(), property)) << property;
    }
}

TEST(SchemaStore, AnOptionalFieldIsMarkedByEverySetAndARequiredOneByNone) {
    for (const KindRow &row : schemaKinds::Rows()) {
        const ObjectPtr<GObject> object = New("TestKinds");
        const std::string maybe = std::string("maybe") + row.word;
        Set(object.get(), maybe, Value(TypeOf(object.get(), maybe))); /* a NULL, or a zero */
        EXPECT_TRUE(IsMarked(object.get(), maybe.c_str())) << maybe;
        const std::string one = std::string("one") + row.word;
        Set(object.get(), one, Sample(object.get(), row, "one"));
        EXPECT_FALSE(IsMarked(object.get(), one.c_str())) << one;
    }
}

TEST(SchemaStore, WhatIsHeldIsACopyOfTextsAndListsAndAReferenceToAnObject) {
    const ObjectPtr<GObject> object = New("TestKinds");
    const ObjectPtr<GObject> held = New("SelectionSpec");
    const Value value = ObjectValue(held);
    const Value list = ArrayValue({&value});
    Set(object.get(), "oneObject", value);
    Set(object.get(), "allObject", list);
    g_value_array_remove(list.Array(), 0);
    EXPECT_EQ("[a SelectionSpec]", Get(object.get(), "allObject"));
    EXPECT_EQ(4u, held->ref_count); /* ours, the value's, the field's, the element's */
    Set(object.get(), "oneObject", Value(TypeOf(object.get(), "oneObject")));
    Set(object.get(), "allObject", Value(G_TYPE_VALUE_ARRAY));
    EXPECT_EQ(2u, held->ref_count);
}

TEST(SchemaStore, AnyKeepsWhateverItIsGivenAndGivesBackNothingForNothing) {
    const ObjectPtr<GObject> object = New("TestKinds");
    Value read = IntValue(5);
    orvane_object_set_any(object.get(), "maybeAny", StringValue("x").get());
    orvane_object_get_any(object.get(), "maybeAny", read.get());
    EXPECT_EQ("\"x\"", Show(read.get()));

    GValue nothing = G_VALUE_INIT;
    orvane_object_set_any(object.get(), "maybeAny", &nothing);
    EXPECT_TRUE(IsMarked(object.get(), "maybeAny"));
    orvane_object_get_any(object.get(), "maybeAny", read.get());
    EXPECT_FALSE(read.IsSet());

    orvane_object_set_any(object.get(), "maybeAny", nullptr);
    EXPECT_EQ("any(unset)", Get(object.get(), "maybeAny"));
}

TEST(SchemaStore, AnUnknownPropertyIdIsALineInTheLogAndNothingElse) {
    const ObjectPtr<GObject> object = New("TestNumbers");
    EXPECT_EQ(nullptr, G_OBJECT_GET_CLASS(object.get())->set_property); /* has no fields */
    auto *klass = static_cast<GObjectClass *>(g_type_class_peek(orvane_lookup_type("TestKinds")));
    GParamSpec *own = g_object_class_find_property(klass, "oneInt");
    GParamSpec *above = g_object_class_find_property(klass, "dynamicType");
    const auto past = static_cast<guint>(3 * schemaKinds::Rows().size() + 1);
    Value value = IntValue(5);
    const Warnings warnings;
    klass->set_property(object.get(), 0, value.get(), own);
    klass->set_property(object.get(), past, value.get(), above);
    klass->get_property(object.get(), past, value.get(), nullptr);
    const std::string end = " on object of type SkemaQormTestKinds.\n";
    EXPECT_EQ((std::vector<std::string>{"Invalid property 0" + end,
                                        "Invalid property " + std::to_string(past) + end,
                                        "Invalid property " + std::to_string(past) + end}),
              warnings.texts);
    EXPECT_EQ("5", Show(value.get()));
}

/* A class of an application below a schema class, with a property of its own. */
void AppSetProperty(GObject *object, guint, const GValue *value, GParamSpec *) {
    g_object_set_data(object, "own", GINT_TO_POINTER(g_value_get_int(value)));
}

void AppClassInit(gpointer klass, gpointer) {
    auto *object = static_cast<GObjectClass *>(klass);
    object->set_property = AppSetProperty;
    g_object_class_install_property(object, 1,
                                    g_param_spec_int("own", "", "", 0, 9, 0, G_PARAM_WRITABLE));
}

TEST(SchemaStore, AClassOfTheApplicationKeepsTheFieldsOfItsSchemaAncestor) {
    const GType base = orvane_lookup_type("TestKinds");
    const GType type = RegisterSubclass(base, "AppKinds", AppClassInit);
    const ObjectPtr<GObject> object(static_cast<GObject *>(g_object_new(
        type, "own", 3, "oneString", "kept", "maybeInt", 4, "dynamicType", "above", nullptr)));
    EXPECT_EQ("\"kept\"", Get(object.get(), "oneString"));
    EXPECT_EQ("4", Get(object.get(), "maybeInt"));
    EXPECT_EQ("\"above\"", Get(object.get(), "dynamicType"));
    EXPECT_EQ(3, GPOINTER_TO_INT(g_object_get_data(object.get(), "own")));
    EXPECT_EQ(SchemaClass_Get(g_type_class_peek(base)),
              SchemaClass_Get(G_OBJECT_GET_CLASS(object.get())));
}

TEST(SchemaStore, AFaultReleasesItsTextsAndItsTwoProperties) {
    const ObjectPtr<GObject> fault = New("TestFault");
    const ObjectPtr<GObject> cause = New("MethodFault");
    const ObjectPtr<GObject> message = New("LocalizableMessage");
    const Value messageValue = ObjectValue(message);
    Set(fault.get(), "faultCause", ObjectValue(cause));
    Set(fault.get(), "faultMessage", ArrayValue({&messageValue}));
    auto *root = SKEMA_QORM_METHOD_FAULT(fault.get());
    EXPECT_EQ(cause.get(), G_OBJECT(root->faultCause));
    EXPECT_EQ(1u, root->faultMessage->n_values);
    EXPECT_EQ(nullptr, root->session);
    root->fault_code = g_strdup("ServerFaultCode");
    root->fault_string = g_strdup("text");
}

TEST(SchemaStore, AFieldStoredByTheClassItselfIsAsOneSetThroughThePropertySystem) {
    const ObjectPtr<GObject> object = New("TestNumbers");
    const SchemaClass *schema = SchemaClass_Get(G_OBJECT_GET_CLASS(object.get()));
    EXPECT_EQ(0u, schema->numFields);
    for (const SchemaField &field : std::span(schema->base->fields, schema->base->numFields)) {
        if (field.row->kind == SCHEMA_VALUE_STRING && !(field.row->flags & SCHEMA_ARRAY))
            SchemaClass_SetField(object.get(), &field, StringValue("direct").get());
    }
    EXPECT_EQ("\"direct\"", Get(object.get(), "oneString"));
    EXPECT_EQ("\"direct\"", Get(object.get(), "maybeString"));
    EXPECT_TRUE(IsMarked(object.get(), "maybeString"));
    EXPECT_EQ(nullptr, SchemaClass_Get(g_type_class_peek(G_TYPE_OBJECT)));
}

} // namespace
