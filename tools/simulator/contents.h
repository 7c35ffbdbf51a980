/*
 * contents.h -- the texts in which a property collector tells objects, their properties and changes
 */
#pragma once

#include <string>
#include <vector>

#include "tools/simulator/filterSpec.h"
#include "tools/simulator/sessions.h"

namespace simulator {

class Service;

/* Properties of an object that somebody may see, and those that are kept from him. */
struct Properties {
    std::vector<Field> values; /* by path; without those that are not set */
    std::vector<Field> denied; /* path and wrapped fault */
};
Properties PropertiesOf(const Service &service, const Object &object, const PropertyRow &row,
                        const SessionPtr &session);

/* <obj/><propSet/>...: what stands inside an ObjectContent. */
std::string ContentText(const Object &object, const Properties &properties);

/* <objectSet>...</objectSet>: an update of one object. */
std::string EnterText(const Object &object, const Properties &properties);
std::string ModifyText(const Object &object, const std::vector<simulator::PropertyChange> &changes);
std::string LeaveText(const Value &reference);

/* <missingSet>...</missingSet> of objects that do not exist. */
std::string MissingObjectText(const Value &reference);

/* The differences in the row's paths between a property's value then and now. */
void AppendRowDifference(const PropertyRow &row, const std::string &property, const Value &before,
                         const Value &after, bool inParts,
                         std::vector<simulator::PropertyChange> &changes);

/* Whether a switch keeps the property from everybody. */
bool IsDenied(const Service &service, const Object &object, std::string_view path);

} // namespace simulator
