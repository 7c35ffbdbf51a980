/*
 * orvaneSoapBlocks.h -- memory for the nodes of one reply, taken piece by piece and freed as a whole
 *
 * Blocks grow with the reply, from 16 KiB to 1 MiB each. Those of the last reply, up to kKeptBytes in
 * all, are kept for the next one, since fresh pages cost as much as the parsing that fills them.
 *
 * What was taken last can be given back at once:
 *
 *   const SoapMark mark = blocks.Mark();
 *   ...                                     // takes memory, uses it
 *   blocks.Rewind(mark);                    // all memory taken since the mark is free again
 *
 * Ownership: the blocks belong to their SoapBlocks.
 * Errors:    none; the process ends if memory runs out.
 * Threads:   one SoapBlocks belongs to one thread at a time; the kept blocks are passed on atomically.
 */
#pragma once

#include <glib.h>

/* Sizes are to be multiples of the alignment that any node needs. */
constexpr gsize SoapBlocks_Round(gsize size) {
    return (size + alignof(gpointer) - 1) & ~(alignof(gpointer) - 1);
}

struct SoapBlock;

/* A position in the memory that was taken. */
struct SoapMark {
    SoapBlock *block;
    char *at;
};

class SoapBlocks {
public:
    SoapBlocks() = default;
    SoapBlocks(const SoapBlocks &) = delete;
    SoapBlocks &operator=(const SoapBlocks &) = delete;
    ~SoapBlocks();

    /* Memory of that size, not initialised. */
    gpointer Take(gsize size) {
        if (size > static_cast<gsize>(limit - at))
            AddBlock(size);
        gpointer taken = at;
        at += size;
        return taken;
    }

    gsize HeldBytes() const;
    SoapMark Mark() const { return {first, at}; }
    void Rewind(const SoapMark &mark);

private:
    void AddBlock(gsize size);
    void SetCurrent(SoapBlock *block);

    SoapBlock *first = nullptr; /* in use, the newest first */
    char *at = nullptr;
    char *limit = nullptr;
    SoapBlock *kept = nullptr; /* of an earlier reply or given back, not yet used again */
};
