// bench/epollLoop.cpp
#include "bench/epollLoop.h"

#include <algorithm>
#include <map>
#include <vector>

#include <sys/epoll.h>

namespace {

/* The callbacks of a descriptor, for reading and for writing. */
struct Device {
    OrvanePollFunction function = nullptr;
    gpointer clientData = nullptr;
};

struct Descriptor {
    Device read;
    Device write;
    bool isKnown = false; /* to epoll */
};

struct Timer {
    gint64 interval; /* 0: runs once */
    OrvanePollFunction function;
    gpointer clientData;
};

using Timers = std::multimap<gint64, Timer>;              /* by the time when each is due */
using Places = std::multimap<gpointer, Timers::iterator>; /* by client data */

struct Loop {
    int events = epoll_create1(EPOLL_CLOEXEC);
    std::vector<Descriptor> descriptors;  /* by number */
    std::multimap<gpointer, int> numbers; /* descriptors by client data */
    Timers timers;
    Places placesOfTimers;
};

Loop &TheLoop() {
    static Loop loop;
    return loop;
}

Device &DeviceOf(Descriptor *descriptor, gint flags) {
    return flags & POLL_FLAG_WRITE ? descriptor->write : descriptor->read;
}

void Watch(int number) {
    Loop &loop = TheLoop();
    Descriptor &descriptor = loop.descriptors[size_t(number)];
    epoll_event event{};
    event.events = (descriptor.read.function ? unsigned(EPOLLIN) : 0) |
                   (descriptor.write.function ? unsigned(EPOLLOUT) : 0);
    event.data.fd = number;
    const int operation = event.events == 0    ? EPOLL_CTL_DEL
                          : descriptor.isKnown ? EPOLL_CTL_MOD
                                               : EPOLL_CTL_ADD;
    epoll_ctl(loop.events, operation, number, &event);
    descriptor.isKnown = event.events != 0;
}

void AddTimer(gint64 due, const Timer &timer) {
    Loop &loop = TheLoop();
    loop.placesOfTimers.emplace(timer.clientData, loop.timers.emplace(due, timer));
}

/* Takes a timer from the loop. */
void DropTimer(Places::iterator place) {
    Loop &loop = TheLoop();
    loop.timers.erase(place->second);
    loop.placesOfTimers.erase(place);
}

Places::iterator PlaceOf(Timers::iterator timer) {
    auto place = TheLoop().placesOfTimers.lower_bound(timer->second.clientData);
    while (place->second != timer)
        ++place;
    return place;
}

void RunTimers() {
    Timers &timers = TheLoop().timers;
    const gint64 now = g_get_monotonic_time();
    while (!timers.empty() && timers.begin()->first <= now) {
        const auto [due, timer] = *timers.begin();
        DropTimer(PlaceOf(timers.begin()));
        if (timer.interval > 0)
            AddTimer(due + timer.interval, timer);
        timer.function(timer.clientData);
    }
}

int WaitMs() {
    const Timers &timers = TheLoop().timers;
    if (timers.empty())
        return -1;
    const gint64 wait = timers.begin()->first - g_get_monotonic_time();
    return int(std::clamp<gint64>((wait + 999) / 1000, 0, 1000));
}

void RunDevice(int number, bool isWrite) {
    const std::vector<Descriptor> &descriptors = TheLoop().descriptors;
    const Device device =
        isWrite ? descriptors[size_t(number)].write : descriptors[size_t(number)].read;
    if (device.function)
        device.function(device.clientData);
}

} // namespace

gint epollLoop::Callback(gint flags, OrvanePollFunction function, gpointer clientData,
                         gint eventType, gint64 info, gpointer, PollClassSet) {
    Loop &loop = TheLoop();
    if (eventType == POLL_REALTIME) {
        AddTimer(g_get_monotonic_time() + info,
                 {flags & POLL_FLAG_PERIODIC ? info : 0, function, clientData});
        return 0;
    }
    if (loop.descriptors.size() <= size_t(info))
        loop.descriptors.resize(size_t(info) + 1);
    DeviceOf(&loop.descriptors[size_t(info)], flags) = {function, clientData};
    loop.numbers.emplace(clientData, int(info));
    Watch(int(info));
    return 0;
}

gint epollLoop::CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                               gint eventType, PollClassSet) {
    Loop &loop = TheLoop();
    if (eventType == POLL_REALTIME) {
        const auto [first, last] = loop.placesOfTimers.equal_range(clientData);
        const auto found = std::find_if(first, last, [&](const auto &place) {
            return place.second->second.function == function;
        });
        if (found == last)
            return 1;
        DropTimer(found);
        return 0;
    }
    const auto [first, last] = loop.numbers.equal_range(clientData);
    const auto found = std::find_if(first, last, [&](const auto &entry) {
        return DeviceOf(&loop.descriptors[size_t(entry.second)], flags).function == function;
    });
    if (found == last)
        return 1;
    const int number = found->second;
    DeviceOf(&loop.descriptors[size_t(number)], flags) = {};
    loop.numbers.erase(found);
    Watch(number);
    return 0;
}

void epollLoop::RunOnce() {
    epoll_event ready[64];
    const int count = epoll_wait(TheLoop().events, ready, 64, WaitMs());
    for (int i = 0; i < count; i++) {
        const int number = ready[i].data.fd;
        const bool isBroken = ready[i].events & (EPOLLERR | EPOLLHUP);
        if (isBroken || (ready[i].events & EPOLLIN))
            RunDevice(number, false);
        if (isBroken || (ready[i].events & EPOLLOUT))
            RunDevice(number, true);
    }
    RunTimers();
}
