#include "lib/misc/sigMask.h"

#include <cerrno>

#include <sys/syscall.h>
#include <unistd.h>

#include "lib/misc/err.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/threadId.h"

namespace {

void ChangeMask(int how, const sigset_t *set, sigset_t *before) {
    const int error = pthread_sigmask(how, set, before);
    if (error == 0)
        return;
    Warning("SIG pthread_sigmask failed: %s\n", Err_Errno2String(error));
    NOT_IMPLEMENTED();
}

void ChangeMaskOfOne(int how, gint signal, sigset_t *before) {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, signal); // a number that does not exist leaves the set empty
    ChangeMask(how, &set, before);
}

} // namespace

void Sig_Block(gint signal, sigset_t *before) {
    ChangeMaskOfOne(SIG_BLOCK, signal, before);
}

void Sig_Unblock(gint signal, sigset_t *before) {
    ChangeMaskOfOne(SIG_UNBLOCK, signal, before);
}

void Sig_BlockAll(sigset_t *before) {
    sigset_t all;
    sigfillset(&all);
    ChangeMask(SIG_BLOCK, &all, before);
}

void Sig_Restore(const sigset_t *before) {
    ChangeMask(SIG_SETMASK, before, nullptr);
}

void SigSetHandler(gint signal, const struct sigaction *handler, struct sigaction *before) {
    if (sigaction(signal, handler, before) == 0)
        return;
    Warning("SIG sigaction failed on signal %d: %s\n", signal, Err_ErrString());
    NOT_IMPLEMENTED();
}

void Sig_ForceSig(gint signal) {
    struct sigaction usual = {};
    usual.sa_handler = SIG_DFL;
    struct sigaction handler;
    SigSetHandler(signal, &usual, &handler);

    // The plain system calls: the child of a bare fork comes here too, where the C library may have a stale number.
    sigset_t before;
    syscall(SYS_tgkill, syscall(SYS_getpid), syscall(SYS_gettid), signal);
    Sig_Unblock(signal, &before);

    Sig_Restore(&before);
    SigSetHandler(signal, &handler, nullptr);
}

void Sig_RaiseSig(gint signal) {
    kill(Util_GetCurrentThreadId(), signal);
}
