#include "tools/orvane/command.h"

#include <cerrno>
#include <cstdio>

#include <csignal>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "lib/misc/log.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/message.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

/* One line of JSON on stderr. */
void ReportAsJson(const Failure &failure) {
    using Json = nlohmann::ordered_json;
    Json error = {{"message", failure.what()}, {"status", failure.status}};
    if (!failure.fault.empty())
        error["fault"] = failure.fault;
    Warning("PROGRAM: %s\n", failure.what());
    const std::string line =
        Json{{"error", error}}.dump(-1, ' ', true, Json::error_handler_t::replace);
    std::fflush(stdout);
    /* there is no other place to report that stderr does not work */
    (void)!std::fprintf(stderr, "%s\n", line.c_str());
}

} // namespace

int ReportFailure(const Failure &failure) {
    if (*failure.what() == '\0')
        return failure.status;
    if (IsJsonWanted())
        ReportAsJson(failure);
    else
        Report(failure.what());
    return failure.status;
}

int RunCommand(const std::function<int()> &command) {
    try {
        return command();
    } catch (const Failure &failure) {
        return ReportFailure(failure);
    }
}

int CheckOutput(int status) {
    const int error = OutputError();
    if (error == 0 || status != kDone)
        return status;
    if (error == EPIPE)
        return kInterrupted + SIGPIPE; /* whoever reads has enough */
    return ReportFailure(
        Failure(Text(MSGID("output.failed") "the output cannot be written: %s", ErrorText(error))));
}

} // namespace orvaneCli
