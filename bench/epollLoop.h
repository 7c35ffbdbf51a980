/*
 * epollLoop.h -- the loop of an application that cares for speed, for benches: sockets in epoll, timers
 * in order; nothing takes longer because there are many of them
 *
 *   orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
 *   while (!isDone)
 *       epollLoop::RunOnce();
 *
 * Threads: one, and one loop a process.
 */
#pragma once

#include <orvane/loop.h>

namespace epollLoop {

gint Callback(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
              gint64 info, gpointer lock, PollClassSet classSet);
gint CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                    PollClassSet classSet);

/* Waits for something to happen and runs what is due. */
void RunOnce();

} // namespace epollLoop
