#include "tools/orvane/manualOption.h"

#include <stdexcept>

#include "tools/manual/manualPage.h"
#include "tools/orvane/failure.h"

namespace orvaneCli {

namespace {

manual::Book MakeBook() {
    return {
        .program = "orvane",
        .date = ORVANE_DATE,
        .commandPages = true,
        .exitStatuses =
            {
                {std::to_string(kDone), "All went well."},
                {std::to_string(kFailed), "The service refused, or a file or the output failed."},
                {std::to_string(kBadUsage),
                 "The command line is wrong, or a password is missing that cannot be asked for."},
                {std::to_string(kNoConnection),
                 "The service cannot be reached, or the connection was lost."},
                {std::to_string(kLoginRefused), "The login was refused, or is no longer valid."},
                {std::to_string(kNotTrusted), "The certificate of the service is not trusted."},
                {std::to_string(kTimedOut), "A time limit has passed."},
                {std::to_string(kInterrupted + 2),
                 "Ctrl-C ended it, after a logout. Other signals give 128 and their number."},
            },
        .environment =
            {
                {"ORVANE_PROFILE", "The profile of commands without --profile and --url."},
                {"ORVANE_URL", "The service of commands without --profile and --url."},
                {"ORVANE_USER", "The user name for such a service."},
                {"ORVANE_PASSWORD", "The password, where no option gives one."},
                {"ORVANE_PASSWORD_FILE", "A file with the password in its first line."},
                {"ORVANE_SCHEMA_OVERLAY",
                 "Files and folders with further tables of the schema, with \":\" between them."},
                {"NO_COLOR", "If it is set and not empty, nothing is coloured."},
                {"TERM", "With \"dumb\" nothing is coloured and nothing moves."},
                {"LC_ALL, LC_MESSAGES, LANG", "The language of texts: German, or else English."},
            },
        .files =
            {
                {"$XDG_CONFIG_HOME/orvane/profiles", "The profiles, with sealed passwords."},
                {"$XDG_CONFIG_HOME/orvane/known_services",
                 "The certificates that the user has accepted."},
                {"$XDG_CONFIG_HOME/orvane/preferences, $XDG_CONFIG_HOME/orvane/config",
                 "The settings of the user."},
                {"/etc/orvane/config", "The settings of the machine."},
            },
    };
}

} // namespace

void AddManualOption(CLI::App &program) {
    program
        .add_option_function<std::string>(
            "--write-manual",
            [&program](const std::string &folder) {
                try {
                    manual::WritePages(manual::MakePages(program, MakeBook()), folder);
                } catch (const std::exception &error) {
                    throw Failure(error.what());
                }
                throw CLI::Success();
            })
        ->group("");
}

} // namespace orvaneCli
