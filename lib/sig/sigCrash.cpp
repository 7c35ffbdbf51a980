#include <cstring>

#include <ucontext.h>
#include <unistd.h>

#include "lib/misc/id.h"
#include "lib/misc/log.h"
#include "lib/misc/logOutput.h"
#include "lib/misc/panic.h"
#include "lib/misc/panicControl.h"
#include "lib/misc/readableMemory.h"
#include "lib/misc/threadId.h"
#include "lib/misc/utilBacktrace.h"
#include "lib/sig/sigInt.h"

namespace {

constexpr guint32 kForcedSignals = 0x108006; /* HUP, INT, TERM, TSTP: requests, not crashes */

using Word = unsigned long;

constinit ucontext_t savedContext = {}; /* for readers of the core dump */

void DropRootRights() {
    if (geteuid() == 0 && getuid() != 0)
        Id_EndSuperUser(getuid());
}

#if defined(__x86_64__)
void LogRegisters(const ucontext_t &context) {
    const auto reg = [&](int number) {
        return static_cast<Word>(context.uc_mcontext.gregs[number]);
    };
    Log("SIGNAL: rip 0x%lx rsp 0x%lx rbp 0x%lx\n", reg(REG_RIP), reg(REG_RSP), reg(REG_RBP));
    Log("SIGNAL: rax 0x%lx rbx 0x%lx rcx 0x%lx rdx 0x%lx rsi 0x%lx rdi 0x%lx\n", reg(REG_RAX),
        reg(REG_RBX), reg(REG_RCX), reg(REG_RDX), reg(REG_RSI), reg(REG_RDI));
    Log("        r8 0x%lx r9 0x%lx r10 0x%lx r11 0x%lx r12 0x%lx r13 0x%lx r14 0x%lx r15 0x%lx\n",
        reg(REG_R8), reg(REG_R9), reg(REG_R10), reg(REG_R11), reg(REG_R12), reg(REG_R13),
        reg(REG_R14), reg(REG_R15));
}
#else
/* The pointers only: the names of the other lines are those of another processor. */
void LogRegisters(const ucontext_t &context) {
    guintptr ip = 0, sp = 0, bp = 0;
    Sig_GetRegs(&context, &ip, &sp, &bp);
    Log("SIGNAL: rip 0x%lx rsp 0x%lx rbp 0x%lx\n", Word{ip}, Word{sp}, Word{bp});
}
#endif

/* Logs 128 bytes from the stack pointer on, as far as they exist. */
void LogStack(guintptr sp) {
    constexpr int kNumLines = 8;
    for (int i = 0; i < kNumLines; i++) {
        Word words[2];
        auto *address = reinterpret_cast<void *>(sp + i * sizeof words);
        if (!ReadableMemory_Copy(words, address, sizeof words))
            return;
        Log("SIGNAL: stack %p : 0x%016lx 0x%016lx\n", address, words[0], words[1]);
    }
}

void LogCrash(gint signal, const siginfo_t *info, const ucontext_t &context, Word thread) {
    guintptr ip = 0, sp = 0, bp = 0;
    Sig_GetRegs(&context, &ip, &sp, &bp);
    if (signal == SIGBUS || signal == SIGSEGV || signal == SIGABRT || signal == SIGILL)
        Warning("Caught signal %d -- tid %lu (addr %p)\n", signal, thread, info->si_addr);
    else
        Warning("Caught signal %d -- tid %lu\n", signal, thread);
    LogRegisters(context);
    LogStack(sp);
    Util_Backtrace(0);
}

/* Ends the process if this thread or another one is here already. */
void CountEntry(gint signal) {
    const gint entry = ++gSig.numCrashes;
    if (entry == 2)
        Panic("Loop on signal %d.\n", signal);
    if (entry > 2)
        Util_ExitProcessAbruptly(EXIT_FAILURE);
}

} // namespace

void Sig_GetRegs(gconstpointer context, guintptr *ip, guintptr *sp, guintptr *bp) {
    const mcontext_t &machine = static_cast<const ucontext_t *>(context)->uc_mcontext;
#if defined(__x86_64__)
    *ip = static_cast<guintptr>(machine.gregs[REG_RIP]);
    *sp = static_cast<guintptr>(machine.gregs[REG_RSP]);
    *bp = static_cast<guintptr>(machine.gregs[REG_RBP]);
#elif defined(__aarch64__)
    *ip = machine.pc;
    *sp = machine.sp;
    *bp = machine.regs[29];
#else
    (void)machine;
    *ip = *sp = *bp = 0;
#endif
}

void SigHandleDefault(gint signal, const siginfo_t *info, gpointer context) {
    DropRootRights();
    CountEntry(signal);
    memcpy(&savedContext, context, sizeof savedContext);

    const auto thread = static_cast<Word>(Util_GetCurrentThreadId());
    if (SigIsInMask(signal, kForcedSignals)) {
        guintptr ip = 0, sp = 0, bp = 0;
        Sig_GetRegs(context, &ip, &sp, &bp);
        Warning("Caught signal %d -- tid %lu (eip 0x%08lx)\n", signal, thread, Word{ip});
        Sig_ForceSig(signal);
        return;
    }
    Log_DisableThrottling();
    LogCrash(signal, info, *static_cast<const ucontext_t *>(context), thread);
    Sig_Unblock(SIGVTALRM, nullptr);
    Sig_Unblock(SIGPROF, nullptr);
    Panic("Unexpected signal: %d.\n", signal);
}
