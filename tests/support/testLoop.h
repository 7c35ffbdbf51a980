/*
 * testLoop.h -- the event loop of the tests: one callback at a time, and a clock that moves by hand
 *
 * Give testLoop::Callback and testLoop::CallbackRemove to orvane_init() or BasicHttp_Init(). The
 * clock is the machine's plus what Advance() added, so libcurl's own short timers run by themselves
 * while a time-out of minutes passes at once when a test says so.
 *
 * A step is one callback of the library: due timers come first, by due time, then ready descriptors
 * in order of registration. What has run, or was registered since, waits until the others have had
 * their turn. A callback may register and remove whatever it likes, itself too; removing what is
 * not there answers non-zero and does nothing else. One removal undoes one registration.
 *
 * Sockets of a server that runs inside the test are watched too (Watch), but are not counted as
 * steps of the library.
 *
 * Ownership: Reset() forgets all registrations; call it between tests. Watches and the idle
 *            function belong to the servers, which take them away themselves.
 * Threads:   one.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <orvane/loop.h>

namespace testLoop {

struct Registration {
    gint flags;
    OrvanePollFunction function;
    gpointer clientData;
    gint eventType;
    gint64 info;
};

gint Callback(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
              gint64 info, gpointer lock, PollClassSet classSet);
gint CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                    PollClassSet classSet);

/* Forgets all callbacks and the hook, accepts again, sets the clock and the counter back. */
void Reset();

/* Runs callbacks until the condition holds. False if that took longer than the limit (real time, long
 * enough for a machine that is busy with other things), or if nothing is left that could happen. */
bool RunUntil(const std::function<bool()> &condition, int limitMs = 120000);

/* Runs whatever is due now or becomes due within a few milliseconds, until nothing more is. */
void Settle();

/* Runs at most one callback of the library; false if none became due within the limit (real time).
 */
bool Step(int limitMs = 200);

void Advance(gint64 microseconds);

/* Callbacks of the library run since Reset(). */
uint64_t NumSteps();

/* Called before each callback of the library, with its number from 0. It may remove that callback,
 * which then does not run but has been counted. */
void SetBeforeStep(std::function<void(uint64_t)> function);

/* What is registered now, in order of registration. */
std::vector<Registration> Registrations();

/* From now on Callback() answers non-zero, as a loop that can take no more. */
void SetRefusing(bool refusing);

/* Watches a descriptor for the test's own server; events are poll(2)'s. */
void Watch(int descriptor, short events, std::function<void(short)> function);
void Unwatch(int descriptor);

/* Calls a function whenever the loop looks for work, for servers that keep their own time. It
 * returns the milliseconds after which it wants to be called again at the latest, -1 for none. */
void SetIdle(std::function<int()> function);

} // namespace testLoop
