/*
 * sipHash.h -- a keyed hash of short texts, for tables whose keys come from outside (SipHash-2-4)
 *
 * Whoever does not know the key cannot choose texts that collide, and so cannot make a table slow.
 *
 * Threads: stateless; may be called from any thread.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef struct {
    guint64 words[2]; /* random */
} SipHashKey;

guint64 SipHash_Compute(const SipHashKey *key, const void *data, gsize size);

G_END_DECLS
