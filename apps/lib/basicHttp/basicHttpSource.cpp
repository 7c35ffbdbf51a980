// Request bodies: the source in memory. It can be read again after its end.
#include "apps/lib/basicHttp/basicHttpInt.h"

#include <algorithm>
#include <cstring>

#include "lib/misc/secret.h"

namespace {

gboolean MemoryRewind(gpointer priv) {
    auto *source = static_cast<BasicHttpMemorySource *>(priv);
    source->position = 0;
    source->remaining = source->length;
    return TRUE;
}

gssize MemoryRead(gpointer priv, char *buffer, gsize size, gsize count) {
    auto *source = static_cast<BasicHttpMemorySource *>(priv);
    const gsize bytes = std::min(size * count, source->remaining);
    if (bytes == 0) {
        MemoryRewind(source);
        return 0;
    }
    memcpy(buffer, source->data + source->position, bytes);
    source->position += bytes;
    source->remaining -= bytes;
    return gssize(bytes);
}

gsize MemoryLength(gpointer priv) {
    return static_cast<BasicHttpMemorySource *>(priv)->length;
}

void MemoryDestruct(gpointer priv) {
    auto *source = static_cast<BasicHttpMemorySource *>(priv);
    Secret_Wipe(source->data, source->length);
    g_free(source->data);
    delete source;
}

} // namespace

constexpr BasicHttpSourceOps BasicHttpMemorySourceOps = {
    MemoryRead,
    MemoryRewind,
    MemoryLength,
    MemoryDestruct,
};

const BasicHttpMemorySource *BasicHttpMemoryOf(const BasicHttpSource *source) {
    if (!source || source->ops != &BasicHttpMemorySourceOps)
        return nullptr;
    return static_cast<const BasicHttpMemorySource *>(source->priv);
}

const char *BasicHttp_GetBodyText(const BasicHttpRequest *request, gsize *length) {
    const BasicHttpMemorySource *memory = request ? BasicHttpMemoryOf(request->body) : nullptr;
    *length = memory ? memory->length : 0;
    return memory ? memory->data : nullptr;
}

BasicHttpSource *BasicHttp_AllocStringSource(const char *text) {
    return BasicHttp_TakeStringSource(g_strdup(text), strlen(text));
}

BasicHttpSource *BasicHttp_TakeStringSource(char *text, gsize length) {
    return BasicHttp_AllocSource(&BasicHttpMemorySourceOps,
                                 new BasicHttpMemorySource{text, length, 0, length});
}

BasicHttpSource *BasicHttp_AllocSource(const BasicHttpSourceOps *ops, gpointer priv) {
    return new BasicHttpSource{ops, priv};
}

void BasicHttp_FreeSource(BasicHttpSource *source) {
    if (!source)
        return;
    source->ops->destruct(source->priv);
    delete source;
}

gboolean BasicHttp_RewindSource(BasicHttpSource *source) {
    return source && source->ops->rewind(source->priv);
}
