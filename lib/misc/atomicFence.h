/*
 * atomicFence.h -- atomic read-modify-write operations that are also correct on early 64-bit AMD processors
 *
 * On some of these processors a read may be executed before a locked operation that precedes it. There a load
 * fence follows each such operation. On other processors the cost is a branch that is not taken.
 *
 *   if (Atomic_CompareExchange(&storage, &found, made)) ...
 *
 * Threads:   any. AtomicInitFence() runs when the first thread gets its identity. Before that no lock has
 *            been shared between threads, so no fence is required.
 */
#pragma once

#include <atomic>
#include <utility>

#include <glib.h>

extern std::atomic<bool> AtomicUseFence; /* this processor requires the fence */

/* Identifies the processor, once, and sets AtomicUseFence. */
void AtomicInitFence();

/* Returns whether a processor requires the fence, given the twelve letters of its maker (leaf 0 of cpuid:
 * ebx, edx, ecx) and its family and model (leaf 1: eax). */
bool AtomicNeedsFence(const char maker[12], guint32 family);

inline void AtomicFence() {
    if (AtomicUseFence.load(std::memory_order_relaxed)) [[unlikely]]
        __builtin_ia32_lfence();
}

/* Adds. Returns the value before. */
template <class T> T Atomic_FetchAdd(std::atomic<T> *where, std::type_identity_t<T> value,
                                     std::memory_order order = std::memory_order_seq_cst) {
    const T before = where->fetch_add(value, order);
    AtomicFence();
    return before;
}

/* Stores. Returns the value before. */
template <class T> T Atomic_Exchange(std::atomic<T> *where, std::type_identity_t<T> value,
                                     std::memory_order order = std::memory_order_seq_cst) {
    const T before = where->exchange(value, order);
    AtomicFence();
    return before;
}

/* Stores if the value is *expected; otherwise sets *expected to the value. Returns whether it stored. Also
 * for a std::atomic_ref. */
template <class Where, class T, class U>
bool Atomic_CompareExchange(Where *where, T *expected, U desired) {
    const bool isDone = where->compare_exchange_strong(*expected, desired);
    AtomicFence();
    return isDone;
}
