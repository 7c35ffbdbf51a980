/*
 * propertyPath.h -- a property path of a user, checked against the schema before it is sent
 *
 *   config.hardware.device[*].label    text, as orvane_object_get_path() reads it
 *   config.hardware.device             what is requested from the service: up to the first bracket
 *
 * A property of a subclass of what the schema declares is known as well. Below a property of the any kind, and in
 * another managed object, nothing is checked or requested.
 *
 * Errors: BadUsage, with the nearest names.
 */
#pragma once

#include <string>
#include <vector>

#include <orvane/orvane.h>

namespace orvaneCli {

struct PropertyPath {
    std::string text;
    std::string requested;
    GType type = 0; /* of what it leads to; 0 for a whole list, and where the schema does not say */
};

/* Checks a path from a class. */
PropertyPath CheckPropertyPath(GType type, const std::string &text);

/* A property of a class. */
struct PropertyChoice {
    std::string name;
    bool isList;
};

/* The properties of what the path leads to from a class, those of its subclasses included; none if it leads to nothing.
 * An empty path leads to the class itself. */
std::vector<PropertyChoice> PropertiesAt(GType type, const std::string &path);

/* Whether the first property of the path belongs to the class, its bases included. */
bool HasFirstProperty(GType type, const std::string &text);

/* All classes below one, that one included. */
std::vector<GType> ClassesFrom(GType type);

/* The class of a wire name that is one of the base, such as "VirtualMachine". Throws BadUsage. */
GType FindClass(const std::string &name, GType base);

/* The names of a class's properties. */
std::vector<std::string> PropertyNames(GType type);

} // namespace orvaneCli
