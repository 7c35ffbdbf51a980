#include "lib/file/fileIO.h"

#include <fcntl.h>

#include <csignal>

#include <gtest/gtest.h>

#include "lib/file/file.h"
#include "lib/file/fileIOInt.h"
#include "tests/support/fileFaults.h"
#include "tests/support/processLimits.h"
#include "tests/support/taken.h"
#include "tests/support/temporaryFolder.h"

namespace {

struct FileIO : testing::Test {
    FileIO() { FileIO_Invalidate(&fd); }
    ~FileIO() override {
        if (FileIO_IsValid(&fd))
            FileIO_Close(&fd);
    }
    FileIOResult Open(const std::string &path,
                      guint32 access = FILEIO_OPEN_ACCESS_READ | FILEIO_OPEN_ACCESS_WRITE,
                      FileIOOpenAction action = FILEIO_OPEN_CREATE) {
        return FileIO_Open(&fd, path.c_str(), access, action);
    }
    std::vector<iovec> Vectors(std::vector<std::string> *pieces) {
        std::vector<iovec> vectors;
        for (std::string &piece : *pieces)
            vectors.push_back({piece.data(), piece.size()});
        return vectors;
    }

    TemporaryFolder folder;
    FileIODescriptor fd;
};

TEST_F(FileIO, OpensAsAsked) {
    const std::string there = folder.Write("there", "old");
    const std::string absent = folder.Path() + "/absent";
    const std::string longName = folder.Path() + "/" + std::string(300, 'x');
    const std::string link = folder.Path() + "/link";
    ASSERT_EQ(0, symlink(there.c_str(), link.c_str()));
    constexpr guint32 kWrite = FILEIO_OPEN_ACCESS_WRITE;
    const std::tuple<std::string, guint32, FileIOOpenAction, FileIOResult, const char *> rows[] = {
        {there, FILEIO_OPEN_ACCESS_READ, FILEIO_OPEN, FILEIO_SUCCESS, "old"},
        {absent, FILEIO_OPEN_ACCESS_READ, FILEIO_OPEN, FILEIO_FILE_NOT_FOUND, ""},
        {there, kWrite, FILEIO_OPEN_CREATE_SAFE, FILEIO_OPEN_ERROR_EXIST, "old"},
        {longName, kWrite, FILEIO_OPEN_CREATE, FILEIO_FILE_NAME_TOO_LONG, ""},
        {there, kWrite, FILEIO_OPEN_CREATE, FILEIO_SUCCESS, "old"},
        {link, FILEIO_OPEN_ACCESS_READ | FILEIO_OPEN_ACCESS_NOFOLLOW, FILEIO_OPEN, FILEIO_ERROR,
         "old"},
        {there, kWrite, FILEIO_OPEN_EMPTY, FILEIO_SUCCESS, ""},
        {absent, kWrite, FILEIO_OPEN_CREATE_SAFE, FILEIO_SUCCESS, ""},
    };
    for (const auto &[path, access, action, result, contents] : rows) {
        EXPECT_EQ(result, Open(path, access, action)) << path << action;
        EXPECT_EQ(result == FILEIO_SUCCESS, FileIO_IsValid(&fd));
        EXPECT_EQ(contents, FileText(path));
        if (FileIO_IsValid(&fd)) {
            EXPECT_EQ(path, FileIO_Filename(&fd));
            EXPECT_NE(0, fcntl(fd.posix, F_GETFD) & FD_CLOEXEC);
            EXPECT_FALSE(FileIO_Close(&fd));
        }
        EXPECT_EQ(nullptr, fd.fileName);
    }
    EXPECT_EQ(S_IFREG | 0600u, ModeOf(absent));
    EXPECT_EQ(FILEIO_ERROR, FileIO_Open(&fd, nullptr, kWrite, FILEIO_OPEN));
    EXPECT_EQ(EFAULT, std::exchange(errno, 0));
    EXPECT_EQ(FILEIO_ERROR, FileIO_Access(nullptr, FILEIO_OPEN_ACCESS_READ));
    EXPECT_EQ(EFAULT, errno);

    EXPECT_EQ(FILEIO_SUCCESS, Open(there, kWrite | FILEIO_OPEN_DELETE_ASAP));
    EXPECT_NE(0, access(there.c_str(), F_OK));
}

TEST_F(FileIO, AFailedOpenHasItsCodeAndKeepsNoLock) {
    const std::tuple<FileCall::Kind, int, FileIOResult> rows[] = {
        {FileCall::Open, EINTR, FILEIO_ERROR},
        {FileCall::Open, EIO, FILEIO_ERROR},
        {FileCall::Open, EMFILE, FILEIO_ERROR},
        {FileCall::Open, EACCES, FILEIO_NO_PERMISSION},
        {FileCall::Open, ENOSPC, FILEIO_WRITE_ERROR_NOSPC},
        {FileCall::Open, EDQUOT, FILEIO_WRITE_ERROR_DQUOT},
        {FileCall::Unlink, EACCES, FILEIO_NO_PERMISSION}, /* it cannot be deleted */
    };
    const std::string path = folder.Path("f");
    for (const auto &[kind, error, result] : rows) {
        const FileFaults faults([&, kind = kind, error = error](const FileCall &call) {
            return call.kind == kind && path == call.path ? error : FileFaults::kPass;
        });
        EXPECT_EQ(result, Open(path, FILEIO_OPEN_ACCESS_WRITE | FILEIO_OPEN_LOCKED |
                                         FILEIO_OPEN_DELETE_ASAP))
            << error;
        EXPECT_EQ(error, errno);
        EXPECT_FALSE(FileIO_IsValid(&fd));
        EXPECT_NE(0, access((path + ".lck").c_str(), F_OK));
    }
}

TEST(FileNames, ADerivedOneIsBesideItsSource) {
    const std::tuple<const char *, const char *, const char *, const char *> rows[] = {
        {"/a/b.cfg", "/x", nullptr, "/x"},
        {"/a/b.cfg", "x", "log", "/a/x"},
        {"b.cfg", "x", nullptr, "x"},
        {"/a/b.cfg", nullptr, "log", "/a/b.log"},
        {"/a.d/b", nullptr, "log", "/a.d/b.log"},
        {"/a/b.cfg", nullptr, nullptr, "(null)"},
    };
    for (const auto &[source, name, extension, derived] : rows)
        EXPECT_EQ(derived, Taken(Util_DeriveFileName(source, name, extension))) << source;
}

TEST_F(FileIO, MovesAllOrSaysHowMuch) {
    ASSERT_EQ(FILEIO_SUCCESS, Open(folder.Path() + "/f"));
    const std::string text(60, 'a');
    gsize actual = 0;
    EXPECT_EQ(FILEIO_SUCCESS, FileIO_Write(&fd, text.data(), text.size(), &actual));
    EXPECT_EQ(60u, actual);
    EXPECT_EQ(FILEIO_SUCCESS, FileIO_Pwrite(&fd, "bb", 2, 10, nullptr));
    EXPECT_EQ(0u, FileIO_Seek(&fd, 0, FILEIO_SEEK_BEGIN));
    char buffer[100];
    EXPECT_EQ(FILEIO_READ_ERROR_EOF, FileIO_Read(&fd, buffer, sizeof buffer, &actual));
    EXPECT_EQ(60u, actual);
    EXPECT_EQ("aabb", std::string(buffer + 8, 4));
    EXPECT_EQ(FILEIO_SUCCESS, FileIO_Pread(&fd, buffer, 3, 9, &actual));
    EXPECT_EQ("abb", std::string(buffer, 3));
    EXPECT_TRUE(FileIO_Truncate(&fd, 5));
    EXPECT_EQ(5, FileIO_GetSize(&fd));
    EXPECT_EQ(FILEIO_SUCCESS, FileIO_Sync(&fd));

    FileIODescriptor full =
        FileIO_CreateFDPosix(open("/dev/full", O_WRONLY | O_CLOEXEC), FILEIO_OPEN_ACCESS_WRITE);
    EXPECT_EQ(FILEIO_WRITE_ERROR_NOSPC, FileIO_Write(&full, text.data(), text.size(), &actual));
    EXPECT_EQ(0u, actual);
    FileIO_Close(&full);
    EXPECT_TRUE(FileIO_Close(&full)) << "a descriptor that is not open";
    EXPECT_FALSE(FileIO_IsValid(&full));
    EXPECT_DEATH(FileIO_Read(&fd, buffer, 0x80000000u, nullptr), "VERIFY");
}

TEST_F(FileIO, VectorsOfAnyNumberAndSize) {
    ASSERT_EQ(FILEIO_SUCCESS, Open(folder.Path() + "/f"));
    std::string want;
    guint64 offset = 0;
    for (const auto &[count, size] :
         std::vector<std::pair<int, int>>{{1, 10}, {6, 1000}, {5, 1000}, {6, 20000}, {3000, 7}}) {
        std::vector<std::string> pieces;
        for (int i = 0; i < count; i++)
            pieces.push_back(i % 7 == 3 ? ""
                                        : std::string(static_cast<gsize>(size),
                                                      static_cast<char>('a' + i % 26)));
        std::string all;
        for (const std::string &piece : pieces)
            all += piece;
        const std::vector<iovec> vectors = Vectors(&pieces);
        gsize actual = 0;
        EXPECT_EQ(FILEIO_SUCCESS, FileIO_Writev(&fd, vectors.data(), count, all.size(), &actual));
        EXPECT_EQ(all.size(), actual);
        EXPECT_EQ(FILEIO_SUCCESS,
                  FileIO_Pwritev(&fd, vectors.data(), count, offset, all.size(), &actual));
        want += all;

        std::vector<std::string> read;
        for (const std::string &piece : pieces)
            read.emplace_back(piece.size(), '?');
        const std::vector<iovec> targets = Vectors(&read);
        EXPECT_EQ(FILEIO_SUCCESS,
                  FileIO_Preadv(&fd, targets.data(), count, offset, all.size(), &actual));
        EXPECT_EQ(pieces, read);
        FileIO_Seek(&fd, static_cast<gint64>(offset), FILEIO_SEEK_BEGIN);
        EXPECT_EQ(FILEIO_SUCCESS, FileIO_Readv(&fd, targets.data(), count, all.size(), &actual));
        EXPECT_EQ(pieces, read);
        offset += all.size();
    }
    EXPECT_EQ(want, FileText(folder.Path() + "/f"));
    std::string beyond(100, '?');
    const iovec two[] = {{beyond.data(), 50}, {beyond.data() + 50, 50}};
    gsize actual = 0;
    EXPECT_EQ(FILEIO_READ_ERROR_EOF, FileIO_Preadv(&fd, two, 2, offset - 60, 100, &actual));
    EXPECT_EQ(60u, actual);
}

TEST_F(FileIO, AFailedTransferHasItsCodeAndItsCount) {
    const auto plain = [&](auto transfer) {
        return [&, transfer](char *data, gsize *actual) { return transfer(&fd, data, 12, actual); };
    };
    const auto vectors = [&](auto transfer) {
        return [&, transfer](char *data, gsize *actual) {
            const iovec pieces[] = {
                {data, 2}, {data + 2, 2}, {data + 4, 2}, {data + 6, 2}, {data + 8, 4}};
            return transfer(&fd, pieces, 5, 12, actual);
        };
    };
    const auto at0 = [](auto transfer) {
        return [transfer](auto *file, auto *data, auto... sizes) {
            if constexpr (sizeof...(sizes) == 3)
                return [&](gint count, gsize size, gsize *actual) {
                    return transfer(file, data, count, 0, size, actual);
                }(sizes...);
            else
                return [&](gsize size, gsize *actual) {
                    return transfer(file, data, size, 0, actual);
                }(sizes...);
        };
    };
    /* whether there is a fallback, which is another call */
    const std::tuple<FileCall::Kind, std::function<FileIOResult(char *, gsize *)>, bool>
        operations[] = {
            {FileCall::Read, plain(FileIO_Read), false},
            {FileCall::Write, plain(FileIO_Write), false},
            {FileCall::Pread, plain(at0(FileIO_Pread)), false},
            {FileCall::Pwrite, plain(at0(FileIO_Pwrite)), false},
            {FileCall::Readv, vectors(FileIO_Readv), false},
            {FileCall::Writev, vectors(FileIO_Writev), false},
            {FileCall::Preadv, vectors(at0(FileIO_Preadv)), true},
            {FileCall::Pwritev, vectors(at0(FileIO_Pwritev)), true},
        };
    /* the error of the second call (the first is short), the result, and whether all is moved */
    const std::tuple<int, FileIOResult, bool> rows[] = {
        {FileFaults::kShort, FILEIO_SUCCESS, true},
        {EINTR, FILEIO_SUCCESS, true},
        {ENOSPC, FILEIO_WRITE_ERROR_NOSPC, false},
        {EDQUOT, FILEIO_WRITE_ERROR_DQUOT, false},
        {EFBIG, FILEIO_WRITE_ERROR_FBIG, false},
        {EACCES, FILEIO_NO_PERMISSION, false},
        {EIO, FILEIO_ERROR, false},
        {ENOSYS, FILEIO_ERROR, false},
    };
    for (const auto &[kind, transfer, hasFallback] : operations) {
        for (const auto &[error, wanted, isWhole] : rows) {
            SCOPED_TRACE(std::to_string(kind) + " " + std::to_string(error));
            const std::string path = folder.Write("f", "abcdefghijkl");
            ASSERT_EQ(FILEIO_SUCCESS, Open(path));
            std::string data = "ABCDEFGHIJKL";
            gsize actual = 0;
            int calls = 0;
            const bool isComplete = isWhole || (hasFallback && error == ENOSYS);
            {
                const FileFaults faults([&, kind = kind, error = error](const FileCall &call) {
                    const int number = call.kind == kind ? ++calls : 0;
                    return number == 1   ? FileFaults::kShort
                           : number == 2 ? error
                                         : FileFaults::kPass;
                });
                EXPECT_EQ(isComplete ? FILEIO_SUCCESS : wanted, transfer(data.data(), &actual));
            }
            EXPECT_EQ(isComplete, actual == 12u);
            EXPECT_LT(0u, actual);
            const std::string both = data + FileText(path);
            EXPECT_EQ(isComplete,
                      both == "ABCDEFGHIJKLABCDEFGHIJKL" || both == "abcdefghijklabcdefghijkl")
                << both;
            FileIO_Close(&fd);
        }
    }
}

TEST_F(FileIO, ATransferThatEndsInsideAVectorIsOver) {
    ASSERT_EQ(FILEIO_SUCCESS, Open(folder.Path() + "/f"));
    char data[20] = {};
    const iovec pieces[] = {{data, 10}, {data + 10, 10}};
    const auto handler = signal(SIGXFSZ, SIG_IGN);
    const ProcessLimit fifteen(RLIMIT_FSIZE, 15);
    gsize actual = 0;
    EXPECT_EQ(FILEIO_WRITE_ERROR_NOSPC, FileIO_Writev(&fd, pieces, 2, 20, &actual));
    EXPECT_EQ(15u, actual);
    EXPECT_EQ(FILEIO_WRITE_ERROR_NOSPC, FileIO_Pwritev(&fd, pieces, 2, 0, 20, &actual));
    EXPECT_EQ(15u, actual);
    signal(SIGXFSZ, handler);
}

TEST_F(FileIO, ReplacesAFileWholeOrNotAtAll) {
    const std::string path = folder.Write("f", "old");
    chmod(path.c_str(), 0640);
    ASSERT_EQ(FILEIO_SUCCESS, Open(path));
    folder.Write("f~", "left over");
    FileIODescriptor temp;
    FileIO_Invalidate(&temp);
    ASSERT_EQ(FILEIO_SUCCESS, FileIO_AtomicTempFile(&fd, &temp));
    EXPECT_EQ(FILEIO_SUCCESS, FileIO_Write(&temp, "new", 3, nullptr));
    EXPECT_EQ("old", FileText(path));
    EXPECT_TRUE(FileIO_AtomicUpdate(&temp, &fd));
    EXPECT_FALSE(FileIO_IsValid(&temp));
    EXPECT_EQ("new", FileText(path));
    EXPECT_NE(0, access((path + "~").c_str(), F_OK));
    char now[3];
    EXPECT_EQ(FILEIO_SUCCESS, FileIO_Pread(&fd, now, 3, 0, nullptr));
    EXPECT_EQ("new", std::string(now, 3));
    EXPECT_EQ(S_IFREG | 0640u, ModeOf(path));

    ASSERT_EQ(FILEIO_SUCCESS, FileIO_AtomicTempFile(&fd, &temp));
    unlink((path + "~").c_str());
    EXPECT_FALSE(FileIO_AtomicUpdate(&temp, &fd));
    EXPECT_EQ(ENOENT, errno);
    EXPECT_TRUE(FileIO_IsValid(&temp) && FileIO_IsValid(&fd));
    FileIO_Close(&temp);
}

/* Anyone who may write to the folder can put something at the name of the temporary file. */
TEST_F(FileIO, AReplacementIsWrittenToAFileOfItsOwn) {
    const std::string path = folder.Write("f", "old");
    const std::string victim = folder.Write("victim", "untouched");
    const std::string absent = folder.Path() + "/absent";
    const std::string at = path + "~";
    chmod(path.c_str(), 0600);
    ASSERT_EQ(FILEIO_SUCCESS, Open(path));
    const std::function<int()> plants[] = {
        [&] { return symlink(victim.c_str(), at.c_str()); },
        [&] { return symlink(absent.c_str(), at.c_str()); },
        [&] { return link(victim.c_str(), at.c_str()); },
    };
    const mode_t umaskBefore = umask(0);
    for (const auto &plant : plants) {
        bool isPast = false;
        for (int n = 0; !isPast; n++) { /* before each call of the system, and never */
            FileIODescriptor temp;
            FileIO_Invalidate(&temp);
            int call = 0;
            mode_t seen = 0;
            FileIOResult result;
            {
                const FileFaults faults([&](const FileCall &) {
                    if (call++ == n)
                        (void)plant();
                    seen |= S_ISREG(ModeOf(at)) ? ModeOf(at) : 0;
                    return FileFaults::kPass;
                });
                result = FileIO_AtomicTempFile(&fd, &temp);
                isPast = call <= n;
            }
            EXPECT_TRUE(result == FILEIO_SUCCESS || (n > 0 && !isPast)) << n;
            EXPECT_EQ(0u, seen & 077) << "what others could do with the file";
            if (result == FILEIO_SUCCESS) {
                EXPECT_EQ(FILEIO_SUCCESS, FileIO_Write(&temp, "new", 3, nullptr));
                EXPECT_EQ(S_IFREG | 0600u, ModeOf(at));
                FileIO_CloseAndUnlink(&temp);
            }
            unlink(at.c_str());
            EXPECT_EQ("untouched", FileText(victim));
            EXPECT_EQ(0u, ModeOf(absent));
        }
    }
    umask(umaskBefore);
}

TEST_F(FileIO, FoldersAreMadeToTheLastOne) {
    for (int round = 0; round < 2; round++)
        EXPECT_TRUE(File_CreateDirectoryHierarchy(folder.Path("a/b/c").c_str(), 0700));
    EXPECT_EQ(0, access(folder.Path("a/b/c").c_str(), X_OK));
    folder.Write("file", "");
    EXPECT_FALSE(File_CreateDirectoryHierarchy(folder.Path("file/a").c_str(), 0700));
}

TEST_F(FileIO, ACodeHasATextForPeople) {
    EXPECT_STREQ("Success", FileIO_ErrorEnglish(FILEIO_SUCCESS));
    EXPECT_STREQ("@&!*@*@(msg.fileio.dQuot)There is no space left on the device",
                 FileIO_MsgError(FILEIO_WRITE_ERROR_DQUOT));
    EXPECT_STREQ("Unknown error", FileIO_ErrorEnglish(static_cast<FileIOResult>(13)));
    EXPECT_DEATH(FileIO_MsgError(FILEIO_RESERVED), "NOT_IMPLEMENTED");
}

TEST(FileIOAligned, KeepsBuffersForTheNextTransfer) {
    EXPECT_EQ(nullptr, FileIOAligned_PoolMalloc(10)) << "not initialised";
    FileIOAligned_PoolInit();
    std::vector<gpointer> buffers;
    for (int i = 0; i < 30; i++) {
        buffers.push_back(FileIOAligned_PoolMalloc(0x100000));
        ASSERT_NE(nullptr, buffers.back());
        EXPECT_EQ(0u, reinterpret_cast<guintptr>(buffers.back()) % 4096);
    }
    EXPECT_EQ(nullptr, FileIOAligned_PoolMalloc(1));
    EXPECT_TRUE(FileIOAligned_PoolFree(buffers[7]));
    EXPECT_FALSE(FileIOAligned_PoolFree(buffers[7]));
    EXPECT_EQ(buffers[7], FileIOAligned_PoolMalloc(1));
    EXPECT_EQ(nullptr, FileIOAligned_PoolMalloc(0x100001));
    for (gpointer buffer : buffers)
        EXPECT_TRUE(FileIOAligned_PoolFree(buffer));
    FileIOAligned_PoolExit();
}

} // namespace
