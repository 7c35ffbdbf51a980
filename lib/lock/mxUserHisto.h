/*
 * mxUserHisto.h -- how often a lock's times were of which size, and who caused the largest
 *
 *   MXUser: h l=7 t=a min=100 max=100000000
 *    0-1100
 *    17-80
 *   MXUser: ht l=7 t=a
 *    0x7f0a3c1b2d40-80211
 *
 * A decade of time has a hundred bins of equal ratio: bin 17 begins at 100 * 10^0.17 ns. Smaller
 * values are in the first bin, larger ones in the last. Then the callers with the largest values.
 *
 * Ownership: MXUserHistoSetUp() gives it, MXUserHistoTearDown() frees it.
 * Threads:   none of its own; whoever keeps it guards it.
 */
#pragma once

#include <glib.h>

#include "lib/lock/mxUserHeader.h"

struct MXUserHisto;

/* typeName is static; minValue is not 0. The last bin ends at minValue times ten to the power of
 * decades. */
MXUserHisto *MXUserHistoSetUp(const char *typeName, guint64 minValue, guint32 decades);
void MXUserHistoTearDown(MXUserHisto *histo);

void MXUserHistoSample(MXUserHisto *histo, guint64 value, const void *caller);

/* Writes messages of at most the length that the host takes: what does not fit one goes on in
 * another of the same head. */
void MXUserHistoDump(const MXUserHisto *histo, const MXUserHeader *header);
