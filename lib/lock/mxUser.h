/*
 * mxUser.h -- the locks of the foundation
 *
 * A lock has a name, a rank and a serial number, knows its owner, and can write all that to the log. A module
 * creates its lock where it uses it, so there is no initialisation and no order of initialisation:
 *
 *   static MXUserRecLock *preferenceLock;
 *
 *   MXUserRecLock *lock = MXUser_CreateSingletonRecLock(&preferenceLock, "preferenceLock", 0xF0007100);
 *   MXUser_AcquireRecLock(lock);
 *   ...
 *   MXUser_ReleaseRecLock(lock);
 *
 * Ranks document the order in which locks are to be acquired: the lower rank first. No code compares them.
 *
 * Ownership: whoever creates a lock destroys it. Singletons live as long as the process. Names are copied. The
 *            name of a lock without one contains the address of its creator: "X-0x7f12..." for an exclusive
 *            lock, "R-..." for a recursive, "RW-..." for a read-write lock.
 * Errors:    creation returns NULL if the system has no more locks. Misuse ends the process, see panic.h: a
 *            lock of another kind or one already destroyed, and the cases given below.
 * Threads:   any. Not for signal handlers.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef struct MXUserExclLock MXUserExclLock;
typedef struct MXUserRecLock MXUserRecLock;
typedef struct MXUserRWLock MXUserRWLock;
typedef struct MXUserCondVar MXUserCondVar;

/* The command of a control operation that requests statistics: without histograms (argument 0) or with them
 * (1). */
#define MXUSER_CONTROL_STATS 0

/*
 * Exclusive locks. One thread at a time is the holder. It may acquire the lock again, and then releases it as
 * often.
 */

/**
 * MXUser_CreateExclLock:
 * @name: (nullable): its name in dumps and reports
 * @rank: its place in the order of locks
 *
 * Returns: (transfer full) (nullable): the lock; %NULL if the system has no more
 */
MXUserExclLock *MXUser_CreateExclLock(const char *name, guint32 rank);

/* The same for a lock without statistics, such as one that the statistics themselves need. */
MXUserExclLock *MXUser_CreateExclLockSilent(const char *name, guint32 rank);

/**
 * MXUser_CreateSingletonExclLock:
 * @storage: the module's pointer to its lock; %NULL before first use
 * @name: (nullable): its name
 * @rank: its place in the order of locks
 *
 * Creates the lock on first use. Threads that call at the same time get the same lock.
 *
 * Returns: (transfer none) (nullable): the lock in @storage
 */
MXUserExclLock *MXUser_CreateSingletonExclLock(MXUserExclLock **storage, const char *name,
                                               guint32 rank);

/* Accepts NULL. Destroying a held lock ends the process. */
void MXUser_DestroyExclLock(MXUserExclLock *lock);

void MXUser_AcquireExclLock(MXUserExclLock *lock);

/* Returns FALSE at once if another thread is the holder. */
gboolean MXUser_TryAcquireExclLock(MXUserExclLock *lock);

/* Does not check that the caller is the holder. */
void MXUser_ReleaseExclLock(MXUserExclLock *lock);

gboolean MXUser_IsCurThreadHoldingExclLock(const MXUserExclLock *lock);

/* For hosts that control locks. No command has an effect here: always FALSE. */
gboolean MXUser_ControlExclLock(MXUserExclLock *lock, guint32 command, guint32 argument);

/*
 * Recursive locks. As above. In addition a lock may be destroyed while another thread is inside a call that
 * will leave it free: the last thread to leave frees the memory.
 */

/* As MXUser_CreateExclLock() and the functions after it. */
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

/* Take and drop a reference, which keeps the lock alive. Dropping the last one destroys it. */
void MXUser_IncRefRecLock(MXUserRecLock *lock);
void MXUser_DecRefRecLock(MXUserRecLock *lock);

/* Writes name, rank, owner and count to the log. */
void MXUser_DumpRecLock(MXUserRecLock *lock);

guint32 MXUser_GetRecLockRank(MXUserRecLock *lock);

/* Returns: (transfer none) (nullable): the host's mutex that the lock is bound to */
gpointer MXUser_GetRecLockVmm(MXUserRecLock *lock);

/**
 * MXUser_BindMXMutexRec:
 * @externalMutex: a mutex of the host's
 * @rank: its place in the order of locks
 *
 * Creates a recursive lock that forwards to a mutex of the host, by the functions of MXUserInstallMxHooks().
 * It is not on the list of locks and has no statistics. Condition variables cannot be created for it.
 *
 * Returns: (transfer full) (nullable): the lock; %NULL unless the functions for locking, unlocking, trying and
 *   querying are installed
 */
MXUserRecLock *MXUser_BindMXMutexRec(gpointer externalMutex, guint32 rank);

/*
 * Read-write locks. Either several threads hold the lock for reading, or one for writing. A holder that
 * acquires it again ends the process, and so does a thread that releases it without being a holder.
 */

