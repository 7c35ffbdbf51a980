#include "lib/sig/sig.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

#include "lib/config/config.h"
#include "lib/lock/vthreadBase.h"
#include "lib/misc/log.h"
#include "lib/misc/logInt.h"
#include "lib/misc/panic.h"
#include "lib/misc/poll.h"
#include "lib/misc/threadId.h"
#include "lib/sig/sigInt.h"

constinit SigState gSig;

namespace {

/* Sets of signals: bit N is signal N. */
constexpr guint32 kDefaultSignals = 0x2791DDDE;
constexpr guint32 kIgnoredSignals = 0x602000; /* PIPE, TTIN, TTOU */

constexpr gint kMainThreadSignals[] = {SIGHUP,  SIGINT,  SIGQUIT, SIGUSR1, SIGUSR2,
                                       SIGALRM, SIGTERM, SIGTSTP, SIGURG,  SIGIO};

static_assert(sizeof(siginfo_t) == 128, "one record of the pipe");

bool IsSynchronous(gint signal) {
    return signal == SIGBUS || signal == SIGSEGV || signal == SIGILL;
}

void InstallHandler(gint signal, const struct sigaction &handler) {
    SigRecord &record = gSig.records[signal];
    SigSetHandler(signal, &handler, &record.oldHandler);
    record.isInstalled = true;
    record.isOldHandlerSigInfo = (record.oldHandler.sa_flags & SA_SIGINFO) != 0;
}

void InstallCatcher(gint signal, gint mode) {
    struct sigaction handler = {};
    handler.sa_sigaction = SigCatcherPosix;
    sigfillset(&handler.sa_mask);
    for (gint synchronous : {SIGBUS, SIGSEGV, SIGILL})
        sigdelset(&handler.sa_mask, synchronous);
    handler.sa_flags = SA_SIGINFO | SA_RESTART | (IsSynchronous(signal) ? SA_NODEFER : 0);
    gSig.records[signal].mode = mode;
    InstallHandler(signal, handler);
}

void InstallHandlers() {
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    for (gint signal = 1; signal <= kSigMax; signal++) {
        if (SigIsInMask(signal, kDefaultSignals))
            InstallCatcher(signal, SIG_MODE_DEFAULT);
        else if (signal == SIGCHLD)
            InstallCatcher(signal, SIG_MODE_IGNORE);
        else if (SigIsInMask(signal, kIgnoredSignals))
            InstallHandler(signal, ignore);
    }
}

void RestoreHandlers() {
    for (gint signal = 1; signal <= kSigMax; signal++) {
        SigRecord &record = gSig.records[signal];
        if (record.isInstalled)
            SigSetHandler(signal, &record.oldHandler, nullptr);
        record.isInstalled = false;
        record.mode = SIG_MODE_NONE;
        record.blocked = false;
        record.serial = false;
        record.callback = nullptr;
        record.clientData = nullptr;
    }
}

void OpenPipe() {
    gint fds[2];
    VERIFY(pipe2(fds, O_CLOEXEC | O_NONBLOCK) == 0);
    gSig.readFd = fds[0];
    gSig.writeFd = fds[1];
    VERIFY(fcntl(gSig.writeFd, F_SETFL, O_NONBLOCK | O_APPEND) == 0);
}

/* Runs the callback of the oldest signal in the pipe. Called by the loop. */
void SigDispatch(gpointer) {
    siginfo_t info;
    ssize_t count = 0;
    do
        count = read(gSig.readFd, &info, sizeof info);
    while (count < 0 && errno == EINTR);
    if (count < 0 && errno == EAGAIN)
        return;
    if (count != sizeof info || info.si_signo < 1 || info.si_signo > kSigMax) {
        Warning("Could not read siginfo: %d\n", count < 0 ? errno : 0);
        NOT_IMPLEMENTED();
    }

    SigRecord &record = gSig.records[info.si_signo];
    if ((record.mode & SIG_MODE_MASK) != SIG_MODE_QUEUE)
        Warning("Dropping unhandled signal %d.\n", info.si_signo);
    else if (!SigRunSerial(&record, &info, nullptr))
        SigQueue(&info);
}

} // namespace

