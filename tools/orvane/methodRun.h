/*
 * methodRun.h -- calls of methods by their descriptions, with the tasks that they start
 *
 *   MethodRun run(service, "PowerOnVM_Task", {.isTaskWaited = true});
 *   run.Start(*method, object, values, numValues);
 *   WaitUntil([&] { return run.IsOver(); }, bars);
 *   run.Succeed();
 *
 * The reply must come within the time limit of a step. A task takes as long as it takes, unless the user has set a limit.
 *
 * Errors:  Failure. One that leaves a task running names it.
 * Threads: the one that iterates the default GMainContext.
 */
#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <orvane/method.h>

#include "tools/orvane/operation.h"
#include "tools/orvane/owners.h"
#include "tools/orvane/progressBars.h"
#include "tools/orvane/service.h"

namespace orvaneCli {

struct TaskOptions {
    bool isTaskWaited = true;
    int limitSeconds = 0; /* for a task; 0 for none */
};

/* Adds --no-wait. */
void AddTaskOptions(CLI::App &command, TaskOptions &options);

bool ReturnsTask(const OrvaneMethodInfo &method);

/* The request as it would be sent, without its secrets. */
std::string RequestText(const OrvaneMethodInfo &method, SkemaQormManagedObject *object,
                        const GValue *values, guint numValues);

/* Adds --dry-run. */
void AddDryRun(CLI::App &command, bool &isDry);

class MethodRun {
public:
    /* The label is for messages. */
    MethodRun(const Service &itsService, std::string itsLabel, const TaskOptions &itsOptions);

    void Start(const OrvaneMethodInfo &method, SkemaQormManagedObject *object, const GValue *values,
               guint numValues);
    /* Whether there is nothing more to wait for. */
    bool IsOver() const;
    int Percent() const { return percent; }
    /* Throws a Failure unless it has done what it should: ended, or started the task. */
    void Succeed();
    /* The id of the task; empty if none was started. */
    std::string TaskId() const;
    OrvaneListener *Listener() const { return operation.Listener(); }

private:
    bool IsLate() const;
    bool IsTask() const { return orvane_listener_is_task(operation.Listener()); }

    const Service &service;
    std::string label;
    TaskOptions options;
    Operation operation;
    std::chrono::steady_clock::time_point start;
    int percent = 0;
};

/* Iterates the loop until the condition holds. The bars are drawn meanwhile. Throws Interrupted. */
void WaitUntil(const std::function<bool()> &condition, ProgressBars &bars);

/* Whether the session does not follow the service any more. Then tasks have no end here. */
bool IsLost(const Service &service);

/* Makes a call to find out why the session does not follow the service any more. The failure says that the task goes on,
 * unless the service says that it does not. */
Failure LostTask(const Service &service, const std::string &label, SkemaQormManagedObject *task);

/* "; task-7 goes on, see "orvane task wait task-7"" for the tasks of these ids. */
std::string GoesOnText(const std::vector<std::string> &taskIds);

} // namespace orvaneCli
