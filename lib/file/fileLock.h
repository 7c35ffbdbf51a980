/*
 * fileLock.h -- shared and exclusive locks on a file, between processes and machines that see one file system
 *
 *   int error;
 *   FileLockToken *token = FileLock_Lock("/srv/vm.cfg", FALSE, 2500, &error, NULL);
 *   if (token == NULL)
 *       ...                                 // error 0: others hold it
 *   FileLock_Unlock(token, &error, NULL);
 *
 *   /srv/vm.cfg.lck/          the lock directory, there while anybody holds or waits
 *     D12345.lck              reserves the number 12345 for a locker that is entering
 *     E12345.lck              its member file, unfinished
 *     M12345.lck              its member file: who it is, which number it drew, what it wants
 *
 * It is Lamport's bakery. A locker draws a number above all others, and waits for every lower one that it conflicts
 * with. A member file has 512 bytes, a line padded with NULs:
 *
 *   machine execution number type creation lc=checksum          type: "X" exclusive, "S" shared
 *
 * A locker of this machine that died is removed by whoever looks. One of another machine is never judged dead.
 *
 * Ownership: a token belongs to the caller until FileLock_Unlock(). Device locks have none.
 * Errors:    @error gets an errno value; messages go to the list, which may be NULL.
 * Threads:   any; threads of one process exclude one another like processes. Callers sleep while they wait.
 */
#pragma once

#include <glib.h>

#include "lib/user/msgList.h"

G_BEGIN_DECLS

typedef struct FileLockToken FileLockToken;

/* Wait without end. */
#define FILELOCK_INFINITE_WAIT 0xFFFFFFFFu

/**
 * FileLock_Lock:
 * @path: the file; a link at its end is not followed
 * @readOnly: whether others may read at the same time
 * @maxWaitMsec: in milliseconds; 0 tries once
 * @error: (out): 0 on success, and if others held the lock all the time
 * @messages: (nullable): gets what went wrong
 *
 * Where a file system cannot be written a shared lock is granted without a trace.
 *
 * Returns: (transfer full) (nullable): the lock
 */
FileLockToken *FileLock_Lock(const char *path, gboolean readOnly, guint32 maxWaitMsec, gint *error,
                             MsgList **messages);

/* Releases a lock and its token, also on failure. */
gboolean FileLock_Unlock(FileLockToken *token, gint *error, MsgList **messages);

/* Whether anybody holds or waits for a lock on the file. */
gboolean FileLock_IsLocked(const char *path, gint *error, MsgList **messages);

/* Returns the locked path, to be released with free(). */
char *FileLock_TokenPathName(const FileLockToken *token);

/* Locks a serial device by a file in /var/lock: 1 locked, 0 busy, -1 error. */
gint FileLock_LockDevice(const char *name);
gboolean FileLock_UnlockDevice(const char *name);

G_END_DECLS
