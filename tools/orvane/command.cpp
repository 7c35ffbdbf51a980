#include "tools/orvane/command.h"

#include <cstdio>
#include <cstring>

#include <fmt/format.h>

#include "lib/misc/log.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

void ReportFailure(const std::string &message) {
    std::fflush(stdout);
    Warning("PROGRAM: %s\n", message.c_str());
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
