/*
 * utilSleep.h -- suspends the calling thread
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Sleeps for at least the given time, also if signals arrive. Returns at once if it is not above 0. errno is
 * kept. */
void Util_Usleep(gint64 microseconds);

G_END_DECLS
