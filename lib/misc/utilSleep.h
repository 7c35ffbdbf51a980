/*
 * utilSleep.h -- waiting for a while
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

/* Lets the calling thread sleep for at least so many microseconds, whatever signals come in. errno is kept.
 * Nothing up to 0 returns at once. */
void Util_Usleep(gint64 microseconds);

G_END_DECLS
