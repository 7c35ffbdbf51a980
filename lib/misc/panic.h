/*
 * panic.h -- ends a process whose state is broken, and the checks that do so
 *
 *   VERIFY(table != NULL);      ->  stderr: "VERIFY lib/misc/hashTable.cpp:120\n", then exit(-1)
 *
 * The checks are active in release builds. They are for faults of the program. Faults of the environment are
 * reported by result codes.
 *
 * Ownership: nothing is allocated.
 * Errors:    none of these returns after a failure.
 * Threads:   any, also while locks are held. A second failure, of this thread or another one, ends the process
 *            at once. See panicControl.h.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * Panic:
 * @format: printf() format of the text, which ends with a newline and names no module
 *
 * Writes the text, at most 1,023 bytes, to stderr, reports as panicControl.h says, and calls exit(-1).
 */
void Panic(const char *format, ...) G_GNUC_PRINTF(1, 2) G_GNUC_NORETURN;

/* Ends the process unless the condition holds. */
#define VERIFY(condition)                                                                          \
    do {                                                                                           \
        if (G_UNLIKELY(!(condition)))                                                              \
            Panic("VERIFY %s:%d\n", __FILE__, __LINE__);                                           \
    } while (0)

/* The same, with the number of the known problem that the check guards against. */
#define VERIFY_BUG(bugNr, condition)                                                               \
    do {                                                                                           \
        if (G_UNLIKELY(!(condition)))                                                              \
            Panic("VERIFY %s:%d bugNr=%d\n", __FILE__, __LINE__, bugNr);                           \
    } while (0)

/* For code that cannot be reached. */
#define NOT_REACHED() Panic("NOT_REACHED %s:%d\n", __FILE__, __LINE__)

/* For a case that is not supported, or a failure that is not expected and cannot be handled. */
#define NOT_IMPLEMENTED() Panic("NOT_IMPLEMENTED %s:%d\n", __FILE__, __LINE__)

#define PANIC() Panic("PANIC %s:%d\n", __FILE__, __LINE__)

G_END_DECLS
