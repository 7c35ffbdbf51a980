#include "tools/orvane/aboutCommand.h"

#include <utility>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "tools/orvane/command.h"
#include "tools/orvane/library.h"
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
ObjectPtr<GObject> AboutOf(const Connection &connection) {
    if (orvane_session_target_is_ferry(connection.Session()))
        return nullptr;
    GObject *content = nullptr;
    g_object_get(connection.Session(), "serviceInstanceContent", &content, nullptr);
    const ObjectPtr<GObject> contentOwner(content);
    GObject *about = nullptr;
    if (content != nullptr)
        g_object_get(content, "about", &about, nullptr);
    if (about == nullptr)
        throw Failure(Text(MSGID("about.none") "the service does not describe itself"));
    return ObjectPtr<GObject>(about);
}

void ShowJson(const Connection &connection, const Login &login, GObject *about) {
    nlohmann::ordered_json all = {{"fullName", TextOf(about, "fullName")}};
    for (const auto &[property, label] : kShown) {
        if (const std::string text = TextOf(about, property); !text.empty())
            all[property] = text;
    }
    const char *version = orvane_session_get_version(connection.Session());
    all["negotiated"] = version ? version : "";
    all["url"] = login.url;
    all["user"] = login.user;
    WriteJson(all);
}

void Show(const Connection &connection, const AboutOptions &options, GObject *about) {
    const Login &login = options.login;
    Terminal terminal;
    const auto line = [&](const std::string &label, const std::string &text) {
        terminal.Line(fmt::format("  {:<12}{}", label, text));
    };
    const std::string name = about != nullptr ? TextOf(about, "fullName")
                                              : Text(MSGID("about.ferry") "The second service");
    if (!options.isQuiet)
        terminal.Heading(name.empty() ? Text(MSGID("about.noName") "(a service without a name)")
                                      : name);
    for (const auto &[property, label] : kShown) {
        if (const std::string text = TextOf(about, property); !text.empty())
            line(PlainText(label), text);
    }
    const char *version = orvane_session_get_version(connection.Session());
    line(Text(MSGID("about.negotiated") "negotiated"),
         version ? version : Text(MSGID("about.nothing") "nothing"));
    line(Text(MSGID("about.address") "address"),
         Text(MSGID("about.as") "%s as %s", Printable(login.url).c_str(),
              Printable(login.user).c_str()));
    line(Text(MSGID("about.connection") "connection"), connection.TrustSummary());
}

int RunAbout(AboutOptions &options) {
    Login &login = options.login;
    if (!options.profile.empty()) {
        if (!login.user.empty())
            throw BadUsage(Text(MSGID("about.tooMany") "--profile takes the place of the address; "
                                                       "see orvane about --help"));
        login.user = std::exchange(login.url, ""); /* the only word, if there is one */
    } else if (login.user.empty()) {
        throw BadUsage(Text(MSGID("about.missing") "%s is required; see orvane about --help",
                            login.url.empty() ? "url" : "user"));
    }
    const Password password = CompleteLogin(options);
    const Library library;
    Connection connection(login, password, options.trust);
    const ObjectPtr<GObject> about = AboutOf(connection);
    if (IsJsonWanted())
        ShowJson(connection, login, about.get());
    else
        Show(connection, options, about.get());
    connection.LogOut();
    return kDone;
}

} // namespace

void AddAbout(CLI::App &program, AboutOptions &options, int &status) {
    CLI::App *about = program.add_subcommand(
        "about", Text(MSGID("help.about") "Connect to a service and show its description"));
    about->add_option("url", options.login.url,
                      Text(MSGID("help.about.url") "Service to connect to, such as "
                                                   "https://host/sdk; not with --profile"));
    about->add_option("user", options.login.user, Text(MSGID("help.user") "User name"));
    AddLoginOptions(*about, options);
    AddConnectionOptions(*about, options.login, true);
    AddQuiet(*about, options.isQuiet);
    about->callback([&] { status = RunCommand([&] { return RunAbout(options); }); });
}

} // namespace orvaneCli
