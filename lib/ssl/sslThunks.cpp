// The thunks and the table of their targets.
#include "lib/ssl/sslThunks.h"

#include <algorithm>
#include <array>

#include "lib/misc/panic.h"
#include "lib/ssl/sslThunkTable.h"

namespace {

constexpr char kNames[] =
#define SSL_NAME(name, library) #name "\0"
#include "lib/ssl/sslNames.inc"
#undef SSL_NAME
    ;

constexpr auto kLibraries = std::to_array<SSLThunkLibrary>({
#define SSL_NAME(name, library) SSL_##library,
#include "lib/ssl/sslNames.inc"
#undef SSL_NAME
});

constexpr auto kNameOffsets = [] {
    std::array<guint16, SSL_THUNK_COUNT> offsets{};
    std::size_t at = 0;
    for (guint16 &offset : offsets) {
        offset = static_cast<guint16>(at);
        while (kNames[at++] != '\0')
            continue;
    }
    return offsets;
}();
static_assert(sizeof kNames < 65536);
static_assert(kLibraries.size() == SSL_THUNK_COUNT);

} // namespace

const char *SSLThunkName(std::size_t row) {
    return &kNames[kNameOffsets[row]];
}

SSLThunkLibrary SSLThunkLibraryOf(std::size_t row) {
    return kLibraries[row];
}

/* The end of a thunk without a target; entered by a jump, with the address of the target in the table. */
extern "C" [[gnu::used, gnu::visibility("hidden"), noreturn]] void
SSLThunkUnresolved(void *const *target) {
    Panic("SSL wrapper: invoked uninitialized function %s!\n",
          SSLThunkName(static_cast<std::size_t>(target - sslThunkTargets)));
}

/*
 * This is assembly because no C function can pass on arguments that it does not know. It is one statement, so
 * that the targets stay in the order of the rows. Testing and jumping through memory takes 32 bytes per thunk
 * and one cycle less than through a register. A target never becomes NULL again, so it may be read twice.
 */
__asm__(R"(
.pushsection .bss.sslthunk, "aw", @nobits
.p2align 3
.globl sslThunkTargets
.hidden sslThunkTargets
.type sslThunkTargets, @object
sslThunkTargets:
.popsection

.macro ssl_thunk name
.pushsection .bss.sslthunk, "aw", @nobits
.LsslTarget_\name:
    .zero 8
.popsection
.pushsection .text.sslthunk, "ax", @progbits
.p2align 5
.globl __wrap_\name
.type __wrap_\name, @function
__wrap_\name:
    .cfi_startproc
    endbr64
    cmpq $0, .LsslTarget_\name(%rip)
    je 1f
    jmp *.LsslTarget_\name(%rip)
1:  leaq .LsslTarget_\name(%rip), %rdi
    jmp SSLThunkUnresolved
    .cfi_endproc
.size __wrap_\name, . - __wrap_\name
.popsection
.endm
)"
#define SSL_NAME(name, library) "ssl_thunk " #name "\n"
#include "lib/ssl/sslNames.inc"
#undef SSL_NAME
        R"(
.purgem ssl_thunk
.pushsection .bss.sslthunk, "aw", @nobits
.size sslThunkTargets, . - sslThunkTargets
.popsection
)");
