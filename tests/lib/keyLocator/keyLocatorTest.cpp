#include "lib/keyLocator/keyLocatorInt.h"

#include "tests/lib/crypto/keys.h"
#include "tests/lib/lock/inThreads.h"

namespace {

constexpr const char *kPair = "pair/(null/%3cHALDEN%2dEMPTYSTRING%3e,HMAC%2dSHA%2d1,AAAA)";

std::string Export(const KeyLocator *locator) {
    return Owned<CryptoText>(KeyLocator_Export, locator).get();
}

KeyLocatorPtr Import(const std::string &text, KeyLocError expected = 0) {
    auto *locator = reinterpret_cast<KeyLocator *>(1);
    EXPECT_EQ(expected, KeyLocator_Import(text.c_str(), &locator)) << text.substr(0, 200);
    EXPECT_EQ(expected == 0, locator != nullptr);
    return KeyLocatorPtr(locator);
}

/* The text behind the scheme is written as it was read. */
TEST(KeyLocator, TextsAreReadAndWrittenAlike) {
    const std::string rows[] = {
        "null/%3cHALDEN%2dEMPTYSTRING%3e",
        "phrase/a%2bB%3d/pass2key%3dx%3acipher%3dy",
        "ldap/id1/a%2eb/<HALDEN-NULL>/389/TRUE/cn%3dx",
        "ldap/id1/<HALDEN-EMPTYSTRING>/b/0/FALSE/<HALDEN-EMPTYSTRING>",
        "script/id/%2fbin%2fkey/x%20y",
        "script/id/path/<HALDEN-NULL>",
        "role/id/obfuscation",
        "role/id/adminIdent",
        "role/id/adminRecovery",
        "role/id/server",
        "list/()",
        "list/(role/a/server,role/b/server)",
        "list/(list/(),list/(role/b/server,null/%3cHALDEN%2dEMPTYSTRING%3e))",
        kPair,
        "pair/(list/(role/a/server,list/()),HMAC%2dSHA%2d256,YWJj%2b%2f8%3d)",
    };
    for (const std::string &row : rows)
        EXPECT_EQ("halden:key/" + row, Export(Import("halden:key/" + row).get()));
}

TEST(KeyLocator, ReadsOtherSpellings) {
    const std::pair<const char *, const char *> rows[] = {
        {"HALDEN:KEY/ROLE/id/SERVER", "role/id/server"},
        {"halden:key/ldap/i d/a.b/<halden-null>/007/true/c/",
         "ldap/i%20d/a%2eb/<HALDEN-NULL>/7/TRUE/c"},
        {"halden:key/ldap/i/%3Chalden%2Dnull%3E/x/1/False/c", "ldap/i/<HALDEN-NULL>/x/1/FALSE/c"},
        {"halden:key/null/<HALDEN-EMPTYSTRING>", "null/%3cHALDEN%2dEMPTYSTRING%3e"},
        {"halden:key/list/(<HALDEN-EMPTYSTRING>)/", "list/()"},
        {"halden:key/list/(role/a/server,)", "list/(role/a/server)"},
        {"halden:key/role/id/server/what follows", "role/id/server"},
        {"halden:key/role/i%00d/server", "role/i/server"},
    };
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(std::string("halden:key/") + expected, Export(Import(text).get()));
}

TEST(KeyLocator, MalformedTextsAreRefused) {
    const std::pair<KeyLocError, const char *> rows[] = {
        {7, "null null/x null/<HALDEN-NULL> other/id rawkey/"},
        {7, "/role/id/server role/id role//server role/id/other role/<HALDEN-NULL>/server"},
        {7, "role/i%4/server role/i%/server role/i%zz/server role/i%c3/server"},
        {7, "role/i\xc3\xa4/server script/i/<HALDEN-NULL>/c ldap/i/a/b/x/TRUE/c"},
        {7, "ldap/i/a/b/4294967296/TRUE/c ldap/i/a/b/99999999999999999999999999/TRUE/c"},
        {7, "ldap/i/a/b/-1/TRUE/c ldap/i/a/b/<HALDEN-EMPTYSTRING>/TRUE/c ldap/i/a/b/1/YES/c"},
        {7, "ldap/i/a/b/1/TRUE/<HALDEN-NULL> ldap/i/a/b/1/TRUE"},
        {7, "list/ list/x list/( list/(role/a/server list/(role/a/server)x list/(<HALDEN-NULL>)"},
        {7, "list/(,) list/(list/(role/a/server)/)"},
        {7, "pair/() pair/(role/a/server) pair/(role/a/server,HMAC-SHA-1)"},
        {10, "pair/(role/a/server,HMAC-SHA-2,AAAA) rawkey/x rawkey/<HALDEN-EMPTYSTRING>"},
        {1, "pair/(role/a/server,HMAC-SHA-1,!) pair/(role/a/server,HMAC-SHA-1,AAAA,AAAA)"},
    };
    for (const auto &[error, texts] : rows) {
        std::istringstream all(texts);
        for (std::string text; all >> text;)
            Import("halden:key/" + text, error);
    }
    for (const char *text : {"", "halden:key", "halden:key/", "halden:kex/role/id/server"})
        Import(text, 7);
    const std::string whole = std::string("halden:key/list/(") + kPair + ",role/a/server)";
    for (size_t size = 0; size < whole.size(); size++)
        Import(whole.substr(0, size), 7);
}

std::string Nested(int depth) {
    std::string text = "halden:key/";
    for (int i = 1; i < depth; i++)
        text += i % 2 ? "list/(" : "pair/(";
    text += "role/a/server";
    for (int i = depth - 1; i > 0; i--)
        text += i % 2 ? ")" : ",HMAC%2dSHA%2d1,AAAA)";
    return text;
}

TEST(KeyLocator, NestingEndsAt256) {
    const KeyLocatorPtr deepest = Import(Nested(256));
    EXPECT_EQ(Nested(256), Export(deepest.get()));
    Import(Nested(257), 7);
    Import(Nested(10000), 7);
    Import(std::string("halden:key/list/") + std::string(1000000, '('), 7);

    /* what a program builds itself has no limit, but cannot be copied or written */
    KeyLocator *outer = nullptr;
    for (int i = 0; i < 100000; i++) {
        KeyLocator *list;
        ASSERT_EQ(0u, KeyLocator_CreateList(&list));
        if (outer)
            KeyLocator_ListAddFirst(list, outer);
        outer = list;
    }
    const KeyLocatorPtr owner(outer);
    KeyLocator *copy;
    EXPECT_EQ(7u, KeyLocator_Clone(outer, &copy));
    CryptoText text;
    EXPECT_EQ(7u, KeyLocator_Export(outer, CryptoOut(text)));
    EXPECT_EQ(7u, KeyLocator_CreatePair(deepest.get(), NewKey().get(), "x", 1, &copy));
}

/* One pass for all parentheses: a search at each depth would take minutes. */
TEST(KeyLocator, WideAndDeepTextsAreReadInTime) {
    std::string text = "halden:key/";
    for (int i = 0; i < 250; i++)
        text += "list/(";
    for (int i = 0; i < 100000; i++)
        text += "list/(),";
    text.back() = ')';
    text += std::string(249, ')');
    EXPECT_EQ(text, Export(Import(text).get()));
}

TEST(KeyLocator, ATreeComesBackWithItsIdsAndKeys) {
    const CryptoKeyPtr key = NewKey();
    auto list = Owned<KeyLocatorPtr>(KeyLocator_CreateList);
    auto phrase = Owned<KeyLocatorPtr>(KeyLocator_CreateLinkToPassphrase, "AES-256");
    for (int i = 0; i < 2; i++) {
        KeyLocator *pair;
        ASSERT_EQ(0u, KeyLocator_CreatePair(phrase.get(), key.get(), "data", 4, &pair));
        EXPECT_TRUE(KeyLocator_ListAddFirst(list.get(), pair));
    }
    const std::string text = Export(list.get());
    auto copy = Owned<KeyLocatorPtr>(KeyLocator_Clone, Import(text).get());
    EXPECT_EQ(text, Export(copy.get()));
    const KeyLocator *locker = KeyLocator_GetPair(KeyLocator_ListLast(copy.get()))->locker;
    EXPECT_STREQ(KeyLocator_GetIndirect(phrase.get())->uniqueId,
                 KeyLocator_GetIndirect(locker)->uniqueId);
    EXPECT_EQ(0, strncmp("pass2key=PBKDF2-HMAC-SHA-1:cipher=AES-256:rounds=1000:salt=",
                         KeyLocator_GetIndirect(locker)->u.phrase.keyGenData, 59));
    const auto unlock = [](const KeyLocator *pair, const CryptoKeyPtr &with) {
        return Made(KeyLocator_UnlockPair, nullptr, pair, with.get(), TRUE);
    };
    EXPECT_EQ("data", unlock(KeyLocator_ListFirst(copy.get()), key).Text());
    EXPECT_EQ(10u, unlock(KeyLocator_ListFirst(copy.get()), NewKey()).error);
    EXPECT_EQ(6u, unlock(copy.get(), key).error);

    auto leaf = Owned<KeyLocatorPtr>(KeyLocator_CreateLeaf, key.get());
    auto again = Owned<CryptoKeyPtr>(KeyLocator_Extract, Import(Export(leaf.get())).get());
    EXPECT_EQ(BytesOf(key.get()), BytesOf(again.get()));
    EXPECT_EQ(6u, KeyLocator_Extract(list.get(), CryptoOut(again)));
}

/* Bytes above 0x7f cannot be written, so they must not come in. */
TEST(KeyLocator, TextsThatCouldNotBeWrittenAreRefused) {
    auto *locator = reinterpret_cast<KeyLocator *>(1);
    const char *const bad = "\xc3\xa4";
    EXPECT_EQ(9u, KeyLocator_CreateLinkToLDAP(bad, "b", 1, TRUE, "c", &locator));
    EXPECT_EQ(nullptr, locator);
    EXPECT_EQ(9u, KeyLocator_CreateLinkToLDAP("a", bad, 1, TRUE, "c", &locator));
    EXPECT_EQ(9u, KeyLocator_CreateLinkToLDAP("a", "b", 1, TRUE, bad, &locator));
    EXPECT_EQ(9u, KeyLocator_CreateLinkToLDAP("a", "b", 1, TRUE, nullptr, &locator));
    EXPECT_EQ(9u, KeyLocator_CreateLinkToScript(bad, "b", 1, &locator));
    EXPECT_EQ(9u, KeyLocator_CreateLinkToScript("a", bad, 2, &locator));
    EXPECT_EQ(10u, KeyLocator_CreateLinkToPassphrase("AES-1", &locator));
    ASSERT_EQ(0u, KeyLocator_CreateLinkToScript("a", "b c", 3, &locator));
    const KeyLocatorPtr script(locator);
    EXPECT_NE(std::string::npos, Export(script.get()).find("/a/b%20c"));
    script->u.indirect.u.script.path[0] = '\x80';
    EXPECT_DEATH(Export(script.get()), "keyLocatorText.cpp:[0-9]+ Buffer too small\n");
}

TEST(KeyLocator, ListsKeepTheirOrder) {
    const KeyLocatorPtr list = Import("halden:key/list/(role/b/server,role/d/server)");
    KeyLocator *first = KeyLocator_ListFirst(list.get());
    KeyLocator *last = KeyLocator_ListLast(list.get());
    const auto make = [](const char *id) {
        return Import(std::string("halden:key/role/") + id + "/server").release();
    };
    EXPECT_TRUE(KeyLocator_ListAddBefore(list.get(), first, make("a")));
    EXPECT_TRUE(KeyLocator_ListAddAfter(list.get(), first, make("c")));
    EXPECT_TRUE(KeyLocator_ListAddLast(list.get(), make("e")));
    EXPECT_TRUE(KeyLocator_ListRemove(list.get(), last));
    const KeyLocatorPtr removed(last);
    std::string ids;
    for (KeyLocator *node = KeyLocator_ListFirst(list.get()); node;
         node = KeyLocator_ListNext(list.get(), node))
        ids += KeyLocator_GetIndirect(node)->uniqueId;
    EXPECT_EQ("abce", ids);
    EXPECT_EQ(nullptr, KeyLocator_ListPrev(list.get(), KeyLocator_ListFirst(list.get())));
    EXPECT_EQ(first, KeyLocator_ListNext(list.get(), KeyLocator_ListFirst(list.get())));
    EXPECT_EQ(KeyLocator_ListFirst(list.get()), KeyLocator_ListPrev(list.get(), first));
    EXPECT_FALSE(KeyLocator_ListIsEmpty(list.get()));
    EXPECT_TRUE(KeyLocator_ListIsEmpty(Import("halden:key/list/()").get()));
    EXPECT_EQ(nullptr, KeyLocator_ListFirst(Import("halden:key/list/()").get()));
    EXPECT_FALSE(KeyLocator_ListIsEmpty(last));
    EXPECT_EQ(nullptr, KeyLocator_ListFirst(last));
    EXPECT_FALSE(KeyLocator_ListAddLast(first, last));
    EXPECT_FALSE(KeyLocator_ListRemove(last, first));
}

TEST(KeyLocator, CodesHaveTexts) {
    EXPECT_DEATH(KeyLocatorClassOfType(static_cast<KeyLocatorType>(9)), "NOT_REACHED ");
    EXPECT_STREQ("NULL callback prevents locator follow.", KeyLocError_ToString(12));
    EXPECT_STREQ("Unknown KeyLocator error.", KeyLocError_ToString(13));
    KeyLocator_Destroy(nullptr);
    KeyLocator_FreeState(nullptr);
}

/* ---- following ---- */

std::string ToHex(const std::string &bytes) {
    return ::ToHex(bytes.data(), bytes.size());
}

/* Answers, one after the other; an answer that is NULL is a refusal. */
struct Script {
    std::vector<const char *> answers;
    size_t asked = 0;
    int extra = 0; /* bytes to count behind the text */
};

gboolean Answer(KeyLocatorState *, gpointer data, const KeyLocatorIndirect *, char **text,
                gsize *size) {
    auto *script = static_cast<Script *>(data);
    const char *answer = script->answers[std::min(script->asked++, script->answers.size() - 1)];
    *text = answer ? strdup(answer) : nullptr;
    *size = answer ? strlen(answer) + script->extra : 0;
    return answer != nullptr;
}

KeyLocError FollowExtract(const char *text, Script script, CryptoKeyPtr *key) {
    KeyLocatorState *state;
    EXPECT_TRUE(KeyLocator_AllocState(Answer, &script, &state));
    const KeyLocError error = KeyLocator_FollowExtract(state, Import(text).get(), TRUE, nullptr,
                                                       nullptr, CryptoOut(*key));
    KeyLocator_FreeState(state);
    return error;
}

TEST(KeyLocatorFollow, AnswersLeadToTheKeyOrToACode) {
    constexpr const char *kPhrase =
        "halden:key/phrase/i/pass2key%3dPBKDF2%2dHMAC%2dSHA%2d1%3acipher%3dAES%2d128%3arounds%3d";
    const std::string good = std::string(kPhrase) + "1000%3asalt%3dAQIDBAUGBwg%253d";
    const std::string many = std::string(kPhrase) + "10000001%3asalt%3dAQIDBAUGBwg%253d";
    const std::string zero = std::string(kPhrase) + "0%3asalt%3dAQIDBAUGBwg%253d";
    const std::string saltless = std::string(kPhrase) + "1000";
    constexpr const char *kRole = "halden:key/role/i/server";
    const std::tuple<std::string, Script, KeyLocError> rows[] = {
        {good, {{"correct horse"}}, 0},
        {kRole, {{kRole, "halden:key/role/j/server", good.c_str(), "correct horse"}}, 0},
        {good, {{nullptr}}, 2},
        {many, {{"x"}}, 10},
        {zero, {{"x"}}, 10},
        {saltless, {{"x"}}, 10},
        {"halden:key/phrase/i/x", {{"x"}}, 10},
        {kRole, {{"rubbish"}}, 7},
        {kRole, {{""}}, 7},
        {kRole, {{kRole}, 0, 1}, 7},
        {kRole, {{kRole}}, 7}, /* leads to itself */
        {kRole, {{"halden:key/list/()"}}, 6},
        {"halden:key/list/()", {{"x"}}, 6},
        {"halden:key/null/<HALDEN-EMPTYSTRING>", {{"x"}}, 6},
    };
    for (const auto &[text, script, error] : rows) {
        CryptoKeyPtr key;
        EXPECT_EQ(error, FollowExtract(text.c_str(), script, &key)) << text;
        EXPECT_EQ(error == 0, key != nullptr);
        if (key) { /* PBKDF2 by another program */
            EXPECT_EQ("49561f12fb17065dd680fc5a61d740a6", ToHex(BytesOf(key.get())));
        }
    }
    CryptoKeyPtr key;
    EXPECT_EQ(12u, KeyLocator_FollowExtract(nullptr, Import(good).get(), TRUE, nullptr, nullptr,
                                            CryptoOut(key)));
    auto leaf = Owned<KeyLocatorPtr>(KeyLocator_CreateLeaf, NewKey().get());
    KeyLocator *next;
    EXPECT_EQ(6u, KeyLocator_Follow(nullptr, leaf.get(), Answer, nullptr, &next));
}

/* ---- the cache ---- */

using StatePtr = std::unique_ptr<KeyLocatorState, Release<KeyLocator_FreeState>>;

StatePtr NewState(bool isEnabled = true) {
    KeyLocatorState *state;
    EXPECT_TRUE(KeyLocator_AllocState(nullptr, nullptr, &state));
    if (isEnabled)
        KeyLocator_EnableKeyCache(state);
    return StatePtr(state);
}

bool Has(const StatePtr &state, const std::string &id) {
    return CryptoKeyPtr(KeyLocatorFindCacheEntry(state.get(), id.c_str())) != nullptr;
}

std::string ExportCache(const StatePtr &state) {
    CryptoText text;
    gsize size;
    EXPECT_EQ(0u, KeyLocator_ExportKeyCache(state.get(), CryptoOut(text), &size));
    EXPECT_EQ(strlen(text.get()) + 1, size);
    return text.get();
}

TEST(KeyLocatorCache, KeepsFiftyKeysAndAsksOnce) {
    const StatePtr state = NewState();
    const CryptoKeyPtr key = NewKey();
    for (int i = 0; i < 51; i++)
        EXPECT_EQ(0u, KeyLocatorAddCacheEntry(state.get(), ("Id" + std::to_string(i)).c_str(),
                                              key.get()));
    EXPECT_EQ(50u, state->cacheSize);
    EXPECT_FALSE(Has(state, "Id0"));
    EXPECT_TRUE(Has(state, "iD1"));
    EXPECT_EQ(4u, KeyLocatorAddCacheEntry(state.get(), "ID50", key.get()));
    KeyLocator_DisableKeyCache(state.get());
    EXPECT_FALSE(Has(state, "Id50"));
    EXPECT_EQ(3u, KeyLocatorAddCacheEntry(state.get(), "x", key.get()));
    KeyLocator_ClearKeyCache(state.get());
    KeyLocator_EnableKeyCache(state.get());
    EXPECT_TRUE(Has(state, "Id50")) << "a disabled cache is not cleared";
    KeyLocator_ClearKeyCache(state.get());
    EXPECT_EQ(0u, state->cacheSize);

    const KeyLocatorPtr role = Import("halden:key/role/once/server");
    auto leaf = Owned<KeyLocatorPtr>(KeyLocator_CreateLeaf, key.get());
    const std::string answer = Export(leaf.get());
    for (const auto &[useCache, asked] : {std::pair(false, 1u), {true, 2u}, {true, 2u}}) {
        static Script script;
        script.answers = {answer.c_str()};
        auto found = Owned<CryptoKeyPtr>(KeyLocator_FollowExtract, state.get(), role.get(),
                                         useCache, Answer, &script);
        EXPECT_EQ(BytesOf(key.get()), BytesOf(found.get()));
        EXPECT_EQ(asked, script.asked);
    }
}

TEST(KeyLocatorCache, ATextHoldsTheNewestFirstAndReversesWhenRead) {
    const StatePtr state = NewState();
    EXPECT_EQ("", ExportCache(state));
    EXPECT_EQ(0u, KeyLocator_ImportKeyCache(state.get(), "", 0));
    EXPECT_EQ(0u, KeyLocator_ImportKeyCache(state.get(), "", 1));
    const CryptoKeyPtr first = NewKey();
    const CryptoKeyPtr second = NewKey("AES-256");
    KeyLocatorAddCacheEntry(state.get(), "first", first.get());
    KeyLocatorAddCacheEntry(state.get(), "second", second.get());
    const std::string text = ExportCache(state);
    EXPECT_EQ(0u, text.find("size=2:uniqueId0=second:expKey0="));
    EXPECT_NE(std::string::npos, text.find(":uniqueId1=first:expKey1="));
    EXPECT_EQ(0u, KeyLocator_ImportKeyCache(state.get(), text.c_str(), text.size() + 1));
    EXPECT_EQ(0u, ExportCache(state).find("size=2:uniqueId0=first:"));
    const CryptoKeyPtr found(KeyLocatorFindCacheEntry(state.get(), "SECOND"));
    EXPECT_EQ(BytesOf(second.get()), BytesOf(found.get()));

    const std::pair<std::string, KeyLocError> rows[] = {
        {"x", 10},
        {"size=50", 10},
        {"size=51", 5},
        {"size=4000000000", 5},
        {"size=x", 10},
        {"size=1", 10},
        {"size=1:uniqueId0=a", 10},
        {"size=1:uniqueId0=a:expKey0=AAAA", 10},
        {"size=3" + text.substr(6), 10},
        {"size=2:uniqueId0=first" + text.substr(text.find(":expKey0")), 4},
    };
    for (const auto &[bad, error] : rows) {
        EXPECT_EQ(error, KeyLocator_ImportKeyCache(state.get(), bad.data(), bad.size())) << bad;
        EXPECT_EQ(0u, state->cacheSize);
    }
    const StatePtr disabled = NewState(false);
    EXPECT_EQ(3u, KeyLocator_ImportKeyCache(disabled.get(), text.data(), text.size()));
    CryptoText none;
    gsize size;
    EXPECT_EQ(3u, KeyLocator_ExportKeyCache(disabled.get(), CryptoOut(none), &size));
}

TEST(KeyLocatorCache, IsSharedByThreads) {
    const StatePtr state = NewState();
    const CryptoKeyPtr key = NewKey();
    InThreads(8, [&](int i) {
        for (int round = 0; round < 200; round++) {
            const std::string id = std::to_string((round * 7 + i) % 60);
            KeyLocatorAddCacheEntry(state.get(), id.c_str(), key.get());
            const CryptoKeyPtr found(KeyLocatorFindCacheEntry(state.get(), id.c_str()));
            if (round % 50 == i)
                KeyLocator_ClearKeyCache(state.get());
        }
    });
    EXPECT_LE(state->cacheSize, 50u);
}

} // namespace
