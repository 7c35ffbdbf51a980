#include "tools/orvane/connection.h"

#include <algorithm>

#include "tools/orvane/message.h"
#include "tools/orvane/operation.h"

namespace orvaneCli {

namespace {

constexpr int kMostLogoutSeconds = 5; /* of a command that has failed */

std::string UrlOf(const Login &login) {
    const std::string end = "/sdk";
    if (!login.isFerry || !login.url.ends_with(end))
        return login.url;
    return login.url.substr(0, login.url.size() - end.size()) + "/ferry";
}

} // namespace

Connection::Connection(const Login &login, const TrustOptions &trustOptions)
    : timeoutSeconds(login.timeoutSeconds), trust(trustOptions, login.url), wire(login.wireFile),
      session(orvane_session_new()) {
    orvane_session_set_strict_loads(session.get(), TRUE);
    if (login.isFerry)
        orvane_session_target_ferry(session.get());
    wire.Install(session.get());
}

/* Delegates, so that the destructor runs if it throws after the login. */
Connection::Connection(const Login &login, const Password &password,
                       const TrustOptions &trustOptions)
    : Connection(login, trustOptions) {
    Connect(login, password);
}

void Connection::Connect(const Login &login, const Password &password) {
    const std::string url = UrlOf(login);
    trust.Install(session.get());
    Operation connect(Text(MSGID("connecting") "connecting to %s", url.c_str()), timeoutSeconds);
    orvane_session_connect(session.get(), url.c_str(), login.user.c_str(), password.Text(),
                           connect.Listener());
    while (!connect.EndsBefore([&] { return trust.HasQuestion(); }))
        trust.Answer();
    try {
        connect.Succeed();
    } catch (const Failure &) {
        if (trust.WhyRefused().empty())
            throw;
        throw Failure(trust.WhyRefused(), kNotTrusted);
    }
    if (orvane_session_get_state(session.get()) != ORVANE_SESSION_CONNECTED)
        throw Failure(Text(MSGID("notConnected") "the session is not connected"), kNoConnection);
}

void Connection::LogOut() {
    Operation disconnect(Text(MSGID("loggingOut") "logging out"), timeoutSeconds);
    orvane_session_disconnect(session.get(), disconnect.Listener());
    disconnect.Succeed();
    if (orvane_session_get_state(session.get()) != ORVANE_SESSION_DISCONNECTED)
        throw Failure(Text(MSGID("stillConnected") "the session is still connected"));
    wire.Close();
}

Connection::~Connection() {
    const OrvaneSessionState state = orvane_session_get_state(session.get());
    if (state != ORVANE_SESSION_CONNECTED && state != ORVANE_SESSION_INTERRUPTED)
        return;
    timeoutSeconds = std::min(timeoutSeconds, kMostLogoutSeconds);
    try {
        LogOut();
    } catch (const Failure &) {
        /* the command has failed already, and reports why; the service ends the session in time */
    }
}

} // namespace orvaneCli
