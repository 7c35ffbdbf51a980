/*
 * poll.h -- an interface to the application's event loop, for use by the foundation
 *
 *   Poll_InitWithImpl(&impl);   Poll_CB_RTime(Tick, NULL, 500000, TRUE, NULL);   Poll_Exit();
 *
 * The session and the transport do not use it, but the two functions given to orvane_init(). The library
 * neither installs an implementation nor runs the loop. All functions except Poll_InitWithImpl() end the
 * process if there is no implementation.
 *
 * Ownership: the table belongs to the application and must live until Poll_Exit(). Client data belongs to the
 *            code that registers it.
 * Errors:    results of the implementation are returned unchanged: 0 for success.
 * Threads:   callbacks run on the thread of the loop. Poll_InitWithImpl() and Poll_Exit() must not run at the
 *            same time as other functions of this module.
 */
#pragma once

#include <glib.h>

#include <orvane/loop.h>

G_BEGIN_DECLS

/* The class set of all that this library registers: the first class only. */
static const PollClassSet POLL_CLASS_MAIN = {{1, 0, 0, 0, 0}};

typedef struct PollImpl {
    /* Called once by Poll_InitWithImpl(), with initData. May be NULL. */
    void (*Init)(gpointer initData);
    /* Called by Poll_Exit(). May be NULL. */
    void (*Exit)(void);
    /* Runs callbacks: once, or until *exit is set if "loop" is set. */
    void (*LoopTimeout)(guint8 loop, volatile gint *exit, gint pollClass, gint timeout);
    OrvanePollCallback Callback;
    OrvanePollCallbackRemove CallbackRemove;
    /* Removes one registration of a function, whatever its client data is. */
    OrvanePollCallbackRemove CallbackRemoveOneByCB;
    /* Returns whether callbacks run with the lock held that was registered with them. */
    gboolean (*LockingEnabled)(void);

    gpointer initData; /* passed to Init */
} PollImpl;

/* The implementation in use; %NULL for none. */
extern const PollImpl *pollImpl;

/* Stores the table and calls its Init. */
void Poll_InitWithImpl(const PollImpl *impl);

/* Calls Exit and drops the table. */
void Poll_Exit(void);

/* LoopTimeout with a time-out of 1,000,000. */
void Poll_Loop(gboolean loop, volatile gint *exit, gint pollClass);

/**
 * Poll_LoopTimeout:
 * @loop: whether to go on until *@exit is set
 * @exit: (nullable): the flag that ends the loop
 * @pollClass: number of the class whose callbacks run, from 0
 * @timeout: how long to wait for work, in the implementation's unit
 */
void Poll_LoopTimeout(gboolean loop, volatile gint *exit, gint pollClass, gint timeout);

gint Poll_Callback(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                   gint64 info, gpointer lock, PollClassSet classSet);
gint Poll_CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                         gint eventType, PollClassSet classSet);
gint Poll_CallbackRemoveOneByCB(gint flags, OrvanePollFunction function, gpointer clientData,
                                gint eventType, PollClassSet classSet);
gboolean Poll_LockingEnabled(void);

/* Calls the function when the descriptor "info" can be read: once, or each time. */
gint Poll_CB_Device(OrvanePollFunction function, gpointer clientData, gint64 info,
                    gboolean periodic);
gint Poll_CB_DeviceRemove(OrvanePollFunction function, gpointer clientData, gboolean periodic);

/* Calls the function after a delay in microseconds: once, or at that interval. */
gint Poll_CB_RTime(OrvanePollFunction function, gpointer clientData, gint64 delay,
                   gboolean periodic, gpointer lock);
gint Poll_CB_RTimeRemove(OrvanePollFunction function, gpointer clientData, gboolean periodic);

G_END_DECLS
