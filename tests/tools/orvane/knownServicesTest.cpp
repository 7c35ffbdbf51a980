// The user's files, the one of accepted certificates, and the keys of its lines.
#include "tools/orvane/knownServices.h"

#include <csignal>

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/inChild.h"
#include "tests/support/temporaryFolder.h"
#include "tools/orvane/serviceAddress.h"

using namespace orvaneCli;

namespace {

/* A thumbprint of no certificate. */
std::string Thumbprint(const std::string &pair) {
    std::string text = pair;
    for (int i = 1; i < 32; i++)
        text += ":" + pair;
    return text;
}

mode_t ModeOf(const std::string &path) {
    struct stat status {};
    EXPECT_EQ(0, stat(path.c_str(), &status)) << path;
    return status.st_mode & 0777;
}

struct KnownServicesTest : testing::Test {
    const TemporaryFolder folder;
    const KnownServices known{folder.Path("a/b/known_services")};
};

TEST_F(KnownServicesTest, WhatIsRememberedIsFoundAndIsTheUsersAlone) {
    EXPECT_EQ("", known.Find("host:443"));
    known.Remember("host:443", Thumbprint("0A"));
    known.Remember("[::1]:8443", Thumbprint("0B"));
    EXPECT_EQ(Thumbprint("0A"), known.Find("host:443"));
    EXPECT_EQ(Thumbprint("0B"), known.Find("[::1]:8443"));
    EXPECT_EQ("", known.Find("host:44"));
    EXPECT_EQ(0600u, ModeOf(known.Path()));
    EXPECT_EQ(0700u, ModeOf(folder.Path("a")));
    EXPECT_EQ(0700u, ModeOf(folder.Path("a/b")));
}

TEST_F(KnownServicesTest, OneLineChangesAndAllElseStays) {
    const std::string before = "# mine\n\n  other:1   " + Thumbprint("01") + "\nhost:443 " +
                               Thumbprint("0a") + "\r\nnonsense\nHOST:443 x\n# end";
    const KnownServices file(folder.Write("f", "\xef\xbb\xbf" + before));
    EXPECT_EQ(Thumbprint("01"), file.Find("other:1"));
    EXPECT_EQ(Thumbprint("0a"), file.Find("host:443"));
    file.Remember("host:443", Thumbprint("0C"));
    EXPECT_EQ("# mine\n\n  other:1   " + Thumbprint("01") + "\nhost:443 " + Thumbprint("0C") +
                  "\nnonsense\n# end\n",
              folder.Read("f"));
}

TEST_F(KnownServicesTest, ALinkIsFollowedAndNothingIsLeftBehind) {
    folder.Write("real", "# there\n");
    ASSERT_EQ(0, symlink("real", folder.Path("link").c_str()));
    KnownServices(folder.Path("link")).Remember("host:1", Thumbprint("0D"));
    EXPECT_EQ("# there\nhost:1 " + Thumbprint("0D") + "\n", folder.Read("real"));
    EXPECT_EQ(0, unlink(folder.Path("link").c_str()));
    EXPECT_EQ(0, unlink(folder.Path("real").c_str()));
    EXPECT_EQ(0, rmdir(folder.Path().c_str())) << "a temporary file is left";
}

TEST_F(KnownServicesTest, ProgramsThatWriteAtTheSameTimeLoseNothing) {
    constexpr int kNumProcesses = 8;
    constexpr int kNumEach = 5;
    EXPECT_EQ(0, CountFailures(kNumProcesses, [&](int process) {
                  for (int i = 0; i < kNumEach; i++)
                      known.Remember("host" + std::to_string(process) + ":" + std::to_string(i),
                                     Thumbprint("0A"));
                  return true;
              }));
    for (int i = 0; i < kNumProcesses * kNumEach; i++)
        EXPECT_NE("", known.Find("host" + std::to_string(i / kNumEach) + ":" +
                                 std::to_string(i % kNumEach)))
            << i;
}

TEST_F(KnownServicesTest, AFailedReplacementLeavesTheOldFile) {
    const std::string before = std::string(1024, '\n'); /* more than a file of the lock has */
    const KnownServices file(folder.Write("f", before));
    folder.Write("f~", "what a program that was killed has left");
    InChild([&] {
        const rlimit tooSmall{before.size() + 1, before.size() + 1}; /* in place of a full disk */
        signal(SIGXFSZ, SIG_IGN);
        ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &tooSmall));
        EXPECT_THROW(file.Remember("host:2", Thumbprint("0B")), Failure);
    });
    EXPECT_EQ(before, folder.Read("f"));
    EXPECT_NE(0, access(folder.Path("f~").c_str(), F_OK)) << "a temporary file is left";

    ASSERT_EQ(0, mkdir(folder.Path("f~").c_str(), 0700));
    EXPECT_THROW(file.Remember("host:2", Thumbprint("0B")), Failure);
    EXPECT_EQ(before, folder.Read("f"));
}

