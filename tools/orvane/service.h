/*
 * service.h -- the service that a command is connected to
 *
 * Errors:  Failure.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <string>
#include <utility>

#include <orvane/orvane.h>

#include "tools/orvane/connection.h"
#include "tools/orvane/operation.h"
#include "tools/orvane/owners.h"

namespace orvaneCli {

using ProxyPtr = ObjectPtr<SkemaQormManagedObject>;

class Service {
public:
    Service(Connection &connected, int stepSeconds, bool quiet);

    OrvaneSession *Session() const { return connection.Session(); }
    /* Time limit of a step. */
    int TimeoutSeconds() const { return timeoutSeconds; }
    bool IsQuiet() const { return isQuiet; }
    /* See Connection. */
    std::string Url() const { return connection.Url(); }
    std::string TrustSummary() const { return connection.TrustSummary(); }
    bool IsReconnecting() const { return connection.IsReconnecting(); }
    bool Reconnects() const { return connection.Reconnects(); }
    void FollowReconnects(ReconnectFuncs functions) const {
        connection.FollowReconnects(std::move(functions));
    }
    void CheckReconnect() const { connection.CheckReconnect(); }

    /* The ServiceContent, which names the managers; null if the service did not send one. */
    GObject *Content() const { return content.get(); }
    /* A manager of the service by its property of the ServiceContent: "taskManager"; null if there is none. */
    ProxyPtr Manager(const char *property) const;
    /* The same; a service without it is a Failure. */
    ProxyPtr RequireManager(const char *property) const;
    /* The root of the inventory, which every main service has. */
    SkemaQormManagedObject *Root() const;

    /* The proxy of an id; a class for the wire is that of the proxy. */
    ProxyPtr Proxy(const std::string &id, GType type) const;

private:
    Connection &connection;
    int timeoutSeconds;
    bool isQuiet;
    ObjectPtr<GObject> content;
    mutable ProxyPtr root;
};

} // namespace orvaneCli
