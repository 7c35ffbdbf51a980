#include "lib/misc/coreDump.h"

#include <csignal>

#include <gmock/gmock.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/utsname.h>

#include "lib/misc/coreDumpRegion.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/readableMemory.h"
#include "tests/support/inChild.h"
#include "tests/support/logText.h"
#include "tests/support/processLimits.h"
#include "tests/support/taken.h"
#include "tests/support/temporaryFolder.h"

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;
using testing::Not;

TEST(CoreDump, NamesFollowThePattern) {
    utsname names;
    uname(&names);
    const std::string host = names.nodename, user = std::to_string(getuid()),
                      group = std::to_string(getgid()), here = Taken(getcwd(nullptr, 0));
    const std::tuple<std::string, bool, std::string> rows[] = {
        {"core", false, here + "/core"},
        {"core", true, here + "/core.4711"},
        {"", false, here + "/"}, /* what the system does with it, too */
        {"", true, here + "/.4711"},
        {"|/usr/bin/keep %p", true, here + "/core.4711"},
        {"a/core.%p", true, here + "/a/core.4711"},
        {"/x/%p-%u-%g-%s", false, "/x/4711-" + user + "-" + group + "-6"},
        {"/x/%h", true, "/x/" + host + ".4711"},
        {"/x/%%p%q%", false, "/x/%p"},
        {"/nowhere/%e.%t.%p", true, "/nowhere/*.*.4711"},
        {"/" + std::string(80, 'y'), false, "/" + std::string(63, 'y')},
        {"/" + std::string(80, 'y'), true, "/" + std::string(63, 'y') + ".4711"},
    };
    for (const auto &[pattern, usesPid, path] : rows)
        EXPECT_EQ(path, Taken(SigCoreFileNameOf(pattern.c_str(), usesPid, 4711))) << pattern;
    EXPECT_THAT(LogText(), HasSubstr("I Core dump pipes to process /usr/bin/keep %p, core file "
                                     "unreliable\n"));
    EXPECT_EQ(here + "/core", Taken(SigCoreFileNameOf(nullptr, FALSE, 1))) << "unreadable";
    EXPECT_NE("(null)", Taken(SigGetCoreFileName(4711)));
}

TEST(CoreDump, OfSeveralFilesNoneIsTheOne) {
    const TemporaryFolder folder;
    const std::string pattern = folder.Path("%e.%p");
    const auto name = [&] { return Taken(SigCoreFileNameOf(pattern.c_str(), FALSE, 5)); };
    EXPECT_EQ(folder.Path("*.5"), name());
    folder.Write("one.5", "");
    EXPECT_EQ(folder.Path("one.5"), name());
    folder.Write("two.5", "");
    EXPECT_EQ("(null)", name());
}

TEST(CoreDump, TheChildDiesOfTheSignalOrSaysWhy) {
    const std::pair<rlim_t, const char *> rows[] = {
        {0, "W The core dump limit is set to ZERO; no core dump should be expected\n"},
        {4096, "W Attempting a core dump using a 4 KB size limit\n"},
    };
    for (const auto &row : rows) {
        InChild([most = row.first, logged = row.second] {
            const TemporaryFolder folder;
            ASSERT_EQ(0, chdir(folder.Path().c_str()));
            rlimit limit = {};
            getrlimit(RLIMIT_CORE, &limit);
            if (most > limit.rlim_max)
                return;
            const ProcessLimit lower(RLIMIT_CORE, most);
            signal(SIGABRT, SIG_IGN); // it is reset in the child
            gPanicSleepSecond = [] { usleep(1000); };
            LogRing_Clear();
            const pid_t child = SigCoreDumpViaChild();
            std::string text = LogText();
            std::erase(text, '+');
            EXPECT_THAT(text, HasSubstr(logged + 2));
            if (child > 0)
                EXPECT_THAT(text, HasSubstr("W Core dumped.\n"));
            else
                EXPECT_THAT(text, ContainsRegex("W Child process [0-9]+ failed to dump core "
                                                "\\(status 0x6\\)\\.\n"));
            EXPECT_TRUE(most != 0 || child == -1);
        });
    }
}

int numSleeps;

