/*
 * authorization.h -- roles, and the privileges that they grant to users
 */
#pragma once

#include <vector>

#include "tools/simulator/value.h"

namespace simulator {

constexpr int kAdminRole = -1;
constexpr int kReadOnlyRole = -2;

/* Properties of a new authorization manager. */
std::vector<Field> AuthorizationProperties();

} // namespace simulator
