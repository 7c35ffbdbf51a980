// bench/epollLoop.cpp
#include "bench/epollLoop.h"

#include <algorithm>
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
    gint64 due;
    gint64 interval; /* 0: runs once */
    OrvanePollFunction function;
    gpointer clientData;
};

struct Loop {
    int events = epoll_create1(EPOLL_CLOEXEC);
    std::vector<Descriptor> descriptors; /* by number */
    std::vector<Timer> timers;           /* not in order: there are few */
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

void RunTimers() {
    std::vector<Timer> &timers = TheLoop().timers;
    const gint64 now = g_get_monotonic_time();
    for (;;) {
        const auto next = std::ranges::min_element(timers, {}, &Timer::due);
        if (next == timers.end() || next->due > now)
            return;
        const Timer timer = *next;
        if (timer.interval > 0) {
            next->due += timer.interval;
        } else {
            *next = timers.back();
            timers.pop_back();
        }
        timer.function(timer.clientData);
    }
}

int WaitMs() {
    const std::vector<Timer> &timers = TheLoop().timers;
    const auto next = std::ranges::min_element(timers, {}, &Timer::due);
    if (next == timers.end())
        return -1;
    return int(std::clamp<gint64>((next->due - g_get_monotonic_time() + 999) / 1000, 0, 1000));
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
        loop.timers.push_back({g_get_monotonic_time() + info, flags & POLL_FLAG_PERIODIC ? info : 0,
                               function, clientData});
        return 0;
    }
    if (loop.descriptors.size() <= size_t(info))
        loop.descriptors.resize(size_t(info) + 1);
    DeviceOf(&loop.descriptors[size_t(info)], flags) = {function, clientData};
    Watch(int(info));
    return 0;
}

gint epollLoop::CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                               gint eventType, PollClassSet) {
    Loop &loop = TheLoop();
    if (eventType == POLL_REALTIME) {
        const auto found = std::ranges::find_if(loop.timers, [&](const Timer &timer) {
            return timer.function == function && timer.clientData == clientData;
        });
        if (found == loop.timers.end())
            return 1;
        *found = loop.timers.back();
        loop.timers.pop_back();
        return 0;
    }
    for (size_t number = 0; number < loop.descriptors.size(); number++) {
        Device &device = DeviceOf(&loop.descriptors[number], flags);
        if (device.function != function || device.clientData != clientData)
            continue;
        device = {};
        Watch(int(number));
        return 0;
    }
    return 1;
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
