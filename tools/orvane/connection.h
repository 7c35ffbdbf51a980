/*
 * connection.h -- a session with a service that the user named, connected for as long as this lives
 *
 *   Connection connection(login, trustOptions);       // may ask the user to accept the service's certificate
 *   ... calls with connection.Session() ...
 *   connection.LogOut();
 *
 * Where LogOut() was not reached, because something else failed, the destructor logs out.
 *
 * Errors:  Failure. A retrieval that the service refuses fails at once.
 * Threads: the one that iterates the default GMainContext. A Library must live longer.
 */
#pragma once

#include <string>

#include <orvane/orvane.h>

#include "tools/orvane/owners.h"
#include "tools/orvane/password.h"
#include "tools/orvane/serviceTrust.h"
#include "tools/orvane/wireFile.h"

namespace orvaneCli {

struct Login {
    std::string url;
    std::string user;
    int timeoutSeconds = 0; /* of a step, without the time that the user takes to answer */
    bool isFerry = false;   /* the second service: "/ferry" takes the place of "/sdk" in the URL */
    std::string wireFile;   /* where requests and replies are recorded; empty: nowhere */
};

class Connection {
public:
    Connection(const Login &login, const Password &password, const TrustOptions &trustOptions);
    ~Connection();
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    OrvaneSession *Session() const { return session.get(); }
    /* How its certificate was accepted, for people. */
    std::string TrustSummary() const { return trust.Summary(); }
    void LogOut();

private:
    Connection(const Login &login, const TrustOptions &trustOptions); /* not connected yet */
    void Connect(const Login &login, const Password &password);

    int timeoutSeconds;
    ServiceTrust trust; /* outlives the session, which asks it */
    WireFile wire;      /* the same */
    ObjectPtr<OrvaneSession> session;
};

} // namespace orvaneCli
