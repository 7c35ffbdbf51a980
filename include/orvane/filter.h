/*
 * filter.h -- an application's own filter on the service's property collector: which objects, which of their
 * properties, kept up to date
 *
 *   GObject *spec = orvane_filter_spec_new(TRUE, objects, properties, NULL);      // specBuilders.h
 *   guint filter = orvane_session_add_filter(session, spec, TRUE, &functions, data, NULL);
 *   g_object_unref(spec);
 *   ... entered, entered, finished; changed, finished; left, finished ...
 *   orvane_session_remove_filter(session, filter);
 *
 * The objects are the session's proxies. Each change is written into them and notified like one of a loaded object, then
 * the filter's function is called. Loads are not affected: neither their listeners nor their counts take part in the
 * updates of such a filter. <orvane/inventory.h> has a list of objects that uses one.
 *
 *   add -> CREATING -> ACTIVE -> removed         created, then any number of updates
 *                   -> FAILED                    created with a fault
 *   the connection ends in any of these          ended
 *   the service has forgotten the filter         restarted, then created, then any number of updates
 *
 * Ownership: the session owns the filter. A proxy that enters is floating; reference it with g_object_ref_sink() to keep
 *            it. The data is released after the last call of a function.
 * Callbacks: from the loop, never from inside orvane_session_add_filter(). They may do anything, also remove the filter,
 *            disconnect or release the session; after a removal none is called.
 * Threads:   the loop's.
 */
#pragma once

#include <orvane/session.h>

G_BEGIN_DECLS

/**
 * OrvaneFilterFuncs:
 * @created: the filter exists, and @fault is %NULL; or it could not be created and is gone
 * @entered: an object is matched; its first values are in it. It may be one that entered before, if the service has
 *   started anew
 * @changed: a property of an object has changed; @path is the service's name for it, such as "runtime.powerState"
 * @left: an object is not matched any more, or does not exist any more
 * @finished: all updates that came in one reply were applied. @isWhole is %FALSE if the service has more to send at once
 * @ended: the connection is over, and with it the filter
 * @rewound: the service sends its updates from the beginning, since it has lost the place that was reached. Objects that
 *   are matched enter again; those that have not entered by the first @finished with @isWhole are not matched any more
 * @restarted: the session has logged in again, and the service knows neither the filter nor anything else that belonged to
 *   the former login, such as a view. The filter is created anew after this returns, unless this removes it. Objects that
 *   are still matched enter again, with notifies for what has changed; properties that the filter names by their paths and
 *   that the service does not send any more are reset. Objects that have not entered by the first @finished with @isWhole,
 *   which comes also if none is matched, are not matched any more. See orvane_session_set_credentials_func()
 *
 * Each may be %NULL.
 */
typedef struct {
    void (*created)(SkemaQormMethodFault *fault, gpointer data);
    void (*entered)(SkemaQormManagedObject *object, gpointer data);
    void (*changed)(SkemaQormManagedObject *object, const char *path, gpointer data);
    void (*left)(SkemaQormManagedObject *object, gpointer data);
    void (*finished)(gboolean isWhole, gpointer data);
    void (*ended)(gpointer data);
    void (*rewound)(gpointer data);
    void (*restarted)(gpointer data);
} OrvaneFilterFuncs;

/**
 * orvane_session_add_filter: (skip)
 * @session: a session in state %ORVANE_SESSION_CONNECTED
 * @filterSpec: (transfer none): what to follow, see orvane_filter_spec_new()
 * @partialUpdates: whether changes inside a property may come one by one
 * @functions: what to call; copied
 * @data: passed to the functions
 * @destroy: (nullable): releases @data
 *
 * Creates a filter on the service. Until the service has answered, updates of other filters wait.
 *
 * Returns: the number of the filter in its connection; 0 if it cannot be created, and @destroy was then called
 */
ORVANE_EXPORT guint orvane_session_add_filter(OrvaneSession *session, GObject *filterSpec,
                                              gboolean partialUpdates,
                                              const OrvaneFilterFuncs *functions, gpointer data,
                                              GDestroyNotify destroy);

/**
 * orvane_session_remove_filter:
 * @session: a session
 * @filter: a number from orvane_session_add_filter(); that of a filter that is gone does nothing
 *
 * Destroys the filter, here and on the service. No function of it is called any more.
 */
ORVANE_EXPORT void orvane_session_remove_filter(OrvaneSession *session, guint filter);

G_END_DECLS
