#include "lib/misc/hashTable.h"

#include <random>

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"
#include "tests/lib/lock/inThreads.h"

namespace {

using TablePtr = std::unique_ptr<HashTable, Release<HashTable_Free>>;

gpointer Number(guint64 number) {
    return reinterpret_cast<gpointer>(number);
}

std::string freed; /* values given to freeEntryFn, as letters */
void FreeLetter(gpointer value) {
    freed += char(GPOINTER_TO_INT(value));
}

/* Returns the keys in order of buckets, each followed by a space. */
std::string Keys(const HashTable *table, bool areNumbers = false) {
    gconstpointer *keys = nullptr;
    gsize count = 99;
    HashTable_KeyArray(table, &keys, &count);
    EXPECT_EQ(HashTable_GetNumElements(table), count);
    std::string all;
    for (gsize i = 0; i < count; i++)
        all += (areNumbers ? std::to_string(reinterpret_cast<guint64>(keys[i]))
                           : std::string(static_cast<const char *>(keys[i]))) +
               " ";
    free(keys);
    return all;
}

TEST(HashTable, BucketsAreThoseOfTheHashAndItsFolding) {
    const std::tuple<guint, gint, std::vector<const char *>, const char *> rows[] = {
        {16,
         0,
         {"", "a", "ab", "task", "info", "host-12", "vm", "datacenter", "\xe9t\xe9"},
         " task vm ab info \xe9t\xe9 datacenter a host-12 "},
        {16, 0, {"", "Task"}, "Task  "}, /* one bucket: the newest first */
        {16, 1, {"AB", "Vm", "TASK"}, "TASK Vm AB "},
        {256, 0, {"host-12", "a", "info", "ab"}, "a host-12 ab info "},
        {1, 0, {"c", "a", "b"}, "b a c "},
    };
    for (const auto &[buckets, flags, words, order] : rows) {
        TablePtr table(HashTable_Alloc(buckets, flags, nullptr));
        for (const char *word : words)
            HashTable_Insert(table.get(), word, nullptr);
        EXPECT_EQ(order, Keys(table.get()));
    }
}

TEST(HashTable, BothHalvesOfANumberCount) {
    TablePtr table(HashTable_Alloc(8, HASHTABLE_INT, nullptr));
    for (guint64 number : {48271ul, 0x7fff12345678ul, 3ul, 7ul, 0ul, 1ul, 1ul << 32})
        EXPECT_TRUE(HashTable_Insert(table.get(), Number(number), Number(number)));
    EXPECT_EQ("4294967296 1 0 7 3 140733498807928 48271 ", Keys(table.get(), true));
    gpointer value = nullptr;
    EXPECT_TRUE(HashTable_Lookup(table.get(), Number(1ul << 32), &value));
    EXPECT_EQ(Number(1ul << 32), value);
}

TEST(HashTable, KeysOfOtherCaseAreOneOrTwo) {
    for (gint flags : {HASHTABLE_STRING, HASHTABLE_ISTRING}) {
        TablePtr table(HashTable_Alloc(16, flags, nullptr));
        EXPECT_TRUE(HashTable_Insert(table.get(), "Foo", Number(1)));
        EXPECT_EQ(flags == HASHTABLE_STRING, HashTable_Insert(table.get(), "foo", Number(2)));
        gpointer value = Number(9);
        EXPECT_EQ(flags == HASHTABLE_ISTRING, HashTable_Lookup(table.get(), "FOO", &value));
        EXPECT_EQ(flags == HASHTABLE_ISTRING ? Number(1) : nullptr, value);
        EXPECT_EQ(flags == HASHTABLE_STRING ? 2u : 1u, HashTable_GetNumElements(table.get()));
    }
}

TEST(HashTable, AValueIsFreedOnceUnlessItIsPassedOn) {
    const auto isLetter = [](char c) { return GINT_TO_POINTER(c); };
    for (gint flags : {0, int(HASHTABLE_ATOMIC)}) {
        freed.clear();
        TablePtr table(HashTable_Alloc(4, flags, FreeLetter));
        EXPECT_FALSE(HashTable_ReplaceOrInsert(table.get(), "1", isLetter('a')));
        EXPECT_FALSE(HashTable_Insert(table.get(), "1", isLetter('x')));
        EXPECT_EQ(isLetter('a'), HashTable_LookupOrInsert(table.get(), "1", isLetter('y')));
        EXPECT_EQ("", freed);
        EXPECT_TRUE(HashTable_ReplaceOrInsert(table.get(), "1", isLetter('b')));
        EXPECT_EQ("a", freed);
        EXPECT_FALSE(HashTable_ReplaceIfEqual(table.get(), "1", isLetter('a'), isLetter('z')));
        EXPECT_FALSE(HashTable_ReplaceIfEqual(table.get(), "no", nullptr, isLetter('z')));
        EXPECT_TRUE(HashTable_ReplaceIfEqual(table.get(), "1", isLetter('b'), isLetter('c')));
        EXPECT_EQ("ab", freed);
        EXPECT_TRUE(HashTable_Delete(table.get(), "1"));
        EXPECT_FALSE(HashTable_Delete(table.get(), "1"));
        EXPECT_EQ("abc", freed);

        gpointer value = isLetter('q');
        EXPECT_EQ(isLetter('d'), HashTable_LookupOrInsert(table.get(), "2", isLetter('d')));
        EXPECT_TRUE(HashTable_LookupAndDelete(table.get(), "2", &value));
        EXPECT_EQ(isLetter('d'), value);
        EXPECT_FALSE(HashTable_LookupAndDelete(table.get(), "2", &value));
        EXPECT_EQ(nullptr, value);
        HashTable_Insert(table.get(), "3", isLetter('e'));
        HashTable_Clear(table.get());
        HashTable_Insert(table.get(), "3", isLetter('f'));
        table.reset();
        EXPECT_EQ("abcef", freed);
    }
}

TEST(HashTable, CopiedKeysOutliveTheirOrigin) {
    TablePtr table(HashTable_Alloc(2, HASHTABLE_STRING | HASHTABLE_COPYKEY, nullptr));
    for (int i = 0; i < 20; i++)
        EXPECT_TRUE(HashTable_Insert(table.get(), std::to_string(i).c_str(), Number(guint64(i))));
    gconstpointer *keys = nullptr;
    gsize count = 0;
    HashTable_KeyArray(table.get(), &keys, &count);
    ASSERT_EQ(20u, count);
    for (gsize i = 0; i < count; i += 2)
        EXPECT_TRUE(HashTable_Delete(table.get(), keys[i])); /* finds the table's own copy */
    free(keys);
    EXPECT_EQ(10u, HashTable_GetNumElements(table.get()));
}

/* Compares random steps with a std::map. They delete at the ends, in the middle, and the only entry of
 * chains. */
TEST(HashTable, AgreesWithAMap) {
    std::minstd_rand random(1);
    std::map<guint64, gpointer> model;
    TablePtr table(HashTable_Alloc(4, HASHTABLE_INT, nullptr));
    for (guint64 i = 1; i < 5000; i++) {
        const guint64 key = random() % 40;
        if (random() % 2 == 0) {
            EXPECT_EQ(model.emplace(key, Number(i)).second,
                      HashTable_Insert(table.get(), Number(key), Number(i)));
        } else {
            EXPECT_EQ(model.erase(key) == 1, HashTable_Delete(table.get(), Number(key)));
        }
        const guint64 other = random() % 40;
        gpointer value = nullptr;
        HashTable_Lookup(table.get(), Number(other), &value);
        EXPECT_EQ(model.contains(other) ? model[other] : nullptr, value);
        ASSERT_EQ(model.size(), HashTable_GetNumElements(table.get()));
    }
}

TEST(HashTable, AnIterationStopsAtTheFirstResultAndMayDelete) {
    TablePtr table(HashTable_Alloc(16, HASHTABLE_INT, nullptr));
    gpointer *values = nullptr;
    gsize count = 99;
    HashTable_ToArray(table.get(), &values, &count);
    EXPECT_EQ(nullptr, values);
    EXPECT_EQ(0u, count);

    for (guint64 i = 0; i < 50; i++)
        HashTable_Insert(table.get(), Number(i), Number(i + 100));
    HashTable_ToArray(table.get(), &values, &count);
    ASSERT_EQ(50u, count);
    EXPECT_EQ(values[7], Number(gsize(HashTable_ForEach(
                             table.get(),
                             [](gconstpointer, gpointer value, gpointer data) {
                                 return value == data ? GPOINTER_TO_INT(value) : 0;
                             },
                             values[7]))));
    free(values);
    EXPECT_EQ(0, HashTable_ForEach(
                     table.get(),
                     [](gconstpointer key, gpointer, gpointer data) {
                         return gint(!HashTable_Delete(static_cast<HashTable *>(data), key));
                     },
                     table.get()));
    EXPECT_EQ(0u, HashTable_GetNumElements(table.get()));
}

TEST(HashTable, ThreadsAgreeOnOneTableAndOneValuePerKey) {
    constexpr guint64 kKeys = 500;
    static HashTable *shared;
    shared = nullptr;
    std::atomic<int> numInserted = 0;
    std::vector<std::vector<gpointer>> seen(4);
    InThreads(4, [&](guint64 t) {
        HashTable *table = HashTable_AllocOnce(
            &shared, 8, HASHTABLE_STRING | HASHTABLE_COPYKEY | HASHTABLE_ATOMIC, nullptr);
        for (guint64 i = 0; i < kKeys; i++) {
            const std::string key = std::to_string(i);
            numInserted += HashTable_Insert(table, key.c_str(), Number(t * kKeys + i));
            seen[t].push_back(HashTable_LookupOrInsert(table, key.c_str(), Number(~0ul)));
        }
    });
    EXPECT_EQ(int(kKeys), numInserted);
    EXPECT_EQ(kKeys, HashTable_GetNumElements(shared));
    for (const auto &each : seen)
        EXPECT_EQ(seen[0], each);
    HashTable_FreeUnsafe(shared);
}

TEST(HashTable, ThreadsReplaceAndEachValueIsFreedOnce) {
    static std::atomic<guint64> sum;
    sum = 0;
    TablePtr table(HashTable_Alloc(1, HASHTABLE_INT | HASHTABLE_ATOMIC, [](gpointer value) {
        sum += reinterpret_cast<guint64>(value);
    }));
    InThreads(4, [&](int) {
        for (guint64 i = 1; i <= 1000; i++)
            HashTable_ReplaceOrInsert(table.get(), Number(i % 3), Number(i));
    });
    table.reset();
    EXPECT_EQ(4u * 500500, sum);
}

TEST(HashTableDeathTest, InvalidArgumentsEndTheProcess) {
    for (guint buckets : {0u, 3u, 12u})
        EXPECT_EXIT(HashTable_Alloc(buckets, 0, nullptr), testing::ExitedWithCode(255),
                    "^HashTable_Alloc only takes powers of 2 \n$");
    for (gint flags : {3, 7, HASHTABLE_INT | HASHTABLE_COPYKEY})
        EXPECT_EXIT(HashTable_Alloc(2, flags, nullptr), testing::ExitedWithCode(255),
                    "^VERIFY lib/misc/hashTable\\.cpp");
}

} // namespace
