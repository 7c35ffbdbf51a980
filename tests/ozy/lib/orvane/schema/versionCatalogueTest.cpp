#include "ozy/lib/orvane/schema/versionCatalogue.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/schemaRows/versionTexts.h"

namespace {

using Texts = std::set<std::string>;

Texts Members(const char *key) {
    const OrvaneVersionEntry *entry = orvane_lookup_version(key);
    Texts members;
    for (guint i = 0; entry != nullptr && i < entry->versions->len; i++)
        members.insert(static_cast<const char *>(entry->versions->pdata[i]));
    return members;
}

bool Includes(const char *key, const char *text) {
    return Members(key).contains(text);
}

TEST(VersionCatalogue, EntriesAreNamedAndCounted) {
    const struct {
        const char *key, *name;
        gsize numMembers; /* with the empty text */
    } rows[] = {
        {"", "skema.version.version0", 1},
        {"ozy2", "ozy.version.version1", 2},
        {"ozy2/2.0", "ozy.version.version1", 2},
        {"ozy25/2.5", "ozy.version.version2", 3},
        {"ozy25", "ozy.version.version3", 4},
        {"ozy25/2.5u2", "ozy.version.version3", 4},
        {"ozy25/2.5u2server", "ozy.version.version4", 5},
        {"ozy25/4.0", "ozy.version.version5", 6},
        {"ozy25/4.1", "ozy.version.version6", 7},
        {"ozy25/5.0", "ozy.version.version7", 9},
        {"ozy25/5.1", "ozy.version.version8", 10},
        {"ozy25/5.5", "ozy.version.version9", 11},
        {"ozy25/6.0", "ozy.version.version10", 12},
        {"ozy25/dev2", "ozy.version.dev", 13},
        {"ozy25/r15i2", "ozy.version.r15i2", 14},
        {"ozy25/r15i3", "ozy.version.r15i3", 15},
        {"ozy25/r15i4", "ozy.version.r15i4", 16},
        {"ozy25/r15i4x3CD75", "ozy.version.unstable", 17},
        {"reflect/1.0", "skema.reflect.version.version1", 2},
        {"ferry", "ferry.version.version1", 5},
        {"ferry/1.0", "ferry.version.version1", 5},
        {"ferry/2.0", "ferry.version.version2", 9},
        {"ferry/3.0", "ferry.version.version3", 12},
        {"ferry/4.0", "ferry.version.version4", 14},
        {"ferry/5.0", "ferry.version.version5", 16},
    };
    for (const auto &row : rows) {
        const OrvaneVersionEntry *entry = orvane_lookup_version(row.key);
        ASSERT_NE(nullptr, entry) << row.key;
        EXPECT_STREQ(row.name, entry->name) << row.key;
        EXPECT_EQ(row.numMembers, entry->versions->len) << row.key;
        EXPECT_EQ(row.numMembers, Members(row.key).size()) << row.key << ": a member twice";
        EXPECT_TRUE(Includes(row.key, "")) << row.key;
        EXPECT_EQ(4u, entry->reserved) << row.key;
    }
    for (const char *key : {"ozy25/7.0", "ozy", "OZY2", "ozy25/6.0 ", "reflect", "ozy25:6.0"})
        EXPECT_EQ(nullptr, orvane_lookup_version(key)) << key;
}

TEST(VersionCatalogue, OnlyAReleaseThatIncludesItTakesAProperty) {
    const struct {
        const char *text;
        Texts takenBy;
    } rows[] = {
        {"ozy25/5.5",
         {"ozy25/5.5", "ozy25/6.0", "ozy25/dev2", "ozy25/r15i2", "ozy25/r15i3", "ozy25/r15i4",
          "ozy25/r15i4x3CD75", "ferry/5.0"}},
        {"ozy25/dev2",
         {"ozy25/dev2", "ozy25/r15i2", "ozy25/r15i3", "ozy25/r15i4", "ozy25/r15i4x3CD75"}},
        {"ozy25/2.5u2server",
         {"ozy25/2.5u2server", "ozy25/4.0", "ozy25/4.1", "ozy25/5.0", "ozy25/5.1", "ozy25/5.5",
          "ozy25/6.0", "ozy25/dev2", "ozy25/r15i2", "ozy25/r15i3", "ozy25/r15i4",
          "ozy25/r15i4x3CD75", "ferry/2.0", "ferry/3.0", "ferry/4.0", "ferry/5.0"}},
        {"reflect/1.0",
         {"reflect/1.0", "ozy25/5.0", "ozy25/5.1", "ozy25/5.5", "ozy25/6.0", "ozy25/dev2",
          "ozy25/r15i2", "ozy25/r15i3", "ozy25/r15i4", "ozy25/r15i4x3CD75", "ferry/3.0",
          "ferry/4.0", "ferry/5.0"}},
        {"ferry/1.0", {"ferry/1.0", "ferry/2.0", "ferry/3.0", "ferry/4.0", "ferry/5.0"}},
        {"ferry/4.0", {"ferry/4.0", "ferry/5.0"}},
    };
    for (const auto &[text, takenBy] : rows) {
        for (const char *key : kVersionTexts)
            EXPECT_EQ(takenBy.contains(key), Includes(key, text)) << text << " to " << key;
    }
}

TEST(VersionCatalogue, MembersAsBitsAreTheMembersAsTexts) {
    for (const char *key : kVersionTexts) {
        const guint32 mask = orvane_lookup_version(key)->mask;
        for (guint i = 0; OrvaneVersion_Text(i) != nullptr; i++)
            EXPECT_EQ(Includes(key, OrvaneVersion_Text(i)), (mask >> i & 1) != 0) << key << i;
        EXPECT_EQ(key, OrvaneVersion_Text(static_cast<guint>(OrvaneVersion_Index(key))));
    }
    EXPECT_EQ(nullptr, OrvaneVersion_Text(22));
    EXPECT_EQ(-1, OrvaneVersion_Index("ozy25/7.0"));
}

TEST(VersionCatalogue, QuarksAreTheWireTexts) {
    const std::pair<GQuark, const char *> rows[] = {
        {orvane_quark_version_ozy0(), ""},
        {orvane_quark_version_ozy25_2_5u2server(), "ozy25/2.5u2server"},
        {orvane_quark_version_ozy25_r15i4x3cd75(), "ozy25/r15i4x3CD75"},
        {orvane_quark_version_reflect_1_0(), "reflect/1.0"},
        {orvane_quark_version_ferry_5_0(), "ferry/5.0"},
    };
    for (const auto &[quark, text] : rows)
        EXPECT_STREQ(text, g_quark_to_string(quark));
}

TEST(VersionCatalogue, FamiliesInsertTheirOwnKeys) {
    using Populate = void (*)(GHashTable *);
    const std::pair<Populate, guint> rows[] = {{skema_core_populate_version_map, 1},
                                               {skema_ozy_populate_version_map, 19},
                                               {skema_ferry_populate_version_map, 19},
                                               {skema_reflect_populate_version_map, 2}};
    for (const auto &[populate, numKeys] : rows) {
        GHashTable *table =
            g_hash_table_new_full(g_str_hash, g_str_equal, nullptr, OrvaneVersionEntryFree);
        populate(table);
        EXPECT_EQ(numKeys, g_hash_table_size(table));
        g_hash_table_destroy(table);
    }
}

} // namespace
