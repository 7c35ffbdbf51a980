/*
 * mxUserHisto.h -- a histogram of a lock's times, with the callers of the largest
 *
 *   MXUser: h l=7 t=a min=100 max=100000000
 *    0-1100
 *    17-80
 *   MXUser: ht l=7 t=a
 *    0x7f0a3c1b2d40-80211
 *
 * A decade of time has a hundred bins of equal ratio: bin 17 begins at 100 * 10^0.17 ns. Values below the
 * range count in the first bin, values above it in the last. The second text lists the callers with the
 * largest values.
 *
 * Ownership: MXUserHistoTearDown() releases what MXUserHistoSetUp() returns.
 * Threads:   none; the owner guards it.
 */
#pragma once

#include <glib.h>

#include "lib/lock/mxUserHeader.h"

struct MXUserHisto;

/* Creates a histogram. typeName is a static text, minValue is not 0. The last bin ends at minValue times ten
 * to the power of decades. */
MXUserHisto *MXUserHistoSetUp(const char *typeName, guint64 minValue, guint32 decades);
void MXUserHistoTearDown(MXUserHisto *histo);

void MXUserHistoSample(MXUserHisto *histo, guint64 value, const void *caller);

/* Writes texts of at most the host's maximum length. What does not fit is continued in another text with the
 * same first line. */
void MXUserHistoDump(const MXUserHisto *histo, const MXUserHeader *header);
