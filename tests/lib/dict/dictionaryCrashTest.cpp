// What becomes of a dictionary's file when the process, the machine or a system call fails while it is saved.
#include <fcntl.h>
#include <sys/wait.h>

#include <gtest/gtest.h>

#include "lib/dict/dictionary.h"
#include "lib/dict/dictionaryFile.h"
#include "lib/misc/glibPtr.h"
#include "lib/user/msg.h"
#include "tests/support/fileFaults.h"
#include "tests/support/processLimits.h"
#include "tests/support/temporaryFolder.h"

namespace {

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
    bool isSaved = false;
    int numCalls = 0;
    for (; !isSaved; numCalls++) {
        Restore();
        isSaved = SaveAndEndAt(numCalls);
        const std::string now = folder.Read("f");
        EXPECT_TRUE(now == newText || (now == oldText && !isSaved)) << "after call " << numCalls;
        EXPECT_TRUE(Save()) << "what was left is in the way";
    }
    EXPECT_LT(10, numCalls);
}

TEST_P(DictionaryCrash, AFirstSaveThatEndsLeavesNoPartOfAFile) {
    bool isSaved = false;
    const mode_t umaskBefore = umask(027);
    for (int numCalls = 0; !isSaved; numCalls++) {
        unlink(folder.Path("f~").c_str());
        unlink(folder.Path("f").c_str());
        isSaved = SaveAndEndAt(numCalls);
        const std::string now = folder.Read("f");
        EXPECT_TRUE(now == newText || (now.empty() && !isSaved)) << "after call " << numCalls;
    }
    umask(umaskBefore);
    EXPECT_EQ(S_IFREG | 0750u, ModeOf(folder.Path("f"))) << "0754 less what the umask takes";
}

/*
 * A medium that keeps for certain only what was flushed. Each other change may have reached it or not, in any
 * combination: names are independent of data, and data of one another.
 */
struct Medium {
    Medium(std::string folder_, std::string oldText)
        : folder(std::move(folder_)), data{std::move(oldText)} {
        names["f"] = 0;
        files = {{InodeOf(folder), kFolder}, {InodeOf(folder + "/f"), 0}};
    }

    /* Notes a call that is about to be made and will succeed. */
    void Note(const FileCall &call) {
        const auto name = [&](const char *path) {
            return std::string(path).substr(folder.size() + 1);
        };
        switch (call.kind) {
        case FileCall::Open:
            if (call.path != folder && !names.contains(name(call.path)))
                Change({true, name(call.path), AddFile()});
            break;
        case FileCall::Write:
            Change({false, "", FileOf(call.number), false,
                    std::string(static_cast<const char *>(call.data), call.size)});
            break;
        case FileCall::Ftruncate:
            break; /* after the write, to its size */
        case FileCall::Rename:
            Change({true, name(call.to), names[name(call.path)]});
            Change({true, name(call.path), kNone});
            break;
        case FileCall::Unlink:
            if (names.contains(name(call.path)))
                Change({true, name(call.path), kNone});
            break;
        case FileCall::Fsync:
            for (Pending &change : pending)
                change.isKept |= FileOf(call.number) == kFolder
                                     ? change.isName
                                     : change.file == FileOf(call.number) && !change.isName;
            break;
        default:
            break;
        }
    }
    /* What each possible medium has at "f". */
    std::set<std::string> Possible() const {
        std::set<std::string> found;
        for (guint chosen = 0; chosen < 1u << pending.size(); chosen++) {
            std::map<std::string, int> kept = {{"f", 0}};
            std::vector<std::string> texts(data.size());
            texts[0] = data[0];
            for (gsize i = 0; i < pending.size(); i++) {
                const Pending &change = pending[i];
                if (!change.isKept && (chosen >> i & 1) == 0)
                    continue;
                if (!change.isName)
                    texts[change.file] += change.text;
                else if (change.file == kNone)
                    kept.erase(change.name);
                else
                    kept[change.name] = change.file;
            }
            found.insert(kept.contains("f") ? texts[kept["f"]] : "(missing)");
        }
        return found;
    }

private:
    static constexpr int kNone = -1, kFolder = -2;
    struct Pending {
        bool isName; /* or data */
        std::string name;
        int file;
        bool isKept = false;
        std::string text = {};
    };
    int AddFile() {
        data.emplace_back();
        return static_cast<int>(data.size()) - 1;
    }
    static ino_t InodeOf(const std::string &path) {
        struct stat status = {};
        stat(path.c_str(), &status);
        return status.st_ino;
    }
    /* One that was never seen before is the file that was added last. */
    int FileOf(int fd) {
        return files
            .try_emplace(InodeOf("/proc/self/fd/" + std::to_string(fd)),
                         static_cast<int>(data.size()) - 1)
            .first->second;
    }
    void Change(const Pending &change) {
        if (change.isName && change.file == kNone)
            names.erase(change.name);
        else if (change.isName)
            names[change.name] = change.file;
        pending.push_back(change);
    }

    const std::string folder;
    std::map<std::string, int> names; /* as the process sees them */
    std::map<ino_t, int> files;
    std::vector<std::string> data; /* as flushed at the start */
    std::vector<Pending> pending;
};

TEST_P(DictionaryCrash, AMachineThatStopsAtAnyCallLeavesAWholeFile) {
    Restore();
    Medium medium(folder.Path(), oldText);
    const auto check = [&](bool isSaved) {
        for (const std::string &text : medium.Possible())
            EXPECT_TRUE(text == newText || (text == oldText && !isSaved)) << text.substr(0, 60);
    };
    {
        const FileFaults faults([&](const FileCall &call) {
            medium.Note(call);
            check(false);
            return FileFaults::kPass;
        });
        ASSERT_TRUE(Save());
    }
    check(true);
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
