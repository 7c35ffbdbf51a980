#include "tools/orvane/logOptions.h"

#include <cstdlib>

#include "lib/misc/log.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

std::string ReasonText(const process::LogFailure &failure) {
    switch (failure.problem) {
    case process::LogProblem::kOtherFile:
        return Text(MSGID("log.otherFile") "the file is there, and is no log");
    case process::LogProblem::kNotRegular:
        return Text(MSGID("log.notRegular") "it is no regular file");
    case process::LogProblem::kSystem:
    case process::LogProblem::kNone:
        break;
    }
    return failure.reason;
}

} // namespace

void AddLogOptions(CLI::App &program, process::LogOptions &options) {
    CLI::Option *log = program.add_option(
        "--log", options.file,
        Text(MSGID("help.log") "Write a log to a new file, beside which the last "
                               "three are kept; - for stderr. It has no "
                               "secrets in it"));
    log->take_last()->check([](const std::string &file) {
        return file.empty() ? Text(MSGID("log.noName") "the name of the file is empty") : "";
    });
    program
        .add_option("--log-level", options.level,
                    Text(MSGID("help.logLevel") "Least severe level in the log; debug adds what is "
                                                "sent and received"))
        ->capture_default_str()
        ->check(CLI::IsMember(process::LogLevels()))
        ->take_last()
        ->needs(log);
}

void StartLog(const process::LogOptions &options, const std::string &command, const char *version) {
    const process::LogFailure failure = process::StartLog(options, "orvane", version);
    if (failure.problem != process::LogProblem::kNone)
        throw Failure(Text(MSGID("log.none") "no log: %s: %s", Printable(options.file).c_str(),
                           ReasonText(failure).c_str()));
    if (options.level == "debug")
        setenv("HALDEN_BASICHTTP_TRACE", "1", 0); /* before the library starts, which reads it */
    Log("PROGRAM: %s\n", command.c_str());
}

void EndLog(int status) {
    Log("PROGRAM: ends with status %d\n", status);
    process::EndLog();
}

} // namespace orvaneCli
