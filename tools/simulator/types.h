/*
 * types.h -- the classes of managed objects that the simulator knows, with bases and properties
 */
#pragma once

#include <string_view>

namespace simulator {

bool IsType(std::string_view name);
/* Returns whether a class is the other one or derives from it. */
bool IsA(std::string_view type, std::string_view base);
/* Returns whether a class has the property, or inherits it. */
bool HasProperty(std::string_view type, std::string_view property);

} // namespace simulator
