// The settings of the program in their layers, and the language of its messages.
#include <fstream>
#include <functional>

#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

#include "lib/user/msgId.h"
#include "tests/support/inChild.h"
#include "tests/tools/orvane/serviceFixture.h"
#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"

namespace {

using testing::HasSubstr;
using testing::Not;
using Words = std::vector<std::string>;

struct Settings : ProgramTest {
    Settings() {
        mkdir(folder.Path("orvane").c_str(), 0700);
        Program::looksForLeaks = false;
    }
};

TEST_F(Settings, TheFirstLayerThatHasOneCountsAndIsShown) {
    const struct {
        const char *preferences, *config;
        Words options;
        const char *value, *layer;
    } rows[] = {
        {"", "", {}, "30", "DEFAULT\t\n"},
        {"", "timeout = \"7\"\n", {}, "7", "USER_DEFAULTS"},
        {"timeout = 8\n", "timeout = \"7\"\n", {}, "8", "USER_PREFERENCES"},
        {"\xef\xbb\xbftimeout = 8\n", "", {}, "8", "USER_PREFERENCES"},
        {"timeout = 8\n", "", {"--set", "timeout=9"}, "9", "NON_PERSISTENT"},
        {"color = never\n", "timeout = 7\ncolor = always\n", {}, "7", "USER_DEFAULTS"},
    };
    for (const auto &row : rows) {
        folder.Write("orvane/preferences", row.preferences);
        folder.Write("orvane/config", row.config);
        Words words = row.options;
        words.insert(words.end(), {"config", "--output", "plain"});
        const Ended ended = Run(words);
        EXPECT_EQ(0, ended.status) << ended.err;
        EXPECT_THAT(ended.out, HasSubstr(std::string("timeout\t") + row.value + "\t" + row.layer))
            << row.config;
    }
    EXPECT_THAT(Run({"config"}).out, HasSubstr("color    never  USER_PREFERENCES  " +
                                               folder.Path() + "/orvane/preferences\n"));
}

TEST_F(Settings, JsonOfAFolderWithTerminalControlsIsEscapedAndReadsBack) {
    const std::string odd = folder.Path("\u00e4\u007f\u009b2J\u202e");
    mkdir(odd.c_str(), 0700);
    mkdir((odd + "/orvane").c_str(), 0700);
    std::ofstream(odd + "/orvane/config") << "timeout = 7\n";
    setenv("XDG_CONFIG_HOME", odd.c_str(), 1);
    for (const char *form : {"json", "jsonl"}) {
        const std::string out = Run({"config", "--output", form}).out;
        EXPECT_THAT(out, HasSubstr("\u00e4\\u007f\\u009b2J\\u202e/orvane/config\"")) << form;
        EXPECT_THAT(out, Not(HasSubstr("\u009b")));
    }
    EXPECT_EQ(odd + "/orvane/config",
              nlohmann::json::parse(Run({"config", "--output", "json"}).out)[2]["file"]);
}

TEST_F(Settings, AValueThatCannotBeUsedIsRefusedOrReportedOnce) {
    const std::pair<Words, const char *> refused[] = {
        {{"--set", "timeout=0", "config"}, "no number of seconds from 1 to 3600"},
        {{"--set", "timeout=3601", "config"}, "no number"},
        {{"--set", "timeout=1e2", "config"}, "no number"},
        {{"--set", "timeout=", "config"}, "no number"},
        {{"--set", "colour=auto", "config"}, "names color, output, timeout"},
        {{"--set", "color", "config"}, "is not NAME=VALUE"},
        {{"--color", "\033[31m", "config"}, "\"\\x1b[31m\" is none of auto, always, never"},
        {{"--output", "xml", "config"}, "is none of table, plain, json, jsonl, text"},
    };
    for (const auto &[words, why] : refused)
        ExpectFailure(Run(words), 2, {why});
    folder.Write("orvane/config", "timeout = soon\ncolor = \"auto|0a\"\n");
    const Ended ended = Run({"config"});
    EXPECT_EQ(0, ended.status);
    EXPECT_THAT(ended.out, HasSubstr("timeout  30     (default)"));
    EXPECT_EQ(2, std::ranges::count(ended.err, '\n')) << ended.err;
    EXPECT_THAT(ended.err, HasSubstr("/orvane/config: setting \"timeout\": \"soon\" is no number"));
}

TEST_F(Settings, AFileThatCannotBeReadIsReportedAndLeftOut) {
    const std::string file = folder.Path("orvane/preferences");
    folder.Write("orvane/config", "timeout = 7\n");
    const std::string noFile = "the settings of " + file + " are ignored: it is no regular file\n";
    const std::pair<std::function<void()>, std::string> rows[] = {
        {[&] { mkfifo(file.c_str(), 0600); }, noFile},
        {[&] { mkdir(file.c_str(), 0700); }, noFile},
        {[&] { (void)!symlink("/dev/zero", file.c_str()); }, noFile},
        {[&] { (void)!symlink("preferences", file.c_str()); },
         "Cannot open file \"" + file + "\": Too many levels of symbolic links"},
        {[&] { folder.Write("orvane/preferences", "timeout : 8\n"); },
         "orvane: settings behind a mistake are ignored: File \"" + file +
             "\" line 1: Syntax error.\n"},
    };
    for (const auto &[make, why] : rows) {
        make();
        const Ended ended = Run({"config"});
        EXPECT_THAT(ended.err, HasSubstr(why));
        EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
        EXPECT_THAT(ended.out, HasSubstr("timeout  7 "));
        EXPECT_EQ(0, remove(file.c_str()));
    }
}

TEST_F(Settings, DecideAboutOutputColourAndTime) {
    simulator::Simulator server({.machines = 1});
    server.RunInThread();
    const Words about = {"about", server.Url(), "administrator", "--password", "secret"};
    folder.Write("orvane/config", "output = json\ncolor = always\ntimeout = 1\n");
    const auto document = nlohmann::json::parse(Run(about).out, nullptr, false);
    ASSERT_TRUE(document.is_object());
    EXPECT_EQ("administrator", document["user"]);
    EXPECT_EQ("6.0", document["version"]);

    Words asLines = about;
    asLines.insert(asLines.begin(), {"--output", "jsonl"});
    EXPECT_EQ(1, std::ranges::count(Run(asLines).out, '\n'));

    Words asText = about;
    asText.insert(asText.begin(), {"--output", "text"});
    setenv("NO_COLOR", "1", 1);
    EXPECT_THAT(Run(asText).out, HasSubstr("\033[1;36m")) << "a setting is stronger";
    unsetenv("NO_COLOR");
    setenv("TERM", "xterm", 1);
    asText.insert(asText.begin(), {"--color", "never"});
    EXPECT_THAT(Run(asText, true).out, Not(HasSubstr("\033")));

    server.AddTrouble({.kind = simulator::TroubleKind::Silent, .method = "Login", .count = -1});
    EXPECT_THAT(Run(about).err, HasSubstr("no answer within 1 s"));
}

TEST_F(Settings, TheProgramSpeaksTheLanguageOfTheUser) {
    Program::language = "de_DE.UTF-8";
    EXPECT_THAT(Run({"--help"}).out, HasSubstr("Arbeitet über liborvane mit einem"));
    EXPECT_THAT(Run({"config"}).out, HasSubstr("timeout  30     (Vorgabe)"));
    EXPECT_THAT(Run({"abuot"}).err,
                HasSubstr("ist kein Befehl von orvane; ist \"about\" gemeint?"));
    EXPECT_THAT(Run({"about", "http://127.0.0.1:1/", "u", "--password", "p"}).err,
                HasSubstr("Verbinden mit http://127.0.0.1:1/: dort antwortet kein Dienst; prüfen"));
    for (const char *other : {"fr_FR.UTF-8", "../de", "de/../de", "C"}) {
        Program::language = other;
        const Ended ended = Run({"config"});
        EXPECT_THAT(ended.out, HasSubstr("(default)")) << other;
        EXPECT_EQ("", ended.err) << other;
    }
}

TEST_F(Settings, AWrongCommandLineIsExplainedInTheLanguageOfTheUser) {
    const struct {
        Words words;
        const char *english, *german;
    } rows[] = {
        {{}, "a command is required", "ein Befehl fehlt"},
        {{"profile", "show"}, "name is required", "name fehlt"},
        {{"profile", "show", "a", "b"},
         "The following argument was not expected: b",
         "Dieses Argument hat keine Bedeutung: b"},
        {{"profile", "show", "a", "b", "\x1b[2J"},
         "The following arguments were not expected: \\x1b[2J b",
         "Diese Argumente haben keine Bedeutung: \\x1b[2J b"},
        {{"--log-level", "info", "config"},
         "--log-level requires --log",
         "--log-level braucht --log"},
        {{"demo", "--tls", "--url", "http://h/"},
         "--url excludes --tls",
         "--url und --tls schließen einander aus"},
        {{"demo", "--port"}, "--port: the value is missing", "--port: der Wert fehlt"},
        {{"demo", "--port", "1", "--port", "2"},
         "--port: there may be 1 of it, and there are 2",
         "--port: höchstens 1 davon, nicht 2"},
        {{"demo", "--port", "65536"},
         "--port: 65536 is not between 0 and 65535",
         "--port: 65536 ist nicht zwischen 0 und 65535"},
        {{"schema", "import", "--namespace", "x"},
         "--namespace: \"x\" is none of qorm,ozy,ferry",
         "--namespace: \"x\" ist keines von qorm,ozy,ferry"},
        {{"demo", "--tls=perhaps"},
         "--tls: \"perhaps\" cannot be used",
         "--tls: \"perhaps\" ist nicht verwendbar"},
    };
    for (const auto &row : rows) {
        Program::language = "C";
        const Ended ended = Run(row.words);
        EXPECT_EQ(2, ended.status);
        EXPECT_THAT(ended.err, HasSubstr("orvane: " + std::string(row.english) + "; see "));
        Program::language = "de_DE.UTF-8";
        EXPECT_THAT(Run(row.words).err,
                    HasSubstr("orvane: " + std::string(row.german) + "; siehe "));
    }
}

TEST_F(Settings, AQuestionTakesTheWordsOfTheLanguage) {
    Program::language = "de_DE.UTF-8";
    simulator::Simulator server({.machines = 1, .certificateKind = "self-signed"});
    server.RunInThread();
    Program about("bin/orvane", {"about", server.Url(), "administrator", "--password", "secret"},
                  true);
    EXPECT_TRUE(about.WaitFor("Annehmen: ja, einmal oder nein? "));
    about.Type("yes\n");
    EXPECT_TRUE(about.WaitFor("Bitte mit ja, einmal oder nein antworten: "));
    about.Type("einmal\n");
    const Ended ended = about.Wait();
    EXPECT_EQ(0, ended.status) << ended.out;
    EXPECT_EQ("", folder.Read("orvane/known_services")) << "only for this run";
}

/* A text that begins like a message is looked up, and its identifier has a limit. */
TEST(Messages, AForeignTextIsNoMessage) {
    const std::string id(300, 'a');
    InChild([&] {
        for (const std::string &foreign :
             {std::string(MSG_MAGIC "(msg.orvane.interrupted)x"), MSG_MAGIC "(" + id + ")x"}) {
            const std::string shown = orvaneCli::Printable(foreign);
            EXPECT_EQ("\\x40" + foreign.substr(1),
                      orvaneCli::Text(MSGID("failure") "%s", shown.c_str()));
        }
    });
}

} // namespace
