/*
 * taskReader.h -- the tasks that the service remembers
 *
 * Ownership: the caller keeps the proxies.
 * Errors:    Failure.
 */
#pragma once

#include <vector>

#include "tools/orvane/service.h"

namespace orvaneCli {

/* The tasks that the service lists, in its order. Each has its "info", unless it was removed meanwhile. */
std::vector<ProxyPtr> ReadRecentTasks(const Service &service);

} // namespace orvaneCli
