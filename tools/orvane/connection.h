/*
 * connection.h -- a session with a service that the user named, connected for as long as this lives
 *
 *   Connection connection(login, trustOptions);       // may ask the user to accept the service's certificate
 *   ... calls with connection.Session() ...
 *   connection.LogOut();
 *
 * Where LogOut() was not reached, because something else failed, the destructor logs out.
 *
 * One that connects again logs in with the same user and password, which must live longer; so must the login.
 *
 * Errors:  Failure. A retrieval that the service refuses fails at once.
 * Threads: the one that iterates the default GMainContext. A Library must live longer.
 */
#pragma once

#include <functional>
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
    int timeoutSeconds = 0;  /* of a step, without the time that the user takes to answer */
    bool isFerry = false;    /* the second service: "/ferry" takes the place of "/sdk" in the URL */
    std::string wireFile;    /* where requests and replies are recorded; empty: nowhere */
    bool reconnects = false; /* whether it connects again when the service was lost */
};

/* What is called from the loop when the service was lost; they must not throw. */
struct ReconnectFuncs {
    std::function<void(int attempt, int delayMs)> onReconnecting;
    std::function<void()> onReconnected;
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
    /* The address that it has connected to. */
    std::string Url() const;
    void LogOut();

    bool Reconnects() const { return login.reconnects; }
    void FollowReconnects(ReconnectFuncs functions) { reconnect = std::move(functions); }
    /* Whether it is lost and connects again. It does not if the certificate or the login is not accepted. */
    bool IsReconnecting() const;
    /* Throws which of both is not. */
    void CheckReconnect();

private:
    Connection(const Login &login, const TrustOptions &trustOptions); /* not connected yet */
    void Connect(const Password &password);
    void SetReconnect(const Password &password);
    static gboolean OnCredentials(OrvaneSession *session, char **user, char **password,
                                  gpointer data);
    static void OnReconnecting(OrvaneSession *session, guint attempt, guint delay, gpointer data);
    static void OnReconnected(OrvaneSession *session, gpointer data);

    const Login &login;
    const Password *password = nullptr; /* if it connects again */
    ReconnectFuncs reconnect;
    bool isLoginRefused = false;
    int timeoutSeconds;
    ServiceTrust trust; /* outlives the session, which asks it */
    WireFile wire;      /* the same */
    ObjectPtr<OrvaneSession> session;
};

} // namespace orvaneCli
