/*
 * taskWatch.h -- follows a task that somebody has started to its end
 *
 * Errors:  Failure: how the task failed, that it was cancelled, or that it is not over in time.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <chrono>
#include <string>

#include "tools/orvane/operation.h"
#include "tools/orvane/service.h"

namespace orvaneCli {

class TaskWatch {
public:
    /* The limit is in seconds; 0 for none. */
    TaskWatch(const Service &itsService, ProxyPtr itsTask, int limit);

    void Start();
    bool IsOver() const;
    int Percent() const;
    void Succeed();
    std::string TaskId() const { return task->id; }

private:
    ObjectPtr<GObject> Info() const;
    bool HasEnded() const;
    bool IsLate() const;

    const Service &service;
    ProxyPtr task;
    int limitSeconds;
    Operation load;
    std::chrono::steady_clock::time_point start;
};

} // namespace orvaneCli
