/*
 * id.h -- whose rights the process has, and taking back for a moment those that it gave up
 *
 *   const uid_t before = Id_BeginSuperUser();
 *   ... open a file that only root may read ...
 *   Id_EndSuperUser(before);
 *
 * Threads: rights are taken for the calling thread alone; the others keep theirs.
 */
#pragma once

#include <sys/types.h>

#include <glib.h>

G_BEGIN_DECLS

/* Whether the process has rights that whoever started it need not have: set-uid, set-gid or by a file's
 * capabilities. Such a process does not take code or settings from where its user can put them. */
gboolean Id_IsSetUGid(void);

/**
 * Id_BeginSuperUser:
 *
 * Makes the thread's effective user root, if the process may: a program that was started by root, or that is
 * set-uid root, and works as somebody else. Without that right nothing changes, and what needs it fails of itself.
 *
 * Returns: what Id_EndSuperUser() wants; (uid_t)-1 if nothing was changed
 */
uid_t Id_BeginSuperUser(void);

/* Gives the rights up again. The process ends if that is not possible. */
void Id_EndSuperUser(uid_t before);

G_END_DECLS
