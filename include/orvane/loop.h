/*
 * loop.h -- how an application lends its event loop to the library
 *
 * The library owns no thread and no loop. Whatever it waits for (a socket, a time-out, the end of a
 * request) is registered by two functions of the application, which are given once to orvane_init().
 *
 * Threads: the loop runs the library's callbacks on one thread, one at a time.
 */
#pragma once

#include <glib.h>

#include <orvane/export.h>

G_BEGIN_DECLS

/* A function of the library, which the loop calls. */
typedef void (*OrvanePollFunction)(gpointer clientData);

/* The loops that serve a callback. The library always sets the first bit of the first word. */
typedef struct {
    guint64 words[5];
} PollClassSet;

typedef enum {
    POLL_REALTIME = 1, /* info is a delay in microseconds */
    POLL_DEVICE = 2,   /* info is a descriptor */
} PollEventType;

enum {
    POLL_FLAG_PERIODIC = 0x1, /* the callback stays after it has run */
    POLL_FLAG_WRAPPER = 0x2,  /* set by the Poll_CB_* functions; may be ignored */
    POLL_FLAG_READ = 0x4,
    POLL_FLAG_WRITE = 0x8,
};

typedef gint (*OrvanePollCallback)(gint flags, OrvanePollFunction function, gpointer clientData,
                                   gint eventType, gint64 info, gpointer lock,
                                   PollClassSet classSet);
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
