#include <gtest/gtest.h>

#include <orvane/orvaneGlib.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/listener/orvaneListener.h"

namespace {

class GlibWaitTest : public testing::Test {
public: // for the loop's callbacks
    GlibWaitTest() { EXPECT_TRUE(orvane_glib_init(nullptr)); }
    ~GlibWaitTest() override {
        if (isOpen)
            orvane_glib_shutdown();
    }
    /* Something that the loop does soon. */
    void Later(GSourceFunc function) { g_timeout_add(1, function, this); }

    OrvaneListener *listener = orvane_listener_new();
    gboolean hasSucceeded = FALSE; /* how the operation is to end */
    bool isOpen = true;
};

TEST_F(GlibWaitTest, EndsWithTheOperationAndTellsHowItEnded) {
    for (const gboolean success : {gboolean(TRUE), gboolean(FALSE)}) {
        orvane_listener_initiate(listener);
        hasSucceeded = success;
        Later([](gpointer data) {
            const auto *test = static_cast<GlibWaitTest *>(data);
            orvane_listener_acknowledge(test->listener, test->hasSucceeded, nullptr);
            return G_SOURCE_REMOVE;
        });
        EXPECT_EQ(success, orvane_glib_wait(listener, -1));
    }
    g_object_unref(listener);
}

TEST_F(GlibWaitTest, DoesNotWaitForWhatWasNeverBegunNorLongerThanItMay) {
    EXPECT_FALSE(orvane_glib_wait(listener, -1));
    orvane_listener_initiate(listener);
    EXPECT_FALSE(orvane_glib_wait(listener, 0));
    EXPECT_FALSE(orvane_glib_wait(listener, 2));
    EXPECT_EQ(ORVANE_LISTENER_PENDING, orvane_listener_get_state(listener));
    g_object_unref(listener);
}

TEST_F(GlibWaitTest, EndsWhenAHandlerLetsTheListenerGoAndShutsDown) {
    orvane_listener_initiate(listener);
    Later([](gpointer data) {
        auto *test = static_cast<GlibWaitTest *>(data);
        g_object_unref(test->listener);
        orvane_glib_shutdown();
        test->isOpen = false;
        return G_SOURCE_REMOVE;
    });
    EXPECT_FALSE(orvane_glib_wait(listener, -1));
}

} // namespace
