/*
 * callArguments.h -- the arguments of a call, made of words NAME=VALUE:  name=before memory=false
 *
 * Ownership: the values are released with this; texts among them, which may be secrets, are wiped.
 * Errors:    BadUsage: an argument that the method does not have, or that is missing; a value of a wrong type.
 */
#pragma once

#include <string>
#include <vector>

#include <orvane/method.h>

#include "tools/orvane/typedValue.h"

namespace orvaneCli {

class CallArguments {
public:
    CallArguments(const OrvaneMethodInfo &method, const std::vector<std::string> &words,
                  const ValueReader &reader);
    ~CallArguments();
    CallArguments(const CallArguments &) = delete;
    CallArguments &operator=(const CallArguments &) = delete;

    const GValue *Values() const { return values.data(); }
    guint Count() const { return guint(values.size()); }

private:
    std::vector<GValue> values; /* in the order of the method's arguments; zeroed: left out */
};

} // namespace orvaneCli
