/*
 * utilBacktrace.h -- the stack of the calling thread as lines of the log
 *
 *   Backtrace[0] 00007ffd1c2b5a40 rip=000055f0c4b1e2d3 rbx=... rbp=... r12=... r13=... r14=... r15=...
 *   SymBacktrace[0] 00007ffd1c2b5a40 rip=000055f0c4b1e2d3 in function main in object /usr/bin/x loaded at 000055f0c4b00000
 *
 * First come all frames with their registers, then all with their symbols, as far as the dynamic linker has
 * them. The number after the brackets is the address of the frame. At most 500 frames are printed.
 *
 * Errors:  a damaged stack gives fewer frames.
 * Threads: any. In a signal handler the frames below it are included.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Receives a line as format and arguments. */
typedef void (*Util_OutputFunc)(gpointer data, const char *format, ...) G_GNUC_PRINTF(2, 3);

/* Logs the stack from the caller on, after the line "Backtrace:" or, if the number is not 0, "Backtrace for
 * bugNr=N". */
void Util_Backtrace(gint bugNumber);
void Util_BacktraceWithFunc(gint bugNumber, Util_OutputFunc printFunc, gpointer data);

/* The same from a frame on, which is given by its address, and without that line. */
void Util_BacktraceFromPointer(gconstpointer framePointer);
void Util_BacktraceFromPointerWithFunc(gconstpointer framePointer, Util_OutputFunc printFunc,
                                       gpointer data);

/**
 * Util_BacktraceToBuffer:
 * @framePointer: frames below it are left out
 * @buffer: (out) (array length=count): the instruction pointers, innermost first, then zeros
 * @count: number of elements
 */
void Util_BacktraceToBuffer(gconstpointer framePointer, guintptr *buffer, gsize count);

G_END_DECLS
