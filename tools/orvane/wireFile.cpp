#include "tools/orvane/wireFile.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

Failure WireFailure(const std::string &path, int error) {
    return Failure(
        Text(MSGID("wire.failed") "--wire %s: %s", Printable(path).c_str(), ErrorText(error)));
}

} // namespace

WireFile::WireFile(std::string filePath) : path(std::move(filePath)) {
    if (path.empty())
        return;
    if (path == "-") {
        stream = stderr;
        return;
    }
    const int file =
        open(path.c_str(),
             O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY,
             S_IRUSR | S_IWUSR);
    if (file < 0)
        throw WireFailure(path, errno);
    fcntl(file, F_SETFL, O_APPEND); /* only a pipe without a reader is not waited for */
    owned.reset(fdopen(file, "a"));
    if (!owned) {
        const int why = errno;
        close(file);
        throw WireFailure(path, why);
    }
    stream = owned.get();
}

void WireFile::Install(OrvaneSession *session) {
    if (stream != nullptr)
        orvane_session_set_wire_func(session, OnRecord, this, nullptr);
}

void WireFile::OnRecord(OrvaneSession * /* session */, const OrvaneWireRecord *record,
                        gpointer data) {
    auto *self = static_cast<WireFile *>(data);
    const bool isWritten =
        self->stream == nullptr ||
        (std::fprintf(self->stream, "%s\n", record->text) >= 0 && std::fflush(self->stream) == 0);
    if (!isWritten && self->error == 0)
        self->error = errno;
}

void WireFile::Close() {
    stream = nullptr;
    if (owned && std::fclose(owned.release()) != 0 && error == 0)
        error = errno;
    if (error != 0)
        throw WireFailure(path, error);
}

} // namespace orvaneCli
