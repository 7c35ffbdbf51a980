/*
 * sessions.h -- who is logged in, and the one-time secrets with which one can be
 *
 * Session -> ended by Logout, by being unused too long, by TerminateSession or by the switches.
 * Clone tickets and local tickets serve once. A local ticket is a file with a password that only
 * the owner of this process can read.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tools/simulator/clock.h"
#include "tools/simulator/simulator.h"
#include "tools/simulator/value.h"

namespace simulator {

struct Session {
    std::string key;
    User user;
    std::string locale = "en";
    std::string loginTime;
    std::string lastActiveTime;
    std::string peer;
    std::string userAgent;
    int64_t lastUsed = 0; /* on the clock */
    int64_t callCount = 0;
    int numWaiting = 0; /* open long polls: such a session is in use */
    bool ended = false;
};
using SessionPtr = std::shared_ptr<Session>;

class Sessions {
public:
    Sessions(const Options &options, Clock &clock, std::function<void(const SessionPtr &)> onEnd);
    ~Sessions(); /* removes ticket files that nobody used */

    /* Each throws Fault if the person is not to be let in. */
    SessionPtr Login(const std::string &user, const std::string &password);
    SessionPtr LoginWithToken(const std::string &base64Token); /* of "user:password" */
    SessionPtr Clone(const std::string &ticket);
    SessionPtr Impersonate(const std::string &user);

    std::string CloneTicket(const SessionPtr &session);
    /* Writes the file; its path. */
    std::string LocalTicket(const std::string &user);

    SessionPtr Find(const std::string &key); /* null if there is none, or it has just timed out */
    void End(const SessionPtr &session);
    void EndAll();
    std::vector<SessionPtr> All();

private:
    SessionPtr Begin(const User &user);
    void EndUnused();
    const User *FindUser(const std::string &name) const;

    const Options &options;
    Clock &clock;
    std::function<void(const SessionPtr &)> onEnd;
    std::map<std::string, SessionPtr> byKey;
    std::vector<SessionPtr> inOrder;
    std::map<std::string, User> cloneTickets;
    struct LocalTicketRow {
        std::string user;
        std::string password;
    };
    std::map<std::string, LocalTicketRow> localTickets; /* by path */
};

/* What a session looks like to clients; the second service has a class of its own for it. */
Value SessionValue(const Session &session, const std::string &type);

} // namespace simulator
