/*
 * processLimits.h -- what the process has open, and limits of it
 *
 *   const ProcessLimit none(RLIMIT_NOFILE, 0);     until the end of the block
 */
#pragma once

#include <algorithm>
#include <filesystem>

#include <sys/resource.h>

inline long CountDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

struct ProcessLimit {
    ProcessLimit(__rlimit_resource limited, rlim_t most) : resource(limited) {
        getrlimit(resource, &before);
        const rlimit lower = {std::min(most, before.rlim_max), before.rlim_max};
        setrlimit(resource, &lower);
    }
    ~ProcessLimit() { setrlimit(resource, &before); }
    ProcessLimit(const ProcessLimit &) = delete;
    ProcessLimit &operator=(const ProcessLimit &) = delete;

private:
    const __rlimit_resource resource;
    rlimit before = {};
};
