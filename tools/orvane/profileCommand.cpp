#include "tools/orvane/profileCommand.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/orvane/command.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/message.h"
#include "tools/orvane/printer.h"
#include "tools/orvane/profiles.h"
#include "tools/orvane/question.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Json = nlohmann::ordered_json;

int RunAdd(const ProfileOptions &options) {
    const Profiles profiles;
    const Profile profile = {options.name, options.url, options.user, ""};
    if (!options.storesPassword) {
        profiles.Add(profile, std::nullopt);
        return kDone;
    }
    if (options.user.empty())
        throw BadUsage(Text(MSGID("profile.needsUser") "--store-password needs a user name"));
    if (profiles.Has(options.name))
        throw Failure(Text(MSGID("profile.exists") "there is a profile \"%s\" already",
                           Printable(options.name).c_str()));
    const Password password = FindPassword(options.password, options.user);
    const Password passphrase = profiles.IsSealed() ? AskPassphrase() : AskNewPassphrase();
    profiles.Add(profile, SealedPassword{password, passphrase});
    return kDone;
}

Json ToJson(const Profile &profile) {
    return {{"name", profile.name},
            {"url", profile.url},
            {"user", profile.user},
            {"hasPassword", !profile.sealed.empty()}};
}

/* What a list has of a profile in a form that is no table. */
std::vector<Cell> CellsOf(const Profile &profile) {
    const char *hasPassword = profile.sealed.empty() ? "false" : "true";
    return {TextCell(profile.name), TextCell(profile.url), TextCell(profile.user),
            JsonCell(hasPassword, hasPassword)};
}

int Print(const std::vector<Profile> &profiles) {
    std::vector<Column> columns = {{.key = "name", .title = "", .isWhole = true},
                                   {.key = "url", .title = "", .cutsStart = true},
                                   {.key = "user", .title = ""}};
    const bool isTable = GetOutputForm() == OutputForm::kTable;
    if (!isTable)
        columns.push_back({.key = "hasPassword", .title = ""});
    Printer printer(std::move(columns), {.hasHeading = false});
    for (const Profile &each : profiles) {
        std::vector<Cell> cells = CellsOf(each);
        cells.resize(isTable ? 3 : cells.size());
        if (!each.sealed.empty() && isTable)
            cells.back().text += Text(MSGID("profile.withPassword") ", password stored");
        printer.Row(cells);
    }
    printer.End();
    return kDone;
}

int RunList() {
    return Print(Profiles().All());
}

int RunShow(const ProfileOptions &options) {
    const Profile profile = Profiles().Find(options.name);
    if (IsJsonWanted()) {
        WriteJson(ToJson(profile));
        return kDone;
    }
    const std::pair<std::string, std::string> rows[] = {
        {Text(MSGID("profile.label.name") "name"), profile.name},
        {Text(MSGID("profile.label.address") "address"), Printable(profile.url)},
        {Text(MSGID("profile.label.user") "user"),
         profile.user.empty() ? Text(MSGID("profile.noUser") "(given with each command)")
                              : Printable(profile.user)},
        {Text(MSGID("profile.label.password") "password"),
         profile.sealed.empty() ? Text(MSGID("profile.notStored") "not stored")
                                : Text(MSGID("profile.stored") "stored under the passphrase")},
    };
    if (GetOutputForm() == OutputForm::kPlain)
        return Print({profile});
    for (const auto &[label, text] : rows)
        WriteOutput(fmt::format("{:<10}{}\n", label, text));
    return kDone;
}

int RunRemove(const ProfileOptions &options) {
    Profiles().Remove(options.name);
    return kDone;
}

int RunRekey() {
    const Profiles profiles;
    if (!profiles.IsSealed())
        throw Failure(
            fmt::format("{}: {}", profiles.Path(),
                        Text(MSGID("profile.nothingSealed") "no password is stored there")));
    const Password oldPassphrase = AskPassphrase();
    const Password newPassphrase = AskNewPassphrase();
    profiles.Rekey(oldPassphrase, newPassphrase);
    return kDone;
}

} // namespace

void AddProfile(CLI::App &program, ProfileOptions &options, int &status) {
    CLI::App *profile = program.add_subcommand(
        "profile", Text(MSGID("help.profile") "Give services names, for --profile"));
    profile->require_subcommand(1);
    profile->footer(FooterText(
        Text(MSGID("help.profile.footer") "Profiles are kept in $XDG_CONFIG_HOME/orvane/profiles. "
                                          "Names, addresses and users are readable there; stored "
                                          "passwords are sealed under one passphrase."),
        {"orvane profile add lab https://lab.example/sdk administrator", "orvane profile list",
         "orvane about --profile lab"}));
    const auto command = [&](const char *name, const std::string &text, auto run) {
        CLI::App *added = profile->add_subcommand(name, text);
        added->callback([&status, run] { status = RunCommand(run); });
        return added;
    };
    const auto takeName = [&](CLI::App *added) {
        added->add_option("name", options.name, Text(MSGID("help.profile.name") "Its name"))
            ->required();
    };

    CLI::App *add = command("add", Text(MSGID("help.profile.add") "Add a profile"),
                            [&options] { return RunAdd(options); });
    takeName(add);
    add->add_option("url", options.url,
                    Text(MSGID("help.profile.url") "Address of the service, such "
                                                   "as https://host/sdk"))
        ->required();
    add->add_option("user", options.user, Text(MSGID("help.user") "User name"));
    CLI::Option *store =
        add->add_flag("--store-password", options.storesPassword,
                      Text(MSGID("help.profile.store") "Store the password, too, sealed under "
                                                       "a passphrase that is asked for"));
    AddPasswordOptions(*add, options.password);
    for (const char *name : {"--password", "--password-stdin"})
        add->get_option(name)->needs(store);

    command("list", Text(MSGID("help.profile.list") "List all profiles"), [] { return RunList(); });
    takeName(command("show", Text(MSGID("help.profile.show") "Show a profile"),
                     [&options] { return RunShow(options); }));
    takeName(command("remove", Text(MSGID("help.profile.remove") "Remove a profile"),
                     [&options] { return RunRemove(options); }));
    command("rekey",
            Text(MSGID("help.profile.rekey") "Seal the stored passwords under a "
                                             "new passphrase"),
            [] { return RunRekey(); });
}

} // namespace orvaneCli
