#include <crypto/cryptoPassword.h>

#include "lib/crypto/cryptoRounds.h"
#include "tests/lib/crypto/keys.h"

namespace {

constexpr const char *kPassword = "correct horse";

Result Unwrap(const std::string &text, const std::string &password = kPassword) {
    return Made(Crypto_PasswordUnwrapData, password.data(), password.size(), text.data(),
                text.size());
}

std::string Wrap(const std::string &data) {
    return OwnedText(Crypto_PasswordWrapData, kPassword, strlen(kPassword), data.data(),
                     data.size());
}

std::string Replace(std::string text, const std::string &from, const std::string &to) {
    const size_t at = text.find(from);
    EXPECT_NE(std::string::npos, at) << from;
    return text.replace(at, from.size(), to);
}

/* Made by another program: PBKDF2, CBC and HMAC of Python and OpenSSL. */
constexpr const char *kForeign[] = {
    "type=wrappedData:pass2key=PBKDF2-HMAC-SHA-1:cipher=AES-128:rounds=1000:salt=AQIDBAUGBwg%3d:"
    "mac=HMAC-SHA-1:data=QEFCQ0RFRkdISUpLTE1OT7BdkAgVs5B/"
    "dJNtwKoWTOTT4FAZV+p4g+FpkzWvLcvH2Md0SIA6Y5MEXhsdYkMRjhGDv+lYjlCRkjC2HC3Ja3VwO3S2",
    "type=wrappedData:pass2key=PBKDF2-HMAC-SHA-1:cipher=AES-256:rounds=3:salt=AQIDBAUGBwg%3d:"
    "mac=HMAC-SHA-256:data=QEFCQ0RFRkdISUpLTE1OT0ikHqrOL7nvOYQulBXhrI+"
    "LOhEFMDr23X+SXMaECOJzJ/7DLZCrOHWb0bRKPBkbnqf/KSvkW2J9ITcjR3NzwF7Tcx/mgcX4ZJEST65MrDhm",
    "type=wrappedData:pass2key=PBKDF2-HMAC-SHA-1:cipher=AES-192:rounds=1:salt=AQIDBAUGBwg%3d:"
    "mac=HMAC-SHA-1-128:data=QEFCQ0RFRkdISUpLTE1OT7OS41MkL7nym7PaN5gU2SOPLnSnybP5bk4oR9ukZ/"
    "9fE30SHKJHn2eHRcSd7czJVTogJNJkRmgh29bJ/sxb7GM%3d",
};

TEST(CryptoPassword, UnwrapsWhatOthersWrapped) {
    for (const char *text : kForeign)
        EXPECT_EQ("The quick brown fox jumps over the lazy dog", Unwrap(text).Text());
}

TEST(CryptoPassword, WrappedDataComesBack) {
    for (const std::string &data : {std::string(), std::string(16, 'x'), std::string(1000, '\0')}) {
        EXPECT_EQ(data, Unwrap(Wrap(data)).Text());
        EXPECT_EQ(7u, Unwrap(Wrap(data), "wrong").error);
    }
    const std::string text = Wrap("data");
    EXPECT_EQ(0u, text.find("type=wrappedData:pass2key=PBKDF2-HMAC-SHA-1:cipher=AES-128:"
                            "rounds=1000:salt="));
    EXPECT_NE(std::string::npos, text.find("%3d:mac=HMAC-SHA-1:data="));
    EXPECT_NE(text, Wrap("data"));
}

TEST(CryptoPassword, TheFirstFieldThatIsWrongGivesTheCode) {
    const std::tuple<const char *, const char *, CryptoError> rows[] = {
        {"pass2key=", "pass2kex=", 2},
        {"PBKDF2", "pbkdf2", 2},
        {"cipher=AES-128:", "cipher=AES-127:", 2},
        {"cipher=AES-128:", "cipher=RSA-512:", 4},
        {"cipher=AES-128:", "cipher=AES-192:", 7},
        {":rounds=1000", "", 10},
        {"rounds=1000", "rounds=0", 1},
        {"rounds=1000", "rounds=-1", 1},
        {"rounds=1000", "rounds=1e3", 1},
        {"rounds=1000", "rounds=2147483648", 1},
        {"rounds=1000", "rounds=10000001", 1},
        {"rounds=1000", "rounds=0x3e7", 7},
        {":salt=", ":salz=", 10},
        {"salt=A", "salt=!", 1},
        {"salt=AQIDBAUGBwg%3d", "salt=", 7},
        {":mac=", ":max=", 2},
        {"mac=HMAC-SHA-1:", "mac=HMAC-SHA-256:", 7},
        {":data=", ":date=", 10},
        {"data=Q", "data=!", 1},
        {"data=QEFC", "data=", 7},
        {"data=", "data=AA%3d%3d", 7},
        {":salt=AQIDBAUGBwg%3d:mac=HMAC-SHA-1", ":mac=x", 10},
    };
    for (const auto &[from, to, error] : rows)
        EXPECT_EQ(error, Unwrap(Replace(kForeign[0], from, to)).error) << to;
    EXPECT_EQ(2u, Unwrap("").error);
}

TEST(CryptoPassword, EveryCutAndEveryChangedBitIsRefused) {
    std::string text = kForeign[1];
    for (size_t size = 0; size < text.size(); size++)
        EXPECT_NE(0u, Unwrap(text.substr(0, size)).error) << size;
    for (size_t bit = text.find("data=") * 8; bit < text.size() * 8; bit++) {
        text[bit / 8] = static_cast<char>(text[bit / 8] ^ 1 << bit % 8);
        EXPECT_NE(0u, Unwrap(text).error) << bit;
        text[bit / 8] = static_cast<char>(text[bit / 8] ^ 1 << bit % 8);
    }
    const std::string large =
        Replace(text, "salt=AQIDBAUGBwg%3d", "salt=" + std::string(1 << 20, 'A'));
    EXPECT_EQ(7u, Unwrap(large).error);
}

TEST(CryptoPassword, TheTextsOfOneOperationHaveOneLimitOfRounds) {
    const std::string costly = Replace(kForeign[0], "rounds=1000", "rounds=2000");
    for (int i = 0; i < 2; i++) {
        const StoredRoundsScope outer;
        EXPECT_TRUE(StoredRounds_Take(kMaxStoredRounds - 3000));
        EXPECT_EQ(7u, Unwrap(costly).error) << "read, with a wrong key";
        const StoredRoundsScope inner;
        EXPECT_EQ(1u, Unwrap(costly).error) << "more than is left";
        EXPECT_EQ(0u, Unwrap(kForeign[0]).error) << "the usual number is not counted";
    }
    EXPECT_EQ(7u, Unwrap(costly).error);
}

TEST(CryptoPassword, ASaltIsMadeOnceAndKept) {
    guint8 *salt = nullptr;
    gsize saltSize = 0;
    const auto compute = [&](int rounds) {
        return Made(CryptoPass2Key_Compute, CryptoPass2Key_PBKDF2_HMAC_SHA_1, CryptoCipherAES_256,
                    rounds, "pw", 2, &salt, &saltSize);
    };
    const Result first = compute(2);
    EXPECT_EQ(0u, first.error);
    EXPECT_EQ(8u, saltSize);
    EXPECT_EQ(32u, first.bytes.size());
    const guint8 *const kept = salt;
    EXPECT_EQ(first.bytes, compute(2).bytes);
    EXPECT_EQ(1u, compute(0).error);
    EXPECT_EQ(kept, salt);
    Crypto_Free(salt, saltSize);

    salt = nullptr;
    CryptoKeyPtr key;
    EXPECT_EQ(1u, CryptoPass2Key_MakeKey(CryptoPass2Key_PBKDF2_HMAC_SHA_1, CryptoCipherAES_256, 0,
                                         "pw", 2, &salt, &saltSize, CryptoOut(key)));
    EXPECT_EQ(nullptr, salt);
    EXPECT_EQ(0u, saltSize);
}

TEST(CryptoPassword, AMangledPassphraseIsAlwaysTheSame) {
    const std::pair<std::string, const char *> rows[] = {
        {"", "iaYYFSQdHX/sjTEceaPXIQ=="}, {"correct horse", "LsS/HlUKy+x1pVNHRRm1Qg=="}};
    for (const auto &[phrase, expected] : rows)
        EXPECT_STREQ(
            expected,
            Owned<CryptoText>(Crypto_ManglePassphrase, phrase.data(), phrase.size()).get());
}

TEST(CryptoPassword, APasswordInMemoryIsEncrypted) {
    CryptoEncryptedPassword record;
    Crypto_InitializeEncryptedPassword(&record);
    gsize size = 99;
    EXPECT_EQ(nullptr, Crypto_DecryptPassword(&record, &size));
    EXPECT_EQ(0u, size);
    for (const std::string &password : {std::string("swordfish"), std::string()}) {
        ASSERT_TRUE(Crypto_EncryptPassword(password.data(), password.size(), &record));
        const std::string held(reinterpret_cast<char *>(record.data), record.size);
        EXPECT_TRUE(password.empty() || held.find(password) == std::string::npos);
        gpointer data = Crypto_DecryptPassword(&record, &size);
        const SecretBlock plain(data, size);
        EXPECT_EQ(password, std::string(reinterpret_cast<char *>(plain.data()), plain.size()));
        record.data[record.size - 1] ^= 1;
        EXPECT_EQ(nullptr, Crypto_DecryptPassword(&record, &size));
        Crypto_ClearEncryptedPassword(&record);
        EXPECT_EQ(nullptr, record.data);
        EXPECT_EQ(nullptr, record.key);
    }
}

} // namespace
