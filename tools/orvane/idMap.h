/*
 * idMap.h -- tables by the ids of a service's objects
 *
 * A service chooses the ids. The hash has a random key of the process, so that nobody can choose ids that collide.
 *
 * Ownership: a table does not own its ids, which must live as long as they are in it.
 * Threads:   any.
 */
#pragma once

#include <cstddef>
#include <string_view>
#include <unordered_map>

namespace orvaneCli {

struct IdHash {
    size_t operator()(std::string_view id) const;
};

template <class T> using IdMap = std::unordered_map<std::string_view, T, IdHash>;

} // namespace orvaneCli
