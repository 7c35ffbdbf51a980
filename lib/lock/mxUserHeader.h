/*
 * mxUserHeader.h -- what all kinds of locks begin with, and the list that they are on
 *
 * For this folder and its tests. Each module of the folder uses only those above it:
 *
 *   mxRecLock     a mutex that counts          mxUserHooks      functions of the host
 *   mxUserHeader  header, list of locks        vthreadBase      identity of threads
 *   mxUserStats, mxUserHisto, mxUserLockStats  what is counted of a lock's use
 *   mxUserLock    the structures, creation
 *   mxUserCondVar, then mxUserExclLock, mxUserRecLock, mxUserRWLock
 */
#pragma once

#include <atomic>

#include <glib.h>

#include "lib/lock/mxRecLock.h"
#include "lib/misc/panic.h"

enum class MXUserType : guint32 { RWLock = 1, RecLock = 2, ExclLock = 4, CondVar = 6 };

struct MXUserHeader;

/* Reports what was counted. */
using MXUserStatsAction = void (*)(MXUserHeader *header);

/* Stands first in every lock. */
struct MXUserHeader {
    guint32 signature; /* the type in the upper four bits, this process in the others; 0 is dead */
    char *name;
    guint32 rank;
    guint32 serialNumber;
    void (*dumpFunc)(const MXUserHeader *header);
    std::atomic<MXUserStatsAction> statsAction; /* NULL unless the use is counted */
    MXUserHeader *previous;                     /* in the list of locks; NULL for one not on it */
    MXUserHeader *next;
};

/* What the signatures of this process have in the lower 28 bits; 0 before the first lock. */
extern std::atomic<guint32> MXUserProcessSignature;

inline guint32 MXUserSignature(MXUserType type) {
    return guint32(type) << 28 | MXUserProcessSignature.load(std::memory_order_relaxed);
}

/* The signature that a live lock of the type has; nothing else gets past. */
inline void MXUserValidate(const MXUserHeader *header, MXUserType type) {
    VERIFY(header->signature == MXUserSignature(type));
}

inline bool MXUserIsCounted(const MXUserHeader *header) {
    return header->statsAction.load(std::memory_order_acquire) != nullptr;
}

using MXUserControl = gboolean (*)(MXUserHeader *header, guint32 command, guint32 argument);

/* What the locks of one kind have in common. */
struct MXUserKind {
    MXUserType type;
    const char *prefix; /* of the name that is made if the caller gives none */
    void (*dumpFunc)(const MXUserHeader *header);
    MXUserControl control;
};

/* What the caller says of a new lock. */
struct MXUserWish {
    const char *name; /* or NULL */
    guint32 rank;
    const void *caller;
    bool isSilent = false;
};

void MXUserInitHeader(MXUserHeader *header, const MXUserKind &kind, const MXUserWish &wish);

/* Ends the life of a header that is on no list any more. */
void MXUserClearHeader(MXUserHeader *header);

void MXUserAddToList(MXUserHeader *header);
void MXUserRemoveFromList(MXUserHeader *header);

/* What guards the list, and all that is said of statistics. */
MXRecLock *MXUserListLock();

/* Calls with each lock of the list, the oldest first. The list's lock is held by the caller; locks
 * may be made meanwhile. */
void MXUserForEachLock(void (*function)(MXUserHeader *header, gpointer data), gpointer data);

/* The lines that the dumps of all kinds have. */
void MXUserDumpCommon(const MXUserHeader *header);

void MXUserDumpAndPanic(const MXUserHeader *header, const char *format, ...)
    G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;

/* A lock for the making of locks: made on first use out of nothing but memory. */
MXRecLock *MXUserInternalSingleton(std::atomic<MXRecLock *> *storage);
