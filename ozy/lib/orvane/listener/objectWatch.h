/*
 * objectWatch.h -- tells whether a listener or a session still exists after the application's code ran
 *
 *   ObjectWatch<OrvaneListener> listener(bound);
 *   orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);   // runs handlers
 *   if (listener)
 *       orvane_listener_acknowledge(listener.Get(), FALSE, nullptr);
 *
 * A reference would prevent a crash as well, but would keep an object alive that a handler has just
 * released, and then emit signals on it. A GWeakRef would do the same as this class; the list of watches in the
 * object's record, "watches", needs no memory of its own, and each call makes several.
 *
 * Threads: that of the object.
 */
#pragma once

template <class T> class ObjectWatch {
public:
    explicit ObjectWatch(T *watched) : object(watched) {
        if (object == nullptr)
            return;
        next = object->priv->watches;
        object->priv->watches = this;
    }
    ~ObjectWatch() {
        if (object == nullptr)
            return;
        ObjectWatch **link = &object->priv->watches;
        while (*link != this)
            link = &(*link)->next;
        *link = next;
    }
    ObjectWatch(const ObjectWatch &) = delete;
    ObjectWatch &operator=(const ObjectWatch &) = delete;

    /* For the object's dispose and finalize: clears all its watches. */
    static void EndAll(T *watched) {
        for (ObjectWatch *watch = watched->priv->watches; watch != nullptr; watch = watch->next)
            watch->object = nullptr;
        watched->priv->watches = nullptr;
    }

    explicit operator bool() const { return object != nullptr; }
    T *Get() const { return object; }

private:
    T *object;
    ObjectWatch *next = nullptr;
};
