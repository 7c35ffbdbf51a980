/*
 * operation.h -- one asynchronous operation of the library, waited for
 *
 *   Operation login("connect", 30);
 *   orvane_session_connect(session, url, user, password, login.Listener());
 *   login.Succeed();                    // iterates the loop; throws Failure otherwise
 *
 * Errors:  Failure.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <functional>
#include <string>

#include <orvane/orvane.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/owners.h"

namespace orvaneCli {

/* Iterates the default context until the condition holds; false if that took longer. Throws Interrupted. */
bool RunUntil(const std::function<bool()> &condition, int seconds);

class Operation {
public:
    /* The name is for messages. */
    Operation(std::string name, int timeoutSeconds);
    ~Operation();
    Operation(const Operation &) = delete;
    Operation &operator=(const Operation &) = delete;

    /* The listener for the call; one call only. */
    OrvaneListener *Listener() const { return listener.get(); }
    /* Called with the percentage whenever a task reports one. */
    void OnProgress(std::function<void(int)> function) { onProgress = std::move(function); }

    /* Waits for the end. False if the condition holds before. */
    bool EndsBefore(const std::function<bool()> &condition);
    /* Whether it has ended; for operations that run at the same time. */
    bool IsOver() const { return isOver; }
    /* Waits for the end, which must be a success. */
    void Succeed();
    /* The same; returns the result, which must be an array of objects. */
    std::vector<ObjectPtr<GObject>> Objects();
    /* The same; returns the result, which must be a managed object or nothing. */
    ObjectPtr<SkemaQormManagedObject> Object();
    /* Waits for the end, which must be a failure with a fault. */
    ObjectPtr<SkemaQormMethodFault> Fail();

private:
    void Wait();
    Failure MakeFailure() const;
    static void OnEnd(OrvaneListener *listener, OrvaneOutcome outcome, gpointer data);
    static void OnListenerProgress(OrvaneListener *listener, gpointer data);

    std::string name;
    int timeoutSeconds;
    ObjectPtr<OrvaneListener> listener;
    std::function<void(int)> onProgress;
    bool isOver = false;
    OrvaneOutcome outcome = ORVANE_OUTCOME_SUCCEEDED; /* once it is over */
};

/* What the user can do about a fault, or one of that class, as "; try ..."; empty if nothing is known. */
std::string AdviceText(SkemaQormMethodFault *fault);
std::string AdviceText(const std::string &faultName);
/* The command that lists objects of a class: "orvane task ls". */
const char *ListCommandOf(GType type);
/* A step, of that name, that has ended with a fault, of the service or of the transport. */
Failure FailureOf(const std::string &name, SkemaQormMethodFault *fault,
                  OrvaneOutcome outcome = ORVANE_OUTCOME_FAULT);
/* A step, of that name, that has taken longer than its limit. */
Failure LateFailure(const std::string &name, int seconds);
/* The service was there, and is not any more. */
Failure LostFailure();
/* "VirtualMachine": the name of an object's class on the wire. */
std::string ClassName(gpointer object);
/* "InvalidPowerState: The machine is ...", or the error of a failed transfer. */
std::string FaultText(SkemaQormMethodFault *fault);
/* A value for people, in printable text; empty if there is nothing to show. */
std::string ValueText(const GValue *value);

} // namespace orvaneCli
