// What do dictionaries, file transfers, locks and message formats cost beside the nearest thing that the system has?
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <benchmark/benchmark.h>

#include "bench/ratio.h"
#include "lib/dict/dictionaryFile.h"
#include "lib/file/fileIO.h"
#include "lib/file/fileLock.h"
#include "lib/misc/glibPtr.h"
#include "lib/user/msgFmt.h"

namespace {

using DictionaryPtr = std::unique_ptr<Dictionary, Release<Dictionary_Free>>;
using KeyFilePtr = std::unique_ptr<GKeyFile, Release<g_key_file_free>>;

constexpr int kEntries = 10000;
constexpr gsize kTransfer = 64 * 1024;

std::string gFolder;

std::string NameOf(int number) {
    return "ethernet" + std::to_string(number) + ".address";
}

void Check(bool holds, const char *what) {
    if (!holds)
        g_error("%s", what);
}

std::string DictionaryText(int count) {
    std::string text = ".encoding = \"UTF-8\"\n";
    for (int i = 0; i < count; i++)
        text += NameOf(i) + " = \"00:50:56:c0:00:" + std::to_string(i) + "\"\n";
    return text;
}

std::string KeyFileText(int count) {
    std::string text = "[g]\n";
    for (int i = 0; i < count; i++)
        text += NameOf(i) + "=00:50:56:c0:00:" + std::to_string(i) + "\n";
    return text;
}

DictionaryPtr NewDictionary(int count) {
    DictionaryPtr dictionary(Dictionary_Create());
    Check(Dictionary_LoadFromBuffer(dictionary.get(), DictionaryText(count).c_str(), FALSE),
          "load");
    return dictionary;
}

KeyFilePtr NewKeyFile(const std::string &text) {
    KeyFilePtr file(g_key_file_new());
    Check(g_key_file_load_from_data(file.get(), text.data(), text.size(), G_KEY_FILE_NONE, nullptr),
          "load of the peer");
    return file;
}

/* ---- load and save ---- */

void LoadOurs(benchmark::State &state) {
    const std::string text = DictionaryText(kEntries);
    for (auto _ : state) {
        const DictionaryPtr dictionary(Dictionary_Create());
        Check(Dictionary_LoadFromBuffer(dictionary.get(), text.c_str(), FALSE), "load");
    }
}

void LoadPeer(benchmark::State &state) {
    const std::string text = KeyFileText(kEntries);
    for (auto _ : state)
        NewKeyFile(text);
}

void SaveOurs(benchmark::State &state) {
    const DictionaryPtr dictionary = NewDictionary(kEntries);
    const std::string path = gFolder + "/ours";
    for (auto _ : state)
        Check(Dictionary_WriteSync(dictionary.get(), path.c_str()), "save");
}

/* Flushes a file or a folder. */
void Flush(const std::string &path, int flags) {
    const int fd = open(path.c_str(), flags | O_CLOEXEC);
    Check(fd >= 0 && fsync(fd) == 0, "fsync");
    close(fd);
}

void SavePeer(benchmark::State &state) {
    const KeyFilePtr file = NewKeyFile(KeyFileText(kEntries));
    const std::string path = gFolder + "/peer";
    const std::string temporary = path + "~";
    for (auto _ : state) {
        gsize size;
        const GPtr<char> text(g_key_file_to_data(file.get(), &size, nullptr));
        const int fd = open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        Check(fd >= 0 && write(fd, text.get(), size) == static_cast<ssize_t>(size) &&
                  fsync(fd) == 0 && rename(temporary.c_str(), path.c_str()) == 0,
              "save of the peer");
        close(fd);
        Flush(gFolder, O_RDONLY | O_DIRECTORY);
    }
}

/* ---- look-up ---- */

void GetOurs(benchmark::State &state, int count) {
    const DictionaryPtr dictionary = NewDictionary(count);
    int i = 0;
    for (auto _ : state) {
        i = (i + 7919) % count;
        free(Dict_GetString(dictionary.get(), nullptr, "ethernet%d.address", i));
    }
}

void GetPeer(benchmark::State &state, int count) {
    const KeyFilePtr file = NewKeyFile(KeyFileText(count));
    int i = 0;
    for (auto _ : state) {
        char name[64];
        i = (i + 7919) % count;
        g_snprintf(name, sizeof name, "ethernet%d.address", i);
        g_free(g_key_file_get_string(file.get(), "g", name, nullptr));
    }
}

/* ---- transfers ---- */

struct OpenFile {
    OpenFile() {
        FileIO_Invalidate(&fd);
        const std::string path = gFolder + "/transfer";
        Check(FileIO_Open(&fd, path.c_str(), FILEIO_OPEN_ACCESS_READ | FILEIO_OPEN_ACCESS_WRITE,
                          FILEIO_OPEN_CREATE) == FILEIO_SUCCESS &&
                  FileIO_Pwrite(&fd, buffer.data(), kTransfer, 0, nullptr) == FILEIO_SUCCESS,
              "open");
    }
    ~OpenFile() { FileIO_Close(&fd); }
    OpenFile(const OpenFile &) = delete;
    OpenFile &operator=(const OpenFile &) = delete;

