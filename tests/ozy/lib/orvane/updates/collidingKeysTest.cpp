// Ids and keys that a service has chosen so that they have one hash, were it one without a key of its own.
#include <ctime>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>
#include <orvane/privilege.h>
#include <orvane/schema/ozy.h>

#include "lib/misc/keyedHash.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateKeys.h"
#include "tests/support/sanitized.h"

namespace {

constexpr guint kCount = 1 << 15;

/* In the hash of GLib, "Ez" and "FY" are the same. */
std::string Text(guint number) {
    std::string text;
    for (guint bit = kCount; bit > 1; bit /= 2, number /= 2)
        text += number % 2 == 0 ? "Ez" : "FY";
    return text;
}

struct CollidingKeys : testing::Test {
    ~CollidingKeys() override {
        EXPECT_GT(2 * kSanitizerFactor * CLOCKS_PER_SEC, clock() - start) << "each looks at all";
    }
    const clock_t start = clock();
};

TEST_F(CollidingKeys, OfProxies) {
    ASSERT_EQ(g_str_hash(Text(0).c_str()), g_str_hash(Text(kCount - 1).c_str()));
    EXPECT_NE(KeyedHash_Text(Text(0).c_str()), KeyedHash_Text(Text(kCount - 1).c_str()));
    const ObjectPtr<OrvaneSession> session(orvane_session_new());
    const ObjectPtr<OrvaneMOMgr> manager(orvane_momgr_new(session.get()));
    for (guint i = 0; i < kCount; i++)
        orvane_momgr_lookup_or_create(manager.get(), Text(i).c_str(), SKEMA_TYPE_OZY_FOLDER);
    EXPECT_STREQ(Text(7).c_str(), orvane_momgr_lookup(manager.get(), Text(7).c_str())->id);
}

TEST_F(CollidingKeys, OfPrivileges) {
    GHashTable *table = skema_privilege_create_table();
    for (guint i = 0; i < kCount; i++)
        skema_privilege_update(table, Text(i).c_str(), TRUE);
    EXPECT_TRUE(skema_privilege_check(table, Text(7).c_str()));
    g_hash_table_unref(table);
}

TEST_F(CollidingKeys, OfNumbers) {
    std::unordered_map<gint64, int> model;
    model.reserve(kCount);
    const auto step = gint64(model.bucket_count());
    UpdateKeys keys;
    keys.Reserve(kCount);
    for (guint i = 0; i < kCount; i++)
        keys.Append(UpdateKey{false, i * step, {}});
    EXPECT_EQ(7, keys.Find({false, 7 * step, {}}));
}

} // namespace
