#include "lib/config/panicSettings.h"

#include <gmock/gmock.h>

#include "lib/misc/panicControl.h"
#include "tests/lib/config/noPreferences.h"
#include "tests/support/inChild.h"
#include "tests/support/logText.h"

namespace {

TEST(PanicSettings, AreReadFromTheLayers) {
    InChild([] {
        const NoPreferences none;
        Panic_SetCoreDumpOnPanic(FALSE);
        Panic_Init();
        EXPECT_TRUE(Panic_GetCoreDumpOnPanic());
        EXPECT_EQ(0, Panic_GetCoreDumpFlags());
        EXPECT_FALSE(Panic_GetBreakOnPanic());
        EXPECT_TRUE(CoreDump_PreloadDebugSupport());
        EXPECT_THAT(LogText(), testing::Not(testing::HasSubstr("Reserved")));

        for (const char *setting : {"coreDumpOnPanic=FALSE", "coreDumpFlags=5",
                                    "panic.breakOnPanic=2", "panic.addrSpaceReservedKB=64"})
            EXPECT_TRUE(Preference_SetFromString(setting, TRUE));
        Panic_Init();
        EXPECT_FALSE(Panic_GetCoreDumpOnPanic());
        EXPECT_EQ(5, Panic_GetCoreDumpFlags());
        EXPECT_TRUE(Panic_GetBreakOnPanic());
        EXPECT_TRUE(CoreDump_PreloadDebugSupport());
        EXPECT_THAT(LogText(), testing::HasSubstr("size:64KB)"));
    });
}

TEST(PanicSettingsDeathTest, AWaitForADebuggerCanBeSet) {
    EXPECT_EXIT(
        {
            const NoPreferences none;
            Preference_SetFromString("panic.loopOnPanic=TRUE", TRUE);
            Panic_Init();
            gPanicSleepSecond = [] { PanicSetLoop(FALSE); };
            Panic_LoopOnPanic();
            exit(0);
        },
        testing::ExitedWithCode(0), "^Looping pid=[0-9]+\n$");
}

} // namespace
