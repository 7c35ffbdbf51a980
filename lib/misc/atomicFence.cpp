#include "lib/misc/atomicFence.h"

#include <cpuid.h>
#include <cstring>

constinit std::atomic<bool> AtomicUseFence = false;

void AtomicInitFence() {
    unsigned highest = 0;
    unsigned maker[3] = {};
    if (__get_cpuid(0, &highest, &maker[0], &maker[2], &maker[1]) == 0)
        return;
    unsigned family = 0;
    unsigned unused = 0;
    if (__get_cpuid(1, &family, &unused, &unused, &unused) == 0)
        return;
    char letters[sizeof maker];
    memcpy(letters, maker, sizeof letters);
    AtomicUseFence.store(AtomicNeedsFence(letters, family), std::memory_order_relaxed);
}

bool AtomicNeedsFence(const char maker[12], guint32 family) {
    const guint32 baseFamily = family >> 8 & 0xf;
    const guint32 extendedFamily = family >> 20 & 0xff;
    const guint32 model = (family >> 16 & 0xf) << 4 | (family >> 4 & 0xf);
    return memcmp(maker, "AuthenticAMD", 12) == 0 && baseFamily == 15 && extendedFamily == 0 &&
           model < 64;
}
