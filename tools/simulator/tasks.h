/*
 * tasks.h -- long operations:  queued -> running (progress 10, 20, ...) -> success or
 * error
 *
 * A step takes a tenth of the task's duration. The last one changes the inventory. With a duration of 0 the task
 * ends before the call is answered.
 */
#pragma once

#include <cstdint>
#include <deque>
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
    /* Changes the inventory and returns the result, or null. Throws Fault to make the task fail. */
    std::function<Value()> effect;
};

class Tasks {
public:
    explicit Tasks(Service &owner) : service(owner) {}

    /* Starts a task and returns its object. */
    ObjectPtr Start(TaskPlan plan);
    /* Creates a task whose state a client sets. */
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
    void Unlink(const ObjectPtr &task, const ObjectPtr &holder);
    void KeepRecent(const ObjectPtr &task);
    bool IsOver(const ObjectPtr &task) const;

    Service &service;
    std::deque<ObjectPtr> recent; /* that are over and listed, oldest first */
};

} // namespace simulator
