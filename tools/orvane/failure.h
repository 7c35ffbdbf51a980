/*
 * failure.h -- what ends a command: a line for people, or a few
 */
#pragma once

#include <stdexcept>

namespace orvaneCli {

struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace orvaneCli
