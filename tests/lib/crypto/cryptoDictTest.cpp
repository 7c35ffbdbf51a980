#include <crypto/cryptoDict.h>

#include <algorithm>

#include "tests/lib/crypto/keys.h"

namespace {

using namespace std::literals;
using Pairs = std::vector<std::pair<std::string, std::string>>;

CryptoDictPtr Make(const Pairs &pairs) {
    CryptoDictPtr dict;
    EXPECT_EQ(0u, CryptoDict_Create(CryptoOut(dict)));
    for (const auto &[key, value] : pairs)
        EXPECT_EQ(0u, CryptoDict_Set(dict.get(), key.c_str(), value.c_str()));
    return dict;
}

CryptoDictPtr Read(std::string_view text) {
    CryptoDictPtr dict;
    EXPECT_EQ(0u, CryptoDict_CreateAndImport(text.data(), text.size(), CryptoOut(dict)));
    return dict;
}

std::string Write(const CryptoDictPtr &dict, bool multiLine = false) {
    CryptoText text;
    gsize size = 99;
    EXPECT_EQ(0u, CryptoDict_Export(dict.get(), multiLine, CryptoOut(text), &size));
    EXPECT_EQ(strlen(text.get()), size);
    return text.get();
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
    for (const auto &[text, pairs] : rows)
        EXPECT_EQ(pairs, List(Read(text))) << text;
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

/* A side of a pair up to its first NUL, decoded byte by byte. */
std::string Decode(std::string_view side) {
    std::string decoded;
    for (size_t i = 0; i < side.size(); i++) {
        const bool isEscape = side[i] == '%' && side.size() - i > 2 &&
                              g_ascii_isxdigit(side[i + 1]) && g_ascii_isxdigit(side[i + 2]);
        decoded +=
            isEscape ? static_cast<char>(std::stoi(std::string(side.substr(i + 1, 2)), nullptr, 16))
                     : side[i];
        i += isEscape ? 2 : 0;
    }
    return decoded.c_str();
}

/* The pairs of a text as the format defines them; a later one of the same key replaces an earlier one. */
Pairs ReadByDefinition(std::string_view text) {
    Pairs pairs;
    while (!text.empty()) {
        const std::string_view field = text.substr(0, text.find_first_of(":\n\r"));
        text.remove_prefix(std::min(field.size() + 1, text.size()));
        if (field.empty())
            continue;
        const size_t equals = std::min(field.find('='), field.size());
        const std::string key = Decode(field.substr(0, equals));
        const std::string value = Decode(field.substr(std::min(equals + 1, field.size())));
        const auto found = std::ranges::find(pairs, key, &Pairs::value_type::first);
        if (found == pairs.end())
            pairs.emplace_back(key, value);
        else
            found->second = value;
    }
    return pairs;
}

TEST(CryptoDict, AnyTextIsReadAsTheFormatDefines) {
    guint32 state = 1;
    const auto next = [&state] { return (state = state * 1664525 + 1013904223) >> 16; };
    for (size_t size = 0; size < 4000; size++) {
        // plain runs of any length, so that special bytes are at any distance
        const guint32 plain = next() % 40;
        std::vector<char> text;
        while (text.size() < size % 200)
            text.push_back(next() % 40 < plain ? static_cast<char>('a' + next() % 3)
                                               : "%=:\n\r\0004f"[next() % 8]);
        const std::string_view whole(text.data(), text.size()); // asan knows where it ends
        ASSERT_EQ(ReadByDefinition(whole), List(Read(whole))) << whole;
    }
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
