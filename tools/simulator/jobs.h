/*
 * jobs.h -- conversion jobs of the second service:  queued -> running (progress 1, 2, ...) -> success or error
 *
 * A job is a FerryServerConversionConversionJob with a name, a status and `info`:
 *
 *   <info xsi:type="FerryServerConversionConversionJobInfo">
 *     <key>job-1</key><state>active</state><createdTime>...</createdTime>
 *     <lastTask xsi:type="FerryTaskInfo"><state>running</state><progress>7</progress></lastTask>
 *   </info>
 *
 * A step takes a hundredth of the job's duration. As many jobs run as FerryTaskManager.maxTask says, the others are
 * queued. The state is "active" until the job ends, "suspended" in between, then "deactivated".
 */
#pragma once

#include <string>

#include "tools/simulator/inventory.h"

namespace simulator {

class Service;

class Jobs {
public:
    explicit Jobs(Service &owner) : service(owner) {}

    /* Adds a job to the folder; it runs as soon as it may. */
    ObjectPtr Create(const std::string &name, const Value &spec);
    /* A job that is queued or runs is cancelled, or, if that is not wanted, the call fails. Each throws Fault. */
    void Stop(const ObjectPtr &job, bool cancelsTask);
    void Suspend(const ObjectPtr &job, bool cancelsTask);
    void Resume(const ObjectPtr &job);
    void Destroy(const ObjectPtr &job, bool cancelsTask);

private:
    void RunQueued();
    void Step(const ObjectPtr &job, int run);
    void ScheduleStep(const ObjectPtr &job);
    void End(const ObjectPtr &job, const std::string &taskState, const Value &error);
    void RequireIdle(const ObjectPtr &job, bool cancelsTask) const;
    void SetInfo(const ObjectPtr &job, const std::string &field, const Value &value);
    void SetTask(const ObjectPtr &job, const std::string &field, const Value &value);

    Service &service;
    std::map<std::string, int>
        runs; /* by id: how often a job was started or stopped, to end old timers */
};

} // namespace simulator
