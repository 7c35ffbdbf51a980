/*
 * mxUserInt.h -- what all kinds of locks share: their header, the list they are on, their end
 *
 * For this folder and its tests.
 */
#pragma once

#include <atomic>

#include <glib.h>

#include "lib/lock/mxRecLock.h"
#include "lib/lock/mxUser.h"
#include "lib/misc/atomicFence.h"
#include "lib/misc/panic.h"

enum class MXUserType : guint32 { RWLock = 1, RecLock = 2, ExclLock = 4, CondVar = 6 };

/* Stands first in every lock. */
struct MXUserHeader {
    guint32 signature; /* the type in the upper four bits, this process in the others; 0 is dead */
    char *name;
    guint32 rank;
    guint32 serialNumber;
    void (*dumpFunc)(const MXUserHeader *header);
    void (*statsAction)(MXUserHeader *header); /* NULL unless the use is counted */
    MXUserHeader *previous;                    /* in the list of locks; NULL for one not on it */
    MXUserHeader *next;
};

struct MXUserExclLock {
    MXUserHeader header;
    MXRecLock recursiveLock;
};

struct MXUserRecLock {
    MXUserHeader header;
    MXRecLock recursiveLock;
    std::atomic<guint32> refCount = 1;
    gpointer vmmLock; /* the host's mutex to use instead of ours, or NULL */
};

/* What the signatures of this process have in the lower 28 bits. */
guint32 MXUserProcessSignature();

inline guint32 MXUserSignature(MXUserType type) {
    return guint32(type) << 28 | MXUserProcessSignature();
}

/* The signature that a live lock of the type has; nothing else gets past. */
inline void MXUserValidate(const MXUserHeader *header, MXUserType type) {
    VERIFY(header->signature == MXUserSignature(type));
}

struct MXUserIdentity {
    MXUserType type;
    const char *prefix; /* of the name that is made if the caller gives none */
    void (*dumpFunc)(const MXUserHeader *header);
};

/* Fills in all but statistics and list. */
void MXUserInitHeader(MXUserHeader *header, const MXUserIdentity &identity, const char *name,
                      guint32 rank, const void *caller);

/* Ends the life of a header that is on no list any more. */
void MXUserClearHeader(MXUserHeader *header);

void MXUserAddToList(MXUserHeader *header);
void MXUserRemoveFromList(MXUserHeader *header);

/* The first lines of each dump: who is it, and what do all locks have. */
void MXUserDumpHeader(const char *function, const char *kind, const MXUserHeader *header);

void MXUserDumpAndPanic(const MXUserHeader *header, const char *format, ...)
    G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;

/* A lock for the making of locks: made on first use out of nothing but memory. */
MXRecLock *MXUserInternalSingleton(std::atomic<MXRecLock *> *storage);

/* The lock in the storage; if there is none yet, the one that create() gives. Of threads that make
 * one at once, the first to store wins, and the others destroy() theirs. */
template <class Lock, class Create>
Lock *MXUserSingleton(Lock **storage, Create create, void (*destroy)(Lock *)) {
    std::atomic_ref<Lock *> shared(*storage);
    Lock *lock = shared.load(std::memory_order_acquire);
    if (lock)
        return lock;
    Lock *made = create();
    if (!made || Atomic_CompareExchange(&shared, &lock, made))
        return made;
    destroy(made);
    return lock;
}
