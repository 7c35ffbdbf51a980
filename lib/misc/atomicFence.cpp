#include "lib/misc/atomicFence.h"

#include <cpuid.h>
#include <cstring>

constinit std::atomic<bool> AtomicUseFence = false;

namespace {

constinit std::atomic<bool> isIdentified = false;

} // namespace

void AtomicInitFence() {
    if (isIdentified.load(std::memory_order_acquire))
        return;
    unsigned highest = 0;
    unsigned maker[3] = {};
    unsigned family = 0;
    unsigned unused = 0;
    if (__get_cpuid(0, &highest, &maker[0], &maker[2], &maker[1]) != 0 &&
        __get_cpuid(1, &family, &unused, &unused, &unused) != 0) {
        char letters[sizeof maker];
        memcpy(letters, maker, sizeof letters);
        AtomicUseFence.store(AtomicNeedsFence(letters, family), std::memory_order_relaxed);
    }
    isIdentified.store(true, std::memory_order_release);
}

bool AtomicNeedsFence(const char maker[12], guint32 family) {
    const guint32 baseFamily = family >> 8 & 0xf;
    const guint32 extendedFamily = family >> 20 & 0xff;
    const guint32 model = (family >> 16 & 0xf) << 4 | (family >> 4 & 0xf);
    return memcmp(maker, "AuthenticAMD", 12) == 0 && baseFamily == 15 && extendedFamily == 0 &&
           model < 64;
}
