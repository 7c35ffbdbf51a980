// The boxed types for what GLib has no fundamental type for.
#include <cstring>

#include <orvane/runtime.h>

namespace {

gpointer orvane_byte_array_copy(gpointer from) {
    const auto *array = static_cast<const GByteArray *>(from);
    GByteArray *copy = g_byte_array_sized_new(array->len);
    g_byte_array_set_size(copy, array->len);
    if (array->len > 0)
        memcpy(copy->data, array->data, array->len);
    return copy;
}

void orvane_byte_array_free(gpointer array) {
    g_byte_array_free(static_cast<GByteArray *>(array), TRUE);
}

gpointer OrvaneTextCopy(gpointer text) {
    return g_strdup(static_cast<const char *>(text));
}

gpointer OrvaneTimevalCopy(gpointer from) {
    const auto *time = static_cast<const GTimeVal *>(from);
    auto *copy = static_cast<GTimeVal *>(g_malloc0(sizeof(GTimeVal)));
    copy->tv_sec = time->tv_sec;
    copy->tv_usec = time->tv_usec;
    return copy;
}

/* Classes are registered from any thread, and with them the types of their properties. */
GType BoxedType(GType *type, const char *name, GBoxedCopyFunc copy, GBoxedFreeFunc release) {
    if (g_once_init_enter(type))
        g_once_init_leave(type, g_boxed_type_register_static(name, copy, release));
    return *type;
}

} // namespace

GType orvane_byte_array_get_type(void) {
    static GType type = 0;
    return BoxedType(&type, "OrvaneByteArray", orvane_byte_array_copy, orvane_byte_array_free);
}

GType orvane_uri_get_type(void) {
    static GType type = 0;
    return BoxedType(&type, "OrvaneURI", OrvaneTextCopy, g_free);
}

GType orvane_timeval_get_type(void) {
    static GType type = 0;
    return BoxedType(&type, "GTimeVal", OrvaneTimevalCopy, g_free);
}
