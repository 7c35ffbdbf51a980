/*
 * keyedHash.h -- the hash of tables whose keys a peer chooses, such as the ids of its objects
 *
 * The key is random and of the process, so that nobody else can choose texts or numbers that collide. The hashes of
 * GLib and of the standard library have no key.
 *
 * Threads: any.
 */
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>

#include <glib.h>

G_BEGIN_DECLS

guint64 KeyedHash_Compute(const void *data, gsize size);
/* The same of a text that ends with a zero, for a GHashTable with g_str_equal(). */
guint KeyedHash_Text(gconstpointer text);
/* That of a number as GINT_TO_POINTER() makes it, for a GHashTable with g_direct_equal(). */
guint KeyedHash_Number(gconstpointer number);

G_END_DECLS

/* The same for containers of std::string, which then also find a std::string_view. */
struct KeyedHash {
    using is_transparent = void;
    size_t operator()(std::string_view text) const {
        return KeyedHash_Compute(text.data(), text.size());
    }
};

using KeyedTexts = std::unordered_set<std::string, KeyedHash, std::equal_to<>>;
