/*
 * objects.h -- owners of objects, what their properties hold, and functions that their signals call
 *
 *   const ObjectPtr<SkemaQormManagedObject> machine = Own(orvane_session_get_object(...));
 *   On(machine.get(), "leave", [&] { numLeft++; });
 *   On(machine.get(), "notify", [&](GObject *, GParamSpec *pspec) { names.push_back(pspec->name); });
 *
 * Ownership: a function lives as long as the object, or until its handler is disconnected.
 */
#pragma once

#include <functional>
#include <string>

#include <orvane/operation.h>

#include "lib/misc/glibPtr.h"

/* A reference of our own; the first one of an object that floats. */
template <class T> ObjectPtr<T> Own(T *object) {
    return ObjectPtr<T>(static_cast<T *>(g_object_ref_sink(object)));
}

/* An object of a type, whose first reference is ours even if new ones of its class float. */
template <class T = GObject> ObjectPtr<T> NewObject(GType type) {
    auto *object = static_cast<T *>(g_object_new(type, nullptr));
    return g_object_is_floating(object) ? Own(object) : ObjectPtr<T>(object);
}

/* The number, truth value or word of a property. */
template <class T> T GetNumber(gpointer object, const char *property) {
    T number{};
    g_object_get(object, property, &number, nullptr);
    return number;
}

inline std::string GetString(gpointer object, const char *property, const char *none = "(NULL)") {
    const GPtr<char> text(GetNumber<char *>(object, property));
    return text ? text.get() : none;
}

template <class T = GObject> ObjectPtr<T> GetObject(gpointer object, const char *property) {
    return ObjectPtr<T>(GetNumber<T *>(object, property));
}

inline ValueArrayPtr GetList(gpointer object, const char *property) {
    return ValueArrayPtr(GetNumber<GValueArray *>(object, property));
}

inline std::string NickOf(OrvaneOutcome outcome) {
    static auto *outcomes = static_cast<GEnumClass *>(g_type_class_ref(ORVANE_TYPE_OUTCOME));
    return g_enum_get_value(outcomes, outcome)->value_nick;
}

template <class... Arguments> struct SignalFunction {
    using Function = std::function<void(Arguments...)>;

    static gulong Connect(gpointer object, const char *signal, Function function) {
        const auto make = sizeof...(Arguments) == 0 ? g_cclosure_new_swap : g_cclosure_new;
        GClosure *closure = make(G_CALLBACK(Call), new Function(std::move(function)), Free);
        return g_signal_connect_closure(object, signal, closure, FALSE);
    }

private:
    static void Call(Arguments... arguments, Function *function) { (*function)(arguments...); }
    static void Free(gpointer function, GClosure *) { delete static_cast<Function *>(function); }
};
template <class... Arguments>
gulong OnSignal(gpointer object, const char *signal, std::function<void(Arguments...)> function) {
    return SignalFunction<Arguments...>::Connect(object, signal, std::move(function));
}

/* Connects a function that takes all arguments of the signal, from the object on, or none. */
template <class Function> gulong On(gpointer object, const char *signal, Function function) {
    return OnSignal(object, signal, std::function(std::move(function)));
}
