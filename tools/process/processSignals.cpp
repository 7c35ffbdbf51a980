#include "tools/process/processSignals.h"

#include <array>
#include <bitset>
#include <csignal>
#include <utility>

#include <glib-unix.h>

#include "lib/misc/log.h"
#include "lib/misc/poll.h"
#include "lib/sig/sig.h"
#include "ozy/lib/orvaneGlib/glibLoop.h"

namespace process {

namespace {

constexpr int kMaxSignal = 31;
constexpr auto kEnding = std::to_array({SIGINT, SIGTERM, SIGHUP});
/* what Sig_Init() would end the process for */
constexpr auto kMayBeIgnored =
    std::to_array({SIGHUP, SIGINT, SIGQUIT, SIGUSR1, SIGUSR2, SIGALRM, SIGTERM, SIGTSTP, SIGURG,
                   SIGXCPU, SIGXFSZ, SIGVTALRM, SIGIO});

constexpr PollImpl kLoop = {.Callback = GlibLoop_Callback,
                            .CallbackRemove = GlibLoop_CallbackRemove};

using SignalSet = std::bitset<kMaxSignal + 1>;

struct State {
    SignalHooks hooks;
    SignalSet ignored; /* since the start of the process */
    guint resizeSource = 0;
};
constinit State *gState = nullptr; /* between StartSignals() and EndSignals() */

SignalSet FindIgnored() {
    SignalSet ignored;
    for (int signal = 1; signal <= kMaxSignal; signal++) {
        struct sigaction present;
        if (sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN)
            ignored.set(signal);
    }
    return ignored;
}

/* The next signal has its default effect, in the handler, so that it needs no loop. */
void OnEndingSignal(gint signal, siginfo_t *, gpointer, gpointer) {
    Log("PROCESS: signal %d: the program is to end\n", signal);
    for (const int each : kEnding) {
        if (!gState->ignored.test(each))
            Sig_Callback(each, SIG_MODE_DEFAULT, nullptr, nullptr);
    }
    gState->hooks.onEnd(signal);
}

void OnStopSignal(gint signal, siginfo_t *, gpointer, gpointer) {
    Sig_ClearBlocked(signal);
    StopForNow();
    if (gState->hooks.onRedraw)
        gState->hooks.onRedraw();
}

/* In the handler. */
void OnQuitSignal(gint signal, siginfo_t *, gpointer, gpointer) {
    Sig_ForceSig(signal);
}

gboolean OnResize(gpointer) {
    gState->hooks.onRedraw();
    return G_SOURCE_CONTINUE;
}

} // namespace

void StartSignals(SignalHooks hooks) {
    gState = new State{std::move(hooks), FindIgnored(), 0};
    sigset_t before;
    Sig_BlockAll(&before); /* until all are in their modes */
    Poll_InitWithImpl(&kLoop);
    Sig_Init();
    for (const int signal : kEnding) {
        if (!gState->ignored.test(signal))
            Sig_Callback(signal, SIG_MODE_QUEUE, OnEndingSignal, nullptr);
    }
    if (!gState->ignored.test(SIGTSTP))
        Sig_Callback(SIGTSTP, SIG_MODE_QUEUE, OnStopSignal, nullptr);
    if (!gState->ignored.test(SIGQUIT))
        Sig_Callback(SIGQUIT, SIG_MODE_IMMEDIATE, OnQuitSignal, nullptr);
    for (const int signal : kMayBeIgnored) {
        if (gState->ignored.test(signal))
            Sig_Callback(signal, SIG_MODE_IGNORE, nullptr, nullptr);
    }
    Sig_Restore(&before);
    if (gState->hooks.onRedraw)
        gState->resizeSource = g_unix_signal_add(SIGWINCH, OnResize, nullptr);
}

void EndSignals() {
    if (gState->resizeSource != 0)
        g_source_remove(gState->resizeSource);
    Sig_Exit();
    Poll_Exit();
    delete std::exchange(gState, nullptr);
}

void StopForNow() {
    Sig_ForceSig(SIGTSTP);
}

} // namespace process
