/*
 * library.h -- liborvane on the default GMainContext, started for as long as this lives
 *
 * Meanwhile SIGINT and SIGTERM are noted, and what waits in the context throws Interrupted, so that a command
 * can log out. A second signal ends the program at once.
 */
#pragma once

#include <csignal>
#include <utility>

#include <glib-unix.h>
#include <orvane/orvaneGlib.h>

#include "tools/orvane/failure.h"

namespace orvaneCli {

class Library {
public:
    Library() {
        if (!orvane_glib_init(nullptr))
            throw Failure("the library does not start");
        for (Noted &each : noted)
            each.source = g_unix_signal_add(each.number, OnSignal, &each);
    }
    ~Library() {
        for (const Noted &each : noted) {
            if (each.source != 0)
                g_source_remove(each.source);
        }
        orvane_glib_shutdown();
    }
    Library(const Library &) = delete;
    Library &operator=(const Library &) = delete;

    /* The signal that came since the last call, or 0. */
    static int TakeSignal() { return std::exchange(signal, 0); }

private:
    struct Noted {
        int number;
        guint source = 0;
    };

    /* GLib restores the signal's own action with the removal. */
    static gboolean OnSignal(gpointer data) {
        auto *each = static_cast<Noted *>(data);
        each->source = 0;
        signal = each->number;
        return G_SOURCE_REMOVE;
    }

    static inline constinit int signal = 0;
    Noted noted[2] = {{SIGINT}, {SIGTERM}};
};

} // namespace orvaneCli
