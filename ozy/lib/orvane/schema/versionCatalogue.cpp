#include "ozy/lib/orvane/schema/versionCatalogue.h"

#include <array>
#include <string_view>

#include <orvane/runtime.h>

#include "ozy/lib/schemaRows/versionTexts.h"

namespace {

/* Which families insert a row. */
enum : guint8 {
    kCore = 0x1,
    kOzy = 0x2,
    kFerry = 0x4,
    kReflect = 0x8,
    kAll = kCore | kOzy | kFerry | kReflect,
};

struct VersionRow {
    const char *key;
    const char *name;
    guint32 members;
    guint8 families;
};

/* The bit of a wire text; a text that is not in the catalogue does not compile. */
consteval guint32 Bit(std::string_view wireText) {
    return guint32{1} << VersionTexts_Index(wireText);
}

constexpr guint32 kEmpty = Bit("");
constexpr guint32 kReflect1 = kEmpty | Bit("reflect/1.0");
constexpr guint32 kOzy1 = kEmpty | Bit("ozy2/2.0");
constexpr guint32 kOzy2 = kOzy1 | Bit("ozy25/2.5");
constexpr guint32 kOzy3 = kOzy2 | Bit("ozy25/2.5u2");
constexpr guint32 kOzy4 = kOzy3 | Bit("ozy25/2.5u2server");
constexpr guint32 kOzy5 = kOzy4 | Bit("ozy25/4.0");
constexpr guint32 kOzy6 = kOzy5 | Bit("ozy25/4.1");
constexpr guint32 kOzy7 = kOzy6 | Bit("ozy25/5.0") | kReflect1;
constexpr guint32 kOzy8 = kOzy7 | Bit("ozy25/5.1");
constexpr guint32 kOzy9 = kOzy8 | Bit("ozy25/5.5");
constexpr guint32 kOzy10 = kOzy9 | Bit("ozy25/6.0");
constexpr guint32 kOzyDev = kOzy10 | Bit("ozy25/dev2");
constexpr guint32 kOzyR15i2 = kOzyDev | Bit("ozy25/r15i2");
constexpr guint32 kOzyR15i3 = kOzyR15i2 | Bit("ozy25/r15i3");
constexpr guint32 kOzyR15i4 = kOzyR15i3 | Bit("ozy25/r15i4");
constexpr guint32 kOzyUnstable = kOzyR15i4 | Bit("ozy25/r15i4x3CD75");
constexpr guint32 kFerry1 = kOzy3 | Bit("ferry/1.0");
constexpr guint32 kFerry2 = kOzy6 | kFerry1 | Bit("ferry/2.0");
constexpr guint32 kFerry3 = kOzy7 | kFerry2 | Bit("ferry/3.0");
constexpr guint32 kFerry4 = kOzy8 | kFerry3 | Bit("ferry/4.0");
constexpr guint32 kFerry5 = kOzy9 | kFerry4 | Bit("ferry/5.0");

/* In the order of insertion. The internal versions all have the empty text as their key, so the
 * last of them is the one that stays. */
constexpr auto kVersions = std::to_array<VersionRow>({
    {"ozy2", "ozy.version.version1", kOzy1, kOzy | kFerry},
    {"ozy2/2.0", "ozy.version.version1", kOzy1, kOzy | kFerry},
    {"ozy25/2.5", "ozy.version.version2", kOzy2, kOzy | kFerry},
    {"ozy25", "ozy.version.version3", kOzy3, kOzy | kFerry},
    {"ozy25/2.5u2", "ozy.version.version3", kOzy3, kOzy | kFerry},
    {"ozy25/2.5u2server", "ozy.version.version4", kOzy4, kOzy | kFerry},
    {"ozy25/4.0", "ozy.version.version5", kOzy5, kOzy | kFerry},
    {"ozy25/4.1", "ozy.version.version6", kOzy6, kOzy | kFerry},
    {"ozy25/5.0", "ozy.version.version7", kOzy7, kOzy | kFerry},
    {"ozy25/5.1", "ozy.version.version8", kOzy8, kOzy | kFerry},
    {"ozy25/5.5", "ozy.version.version9", kOzy9, kOzy | kFerry},
    {"ozy25/6.0", "ozy.version.version10", kOzy10, kOzy},
    {"ozy25/dev2", "ozy.version.dev", kOzyDev, kOzy},
    {"ozy25/r15i2", "ozy.version.r15i2", kOzyR15i2, kOzy},
    {"ozy25/r15i3", "ozy.version.r15i3", kOzyR15i3, kOzy},
    {"ozy25/r15i4", "ozy.version.r15i4", kOzyR15i4, kOzy},
    {"ozy25/r15i4x3CD75", "ozy.version.unstable", kOzyUnstable, kOzy},
    {"reflect/1.0", "skema.reflect.version.version1", kReflect1, kOzy | kFerry | kReflect},
    {"ferry", "ferry.version.version1", kFerry1, kFerry},
    {"ferry/1.0", "ferry.version.version1", kFerry1, kFerry},
    {"ferry/2.0", "ferry.version.version2", kFerry2, kFerry},
    {"ferry/3.0", "ferry.version.version3", kFerry3, kFerry},
    {"ferry/4.0", "ferry.version.version4", kFerry4, kFerry},
    {"ferry/5.0", "ferry.version.version5", kFerry5, kFerry},
    {"", "skema.query.version.version1", kEmpty, kAll},
    {"", "skema.query.version.version2", kEmpty, kAll},
    {"", "skema.query.version.version3", kEmpty, kAll},
    {"", "skema.query.version.version4", kEmpty, kAll},
    {"", "skema.version.version1", kEmpty, kAll},
    {"", "skema.version.version2", kEmpty, kAll},
    {"", "skema.version.version0", kEmpty, kAll},
});

OrvaneVersionEntry *EntryNew(const VersionRow &row) {
    auto *entry = g_new0(OrvaneVersionEntry, 1);
    entry->name = row.name;
    entry->versions = g_ptr_array_new();
    for (guint i = 0; i < kVersionTexts.size(); i++) {
        if (row.members & (guint32{1} << i))
            g_ptr_array_add(entry->versions, const_cast<char *>(kVersionTexts[i]));
    }
    entry->reserved = 4;
    entry->mask = row.members;
    return entry;
}

void Populate(GHashTable *table, guint8 family) {
    for (const VersionRow &row : kVersions) {
        if (row.families & family)
            g_hash_table_insert(table, const_cast<char *>(row.key), EntryNew(row));
    }
}

} // namespace

