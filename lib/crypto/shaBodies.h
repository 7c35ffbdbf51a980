/*
 * shaBodies.h -- the compression functions of SHA-1 and SHA-256, once for each kind of processor
 *
 *   "x86 SHA extensions"   "ARMv8 cryptography extensions"   "portable"
 *
 * All bodies give the same results for the same words and blocks, so a state that one has begun another can go on
 * with. The best one that the processor has is chosen at the first use.
 *
 * Ownership: constants.
 * Errors:    none.
 * Threads:   any.
 */
#pragma once

#include <span>

#include <glib.h>

enum { SHA_BLOCK_SIZE = 64 };

/* Adds blocks to the state words, which are in the byte order of the machine. */
using ShaTransform = void (*)(guint32 *words, const guint8 *blocks, gsize numBlocks);

struct ShaBody {
    const char *name;
    bool (*isUsable)();  /* whether this processor has the instructions */
    ShaTransform sha1;   /* five words */
    ShaTransform sha256; /* eight words */
};

/* The best one first. The last one is usable everywhere. */
std::span<const ShaBody> ShaBodies();

/* The first usable one. */
const ShaBody &ShaBody_Get();

/* The round constants of SHA-256. */
extern const guint32 kSha256Constants[64];
