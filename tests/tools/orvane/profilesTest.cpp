// Profiles: one dictionary for all, its sealed part, and the programs that change it at the same time.
#include "tools/orvane/profiles.h"

#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/fileFaults.h"
#include "tests/support/inChild.h"
#include "tests/tools/orvane/serviceFixture.h"

using namespace orvaneCli;

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

std::string NamesOf(const Profiles &profiles) {
    std::string names;
    for (const Profile &each : profiles.All())
        names += each.name + " ";
    return names;
}

/* What a failure says; empty if there is none. */
template <class Function> std::string WhyNot(Function function) {
    try {
        function();
        return "";
    } catch (const Failure &failure) {
        return failure.what();
    }
}

template <class Function> bool Succeeds(Function function) {
    return WhyNot(function).empty();
}

struct ProfilesTest : testing::Test {
    void Add(const std::string &name, const std::string &secret = "",
             const std::string &passphrase = "open") const {
        const Password password(secret);
        const Password seal(passphrase);
        const Profile profile = {name, "https://" + name + ".example/sdk", "root", ""};
        profiles.Add(profile,
                     secret.empty() ? std::nullopt : std::optional(SealedPassword{password, seal}));
    }
    std::string Secret(const std::string &name, const std::string &passphrase = "open") const {
        return profiles.Open(profiles.Find(name), Password(passphrase)).Text();
    }
    const TemporaryFolder folder;
    const Profiles profiles{folder.Path("orvane/profiles")};
};

TEST_F(ProfilesTest, OnlyPasswordsAreSealedAndRestIsChangedWithoutThePassphrase) {
    EXPECT_EQ("", NamesOf(profiles));
    Add("plain");
    Add("lab", "s3cret-lab");
    Add("Later.2");
    Add("other", "s3cret-other");
    EXPECT_EQ("plain lab Later.2 other ", NamesOf(profiles));
    EXPECT_EQ("s3cret-lab", Secret("LAB")) << "in any case";
    EXPECT_EQ("s3cret-other", Secret("other"));
    const std::string text = folder.Read("orvane/profiles");
    EXPECT_THAT(text, AllOf(HasSubstr("profile.lab.url = \"https://lab.example/sdk\"\n"),
                            HasSubstr("profile.lab.user = \"root\"\n"), Not(HasSubstr("s3cret"))));
    struct stat status {};
    EXPECT_EQ(0, stat(profiles.Path().c_str(), &status));
    EXPECT_EQ(0600u, status.st_mode & 0777u);

    profiles.Remove("lab");
    EXPECT_EQ("s3cret-other", Secret("other"));
    profiles.Remove("other");
    EXPECT_THAT(folder.Read("orvane/profiles"), Not(HasSubstr("encryption.")));
    EXPECT_FALSE(profiles.IsSealed());
    Add("other", "new", "another passphrase");
    EXPECT_EQ("new", Secret("other", "another passphrase"));
    EXPECT_EQ("plain Later.2 other ", NamesOf(profiles));
}

TEST_F(ProfilesTest, AWrongPassphraseChangesNothing) {
    Add("lab", "s3cret");
    const std::string before = folder.Read("orvane/profiles");
    EXPECT_THAT(WhyNot([&] { Secret("lab", "Open"); }), HasSubstr("the passphrase is wrong"));
    EXPECT_THAT(WhyNot([&] { Add("x", "secret", "Open"); }), HasSubstr("the passphrase is wrong"));
    EXPECT_THAT(WhyNot([&] { profiles.Rekey(Password("no"), Password("new")); }),
                HasSubstr("the passphrase is wrong"));
    EXPECT_THAT(WhyNot([&] { Add("LAB"); }), HasSubstr("a profile \"LAB\" already"));
    EXPECT_EQ(before, folder.Read("orvane/profiles"));

    profiles.Rekey(Password("open"), Password("new"));
    EXPECT_EQ("s3cret", Secret("lab", "new"));
    EXPECT_NE("", WhyNot([&] { Secret("lab"); }));
}

