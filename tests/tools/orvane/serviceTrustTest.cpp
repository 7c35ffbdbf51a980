// Which certificates the program accepts, as a user sees it; and that nothing is sent before.
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include "tests/support/inChild.h"
#include "tests/tools/orvane/serviceFixture.h"
#include "tools/certificates/certificateKind.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

constexpr char kKnown[] = "orvane/known_services";

/* Runs the program as somebody who has accepted nothing yet. */
struct ServiceTrust : ProgramTest {
    ServiceTrust() {
        setenv("ORVANE_PASSWORD", "secret", 1);
        Program::looksForLeaks = false; /* but for those that say so */
    }

    static std::vector<std::string> AboutArguments(const simulator::Simulator &server,
                                                   std::vector<std::string> others) {
        others.insert(others.begin(), {"about", server.Url(), "administrator"});
        return others;
    }
    static Ended About(const simulator::Simulator &server, std::vector<std::string> others = {}) {
        return Run(AboutArguments(server, std::move(others)));
    }
    /* On a terminal, where the question is answered with the text. */
    static Ended Answer(const simulator::Simulator &server, const std::string &text) {
        Program program("bin/orvane", AboutArguments(server, {}), true);
        /* the last call of a program before may still be counted; a session begins with this one */
        const char *first = "RetrieveServiceContent";
        const int numCalls = server.NumCalls(first);
        EXPECT_TRUE(program.WaitFor("yes, once, or no? "));
        EXPECT_EQ(numCalls, server.NumCalls(first)) << "nothing may be called before the answer";
        program.Type(text);
        return program.Wait();
    }
    static std::string Key(const simulator::Simulator &server) {
        return "127.0.0.1:" + std::to_string(server.Port());
    }
};

simulator::Options Secured(const char *kind) {
    return {.machines = 1, .certificateKind = kind};
}

