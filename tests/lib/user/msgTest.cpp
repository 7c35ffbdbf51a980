#include "lib/user/msg.h"

#include <gmock/gmock.h>

#include "lib/misc/err.h"
#include "tests/lib/config/noPreferences.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/support/logText.h"
#include "tests/support/taken.h"
#include "tests/support/temporaryFolder.h"

namespace {

using testing::HasSubstr;

/* What the callbacks were called with, and what they answer. */
std::string gSeen;
guint gAnswer;
guint gNumAsked;

void Post(gint severity, const char *id, const char *text) {
    gSeen += std::to_string(severity) + " " + id + ": " + text;
}
guint Question(char *const *buttons, gint, const char *id, const char *text) {
    gSeen += std::string(id) + ": " + text;
    for (; *buttons != nullptr; buttons++)
        gSeen += std::string("[") + *buttons + "]";
    gNumAsked++;
    return gAnswer;
}
gint Hint(gint hintType, const char *id, const char *text) {
    gSeen += std::to_string(hintType) + " " + id + ": " + text;
    return MSG_HINT_RESULT_OK;
}
gboolean Progress(const char *id, const char *text, gint percent, gboolean) {
    gSeen += std::to_string(percent) + " " + (id != nullptr ? id : "-") + " " + text + ";";
    return FALSE;
}

struct Msg : testing::Test {
    Msg() {
        gSeen.clear();
        gNumAsked = 0;
        gAnswer = 0;
        MsgCallback callback = {};
        callback.post = Post;
        callback.question = Question;
        callback.hint = Hint;
        callback.progress = Progress;
        Msg_SetCallback(&callback);
        LogRing_Clear();
    }
    ~Msg() override { Msg_Exit(); }
    /* Makes a catalogue of these lines the current one. */
    void Catalogue(const std::string &lines) {
        EXPECT_TRUE(Msg_LoadMessageFile("de", folder.Write("de.mcat", lines).c_str()));
    }
    const NoPreferences none;
    TemporaryFolder folder;
};

TEST_F(Msg, APostShowsAllThatIsPendingInTheUsersLanguage) {
    Catalogue(
        "msg.has = \"%2$d Platten in %1$s\"\nbutton.yes = \"_Ja\"\nmsg.why = \"%s wegen: %s\"\n");
    Msg_Append("@&!*@*@(msg.has)%s has %d disks", "vm", 3);
    Msg_Append("@&!*@*@(msg.other)plain");
    Msg_Post(MSG_WARNING, "@&!*@*@(msg.why)%s because of %s", "@&!*@*@(button.yes)_Yes",
             Err_Errno2String(ENOENT));
    EXPECT_EQ("2 msg.why: 3 Platten in vm\nplain\nJa wegen: Error 2 [No such file or directory]\n",
              gSeen);
    EXPECT_FALSE(Msg_Present());
    EXPECT_THAT(LogText(), HasSubstr("I Msg_Post: Warning\nI [msg.has] vm has 3 disks\n"));

    gSeen.clear();
    const std::unique_ptr<MsgList, Release<MsgList_Free>> literal(
        MsgList_CreateStr("no head, 100%, %s"));
    Msg_PostMsgList(MSG_INFO, literal.get());
    EXPECT_EQ("1 msg.literal: no head, 100%, %s\n", gSeen) << "is no format";
    Msg_SetLocale(nullptr, nullptr);
    EXPECT_EQ("%s has %d disks", Taken(Msg_GetStringSafe("@&!*@*@(msg.has)%s has %d disks")));
    EXPECT_EQ("A_BC", Taken(Msg_GetPlainButtonText("@&!*@*@(button.x)_A__B_C")));
}

TEST_F(Msg, SettingsAnswerInAdvance) {
    const auto ask = [] { return Msg_Question(Msg_YesNoButtons, 1, "@&!*@*@(msg.really)Really?"); };
    EXPECT_EQ(0u, ask());
    EXPECT_EQ("msg.really: Really?\n[_Yes][_No]", gSeen);
    EXPECT_THAT(LogText(), HasSubstr("Really?"));
    gAnswer = 7;
    gNumAsked = 0;
    EXPECT_EQ(1u, ask()) << "the default after two answers that are no button";
    EXPECT_EQ(2u, gNumAsked);
    EXPECT_TRUE(Preference_SetFromString("answer.msg.really=_yes", FALSE));
    EXPECT_EQ(0u, ask());
    EXPECT_EQ(2u, gNumAsked);
    EXPECT_EQ(MSG_HINT_RESULT_OK, Msg_Hint(TRUE, MSG_HINT_OKCANCEL, "@&!*@*@(msg.hint)h"));
    Preference_SetFromString("answer.msg.hint=cancel", FALSE);
    EXPECT_EQ(MSG_HINT_RESULT_CANCEL, Msg_Hint(TRUE, MSG_HINT_OKCANCEL, "@&!*@*@(msg.hint)h"));

    gSeen.clear();
    Preference_SetFromString("msg.noOK=TRUE", FALSE);
    Msg_Post(MSG_WARNING, "@&!*@*@(msg.w)w");
    EXPECT_EQ("", gSeen);
    EXPECT_THAT(LogText(), HasSubstr("W MSG: w"));
    EXPECT_EQ(MSG_HINT_RESULT_NOT_SHOWN, Msg_Hint(TRUE, MSG_HINT_OK, "@&!*@*@(msg.h2)h"));
    Msg_Post(MSG_ERROR, "@&!*@*@(msg.e)e");
    EXPECT_EQ("3 msg.e: e\n", gSeen) << "an error is always shown";
    Preference_SetFromString("msg.autoAnswer=TRUE", FALSE);
    Preference_SetFromString("answer.msg.really=maybe", TRUE);
    EXPECT_EQ(1u, ask());
}

TEST_F(Msg, ProgressIsScaledToTheOperation) {
    Msg_Progress(-1, FALSE, "@&!*@*@(msg.p)copying %s", "f");
    for (gint percent : {0, 50, 100, 101, -1})
        Msg_ProgressScaled(percent, 1, 4, FALSE);
    EXPECT_EQ("-1 msg.p copying f\n;25 - ;37 - ;50 - ;", gSeen);
}

TEST_F(Msg, SizesForPeople) {
    const std::pair<guint64, const char *> rows[] = {
        {0, "0 bytes"},         {1, "1 byte"},
        {1023, "1023 bytes"},   {1024, "1 KB"},
        {1536, "1.5 KB"},       {guint64{1} << 20, "1 MB"},
        {2684354560, "2.5 GB"}, {guint64{3} << 40, "3 TB"},
    };
    for (const auto &[size, want] : rows)
        EXPECT_EQ(want, Taken(Msg_FormatSizeInBytes(size)));
}

/* Also of a thread that does not announce its end to the next one of its number. */
TEST_F(Msg, PendingMessagesBelongToTheirThread) {
    Msg_Append("@&!*@*@(msg.main)main");
    std::thread([] { Msg_Append("@&!*@*@(msg.left)left"); }).join();
    std::thread([] { EXPECT_FALSE(Msg_Present()); }).join();
    EXPECT_STREQ("main\n", Msg_GetMessages());
}

TEST_F(Msg, AForeignTextIsNoMessage) {
    const std::string foreign = "@&!*@*@(" + std::string(150, 'a') + ")x";
    Msg_Append("@&!*@*@(msg.left)got \"%s\"", foreign.c_str());
    EXPECT_EQ("got \"" + foreign + "\"\n", std::string(Msg_GetMessagesAndReset()));
}

TEST_F(Msg, EachThreadHasItsOwnMessagesWhileTheSharedStateChanges) {
    const std::string catalogue = folder.Write("c", "msg.own = \"%1$d!\"\n");
    const std::string addition = folder.Write("d", "msg.other = \"x\"\n");
    std::atomic<int> wrong = 0;
    InThreads(8, [&](int number) {
        const MsgCallback own = {.post = [](gint, const char *, const char *) {}};
        Msg_SetThreadCallback(&own);
        for (int i = 0; i < 200; i++) {
            if (number == 0 && i % 2 == 0)
                wrong += !Msg_LoadMessageFile("de", catalogue.c_str());
            if (number == 0 && i % 2 == 1) {
                wrong += !Msg_LoadMessageFile("de", addition.c_str());
                Msg_ReleaseLock(); /* acquired by an addition */
                Msg_SetLocale(nullptr, nullptr);
            }
            if (number == 1)
                Msg_SetCallback(&own);
            Msg_Append("@&!*@*@(msg.own)%d", number);
            const std::string text = Msg_GetMessagesAndReset();
            wrong += text.substr(0, text.find_first_of("!\n")) != std::to_string(number);
            free(Msg_Format("@&!*@*@(msg.failed)%s", Err_Errno2String(ENOENT)));
            Msg_Append("@&!*@*@(msg.own)%d", number);
            Msg_Post(MSG_INFO, "@&!*@*@(msg.posted)%d", i);
            wrong += Msg_Present();
        }
        Msg_ExitThread();
    });
    EXPECT_EQ(0, wrong);
}

} // namespace
