/*
 * processSignals.h -- the signals of a program that runs the GLib loop of the library
 *
 *   orvane_glib_init(NULL);
 *   process::StartSignals({.onEnd = [&](int signal) { end = signal; }});
 *   ... iterate the default context until "end" is set ...
 *   process::EndSignals();
 *   orvane_glib_shutdown();
 *
 *   SIGINT, SIGTERM, SIGHUP   the first of them calls onEnd from the loop; the next one ends the process at once
 *   SIGTSTP                   stops the process, from the loop; onRedraw is called when it goes on
 *   SIGWINCH                  calls onRedraw from the loop; lib/sig leaves this signal alone, so GLib delivers it
 *   SIGQUIT                   ends the process at once, as usual: the user wants that, so it is no crash of the program
 *   any other                 as lib/sig/sig.h has it
 *
 * A signal that the process was started with as ignored stays ignored (nohup).
 *
 * Threads: the one that iterates the default context. Others are created with signals blocked.
 */
#pragma once

#include <functional>

namespace process {

struct SignalHooks {
    std::function<void(int signal)> onEnd;
    std::function<void()>
        onRedraw; /* what the terminal shows may be gone, or of another width; may be empty */
};

/* Takes the signals over. The loop must be open (orvane_glib_init(), GlibLoop_Open()) until EndSignals(). */
void StartSignals(SignalHooks hooks);

/* Restores what the process had before. Signals that wait in the loop are lost. */
void EndSignals();

/* Stops the process as Ctrl-Z does, and returns when it goes on. */
void StopForNow();

} // namespace process
