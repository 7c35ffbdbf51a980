#include "tests/support/temporaryFolder.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

[[noreturn]] void Fail(const char *what, const std::string &path) {
    throw fs::filesystem_error(what, path, std::error_code(errno, std::generic_category()));
}

} // namespace

TemporaryFolder::TemporaryFolder(Where where) {
    const bool isInMemory = where == Where::Memory && access("/dev/shm", W_OK) == 0;
    path = (isInMemory ? fs::path("/dev/shm") : fs::temp_directory_path()) / "orvaneTestXXXXXX";
    if (mkdtemp(path.data()) == nullptr)
        Fail("cannot make a folder", path);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored; /* what cannot be removed stays behind in the folder for such things */
    fs::remove_all(path, ignored);
}

std::string TemporaryFolder::Write(std::string_view name, std::string_view text,
                                   mode_t mode) const {
    const std::string file = Path(name);
    std::ofstream stream(file, std::ios::binary);
    stream << text;
    stream.close();
    if (!stream || chmod(file.c_str(), mode) != 0)
        Fail("cannot write", file);
    return file;
}

std::string FileText(const std::string &path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

mode_t ModeOf(const std::string &path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}
