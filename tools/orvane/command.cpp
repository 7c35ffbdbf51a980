#include "tools/orvane/command.h"

#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

void HoldStandardStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0)
            continue;
        /* the lowest free number is this one, since those below are in use; the wrong way round, so that
         * a use of it fails. Without /dev/null the stream stays closed. */
        (void)!open("/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
}

void ReportFailure(const std::string &message) {
    std::fflush(stdout);
    const std::string line = fmt::format("orvane: {}\n", message);
    /* there is no other place to report that stderr does not work */
    (void)!std::fwrite(line.data(), 1, line.size(), stderr);
}

int RunCommand(const std::function<int()> &command) {
    try {
        return command();
    } catch (const Failure &failure) {
        ReportFailure(failure.what());
        return failure.status;
    }
}

int CheckOutput(int status) {
    const int error = OutputError();
    if (error == 0 || status != kDone)
        return status;
    ReportFailure(fmt::format("the output cannot be written: {}", std::strerror(error)));
    return kFailed;
}

} // namespace orvaneCli