/* As MXUser_CreateExclLock() and the functions after it. */
MXUserRWLock *MXUser_CreateRWLock(const char *name, guint32 rank);
MXUserRWLock *MXUser_CreateSingletonRWLock(MXUserRWLock **storage, const char *name, guint32 rank);
void MXUser_DestroyRWLock(MXUserRWLock *lock);
void MXUser_AcquireForRead(MXUserRWLock *lock);
void MXUser_AcquireForWrite(MXUserRWLock *lock);
void MXUser_ReleaseRWLock(MXUserRWLock *lock);
gboolean MXUser_ControlRWLock(MXUserRWLock *lock, guint32 command, guint32 argument);

enum { MXUSER_RW_FOR_READ = 0, MXUSER_RW_FOR_WRITE = 1, MXUSER_RW_LOCKED = 2 };

/* Returns whether the thread holds the lock in the given way; any other query ends the process. */
gboolean MXUser_IsCurThreadHoldingRWLock(const MXUserRWLock *lock, guint32 queryType);

/*
 * Condition variables. Each belongs to one exclusive or recursive lock and is destroyed before it. While a
 * thread waits, the lock is free, whatever its count was. Afterwards the thread holds it with the same count.
 * A wait may end early without a reason, so check the condition again.
 */

#define MXUSER_WAIT_INFINITE 0xffffffffu

/* Returns: (transfer full) (nullable): %NULL if the system has no more */
MXUserCondVar *MXUser_CreateCondVarExclLock(MXUserExclLock *lock);
MXUserCondVar *MXUser_CreateCondVarRecLock(MXUserRecLock *lock);

/* The lock must be held. */
void MXUser_WaitCondVarExclLock(MXUserExclLock *lock, MXUserCondVar *condVar);
void MXUser_WaitCondVarRecLock(MXUserRecLock *lock, MXUserCondVar *condVar);

/* The same with a time limit. The caller does not learn whether the time ran out. */
void MXUser_TimedWaitCondVarExclLock(MXUserExclLock *lock, MXUserCondVar *condVar,
                                     guint32 milliseconds);
void MXUser_TimedWaitCondVarRecLock(MXUserRecLock *lock, MXUserCondVar *condVar,
                                    guint32 milliseconds);

/* Wake one of the threads that wait, or all of them. The lock need not be held. */
void MXUser_SignalCondVar(MXUserCondVar *condVar);
void MXUser_BroadcastCondVar(MXUserCondVar *condVar);

/* Accepts NULL. Destroying a variable that a thread waits for ends the process. */
void MXUser_DestroyCondVar(MXUserCondVar *condVar);

/*
 * Panic, and a host with locks of its own.
 */

/* Records that the process is ending in a panic, and calls the host's function for that. */
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

/* Installs all functions of a host, each of which may be NULL, for the life of the process. Does nothing if
 * any is installed already. The first two are stored only. */
void MXUserInstallMxHooks(MXUserMxLockLister lockLister, MXUserMxCheckRank checkRank,
                          MXUserMxLockRec lockRec, MXUserMxUnlockRec unlockRec,
                          MXUserMxTryLockRec tryLockRec,
                          MXUserMxIsLockedByCurThreadRec isLockedByCurThreadRec,
                          MXUserMxSetInPanic setInPanic, MXUserMxInPanic inPanic);

/*
 * Statistics, for hosts that count the use of locks; see mxUserStats.h for the lines. By default nothing is
 * counted.
 */

/**
 * MXUserStatsFunc:
 * @context: as given to MXUser_SetStatsFunc()
 * @line: (transfer none): one line of a report, with a newline at its end
 *
 * Called by MXUser_PerLockData() on its thread. May create locks, but not destroy any.
 */
typedef void (*MXUserStatsFunc)(gpointer context, const char *line);

/**
 * MXUser_SetStatsFunc:
 * @context: for @statsFunc
 * @maxLineLength: length in bytes at which a histogram is continued in another text
 * @trackHeldTimes: whether locks that are counted from now on also measure how long they are held
 * @statsFunc: (scope notified) (nullable): receives the reports; %NULL for none
 */
void MXUser_SetStatsFunc(gpointer context, guint maxLineLength, gboolean trackHeldTimes,
                         MXUserStatsFunc statsFunc);

/**
 * MXUser_StatisticsControl:
 * @contentionRatioFloor: a lock is hot if more than this part of its acquisitions is contended
 * @contentionCountFloor: number of attempts before a lock can be hot; 0: none is ever hot, 0xffffffff: all are
 * @contentionDurationFloor: in nanoseconds; a shorter wait does not count as contention
 */
void MXUser_StatisticsControl(double contentionRatioFloor, guint32 contentionCountFloor,
                              guint64 contentionDurationFloor);

/* Reports the locks created since the last report, and the statistics of each lock. Does nothing without a
 * function that receives reports, or while another thread reports, creates or destroys a lock. */
void MXUser_PerLockData(void);

G_END_DECLS
