/*
 * testLoop.h -- the event loop of the tests: one callback at a time, and a clock that moves by hand
 *
 * Give testLoop::Callback and testLoop::CallbackRemove to orvane_init() or BasicHttp_Init(). The
 * clock is the machine's plus what Advance() added, so libcurl's own short timers run by themselves
 * while a time-out of minutes passes at once when a test says so.
 *
 * A step is one callback of the library: due timers come first, by due time, then ready descriptors
 * in order of registration. A callback that has run, or was registered since, waits until the others have
 * run. A callback may register and remove any, itself too. To remove one that is not registered returns
 * non-zero and changes nothing. One removal undoes one registration.
 *
 * Sockets of a server that runs inside the test are watched too (Watch), but are not counted as
 * steps of the library.
 *
 * Ownership: Reset() removes all registrations; call it between tests. The servers own their watches and the
 *            idle function, and remove them.
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

/* Removes all callbacks and the hook, accepts again, resets the clock and the counter. */
void Reset();

/* Runs callbacks until the condition holds. False if nothing happened for the limit (real time), if ten times
 * the limit of processor time was used, or if nothing is left that could happen. A busy machine thus changes no
 * result. */
bool RunUntil(const std::function<bool()> &condition, int limitMs = 10000);

/* Runs whatever is due now or becomes due within a few milliseconds, until nothing more is. */
void Settle();

/* Runs at most one callback of the library; false if none became due within the limit (real time).
 */
bool Step(int limitMs = 200);

void Advance(gint64 microseconds);

/* Callbacks of the library run since Reset(). */
uint64_t NumSteps();

/* Removals since Reset() of what was not registered, less the registrations that were refused. */
int NumMissed();

/* Called before each callback of the library, with its number from 0. It may remove that callback,
 * which then does not run but has been counted. */
void SetBeforeStep(std::function<void(uint64_t)> function);

/* What is registered now, in order of registration. */
std::vector<Registration> Registrations();

/* From now on Callback() returns non-zero, as a loop does that accepts no more. */
void SetRefusing(bool refusing);

/* Watches a descriptor for the test's own server; events are poll(2)'s. */
void Watch(int descriptor, short events, std::function<void(short)> function);
void Unwatch(int descriptor);

/* Calls a function whenever the loop looks for work, for servers that keep their own time. It
 * returns the milliseconds after which it wants to be called again at the latest, -1 for none. */
void SetIdle(std::function<int()> function);

} // namespace testLoop