void OrvaneVersionEntryFree(gpointer entry) {
    auto *version = static_cast<OrvaneVersionEntry *>(entry);
    g_ptr_array_free(version->versions, TRUE);
    g_free(version);
}

gint OrvaneVersion_Index(const char *wireText) {
    return VersionTexts_Index(wireText);
}

const char *OrvaneVersion_Text(guint index) {
    return index < kVersionTexts.size() ? kVersionTexts[index] : nullptr;
}

void skema_core_populate_version_map(GHashTable *table) {
    Populate(table, kCore);
}

void skema_ozy_populate_version_map(GHashTable *table) {
    Populate(table, kOzy);
}

void skema_ferry_populate_version_map(GHashTable *table) {
    Populate(table, kFerry);
}

void skema_reflect_populate_version_map(GHashTable *table) {
    Populate(table, kReflect);
}

/* A function a row of the public header; the text must be one of the catalogue. */
#define VERSION_QUARK(suffix, wireText)                                                            \
    GQuark orvane_quark_version_##suffix(void) {                                                   \
        static_assert(VersionTexts_Index(wireText) >= 0);                                          \
        return g_quark_from_static_string(wireText);                                               \
    }

VERSION_QUARK(ozy0, "")
VERSION_QUARK(ozy2_2_0, "ozy2/2.0")
VERSION_QUARK(ozy25_2_5, "ozy25/2.5")
VERSION_QUARK(ozy25_2_5u2, "ozy25/2.5u2")
VERSION_QUARK(ozy25_2_5u2server, "ozy25/2.5u2server")
VERSION_QUARK(ozy25_4_0, "ozy25/4.0")
VERSION_QUARK(ozy25_4_1, "ozy25/4.1")
VERSION_QUARK(ozy25_5_0, "ozy25/5.0")
VERSION_QUARK(ozy25_5_1, "ozy25/5.1")
VERSION_QUARK(ozy25_5_5, "ozy25/5.5")
VERSION_QUARK(ozy25_6_0, "ozy25/6.0")
VERSION_QUARK(ozy25_dev2, "ozy25/dev2")
VERSION_QUARK(ozy25_r15i2, "ozy25/r15i2")
VERSION_QUARK(ozy25_r15i3, "ozy25/r15i3")
VERSION_QUARK(ozy25_r15i4, "ozy25/r15i4")
VERSION_QUARK(ozy25_r15i4x3cd75, "ozy25/r15i4x3CD75")
VERSION_QUARK(reflect_1_0, "reflect/1.0")
VERSION_QUARK(ferry_1_0, "ferry/1.0")
VERSION_QUARK(ferry_2_0, "ferry/2.0")
VERSION_QUARK(ferry_3_0, "ferry/3.0")
VERSION_QUARK(ferry_4_0, "ferry/4.0")
VERSION_QUARK(ferry_5_0, "ferry/5.0")

#undef VERSION_QUARK
