// orvane: the command line program.
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/orvane/aboutCommand.h"
#include "tools/orvane/command.h"
#include "tools/orvane/demo.h"
#include "tools/orvane/logOptions.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/schemaCommand.h"
#include "tools/orvane/terminal.h"
#include "tools/standardStreams.h"

namespace {

using namespace orvaneCli;

/* The command that the command line leads to as far as it is understood. */
const CLI::App &LastCommand(const CLI::App &program) {
    const CLI::App *last = &program;
    for (auto next = last->get_subcommands(); !next.empty(); next = last->get_subcommands())
        last = next.front();
    return *last;
}

/* "orvane schema": the words that lead to a command. */
std::string FullName(const CLI::App &command) {
    const CLI::App *parent = command.get_parent();
    return parent == nullptr ? command.get_name() : FullName(*parent) + " " + command.get_name();
}

/* The words that a command could not use; they fall through to the commands above it. */
std::vector<std::string> WordsLeft(const CLI::App &command) {
    std::vector<std::string> words;
    for (const CLI::App *each = &command; words.empty() && each != nullptr;
         each = each->get_parent())
        words = each->remaining();
    return words;
}

/* What to say of a word in the place of a command; empty if the command needs none, or none was given. */
std::string UnknownCommandText(const CLI::App &command) {
    std::vector<std::string> names;
    for (const CLI::App *each : command.get_subcommands([](const CLI::App *) { return true; }))
        names.push_back(each->get_name());
    const std::vector<std::string> words = WordsLeft(command);
    if (names.empty() || words.empty())
        return "";
    const std::string nearest = NearestWord(words.front(), names);
    return fmt::format("\"{}\" is no command of {}; {}", Printable(words.front()),
                       FullName(command),
                       nearest.empty() ? fmt::format("there are: {}", fmt::join(names, ", "))
                                       : fmt::format("did you mean \"{}\"?", nearest));
}

int ReportUsage(const CLI::App &program, const CLI::ParseError &error) {
    const CLI::App &command = LastCommand(program);
    const std::string unknown = UnknownCommandText(command);
    ReportFailure(!unknown.empty() ? unknown
                                   : fmt::format("{}; see {} --help", Printable(error.what()),
                                                 FullName(command)));
    return kBadUsage;
}

int Run(int argc, char **argv) {
    CLI::App program("Works with a SOAP management service through liborvane", "orvane");
    program.require_subcommand(1);
    program.fallthrough(); /* options of the program may follow the command */
    process::LogOptions logOptions;
    AddLogOptions(program, logOptions);
    program.parse_complete_callback(
        [&] { StartLog(logOptions, FullName(LastCommand(program)), ORVANE_VERSION); });
    program.set_version_flag("--version", ORVANE_VERSION);
    program.footer(
        "The exit status is 0 if all went well, 1 if the service or a file failed, 2 for a "
        "wrong command line or a missing password, and 130 after Ctrl-C.");

    int status = kDone;
    DemoOptions demoOptions;
    AddDemo(program, demoOptions, status);
    AboutOptions aboutOptions;
    AddAbout(program, aboutOptions, status);
    SchemaOptions schemaOptions;
    AddSchema(program, schemaOptions, status);
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        if (error.get_exit_code() != 0)
            return ReportUsage(program, error);
        std::ostringstream text; /* the help or the version */
        program.exit(error, text, text);
        WriteOutput(text.str());
    }
    return status;
}

} // namespace

int main(int argc, char **argv) {
    HoldStandardStreams();
    const int status = RunCommand([&] { return CheckOutput(Run(argc, argv)); });
    EndLog(status);
    return status;
}
