#include "lib/user/msgList.h"

#include <gtest/gtest.h>

#include "tests/support/logText.h"
#include "tests/support/taken.h"

namespace {

TEST(MsgList, ReadsNewestFirst) {
    MsgList *list = nullptr;
    EXPECT_EQ("(null)", Taken(MsgList_ToString(list)));
    EXPECT_FALSE(MsgList_Present(list));
    EXPECT_EQ(nullptr, MsgList_GetMsgID(list));

    MsgList_Append(&list, "@&!*@*@(msg.a)%s has %d", "vm", 3);
    MsgList_Append(&list, "@&!*@*@(msg.b)50%% done\n");
    MsgList_AppendMsgList(&list, MsgList_Create("@&!*@*@(msg.c)last"));
    MsgList_Append(nullptr, "@&!*@*@(msg.d)%s", "dropped");
    MsgList_AppendMsgList(nullptr, MsgList_CreateStr("dropped"));
    MsgList_AppendMsgList(&list, nullptr);

    MsgListPtr copy(MsgList_Copy(list));
    MsgList_Free(list);
    EXPECT_EQ("last\n50% done\nvm has 3\n", Taken(MsgList_ToString(copy.get())));
    EXPECT_STREQ("msg.a", MsgList_GetMsgID(copy.get()));

    LogRing_Clear();
    MsgList_Log(copy.get());
    EXPECT_EQ("I [msg.c] last\nI [msg.b] 50% done\nI [msg.a] vm has 3\n", LogText());
}

TEST(MsgList, TakesATextThatIsNoFormatAsItIs) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"100%n", "msg.literal", "100%n\n"},
        {"@&!*@*@(msg.x)100%n", "msg.x", "100%n\n"},
        {"@&!*@*@(msg.x", "msg.literal", "@&!*@*@(msg.x\n"},
        {"@&!*@*@()x", "msg.literal", "@&!*@*@()x\n"},
        {"", "msg.literal", "\n"},
    };
    for (const auto &[text, id, want] : rows) {
        MsgListPtr list(MsgList_CreateStr(text));
        MsgListPtr copy(MsgList_Copy(list.get()));
        EXPECT_STREQ(id, copy->id) << text;
        EXPECT_EQ(want, Taken(MsgList_ToString(copy.get()))) << text;
    }
}

TEST(MsgListDeathTest, ABadFormatEndsTheProcess) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
    EXPECT_DEATH(MsgList_Create("@&!*@*@(msg.a)%2$s", "x", "y"), "PANIC .*msgList.cpp");
#pragma GCC diagnostic pop
}

} // namespace
