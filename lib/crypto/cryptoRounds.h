/*
 * cryptoRounds.h -- the most rounds of key derivation that stored texts may ask for
 *
 * Whoever can change a stored text could otherwise hang the program that reads it. Rounds that a caller gives itself are not
 * limited. A safe or a list has many wrapped texts; all that one operation reads have one limit together, except those
 * with the usual 1,000 rounds, whose cost the size of the text explains.
 *
 * Threads: each thread has a count of its own.
 */
#pragma once

#include <glib.h>

inline constexpr guint32 kMaxStoredRounds = 10000000;
inline constexpr guint32 kUncountedRounds = 1000;

struct StoredRoundsCount {
    guint depth; /* of scopes */
    guint32 left;
};
inline constinit thread_local StoredRoundsCount gStoredRounds = {0, 0};

/* One operation on a stored text. A scope inside another one belongs to it. */
class StoredRoundsScope {
public:
    StoredRoundsScope() {
        if (gStoredRounds.depth++ == 0)
            gStoredRounds.left = kMaxStoredRounds;
    }
    ~StoredRoundsScope() { gStoredRounds.depth--; }
    StoredRoundsScope(const StoredRoundsScope &) = delete;
    StoredRoundsScope &operator=(const StoredRoundsScope &) = delete;
};

/* Whether a text may have so many rounds; they are then counted. */
inline bool StoredRounds_Take(guint32 rounds) {
    if (rounds > kMaxStoredRounds)
        return false;
    if (gStoredRounds.depth == 0 || rounds <= kUncountedRounds)
        return true;
    if (rounds > gStoredRounds.left)
        return false;
    gStoredRounds.left -= rounds;
    return true;
}
