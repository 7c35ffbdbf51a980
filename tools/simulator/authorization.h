/*
 * authorization.h -- roles, and what a user may do by his role
 */
#pragma once

#include <vector>

#include "tools/simulator/value.h"

namespace simulator {

constexpr int kAdminRole = -1;
constexpr int kReadOnlyRole = -2;

/* The properties of a fresh authorization manager. */
std::vector<Field> AuthorizationProperties();

} // namespace simulator