TEST_F(ProfilesTest, AByteOrderMarkIsReadAndNotWritten) {
    const std::string mark = "\xef\xbb\xbf";
    Add("lab");
    const std::string written = folder.Read("orvane/profiles");
    for (const std::string &text : {written, std::string("profile.lab.url = \"https://lab/\"\n")}) {
        folder.Write("orvane/profiles", mark + text);
        EXPECT_EQ("lab ", NamesOf(profiles));
        Add("second");
        EXPECT_EQ("lab second ", NamesOf(profiles));
        EXPECT_THAT(folder.Read("orvane/profiles"), Not(HasSubstr(mark)));
    }
}

TEST_F(ProfilesTest, APasswordIsForItsAddressAndUserOnly) {
    Add("lab", "s3cret");
    const std::string text = folder.Read("orvane/profiles");
    const std::pair<const char *, const char *> rows[] = {
        {"lab.example", "evil.example"}, {"\"root\"", "\"another\""}, {"profile.lab", "profile.x"}};
    for (const auto &[from, to] : rows) {
        std::string changed = text;
        for (size_t at = 0; (at = changed.find(from, at)) != std::string::npos; at += strlen(to))
            changed.replace(at, strlen(from), to);
        folder.Write("orvane/profiles", changed);
        const std::string name = to == std::string("profile.x") ? "x" : "lab";
        const std::string why = WhyNot([&] { Secret(name); });
        if (name == "x")
            EXPECT_EQ("", why) << "a name may change";
        else
            EXPECT_THAT(why, HasSubstr("has changed since its password was stored")) << to;
    }
}

TEST_F(ProfilesTest, FormsThatWouldHarmTheFileAreRefused) {
    const std::string tooLong(10000, 'a');
    const Profile rows[] = {
        {"", "https://h/", "", ""},
        {"a=b", "https://h/", "", ""},
        {"a\nb", "https://h/", "", ""},
        {"a b", "https://h/", "", ""},
        {".a", "https://h/", "", ""},
        {tooLong, "https://h/", "", ""},
        {std::string(65, 'a'), "https://h/", "", ""},
        {"\xc3\xa4", "https://h/", "", ""},
        {"a", "h", "", ""},
        {"a", "https://h/" + tooLong, "", ""},
        {"a", "https://h/\n", "", ""},
        {"a", "https://h/", tooLong, ""},
        {"a", "https://h/", "b\n", ""},
        {"a", "https://h/", "\xff", ""},
    };
    for (const Profile &row : rows)
        EXPECT_NE("", WhyNot([&] { profiles.Add(row, std::nullopt); })) << row.name << row.url;
    EXPECT_NE(0, access(profiles.Path().c_str(), F_OK));
    profiles.Add({std::string(64, 'a'), "https://h/", "\"|22\" = # \xc3\xa4", ""}, std::nullopt);
    EXPECT_EQ("\"|22\" = # \xc3\xa4", profiles.All().at(0).user);
}

TEST_F(ProfilesTest, AFileThatIsNotReadableIsNotReplaced) {
    mkdir(folder.Path("orvane").c_str(), 0700);
    Add("lab", "s3cret");
    const std::string good = folder.Read("orvane/profiles");
    for (const std::string &text :
         {good.substr(0, good.size() / 2), good + "profile.x\n", good + "profile.x.url = \"y\n",
          good + std::string("\xff\xfe") + "profile.x.url = \"\xff\"\n"}) {
        folder.Write("orvane/profiles", text);
        if (WhyNot([&] { Add("new"); }).empty())
            EXPECT_THAT(folder.Read("orvane/profiles"), HasSubstr("profile.lab.url")) << text;
        else
            EXPECT_EQ(text, folder.Read("orvane/profiles"));
    }
}

