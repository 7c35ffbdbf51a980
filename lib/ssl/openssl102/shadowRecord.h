/*
 * shadowRecord.h -- contexts that callers of 1.0.2 allocate themselves, over contexts that OpenSSL 3 allocates
 *
 *   caller's storage:  magic (8 bytes), pointer to the inner context or NULL (8 bytes), the rest untouched
 *
 * In 1.0.2 a digest or cipher context is a structure of the caller, on its stack or inside another. OpenSSL 3 hides
 * them. So the caller's storage is used for a record of 16 bytes that leads to a hidden context, which is made on first
 * use. A first word of 0 is storage that the caller has zeroed, which counts as initialized. Any other first
 * word but the magic is a context of OpenSSL 3 itself (BIO_ctrl() hands out that of a digest BIO): it is used as
 * it is, and nothing is written into it.
 *
 * Ownership: the inner context is released by Cleanup(); storage of the caller stays the caller's.
 * Threads:   as 1.0.2: a context belongs to one thread at a time.
 */
#pragma once

#include <cstdint>

template <class Context, auto create, auto reset, auto release> struct ShadowRecord {
    uint64_t magic;
    Context *inner;

    static constexpr uint64_t kMagic = 0x6f72766132303178; /* no address of user space */

    /* Storage that may hold anything. */
    static void Init(void *storage) { *static_cast<ShadowRecord *>(storage) = {kMagic, nullptr}; }

    /* The context to work on; NULL without memory. */
    static Context *Use(void *storage) {
        auto *record = Adopt(storage);
        if (record == nullptr)
            return static_cast<Context *>(storage);
        if (record->inner == nullptr)
            record->inner = create();
        return record->inner;
    }

    /* The context if there is one; makes none. */
    static const Context *Peek(const void *storage) {
        const auto *record = static_cast<const ShadowRecord *>(storage);
        if (record == nullptr || record->magic == 0)
            return nullptr;
        return record->magic == kMagic ? record->inner : static_cast<const Context *>(storage);
    }

    /* Releases what the context holds; it can be used again. */
    static int Cleanup(void *storage) {
        auto *record = Adopt(storage);
        if (record == nullptr)
            return reset(static_cast<Context *>(storage));
        release(record->inner);
        record->inner = nullptr;
        return 1;
    }

private:
    /* The caller's storage as a record; NULL if it is a context of OpenSSL 3. */
    static ShadowRecord *Adopt(void *storage) {
        auto *record = static_cast<ShadowRecord *>(storage);
        if (record->magic == 0)
            Init(storage);
        return record->magic == kMagic ? record : nullptr;
    }
};
