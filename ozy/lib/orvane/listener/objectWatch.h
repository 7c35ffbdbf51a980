/*
 * objectWatch.h -- tells whether a listener or a session outlived a call out
 *
 *   ObjectWatch<OrvaneListener> listener(bound);
 *   orvane_session_set_state(session, ORVANE_SESSION_DISCONNECTED);   // runs the application's code
 *   if (listener)
 *       orvane_listener_acknowledge(listener.Get(), FALSE, nullptr);
 *
 * A reference would do as well against a crash, but it would keep alive what a handler just dropped,
 * and then emit on it. A weak pointer of the object would tell the same; the object's own list of its
 * watches, "watches" in its record, costs no memory, and several are made for every call.
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

    /* For the object's dispose and finalize: it is gone for all that watch it. */
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
