// orvane: the command line program.
#include <sstream>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "tools/orvane/aboutCommand.h"
#include "tools/orvane/callCommand.h"
#include "tools/orvane/command.h"
#include "tools/orvane/commonOptions.h"
#include "tools/orvane/completionCommand.h"
#include "tools/orvane/configCommand.h"
#include "tools/orvane/demo.h"
#include "tools/orvane/getCommand.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/jobCommand.h"
#include "tools/orvane/logOptions.h"
#include "tools/orvane/lsCommand.h"
#include "tools/orvane/manualOption.h"
#include "tools/orvane/message.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/powerCommand.h"
#include "tools/orvane/profileCommand.h"
#include "tools/orvane/schemaCommand.h"
#include "tools/orvane/sessionCommand.h"
#include "tools/orvane/setCommand.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/taskCommand.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/usageText.h"
#include "tools/orvane/watchCommand.h"
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
    for (const CLI::App *each : command.get_subcommands([](const CLI::App *) { return true; })) {
        if (!each->get_group().empty()) /* others are not for people */
            names.push_back(each->get_name());
    }
    const std::vector<std::string> words = WordsLeft(command);
    if (names.empty() || words.empty())
        return "";
    const std::string nearest = NearestWord(words.front(), names);
    const std::string word = Printable(words.front());
    if (nearest.empty())
        return Text(MSGID("command.unknown") "\"%s\" is no command of %s; there are: %s",
                    word.c_str(), FullName(command).c_str(),
                    fmt::format("{}", fmt::join(names, ", ")).c_str());
    return Text(MSGID("command.similar") "\"%s\" is no command of %s; did you mean \"%s\"?",
                word.c_str(), FullName(command).c_str(), nearest.c_str());
}

int ReportUsage(const CLI::App &program, const CLI::ParseError &error) {
    const CLI::App &command = LastCommand(program);
    const std::string unknown = UnknownCommandText(command);
    /* its callback is not called for a wrong command line */
    const auto output = program.get_option("--output")->results();
    if (!output.empty() && output.back().starts_with("json"))
        SetForThisRun("output=json");
    return ReportFailure(BadUsage(!unknown.empty()
                                      ? unknown
                                      : Text(MSGID("command.seeHelp") "%s; see %s --help",
                                             UsageText(error).c_str(), FullName(command).c_str())));
}

void AddFooter(CLI::App &program) {
    program.footer(FooterText(
        Text(MSGID("help.program.footer") "The exit status is 0 if all went well, 1 if the service "
                                          "refused or a file failed, 2 for a wrong command line or "
                                          "a missing password, 3 without a connection, 4 if the "
                                          "login was refused, 5 if the certificate is not trusted, "
                                          "6 after a time limit, and 128 plus the number of a "
                                          "signal that ended it: 130 after Ctrl-C, which logs out; "
                                          "a second one ends it at once.") +
            "\n\n" +
            Text(MSGID("help.program.common") "Every command takes these options, before or after "
                                              "its name, so that an alias can have them; the last "
                                              "of one name counts. Those "
                                              "that use no service (config, profile, schema, "
                                              "completion) ignore --profile and --wire, and "
                                              "--timeout is only used by \"schema import\" of "
                                              "them, for the time in which a server must send "
                                              "something; behind it, --output is its file."),
        {"orvane profile add lab https://lab.example/sdk administrator",
         "orvane ls -l --profile lab /Datacenter/vm", "alias o='orvane --profile lab --timeout 10'",
         "o power on /Datacenter/vm/web"}));
}

/* What the options of each command are read into; outlives the parsing. */
struct CommandOptions {
    DemoOptions demo;
    AboutOptions about;
    CallOptions call;
    PowerOptions power;
    SetOptions set;
    TaskCommandOptions task;
    SchemaOptions schema;
    GetOptions get;
    LsOptions ls;
    WatchOptions watch;
    JobOptions job;
    ServiceOptions session;
    ProfileOptions profile;
    CompletionOptions completion;
};

/* The commands in the order in which the help lists them. */
void AddCommands(CLI::App &program, CommandOptions &options, int &status) {
    AddDemo(program, options.demo, status);
    AddAbout(program, options.about, status);
    AddCall(program, options.call, status);
    AddPower(program, options.power, status);
    AddSet(program, options.set, status);
    AddTask(program, options.task, status);
    AddSchema(program, options.schema, status);
    AddGet(program, options.get, status);
    AddLs(program, options.ls, status);
    AddWatch(program, options.watch, status);
    AddJob(program, options.job, status);
    AddSession(program, options.session, status);
    AddProfile(program, options.profile, status);
    AddConfig(program, status);
    AddCompletion(program, options.completion, status);
    GroupHelpOptions(program);
}

int Run(int argc, char **argv) {
    CLI::App program(
        Text(MSGID("help.program") "Works with a SOAP management service through liborvane"),
        "orvane");
    program.require_subcommand(1);
    program.fallthrough(); /* options of the program may follow the command */
    SetHelpTexts(program);
    program.set_help_flag("-h,--help", Text(MSGID("help.help") "Show this help"));
    program.set_version_flag("--version", ORVANE_VERSION,
                             Text(MSGID("help.version") "Show the version"));
    process::LogOptions logOptions;
    AddLogOptions(program, logOptions);
    program.parse_complete_callback(
        [&] { StartLog(logOptions, FullName(LastCommand(program)), ORVANE_VERSION); });
    AddFooter(program);
    AddCommonOptions(program);
    AddManualOption(program);
    int status = kDone;
    CommandOptions options;
    AddCommands(program, options, status);
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
    StartSettings();
    StartMessages();
    ReportLeftOutSettings();
    const int status = RunCommand([&] { return CheckOutput(Run(argc, argv)); });
    EndMessages();
    EndSettings();
    EndLog(status);
    return status;
}
