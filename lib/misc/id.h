/*
 * id.h -- the rights of the process, and temporary use of root's rights
 *
 *   const uid_t before = Id_BeginSuperUser();
 *   ... open a file that only root may read ...
 *   Id_EndSuperUser(before);
 *
 * Threads: only the rights of the calling thread change.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

G_BEGIN_DECLS

/* Returns whether the process may have rights that its user does not have: by set-uid, set-gid or the
 * capabilities of a file. Such a process must not take code or settings from places that its user can write
 * to. */
gboolean Id_IsSetUGid(void);

/**
 * Id_BeginSuperUser:
 *
 * Makes root the effective user of the thread, if the process may do so: a program that was started by root
 * or is set-uid root, and runs as another user. Without that right nothing changes.
 *
 * Returns: the argument for Id_EndSuperUser(); (uid_t)-1 if nothing was changed
 */
uid_t Id_BeginSuperUser(void);

/* Restores the former user. Ends the process if that is not possible. */
void Id_EndSuperUser(uid_t before);

G_END_DECLS
