/*
 * objectReader.h -- properties of any objects of the service, as it sent them, and why some are missing
 *
 * One call for all objects. A property that an object does not have, or that is not set, is absent.
 *
 * Errors: Failure.
 */
#pragma once

#include <map>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "tools/orvane/propertyPath.h"
#include "tools/orvane/service.h"

namespace orvaneCli {

struct ReadProperty {
    std::string name; /* the path that was asked for, or the property's name */
    nlohmann::ordered_json value;
};

struct MissingProperty {
    std::string name;
    std::string why;
    std::string fault; /* its class */
};

struct ReadObjectResult {
    std::vector<ReadProperty> properties; /* in the order of the paths, or of the service */
    std::vector<MissingProperty> missing;
};

/* What is to be read of one object; no paths are all properties. */
struct ObjectToRead {
    ProxyPtr object;
    std::vector<PropertyPath> paths;
};

/* Returns a result for each object, in the same order. */
std::vector<ReadObjectResult> ReadObjects(const Service &service,
                                          const std::vector<ObjectToRead> &objects);

/* A value of JSON for people: a managed object as "HostSystem:host-9", lists with ", ". */
std::string TextOfJson(const nlohmann::ordered_json &value);

} // namespace orvaneCli
