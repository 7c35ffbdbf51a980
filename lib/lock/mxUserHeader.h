/*
 * mxUserHeader.h -- the header of all kinds of locks, and the list of locks
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

/* Reports the statistics of a lock. */
using MXUserStatsAction = void (*)(MXUserHeader *header);

/* The first member of every lock. */
struct MXUserHeader {
    guint32
        signature; /* type in the upper four bits, a value of the process in the others; 0: destroyed */
    char *name;
    guint32 rank;
    guint32 serialNumber;
    void (*dumpFunc)(const MXUserHeader *header);
    std::atomic<MXUserStatsAction> statsAction; /* NULL: no statistics */
    MXUserHeader *previous;                     /* in the list of locks; NULL: not on it */
    MXUserHeader *next;
};

/* The lower 28 bits of all signatures of this process; 0 before the first lock. */
extern std::atomic<guint32> MXUserProcessSignature;

inline guint32 MXUserSignature(MXUserType type) {
    return guint32(type) << 28 | MXUserProcessSignature.load(std::memory_order_relaxed);
}

/* Ends the process unless this is a live lock of the type. */
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
    const char *prefix; /* of names that are generated */
    void (*dumpFunc)(const MXUserHeader *header);
    MXUserControl control;
};

/* What the caller specifies for a new lock. */
struct MXUserLockOptions {
    const char *name; /* or NULL */
    guint32 rank;
    const void *caller;
    bool isSilent = false;
};

void MXUserInitHeader(MXUserHeader *header, const MXUserKind &kind,
                      const MXUserLockOptions &options);

/* Marks the header of a lock, which is no longer on the list, as destroyed. */
void MXUserClearHeader(MXUserHeader *header);

void MXUserAddToList(MXUserHeader *header);
void MXUserRemoveFromList(MXUserHeader *header);

/* Guards the list and the settings of the statistics. */
MXRecLock *MXUserListLock();

/* Calls a function with each lock of the list, the oldest first. The caller holds the list's lock. The
 * function may create locks. */
void MXUserForEachLock(void (*function)(MXUserHeader *header, gpointer data), gpointer data);

/* Writes the lines that the dumps of all kinds have in common. */
void MXUserDumpCommon(const MXUserHeader *header);

void MXUserDumpAndPanic(const MXUserHeader *header, const char *format, ...)
    G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;

/* Returns a lock for use by the functions that create locks. It is created on first use. */
MXRecLock *MXUserInternalSingleton(std::atomic<MXRecLock *> *storage);
