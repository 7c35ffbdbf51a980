/*
 * sessions.h -- sessions, and the tickets for a login without a password
 *
 * A session ends by Logout, after a time without use, by TerminateSession or by a switch.
 * Clone tickets and local tickets can be used once. A local ticket is a file with a password that only
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
    int numWaiting = 0; /* open long polls; with any, the session is in use */
    bool ended = false;
};
using SessionPtr = std::shared_ptr<Session>;

class Sessions {
public:
    Sessions(const Options &options, Clock &clock, std::function<void(const SessionPtr &)> onEnd);
    ~Sessions(); /* removes the files of unused tickets */

    /* Each throws Fault if the login is refused. */
    SessionPtr Login(const std::string &user, const std::string &password);
    SessionPtr LoginWithToken(const std::string &base64Token); /* of "user:password" */
    SessionPtr Clone(const std::string &ticket);
    SessionPtr Impersonate(const std::string &user);

    std::string CloneTicket(const SessionPtr &session);
    /* Writes the file and returns its path. */
    std::string LocalTicket(const std::string &user);

    SessionPtr Find(const std::string &key); /* null if there is none, or if it has expired */
    void End(const SessionPtr &session);
    void EndAll();
    std::vector<SessionPtr> All();
    /* The same without a look at those whose time is over, which must have ended before. */
    const std::vector<SessionPtr> &Open() const { return inOrder; }

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

/* Returns a session as clients see it. The type is UserSession or that of the second service. */
Value SessionValue(const Session &session, const std::string &type);

} // namespace simulator
