#include "ozy/lib/orvane/soap/orvaneFault.h"

#include "tests/ozy/lib/orvane/soap/soapFixture.h"

namespace {

TEST(OrvaneFault, AnInvalidResponseTellsWhatCame) {
    struct Row {
        guint errorCode;
        glong responseCode;
        const char *message;
        const char *wanted;
    };
    const Row rows[] = {
        {0, 0, nullptr, ""}, {28, 0, nullptr, ""}, {0, 503, "<html>%s", "<html>%s"}};
    for (const Row &row : rows) {
        const ObjectPtr<GObject> fault(reinterpret_cast<GObject *>(
            OrvaneFault_NewInvalidResponse(row.errorCode, row.responseCode, row.message)));
        guint errorCode = 99;
        glong responseCode = 99;
        g_object_get(fault.get(), "errorCode", &errorCode, "responseCode", &responseCode, nullptr);
        EXPECT_EQ(row.errorCode, errorCode);
        EXPECT_EQ(row.responseCode, responseCode);
        EXPECT_EQ(row.wanted, GetString(fault.get(), "responseMessage"));
    }
}

TEST(OrvaneFault, BothAreRuntimeFaultsWithoutDetailsOnTheWire) {
    for (GType type : {ORVANE_TYPE_FAULT_INVALID_RESPONSE, ORVANE_TYPE_FAULT_UNEXPECTED}) {
        EXPECT_TRUE(g_type_is_a(type, orvane_lookup_type("RuntimeFault")));
        EXPECT_EQ(nullptr, g_type_get_qdata(type, orvane_quark_wsdlname()));
    }
    const ObjectPtr<GObject> fault(
        reinterpret_cast<GObject *>(OrvaneFault_NewInvalidResponse(1, 2, "text")));
    EXPECT_EQ("<f xsi:type=\"RuntimeFault\"></f>", Written("f", ObjectValue(fault).get(), ""));
}

TEST(OrvaneFault, TheDetailsAreSetOnceAndForAll) {
    const ObjectPtr<GObject> fault(
        reinterpret_cast<GObject *>(OrvaneFault_NewInvalidResponse(1, 2, "text")));
    Warnings warnings;
    g_object_set(fault.get(), "errorCode", 5u, nullptr);
    EXPECT_EQ(1u, warnings.texts.size());
    guint errorCode = 0;
    g_object_get(fault.get(), "errorCode", &errorCode, nullptr);
    EXPECT_EQ(1u, errorCode);
}

} // namespace
