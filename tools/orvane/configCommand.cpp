#include "tools/orvane/configCommand.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/orvane/command.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/message.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

int RunConfig() {
    const std::vector<SettingShown> all = AllSettings();
    if (IsJsonWanted()) {
        auto list = nlohmann::ordered_json::array();
        for (const SettingShown &each : all)
            list.push_back({{"name", each.name},
                            {"value", each.value},
                            {"layer", each.layer.empty() ? "DEFAULT" : each.layer},
                            {"file", each.file}});
        WriteJson(list);
        return kDone;
    }
    for (const SettingShown &each : all) {
        const std::string layer =
            each.layer.empty() ? Text(MSGID("setting.default") "(default)") : each.layer;
        WriteOutput(fmt::format("{:<10}{:<10}{}{}{}\n", each.name, Printable(each.value), layer,
                                each.file.empty() ? "" : "  ", Printable(each.file)));
    }
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
