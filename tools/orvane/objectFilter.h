/*
 * objectFilter.h -- the condition of --filter:  runtime.powerState == poweredOn and config.hardware.numCPU > 2
 *
 *   filter    = group *( "or" group )
 *   group     = condition *( "and" condition )
 *   condition = path ( "==" / "!=" / "<" / "<=" / ">" / ">=" / "~" ) value
 *   value     = word / <"> text <">
 *
 * "~" is true if the text contains the value, in any case. Two numbers are compared as numbers, all else as texts. With
 * "[*]" in the path one element that fits is enough. A property that an object does not have fits "!=" only.
 *
 * Errors: BadUsage.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/propertyPath.h"

namespace orvaneCli {

class ObjectFilter {
public:
    /* An empty text fits everything. */
    explicit ObjectFilter(const std::string &text);

    /* The properties that it reads. */
    std::vector<std::string> Paths() const;
    /* Checks that what a path is compared with can be a value of its type. */
    void CheckValues(const PropertyPath &path) const;
    /* Whether an object, whose properties are loaded, fits. */
    bool Fits(GObject *object) const;

private:
    struct Condition {
        std::string path;
        std::string relation;
        std::string value;
    };
    static bool Fits(GObject *object, const Condition &condition);

    std::vector<std::vector<Condition>> groups; /* one of them, with all of its conditions */
};

} // namespace orvaneCli
