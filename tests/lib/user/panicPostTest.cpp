#include <string>

#include <gtest/gtest.h>

#include "lib/misc/panic.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/productState.h"
#include "lib/user/msg.h"

namespace {

const std::string kSupport =
    "You can request support\\.  \n\nTo collect data to submit to Halden technical support, run "
    "\"hx-report\"\\.\nWe will respond on the basis of your support entitlement\\.\n";

/* A callback that makes the text that a person sees the end of stderr. */
void ShowOnStderr(gint severity, const char *, const char *text) {
    fprintf(stderr, "shown %d: %s", severity, text);
}

[[noreturn]] void PanicWithMessages(const char *text) {
    MsgCallback callback = {};
    callback.post = ShowOnStderr;
    callback.forceUnblock = [] { fprintf(stderr, "unblocked\n"); };
    Msg_SetCallback(&callback);
    Panic_SetPanicMsgPost(TRUE);
    Panic("%s\n", text);
}

TEST(PanicDeathTest, ThePersonIsShownWhereToFindHelp) {
    const auto panicked = testing::ExitedWithCode(255);
    const std::string head = "unrecoverable error: \\(vthread-[0-9]+\\)\n";
    EXPECT_EXIT(PanicWithMessages("it broke"), panicked,
                "^it broke\nunblocked\nshown 3: Orvane " + head + "it broke\n");
    EXPECT_EXIT(PanicWithMessages("it broke"), panicked, kSupport + "$");
    /* percent signs are read again, and nothing is read that is not there */
    EXPECT_EXIT(PanicWithMessages("100%% %s %n %"), panicked,
                "^100%% %s %n %\nunblocked\nshown 3: Orvane " + head + "100% %s %n %\n");
    EXPECT_EXIT(
        {
            Msg_Append("@&!*@*@(msg.a)before");
            PanicWithMessages("x");
        },
        panicked, "shown 3: before\n.*\nOrvane " + head + "x\n");
    EXPECT_EXIT(
        {
            ProductState_Set(PRODUCT_BENCHTOP, "Benchtop");
            PanicWithMessages("x");
        },
        panicked, "shown 3: Benchtop " + head + "x\n.*choose \"Collect Support Data\" from ");
    EXPECT_EXIT(
        {
            Panic_SetPanicMsgPost(FALSE);
            Panic("quiet\n");
        },
        panicked, "^quiet\n$");
}

} // namespace
