#include <crypto/cryptoDict.h>

#include "tests/lib/crypto/keys.h"

namespace {

using namespace std::literals;
using Pairs = std::vector<std::pair<std::string, std::string>>;

CryptoDictPtr Make(const Pairs &pairs) {
    auto dict = Owned<CryptoDictPtr>(CryptoDict_Create);
    for (const auto &[key, value] : pairs)
        EXPECT_EQ(0u, CryptoDict_Set(dict.get(), key.c_str(), value.c_str()));
    return dict;
}

CryptoDictPtr Read(std::string_view text) {
    auto dict = Owned<CryptoDictPtr>(CryptoDict_CreateAndImport, text.data(), text.size());
    return dict;
}

std::string Write(const CryptoDictPtr &dict, bool multiLine = false) {
    return OwnedText(CryptoDict_Export, dict.get(), multiLine);
}

Pairs List(const CryptoDictPtr &dict) {
    Pairs pairs;
    CryptoDictIterator *iterator = CryptoDictIterator_Create(dict.get());
    const char *key;
    const char *value;
    while (CryptoDictIterator_HasNext(iterator)) {
        EXPECT_TRUE(CryptoDictIterator_Next(iterator, &key, &value));
        pairs.emplace_back(key, value);
    }
    EXPECT_FALSE(CryptoDictIterator_Next(iterator, &key, &value));
    EXPECT_EQ(nullptr, key);
    EXPECT_EQ(nullptr, value);
    CryptoDictIterator_Destroy(iterator);
    return pairs;
}

TEST(CryptoDict, BothFormsOfTheText) {
    const std::tuple<Pairs, const char *, const char *> rows[] = {
        {{}, "", ""},
        {{{"k", "a=b:c%"}}, "k=a%3db%3ac%25", "k=a%3db%3ac%25\n"},
        {{{"k", "1"}, {"j", "2"}, {"k", "3"}}, "k=3:j=2", "k=3\nj=2\n"},
        {{{"a b", "x y\t~"}, {"", ""}}, "a b=x y%09~:=", "a b=x y%09~\n=\n"},
        {{{"\n=", "\x7f\x80\xff\x1f"}}, "%0a%3d=%7f%80%ff%1f", "%0a%3d=%7f%80%ff%1f\n"},
    };
    for (const auto &[pairs, line, lines] : rows) {
        const CryptoDictPtr dict = Make(pairs);
        EXPECT_EQ(line, Write(dict));
        EXPECT_EQ(lines, Write(dict, true));
        EXPECT_EQ(List(dict), List(Read(line)));
        EXPECT_EQ(List(dict), List(Read(lines)));
    }
}

TEST(CryptoDict, ReadsWhatOthersMayWrite) {
    const std::pair<std::string_view, Pairs> rows[] = {
        {"a", {{"a", ""}}},
        {"a=", {{"a", ""}}},
        {"=b", {{"", "b"}}},
        {"=", {{"", ""}}},
        {"::\r\n\na=1:\r:b=2\n", {{"a", "1"}, {"b", "2"}}},
        {"a=b=c", {{"a", "b=c"}}},
        {"x=%zz:y=%4:z=%:w=%4g", {{"x", "%zz"}, {"y", "%4"}, {"z", "%"}, {"w", "%4g"}}},
        {"x=%%41%4a%4A", {{"x", "%AJJ"}}},
        {"x%3=d", {{"x%3", "d"}}},
        {"%6b=1:k=2", {{"k", "2"}}},
        {"x=a%00b:y\0z=c"sv, {{"x", "a"}, {"y", "c"}}},
    };
    for (const auto &[text, pairs] : rows) {
        EXPECT_EQ(pairs, List(Read(text))) << text;
        for (size_t run = 1; run < 70; run++) { /* the special bytes may be anywhere */
            const std::string plain(run, 'p');
            Pairs longer = {{plain, plain}};
            longer.insert(longer.end(), pairs.begin(), pairs.end());
            longer.emplace_back("q" + plain, plain + "%");
            const std::string whole =
                plain + "=" + plain + ":" + std::string(text) + ":q" + plain + "=" + plain + "%";
            ASSERT_EQ(longer, List(Read(whole))) << whole;
        }
    }
    EXPECT_EQ((Pairs{{"k", "a"}}), List(Read("k=abc"sv.substr(0, 3)))) << "ends at its size";
}

TEST(CryptoDict, EveryByteComesBackWhateverFollowsAPercentSign) {
    std::string all = "%%4%zz%";
    for (int c = 1; c < 256; c++)
        all += static_cast<char>(c);
    EXPECT_EQ((Pairs{{all, all}}), List(Read(Write(Make({{all, all}})))));
}

TEST(CryptoDict, NumbersAndBytes) {
    const CryptoDictPtr dict = Read("dec=12:hex=0x10:oct=010:big=4294967298:neg=-1:end=1x:empty="
                                    ":bad=!:good=Zm9v:none=");
    const std::tuple<const char *, CryptoError, guint32> numbers[] = {
        {"dec", 0, 12},         {"hex", 0, 16}, {"oct", 0, 8},   {"big", 0, 2},
        {"neg", 0, 0xffffffff}, {"end", 1, 0},  {"empty", 0, 0}, {"gone", 10, 0}};
    for (const auto &[key, error, expected] : numbers) {
        guint32 value = 99;
        EXPECT_EQ(error, CryptoDict_GetUint32(dict.get(), key, &value)) << key;
        EXPECT_EQ(expected, value) << key;
    }
    const std::tuple<const char *, CryptoError, const char *> blocks[] = {
        {"good", 0, "foo"}, {"none", 0, ""}, {"bad", 1, ""}, {"gone", 10, ""}};
    for (const auto &[key, error, expected] : blocks) {
        const Result block = Made(CryptoDict_GetBase64, dict.get(), key);
        EXPECT_EQ(error, block.error) << key;
        EXPECT_EQ(expected, block.Text()) << key;
    }
    EXPECT_EQ(0u, CryptoDict_SetUint32(dict.get(), "max", 0xffffffff));
    EXPECT_STREQ("4294967295", CryptoDict_Get(dict.get(), "max"));
    EXPECT_EQ(0u, CryptoDict_SetBase64(dict.get(), "bytes", "\0\xff", 2));
    EXPECT_STREQ("AP8=", CryptoDict_Get(dict.get(), "bytes"));
    EXPECT_FALSE(CryptoDict_HadSetError(dict.get()));
}

TEST(CryptoDict, AMissingKeyIsKnownByItsAddress) {
    const CryptoDictPtr dict = Make({{"empty", ""}});
    EXPECT_EQ(CryptoDict_NotFound, CryptoDict_Get(dict.get(), "gone"));
    EXPECT_NE(CryptoDict_NotFound, CryptoDict_Get(dict.get(), "empty"));
    EXPECT_STREQ("", CryptoDict_NotFound);
}

TEST(CryptoDict, AValueMaySetItsOwnEntry) {
    const CryptoDictPtr dict = Make({{"key", "value"}});
    const char *value = CryptoDict_Get(dict.get(), "key");
    EXPECT_EQ(0u, CryptoDict_Set(dict.get(), "key", value + 1));
    EXPECT_STREQ("alue", CryptoDict_Get(dict.get(), "key"));
}

/* More than the few entries that are searched one by one. */
TEST(CryptoDict, ManyEntriesKeepTheirOrderAndAreFoundAndReplaced) {
    constexpr int kCount = 3000;
    const CryptoDictPtr dict = Make({});
    Pairs expected;
    for (int i = 0; i < kCount; i++) {
        expected.emplace_back("key" + std::to_string(i), std::to_string(i * 7));
        CryptoDict_Set(dict.get(), expected.back().first.c_str(), "old");
    }
    for (int i = kCount - 1; i >= 0; i--)
        CryptoDict_Set(dict.get(), expected[i].first.c_str(), expected[i].second.c_str());
    EXPECT_EQ(expected, List(dict));
    EXPECT_STREQ("700", CryptoDict_Get(dict.get(), "key100"));
    EXPECT_EQ(CryptoDict_NotFound, CryptoDict_Get(dict.get(), "key3000"));
    EXPECT_EQ(expected, List(Read(Write(dict))));
}

/* A list that were searched one by one would need hours. */
TEST(CryptoDict, ALargeTextIsReadInTime) {
    std::string text;
    for (int i = 0; i < 300000; i++)
        text += "k" + std::to_string(i) + "=:";
    const CryptoDictPtr dict = Read(text);
    EXPECT_NE(CryptoDict_NotFound, CryptoDict_Get(dict.get(), "k299999"));
    text.pop_back();
    EXPECT_EQ(text, Write(dict));
}

} // namespace
