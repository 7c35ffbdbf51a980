#include "tools/orvane/connection.h"

#include "tools/orvane/operation.h"

namespace orvaneCli {

void Connect(OrvaneSession *session, const Login &login, ServiceTrust &trust) {
    trust.Install(session);
    Operation connect("connecting to " + login.url, login.timeoutSeconds);
    orvane_session_connect(session, login.url.c_str(), login.user.c_str(), login.password.c_str(),
                           connect.Listener());
    while (!connect.EndsBefore([&] { return trust.HasQuestion(); }))
        trust.Answer();
    try {
        connect.Succeed();
    } catch (const Failure &) {
        if (trust.WhyRefused().empty())
            throw;
        throw Failure(trust.WhyRefused());
    }
    if (orvane_session_get_state(session) != ORVANE_SESSION_CONNECTED)
        throw Failure("the session is not connected");
}

} // namespace orvaneCli