TEST_F(ProfilesTest, OnAFullDiskTheyAreReadAndNotChanged) {
    Add("lab", "s3cret");
    const std::string before = folder.Read("orvane/profiles");
    for (const int error : {ENOSPC, EDQUOT, EIO}) {
        const FileFaults faults([&](const FileCall &call) {
            return call.kind == FileCall::Mkdir ? error : FileFaults::kPass;
        });
        EXPECT_NE("", WhyNot([&] { Add("new"); }));
        EXPECT_EQ(error == EIO, !WhyNot([&] { Secret("lab"); }).empty()) << error;
        EXPECT_EQ(before, folder.Read("orvane/profiles"));
    }
}

TEST_F(ProfilesTest, ProgramsThatChangeThemAtTheSameTimeLoseNothing) {
    Add("first", "s3cret");
    EXPECT_EQ(0, CountFailures(8, [&](int i) {
                  return Succeeds([&] {
                      Add("p" + std::to_string(i), i % 2 == 0 ? "s" + std::to_string(i) : "");
                  });
              }));
    EXPECT_EQ(9u, profiles.All().size());
    EXPECT_EQ("s6", Secret("p6"));
    EXPECT_EQ("s3cret", Secret("first"));
    EXPECT_EQ(7, CountFailures(8, [&](int) { return Succeeds([&] { Add("one"); }); }))
        << "a name has one profile";
    EXPECT_EQ(3, CountFailures(4, [&](int i) {
                  return Succeeds([&] {
                      profiles.Rekey(Password("open"), Password("new" + std::to_string(i)));
                  });
              }));
    int numThatOpen = 0;
    for (int i = 0; i < 4; i++)
        numThatOpen += WhyNot([&] { Secret("p6", "new" + std::to_string(i)); }).empty();
    EXPECT_EQ(1, numThatOpen);
}

/* The program, with the file in a configuration folder of its own. */
struct ProfileCommand : ProgramTest {
    ProfileCommand() {
        Program::looksForLeaks = false;
        server.RunInThread();
    }
    /* Answers each prompt at a terminal. */
    static Ended Type(const std::vector<std::string> &arguments,
                      const std::vector<std::pair<std::string, std::string>> &answers) {
        Program program("bin/orvane", arguments, true);
        for (const auto &[prompt, answer] : answers) {
            EXPECT_TRUE(program.WaitFor(prompt));
            program.Type(answer + "\n");
        }
        return program.Wait();
    }

    simulator::Simulator server{{.machines = 1}};
};

TEST_F(ProfileCommand, StoresAPasswordAndConnectsWithIt) {
    const Ended added =
        Type({"profile", "add", "lab", server.Url(), "administrator", "--store-password"},
             {{"Password of administrator: ", "secret"},
              {"New passphrase of the profiles: ", "one"},
              {"The same again: ", "two"},
              {"not the same\r\nNew passphrase of the profiles: ", ""}});
    EXPECT_EQ(2, added.status) << added.out << "an empty passphrase";
    EXPECT_EQ("", Run({"profile", "list"}).out);
    EXPECT_EQ(0, Type({"profile", "add", "lab", server.Url(), "administrator", "--store-password",
                       "--password", "secret"},
                      {{"New passphrase of the profiles: ", "open"}, {"The same again: ", "open"}})
                     .status);
    EXPECT_THAT(Run({"profile", "list"}).out,
                HasSubstr("lab  " + server.Url() + "  administrator, password stored\n"));
    for (const char *word : {"list", "show"})
        EXPECT_EQ("lab\t" + server.Url() + "\tadministrator\ttrue\n",
                  Run({"profile", word, "--output", "plain", *word == 's' ? "lab" : "-q"}).out);
    EXPECT_THAT(Run({"profile", "show", "lab"}).out, HasSubstr("stored under the passphrase\n"));

    const Ended about =
        Type({"about", "--profile", "lab"}, {{"Passphrase of the profiles: ", "open"}});
    EXPECT_EQ(0, about.status) << about.out;
    EXPECT_THAT(about.out, AllOf(HasSubstr("as administrator"), Not(HasSubstr("open"))));
    const int numLogins = server.NumCalls("Login");
    const Ended wrong =
        Type({"about", "--profile", "lab"}, {{"Passphrase of the profiles: ", "x"}});
    EXPECT_EQ(1, wrong.status);
    EXPECT_THAT(wrong.out, HasSubstr("the passphrase is wrong"));
    EXPECT_EQ(2, Run({"about", "--profile", "lab"}).status) << "no terminal";
    EXPECT_EQ(numLogins, server.NumCalls("Login"));
    EXPECT_EQ(0, Run({"demo", "--profile", "lab", "--password", "secret"}).status);

    EXPECT_EQ(0, Type({"profile", "rekey"}, {{"Passphrase of the profiles: ", "open"},
                                             {"New passphrase of the profiles: ", "new"},
                                             {"The same again: ", "new"}})
                     .status);
    EXPECT_EQ(
        0, Type({"about", "--profile", "lab"}, {{"Passphrase of the profiles: ", "new"}}).status);
    EXPECT_EQ(0, Run({"profile", "remove", "lab"}).status);
    EXPECT_EQ(1, Run({"profile", "rekey"}).status);
}

