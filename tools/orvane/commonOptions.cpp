#include "tools/orvane/commonOptions.h"

#include <vector>

#include "tools/orvane/message.h"
#include "tools/orvane/settings.h"

namespace orvaneCli {

namespace {

CommonOptions &Given() {
    static CommonOptions options;
    return options;
}

void AddSettings(CLI::App &program) {
    program
        .add_option_function<std::vector<std::string>>(
            "--set",
            [](const std::vector<std::string> &all) {
                for (const std::string &each : all)
                    SetForThisRun(each);
            },
            Text(MSGID("help.set") "NAME=VALUE: a setting for this run, see \"orvane config\"; may "
                                   "be repeated"))
        ->allow_extra_args(false);
    program
        .add_option_function<std::string>(
            "--color", [](const std::string &value) { SetForThisRun("color=" + value); },
            Text(MSGID("help.color") "auto, always or never: the same as --set color=..."))
        ->take_last();
    program
        .add_option_function<std::string>(
            "--output", [](const std::string &value) { SetForThisRun("output=" + value); },
            Text(MSGID("help.output") "table, plain (columns separated by tabs), json or jsonl (a "
                                      "document a line): the same as --set output=..."))
        ->take_last();
    program.add_flag_callback(
        "--no-color", [] { SetForThisRun("color=never"); },
        Text(MSGID("help.noColor") "The same as --color never"));
}

} // namespace

void AddCommonOptions(CLI::App &program) {
    CommonOptions &given = Given();
    AddSettings(program);
    program
        .add_option("--profile", given.profile,
                    Text(MSGID("help.profile.use") "Connect to the service of this profile, "
                                                   "as its user; see \"orvane profile\""))
        ->take_last();
    program
        .add_option("--timeout", given.timeoutSeconds,
                    Text(MSGID("help.timeout") "Time limit of a step, in "
                                               "seconds; the default is "
                                               "the setting \"timeout\""))
        ->check(CLI::Range(kMinTimeout, kMaxTimeout))
        ->take_last();
    program
        .add_option("--wire", given.wireFile,
                    Text(MSGID("help.wire") "Append what is sent and received to a file, without "
                                            "secrets; - for stderr"))
        ->take_last();
    program.add_flag("-q,--quiet", given.isQuiet,
                     Text(MSGID("help.quiet") "No headings, remarks and progress"));
}

const CommonOptions &GetCommonOptions() {
    return Given();
}

} // namespace orvaneCli
