/*
 * sigInt.h -- the state of signals, shared by its sources
 *
 *   sig.cpp         set-up, modes, the queue
 *   sigCatcher.cpp  the handler
 *   sigCrash.cpp    the report of a crash
 *
 * Threads: a handler may read a record at any time, so its fields are atomic.
 */
#pragma once

#include <atomic>

#include "lib/sig/sig.h"

constexpr gint kSigMax = 64;

constexpr bool SigIsInMask(gint signal, guint32 mask) {
    return signal < 32 && (mask >> signal & 1) != 0;
}

struct SigRecord {
    std::atomic<gint> mode = SIG_MODE_NONE; /* with SIG_CHAIN; written last */
    std::atomic<bool> blocked = false;      /* a serial callback is running */
    std::atomic<bool> serial = false;       /* callbacks run one at a time */
    std::atomic<SigCallbackFunc> callback = nullptr;
    std::atomic<gpointer> clientData = nullptr;
    bool isInstalled = false; /* oldHandler is to be restored */
    bool isOldHandlerSigInfo = false;
    struct sigaction oldHandler = {};
};

struct SigState {
    SigRecord records[kSigMax + 1]; /* by number; the first is not used */
    bool initialized = false;
    gint readFd = -1;
    gint writeFd = -1;
    std::atomic<gint> numNoMainLoop = 0;
    std::atomic<SigCrashFunc> customCrashCatcher = nullptr;
    std::atomic<gint> numCrashes = 0; /* entries into mode 1 */
};

extern SigState gSig;

/* The handler of all signals. */
void SigCatcherPosix(gint signal, siginfo_t *info, gpointer context);

/* Writes a signal to the pipe. */
void SigQueue(const siginfo_t *info);

/* Runs the callback of a serial signal unless it is running. Returns false if it is. */
bool SigRunSerial(SigRecord *record, siginfo_t *info, gpointer context);

void SigRunCallback(SigRecord *record, siginfo_t *info, gpointer context);

/* What a signal of mode 1 does. Returns only after a signal that did not end the process. */
void SigHandleDefault(gint signal, const siginfo_t *info, gpointer context);

/* Goes to the frame that the thread has armed, if any; else calls the custom crash catcher. */
void SigCatchCrash(gint signal, siginfo_t *info, gpointer context);
