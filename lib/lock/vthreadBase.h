/*
 * vthreadBase.h -- the identity of the calling thread: a small number and a name
 *
 *   VThreadBase_CurID()    ->  4             the first thread; then 5, 6, ...
 *   VThreadBase_CurName()  ->  "vthread-4"   until VThreadBase_SetName()
 *
 * A thread gets both on first use. Its number is free again when it ends, and the next new thread gets the
 * lowest free one. So numbers stay small enough to index tables.
 *
 * Ownership: the record of a thread belongs to this module, which releases it when the thread ends. A host
 *            that uses records of its own installs functions for both with VThreadBase_SetNoIDFunc().
 * Errors:    running out of numbers or keys ends the process.
 * Threads:   each call concerns the calling thread. Once a thread has its identity, reading it is safe in
 *            signal handlers too.
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
    gint32 signalNestCount; /* depth of signal handlers; accessed atomically */
} VThreadBaseData;

/* Gives the calling thread a record by VThreadBase_InitWithTLS(). Called on the thread's first use, possibly
 * in a signal handler. */
typedef void (*VThreadBaseNoIDFunc)(void);

/* Releases the record of a thread that ends. Meanwhile the thread still has its identity, so that it can
 * log. */
typedef void (*VThreadBaseFreeIDFunc)(VThreadBaseData *record);

guint32 VThreadBase_CurID(void);

/**
 * VThreadBase_CurName:
 *
 * Returns: (transfer none): the name, valid until the thread changes it or ends; "host-" and a number while
 *   the thread is getting its identity
 */
const char *VThreadBase_CurName(void);

/* Copies the whole array of the name. The bytes behind its NUL may be anything. */
void VThreadBase_CopyCurName(char name[VTHREADBASE_MAX_NAME]);

/* At most 31 bytes are kept. */
void VThreadBase_SetName(const char *name);

/**
 * VThreadBase_InitWithTLS:
 * @record: (transfer full): the identity of the calling thread
 *
 * Returns: %TRUE; %FALSE with a line in the log if the thread has a record already, which it keeps. Then
 *   @record still belongs to the caller
 */
gboolean VThreadBase_InitWithTLS(VThreadBaseData *record);

/* Releases the identity of the calling thread, as its end does. */
void VThreadBase_ForgetSelf(void);

/**
 * VThreadBase_SetNoIDFunc:
 * @noIDFunc: (scope forever): creates records
 * @freeIDFunc: (scope forever) (nullable): releases them
 *
 * For a host that numbers its threads itself. To be called before any thread has an identity.
 */
void VThreadBase_SetNoIDFunc(VThreadBaseNoIDFunc noIDFunc, VThreadBaseFreeIDFunc freeIDFunc);

/**
 * VThreadBase_SetIsInSignal:
 * @id: the calling thread's number
 * @isInSignal: %TRUE at the begin of a signal handler, %FALSE at its end; they nest
 */
void VThreadBase_SetIsInSignal(guint32 id, gboolean isInSignal);
gboolean VThreadBase_IsInSignal(void);

/* The depth of the handlers that the calling thread is in, and its place after a jump out of some of them. */
gint32 VThreadBase_GetSignalDepth(void);
void VThreadBase_RestoreSignalDepth(gint32 depth);

/* As pthread_sigmask(). */
int VThreadBase_SigMask(int how, const sigset_t *newMask, sigset_t *oldMask);

G_END_DECLS