TEST(CoreDump, AChildThatDoesNotEndIsLeftAfterTwoMinutes) {
    InChild([] {
        Sig_SetCoreDumpFunc(
            [](gpointer parent) {
                prctl(PR_SET_PDEATHSIG, SIGKILL);
                while (getppid() == GPOINTER_TO_INT(parent))
                    pause();
                _exit(1); // the parent ended first
            },
            GINT_TO_POINTER(getpid()));
        gPanicSleepSecond = [] { numSleeps++; };
        EXPECT_EQ(-1, SigCoreDumpViaChild());
        EXPECT_EQ(120, numSleeps);
        EXPECT_EQ(110u, CountInLog("W Waiting for child process "));
        EXPECT_EQ(1u, CountInLog("W Timed out waiting for child process "));
    });
}

TEST(CoreDump, AParentWithoutChildrenSaysSo) {
    InChild([] {
        signal(SIGCHLD, SIG_IGN); // the system reaps
        Sig_SetCoreDumpFunc([](gpointer) { _exit(0); }, nullptr);
        gPanicSleepSecond = [] { usleep(1000); };
        EXPECT_EQ(-1, SigCoreDumpViaChild());
        EXPECT_THAT(LogText(), ContainsRegex("W Failed to wait for child process [0-9]+: No child "
                                             "processes\\.\n"));
    });
}

TEST(CoreDump, RegionsAreUnmappedOrCopied) {
    constexpr gsize kSize = 3 * 4096;
    const auto map = [] {
        auto *pages = static_cast<char *>(
            mmap(nullptr, kSize, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
        EXPECT_NE(MAP_FAILED, static_cast<void *>(pages));
        pages[0] = 'a';
        pages[kSize - 1] = 'z';
        return pages;
    };
    char *unmapped = map(), *copied = map(), *removed = map(), *early = map();
    Sig_CoreDumpRegion(TRUE, TRUE, early, kSize); // there is no table yet
    InChild([=] {
        SigCoreDumpRegionsInit();
        Sig_CoreDumpRegion(TRUE, TRUE, unmapped, kSize - 1);
        Sig_CoreDumpRegion(TRUE, FALSE, copied, kSize);
        Sig_CoreDumpRegion(TRUE, TRUE, removed, kSize);
        Sig_CoreDumpRegion(FALSE, TRUE, removed, kSize);
        SigCoreDumpUnmapRegions();
        char byte;
        EXPECT_FALSE(ReadableMemory_Copy(&byte, unmapped, 1));
        EXPECT_FALSE(ReadableMemory_Copy(&byte, unmapped + kSize - 1, 1));
        for (char *kept : {copied, removed, early})
            EXPECT_TRUE(kept[0] == 'a' && kept[kSize - 1] == 'z');
        copied[0] = removed[0] = 'b';
        SigCoreDumpRegionsExit();
    });
    EXPECT_EQ('a', copied[0]); // the child's was private
    EXPECT_EQ('b', removed[0]);
    for (char *pages : {unmapped, copied, removed, early})
        munmap(pages, kSize);
}

TEST(CoreDump, SpaceIsReservedUpToALimit) {
    InChild([] {
        LogRing_Clear();
        CoreDumpReserve(0);
        EXPECT_EQ("", LogText());
        CoreDumpReserve(30000);
        EXPECT_THAT(LogText(), ContainsRegex("^I Reserved virtual address space for "
                                             "CoreDump\\(addr:0x[0-9a-f]+, size:20480KB\\)\n$"));
    });
}

TEST(CoreDump, LoadedObjectsAreListed) {
    InChild([] {
        CoreDump_LogModules(FALSE);
        EXPECT_THAT(LogText(),
                    ContainsRegex("I \\[0x0x[0-9a-f]+-0x0x[0-9a-f]+\\): /.*libc\\.so\\.6\n"));
        EXPECT_THAT(LogText(), ContainsRegex("miscTest\n")); // its own name is empty
        LogRing_Clear();
        CoreDump_LogModules(TRUE);
        EXPECT_THAT(LogText(), ContainsRegex("^I Printing loaded objects\nI \\[0x0x.*"
                                             "I End printing loaded objects\n$"));
        EXPECT_THAT(LogText(), Not(ContainsRegex("miscTest\n")));
    });
}

} // namespace
