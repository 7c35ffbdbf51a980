/*
 * application.h -- an application that logs in, makes a call and disconnects, and notes how each step ended
 *
 *   EXPECT_EQ("connect success ozy25/6.0, call success, disconnect success", Run({.url = peer.Url()}));
 *
 * The passwords, tickets and cookies that it gives begin with kCanary.
 */
#pragma once

#include <cstdint>
#include <string>

namespace hostile {

enum class Login { kPassword, kTicket, kCookie };

struct Visit {
    std::string url;
    Login login = Login::kPassword;
    std::string authorities; /* a file of them, which makes the session strict; empty: not */
    bool isEndedBySelf =
        false;              /* disconnects as soon as it is connected, while the roles are loaded */
    uint64_t bodyLimit = 0; /* of a reply, with treeLimit; 0 for the usual ones */
    uint64_t treeLimit = 0;
    int limitMs = 30000; /* for each step, real time */
};

/* The steps and how their listeners ended: "success", "failure CLASS ..." as Ending shows it, or "nothing", and behind the
 * connect the version. A listener that ended more than once has the number behind it. A
 * peer has a say in the texts of faults; whether each listener ended, and once, is in "eachEndsOnce". */
std::string Run(const Visit &visit, bool *eachEndsOnce = nullptr);

} // namespace hostile
