#include "ozy/lib/orvane/soap/orvaneSoapBlocks.h"

#include <algorithm>
#include <atomic>

#include "ozy/lib/orvane/runtime/roomsAbove.h"

struct SoapBlock {
    SoapBlock *next;
    gsize size; /* of what follows this head, in bytes */
};

namespace {

constexpr gsize kKiB = 1024;
constexpr gsize kFirstSize = 16 * kKiB - sizeof(SoapBlock);
constexpr gsize kLargestSize = 1024 * kKiB - sizeof(SoapBlock);
#ifdef __SANITIZE_ADDRESS__
constexpr gsize kKeptBytes = 0; // so that a use after release is found
#else
constexpr gsize kKeptBytes = 4096 * kKiB;
#endif

/* Blocks kept for the next reply. A SoapBlocks that needs blocks takes all of them. */
constinit std::atomic<SoapBlock *> gKept;

void SoapFreeBlocks(SoapBlock *block) {
    while (block != nullptr) {
        SoapBlock *next = block->next;
        g_free(block);
        block = next;
    }
}

/* Cuts the list where it gets longer than what may be kept, and frees the rest. */
SoapBlock *SoapTrim(SoapBlock *blocks) {
    gsize total = 0;
    SoapBlock **end = &blocks;
    while (*end != nullptr && total + (*end)->size <= kKeptBytes) {
        total += (*end)->size;
        end = &(*end)->next;
    }
    SoapFreeBlocks(*end);
    *end = nullptr;
    return blocks;
}

} // namespace

SoapBlocks::~SoapBlocks() {
    SoapBlock **end = &first;
    while (*end != nullptr)
        end = &(*end)->next;
    *end = kept;
    if (first != nullptr)
        SoapFreeBlocks(gKept.exchange(SoapTrim(first), std::memory_order_acq_rel));
}

void SoapBlocks::SetCurrent(SoapBlock *block) {
    first = block;
    at = block != nullptr ? reinterpret_cast<char *>(block + 1) : nullptr;
    limit = block != nullptr ? at + block->size : nullptr;
}

void SoapBlocks::AddBlock(gsize size) {
    if (first == nullptr && kept == nullptr)
        kept = gKept.exchange(nullptr, std::memory_order_acq_rel);
    SoapBlock *block = kept;
    if (block != nullptr && block->size >= size) {
        kept = block->next;
    } else {
        const gsize wanted =
            first != nullptr ? std::min(first->size * 2, kLargestSize) : kFirstSize;
        const gsize length = std::max(wanted, size);
        block = static_cast<SoapBlock *>(g_malloc(sizeof(SoapBlock) + length));
        block->size = length;
    }
    block->next = first;
    SetCurrent(block);
}

gsize SoapBlocks::HeldBytes() const {
    gsize bytes = 0;
    for (const SoapBlock *list : {first, kept}) {
        for (const SoapBlock *block = list; block != nullptr; block = block->next)
            bytes += block->size;
    }
    return bytes;
}

void SoapBlocks::Rewind(const SoapMark &mark) {
    while (first != mark.block) {
        SoapBlock *block = first;
        first = block->next;
        block->next = kept;
        kept = block;
    }
    SetCurrent(first);
    at = mark.at;
}

void SoapBlocks_ReleaseKept() {
    SoapFreeBlocks(gKept.exchange(nullptr, std::memory_order_acq_rel));
}
