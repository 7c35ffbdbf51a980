#include "tools/orvane/aboutCommand.h"

#include <fmt/format.h>

#include "tools/orvane/command.h"
#include "tools/orvane/library.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/trustOptions.h"

namespace orvaneCli {

namespace {

constexpr int kMaxSeconds = 3600;

/* The fields of the service's description that are shown, in this order; absent ones are left out. */
constexpr auto kShown = std::to_array<std::pair<const char *, const char *>>({
    {"version", "version"},
    {"build", "build"},
    {"apiVersion", "interface"},
    {"apiType", "kind"},
    {"osType", "system"},
    {"instanceUuid", "identity"},
});

std::string TextOf(GObject *object, const char *property) {
    GValue value = G_VALUE_INIT;
    g_value_init(&value, G_TYPE_STRING);
    g_object_get_property(object, property, &value);
    std::string text = ValueText(&value);
    g_value_unset(&value);
    return text;
}

void Show(const Connection &connection, const Login &login) {
    GObject *content = nullptr;
    g_object_get(connection.Session(), "serviceInstanceContent", &content, nullptr);
    const ObjectPtr<GObject> contentOwner(content);
    GObject *about = nullptr;
    if (content != nullptr)
        g_object_get(content, "about", &about, nullptr);
    const ObjectPtr<GObject> aboutOwner(about);
    if (about == nullptr)
        throw Failure("the service does not describe itself");

    Terminal terminal;
    const std::string name = TextOf(about, "fullName");
    terminal.Heading(name.empty() ? "(a service without a name)" : name);
    for (const auto &[property, label] : kShown) {
        if (const std::string text = TextOf(about, property); !text.empty())
            terminal.Line(fmt::format("  {:<12}{}", label, text));
    }
    const char *version = orvane_session_get_version(connection.Session());
    terminal.Line(fmt::format("  {:<12}{}", "negotiated", version ? version : "nothing"));
    terminal.Line(fmt::format("  {:<12}{} as {}", "address", login.url, login.user));
    terminal.Line(fmt::format("  {:<12}{}", "connection", connection.TrustSummary()));
}

int RunAbout(const AboutOptions &options) {
    const Password password = FindPassword(options.password, options.login.user);
    const Library library;
    Connection connection(options.login, password, options.trust);
    Show(connection, options.login);
    connection.LogOut();
    return kDone;
}

} // namespace

void AddAbout(CLI::App &program, AboutOptions &options, int &status) {
    CLI::App *about =
        program.add_subcommand("about", "Connect to a service and show its description");
    about->add_option("url", options.login.url, "Service to connect to, such as https://host/sdk")
        ->required();
    about->add_option("user", options.login.user, "User name")->required();
    AddPasswordOptions(*about, options.password);
    about->add_option("--timeout", options.login.timeoutSeconds, "Time limit of a step, in seconds")
        ->capture_default_str()
        ->check(CLI::Range(1, kMaxSeconds));
    AddTrustOptions(*about, options.trust);
    about->callback([&] { status = RunCommand([&] { return RunAbout(options); }); });
}

} // namespace orvaneCli
