#include "tools/orvane/configCommand.h"

#include "tools/orvane/command.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/message.h"
#include "tools/orvane/printer.h"
#include "tools/orvane/settings.h"

namespace orvaneCli {

namespace {

int RunConfig() {
    Printer printer({{.key = "name", .title = "", .isWhole = true},
                     {.key = "value", .title = ""},
                     {.key = "layer", .title = "", .isWhole = true},
                     {.key = "file", .title = "", .cutsStart = true}},
                    {.hasHeading = false});
    for (const SettingShown &each : AllSettings()) {
        const std::string layer = !each.layer.empty() ? each.layer
                                  : printer.IsTable() ? Text(MSGID("setting.default") "(default)")
                                                      : "DEFAULT";
        printer.Row(
            {TextCell(each.name), TextCell(each.value), TextCell(layer), TextCell(each.file)});
    }
    printer.End();
    return kDone;
}

} // namespace

void AddConfig(CLI::App &program, int &status) {
    CLI::App *config = program.add_subcommand(
        "config", Text(MSGID("help.config") "Show the settings, and where each comes from"));
    config->footer(FooterText(
        Text(MSGID("help.config.footer") "A setting is a line such as timeout = \"60\" in "
                                         "one of the files that are shown. The first "
                                         "of these layers that has it counts: "
                                         "GLOBAL_SETTINGS, NON_PERSISTENT (--set), "
                                         "USER_PREFERENCES, USER_DEFAULTS, HOST_DEFAULTS, "
                                         "SITE_DEFAULTS."),
        {"orvane config", "orvane config --set timeout=60 --output json"}));
    config->callback([&status] { status = RunCommand(RunConfig); });
}

} // namespace orvaneCli
