/*
 * contents.h -- the texts of a property collector's replies: objects, their properties and changes
 */
#pragma once

#include <string>
#include <vector>

#include "tools/simulator/filterSpec.h"
#include "tools/simulator/sessions.h"

namespace simulator {

class Service;

/* Properties of an object that a session may read, and those that it may not. */
struct Properties {
    std::vector<Field> values; /* by path; without those that are not set */
    std::vector<Field> denied; /* path and wrapped fault */
};
Properties PropertiesOf(const Service &service, const Object &object, const PropertyRow &row,
                        const SessionPtr &session);

/* Returns <obj/><propSet/>...: the content of an ObjectContent. */
std::string ContentText(const Object &object, const Properties &properties);

/* Each returns <objectSet>...</objectSet>, an update of one object. */
std::string EnterText(const Object &object, const Properties &properties);
std::string ModifyText(const Object &object, const std::vector<simulator::PropertyChange> &changes);
std::string LeaveText(const Value &reference);

/* Returns <missingSet>...</missingSet> for an object that does not exist. */
std::string MissingObjectText(const Value &reference);

/* Appends the differences between two values of a property, in the row's paths. */
void AppendRowDifference(const PropertyRow &row, const std::string &property, const Value &before,
                         const Value &after, bool inParts,
                         std::vector<simulator::PropertyChange> &changes);

/* Returns whether Simulator::DenyProperty() denies the property. */
bool IsDenied(const Service &service, const Object &object, std::string_view path);

} // namespace simulator
