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
 * Ranks tell people in which order locks are meant to be taken: the lower rank first. Nothing
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
typedef struct MXUserRWLock MXUserRWLock;
typedef struct MXUserCondVar MXUserCondVar;

/* The command of a control operation that asks for statistics: without histograms (argument 0), or
 * with them (1). */
#define MXUSER_CONTROL_STATS 0

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

/**
 * MXUser_BindMXMutexRec:
 * @externalMutex: a mutex of the host's
 * @rank: its place in the order of locks
 *
 * Makes a recursive lock that stands for a mutex of the host's, which MXUserInstallMxHooks() says
 * how to use. It is on no list and counts nothing; condition variables cannot be made for it.
 *
 * Returns: (transfer full) (nullable): the lock; %NULL unless the hooks for locking, unlocking,
 * trying and asking are there
 */
MXUserRecLock *MXUser_BindMXMutexRec(gpointer externalMutex, guint32 rank);

/*
 * Read-write locks. Many threads hold it for reading, or one for writing. A thread that holds it in
 * any way and asks again ends the process, as does one that releases what it does not hold.
 */

/* As MXUser_CreateExclLock() and its companions. */
MXUserRWLock *MXUser_CreateRWLock(const char *name, guint32 rank);
MXUserRWLock *MXUser_CreateSingletonRWLock(MXUserRWLock **storage, const char *name, guint32 rank);
void MXUser_DestroyRWLock(MXUserRWLock *lock);
void MXUser_AcquireForRead(MXUserRWLock *lock);
void MXUser_AcquireForWrite(MXUserRWLock *lock);
void MXUser_ReleaseRWLock(MXUserRWLock *lock);
gboolean MXUser_ControlRWLock(MXUserRWLock *lock, guint32 command, guint32 argument);

enum { MXUSER_RW_FOR_READ = 0, MXUSER_RW_FOR_WRITE = 1, MXUSER_RW_LOCKED = 2 };

/* Whether the thread holds the lock in the way asked for; another question ends the process. */
gboolean MXUser_IsCurThreadHoldingRWLock(const MXUserRWLock *lock, guint32 queryType);

/*
 * Condition variables. Each belongs to one exclusive or recursive lock, and goes before it. While a
 * thread waits, the lock is free however often the thread held it; afterwards it holds it as often
 * as before. Waits may end early for no reason: ask again what you wait for.
 */

#define MXUSER_WAIT_INFINITE 0xffffffffu

/* Returns: (transfer full) (nullable): %NULL if the system has none to give */
MXUserCondVar *MXUser_CreateCondVarExclLock(MXUserExclLock *lock);
MXUserCondVar *MXUser_CreateCondVarRecLock(MXUserRecLock *lock);

/* The lock must be held. */
void MXUser_WaitCondVarExclLock(MXUserExclLock *lock, MXUserCondVar *condVar);
void MXUser_WaitCondVarRecLock(MXUserRecLock *lock, MXUserCondVar *condVar);

/* The same, for so long at most. What ended the wait is not told. */
void MXUser_TimedWaitCondVarExclLock(MXUserExclLock *lock, MXUserCondVar *condVar,
                                     guint32 milliseconds);
void MXUser_TimedWaitCondVarRecLock(MXUserRecLock *lock, MXUserCondVar *condVar,
                                    guint32 milliseconds);

/* Wake one of the threads that wait, or all of them. The lock need not be held. */
void MXUser_SignalCondVar(MXUserCondVar *condVar);
void MXUser_BroadcastCondVar(MXUserCondVar *condVar);

/* Accepts NULL. A variable that is waited for ends the process. */
void MXUser_DestroyCondVar(MXUserCondVar *condVar);

/*
 * Panic, and a host with locks of its own.
 */

/* Notes that the process is ending in a panic; told to the host if it wants to know. */
void MXUser_SetInPanic(void);
gboolean MXUser_InPanic(void);

typedef void (*MXUserMxLockLister)(void);
typedef void (*MXUserMxCheckRank)(guint32 rank);
typedef void (*MXUserMxLockRec)(gpointer mutex);
typedef void (*MXUserMxUnlockRec)(gpointer mutex);
typedef gboolean (*MXUserMxTryLockRec)(gpointer mutex);
typedef gboolean (*MXUserMxIsLockedByCurThreadRec)(gpointer mutex);
typedef void (*MXUserMxSetInPanic)(void);
typedef gboolean (*MXUserMxInPanic)(void);

/* Installs all of a host's functions, each of which may be NULL, for the life of the process. Does
 * nothing if any is installed. Locks and ranks of the host are not looked at here. */
void MXUserInstallMxHooks(MXUserMxLockLister lockLister, MXUserMxCheckRank checkRank,
                          MXUserMxLockRec lockRec, MXUserMxUnlockRec unlockRec,
                          MXUserMxTryLockRec tryLockRec,
                          MXUserMxIsLockedByCurThreadRec isLockedByCurThreadRec,
                          MXUserMxSetInPanic setInPanic, MXUserMxInPanic inPanic);

/*
 * Statistics. For hosts that count the use of locks; see mxUserStats.h for the lines. Locks do not
 * count by themselves.
 */

/**
 * MXUserStatsFunc:
 * @context: as given to MXUser_SetStatsFunc()
 * @line: (transfer none): what to report, with a newline at its end
 *
 * Called in MXUser_PerLockData() on its thread. May make locks, but not destroy any.
 */
typedef void (*MXUserStatsFunc)(gpointer context, const char *line);

/**
 * MXUser_SetStatsFunc:
 * @context: for @statsFunc
 * @maxLineLength: the longest text, in bytes, that is handed out where there is a choice
 * @trackHeldTimes: whether locks that begin to count from now on count how long they are held, too
 * @statsFunc: (scope notified) (nullable): takes the reports; %NULL for nobody
 */
void MXUser_SetStatsFunc(gpointer context, guint maxLineLength, gboolean trackHeldTimes,
                         MXUserStatsFunc statsFunc);

/**
 * MXUser_StatisticsControl:
 * @contentionRatioFloor: a lock is hot if more than this part of its uses collide
 * @contentionCountFloor: attempts before it is judged; 0: never, 0xffffffff: all are hot
 * @contentionDurationFloor: a wait shorter than so many nanoseconds is no collision
 */
void MXUser_StatisticsControl(double contentionRatioFloor, guint32 contentionCountFloor,
                              guint64 contentionDurationFloor);

/* Reports the locks made since the last report, and what each lock has counted. Does nothing if
 * nobody takes reports, or while another thread reports, or makes or destroys a lock. */
void MXUser_PerLockData(void);

G_END_DECLS
