/*
 * orvaneSoapBlocks.h -- memory for the nodes of one reply, taken piece by piece and freed as a whole
 *
 * Blocks grow with the reply, from 16 KiB to 1 MiB each. Those of the last reply, up to kKeptBytes in
 * all, are kept for the next one, since fresh pages cost as much as the parsing that fills them.
 *
 * Ownership: the blocks belong to their SoapBlocks; moving moves them.
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

class SoapBlocks {
public:
    SoapBlocks() = default;
    explicit SoapBlocks(guint64 maxBytes) : maxTotal(maxBytes) {}
    SoapBlocks(SoapBlocks &&other) noexcept
        : first(other.first), at(other.at), limit(other.limit), kept(other.kept),
          total(other.total), maxTotal(other.maxTotal) {
        other.first = other.kept = nullptr;
        other.at = other.limit = nullptr;
    }
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

    /* Whether more was taken than is allowed. */
    bool IsOverLimit() const { return maxTotal != 0 && total > maxTotal; }

private:
    void AddBlock(gsize size);

    SoapBlock *first = nullptr; /* in use, the newest first */
    char *at = nullptr;
    char *limit = nullptr;
    SoapBlock *kept = nullptr; /* of an earlier reply, not yet used again */
    guint64 total = 0;         /* bytes of the blocks in use */
    guint64 maxTotal = 0;      /* 0: no limit */
};