    FileIODescriptor fd;
    std::string buffer = std::string(kTransfer, 'x');
};

void PreadOurs(benchmark::State &state) {
    OpenFile file;
    for (auto _ : state)
        Check(FileIO_Pread(&file.fd, file.buffer.data(), kTransfer, 0, nullptr) == FILEIO_SUCCESS,
              "read");
}

void PreadPeer(benchmark::State &state) {
    OpenFile file;
    for (auto _ : state)
        Check(pread(file.fd.posix, file.buffer.data(), kTransfer, 0) == kTransfer, "pread");
}

void PwriteOurs(benchmark::State &state) {
    OpenFile file;
    for (auto _ : state)
        Check(FileIO_Pwrite(&file.fd, file.buffer.data(), kTransfer, 0, nullptr) == FILEIO_SUCCESS,
              "write");
}

void PwritePeer(benchmark::State &state) {
    OpenFile file;
    for (auto _ : state)
        Check(pwrite(file.fd.posix, file.buffer.data(), kTransfer, 0) == kTransfer, "pwrite");
}

/* ---- locks ---- */

void LockOurs(benchmark::State &state) {
    const std::string path = gFolder + "/locked";
    for (auto _ : state) {
        int error;
        FileLockToken *token = FileLock_Lock(path.c_str(), FALSE, 0, &error, nullptr);
        Check(token != nullptr && FileLock_Unlock(token, &error, nullptr), "lock");
    }
}

/* Returns the number of names in a folder. */
int CountNames(const char *path) {
    int count = 0;
    GDir *folder = g_dir_open(path, 0, nullptr);
    while (g_dir_read_name(folder) != nullptr)
        count++;
    g_dir_close(folder);
    return count;
}

/* What the protocol needs: the directory with its mode, a number reserved and free, the member file written under a
 * name of its own and renamed, the directory read before the number and after the entry. */
void LockPeer(benchmark::State &state) {
    const std::string directory = gFolder + "/locked.lck";
    const std::string entering = directory + "/D00001.lck";
    const std::string unfinished = directory + "/E00001.lck";
    const std::string member = directory + "/M00001.lck";
    for (auto _ : state) {
        struct stat status;
        char text[512] = "machine process 1 X 1 lc=1";
        char resolved[PATH_MAX];
        Check(realpath(gFolder.c_str(), resolved) != nullptr, "realpath");
        Check(lstat(directory.c_str(), &status) != 0 && mkdir(directory.c_str(), 0777) == 0,
              "mkdir");
        const int folder = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        Check(folder >= 0 && fchmod(folder, 0777) == 0 && close(folder) == 0, "fchmod");
        Check(mkdir(entering.c_str(), 0777) == 0 && lstat(member.c_str(), &status) != 0,
              "entering");
        const int fd = open(unfinished.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
        Check(CountNames(directory.c_str()) == 2, "names");
        Check(write(fd, text, sizeof text) == sizeof text && close(fd) == 0, "write");
        Check(rename(unfinished.c_str(), member.c_str()) == 0 && rmdir(entering.c_str()) == 0,
              "member");
        Check(CountNames(directory.c_str()) == 1, "names");
        Check(unlink(member.c_str()) == 0 && rmdir(directory.c_str()) == 0, "leaving");
    }
}

/* ---- formats ---- */

constexpr const char *kFormat = "%2$s: %1$d of %3$lld disks at %4$.2f %%";

MsgFmt_Arg *Collect(gint *count, const char *format, ...) G_GNUC_PRINTF(2, 3);
MsgFmt_Arg *Collect(gint *count, const char *format, ...) {
    MsgFmt_Arg *args;
    va_list arguments;
    va_start(arguments, format);
    Check(MsgFmt_GetArgs(format, arguments, &args, count, nullptr), "arguments");
    va_end(arguments);
    return args;
}

void FormatOurs(benchmark::State &state) {
    gint count;
    MsgFmt_Arg *args = Collect(&count, "%d %s %lld %f", 3, "machine", 12LL, 1.25);
    for (auto _ : state) {
        char text[128];
        Check(MsgFmt_Snprintf(text, sizeof text, kFormat, args, count) > 0, "format");
        benchmark::DoNotOptimize(text);
    }
    MsgFmt_FreeArgs(args, count);
}

void FormatPeer(benchmark::State &state) {
    for (auto _ : state) {
        char text[128];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        Check(snprintf(text, sizeof text, kFormat, 3, "machine", 12LL, 1.25) > 0, "snprintf");
#pragma GCC diagnostic pop
        benchmark::DoNotOptimize(text);
    }
}

constexpr RatioRow kRows[] = {
    {"dictLoad", "10,000 entries of a buffer : g_key_file_load_from_data", 1.2},
    {"dictSave", "10,000 entries : g_key_file_to_data, synced, renamed", 1.2},
    {"dictGet500", "Dict_GetString of 500 entries : g_key_file_get_string", 1.0},
    {"dictGet10000", "the same of 10,000 entries", 2.5},
    {"pread", "FileIO_Pread of 64 KB : pread", 1.05},
    {"pwrite", "FileIO_Pwrite of 64 KB : pwrite", 1.05},
    {"lock", "lock and unlock of a file nobody wants : its system calls", 1.7},
    {"msgFormat", "MsgFmt_Snprintf of 4 arguments : snprintf", 3.0},
};

} // namespace

int main(int argc, char **argv) {
    const bool hasMemory = access("/dev/shm", W_OK) == 0; /* a disk would hide what we cost */
    char path[] = "/tmp/fileBench-XXXXXX";
    char inMemory[] = "/dev/shm/fileBench-XXXXXX";
    const char *folder = mkdtemp(hasMemory ? inMemory : path);
    if (folder == nullptr)
        return 1;
    gFolder = folder;
    benchmark::RegisterBenchmark("dictLoad/ours", LoadOurs);
    benchmark::RegisterBenchmark("dictLoad/peer", LoadPeer);
    benchmark::RegisterBenchmark("dictSave/ours", SaveOurs);
    benchmark::RegisterBenchmark("dictSave/peer", SavePeer);
    for (const int count : {500, kEntries}) {
        const std::string name = "dictGet" + std::to_string(count);
        benchmark::RegisterBenchmark((name + "/ours").c_str(), GetOurs, count);
        benchmark::RegisterBenchmark((name + "/peer").c_str(), GetPeer, count);
    }
    benchmark::RegisterBenchmark("pread/ours", PreadOurs);
    benchmark::RegisterBenchmark("pread/peer", PreadPeer);
    benchmark::RegisterBenchmark("pwrite/ours", PwriteOurs);
    benchmark::RegisterBenchmark("pwrite/peer", PwritePeer);
    benchmark::RegisterBenchmark("lock/ours", LockOurs);
    benchmark::RegisterBenchmark("lock/peer", LockPeer);
    benchmark::RegisterBenchmark("msgFormat/ours", FormatOurs);
    benchmark::RegisterBenchmark("msgFormat/peer", FormatPeer);
    const int result = Ratio_Main(argc, argv, kRows);
    std::filesystem::remove_all(gFolder);
    return result;
}
