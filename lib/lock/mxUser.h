/*
 * mxUser.h -- the locks of the foundation
 *
 * A lock has a name, a rank and a number, knows its owner, and can say all that of itself when
 * something is wrong. A module that needs a lock of its own makes it where it uses it; there is
 * nothing to set up and no order of setting up:
 *
 *   static MXUserRecLock *preferenceLock;
 *
 *   MXUserRecLock *lock = MXUser_CreateSingletonRecLock(&preferenceLock, "preferenceLock", 0xF0007100);
 *   MXUser_AcquireRecLock(lock);
 *   ...
 *   MXUser_ReleaseRecLock(lock);
 *
 * Ranks tell people in which order locks are meant to be taken: the lower rank later. Nothing
 * compares them.
 *
 * Ownership: whoever creates a lock destroys it. Singletons live as long as the process. Names are
 *            copied; without one, the name tells who made the lock: "X-0x7f12..." for an exclusive
 *            lock, "R-..." for a recursive, "RW-..." for a read-write lock.
 * Errors:    a lock that the system does not grant is NULL. Misuse ends the process, see panic.h:
 *            a lock of another kind or already destroyed, and what the functions below say.
 * Threads:   any. Not for signal handlers.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef struct MXUserExclLock MXUserExclLock;
typedef struct MXUserRecLock MXUserRecLock;

/*
 * Exclusive locks. One thread holds it. A thread that acquires it again counts up, and releases it
 * as often.
 */

/**
 * MXUser_CreateExclLock:
 * @name: (nullable): what people know it by
 * @rank: its place in the order of locks
 *
 * Returns: (transfer full) (nullable): the lock; %NULL if the system has none to give
 */
MXUserExclLock *MXUser_CreateExclLock(const char *name, guint32 rank);

/* The same, for a lock whose use is never counted: one that counting itself needs. */
MXUserExclLock *MXUser_CreateExclLockSilent(const char *name, guint32 rank);

/**
 * MXUser_CreateSingletonExclLock:
 * @storage: where the module keeps its lock; %NULL before first use
 * @name: (nullable): its name
 * @rank: its place in the order of locks
 *
 * Makes the lock on first use. Threads that come at once get the same one.
 *
 * Returns: (transfer none) (nullable): the lock in @storage
 */
MXUserExclLock *MXUser_CreateSingletonExclLock(MXUserExclLock **storage, const char *name,
                                               guint32 rank);

/* Accepts NULL. A lock that is held ends the process. */
void MXUser_DestroyExclLock(MXUserExclLock *lock);

void MXUser_AcquireExclLock(MXUserExclLock *lock);

/* FALSE at once if another thread holds it. */
gboolean MXUser_TryAcquireExclLock(MXUserExclLock *lock);

/* Takes the caller's word that it holds the lock. */
void MXUser_ReleaseExclLock(MXUserExclLock *lock);

gboolean MXUser_IsCurThreadHoldingExclLock(const MXUserExclLock *lock);

/* For hosts that steer locks. Knows no command here: always FALSE. */
gboolean MXUser_ControlExclLock(MXUserExclLock *lock, guint32 command, guint32 argument);

/*
 * Recursive locks. As above; beyond that they may be destroyed while another thread is inside a
 * call that will leave the lock free: the last one out frees it.
 */

/* As MXUser_CreateExclLock() and its companions. */
MXUserRecLock *MXUser_CreateRecLock(const char *name, guint32 rank);
MXUserRecLock *MXUser_CreateRecLockSilent(const char *name, guint32 rank);
MXUserRecLock *MXUser_CreateSingletonRecLock(MXUserRecLock **storage, const char *name,
                                             guint32 rank);
void MXUser_DestroyRecLock(MXUserRecLock *lock);
void MXUser_AcquireRecLock(MXUserRecLock *lock);
gboolean MXUser_TryAcquireRecLock(MXUserRecLock *lock);
void MXUser_ReleaseRecLock(MXUserRecLock *lock);
gboolean MXUser_IsCurThreadHoldingRecLock(MXUserRecLock *lock);
gboolean MXUser_ControlRecLock(MXUserRecLock *lock, guint32 command, guint32 argument);

/* Keeps a lock from being freed, and lets go again: the last one to let go destroys it. */
void MXUser_IncRefRecLock(MXUserRecLock *lock);
void MXUser_DecRefRecLock(MXUserRecLock *lock);

/* Writes what the lock knows of itself to the log. */
void MXUser_DumpRecLock(MXUserRecLock *lock);

guint32 MXUser_GetRecLockRank(MXUserRecLock *lock);

/* (transfer none) (nullable): the mutex of the host that the lock stands for */
gpointer MXUser_GetRecLockVmm(MXUserRecLock *lock);

G_END_DECLS
