/*
 * orvaneSessionBackOff.h -- how long to wait between tries, so that many clients do not come back at once
 *
 * Threads: any.
 */
#pragma once

#include <glib.h>

/* A period that doubles from @first to @longest with each try from 0 on, half of it random. */
gint64 OrvaneBackOff_Delay(gint64 first, gint64 longest, guint tries);
