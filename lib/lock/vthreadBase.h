/*
 * vthreadBase.h -- who the calling thread is: a small number and a name
 *
 *   VThreadBase_CurID()    ->  4             the first thread that asks; then 5, 6, ...
 *   VThreadBase_CurName()  ->  "vthread-4"   until it is given a better one
 *
 * A thread gets both when it first asks, and gives the number back when it ends: the next new
 * thread gets the lowest one that is free. So numbers stay small enough for tables.
 *
 * Ownership: the record of a thread belongs to this module, which frees it when the thread ends. A
 *            host that hands in records of its own says with VThreadBase_SetNoIDFunc() how.
 * Errors:    a process that is out of numbers or keys is ended.
 * Threads:   each call is about the calling thread. Once a thread has its identity, asking for it
 *            is safe in signal handlers too.
 */
#pragma once

#include <csignal>

#include <glib.h>

G_BEGIN_DECLS

#define VTHREADBASE_MAX_NAME 32 /* with the NUL */
#define VTHREADBASE_INVALID_ID 0xffffffffu

typedef struct VThreadBaseData {
    guint32 id;
    char name[VTHREADBASE_MAX_NAME];
    gint32 signalNestCount; /* signal handlers that the thread is in; accessed atomically */
} VThreadBaseData;

/* Gives the calling thread a record by VThreadBase_InitWithTLS(). Comes on the thread's first use,
 * perhaps in a signal handler. */
typedef void (*VThreadBaseNoIDFunc)(void);

/* Takes back the record of a thread that ends, which can still log as itself meanwhile. */
typedef void (*VThreadBaseFreeIDFunc)(VThreadBaseData *record);

guint32 VThreadBase_CurID(void);

/**
 * VThreadBase_CurName:
 *
 * Returns: (transfer none): the name, valid until the thread changes it or ends; "host-" and a
 * number if the thread is only just getting its identity
 */
const char *VThreadBase_CurName(void);

/* At most 31 bytes are kept. */
void VThreadBase_SetName(const char *name);

/**
 * VThreadBase_InitWithTLS:
 * @record: (transfer full): who the calling thread is to be
 *
 * Returns: %TRUE; or %FALSE with a line in the log if the thread has a record, which it keeps; then
 * @record stays the caller's
 */
gboolean VThreadBase_InitWithTLS(VThreadBaseData *record);

/* As if the thread ended and began again. */
void VThreadBase_ForgetSelf(void);

/**
 * VThreadBase_SetNoIDFunc:
 * @noIDFunc: (scope forever): makes records
 * @freeIDFunc: (scope forever) (nullable): takes them back
 *
 * For a host that numbers its threads itself. To be called before any thread has an identity.
 */
void VThreadBase_SetNoIDFunc(VThreadBaseNoIDFunc noIDFunc, VThreadBaseFreeIDFunc freeIDFunc);

/**
 * VThreadBase_SetIsInSignal:
 * @id: the calling thread's number, noted before it is changed
 * @isInSignal: %TRUE at the begin of a signal handler, %FALSE at its end; they nest
 */
void VThreadBase_SetIsInSignal(guint32 id, gboolean isInSignal);
gboolean VThreadBase_IsInSignal(void);

/* As pthread_sigmask(). */
int VThreadBase_SigMask(int how, const sigset_t *newMask, sigset_t *oldMask);

G_END_DECLS
