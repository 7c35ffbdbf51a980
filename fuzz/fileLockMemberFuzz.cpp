/*
 * Member files of a lock from anybody: an exclusive lock is granted or others hold it, without a wait that does not end;
 * a file that cannot be understood is removed, and nothing of the own locker is left.
 *
 * The input is the file; a last byte 'p' has it padded to its full size.
 */
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "fuzz/storedText.h"
#include "lib/file/fileCalls.h"
#include "lib/file/fileLockInt.h"
#include "lib/misc/log.h"

namespace {

namespace fs = std::filesystem;

/* Returns a folder that is removed at the end of the process. */
std::string Folder() {
    static char path[] = "/dev/shm/fileLockMemberFuzz-XXXXXX";
    static const bool isMade =
        mkdtemp(path) != nullptr && atexit([] { fs::remove_all(path); }) == 0;
    FuzzRequire(isMade);
    return path;
}

void UseCallsWithoutSleep() {
    static FileCalls calls = kFileCallsOfSystem;
    calls.sleep = [](guint32) {};
    gFileCalls = &calls;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    UseCallsWithoutSleep();
    std::string text(FuzzText(data, size));
    if (text.ends_with('p'))
        text.resize(kFileLockMemberSize);
    const std::string path = Folder() + "/f";
    const fs::path directory = path + ".lck";
    fs::create_directory(directory);
    const fs::path member = directory / "M00001.lck";
    std::ofstream(member, std::ios::binary) << text;

    int error = -1;
    FileLockToken *token = FileLock_Lock(path.c_str(), FALSE, 0, &error, nullptr);
    FuzzRequire(error == 0);
    FuzzRequire(token != nullptr || fs::exists(member));
    FuzzRequire(text.size() == kFileLockMemberSize || !fs::exists(member));
    if (token != nullptr)
        FuzzRequire(FileLock_Unlock(token, &error, nullptr));
    FuzzRequire(!FileLock_IsLocked(path.c_str(), &error, nullptr) || fs::exists(member));
    fs::remove(member);
    FuzzRequire(fs::remove(directory) || !fs::exists(directory));
    LogRing_Clear();
    return 0;
}
