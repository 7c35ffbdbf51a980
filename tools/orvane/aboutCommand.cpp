#include "tools/orvane/aboutCommand.h"

#include <fmt/format.h>

#include "tools/orvane/library.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/question.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/trustOptions.h"

namespace orvaneCli {

namespace {

constexpr int kMaxSeconds = 3600;

/* What is shown of the service's description, in this order; what is not there is left out. */
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

void Show(OrvaneSession *session, const Login &login, const ServiceTrust &trust) {
    GObject *content = nullptr;
    g_object_get(session, "serviceInstanceContent", &content, nullptr);
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
    const char *version = orvane_session_get_version(session);
    terminal.Line(fmt::format("  {:<12}{}", "negotiated", version ? version : "nothing"));
    terminal.Line(fmt::format("  {:<12}{} as {}", "address", login.url, login.user));
    terminal.Line(fmt::format("  {:<12}{}", "connection", trust.Summary()));
}

std::string PasswordOf(const Login &login) {
    if (!login.password.empty() || !CanAsk())
        return login.password;
    return AskSecretly(fmt::format("Password of {}: ", login.user)).value_or("");
}

void About(const AboutOptions &options) {
    Login login = options.login;
    const Library library;
    const ObjectPtr<OrvaneSession> session(orvane_session_new());
    ServiceTrust trust(options.trust, login.url);
    login.password = PasswordOf(login);
    Connect(session.get(), login, trust);
    Show(session.get(), login, trust);
    Operation disconnect("logging out", login.timeoutSeconds);
    orvane_session_disconnect(session.get(), disconnect.Listener());
    disconnect.Succeed();
}

int RunAbout(const AboutOptions &options) {
    try {
        About(options);
        return 0;
    } catch (const Failure &failure) {
        std::fflush(stdout);
        fmt::print(stderr, "orvane: {}\n", failure.what());
        return 1;
    }
}

} // namespace

void AddAbout(CLI::App &program, AboutOptions &options, int &status) {
    CLI::App *about =
        program.add_subcommand("about", "Connects to a service and says which one it is");
    about->add_option("url", options.login.url, "Service to connect to, such as https://host/sdk")
        ->required();
    about->add_option("user", options.login.user, "User name")->required();
    about->add_option("--password", options.login.password, "Password; asked for without")
        ->envname("ORVANE_PASSWORD");
    about->add_option("--timeout", options.login.timeoutSeconds, "Seconds that a step may take")
        ->capture_default_str()
        ->check(CLI::Range(1, kMaxSeconds));
    AddTrustOptions(*about, options.trust);
    about->callback([&] { status = RunAbout(options); });
}

} // namespace orvaneCli
