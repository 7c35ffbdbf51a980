#include "lib/misc/keyedHash.h"

#include <unistd.h>

#include <cstring>

#include "lib/misc/sipHash.h"

namespace {

/* Without the kernel's random numbers, those of GLib are still other ones in each process. */
SipHashKey MakeKey() {
    SipHashKey key;
    if (getentropy(&key, sizeof key) != 0) {
        for (guint64 &word : key.words)
            word = static_cast<guint64>(g_random_int()) << 32 | g_random_int();
    }
    return key;
}

} // namespace

guint64 KeyedHash_Compute(const void *data, gsize size) {
    static const SipHashKey key = MakeKey();
    return SipHash_Compute(&key, data, size);
}

guint KeyedHash_Text(gconstpointer text) {
    return static_cast<guint>(KeyedHash_Compute(text, strlen(static_cast<const char *>(text))));
}

guint KeyedHash_Number(gconstpointer number) {
    return static_cast<guint>(KeyedHash_Compute(&number, sizeof number));
}
