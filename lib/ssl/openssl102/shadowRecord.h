/*
 * shadowRecord.h -- contexts that callers of 1.0.2 allocate, implemented by contexts that OpenSSL 3 allocates
 *
 *   caller's storage:  magic (8 bytes), pointer to the inner context or NULL (8 bytes), the rest untouched
 *
 * In 1.0.2 a digest or cipher context is a structure of the caller. OpenSSL 3 hides it. So the first 16 bytes
 * of the caller's storage are a record with a pointer to a hidden context, which is created on first use. A
 * first word of 0 means that the caller has zeroed the storage, which counts as initialised. Any other first
 * word than the magic means that the storage is a context of OpenSSL 3 itself (BIO_ctrl() returns the one of
 * a digest BIO). It is used directly, and nothing is written into it.
 *
 * Ownership: Cleanup() releases the inner context. The storage belongs to the caller.
 * Threads:   as in 1.0.2, a context belongs to one thread at a time.
 */
#pragma once

#include <cstdint>

template <class Context, auto create, auto reset, auto release> struct ShadowRecord {
    uint64_t magic;
    Context *inner;

    static constexpr uint64_t kMagic = 0x6f72766132303178; /* no address of user space */

    /* Initialises storage with any contents. */
    static void Init(void *storage) { *static_cast<ShadowRecord *>(storage) = {kMagic, nullptr}; }

    /* Returns the context to work on; NULL without memory. */
    static Context *Use(void *storage) {
        auto *record = Adopt(storage);
        if (record == nullptr)
            return static_cast<Context *>(storage);
        if (record->inner == nullptr)
            record->inner = create();
        return record->inner;
    }

    /* Returns the context if there is one; creates none. */
    static const Context *Peek(const void *storage) {
        const auto *record = static_cast<const ShadowRecord *>(storage);
        if (record == nullptr || record->magic == 0)
            return nullptr;
        return record->magic == kMagic ? record->inner : static_cast<const Context *>(storage);
    }

    /* Releases the inner context. The storage can be used again. */
    static int Cleanup(void *storage) {
        auto *record = Adopt(storage);
        if (record == nullptr)
            return reset(static_cast<Context *>(storage));
        release(record->inner);
        record->inner = nullptr;
        return 1;
    }

private:
    /* Returns the storage as a record; NULL if it is a context of OpenSSL 3. */
    static ShadowRecord *Adopt(void *storage) {
        auto *record = static_cast<ShadowRecord *>(storage);
        if (record->magic == 0)
            Init(storage);
        return record->magic == kMagic ? record : nullptr;
    }
};
