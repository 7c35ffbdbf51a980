/*
 * mxUserCondVar.h -- condition variables, for either kind of lock that counts; see mxUser.h
 *
 * Threads: any.
 */
#pragma once

#include "lib/lock/mxUserLock.h"

MXUserCondVar *MXUserCreateCondVar(const MXUserHeader *header, MXRecLock *lock);
void MXUserWaitCondVar(const MXUserHeader *header, MXRecLock *lock, MXUserLockStats *stats,
                       MXUserCondVar *condVar, guint32 milliseconds, const void *caller);
