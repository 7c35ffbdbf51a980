#include "ozy/lib/orvane/schema/schemaLookup.h"

#include <atomic>
#include <cstring>

#include "ozy/lib/orvane/schema/schemaEngine.h"

namespace {

/* Whether the first look-up of a type has registered all of them. */
constinit std::atomic<bool> gHasAllTypes{false};

/* Filled by the first look-up, then only read, and kept to the end of the process. */
constinit std::atomic<GHashTable *> gVersionTable{nullptr};

void RegisterAllTypes() {
    skema_core_populate_name_map(nullptr);
    skema_ozy_populate_name_map(nullptr);
    skema_ferry_populate_name_map(nullptr);
    gHasAllTypes.store(true, std::memory_order_release);
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

/* The table, made and filled if this is the first call; of two that fill it at once, one is kept.
 */
GHashTable *GetVersionTable() {
    GHashTable *table = gVersionTable.load(std::memory_order_acquire);
    if (table != nullptr)
        return table;
    GHashTable *filled = NewVersionTable();
    if (filled == nullptr || gVersionTable.compare_exchange_strong(table, filled))
        return filled;
    g_hash_table_destroy(filled);
    return table;
}

} // namespace

GType orvane_lookup_type(const char *name) {
    g_return_val_if_fail(name != nullptr, 0);
    if (!gHasAllTypes.load(std::memory_order_acquire))
        RegisterAllTypes();
    const char *colon = strchr(name, ':');
    return SchemaEngine_FindType(colon != nullptr ? colon + 1 : name);
}

const OrvaneVersionEntry *orvane_lookup_version(const char *key) {
    g_return_val_if_fail(key != nullptr, nullptr);
    GHashTable *table = GetVersionTable();
    g_return_val_if_fail(table != nullptr, nullptr);
    return static_cast<const OrvaneVersionEntry *>(g_hash_table_lookup(table, key));
}
