#include <cerrno>

#include "lib/lock/vthreadBase.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/sig/sigInt.h"

namespace {

constinit thread_local SigCrashCatcher *armedCatcher = nullptr; /* the innermost */

bool IsCrash(gint signal) {
    return signal == SIGBUS || signal == SIGSEGV || signal == SIGABRT || signal == SIGILL;
}

/* Runs the handler that the process had before. Returns false if it had none. */
bool RunOldHandler(const SigRecord &record, gint signal, siginfo_t *info, gpointer context) {
    const struct sigaction &old = record.oldHandler;
    if (record.isOldHandlerSigInfo) {
        old.sa_sigaction(signal, info, context);
        return true;
    }
    if (old.sa_handler == SIG_IGN)
        return true;
    if (old.sa_handler == SIG_DFL)
        return false;
    old.sa_handler(signal);
    return true;
}

void Deliver(SigRecord *record, siginfo_t *info, gpointer context) {
    const gint signal = info->si_signo;
    const gint mode = record->mode;
    const bool isChained = (mode & SIG_CHAIN) != 0;
    switch (mode & SIG_MODE_MASK) {
    case SIG_MODE_DEFAULT:
        if (!isChained || !RunOldHandler(*record, signal, info, context))
            SigHandleDefault(signal, info, context);
        return;
    case SIG_MODE_QUEUE:
        if (gSig.numNoMainLoop <= 0)
            SigQueue(info);
        else if (!SigRunSerial(record, info, context))
            Warning("Serial signal %d delayed.\n", signal);
        return;
    case SIG_MODE_IMMEDIATE:
        if (isChained)
            RunOldHandler(*record, signal, info, context);
        SigRunCallback(record, info, context);
        return;
    case SIG_MODE_IGNORE:
        return;
    default:
        NOT_REACHED();
    }
}

} // namespace

void Sig_SetCustomCrashCatcher(SigCrashFunc function) {
    gSig.customCrashCatcher = function;
}

void Sig_ArmCrashCatcher(SigCrashCatcher *catcher) {
    catcher->outer = armedCatcher;
    catcher->numSignals = VThreadBase_GetSignalDepth();
    VERIFY(VThreadBase_SigMask(SIG_BLOCK, nullptr, &catcher->mask) == 0);
    armedCatcher = catcher;
}

void Sig_DisarmCrashCatcher(const SigCrashCatcher *catcher) {
    VERIFY(armedCatcher == catcher);
    armedCatcher = catcher->outer;
}

void SigCatchCrash(gint signal, siginfo_t *info, gpointer context) {
    if (SigCrashCatcher *catcher = armedCatcher) {
        armedCatcher = catcher->outer;
        Sig_Restore(&catcher->mask);
        VThreadBase_RestoreSignalDepth(catcher->numSignals);
        longjmp(catcher->frame, signal);
    }
    if (const SigCrashFunc function = gSig.customCrashCatcher)
        function(signal, info, context);
}

bool SigRunSerial(SigRecord *record, siginfo_t *info, gpointer context) {
    if (record->serial && record->blocked.exchange(true))
        return false;
    SigRunCallback(record, info, context);
    return true;
}

void SigRunCallback(SigRecord *record, siginfo_t *info, gpointer context) {
    if (const SigCallbackFunc callback = record->callback)
        callback(info->si_signo, info, context, record->clientData);
}

void SigCatcherPosix(gint signal, siginfo_t *info, gpointer context) {
    const int savedErrno = errno;
    const guint32 thread = VThreadBase_CurID();
    VThreadBase_SetIsInSignal(thread, TRUE);
    if (IsCrash(signal))
        SigCatchCrash(signal, info, context);
    Deliver(&gSig.records[signal], info, context);
    VThreadBase_SetIsInSignal(thread, FALSE);
    errno = savedErrno;
}
