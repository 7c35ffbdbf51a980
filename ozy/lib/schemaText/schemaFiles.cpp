#include "ozy/lib/schemaText/schemaFiles.h"

#include <algorithm>
#include <cerrno>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <glib.h>

#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"

namespace {

constexpr off_t kMaxSize = 32 << 20; /* a table of all releases there are takes a hundredth */

/* A failure of the system, as "FILE: why". */
bool Fail(const std::string &path, const char *why, std::string *error) {
    const GPtr<char> name(g_filename_display_name(path.c_str()));
    *error = std::string(name.get()) + ": " + why;
    return false;
}

/* An open descriptor. */
struct Descriptor {
    int number;
    explicit Descriptor(const std::string &path)
        : number(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY)) {}
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
};

bool ReadAll(int descriptor, std::string *bytes) {
    constexpr gsize kPiece = 65536;
    for (;;) {
        const gsize size = bytes->size();
        bytes->resize(size + kPiece);
        const ssize_t count = read(descriptor, bytes->data() + size, kPiece);
        bytes->resize(size + static_cast<gsize>(std::max<ssize_t>(count, 0)));
        if (count == 0)
            return true;
        if (bytes->size() > static_cast<gsize>(kMaxSize)) {
            errno = EFBIG; /* it grew meanwhile */
            return false;
        }
        if (count < 0 && errno != EINTR)
            return false;
    }
}

} // namespace

bool SchemaFiles_List(const std::string &path, std::vector<std::string> *files,
                      std::string *error) {
    if (!g_file_test(path.c_str(), G_FILE_TEST_IS_DIR)) {
        if (!g_file_test(path.c_str(), G_FILE_TEST_EXISTS))
            return Fail(path, Err_Errno2String(ENOENT), error);
        files->push_back(path);
        return true;
    }

    using DirPtr = std::unique_ptr<GDir, Release<g_dir_close>>;
    const DirPtr folder(g_dir_open(path.c_str(), 0, nullptr));
    if (folder == nullptr)
        return Fail(path, Err_ErrString(), error);
    std::vector<std::string> found;
    while (const char *name = g_dir_read_name(folder.get())) {
        if (g_str_has_suffix(name, ".schema") && name[0] != '.')
            found.push_back(path + "/" + name);
    }
    std::ranges::sort(found);
    files->insert(files->end(), found.begin(), found.end());
    return true;
}

bool SchemaFiles_Read(const std::string &path, std::string *bytes, std::string *error) {
    bytes->clear();
    const Descriptor file(path);
    struct stat status;
    if (file.number < 0 || fstat(file.number, &status) != 0)
        return Fail(path, Err_ErrString(), error);
    if (!S_ISREG(status.st_mode))
        return Fail(path, "is no regular file", error);
    if (status.st_size > kMaxSize)
        return Fail(path, "is too large", error);
    if (!ReadAll(file.number, bytes))
        return Fail(path, Err_ErrString(), error);
    return true;
}
