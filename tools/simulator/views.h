/*
 * views.h -- container views: lists of all entities below one, kept up to date
 */
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/simulator/inventory.h"
#include "tools/simulator/sessions.h"

namespace simulator {

class Service;

class Views {
public:
    explicit Views(Service &owner) : service(owner) {}

    ObjectPtr CreateContainer(const SessionPtr &owner, const ObjectPtr &container,
                              std::vector<std::string> types, bool recursive);
    ObjectPtr CreateList(const SessionPtr &owner, std::vector<Value> members);
    void Destroy(const ObjectPtr &view);
    void EndSession(const SessionPtr &session);
    void Settle(); /* updates the lists after a change of the inventory's structure */
    uint64_t SettledAt() const {
        return settledAt;
    } /* number of the last change that was looked at */

private:
    struct Row {
        ObjectPtr view;
        SessionPtr owner;
        ObjectPtr container; /* null for a list view */
        std::vector<std::string> types;
        bool recursive;
    };
    ObjectPtr Add(Row row, const std::string &type, std::vector<Field> fields);
    Value Members(const Row &row) const;

    Service &service;
    std::vector<Row> rows;
    uint64_t settledAt = 0;
};

} // namespace simulator
