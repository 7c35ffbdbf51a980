/*
 * panicSettings.h -- the settings of panics and core dumps
 *
 *   coreDumpOnPanic = TRUE             write a core file
 *   panic.loopOnPanic = FALSE          wait for a debugger
 *   coreDumpFlags = 0                  stored for hosts
 *   panic.breakOnPanic = 0             2 or more: the host stops in its debugger
 *   panic.addrSpaceReservedKB = 0      address space that is kept for the dump
 *
 * Threads: to be called at start, after Preference_Init().
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Reads the first four. */
void Panic_Init(void);

/* Reads the last one and reserves the space. Returns TRUE. */
gboolean CoreDump_PreloadDebugSupport(void);

G_END_DECLS
