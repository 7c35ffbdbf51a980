#include "lib/misc/poll.h"

#include <gtest/gtest.h>

namespace {

std::string called;

std::string Shown(gint flags, gpointer clientData, gint type, PollClassSet set) {
    return std::to_string(flags) + " " + std::to_string(GPOINTER_TO_INT(clientData)) + " " +
           std::to_string(type) + " " +
           std::to_string(set.words[0] + set.words[1] + set.words[2] + set.words[3] + set.words[4]);
}

void Function(gpointer) {}

const PollImpl kImpl = {
    .Init = [](gpointer data) { called = "init " + std::to_string(GPOINTER_TO_INT(data)); },
    .Exit = [] { called = "exit"; },
    .LoopTimeout =
        [](guint8 loop, volatile gint *exit, gint pollClass, gint timeout) {
            *exit = 1;
            called = "loop " + std::to_string(loop) + " " + std::to_string(pollClass) + " " +
                     std::to_string(timeout);
        },
    .Callback =
        [](gint flags, OrvanePollFunction, gpointer clientData, gint type, gint64 info,
           gpointer lock, PollClassSet set) {
            called = "add " + Shown(flags, clientData, type, set) + " " + std::to_string(info) +
                     (lock ? " locked" : "");
            return 7;
        },
    .CallbackRemove =
        [](gint flags, OrvanePollFunction, gpointer clientData, gint type, PollClassSet set) {
            called = "remove " + Shown(flags, clientData, type, set);
            return 8;
        },
    .CallbackRemoveOneByCB =
        [](gint flags, OrvanePollFunction, gpointer clientData, gint type, PollClassSet set) {
            called = "remove one " + Shown(flags, clientData, type, set);
            return 9;
        },
    .LockingEnabled = []() -> gboolean { return TRUE; },
    .initData = GINT_TO_POINTER(42),
};

TEST(Poll, ForwardsToTheImplementation) {
    Poll_InitWithImpl(&kImpl);
    EXPECT_EQ("init 42", called);
    EXPECT_EQ(&kImpl, pollImpl);

    volatile gint exit = 0;
    Poll_Loop(256, &exit, 3);
    EXPECT_EQ("loop 1 3 1000000", called);
    EXPECT_EQ(1, exit);
    Poll_LoopTimeout(FALSE, &exit, 0, 5);
    EXPECT_EQ("loop 0 0 5", called);

    EXPECT_TRUE(Poll_LockingEnabled());
    Poll_Exit();
    EXPECT_EQ("exit", called);
    EXPECT_EQ(nullptr, pollImpl);
}

TEST(Poll, ShortFormsSetTheFlags) {
    gpointer five = GINT_TO_POINTER(5);
    const std::tuple<std::function<gint()>, gint, const char *> rows[] = {
        {[=] { return Poll_CB_Device(Function, five, 33, TRUE); }, 7, "add 7 5 2 1 33"},
        {[=] { return Poll_CB_Device(Function, five, 33, FALSE); }, 7, "add 6 5 2 1 33"},
        {[=] { return Poll_CB_DeviceRemove(Function, five, TRUE); }, 8, "remove 7 5 2 1"},
        {[=] { return Poll_CB_DeviceRemove(Function, five, FALSE); }, 8, "remove 6 5 2 1"},
        {[=] { return Poll_CB_RTime(Function, five, 9, TRUE, five); }, 7, "add 3 5 1 1 9 locked"},
        {[=] { return Poll_CB_RTime(Function, five, 9, FALSE, nullptr); }, 7, "add 2 5 1 1 9"},
        {[=] { return Poll_CB_RTimeRemove(Function, five, TRUE); }, 8, "remove 3 5 1 1"},
        {[=] { return Poll_CB_RTimeRemove(Function, five, FALSE); }, 8, "remove 2 5 1 1"},
        {[=] {
             return Poll_CallbackRemoveOneByCB(4, Function, five, POLL_DEVICE, POLL_CLASS_MAIN);
         },
         9, "remove one 4 5 2 1"},
    };
    Poll_InitWithImpl(&kImpl);
    for (const auto &[function, result, call] : rows) {
        EXPECT_EQ(result, function());
        EXPECT_EQ(call, called);
    }
    Poll_Exit();
}

TEST(PollDeathTest, WithoutAnImplementationTheProcessEnds) {
    EXPECT_EXIT(Poll_CB_RTime(Function, nullptr, 0, FALSE, nullptr), testing::ExitedWithCode(255),
                "^VERIFY lib/misc/poll\\.cpp:[0-9]+\n$");
    EXPECT_EXIT(Poll_Exit(), testing::ExitedWithCode(255), "^VERIFY ");
}

} // namespace
