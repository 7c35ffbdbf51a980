/*
 * types.h -- the classes of managed objects that the simulator knows, with bases and properties
 */
#pragma once

#include <span>
#include <string_view>

namespace simulator {

struct TypeRow {
    std::string_view name;
    std::string_view base;
    std::string_view properties; /* without those of its base, each followed by a space */
};

std::span<const TypeRow> AllTypes();

bool IsType(std::string_view name);
/* Returns whether a class is the other one or derives from it. */
bool IsA(std::string_view type, std::string_view base);
/* Returns whether a class has the property, or inherits it. */
bool HasProperty(std::string_view type, std::string_view property);

} // namespace simulator
