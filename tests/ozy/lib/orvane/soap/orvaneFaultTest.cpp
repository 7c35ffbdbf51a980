#include "ozy/lib/orvane/soap/orvaneFault.h"

#include <orvane/schema/qorm.h>

#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

ObjectPtr<GObject> NewFault(guint errorCode, glong responseCode, const char *message) {
    return ObjectPtr<GObject>(reinterpret_cast<GObject *>(
        OrvaneFault_NewInvalidResponse(errorCode, responseCode, message)));
}

TEST(OrvaneFault, AnInvalidResponseTellsWhatCame) {
    const std::tuple<guint, glong, const char *, const char *> rows[] = {
        {0, 0, nullptr, ""}, {28, 0, nullptr, ""}, {0, 503, "<html>%s", "<html>%s"}};
    for (const auto &[errorCode, responseCode, message, wanted] : rows) {
        const ObjectPtr<GObject> fault = NewFault(errorCode, responseCode, message);
        EXPECT_EQ(errorCode, GetNumber<guint>(fault.get(), "errorCode"));
        EXPECT_EQ(responseCode, GetNumber<glong>(fault.get(), "responseCode"));
        EXPECT_EQ(wanted, GetString(fault.get(), "responseMessage"));
    }
}

TEST(OrvaneFault, BothAreRuntimeFaultsWithoutDetailsOnTheWire) {
    for (GType type : {ORVANE_TYPE_FAULT_INVALID_RESPONSE, ORVANE_TYPE_FAULT_UNEXPECTED}) {
        EXPECT_TRUE(g_type_is_a(type, orvane_lookup_type("RuntimeFault")));
        EXPECT_EQ(nullptr, g_type_get_qdata(type, orvane_quark_wsdlname()));
    }
    const ObjectPtr<GObject> fault = NewFault(1, 2, "text");
    EXPECT_EQ("<f xsi:type=\"RuntimeFault\"></f>", Written("f", ObjectValue(fault).get(), ""));
}

TEST(OrvaneFault, TheDetailsAreSetOnceAndForAll) {
    const ObjectPtr<GObject> fault = NewFault(1, 2, "text");
    Warnings warnings;
    g_object_set(fault.get(), "errorCode", 5u, nullptr);
    EXPECT_EQ(1u, warnings.texts.size());
    EXPECT_EQ(1u, GetNumber<guint>(fault.get(), "errorCode"));
}

/* Every property of a fault's own class is a row of the document. */
void ExpectListed(GType type, const std::string &document) {
    guint count = 0;
    const TypeClassPtr klass(g_type_class_ref(type));
    const GPtr<GParamSpec *[]> specs(
        g_object_class_list_properties(G_OBJECT_CLASS(klass.get()), &count));
    for (guint i = 0; i < count; i++) {
        const GParamSpec *spec = specs[i];
        if (spec->owner_type != type || strstr(g_type_name(type), "Test") != nullptr)
            continue;
        std::string value = std::string(g_type_name(spec->value_type)) + "`";
        if (spec->value_type == G_TYPE_STRING)
            value = "char *`";
        else if (spec->value_type == G_TYPE_VALUE_ARRAY || G_TYPE_IS_OBJECT(spec->value_type))
            value = g_type_name(spec->value_type) + std::string(" *`");
        const std::string row =
            std::string("| `") + g_type_name(type) + "` | `" + spec->name + "` | `" + value;
        EXPECT_NE(std::string::npos, document.find(row)) << row;
    }
    guint numChildren = 0;
    const GPtr<GType[]> children(g_type_children(type, &numChildren));
    for (guint i = 0; i < numChildren; i++)
        ExpectListed(children[i], document);
}

#ifndef ORVANE_HAS_OVERLAY
TEST(OrvaneFault, PropertiesOfAllFaultsAreInTheDocument) {
    orvane_lookup_type("RuntimeFault"); /* registers all */
    char *text = nullptr;
    ASSERT_TRUE(
        g_file_get_contents(SourcePath("docs/operations.md").c_str(), &text, nullptr, nullptr));
    ExpectListed(SKEMA_TYPE_QORM_METHOD_FAULT, GPtr<char>(text).get());
}
#endif

} // namespace