TEST_F(KnownServicesTest, WhatCannotBeBelievedIsRefused) {
    const std::string good = "host:443 " + Thumbprint("0A");
    const struct {
        std::string text;
        mode_t mode;
        const char *why;
    } rows[] = {
        {"host:443\n", 0600, "line 1 is not"},
        {"\nhost:443 " + Thumbprint("0A").substr(3) + "\n", 0600, "line 2 is not"},
        {"host:443 " + Thumbprint("0G") + "\n", 0600, "line 1 is not"},
        {good + " more\n", 0600, "line 1 is not"},
        {good, 0620, "is writable for others"},
        {good, 0602, "is writable for others"},
        {std::string(KnownServices::kMaxBytes + 1, '\n'), 0600, "too large"},
    };
    for (const auto &row : rows) {
        const KnownServices file(folder.Write("f", row.text, row.mode));
        try {
            file.Find("host:443");
            ADD_FAILURE() << row.why;
        } catch (const Failure &failure) {
            EXPECT_THAT(failure.what(), testing::HasSubstr(row.why));
        }
    }
    const KnownServices full(folder.Write("f", std::string(KnownServices::kMaxBytes, '\n')));
    EXPECT_THROW(full.Remember("host:443", Thumbprint("0A")), Failure);
    EXPECT_THROW(KnownServices(folder.Path()).Find("host:443"), Failure) << "a folder";
    ASSERT_EQ(0, mkfifo(folder.Path("pipe").c_str(), 0600));
    const KnownServices pipe(folder.Path("pipe"));
    EXPECT_THROW(pipe.Find("host:443"), Failure);
    EXPECT_THROW(pipe.Remember("host:443", Thumbprint("0A")), Failure);
    EXPECT_THROW(KnownServices(folder.Write("file", "") + "/f").Remember("host:443", ""), Failure)
        << "in a folder that is a file";
}

TEST(ServiceAddress, HasOneKeyHoweverItIsWritten) {
    const struct {
        const char *url;
        const char *key;
        const char *host;
        bool isLoopback = false;
    } rows[] = {
        {"https://host.example/sdk", "host.example:443", "host.example"},
        {"HTTPS://user@Host.Example.:443", "host.example:443", "host.example"},
        {"https://host.example:8443/", "host.example:8443", "host.example"},
        {"http://host.example/", "host.example:80", "host.example"},
        {"http://127.1/", "127.0.0.1:80", "127.0.0.1", true},
        {"http://ftp.host.example/", "ftp.host.example:80", "ftp.host.example"},
        {"https://127.0.0.1:0443/x", "127.0.0.1:443", "127.0.0.1"},
        {"https://[::1]/sdk", "[::1]:443", "0:0:0:0:0:0:0:1"},
        {"https://[0:0:0:0:0:0:0:1]:443/sdk", "[::1]:443", "0:0:0:0:0:0:0:1"},
        {"https://[2001:DB8::00AB]/", "[2001:db8::ab]:443", "2001:DB8:0:0:0:0:0:AB"},
        {"https://[fe80::1%25eth0]/", "[fe80::1%eth0]:443", "FE80:0:0:0:0:0:0:1"},
    };
    for (const auto &row : rows) {
        const auto address = ParseServiceAddress(row.url);
        ASSERT_TRUE(address.has_value()) << row.url;
        EXPECT_EQ(row.key, address->Key()) << row.url;
        EXPECT_EQ(row.host, address->CertificateHost()) << row.url;
        EXPECT_EQ(tolower(row.url[4]) == 's', address->isTls) << row.url;
        EXPECT_EQ(address->isTls || row.isLoopback, address->isSafe) << row.url;
    }
    for (const char *url :
         {"", "host.example", "ftp://host/", "https://", "https://[::1", "file:///x",
          "http://localhos%74/", "https://h%6fst/", "https://host:99999/", "https://a b/"})
        EXPECT_FALSE(ParseServiceAddress(url).has_value()) << url;
}

} // namespace
