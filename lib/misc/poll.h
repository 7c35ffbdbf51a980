/*
 * poll.h -- the front of whatever loop an application brings, for the foundation's own use
 *
 *   Poll_InitWithImpl(&impl);   Poll_CB_RTime(Tick, NULL, 500000, TRUE, NULL);   Poll_Exit();
 *
 * The session and the transport do not come here: they use the two functions given to
 * orvane_init(). Nothing in the library installs an implementation or runs the loop. All functions
 * but Poll_InitWithImpl() need an implementation; without one they end the process.
 *
 * Ownership: the table stays the application's and must live until Poll_Exit(). Client data belongs
 *            to whoever registers it.
 * Errors:    what the implementation answers is handed on: 0 for success.
 * Threads:   callbacks run on the thread of the loop. Poll_InitWithImpl() and Poll_Exit() are
 *            called while no other thread is here.
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
    /* Runs callbacks: once, or if "loop" is set until *exit is set. */
    void (*LoopTimeout)(guint8 loop, volatile gint *exit, gint pollClass, gint timeout);
    OrvanePollCallback Callback;
    OrvanePollCallbackRemove CallbackRemove;
    /* Removes one registration of a function, whatever its client data is. */
    OrvanePollCallbackRemove CallbackRemoveOneByCB;
    /* Whether callbacks are run under the lock that was given with them. */
    gboolean (*LockingEnabled)(void);

    gpointer initData; /* whatever the application passes on to Init */
} PollImpl;

/* The implementation in use; %NULL for none. */
extern const PollImpl *pollImpl;

/* Stores the table and calls its Init. */
void Poll_InitWithImpl(const PollImpl *impl);

/* Calls Exit and forgets the table. */
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
