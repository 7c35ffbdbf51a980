/*
 * operation.h -- one asynchronous operation of the library, waited for
 *
 *   Operation login("connect", 30);
 *   orvane_session_connect(session, url, user, password, login.Listener());
 *   login.Succeed();                    // iterates the loop; throws Failure otherwise
 *
 * Errors:  Failure, with a line for people.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <functional>
#include <string>

#include <orvane/orvane.h>

#include "lib/misc/glibPtr.h"
#include "tools/orvane/failure.h"

namespace orvaneCli {

/* Iterates the default context until the condition holds; false if that took longer. */
bool RunUntil(const std::function<bool()> &condition, int seconds);

class Operation {
public:
    /* What it is called in messages, and how many seconds it may take. */
    Operation(std::string name, int timeoutSeconds);
    ~Operation();
    Operation(const Operation &) = delete;
    Operation &operator=(const Operation &) = delete;

    /* For the one call that this operation is. */
    OrvaneListener *Listener() const { return listener.get(); }
    /* Called with the percentage whenever a task reports one. */
    void OnProgress(std::function<void(int)> function) { onProgress = std::move(function); }

    /* Waits for the end. False if the condition holds before. */
    bool EndsBefore(const std::function<bool()> &condition);
    /* Waits for the end, which must be a success. */
    void Succeed();
    /* The same, then the result: an object, or the members of an array of objects. */
    ObjectPtr<GObject> Object();
    std::vector<ObjectPtr<GObject>> Objects();
    /* Waits for the end, which must be a failure with a fault. */
    ObjectPtr<SkemaQormMethodFault> Fail();

private:
    void Wait();
    OrvaneListenerState State() const { return orvane_listener_get_state(listener.get()); }
    static void OnEnd(OrvaneListener *listener, gpointer data);
    static void OnListenerProgress(OrvaneListener *listener, gpointer data);

    std::string name;
    int timeoutSeconds;
    ObjectPtr<OrvaneListener> listener;
    std::function<void(int)> onProgress;
    bool isOver = false;
};

/* "VirtualMachine": the name of an object's class on the wire. */
std::string ClassName(gpointer object);
/* "InvalidPowerState: The machine is ...", or what is known of a failed transfer. */
std::string FaultText(SkemaQormMethodFault *fault);
/* A value for people; empty if there is nothing to show. */
std::string ValueText(const GValue *value);

} // namespace orvaneCli
