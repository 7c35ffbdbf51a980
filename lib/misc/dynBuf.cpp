#include "lib/misc/dynBuf.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr gsize kFirstSize = 256;
/* Unused bytes that are not worth a reallocation when a text is detached. */
constexpr gsize kMaxSlack = 4096;

} // namespace

void DynBuf_Init(DynBuf *buffer) {
    *buffer = {};
}

void DynBuf_Destroy(DynBuf *buffer) {
    free(buffer->data);
    *buffer = {};
}

gboolean DynBuf_Reserve(DynBuf *buffer, gsize allocated) {
    if (allocated <= buffer->allocated)
        return TRUE;
    void *data = realloc(buffer->data, allocated);
    if (!data)
        return FALSE;
    buffer->data = static_cast<char *>(data);
    buffer->allocated = allocated;
    return TRUE;
}

gboolean DynBuf_Append(DynBuf *buffer, const void *data, gsize size) {
    if (size == 0)
        return TRUE;
    if (size > G_MAXSIZE - buffer->size)
        return FALSE;
    const gsize needed = buffer->size + size;
    if (needed > buffer->allocated) {
        const gsize doubled = buffer->allocated > G_MAXSIZE / 2 ? G_MAXSIZE : buffer->allocated * 2;
        /* where the doubled size does not fit into memory, the exact size may */
        if (!DynBuf_Reserve(buffer, std::max({needed, doubled, kFirstSize})) &&
            !DynBuf_Reserve(buffer, needed))
            return FALSE;
    }
    memcpy(buffer->data + buffer->size, data, size);
    buffer->size = needed;
    return TRUE;
}

gboolean DynBuf_AppendString(DynBuf *buffer, const char *text) {
    return DynBuf_Append(buffer, text, strlen(text));
}

char *DynBuf_DetachText(DynBuf *buffer, gsize *size) {
    if (size)
        *size = 0;
    if (buffer->size == G_MAXSIZE || !DynBuf_Reserve(buffer, buffer->size + 1))
        return nullptr;

    char *text = buffer->data;
    text[buffer->size] = '\0';
    if (buffer->allocated - buffer->size > std::max(kMaxSlack, buffer->size / 2)) {
        void *shrunk = realloc(text, buffer->size + 1);
        text = shrunk ? static_cast<char *>(shrunk) : text;
    }
    if (size)
        *size = buffer->size;
    DynBuf_Init(buffer);
    return text;
}