TEST_F(ProfileCommand, SignalsAtThePassphraseLeaveTheTerminalAsItWas) {
    const Profiles profiles(folder.Path("orvane/profiles"));
    profiles.Add({"lab", server.Url(), "administrator", ""},
                 SealedPassword{Password("secret"), Password("open")});
    const auto about = Program::StartJob("bin/orvane", {"about", "--profile", "lab"});
    const int terminal = about->OpenTerminal();
    EXPECT_TRUE(about->WaitFor("Passphrase of the profiles: "));
    EXPECT_FALSE(HasEcho(terminal));
    about->Type("half\x1a");
    EXPECT_TRUE(about->WaitFor("[stop 1]"));
    EXPECT_TRUE(HasEcho(terminal));
    about->Type("\n");
    EXPECT_TRUE(about->WaitFor("[go 1]"));
    while (HasEcho(terminal))
        usleep(1000); /* the job's own time limit ends this */
    about->Type("\x03");
    EXPECT_TRUE(about->WaitFor("orvane: interrupted"));
    EXPECT_TRUE(HasEcho(terminal));
    close(terminal);
    EXPECT_EQ(130, about->Wait().status);
    EXPECT_EQ(0, server.NumCalls());
}

TEST_F(ProfileCommand, MistakesAreOneLine) {
    EXPECT_EQ(0, Run({"profile", "add", "lab", server.Url()}).status);
    const struct {
        std::vector<std::string> arguments;
        int status;
        const char *why;
    } rows[] = {
        {{"about", "--profile", "none"}, 1, "there is no profile \"none\""},
        {{"about", "--profile", "lab"}, 2, "profile \"lab\" has no user"},
        {{"about", "--profile", "lab", "x", "y"}, 2, "take the place of the address"},
        {{"about", "--profile", ""}, 2, "which service?"},
        {{"demo", "--profile", "lab", "--machines", "3"}, 2, "excludes"},
        {{"profile", "add", "lab", server.Url()}, 1, "a profile \"lab\" already"},
        {{"profile", "add", "x", server.Url(), "--password", "p"}, 2, "--store-password"},
        {{"profile", "add", "x", server.Url(), "--store-password"}, 2, "needs a user"},
        {{"profile", "add", "x", server.Url(), "u", "--store-password", "--password", "p"},
         2,
         "no terminal to ask on"},
        {{"profile", "remove", "\033[31m"}, 1, "\\x1b[31m"},
        {{"profile", "rekey"}, 1, "no password is stored there"},
    };
    for (const auto &row : rows)
        ExpectFailure(Run(row.arguments), row.status, {row.why});
    chmod(folder.Path("orvane/profiles").c_str(), 0620);
    EXPECT_THAT(Run({"profile", "list"}).err, HasSubstr("is writable for others"));
}

} // namespace
