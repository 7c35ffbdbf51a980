#include "ozy/lib/orvaneGlib/glibLoop.h"

#include <algorithm>
#include <map>
#include <tuple>

namespace {

/* The attributes of a registration by which it is removed: function, client data, flags, type of event. */
using Key = std::tuple<OrvanePollFunction, gpointer, gint, gint>;

struct LoopSource {
    GSource base;
    OrvanePollFunction function;
    gpointer clientData;
    gint flags;
    gint eventType;
    gint64 interval; /* of a timer, in microseconds */
};

struct GlibLoop {
    GMainContext *context;
    std::multimap<Key, GSource *> sources; /* equal ones in order of registration */
};

constinit GlibLoop *gLoop = nullptr; /* while it is open */

Key KeyOf(const LoopSource *source) {
    return {source->function, source->clientData, source->flags, source->eventType};
}

/* The time after a delay, on the clock of sources. */
gint64 DueAfter(gint64 delay) {
    const gint64 now = g_get_monotonic_time();
    return now + std::clamp<gint64>(delay, 0, G_MAXINT64 - now);
}

/* Removes a source from the context. It may be running; GLib holds a reference until it returns. */
void Drop(std::multimap<Key, GSource *>::iterator where) {
    GSource *source = where->second;
    gLoop->sources.erase(where);
    g_source_destroy(source);
    g_source_unref(source);
}

void DropSource(LoopSource *source) {
    const auto [first, last] = gLoop->sources.equal_range(KeyOf(source));
    Drop(std::find_if(first, last,
                      [&](const auto &entry) { return entry.second == &source->base; }));
}

/* Runs a source. GLib does this only while it is in the context. */
gboolean Dispatch(GSource *base, GSourceFunc, gpointer) {
    auto *source = reinterpret_cast<LoopSource *>(base);
    const OrvanePollFunction function = source->function;
    gpointer clientData = source->clientData;
    if (!(source->flags & POLL_FLAG_PERIODIC))
        DropSource(source);
    else if (source->eventType == POLL_REALTIME)
        g_source_set_ready_time(base, DueAfter(source->interval));
    function(clientData);
    return G_SOURCE_CONTINUE; /* one that is not to stay was removed above */
}

/* A source without prepare and check is ready at its time, or when its descriptor is. */
GSourceFuncs kFunctions = {nullptr, nullptr, Dispatch, nullptr, nullptr, nullptr};

GIOCondition Condition(gint flags) {
    return GIOCondition(((flags & POLL_FLAG_READ) ? G_IO_IN : 0) |
                        ((flags & POLL_FLAG_WRITE) ? G_IO_OUT : 0));
}

bool CanWatch(gint flags, gint eventType, gint64 info) {
    if (eventType == POLL_DEVICE)
        return info >= 0 && info <= G_MAXINT && Condition(flags) != 0;
    return eventType == POLL_REALTIME;
}

} // namespace

void GlibLoop_Open(GMainContext *context) {
    gLoop = new GlibLoop{g_main_context_ref(context), {}};
}

void GlibLoop_Close(void) {
    while (!gLoop->sources.empty())
        Drop(gLoop->sources.begin());
    g_main_context_unref(gLoop->context);
    delete gLoop;
    gLoop = nullptr;
}

gboolean GlibLoop_IsOpen(void) {
    return gLoop != nullptr;
}

GMainContext *GlibLoop_Context(void) {
    return gLoop ? gLoop->context : nullptr;
}

gint GlibLoop_Callback(gint flags, OrvanePollFunction function, gpointer clientData, gint eventType,
                       gint64 info, gpointer, PollClassSet) {
    if (!gLoop || !CanWatch(flags, eventType, info))
        return 1;
    GSource *base = g_source_new(&kFunctions, sizeof(LoopSource));
    auto *source = reinterpret_cast<LoopSource *>(base);
    source->function = function;
    source->clientData = clientData;
    source->flags = flags;
    source->eventType = eventType;
    source->interval = info;
    if (eventType == POLL_DEVICE) {
        g_source_set_name(base, "orvane socket");
        g_source_add_unix_fd(base, gint(info), Condition(flags));
    } else {
        g_source_set_name(base, "orvane timer");
        g_source_set_ready_time(base, DueAfter(info));
    }
    gLoop->sources.emplace(KeyOf(source), base);
    g_source_attach(base, gLoop->context);
    return 0;
}

gint GlibLoop_CallbackRemove(gint flags, OrvanePollFunction function, gpointer clientData,
                             gint eventType, PollClassSet) {
    if (!gLoop)
        return 1;
    const auto [first, last] = gLoop->sources.equal_range({function, clientData, flags, eventType});
    if (first == last)
        return 1;
    Drop(first);
    return 0;
}
