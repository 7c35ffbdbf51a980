#include "tools/simulator/types.h"

#include <algorithm>

#include "tools/simulator/typeRows.h"

namespace simulator {

namespace {

const TypeRow *FindType(std::string_view name) {
    const auto at = std::ranges::find(kTypes, name, &TypeRow::name);
    return at == kTypes.end() ? nullptr : &*at;
}

bool Lists(std::string_view properties, std::string_view property) {
    for (size_t at = 0; at < properties.size();) {
        const size_t end = properties.find(' ', at);
        if (properties.substr(at, end - at) == property)
            return true;
        at = end + 1;
    }
    return false;
}

} // namespace

bool IsType(std::string_view name) {
    return FindType(name) != nullptr;
}

bool IsA(std::string_view type, std::string_view base) {
    for (const TypeRow *row = FindType(type); row != nullptr; row = FindType(row->base))
        if (row->name == base)
            return true;
    return false;
}

bool HasProperty(std::string_view type, std::string_view property) {
    for (const TypeRow *row = FindType(type); row != nullptr; row = FindType(row->base))
        if (Lists(row->properties, property))
            return true;
    return false;
}

} // namespace simulator
