#include "tools/orvane/aboutCommand.h"

#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/orvane/command.h"
#include "tools/orvane/commonOptions.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/message.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/settings.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

/* The fields of the service's description that are shown, in this order; absent ones are left out. */
constexpr auto kShown = std::to_array<std::pair<const char *, const char *>>({
    {"version", MSGID("about.version") "version"},
    {"build", MSGID("about.build") "build"},
    {"apiVersion", MSGID("about.interface") "interface"},
    {"apiType", MSGID("about.kind") "kind"},
    {"osType", MSGID("about.system") "system"},
    {"instanceUuid", MSGID("about.identity") "identity"},
});

std::string TextOf(GObject *object, const char *property) {
    if (object == nullptr)
        return "";
    GValue value = G_VALUE_INIT;
    g_value_init(&value, G_TYPE_STRING);
    g_object_get_property(object, property, &value);
    std::string text = ValueText(&value);
    g_value_unset(&value);
    return text;
}

/* Nothing if it is the second service, which does not describe itself. */
ObjectPtr<GObject> AboutOf(const Service &service) {
    if (orvane_session_target_is_ferry(service.Session()))
        return nullptr;
    GObject *about = nullptr;
    if (service.Content() != nullptr)
        g_object_get(service.Content(), "about", &about, nullptr);
    if (about == nullptr)
        throw Failure(Text(MSGID("about.none") "the service does not describe itself"));
    return ObjectPtr<GObject>(about);
}

/* The forms that are no table. */
void WriteFields(const Service &service, const std::string &user, GObject *about) {
    nlohmann::ordered_json all = {{"fullName", TextOf(about, "fullName")}};
    for (const auto &[property, label] : kShown) {
        if (const std::string text = TextOf(about, property); !text.empty())
            all[property] = text;
    }
    const char *version = orvane_session_get_version(service.Session());
    all["negotiated"] = version ? version : "";
    all["url"] = service.Url();
    all["user"] = user;
    if (IsJsonWanted())
        return WriteJson(all);
    for (const auto &[name, value] : all.items())
        WriteOutput(fmt::format("{}\t{}\n", name, Printable(value.get<std::string>())));
}

void Show(const Service &service, const std::string &user, GObject *about) {
    Terminal terminal;
    const auto line = [&](const std::string &label, const std::string &text) {
        terminal.Line(fmt::format("  {:<12}{}", label, text));
    };
    const std::string name = about != nullptr ? TextOf(about, "fullName")
                                              : Text(MSGID("about.ferry") "The second service");
    if (!service.IsQuiet())
        terminal.Heading(name.empty() ? Text(MSGID("about.noName") "(a service without a name)")
                                      : name);
    for (const auto &[property, label] : kShown) {
        if (const std::string text = TextOf(about, property); !text.empty())
            line(PlainText(label), text);
    }
    const char *version = orvane_session_get_version(service.Session());
    line(Text(MSGID("about.negotiated") "negotiated"),
         version ? version : Text(MSGID("about.nothing") "nothing"));
    line(Text(MSGID("about.address") "address"),
         Text(MSGID("about.as") "%s as %s", Printable(service.Url()).c_str(),
              Printable(user).c_str()));
    line(Text(MSGID("about.connection") "connection"), service.TrustSummary());
}

void TakeWords(AboutOptions &options) {
    Login &login = options.login;
    const bool isNamed = !login.url.empty() || !GetCommonOptions().profile.empty();
    if (!isNamed)
        login.url = std::exchange(options.firstWord, std::exchange(options.secondWord, ""));
    const bool isOver =
        login.user.empty() ? !options.secondWord.empty() : !options.firstWord.empty();
    if (isOver)
        throw BadUsage(Text(MSGID("about.tooMany") "--profile and --url take the place of the "
                                                   "address, and --user that of the user; see "
                                                   "orvane about --help"));
    if (login.user.empty())
        login.user = options.firstWord;
}

int RunAbout(AboutOptions &options) {
    TakeWords(options);
    return WithService(options, [&](const Service &service) {
        const ObjectPtr<GObject> about = AboutOf(service);
        const auto show = GetOutputForm() == OutputForm::kTable ? Show : WriteFields;
        show(service, options.login.user, about.get());
        return kDone;
    });
}

} // namespace

void AddAbout(CLI::App &program, AboutOptions &options, int &status) {
    CLI::App *about = program.add_subcommand(
        "about", Text(MSGID("help.about") "Connect to a service and show its description"));
    about->footer(FooterText("", {"orvane about https://lab.example/sdk administrator",
                                  "orvane about --profile lab --ferry",
                                  "orvane about --profile lab --output json | jq -r .version"}));
    about->add_option(
        "url", options.firstWord,
        Text(MSGID("help.about.url") "Service to connect to, such as "
                                     "https://host/sdk; not with --profile or --url"));
    about->add_option("user", options.secondWord, Text(MSGID("help.user") "User name"));
    AddServiceOptions(*about, options, true);
    about->callback([&] { status = RunCommand([&] { return RunAbout(options); }); });
}

} // namespace orvaneCli
