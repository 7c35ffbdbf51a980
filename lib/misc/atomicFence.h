/*
 * atomicFence.h -- the read-modify-write operations of the foundation, right on early 64-bit processors too
 *
 * On some early 64-bit AMD processors, reads that follow a locked operation may pass it. There,
 * each such operation is followed by a load fence; elsewhere the price is a branch not taken.
 *
 *   if (Atomic_CompareExchange(&storage, &found, made)) ...
 *
 * Ownership: none is touched.
 * Threads:   any. AtomicInitFence() runs once the first thread asks for its identity; until then
 *            there is one thread, or one that has not met a lock yet, and no fence is needed.
 */
#pragma once

#include <atomic>
#include <utility>

#include <glib.h>

extern std::atomic<bool> AtomicUseFence; /* this processor needs the fence */

/* Looks at the processor, once, and sets AtomicUseFence. */
void AtomicInitFence();

/* Whether a processor needs the fence: what cpuid says in leaf 0 (ebx, edx, ecx: its maker in
 * twelve letters) and leaf 1 (eax: family and model). */
bool AtomicNeedsFence(const char maker[12], guint32 family);

inline void AtomicFence() {
    if (AtomicUseFence.load(std::memory_order_relaxed)) [[unlikely]]
        __builtin_ia32_lfence();
}

/* Adds; the value before. */
template <class T> T Atomic_FetchAdd(std::atomic<T> *where, std::type_identity_t<T> value,
                                     std::memory_order order = std::memory_order_seq_cst) {
    const T before = where->fetch_add(value, order);
    AtomicFence();
    return before;
}

/* Stores; the value before. */
template <class T> T Atomic_Exchange(std::atomic<T> *where, std::type_identity_t<T> value,
                                     std::memory_order order = std::memory_order_seq_cst) {
    const T before = where->exchange(value, order);
    AtomicFence();
    return before;
}

/* Stores if *expected is there; otherwise *expected becomes what is. Also for a std::atomic_ref. */
template <class Where, class T, class U>
bool Atomic_CompareExchange(Where *where, T *expected, U desired) {
    const bool isDone = where->compare_exchange_strong(*expected, desired);
    AtomicFence();
    return isDone;
}
