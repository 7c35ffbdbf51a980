#include "ozy/lib/orvane/schema/schemaLookup.h"

#include <atomic>
#include <cstring>

namespace {

/* Filled by the first look-up, then only read, and kept to the end of the process. */
constinit std::atomic<GHashTable *> gTypeTable{nullptr};
constinit std::atomic<GHashTable *> gVersionTable{nullptr};

/* The table, made and filled if this is the first call; of two that fill it at once, one is kept.
 */
template <class Fill> GHashTable *GetTable(std::atomic<GHashTable *> &kept, Fill fill) {
    GHashTable *table = kept.load(std::memory_order_acquire);
    if (table != nullptr)
        return table;
    GHashTable *filled = fill();
    if (filled == nullptr || kept.compare_exchange_strong(table, filled))
        return filled;
    g_hash_table_destroy(filled);
    return table;
}

GHashTable *NewTypeTable() {
    GHashTable *table = g_hash_table_new(g_str_hash, g_str_equal);
    g_return_val_if_fail(table != nullptr, nullptr);
    skema_core_populate_name_map(table);
    skema_ozy_populate_name_map(table);
    skema_ferry_populate_name_map(table);
    return table;
}

GHashTable *NewVersionTable() {
    GHashTable *table =
        g_hash_table_new_full(g_str_hash, g_str_equal, nullptr, OrvaneVersionEntryFree);
    g_return_val_if_fail(table != nullptr, nullptr);
    skema_core_populate_version_map(table);
    skema_ozy_populate_version_map(table);
    skema_ferry_populate_version_map(table);
    return table;
}

} // namespace

GType orvane_lookup_type(const char *name) {
    g_return_val_if_fail(name != nullptr, 0);
    GHashTable *table = GetTable(gTypeTable, NewTypeTable);
    g_return_val_if_fail(table != nullptr, 0);

    const char *colon = strchr(name, ':');
    return GPOINTER_TO_SIZE(g_hash_table_lookup(table, colon != nullptr ? colon + 1 : name));
}

const OrvaneVersionEntry *orvane_lookup_version(const char *key) {
    g_return_val_if_fail(key != nullptr, nullptr);
    GHashTable *table = GetTable(gVersionTable, NewVersionTable);
    g_return_val_if_fail(table != nullptr, nullptr);
    return static_cast<const OrvaneVersionEntry *>(g_hash_table_lookup(table, key));
}
