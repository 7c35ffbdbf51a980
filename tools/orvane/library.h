/*
 * library.h -- liborvane on the default GMainContext, started for as long as this lives
 *
 * Meanwhile SIGINT, SIGTERM and SIGHUP are noted, and what waits in the context throws Interrupted, so that a command
 * can log out. A second signal ends the program at once. SIGTSTP stops it.
 */
#pragma once

#include <utility>

#include <orvane/orvaneGlib.h>

#include "tools/orvane/failure.h"
#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"
#include "tools/process/processSignals.h"

namespace orvaneCli {

class Library {
public:
    Library() {
        if (!orvane_glib_init(nullptr))
            throw Failure(Text(MSGID("noStart") "the library does not start"));
        process::StartSignals(
            {.onEnd = [](int number) { signal = number; }, .onRedraw = Terminal::RedrawBar});
    }
    ~Library() {
        process::EndSignals();
        orvane_glib_shutdown();
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    /* The signal that came since the last call, or 0. */
    static int TakeSignal() { return std::exchange(signal, 0); }

private:
    static inline constinit int signal = 0;
};

} // namespace orvaneCli