gboolean Sig_Init(void) {
    if (gSig.initialized) {
        Log("Sig_Init already initialized \n");
        return TRUE;
    }
    // a handler could make neither an identity for the thread nor a ring for its lines while malloc() is interrupted
    VThreadBase_CurID();
    LogGetFIFO();
    sigset_t before;
    Sig_BlockAll(&before);
    InstallHandlers();
    OpenPipe();
    gSig.initialized = true;
    Sig_Restore(&before);

    VERIFY(Poll_CB_Device(SigDispatch, nullptr, gSig.readFd, TRUE) == 0);
    if (!Config_GetBool(FALSE, "signal.dontUnmap"))
        SigCoreDumpRegionsInit();
    return TRUE;
}

void Sig_Exit(void) {
    if (!gSig.initialized)
        return;
    Poll_CB_DeviceRemove(SigDispatch, nullptr, TRUE);
    sigset_t before;
    Sig_BlockAll(&before);
    RestoreHandlers();
    close(gSig.readFd);
    close(gSig.writeFd);
    gSig.readFd = gSig.writeFd = -1;
    gSig.initialized = false;
    Sig_Restore(&before);
    SigCoreDumpRegionsExit();
}

void Sig_InitThread(void) {
    VThreadBase_CurID();
    for (gint signal : kMainThreadSignals)
        Sig_Block(signal, nullptr);
}

void Sig_Callback(gint signal, gint mode, SigCallbackFunc callback, gpointer clientData) {
    VERIFY(signal >= 1 && signal <= kSigMax);
    SigRecord &record = gSig.records[signal];
    const gint present = record.mode & SIG_MODE_MASK;
    const gint wanted = mode & SIG_MODE_MASK;
    VERIFY(wanted <= SIG_MODE_IGNORE && wanted != SIG_MODE_NOT_ALLOWED);
    if (wanted == SIG_MODE_DEFAULT)
        VERIFY(present == SIG_MODE_QUEUE || present == SIG_MODE_IMMEDIATE);
    else
        VERIFY(present == SIG_MODE_DEFAULT || present == SIG_MODE_IGNORE);
    VERIFY(callback || (wanted != SIG_MODE_QUEUE && wanted != SIG_MODE_IMMEDIATE));

    /* No callback runs in the present mode or before the new one is stored, except that the signal comes to another
     * thread while one callback replaces another, which the modes do not allow. */
    sigset_t before;
    Sig_BlockAll(&before);
    if (wanted == SIG_MODE_DEFAULT)
        record.mode = mode;
    record.blocked = false;
    record.serial = wanted == SIG_MODE_QUEUE;
    record.callback = callback;
    record.clientData = clientData;
    record.mode = mode;
    Sig_Restore(&before);
}

void Sig_ClearBlocked(gint signal) {
    VERIFY(signal >= 1 && signal <= kSigMax);
    gSig.records[signal].blocked = false;
}

void Sig_NullHandler(gint signal, siginfo_t *, gpointer, gpointer name) {
    const auto thread = static_cast<unsigned long>(Util_GetCurrentThreadId());
    if (name)
        Warning("Ignored signal %d -- tid %lu (%s).\n", signal, thread,
                static_cast<const char *>(name));
    else
        Warning("Ignored signal %d -- tid %lu.\n", signal, thread);
    Sig_ClearBlocked(signal);
}

void Sig_NoMainLoop(gboolean isOff) {
    gSig.numNoMainLoop += isOff ? 1 : -1;
}

void SigQueue(const siginfo_t *info) {
    ssize_t count = 0;
    do
        count = write(gSig.writeFd, info, sizeof *info); // whole or not at all
    while (count < 0 && errno == EINTR);
    if (count == sizeof *info)
        return;
    if (errno == EAGAIN)
        Warning("Too many signals queued, this shouldn't happen\n");
    else
        Warning("Could not queue signal %d (error %d)\n", info->si_signo, errno);
}
