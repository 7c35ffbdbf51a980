#include <gtest/gtest.h>

#include <orvane/orvaneGlib.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/orvaneListener.h"

namespace {

struct GlibWaitTest : testing::Test {
    GlibWaitTest() { EXPECT_TRUE(orvane_glib_init(nullptr)); }
    ~GlibWaitTest() override {
        if (isOpen)
            orvane_glib_shutdown();
    }
    gboolean WaitInVain() {
        g_test_expect_message(nullptr, G_LOG_LEVEL_WARNING, "*no operation was begun*");
        const gboolean result = orvane_glib_wait(listener, -1);
        g_test_assert_expected_messages();
        return result;
    }
    OrvaneListener *listener = orvane_listener_new();
    bool isOpen = true;
};

TEST_F(GlibWaitTest, DoesNotWaitForWhatWasNeverBegunNorLongerThanItMay) {
    EXPECT_FALSE(WaitInVain());
    orvane_listener_initiate(listener);
    EXPECT_FALSE(orvane_glib_wait(listener, 0));
    EXPECT_FALSE(orvane_glib_wait(listener, 2));
    EXPECT_EQ(ORVANE_LISTENER_PENDING, orvane_listener_get_state(listener));
    orvane_listener_acknowledge(listener, TRUE, nullptr);
    EXPECT_TRUE(orvane_glib_wait(listener, -1)) << "the same operation, after the time-outs";
    g_object_unref(listener);
}

/* A call that could not be sent leaves the state of the operation before. */
TEST_F(GlibWaitTest, TakesNoOldSuccessForANewOne) {
    for (int i = 0; i < 2; i++) {
        orvane_listener_initiate(
            listener); /* an operation that ends inside the call that began it */
        orvane_listener_acknowledge(listener, TRUE, nullptr);
        EXPECT_TRUE(orvane_glib_wait(listener, -1));
        EXPECT_FALSE(WaitInVain());
    }
    g_object_unref(listener);
}

TEST_F(GlibWaitTest, EndsWhenAHandlerReleasesTheListenerAndShutsDown) {
    orvane_listener_initiate(listener);
    const auto end = [](gpointer data) -> gboolean {
        auto *test = static_cast<GlibWaitTest *>(data);
        g_object_unref(test->listener);
        orvane_glib_shutdown();
        test->isOpen = false;
        return G_SOURCE_REMOVE;
    };
    g_timeout_add(1, end, this);
    EXPECT_FALSE(orvane_glib_wait(listener, -1));
}

} // namespace
