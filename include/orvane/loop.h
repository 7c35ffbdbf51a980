/*
 * loop.h -- how an application lends its event loop to the library
 *
 * The library owns no thread and no loop. Whatever it waits for (a socket, a time-out, the end of a request) is
 * registered by two functions of the application, which are given once to orvane_init(). For a GMainContext they
 * exist already: orvaneGlib.h. For any other loop docs/loops.md has the rules one by one, and examples/ownLoop.c has a
 * whole loop on epoll.
 *
 * Threads: one thread runs the loop and all callbacks of the library, one at a time, and makes all calls into the library.
 *          Both functions are called on it, also from inside callbacks.
 */
#pragma once

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/* A function of the library, which the loop calls. */
typedef void (*OrvanePollFunction)(gpointer clientData);

/* The kinds of loop that serve a callback. The library always sets the first bit of the first word; an application with one
 * loop may ignore it. */
typedef struct {
    guint64 words[5];
} PollClassSet;

typedef enum {
    POLL_REALTIME = 1, /* info is a delay in microseconds */
    POLL_DEVICE = 2,   /* info is a descriptor */
} PollEventType;

/* The library passes other bits as well. They mean nothing to a loop, but belong to what a removal matches. */
enum {
    POLL_FLAG_PERIODIC = 0x1, /* the registration stays after the function was called */
    POLL_FLAG_WRAPPER = 0x2,  /* set by the Poll_CB_* functions; may be ignored */
    POLL_FLAG_READ = 0x4,     /* of a device: readable, or hung up, or in error */
    POLL_FLAG_WRITE = 0x8,    /* of a device: writable, or hung up, or in error */
};

/**
 * OrvanePollCallback:
 * @flags: bits of the enumeration above
 * @function: what the loop calls
 * @clientData: the argument of @function; nothing else may be done with it
 * @eventType: a PollEventType
 * @info: a delay in microseconds, from 0; or a descriptor
 * @lock: always %NULL; a lock that a loop with several threads would hold while it calls @function
 * @classSet: see PollClassSet
 *
 * Registers a callback. It must not call @function before it returns, not even for a delay of 0.
 *
 * A delay without POLL_FLAG_PERIODIC: @function is called once, when the delay is over. The registration has ended
 * before the call, so that @function may make the same one again. With POLL_FLAG_PERIODIC: again and again, each
 * time when the delay is over since the last call; calls that were missed are not made up for.
 *
 * A descriptor: @function is called as long as the descriptor is ready (level-triggered), until the removal. A
 * registration has POLL_FLAG_READ or POLL_FLAG_WRITE; for both directions of a descriptor there are two
 * registrations, with the same function and client data. A descriptor is removed before it is closed.
 *
 * Returns: 0 if it is registered; anything else if that is not possible. A transfer then fails or hangs, and a
 *     time-out that cannot be registered ends the process
 */
typedef gint (*OrvanePollCallback)(gint flags, OrvanePollFunction function, gpointer clientData,
                                   gint eventType, gint64 info, gpointer lock,
                                   PollClassSet classSet);

/**
 * OrvanePollCallbackRemove:
 * @flags: as they were registered
 * @function: as it was registered
 * @clientData: as it was registered
 * @eventType: as it was registered
 * @classSet: as it was registered
 *
 * Removes the registration that equals all of these; delay and descriptor are not compared. If several do, one of
 * them. After this has returned @function is not called for that registration, even if the loop has already found it
 * due: its client data may be freed memory by then. Callbacks may remove any registration, their own, too.
 *
 * Returns: 0 if there was one. Removing a delay that is over is usual, and not a fault; the library ignores the result
 */
typedef gint (*OrvanePollCallbackRemove)(gint flags, OrvanePollFunction function,
                                         gpointer clientData, gint eventType,
                                         PollClassSet classSet);

/**
 * orvane_init:
 * @pollCallback: (scope notified): registers a callback of the library with the application's loop
 * @pollCallbackRemove: (scope notified): removes one registration
 *
 * Starts the library. Call it before any session is created. Both functions are kept until
 * orvane_shutdown(), and are called on the thread of the loop. A second start without a shutdown in between
 * ends the process.
 *
 * Returns: whether the library has started; %FALSE with a warning if a function is %NULL
 */
ORVANE_EXPORT gboolean orvane_init(OrvanePollCallback pollCallback,
                                   OrvanePollCallbackRemove pollCallbackRemove);

/**
 * orvane_shutdown:
 *
 * Stops the library. Release all sessions first. The types of the schema stay registered. Does nothing
 * if the library is not started.
 */
ORVANE_EXPORT void orvane_shutdown(void);

G_END_DECLS
