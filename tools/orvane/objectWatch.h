/*
 * objectWatch.h -- objects of the service that are followed, with some of their properties
 *
 *   entered ... entered, finished; changed, left, finished ...; ended
 *
 * With a connection that connects again, it is not over when the service is lost:
 *
 *   reconnecting ... reconnecting, restarted, reconnected, entered ... entered, left, finished
 *
 * The view is notified from the library's callbacks: it must not throw.
 *
 * Ownership: an object that has entered is kept until it has left.
 * Errors:    Failure, of Start() and Check().
 * Threads:   that of the loop.
 */
#pragma once

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include <orvane/filter.h>

#include "tools/orvane/inventoryReader.h"
#include "tools/orvane/propertyPath.h"

namespace orvaneCli {

/* What is to be followed. */
struct WatchTarget {
    ProxyPtr object;
    bool isContainer = false; /* what is below it is followed, and not itself */
};

/* What shows the changes. */
class WatchView {
public:
    virtual ~WatchView() = default;
    virtual void OnEntered(SkemaQormManagedObject *object) = 0;
    virtual void OnChanged(SkemaQormManagedObject *object, const std::string &path) = 0;
    virtual void OnLeft(SkemaQormManagedObject *object) = 0;
    /* All changes that came together were reported. */
    virtual void OnFinished(bool isWhole) = 0;
    /* The service sends all objects anew: those that are still there enter again, the others leave. */
    virtual void OnRestarted() = 0;
    /* The service is lost; the next try to connect follows. */
    virtual void OnReconnecting(int attempt, int delayMs) = 0;
    virtual void OnReconnected() = 0;
};

class ObjectWatch {
public:
    ObjectWatch(const Service &connected, WatchView &shownBy);
    ~ObjectWatch();
    ObjectWatch(const ObjectWatch &) = delete;
    ObjectWatch &operator=(const ObjectWatch &) = delete;

    /* Follows objects of a class, or single ones of any class, and waits until all are known. */
    void Start(const std::vector<WatchTarget> &targets, GType type,
               const std::vector<PropertyPath> &properties);
    /* Whether it has ended, not by the caller. */
    bool IsOver() const;
    /* Whether the service is lost and is to be connected to again. */
    bool IsInterrupted() const;
    /* Throws why it has ended, or cannot go on. */
    void Check() const;

private:
    static void OnCreated(SkemaQormMethodFault *fault, gpointer data);
    static void OnEntered(SkemaQormManagedObject *object, gpointer data);
    static void OnChanged(SkemaQormManagedObject *object, const char *path, gpointer data);
    static void OnLeft(SkemaQormManagedObject *object, gpointer data);
    static void OnFinished(gboolean isWhole, gpointer data);
    static void OnEnded(gpointer data);
    static void OnRestarted(gpointer data);
    void DropStale();

    struct Known {
        ProxyPtr object;
        bool isStale; /* the service has restarted and has not sent it since */
    };

    const Service &service;
    WatchView &view;
    std::unordered_map<SkemaQormManagedObject *, Known> followed; /* that have entered */
    guint filter = 0;
    bool isWhole = false; /* all objects have entered; anew, if the service has restarted */
    bool isEnded = false;
    std::optional<Failure> refusal; /* why there is no filter */
};

} // namespace orvaneCli
