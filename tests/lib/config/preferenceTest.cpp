#include "lib/config/preference.h"

#include <sys/stat.h>

#include <gmock/gmock.h>

#include "lib/config/config.h"
#include "lib/misc/utilExpand.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/support/logText.h"
#include "tests/support/taken.h"
#include "tests/support/temporaryFolder.h"

namespace {

using testing::HasSubstr;

struct Preference : testing::Test {
    ~Preference() override { Preference_Exit(); }
    /* Gives each layer a file of its own, with these texts. */
    void Init(const std::string &global, const std::string &user, const std::string &defaults,
              const std::string &host, const std::string &site, mode_t userMode = 0600) {
        Preference_SetFileName(PREFERENCE_GLOBAL_SETTINGS, folder.Write("global", global).c_str());
        Preference_SetFileName(PREFERENCE_USER_PREFERENCES,
                               folder.Write("user", user, userMode).c_str());
        Preference_SetFileName(PREFERENCE_USER_DEFAULTS,
                               folder.Write("defaults", defaults).c_str());
        Preference_SetFileName(PREFERENCE_HOST_DEFAULTS, folder.Write("host", host).c_str());
        Preference_SetFileName(PREFERENCE_SITE_DEFAULTS, folder.Write("site", site).c_str());
        LogRing_Clear();
        EXPECT_TRUE(Preference_Init());
    }
    TemporaryFolder folder;
};

TEST_F(Preference, BeforeTheStartEachReadGivesItsDefault) {
    LogRing_Clear();
    EXPECT_EQ(7, Config_GetLong(7, "size.%s", "x"));
    EXPECT_EQ("d", Taken(Config_GetString("d", "name")));
    EXPECT_TRUE(Config_NotSet("size"));
    EXPECT_FALSE(Preference_SetFromString("a=1", FALSE));
    EXPECT_THAT(LogText(), HasSubstr("I PREF early PreferenceGet(size.x), using default\n"));
    EXPECT_DEATH(Config_SetLong(1, "size"), "NOT_IMPLEMENTED");
    EXPECT_DEATH(Config_WriteNoMsg(), "NOT_REACHED");
}

TEST_F(Preference, TheFirstLayerThatHasAKeyWins) {
    Init("g = 1\n", "g = 2\nu = 2\n", "u = 3\nd = 3\n", "d = 4\nh = 4\n", "h = 5\ns = 5\n");
    const std::tuple<const char *, gint32, PreferenceLayer> rows[] = {
        {"g", 1, PREFERENCE_GLOBAL_SETTINGS}, {"u", 2, PREFERENCE_USER_PREFERENCES},
        {"d", 3, PREFERENCE_USER_DEFAULTS},   {"h", 4, PREFERENCE_HOST_DEFAULTS},
        {"S", 5, PREFERENCE_SITE_DEFAULTS},
    };
    for (const auto &[name, value, wantedLayer] : rows) {
        PreferenceLayer layer;
        EXPECT_EQ(value, Preference_GetLong(0, name)) << name;
        EXPECT_TRUE(Preference_FindLayer(name, &layer));
        EXPECT_EQ(wantedLayer, layer) << name;
    }
    EXPECT_TRUE(Preference_SetFromString("u=9", FALSE));
    EXPECT_FALSE(Preference_SetFromString("u=10", FALSE));
    EXPECT_EQ(9, Preference_GetLong(0, "u"));
    EXPECT_TRUE(Preference_SetFromString("u=10", TRUE));
    EXPECT_EQ(10, Preference_GetLong(0, "u"));

    EXPECT_EQ(77, Preference_GetLong(77, "new"));
    EXPECT_EQ(77, Preference_GetLong(78, "new")) << "one key has one default";
    EXPECT_TRUE(Preference_NotSet("new"));
    Preference_Log();
    EXPECT_THAT(LogText(), HasSubstr("I DICT --- NON PERSISTENT\n"));
    EXPECT_THAT(LogText(), HasSubstr("I DICT --- USER PREFERENCES " + folder.Path("user") + " \n"));
}

TEST_F(Preference, ValuesOfEachKind) {
    Init("b = yes\nl = 0x10\ni = 5000000000\nd = 1.5\nt = auto\np = ~/x$PID\ne = GREEN\n", "", "",
         "", "");
    EXPECT_TRUE(Preference_GetBool(FALSE, "b"));
    EXPECT_EQ(16, Preference_GetLong(0, "l"));
    EXPECT_EQ(5000000000, Preference_GetInt64(0, "i"));
    EXPECT_EQ(1.5, Preference_GetDouble(0, "d"));
    EXPECT_EQ(-1, Preference_GetTriState(1, "t"));
    EXPECT_EQ(std::string(g_get_home_dir()) + "/x" + std::to_string(getpid()),
              Taken(Preference_GetPathName(nullptr, "p")));
    const char *const choices[] = {"Red", "Green", nullptr};
    EXPECT_EQ("Green", Taken(Preference_GetStringEnum("Red", choices, "e")));
}

TEST_F(Preference, TheUsersFileIsMadeReadableOrIgnored) {
    Init("", "u = 2\n", "", "", "", 0400);
    EXPECT_EQ(S_IFREG | 0600u, ModeOf(folder.Path("user")));
    EXPECT_EQ(2, Preference_GetLong(0, "u"));
    Preference_Exit();

    Init("", "u = 2\n", "", "disableUserPreferences = TRUE\n", "");
    EXPECT_EQ(0, Preference_GetLong(0, "u"));
    EXPECT_THAT(LogText(), HasSubstr("PREF Disabling user preferences"));
    Preference_Exit();

    Preference_DisableUserPreferences();
    Init("", "u = 2\n", "", "", "");
    EXPECT_EQ(0, Preference_GetLong(0, "u"));
    Preference_Exit();

    Init("broken line\n", "u = 1\nu = 2\n", "", "", "s = 1\n");
    EXPECT_EQ(1, Preference_GetLong(0, "s"));
    EXPECT_THAT(LogText(),
                HasSubstr("PREF Optional preferences file not found at " + folder.Path("global")));
    EXPECT_THAT(LogText(), HasSubstr("PREF Failed to load user preferences."));
}

TEST_F(Preference, ThreadsReadWhileAnotherSets) {
    Init("", "a = 1\nlong = 5\n", "", "b = x\n", "");
    std::atomic<int> wrong = 0;
    InThreads(8, [&](int number) {
        for (int i = 0; i < 200; i++) {
            if (number == 0)
                Preference_SetFromString(i % 2 == 0 ? "a=1" : "a=1234567890123456789", TRUE);
            wrong += Taken(Preference_GetString(nullptr, "a"))[0] != '1';
            wrong += Preference_GetLong(0, "long") != 5;
            wrong += Preference_GetBool(TRUE, ("new." + std::to_string(i)).c_str()) != TRUE;
            PreferenceLayer layer;
            wrong += !Preference_FindLayer("b", &layer) || layer != PREFERENCE_HOST_DEFAULTS;
        }
    });
    EXPECT_EQ(0, wrong);
}

} // namespace
