/*
 * logTime.h -- the time stamp of a line, and its thread
 *
 *   dateTime "2026-03-01T10:15:02"   milliseconds ".123"   zone "+01:00", "Z" for UTC
 *
 * The text is made once a second. In a signal handler, where the zone cannot be looked up, it is the last one,
 * with the time since then:
 *
 *   dateTime "2026-03-01T10:15:02+01:00[+7"   milliseconds ".250"   zone "]"
 *
 * Threads: the caller holds the log's lock.
 */
#pragma once

#include "lib/misc/logFifo.h"

/* Fills in the three texts, with all bytes of their arrays. */
void LogTime_Get(LogLineHeader *header);

/* Fills in the whole header: the time, the calling thread, and the two arguments. */
void LogTime_Stamp(LogLineHeader *header, gint level, char continuation);
