/*
 * objectWatch.h -- tells whether an object outlived a call out
 *
 *   ObjectWatch<OrvaneListener> listener(bound);
 *   orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);   // runs the application's code
 *   if (listener)
 *       orvane_listener_acknowledge(listener.Get(), FALSE, nullptr);
 *
 * A reference would do as well against a crash, but it would keep alive what a handler just dropped,
 * and then emit on it.
 *
 * Threads: that of the object.
 */
#pragma once

#include <glib-object.h>

template <class T> class ObjectWatch {
public:
    explicit ObjectWatch(T *watched) : object(watched) {
        if (object != nullptr)
            g_object_add_weak_pointer(static_cast<GObject *>(object), &object);
    }
    ~ObjectWatch() {
        if (object != nullptr)
            g_object_remove_weak_pointer(static_cast<GObject *>(object), &object);
    }
    ObjectWatch(const ObjectWatch &) = delete;
    ObjectWatch &operator=(const ObjectWatch &) = delete;

    explicit operator bool() const { return object != nullptr; }
    T *Get() const { return static_cast<T *>(object); }

private:
    gpointer object;
};
