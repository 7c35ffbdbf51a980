/*
 * cryptoRounds.h -- the most rounds of key derivation that a stored text may ask for
 *
 * Whoever can change a stored text could otherwise hang the program that reads it. Rounds that a caller gives itself are not
 * limited.
 */
#pragma once

#include <glib.h>

inline constexpr guint32 kMaxStoredRounds = 10000000;
