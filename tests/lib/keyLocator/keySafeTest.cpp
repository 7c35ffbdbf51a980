#include "lib/keyLocator/keySafeInt.h"

#include "tests/lib/crypto/keys.h"

namespace {

KeySafeUserRingPtr NewRing(const std::vector<const char *> &passphrases = {},
                           const char *cipher = "AES-128") {
    auto ring = Owned<KeySafeUserRingPtr>(KeySafeUserRing_Create);
    for (const char *passphrase : passphrases)
        EXPECT_EQ(0u, KeySafeUserRing_AddPassphrase(ring.get(), passphrase, cipher));
    return ring;
}

KeySafeUserRingPtr RingOf(const CryptoKeyPtr &key) {
    KeySafeUserRingPtr ring = NewRing();
    EXPECT_EQ(0u, KeySafeUserRing_AddKey(ring.get(), key.get()));
    return ring;
}

std::string Export(const KeySafeUserRingPtr &ring, bool withPassData = true) {
    return OwnedText(KeySafeUserRing_Export, ring.get(), withPassData);
}

KeySafeUserRingPtr Import(const std::string &text, KeySafeError expected = 0) {
    auto *ring = reinterpret_cast<KeySafeUserRing *>(1);
    EXPECT_EQ(expected, KeySafeUserRing_Import(text.data(), text.size(), &ring))
        << text.substr(0, 100);
    EXPECT_EQ(expected == 0, ring != nullptr);
    return KeySafeUserRingPtr(ring);
}

using Pairs = std::vector<std::pair<std::string, std::string>>;

/* The fields of a text; the values are decoded. */
Pairs Fields(const std::string &text) {
    auto dict = Owned<CryptoDictPtr>(CryptoDict_CreateAndImport, text.data(), text.size());
    CryptoDictIterator *iterator = CryptoDictIterator_Create(dict.get());
    Pairs pairs;
    const char *key;
    const char *value;
    while (CryptoDictIterator_Next(iterator, &key, &value)) {
        const Result decoded = Made(CryptoDict_GetBase64, dict.get(), key);
        const bool isPlain = decoded.error != 0 || strcmp(key, "numkeys") == 0;
        pairs.emplace_back(key, isPlain ? value : decoded.Text());
    }
    CryptoDictIterator_Destroy(iterator);
    return pairs;
}

std::string Names(const Pairs &pairs) {
    std::string names;
    for (const auto &[name, value] : pairs)
        names += name + " ";
    return names;
}

/* A ring's text of one entry with these fields. */
std::string RingText(const Pairs &fields, const char *count = "1") {
    CryptoDictPtr entry;
    CryptoDict_Create(CryptoOut(entry));
    for (const auto &[name, value] : fields)
        CryptoDict_Set(entry.get(), name.c_str(), Base64(value).c_str());
    CryptoText text;
    gsize size;
    CryptoDict_Export(entry.get(), FALSE, CryptoOut(text), &size);
    return "userkey0=" + Base64(text.get()) + ":numkeys=" + count;
}

/* The passphrase of a ring with one entry, or the code. */
std::string OnePassphrase(const KeySafeUserRingPtr &ring) {
    CryptoText text;
    const KeySafeError error = KeySafeUserRing_GetOnePassphrase(ring.get(), CryptoOut(text));
    if (error != 0)
        return "code " + std::to_string(error);
    return text ? text.get() : "none";
}

TEST(KeySafeUserRing, ATextHoldsItsEntriesInOrder) {
    KeySafeUserRingPtr ring = NewRing({"swordfish"}, "AES-256");
    const CryptoKeyPtr key = NewKey("AES-256");
    EXPECT_EQ(0u, KeySafeUserRing_AddKey(ring.get(), key.get()));
    const Pairs outer = Fields(Export(ring));
    EXPECT_EQ("userkey0 userkey1 numkeys ", Names(outer));
    EXPECT_EQ("2", outer[2].second);
    const Pairs first = Fields(outer[0].second);
    EXPECT_EQ("locator key passdata passkey ", Names(first));
    EXPECT_EQ(0u, first[0].second.find("halden:key/phrase/"));
    EXPECT_EQ('\0', first[0].second.back());
    EXPECT_EQ(0u, first[1].second.find("type=wrappedData:"));
    const Pairs second = Fields(outer[1].second);
    EXPECT_EQ("locator key ", Names(second));
    EXPECT_EQ(std::string("halden:key/null/%3cHALDEN%2dEMPTYSTRING%3e") + '\0', second[0].second);

    const KeySafeUserRingPtr again = Import(Export(ring));
    EXPECT_EQ(2, KeySafeUserRing_GetNumKeys(again.get()));
    auto found = Owned<CryptoKeyPtr>(KeySafeUserRing_GetKey, again.get(), 1);
    EXPECT_EQ(BytesOf(key.get()), BytesOf(found.get()));
    EXPECT_EQ(10u, KeySafeUserRing_GetKey(again.get(), 2, CryptoOut(found)));
    EXPECT_EQ(10u, KeySafeUserRing_GetKey(again.get(), -1, CryptoOut(found)));
    EXPECT_EQ("numkeys=0", Export(NewRing()));
    EXPECT_TRUE(KeySafeUserRing_IsEmpty(Import("numkeys=0").get()));
}

TEST(KeySafeUserRing, PassphrasesAreKeptIfAskedFor) {
    const KeySafeUserRingPtr ring = NewRing({"swordfish"}, "AES-192");
    EXPECT_EQ("swordfish", OnePassphrase(ring));
    EXPECT_EQ("swordfish", OnePassphrase(Import(Export(ring))));
    EXPECT_EQ("none", OnePassphrase(Import(Export(ring, false))));
    EXPECT_EQ("code 10", OnePassphrase(NewRing()));
    EXPECT_EQ("code 10", OnePassphrase(NewRing({"a", "b"})));
    auto copy = Owned<KeySafeUserRingPtr>(KeySafeUserRing_Clone, ring.get());
    EXPECT_EQ("swordfish", OnePassphrase(copy));
    EXPECT_EQ(0u, KeySafeUserRing_AddRing(copy.get(), copy.get()));
    EXPECT_EQ(2, KeySafeUserRing_GetNumKeys(copy.get()));
    EXPECT_EQ(0u, KeySafeUserRing_AddRing(copy.get(), NewRing().get()));
    EXPECT_EQ(0u, KeySafeUserRing_AddKey(copy.get(), NewKey().get()));
    EXPECT_EQ(3, KeySafeUserRing_GetNumKeys(copy.get()));
    EXPECT_EQ(9u, KeySafeUserRing_AddPassphrase(copy.get(), "x", "AES-1"));
    KeySafeUserRing_Destroy(nullptr);
}

TEST(KeySafeUserRing, BadTextsAreRefused) {
    const Pairs good = Fields(Fields(Export(NewRing({"x"})))[0].second);
    const auto with = [&good](size_t index, const std::string &value) {
        Pairs fields = good;
        fields[index].second = value;
        return RingText(fields);
    };
    EXPECT_EQ("x", OnePassphrase(Import(RingText(good))));
    const std::tuple<std::string, KeySafeError> rows[] = {
        {"", 2},
        {"numkeys=x", 2},
        {"numkeys=1", 2},
        {"numkeys=4000000000", 2},
        {"userkey0=!:numkeys=1", 2},
        {"userkey0=:numkeys=1", 2},
        {RingText(good, "2"), 2},
        {RingText(good, "4000000000"), 2},
        {RingText({good[1]}), 2},
        {with(0, ""), 4},
        {with(0, good[0].second.substr(0, good[0].second.size() - 1)), 4},
        {with(0, std::string("rubbish\0", 8)), 9},
        {with(1, "rubbish"), 2},
        {with(3, "rubbish"), 2},
        {RingText({good[0], good[1], good[2]}), 2},
    };
    for (const auto &[text, error] : rows)
        Import(text, error);
    EXPECT_EQ("none", OnePassphrase(Import(RingText({good[0], good[1], good[3]}))));
    EXPECT_EQ("code 2", OnePassphrase(Import(with(2, good[2].second.substr(1)))));
}

TEST(KeySafeUserRing, ItsSymmetricKeysGiveTheCipher) {
    const KeySafeUserRingPtr ring = NewRing();
    CryptoCipher *cipher;
    EXPECT_EQ(0u, KeySafeUserRing_GetAppropriateCipher(nullptr, &cipher));
    EXPECT_EQ(CryptoCipherAES_128, cipher);
    const std::tuple<const char *, KeySafeError, CryptoCipher *> rows[] = {
        {"RSA-512", 0, CryptoCipherAES_128},
        {"AES-256", 0, CryptoCipherAES_256},
        {"AES-128", 2, nullptr}};
    for (const auto &[added, error, expected] : rows) {
        EXPECT_EQ(0u, KeySafeUserRing_AddKey(ring.get(), NewKey(added).get()));
        EXPECT_EQ(error, KeySafeUserRing_GetAppropriateCipher(ring.get(), &cipher)) << added;
        EXPECT_EQ(expected, cipher) << added;
    }
    EXPECT_EQ(10u, KeySafeUserRing_GetAppropriateCipher(ring.get(), nullptr));
}

/* ---- safes ---- */

struct Sealed {
    CryptoKeyPtr key;
    std::string text;
};

Sealed Seal(const KeySafeUserRingPtr &ring) {
    Sealed sealed;
    CryptoText text;
    gsize size;
    EXPECT_EQ(0u, KeySafe_Seal(ring.get(), CryptoOut(sealed.key), nullptr, CryptoOut(text), &size));
    EXPECT_EQ(strlen(text.get()) + 1, size);
    sealed.text = text.get();
    return sealed;
}

/* The key that comes out, or the code. */
std::string Unseal(const Sealed &sealed, const KeySafeUserRingPtr &ring,
                   KeyLocatorState *state = nullptr) {
    KeySafePtr safe;
    CryptoKeyPtr key;
    const KeySafeError error = KeySafe_Unseal(state, sealed.text.data(), sealed.text.size(),
                                              ring.get(), CryptoOut(safe), CryptoOut(key));
    EXPECT_EQ(error == 0, key != nullptr);
    EXPECT_EQ(error == 0, safe != nullptr);
    if (error != 0)
        return "code " + std::to_string(error);
    return BytesOf(key.get()) == BytesOf(sealed.key.get()) ? "opened" : "another key";
}

TEST(KeySafe, OpensWithEachKeyOfItsRingAndNoOther) {
    const KeySafeUserRingPtr two = NewRing({"first", "second"}, "AES-256");
    const Sealed sealed = Seal(two);
    EXPECT_EQ(CryptoCipherAES_256, CryptoKey_GetCipher(sealed.key.get()));
    EXPECT_EQ("opened", Unseal(sealed, two));
    EXPECT_EQ("opened", Unseal(sealed, NewRing({"second"}, "AES-128")));
    EXPECT_EQ("opened", Unseal(sealed, NewRing({"wrong", "first"})));
    EXPECT_EQ("code 3", Unseal(sealed, NewRing({"wrong"})));
    EXPECT_EQ("code 3", Unseal(sealed, NewRing()));
    EXPECT_EQ("code 3", Unseal(sealed, nullptr));
    for (const char *name : {"AES-192", "RSA-1024"}) {
        const KeySafeUserRingPtr ring = RingOf(NewKey(name));
        EXPECT_EQ("opened", Unseal(Seal(ring), ring)) << name;
        EXPECT_EQ("code 3", Unseal(Seal(ring), RingOf(NewKey(name)))) << name;
    }
}

/* The list has the last entry first; the lockers are those of the ring. */
TEST(KeySafe, ATextIsAListOfPairsInReverseOrder) {
    const KeySafeUserRingPtr ring = NewRing({"x"});
    KeySafeUserRing_AddKey(ring.get(), NewKey().get());
    const std::string text = Seal(ring).text;
    EXPECT_EQ(0u,
              text.find("halden:key/list/(pair/(null/%3cHALDEN%2dEMPTYSTRING%3e,HMAC%2dSHA%2d1,"));
    EXPECT_NE(std::string::npos, text.find("),pair/(phrase/"));
    EXPECT_EQ("halden:key/list/()", Seal(nullptr).text);
}

/* A passphrase that failed before a key opened the safe is what an unlock reports; the safe is open all the same. */
TEST(KeySafe, AnOpenedSafeReportsAnEarlierPassphrase) {
    const CryptoKeyPtr key = NewKey();
    KeySafeUserRingPtr ring = NewRing({"right"});
    KeySafeUserRing_AddKey(ring.get(), key.get());
    const Sealed sealed = Seal(ring);
    const KeySafeUserRingPtr mixed = NewRing({"wrong"});
    KeySafeUserRing_AddKey(mixed.get(), key.get());
    auto safe = Owned<KeySafePtr>(KeySafe_Import, sealed.text.data(), sealed.text.size());
    EXPECT_EQ(9u, KeySafe_Unlock(nullptr, safe.get(), mixed.get()));
    const guint8 *data;
    gsize size;
    EXPECT_EQ(0u, KeySafe_GetData(safe.get(), &data, &size));
    EXPECT_EQ(0u, KeySafe_Unlock(nullptr, safe.get(), nullptr)) << "it is unlocked";
    const KeySafeUserRingPtr bare = Import(Export(NewRing({"right"}), false));
    KeySafe_Lock(safe.get());
    EXPECT_EQ(3u, KeySafe_Unlock(nullptr, safe.get(), bare.get()));
}

TEST(KeySafe, WhatIsLockedSaysSo) {
    const KeySafeUserRingPtr ring = NewRing({"x"});
    const Sealed sealed = Seal(ring);
    auto safe = Owned<KeySafePtr>(KeySafe_Import, sealed.text.data(), sealed.text.size());
    const guint8 *data;
    gsize size = 99;
    EXPECT_EQ(6u, KeySafe_GetData(safe.get(), &data, &size));
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(0u, size);
    EXPECT_EQ(6u, KeySafe_AddLocators(safe.get(), ring.get()));
    EXPECT_EQ(0u, KeySafe_Unlock(nullptr, safe.get(), ring.get()));
    const KeySafeUserRingPtr other = NewRing({"y"});
    EXPECT_EQ(0u, KeySafe_AddLocators(safe.get(), other.get()));
    auto copy = Owned<KeySafePtr>(KeySafe_Clone, safe.get());
    EXPECT_EQ(0u, KeySafe_GetData(copy.get(), &data, &size));
    EXPECT_EQ(0u, std::string(reinterpret_cast<const char *>(data), size).find("type=key:"));
    KeySafe_Lock(copy.get());
    EXPECT_EQ(6u, KeySafe_GetData(copy.get(), &data, &size));
    EXPECT_EQ(0u, KeySafe_Unlock(nullptr, copy.get(), other.get()));
    EXPECT_NE(nullptr, KeyLocator_ListFirst(KeySafe_GetLocators(copy.get())));
    KeySafe_Destroy(nullptr);
}

TEST(KeySafe, OtherTextsOpenNothing) {
    const std::pair<std::string, const char *> rows[] = {
        {"", "code 9"},
        {"rubbish", "code 9"},
        {"halden:key/list/()", "code 7"},
        {"halden:key/role/a/server", "code 7"},
        {"halden:key/list/(role/a/server)", "code 3"},
        {"halden:key/list/(pair/(role/a/server,HMAC-SHA-1,AAAA))", "code 3"},
    };
    for (const auto &[text, expected] : rows)
        EXPECT_EQ(expected, Unseal({nullptr, text}, NewRing({"x"}))) << text;
    const Sealed sealed = Seal(NewRing({"x"}));
    const KeySafeUserRingPtr ring = NewRing({"x"});
    for (size_t size = 0; size < sealed.text.size(); size++)
        EXPECT_EQ("code 9", Unseal({nullptr, sealed.text.substr(0, size)}, ring)) << size;
}

TEST(KeySafe, AKeyOfTheCallersStaysAfterAFailure) {
    const KeySafeUserRingPtr ring = RingOf(NewKey("AES-128"));
    KeySafeUserRing_AddKey(ring.get(), NewKey("AES-256").get());
    CryptoKey *key = nullptr;
    auto *safe = reinterpret_cast<KeySafe *>(1);
    EXPECT_EQ(2u, KeySafe_Seal(ring.get(), &key, &safe, nullptr, nullptr)) << "which cipher?";
    EXPECT_EQ(nullptr, key);
    EXPECT_EQ(nullptr, safe);
    KeySafeUserRing_AddKey(ring.get(), NewKey("DSA-1024").get());
    const CryptoKeyPtr mine = NewKey();
    key = mine.get();
    EXPECT_EQ(9u, KeySafe_Seal(ring.get(), &key, &safe, nullptr, nullptr)) << "DSA cannot encrypt";
    EXPECT_EQ(mine.get(), key);
    EXPECT_EQ(nullptr, safe);
}

/* ---- with a state ---- */

struct Asked {
    std::string order;
    const char *passphrase;
};

gboolean Ask(KeyLocatorState *, gpointer data, const KeyLocatorIndirect *indirect, char **text,
             gsize *size) {
    auto *asked = static_cast<Asked *>(data);
    asked->order += std::to_string(indirect->type);
    if (indirect->type != KEYLOCATOR_TYPE_PASSPHRASE || !asked->passphrase)
        return FALSE;
    *text = strdup(asked->passphrase);
    *size = strlen(*text);
    return TRUE;
}

TEST(KeySafe, AStateIsAskedByPriorityAndRemembers) {
    const CryptoKeyPtr key = NewKey();
    const KeySafeUserRingPtr ring = NewRing({"first", "second"});
    KeyLocatorPtr links[3];
    KeyLocator_CreateLinkToLDAP("a", "b", 1, TRUE, "c", CryptoOut(links[0]));
    KeyLocator_CreateLinkToRole(KEYLOCATOR_ROLE_SERVER, CryptoOut(links[1]));
    KeyLocator_CreateLinkToScript("p", "d", 1, CryptoOut(links[2]));
    for (const KeyLocatorPtr &link : links)
        EXPECT_EQ(0u, KeySafeUserRing_AddLocator(ring.get(), link.get(), key.get()));
    const Sealed sealed = Seal(ring);

    Asked asked = {"", "first"};
    KeyLocatorState *state;
    ASSERT_TRUE(KeyLocator_AllocState(Ask, &asked, &state));
    KeyLocator_EnableKeyCache(state);
    EXPECT_EQ("opened", Unseal(sealed, nullptr, state));
    EXPECT_EQ("65433", asked.order) << "the second passphrase is the first pair";
    EXPECT_EQ("opened", Unseal(sealed, nullptr, state));
    EXPECT_EQ("65433654", asked.order) << "the wrong key of the second is in the cache, too";

    auto safe = Owned<KeySafePtr>(KeySafe_Import, sealed.text.data(), sealed.text.size());
    auto again = Owned<KeySafeUserRingPtr>(KeySafe_RegenerateUserRing, state, safe.get());
    EXPECT_EQ(2, KeySafeUserRing_GetNumKeys(again.get()));
    EXPECT_EQ("opened", Unseal(sealed, NewRing({"second"}), state));

    KeyLocator_ClearKeyCache(state);
    asked = {"", nullptr};
    EXPECT_EQ("code 3", Unseal(sealed, NewRing({"wrong"}), state));
    EXPECT_EQ("65433", asked.order);
    const KeySafeUserRingPtr server = NewRing();
    EXPECT_EQ(0u, KeySafeUserRing_AddServerKeyWithCaching(server.get(), key.get(), state));
    EXPECT_EQ(0u,
              KeySafeUserRing_AddPassphraseWithCaching(server.get(), "third", "AES-128", state));
    EXPECT_EQ("opened", Unseal(Seal(server), nullptr, state)) << "by the cache";
    EXPECT_EQ("65433", asked.order);
    KeyLocator_FreeState(state);
}

TEST(KeySafe, CodesHaveTexts) {
    EXPECT_STREQ("@&!*@*@(msg.keysafe.needKey)Required key was not supplied",
                 KeySafeError_ToMsgString(3));
    EXPECT_STREQ("Incorrect parameter", KeySafeError_ToString(10));
    EXPECT_STREQ("Unknown Key safe error", KeySafeError_ToString(11));
}

} // namespace
