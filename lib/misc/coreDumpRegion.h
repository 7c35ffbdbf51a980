/*
 * coreDumpRegion.h -- memory that a core dump handles apart: large mappings that would only fill the file
 *
 *   Sig_CoreDumpRegion(TRUE, TRUE, pages, 64 << 20);    ... the pages are in use ...
 *   Sig_CoreDumpRegion(FALSE, TRUE, pages, 64 << 20);
 *
 * The table exists between Sig_Init() and Sig_Exit(), unless the setting "signal.dontUnmap" is true. Without it
 * nothing is recorded. It is applied in the child process that dumps core, see coreDump.h.
 *
 * Ownership: only addresses are recorded.
 * Errors:    a size that cannot be rounded up to pages ends the process.
 * Threads:   any. The table has a lock of its own.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/**
 * Sig_CoreDumpRegion:
 * @add: %TRUE to record a region, %FALSE to forget it
 * @dumpable: %TRUE: the child unmaps the region. %FALSE: it replaces each page by plain memory with the same
 *   content, so that the file has it even if the pages belong to a device
 * @address: its first byte, at the begin of a page
 * @size: in bytes; rounded up to pages of 4,096
 */
void Sig_CoreDumpRegion(gboolean add, gboolean dumpable, gpointer address, gsize size);

/* Creates and frees the table. */
void SigCoreDumpRegionsInit(void);
void SigCoreDumpRegionsExit(void);

/* Applies the table. Only for the child process, which has one thread. */
void SigCoreDumpUnmapRegions(void);

G_END_DECLS
