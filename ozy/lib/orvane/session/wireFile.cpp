#include "ozy/lib/orvane/session/wireFile.h"

#include <array>
#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "lib/misc/err.h"
#include "lib/misc/log.h"

namespace {

constinit int gDescriptor = -1;
constinit unsigned long gNumLost = 0;
/* Whether the last record was written in part. */
constinit bool gIsTorn = false;

/* Why a file is not used; NULL if it is. Narrows its mode. */
const char *Refusal(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0)
        return Err_ErrString();
    if (!S_ISREG(status.st_mode))
        return "not a regular file";
    if (status.st_uid != geteuid())
        return "owned by another user";
    constexpr mode_t kMode = S_IRUSR | S_IWUSR;
    if ((status.st_mode & 07777) != kMode && fchmod(descriptor, kMode) != 0)
        return Err_ErrString();
    return nullptr;
}

void Lose() {
    if (gNumLost++ == 0)
        Warning("WIRE: records are lost: %s\n", Err_ErrString());
}

} // namespace

void WireFile_Close(void) {
    if (gDescriptor >= 0)
        close(gDescriptor);
    gDescriptor = -1;
    gNumLost = 0;
    gIsTorn = false;
}

void WireFile_Open(const char *path) {
    WireFile_Close();
    if (path == nullptr || *path == '\0')
        return;
    /* without O_NONBLOCK a FIFO would block until somebody reads it */
    const int descriptor =
        open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NOCTTY | O_NONBLOCK,
             S_IRUSR | S_IWUSR);
    const char *refusal = descriptor < 0 ? Err_ErrString() : Refusal(descriptor);
    if (refusal == nullptr) {
        gDescriptor = descriptor;
        return;
    }
    Warning("WIRE: %s is not written: %s\n", path, refusal);
    if (descriptor >= 0)
        close(descriptor);
}

bool WireFile_IsOpen(void) {
    return gDescriptor >= 0;
}

void WireFile_Write(std::string_view record) {
    std::string before(gIsTorn ? "\n" : "");
    if (gNumLost > 0)
        before += "# " + std::to_string(gNumLost) + " records were lost\n";
    char end = '\n';
    const std::array<iovec, 3> pieces{
        {{before.data(), before.size()},
         {const_cast<char *>(record.data()), record.size()}, /* only read */
         {&end, 1}}};
    const auto size = ssize_t(before.size() + record.size() + 1);
    ssize_t written = 0;
    do {
        written = writev(gDescriptor, pieces.data(), pieces.size());
    } while (written < 0 && errno == EINTR);
    if (written == size) {
        gNumLost = 0;
        gIsTorn = false;
        return;
    }
    if (written >= 0) {
        errno = ENOSPC;
        gIsTorn = gIsTorn || written > 0;
    }
    Lose();
}
