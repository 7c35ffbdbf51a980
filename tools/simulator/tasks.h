/*
 * tasks.h -- operations that take time:  queued -> running (progress 10, 20, ...) -> success or
 * error
 *
 * A tenth of the task's duration passes between two steps. Its effect on the inventory happens with
 * the last one. With a duration of 0 a task has ended before the call is answered.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "tools/simulator/inventory.h"
#include "tools/simulator/soapRequest.h"

namespace simulator {

class Service;

struct TaskPlan {
    std::string method; /* "PowerOnVM_Task" */
    ObjectPtr entity;
    std::string userName;
    bool cancelable = true;
    /* The effect; its result, null for none. Throws Fault to make the task fail. */
    std::function<Value()> effect;
};

class Tasks {
public:
    explicit Tasks(Service &owner) : service(owner) {}

    /* Starts it; the task's object. */
    ObjectPtr Start(TaskPlan plan);
    /* One that a client drives itself. */
    ObjectPtr Create(const TaskPlan &plan);
    void Cancel(const ObjectPtr &task);
    void SetProgress(const ObjectPtr &task, int percent);
    void SetState(const ObjectPtr &task, const std::string &state, const Value &result,
                  const Value &error);
    void SetDescription(const ObjectPtr &task, const Value &description);

private:
    void Step(const ObjectPtr &task, const std::shared_ptr<TaskPlan> &plan, int step);
    void Finish(const ObjectPtr &task, const TaskPlan &plan);
    void SetInfo(const ObjectPtr &task, const std::string &field, const Value &value);
    void Link(const ObjectPtr &task, const ObjectPtr &entity);
    void Unlink(const ObjectPtr &task, const ObjectPtr &entity);
    bool IsOver(const ObjectPtr &task) const;

    Service &service;
};

} // namespace simulator
