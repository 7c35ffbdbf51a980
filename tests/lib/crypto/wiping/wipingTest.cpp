/*
 * No block of ours that held a key, a password, a plain text or a digest of one is freed as it is: not when all goes
 * well, not after a refusal, and not when an allocation fails, whichever it is.
 */
#include <cstdlib>

#include <ssl/ssl.h>

#include "lib/keyLocator/keySafeInt.h"
#include "tests/lib/crypto/keys.h"
#include "tests/lib/crypto/wiping/freedBlocks.h"

namespace {

constexpr const char *kPassword =
    "a password that is longer than a block of the hash, so it is hashed first";
constexpr const char *kPlain = "plain text of a few blocks, with something behind them";

struct Secret {
    const char *name;
    std::string bytes;
};
using Secrets = std::vector<Secret>;

std::string Text(const Bytes &bytes) {
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

/* The raw bytes of the key that all tests use, and what is made of them. */
std::string RawKey() {
    return Text(SomeBytes(32, 99));
}

std::string Digest(const char *text) {
    Bytes digest(20);
    CryptoHash_Compute(CryptoHash_SHA_1, text, strlen(text), digest.data(), digest.size());
    return Text(digest);
}

/* The secrets of all tests, and those of one. */
Secrets OfKey(Secrets secrets = {}) {
    const Secrets ofAll = {{"key", RawKey()},
                           {"key as text", Base64(RawKey())},
                           {"password", kPassword},
                           {"digest of the password", Digest(kPassword)},
                           {"plain text", kPlain}};
    secrets.insert(secrets.end(), ofAll.begin(), ofAll.end());
    return secrets;
}

/* The key that a text of ours says is derived of the password. */
std::string Derived(const std::string &wrapped) {
    CryptoDictPtr dict;
    CryptoDict_CreateAndImport(wrapped.data(), wrapped.size(), CryptoOut(dict));
    Bytes salt = Made(CryptoDict_GetBase64, dict.get(), "salt").bytes;
    guint8 *saltData = salt.data();
    gsize saltSize = salt.size();
    return Made(CryptoPass2Key_Compute, CryptoPass2Key_PBKDF2_HMAC_SHA_1, CryptoCipherAES_128, 1000,
                kPassword, strlen(kPassword), &saltData, &saltSize)
        .Text();
}

/* Opening OpenSSL frees blocks of the system's, in which anything may be left over. */
const class StartOpenSSL
    : public testing::Environment{void SetUp() override{SSL_Init(nullptr, nullptr, nullptr);
} // namespace
}
*gStart = static_cast<StartOpenSSL *>(testing::AddGlobalTestEnvironment(new StartOpenSSL));

/* Runs the work once, and then once with each of its allocations failing. */
void ExpectWiped(const Secrets &secrets, const std::function<void()> &work) {
    int count = 0;
    for (int failing = FREED_BLOCKS_NO_FAILURE; failing < count; failing++) {
        FreedBlocks_Start(failing);
        work();
        const int allocations = FreedBlocks_Stop();
        if (failing == FREED_BLOCKS_NO_FAILURE) {
            count = allocations;
            EXPECT_GT(count, 0);
        }
        for (const auto &[name, bytes] : secrets)
            ASSERT_FALSE(FreedBlocks_Has(bytes)) << name << ", allocation " << failing;
    }
}

CryptoKeyPtr MakeKey() {
    return KeyOf(CryptoCipherAES_256, SomeBytes(32, 99));
}

/* What is exported behind this is always the same, so that a text of it can be looked for. */
void Seed() {
    const Bytes seed = SomeBytes(20);
    EXPECT_EQ(0u, CryptoRandom_Seed(seed.data(), seed.size()));
}

/* A result, freed as its receiver should. */
struct Block {
    guint8 *data = nullptr;
    gsize size = 0;
    Block() = default;
    Block(const Block &) = delete;
    Block &operator=(const Block &) = delete;
    ~Block() { Crypto_Free(data, size); }
};

/* The seam itself: it must see what is not wiped. */
TEST(Wiping, ASecretThatIsOnlyFreedIsSeen) {
    FreedBlocks_Start(FREED_BLOCKS_NO_FAILURE);
    char *copy = strdup(kPlain);
    free(copy);
    EXPECT_EQ(1, FreedBlocks_Stop());
    EXPECT_TRUE(FreedBlocks_Has(kPlain));
    EXPECT_FALSE(FreedBlocks_Has(RawKey()));
}

TEST(Wiping, Dictionaries) {
    const Secrets secrets = {{"plain text", kPlain}, {"as text", Base64(kPlain)}};
    const std::string text = std::string("a=") + kPlain + ":b=x%00" + kPlain + ":a=:c=" + kPlain;
    ExpectWiped(secrets, [&text] {
        CryptoDictPtr dict;
        if (CryptoDict_CreateAndImport(text.data(), text.size(), CryptoOut(dict)) != 0)
            return;
        CryptoDict_Set(dict.get(), "d", kPlain);
        CryptoDict_SetBase64(dict.get(), "e", kPlain, strlen(kPlain));
        for (char c = 'f'; c <= 'z'; c++)
            CryptoDict_Set(dict.get(), std::string(1, c).c_str(), kPlain);
        CryptoDict_Set(dict.get(), "d", "");
        Block block;
        CryptoDict_GetBase64(dict.get(), "e", &block.data, &block.size);
        CryptoText exported;
        gsize size;
        CryptoDict_Export(dict.get(), FALSE, CryptoOut(exported), &size);
    });
    const std::string broken = Base64(kPlain) + "!";
    ExpectWiped(secrets, [&broken] {
        guint8 *data;
        gsize size;
        EXPECT_FALSE(Base64_EasyDecode(broken.c_str(), &data, &size));
    });
}

TEST(Wiping, HashesAndMacs) {
    Secrets secrets = OfKey({{"digest of the plain text", Digest(kPlain)}});
    for (const std::string &key : {RawKey(), Digest(kPassword)}) {
        for (const char pad : {'\x36', '\x5c'}) { /* what an HMAC makes of it */
            std::string padded = key;
            for (char &byte : padded)
                byte = static_cast<char>(byte ^ pad);
            secrets.push_back({"padded key", padded});
        }
    }
    const std::string raw = RawKey();
    ExpectWiped(secrets, [&raw] {
        guint8 out[32];
        for (CryptoHash *hash : {CryptoHash_SHA_1, CryptoHash_SHA_256}) {
            CryptoHash_Compute(hash, kPlain, strlen(kPlain), out, CryptoHash_GetOutputSize(hash));
            CryptoHashState *state = CryptoHashState_Create(hash);
            if (state == nullptr)
                continue;
            CryptoHashState_Process(state, kPlain, strlen(kPlain));
            Block record;
            CryptoHashState_ExportState(state, &record.data, &record.size);
            CryptoHashState_Finish(state, nullptr, 0);
        }
        for (const std::string_view key : {std::string_view(raw), std::string_view(kPassword)}) {
            for (CryptoKeyedHash *keyedHash :
                 {CryptoKeyedHash_HMAC_SHA_1, CryptoKeyedHash_HMAC_SHA_1_128,
                  CryptoKeyedHash_HMAC_SHA_256}) {
                // the right size, a wrong one, and none
                for (const gsize size : {CryptoKeyedHash_GetOutputSize(keyedHash), gsize{5}})
                    CryptoKeyedHash_Compute(keyedHash, key.data(), key.size(), kPlain,
                                            strlen(kPlain), out, size);
                CryptoKeyedHash_Compute(keyedHash, key.data(), key.size(), kPlain, strlen(kPlain),
                                        nullptr, 0);
            }
        }
    });
}

TEST(Wiping, Sectors) {
    const CryptoKeyPtr key = MakeKey();
    const std::string vector = Text(SomeBytes(16, 77));
    ExpectWiped(OfKey({{"secret of the vectors", vector}}), [&] {
        CryptoSectorCipherCtx *ctx =
            CryptoSector_CipherCtxCreate(key.get(), vector.data(), vector.size());
        if (ctx == nullptr)
            return;
        SecretArray<CRYPTO_SECTOR_SIZE> sector;
        CryptoSector_Crypt(TRUE, ctx, 1, sector.data(), sector.data());
        const gsize size = strlen(kPlain);
        memcpy(sector.data(), kPlain, size);
        const gsize expansion = CryptoSector_CipherCtxExpansion(ctx, size);
        if (CryptoSector_HMACEncrypt(ctx, 1, sector.data(), size, expansion, nullptr, 0) == 0) {
            for (const guint64 number : {2, 1})
                CryptoSector_HMACDecrypt(ctx, number, sector.data(), size, expansion, nullptr, 0);
        }
        CryptoSector_CipherCtxRelease(ctx);
    });
}

void ExportBothWays(CryptoKey *key) {
    for (const char *password : {static_cast<const char *>(nullptr), kPassword}) {
        CryptoText text;
        gsize size;
        CryptoKey_Export(key, password, CryptoOut(text), &size);
    }
}

TEST(Wiping, Keys) {
    const std::string raw = RawKey();
    ExpectWiped(OfKey(), [&raw] {
        CryptoKeyPtr key;
        CryptoKey_Create(CryptoCipherAES_256, raw.data(), raw.size(), CryptoOut(key));
        CryptoKey_Create(CryptoCipherAES_128, raw.data(), raw.size(), CryptoOut(key));
    });
    const CryptoKeyPtr key = MakeKey();
    const std::string plainText = Export(key.get());
    const std::string wrapped = Export(key.get(), kPassword);
    ExpectWiped(OfKey({{"derived key", Derived(wrapped)}}), [&] {
        CryptoKeyPtr again;
        Import(plainText, nullptr, &again);
        Import(wrapped, kPassword, &again);
        Import(wrapped, "wrong", &again);
        ExportBothWays(key.get());
    });
}

TEST(Wiping, SealedRecords) {
    const CryptoKeyPtr key = MakeKey();
    const Bytes mac = HmacSha1(SomeBytes(32, 99), Bytes(kPlain, kPlain + strlen(kPlain)));
    Bytes record = Made(CryptoKey_EncryptWithMAC, key.get(), CryptoKeyedHash_HMAC_SHA_1, kPlain,
                        strlen(kPlain))
                       .bytes;
    const auto open = [&] {
        Block out;
        CryptoKey_DecryptWithMAC(key.get(), CryptoKeyedHash_HMAC_SHA_1, record.data(),
                                 record.size(), &out.data, &out.size);
    };
    ExpectWiped(OfKey(), open);
    const Secrets secrets = OfKey({{"MAC that was expected", Text(mac)}});
    record[record.size() - 1] ^= 1; // wrong MAC
    ExpectWiped(secrets, open);
    record[record.size() - 21] ^= 1; // wrong padding
    ExpectWiped(secrets, open);
    ExpectWiped(OfKey(), [&] {
        Block out;
        CryptoKey_EncryptWithMAC(key.get(), CryptoKeyedHash_HMAC_SHA_256, kPlain, strlen(kPlain),
                                 &out.data, &out.size);
    });
}

TEST(Wiping, Passwords) {
    CryptoText wrapped;
    gsize wrappedSize;
    ASSERT_EQ(0u, Crypto_PasswordWrapData(kPassword, strlen(kPassword), kPlain, strlen(kPlain),
                                          CryptoOut(wrapped), &wrappedSize));
    CryptoText mangled;
    ASSERT_EQ(0u, Crypto_ManglePassphrase(kPassword, strlen(kPassword), CryptoOut(mangled)));
    const Secrets secrets =
        OfKey({{"derived key", Derived(wrapped.get())}, {"mangled phrase", mangled.get()}});
    ExpectWiped(secrets, [&] {
        CryptoText text;
        gsize size;
        for (gsize length : {strlen(kPassword), gsize{3}}) {
            Block block;
            Crypto_PasswordUnwrapData(kPassword, length, wrapped.get(), wrappedSize, &block.data,
                                      &block.size);
        }
        Crypto_PasswordWrapData(kPassword, strlen(kPassword), kPlain, strlen(kPlain),
                                CryptoOut(text), &size);
        Crypto_ManglePassphrase(kPassword, strlen(kPassword), CryptoOut(text));
        CryptoEncryptedPassword record;
        Crypto_InitializeEncryptedPassword(&record);
        if (!Crypto_EncryptPassword(kPassword, strlen(kPassword), &record))
            return;
        gpointer plain = Crypto_DecryptPassword(&record, &size);
        Crypto_Free(plain, size);
        Crypto_ClearEncryptedPassword(&record);
    });
}

TEST(Wiping, PemTexts) {
    const CryptoKeyPtr key = NewKey("RSA-512");
    const std::string pem = Export(key.get());
    const std::string encrypted = Export(key.get(), kPassword);
    const size_t body = pem.find('\n') + 80; /* behind what all keys begin with */
    const Bytes sealed =
        Made(CryptoKey_PKEncrypt, key.get(), CRYPTO_RSA_PADDING_OAEP, kPlain, 20).bytes;
    ExpectWiped(OfKey({{"PEM text", pem.substr(body, 300)}}), [&] {
        CryptoKeyPtr again;
        Import(pem, nullptr, &again);
        Import(encrypted, kPassword, &again);
        CryptoKey_GetPublicKey(key.get(), CryptoOut(again));
        ExportBothWays(key.get());
        Block out;
        gsize inSize = sealed.size();
        CryptoKey_PKDecrypt(key.get(), CRYPTO_RSA_PADDING_OAEP, sealed.data(), &inSize, &out.data,
                            &out.size);
    });
}

gboolean ReturnPassword(KeyLocatorState *, gpointer, const KeyLocatorIndirect *, char **data,
                        gsize *size) {
    *data = strdup(kPassword);
    *size = *data ? strlen(*data) : 0;
    return *data != nullptr;
}

TEST(Wiping, LocatorsAndTheirCache) {
    const CryptoKeyPtr key = MakeKey();
    auto leaf = Owned<KeyLocatorPtr>(KeyLocator_CreateLeaf, key.get());
    CryptoText text;
    Seed();
    ASSERT_EQ(0u, KeyLocator_Export(leaf.get(), CryptoOut(text)));
    auto phrase = Owned<KeyLocatorPtr>(KeyLocator_CreateLinkToPassphrase, "AES-128");
    auto pair = Owned<KeyLocatorPtr>(KeyLocator_CreatePair, phrase.get(), key.get(), kPlain,
                                     strlen(kPlain));
    const Secrets secrets = OfKey({{"derived key", Derived(phrase->u.indirect.u.phrase.keyGenData)},
                                   {"locator's text", strstr(text.get(), "data%3d") + 7}});
    KeyLocatorState *state;
    ASSERT_TRUE(KeyLocator_AllocState(ReturnPassword, nullptr, &state)); // a lock needs its memory
    KeyLocator_EnableKeyCache(state);
    ExpectWiped(secrets, [&] {
        KeyLocatorPtr locator;
        KeyLocator_Import(text.get(), CryptoOut(locator));
        KeyLocator_Clone(leaf.get(), CryptoOut(locator));
        CryptoText again;
        Seed();
        KeyLocator_Export(leaf.get(), CryptoOut(again));
        CryptoKeyPtr found;
        KeyLocator_FollowExtract(state, phrase.get(), TRUE, nullptr, nullptr, CryptoOut(found));
        Block block;
        KeyLocator_UnlockPair(state, pair.get(), key.get(), TRUE, &block.data, &block.size);
        gsize size;
        if (KeyLocator_ExportKeyCache(state, CryptoOut(again), &size) == 0)
            KeyLocator_ImportKeyCache(state, again.get(), size);
        KeyLocator_ClearKeyCache(state);
    });
    KeyLocator_FreeState(state);
}

TEST(Wiping, RingsAndSafes) {
    const CryptoKeyPtr key = MakeKey();
    auto ring = Owned<KeySafeUserRingPtr>(KeySafeUserRing_Create);
    ASSERT_EQ(0u, KeySafeUserRing_AddPassphrase(ring.get(), kPassword, "AES-128"));
    CryptoText ringText;
    gsize ringSize;
    Seed();
    ASSERT_EQ(0u, KeySafeUserRing_Export(ring.get(), TRUE, CryptoOut(ringText), &ringSize));
    CryptoKey *sealed = key.get();
    CryptoText text;
    gsize size;
    ASSERT_EQ(0u, KeySafe_Seal(ring.get(), &sealed, nullptr, CryptoOut(text), &size));
    /* behind the locator, which is no secret */
    const Secrets secrets =
        OfKey({{"passphrase's key", Derived(ring->first->locator->u.indirect.u.phrase.keyGenData)},
               {"ring's text", ringText.get() + ringSize / 2},
               {"key of the passphrase in memory", BytesOf(ring->first->passkey)}});
    ExpectWiped(secrets, [&] {
        KeySafeUserRingPtr again;
        KeySafePtr safe;
        CryptoText exported;
        gsize exportedSize;
        if (KeySafeUserRing_Import(ringText.get(), ringSize, CryptoOut(again)) == 0) {
            CryptoKeyPtr found;
            if (KeySafe_Unseal(nullptr, text.get(), size, again.get(), CryptoOut(safe),
                               CryptoOut(found)) == 0)
                KeySafe_AddLocators(safe.get(), again.get());
            KeySafeUserRing_GetOnePassphrase(again.get(), CryptoOut(exported));
            KeySafeUserRing_AddPassphrase(again.get(), kPassword, "AES-128");
        }
        Seed();
        KeySafeUserRing_Export(ring.get(), TRUE, CryptoOut(exported), &exportedSize);
        CryptoKey *mine = key.get();
        KeySafe_Seal(ring.get(), &mine, CryptoOut(safe), nullptr, nullptr);
    });
}

} // namespace
