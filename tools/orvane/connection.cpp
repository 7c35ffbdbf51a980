#include "tools/orvane/connection.h"

#include <algorithm>

#include "tools/orvane/message.h"
#include "tools/orvane/operation.h"

namespace orvaneCli {

namespace {

constexpr int kMostLogoutSeconds = 5; /* of a command that has failed */
constexpr int kMostLoginSeconds = 2;  /* of one that is interrupted */

/* A login that has been sent may have made a session, which the destructor ends. */
void AwaitLogin(OrvaneSession *session, const Operation &connect) {
    GObject *content = nullptr; /* received before the login */
    g_object_get(session, "serviceInstanceContent", &content, nullptr);
    const ObjectPtr<GObject> owner(content);
    if (content != nullptr && orvane_session_get_state(session) == ORVANE_SESSION_CONNECTING)
        RunUntil([&] { return connect.IsOver(); }, kMostLoginSeconds);
}

} // namespace

Connection::Connection(const Login &usedLogin, const TrustOptions &trustOptions)
    : login(usedLogin), timeoutSeconds(login.timeoutSeconds), trust(trustOptions, login.url),
      wire(login.wireFile), session(orvane_session_new()) {
    orvane_session_set_strict_loads(session.get(), TRUE);
    if (login.isFerry)
        orvane_session_target_ferry(session.get());
    wire.Install(session.get());
}

/* Delegates, so that the destructor runs if it throws after the login. */
Connection::Connection(const Login &usedLogin, const Password &usedPassword,
                       const TrustOptions &trustOptions)
    : Connection(usedLogin, trustOptions) {
    if (login.reconnects)
        SetReconnect(usedPassword);
    Connect(usedPassword);
}

void Connection::SetReconnect(const Password &usedPassword) {
    password = &usedPassword;
    orvane_session_set_credentials_func(session.get(), OnCredentials, this, nullptr);
    OrvaneReconnect policy = {};
    policy.reconnecting = OnReconnecting;
    policy.reconnected = OnReconnected;
    policy.data = this;
    orvane_session_set_reconnect(session.get(), &policy);
}

gboolean Connection::OnCredentials(OrvaneSession * /* session */, char **user, char **secret,
                                   gpointer data) {
    const auto *self = static_cast<Connection *>(data);
    *user = g_strdup(self->login.user.c_str());
    *secret = g_strdup(self->password->Text()); /* the library wipes it */
    return TRUE;
}

void Connection::OnReconnecting(OrvaneSession * /* session */, guint attempt, guint delay,
                                gpointer data) {
    auto *self = static_cast<Connection *>(data);
    self->isLoginRefused = attempt == 0; /* user or password is wrong; there is no further try */
    if (self->IsReconnecting() && self->reconnect.onReconnecting)
        self->reconnect.onReconnecting(static_cast<int>(attempt), static_cast<int>(delay));
}

void Connection::OnReconnected(OrvaneSession * /* session */, gpointer data) {
    const auto *self = static_cast<Connection *>(data);
    if (self->reconnect.onReconnected)
        self->reconnect.onReconnected();
}

bool Connection::IsReconnecting() const {
    return login.reconnects && !isLoginRefused && trust.WhyRefused().empty() &&
           !trust.HasQuestion() &&
           orvane_session_get_state(session.get()) == ORVANE_SESSION_INTERRUPTED;
}

void Connection::CheckReconnect() {
    if (!login.reconnects || orvane_session_get_state(session.get()) != ORVANE_SESSION_INTERRUPTED)
        return;
    if (trust.HasQuestion())
        trust.Decline();
    if (!trust.WhyRefused().empty())
        throw Failure(trust.WhyRefused(), kNotTrusted);
    if (isLoginRefused)
        throw Failure(Text(MSGID("reconnectRefused") "connecting again: the service does not "
                                                     "accept the login any more") +
                          AdviceText("InvalidLogin"),
                      kLoginRefused, "InvalidLogin");
}

std::string Connection::Url() const {
    const std::string end = "/sdk";
    if (!login.isFerry || !login.url.ends_with(end))
        return login.url;
    return login.url.substr(0, login.url.size() - end.size()) + "/ferry";
}

void Connection::Connect(const Password &usedPassword) {
    const std::string url = Url();
    trust.Install(session.get());
    Operation connect(Text(MSGID("connecting") "connecting to %s", url.c_str()), timeoutSeconds);
    orvane_session_connect(session.get(), url.c_str(), login.user.c_str(), usedPassword.Text(),
                           connect.Listener());
    try {
        while (!connect.EndsBefore([&] { return trust.HasQuestion(); }))
            trust.Answer();
    } catch (const Interrupted &) {
        AwaitLogin(session.get(), connect);
        throw;
    }
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
