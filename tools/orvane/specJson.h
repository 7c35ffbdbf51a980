/*
 * specJson.h -- a data object of which some properties are given, as JSON
 *
 *   name=web-1  cpuAllocation.limit=500      ->     {"name": "web-1", "cpuAllocation": {"limit": 500}}
 *
 * "_type" names a class below the declared one: deviceChange._type=...
 *
 * Errors: BadUsage: a property that the class does not have, a value of a wrong type.
 */
#pragma once

#include <string>
#include <vector>

#include "tools/orvane/typedValue.h"

namespace orvaneCli {

/* Takes the first piece of a path from it: "a" of "a.b". */
std::string TakePiece(std::string &path);

std::string SpecJson(GType type, const std::vector<std::string> &words, const ValueReader &reader);

} // namespace orvaneCli
