// What becomes of a dictionary's file when the process, the machine or a system call fails while it is saved.
#include <fcntl.h>
#include <sys/wait.h>

#include <filesystem>

#include <gmock/gmock.h>

#include "lib/dict/dictionary.h"
#include "lib/dict/dictionaryFile.h"
#include "lib/misc/glibPtr.h"
#include "lib/user/msg.h"
#include "tests/support/fileFaults.h"
#include "tests/support/processLimits.h"
#include "tests/support/temporaryFolder.h"

namespace {

namespace fs = std::filesystem;

constexpr const char *kEncoding = ".encoding = \"UTF-8\"\n";

std::string TextOf(char digit, gsize size) {
    return kEncoding + ("value = \"" + std::string(size, digit) + "\"\n");
}

struct DictionaryCrash : testing::TestWithParam<gsize> {
    DictionaryCrash() : folder(TemporaryFolder::Where::Memory), dictionary(Dictionary_Create()) {
        Dictionary_SetEncoding(dictionary.get(), STRING_ENCODING_UTF8);
        Dict_SetString(dictionary.get(), std::string(GetParam(), '2').c_str(), "value");
    }
    ~DictionaryCrash() override { Msg_Reset(FALSE); }

    bool Save() { return Dictionary_WriteSync(dictionary.get(), folder.Path("f").c_str()); }
    /* Puts the old file in place and nothing else. */
    void Restore() {
        unlink(folder.Path("f~").c_str());
        folder.Write("f", oldText, 0640);
    }

    /* Saves in a process that ends at a call. Returns whether it came to its end before that. */
    bool SaveAndEndAt(int lastCall) {
        const pid_t child = fork();
        if (child == 0) {
            int call = 0;
            const FileFaults faults([&](const FileCall &) {
                if (call++ == lastCall)
                    _exit(9);
                return FileFaults::kPass;
            });
            _exit(Save() ? 0 : 1);
        }
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) != 1);
        return WEXITSTATUS(status) == 0;
    }

    const std::string oldText = TextOf('1', 2 * GetParam() + 5);
    const std::string newText = TextOf('2', GetParam());
    const TemporaryFolder folder;
    DictionaryPtr dictionary;
};

TEST_P(DictionaryCrash, AProcessThatEndsAtAnyCallLeavesAWholeFile) {
    const mode_t umaskBefore = umask(027);
    for (const std::string &before : {oldText, std::string()}) {
        bool isSaved = false;
        int numCalls = 0;
        for (; !isSaved; numCalls++) {
            Restore();
            if (before.empty())
                unlink(folder.Path("f").c_str());
            isSaved = SaveAndEndAt(numCalls);
            const std::string now = folder.Read("f");
            EXPECT_TRUE(now == newText || (now == before && !isSaved)) << "after call " << numCalls;
            EXPECT_TRUE(Save()) << "what was left is in the way";
        }
        EXPECT_LT(10, numCalls);
    }
    umask(umaskBefore);
    EXPECT_EQ(S_IFREG | 0750u, ModeOf(folder.Path("f"))) << "0754 less what the umask takes";
}

/* A machine may stop at any time, and its medium keeps for certain only what was flushed. */
TEST_P(DictionaryCrash, ATextIsFlushedBeforeItsNameChangesAndTheNameAtTheEnd) {
    Restore();
    std::string order;
    const FileFaults faults([&](const FileCall &call) {
        const fs::path file =
            call.path != nullptr ? fs::path(call.path)
                                 : fs::read_symlink("/proc/self/fd/" + std::to_string(call.number));
        if (call.kind == FileCall::Write || call.kind == FileCall::Ftruncate)
            order += "write " + file.filename().string() + ", ";
        if (call.kind == FileCall::Fsync)
            order += (file == folder.Path() ? "flush names" : "flush " + file.filename().string()) +
                     ", ";
        if (call.kind == FileCall::Rename || call.kind == FileCall::Unlink)
            order += (call.kind == FileCall::Rename ? "rename " : "remove ") +
                     file.filename().string() + ", ";
        return FileFaults::kPass;
    });
    ASSERT_TRUE(Save());
    EXPECT_THAT(
        order, testing::MatchesRegex("remove f~, (write f~, )+flush f~, rename f~, flush names, "));
}

TEST_P(DictionaryCrash, AFailedCallCostsNeitherTheFileNorADescriptor) {
    constexpr int kErrors[] = {EINTR, EIO, ENOSPC, EDQUOT, EACCES, EMFILE, FileFaults::kShort};
    for (const bool isLasting : {false, true}) { /* once, or from then on for calls of its kind */
        for (const int error : kErrors) {
            bool isPast = false;
            for (int n = 0; !isPast; n++) {
                if (isLasting && (error == EINTR || error == FileFaults::kShort))
                    break;
                Restore();
                const long before = CountDescriptors();
                std::optional<FileCall::Kind> failed;
                bool hasTemporary = false;
                bool isRenamed = false;
                bool isSaved;
                {
                    int call = 0;
                    const FileFaults faults([&](const FileCall &next) {
                        const bool isHit = call++ == n || (isLasting && failed == next.kind);
                        if (isHit && next.kind != FileCall::Close) {
                            failed = next.kind;
                            return error;
                        }
                        hasTemporary |= next.kind == FileCall::Open && (next.number & O_EXCL) != 0;
                        isRenamed |= next.kind == FileCall::Rename;
                        return FileFaults::kPass;
                    });
                    isSaved = Save();
                    isPast = call <= n;
                }
                const std::string now = folder.Read("f");
                const std::string where = "call " + std::to_string(n) + ", errno " +
                                          std::to_string(error) + ", lasting " +
                                          std::to_string(isLasting);
                EXPECT_EQ(isSaved, now == newText) << where;
                if (hasTemporary) {
                    EXPECT_TRUE(isSaved || now == oldText) << where;
                }
                if (failed == FileCall::Fsync && error > 0 && error != EINTR && !isRenamed) {
                    EXPECT_EQ(oldText, now) << "what may not be on the medium, " << where;
                }
                if (error == EINTR && failed == FileCall::Write) {
                    EXPECT_TRUE(isSaved) << where;
                }
                EXPECT_NE(isSaved, *Msg_GetMessages() != '\0') << where;
                Msg_Reset(FALSE);
                EXPECT_EQ(before, CountDescriptors()) << where;
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sizes, DictionaryCrash, testing::Values(0u, 100u, 20000u));

} // namespace
