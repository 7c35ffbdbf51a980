/*
 * panic.h -- the end of a process whose state is broken, and the checks that lead there
 *
 *   VERIFY(table != NULL);      ->  stderr: "VERIFY lib/misc/hashTable.cpp:120\n", then SIGABRT
 *
 * The checks stay in release builds. They are for what a correct program cannot do; what the world
 * can do is answered with a result code.
 *
 * Ownership: nothing is allocated.
 * Errors:    none of these returns after a failure.
 * Threads:   any, also while locks are held. If several threads fail at once, one speaks; the
 * others stand still until the process has ended.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * Panic:
 * @format: printf() format of the text; no module word, with a newline at the end
 *
 * Writes the text, at most 1024 bytes of it, to stderr and ends the process by SIGABRT.
 */
void Panic(const char *format, ...) G_GNUC_PRINTF(1, 2) G_GNUC_NORETURN;

/* Ends the process unless the condition holds. */
#define VERIFY(condition)                                                                          \
    do {                                                                                           \
        if (G_UNLIKELY(!(condition)))                                                              \
            Panic("VERIFY %s:%d\n", __FILE__, __LINE__);                                           \
    } while (0)

/* The same, with the number under which the trouble is known. */
#define VERIFY_BUG(bugNr, condition)                                                               \
    do {                                                                                           \
        if (G_UNLIKELY(!(condition)))                                                              \
            Panic("VERIFY %s:%d bugNr=%d\n", __FILE__, __LINE__, bugNr);                           \
    } while (0)

/* A place that no path leads to. */
#define NOT_REACHED() Panic("NOT_REACHED %s:%d\n", __FILE__, __LINE__)

/* A case that is not served, or a failure that is not meant to happen and has no recovery. */
#define NOT_IMPLEMENTED() Panic("NOT_IMPLEMENTED %s:%d\n", __FILE__, __LINE__)

#define PANIC() Panic("PANIC %s:%d\n", __FILE__, __LINE__)

G_END_DECLS