/* Puts the folder in the place of the machine's own authorities, for this process and its children. */
bool MakeAuthorities(const std::string &folder) {
    return unshare(geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWUSER | CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(folder.c_str(), "/etc/ssl/certs", nullptr, MS_BIND, nullptr) == 0;
}

std::string Lower(std::string text) {
    std::ranges::transform(text, text.begin(), tolower);
    return text;
}

std::string WithoutColons(std::string text) {
    std::erase(text, ':');
    return text;
}

TEST_F(ServiceTrust, AsksOnceAndRemembers) {
    Program::looksForLeaks = true;
    simulator::Simulator server(Secured("self-signed"));
    server.RunInThread();
    const certificates::Certificate &shown = server.Certificate()->Leaf();
    const Ended first = Answer(server, "perhaps\nyes\n");
    EXPECT_EQ(0, first.status) << first.out;
    EXPECT_THAT(first.out, AllOf(HasSubstr(shown.thumbprint), HasSubstr(shown.thumbprint256),
                                 HasSubstr("CN=localhost"), HasSubstr("TLS, certificate known")));
    EXPECT_EQ(Key(server) + " " + shown.thumbprint256 + "\n", folder.Read(kKnown));

    const Ended second = About(server);
    EXPECT_EQ(0, second.status) << second.err;
    EXPECT_EQ("", second.err) << "it asks again";
    EXPECT_EQ(0, server.NumSessions());
}

TEST_F(ServiceTrust, OtherAnswersAreNotRemembered) {
    for (const auto &[answer, status] : {std::pair("once\n", 0), {"no\n", 5}, {"\x04", 5}}) {
        simulator::Simulator server(Secured("self-signed"));
        server.RunInThread();
        const Ended ended = Answer(server, answer);
        EXPECT_EQ(status, ended.status) << ended.out;
        EXPECT_EQ(status == 0 ? 1 : 0, server.NumCalls("Login")) << answer;
        EXPECT_EQ("", folder.Read(kKnown)) << answer;
    }
}

TEST_F(ServiceTrust, TheQuestionNamesTheProblemsAndAYesStands) {
    constexpr char kKey[] = "key is too short";
    constexpr char kName[] = "not entitled to certify";
    const struct {
        const char *kind, *problem;
        bool isShown;
    } rows[] = {{"rsa-1022", kKey, true},
                {"rsa-1023", kKey, false},
                {"good", kKey, false},
                {"good", kName, false},
                {"name-constraint", kName, true}};
    for (const auto &row : rows) {
        simulator::Simulator server(Secured(row.kind));
        server.RunInThread();
        const Ended ended = Answer(server, "once\n");
        EXPECT_EQ(0, ended.status) << row.kind << ended.out;
        EXPECT_EQ(row.isShown, ended.out.find(row.problem) != std::string::npos) << row.kind;
    }
}

TEST_F(ServiceTrust, WithoutATerminalItSaysHowToGoOn) {
    simulator::Simulator server(Secured("expired"));
    server.RunInThread();
    const std::string thumbprint = server.Certificate()->Leaf().thumbprint256;
    const Ended ended = About(server);
    EXPECT_EQ(5, ended.status);
    EXPECT_THAT(ended.err, AllOf(HasSubstr("--pin " + thumbprint), HasSubstr(Key(server))));
    EXPECT_EQ(1, std::ranges::count(ended.err, '\n')) << ended.err;
    EXPECT_EQ(0, server.NumCalls());
    EXPECT_EQ(0, About(server, {"--pin", thumbprint}).status);
}

TEST_F(ServiceTrust, AChangedCertificateIsRefused) {
    simulator::Simulator server(Secured("good"));
    server.RunInThread();
    const std::string other = certificates::MakeKind("good")->Leaf().thumbprint256;
    ASSERT_EQ(0, mkdir(folder.Path("orvane").c_str(), 0700));
    const std::string line = Key(server) + " " + other + "\n";
    folder.Write(kKnown, line);
    const Ended ended = About(server);
    EXPECT_EQ(5, ended.status);
    EXPECT_THAT(ended.err, AllOf(HasSubstr("HAS CHANGED"), HasSubstr(other),
                                 HasSubstr(server.Certificate()->Leaf().thumbprint256)));
    folder.Write(kKnown, Key(server) + " " + other.substr(3) + "\n");
    EXPECT_THAT(About(server).err, HasSubstr("line 1")) << "an unusable line is no unknown service";
    EXPECT_EQ(0, server.NumCalls());
}

TEST_F(ServiceTrust, APinAcceptsThatCertificateAlone) {
    simulator::Simulator server(Secured("wrong-host"));
    server.RunInThread();
    const certificates::Certificate &shown = server.Certificate()->Leaf();
    const certificates::Certificate other = certificates::MakeKind("good")->Leaf();
    const struct {
        std::string pin;
        int status;
    } rows[] = {
        {shown.thumbprint, 0},
        {shown.thumbprint256, 0},
        {Lower(WithoutColons(shown.thumbprint256)), 0},
        {other.thumbprint, 5},
        {other.thumbprint256, 5},
        {shown.thumbprint256.substr(3), 2},
        {"", 2},
        {shown.thumbprint256 + ":00", 2},
    };
    for (const auto &row : rows) {
        server.ResetCounters();
        const Ended ended = About(server, {"--pin", row.pin});
        EXPECT_EQ(row.status, ended.status) << row.pin << ended.err;
        EXPECT_EQ(row.status == 0 ? 1 : 0, server.NumCalls("Login")) << row.pin;
        if (row.status == 5) {
            EXPECT_THAT(ended.err, AllOf(HasSubstr(row.pin), HasSubstr(shown.thumbprint256)));
        }
    }
    EXPECT_EQ("", folder.Read(kKnown)) << "a pin is not remembered";
}

TEST_F(ServiceTrust, AnAuthorityVouchesForWhatItIssuedWell) {
    const std::vector<std::string> good = {"self-signed", "good", "good-chain", "good-rsa"};
    std::vector<std::string> kinds = {"expired",        "not-yet-valid",      "wrong-host",
                                      "unknown-issuer", "intermediate-no-ca", "path-length",
                                      "client-only",    "bad-signature",      "embedded-nul"};
    kinds.insert(kinds.end(), good.begin(), good.end());
    for (const std::string &kind : kinds) {
        simulator::Simulator server(Secured(kind.c_str()));
        server.RunInThread();
        const std::string file = folder.Write("ca.pem", server.Certificate()->anchor.pem);
        const bool isGood = std::ranges::count(good, kind) > 0;
        const Ended ended = About(server, {"--ca", file});
        const int refused = kind == "bad-signature" ? 3 : 5; /* fails the handshake itself */
        EXPECT_EQ(isGood ? 0 : refused, ended.status) << kind << ended.err;
        EXPECT_EQ(isGood, server.NumCalls() > 0) << kind;
        EXPECT_EQ(0, About(server, {"--insecure"}).status) << kind;
    }
}

TEST_F(ServiceTrust, AFolderOfAuthoritiesAndAnIPv6Address) {
    simulator::Simulator server({.address = "::1", .machines = 1, .certificateKind = "good"});
    server.RunInThread();
    const certificates::Certificate &anchor = server.Certificate()->anchor;
    ASSERT_EQ(0, mkdir(folder.Path("ca").c_str(), 0700));
    folder.Write("ca/" + anchor.fileName, anchor.pem);
    EXPECT_EQ(0, About(server, {"--ca", folder.Path("ca")}).status);

    const Ended ended = Answer(server, "yes\n");
    EXPECT_EQ(0, ended.status) << ended.out;
    EXPECT_EQ("[::1]:" + std::to_string(server.Port()) + " " +
                  server.Certificate()->Leaf().thumbprint256 + "\n",
              folder.Read(kKnown));
    EXPECT_EQ(0, About(server).status);
}

TEST_F(ServiceTrust, AnAuthorityOfTheMachineVouchesForTheNamesOfACertificate) {
    ASSERT_EQ(0, mkdir(folder.Path("ca").c_str(), 0755));
    InChild([&] {
        if (!MakeAuthorities(folder.Path("ca")))
            GTEST_SKIP() << "this process may not mount: " << strerror(errno);
        for (const char *kind : {"good", "wrong-host", "expired"}) {
            simulator::Simulator server(Secured(kind));
            const certificates::Certificate &anchor = server.Certificate()->anchor;
            folder.Write("ca/" + anchor.fileName, anchor.pem);
            server.RunInThread();
            const Ended ended = About(server);
            EXPECT_EQ(kind == std::string("good") ? 0 : 5, ended.status) << kind << ended.err;
            EXPECT_EQ(ended.status == 0, server.NumCalls() > 0) << kind;
            EXPECT_EQ(ended.status == 0,
                      ended.out.find("by a trusted authority") != std::string::npos);
        }
    });
    EXPECT_EQ("", folder.Read(kKnown)) << "what an authority confirms is not remembered";
}

TEST_F(ServiceTrust, OptionsThatWouldDoNothingAreRefused) {
    const std::string pin = certificates::MakeKind("good")->Leaf().thumbprint256;
    simulator::Simulator server({.machines = 1});
    server.RunInThread();
    ExpectFailure(About(server, {"--pin", pin}), 2, {"need an https address"});
    const std::vector<std::string> rows[] = {
        {"--pin", pin, "--insecure"},
        {"--ca", folder.Path("none.pem")},
        {"--ca", folder.Path()},
        {"--ca", folder.Write("empty.pem", "no certificate\n")},
    };
    for (const auto &row : rows)
        EXPECT_EQ(2, About(server, row).status) << row[1];
    EXPECT_EQ(0, server.NumCalls());
    ExpectFailure(Run({"about", "http://192.0.2.1/sdk", "administrator"}), 2, {"not encrypted"});
    ExpectFailure(Run({"about", "ftp://192.0.2.1/sdk", "administrator"}), 2, {"no http or https"});
}

TEST_F(ServiceTrust, FetchingSchemaDocumentsDecidesTheSameWay) {
    simulator::Simulator server(Secured("self-signed"));
    server.RunInThread();
    const certificates::Presented &shown = *server.Certificate();
    const std::string authority = folder.Write("ca.pem", shown.anchor.pem);
    const struct {
        std::vector<std::string> options;
        bool isFetched;
    } rows[] = {
        {{}, false},
        {{"--pin", certificates::MakeKind("good")->Leaf().thumbprint}, false},
        {{"--pin", shown.Leaf().thumbprint}, true},
        {{"--ca", authority}, true},
        {{"--insecure"}, true},
    };
    for (const auto &row : rows) {
        server.ResetCounters();
        std::vector<std::string> arguments = {"schema", "import", "--url",
                                              server.Url() + "/ozyService?wsdl"};
        arguments.insert(arguments.end(), row.options.begin(), row.options.end());
        const Ended ended = Run(arguments);
        EXPECT_EQ(row.isFetched, server.NumDocuments() > 0) << ended.err;
        EXPECT_EQ(!row.isFetched, ended.err.find(shown.Leaf().thumbprint256) != std::string::npos)
            << ended.err;
    }
}

TEST_F(ServiceTrust, TheDemoRunsOverTls) {
    Program::looksForLeaks = true;
    const Ended ended = Run({"demo", "--tls", "--machines", "3", "--task-ms", "200"});
    EXPECT_EQ(0, ended.status) << ended.err;
    EXPECT_EQ("", ended.err);
    EXPECT_THAT(ended.out,
                AllOf(HasSubstr("Connected  https://"), HasSubstr("TLS, certificate pinned"),
                      HasSubstr("All of it worked.\n")));
    EXPECT_EQ("", folder.Read(kKnown));
}

} // namespace
