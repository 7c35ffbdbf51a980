#include <crypto/cryptoKey.h>

#include "tests/lib/crypto/keys.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/support/logText.h"

namespace {

constexpr gsize kBlock = 16;

CryptoKeyPtr MakeKey(CryptoCipher *cipher = CryptoCipherAES_128, gsize size = 16,
                     guint32 seed = 7) {
    return KeyOf(cipher, SomeBytes(size, seed));
}

Bytes Seal(CryptoKey *key, const Bytes &plain, CryptoKeyedHash *mac = CryptoKeyedHash_HMAC_SHA_1) {
    const Result sealed = Made(CryptoKey_EncryptWithMAC, key, mac, plain.data(), plain.size());
    EXPECT_EQ(0u, sealed.error);
    return sealed.bytes;
}

Result Open(CryptoKey *key, const Bytes &record,
            CryptoKeyedHash *mac = CryptoKeyedHash_HMAC_SHA_1) {
    return Made(CryptoKey_DecryptWithMAC, key, mac, record.data(), record.size());
}

Bytes Mac(CryptoKey *key, const Bytes &plain) {
    const std::string raw = BytesOf(key);
    return HmacSha1({raw.begin(), raw.end()}, plain);
}

/* A record of a text with padding and a MAC that are as the test wants them. */
Bytes Forge(CryptoKey *key, Bytes padded, const Bytes &mac) {
    Bytes iv = SomeBytes(kBlock, 3);
    Bytes record = iv;
    EXPECT_EQ(0u, CryptoKey_CBCEncrypt(key, iv.data(), iv.size(), padded.data(), padded.data(),
                                       padded.size()));
    record.insert(record.end(), padded.begin(), padded.end());
    record.insert(record.end(), mac.begin(), mac.end());
    return record;
}

TEST(CryptoKey, SealedRecordsHaveTheirSizeAndOpen) {
    const std::pair<CryptoCipher *, gsize> ciphers[] = {
        {CryptoCipherAES_128, 16}, {CryptoCipherAES_192, 24}, {CryptoCipherAES_256, 32}};
    CryptoKeyedHash *const macs[] = {CryptoKeyedHash_HMAC_SHA_1, CryptoKeyedHash_HMAC_SHA_1_128,
                                     CryptoKeyedHash_HMAC_SHA_256};
    for (const auto &[cipher, keySize] : ciphers) {
        const CryptoKeyPtr key = MakeKey(cipher, keySize);
        for (CryptoKeyedHash *mac : macs) {
            for (gsize size : {0, 1, 15, 16, 17, 32, 1000}) {
                const Bytes plain = SomeBytes(size);
                const Bytes record = Seal(key.get(), plain, mac);
                EXPECT_EQ(kBlock + (size / kBlock + 1) * kBlock +
                              CryptoKeyedHash_GetOutputSize(mac),
                          record.size());
                EXPECT_EQ(plain, Open(key.get(), record, mac).bytes);
                EXPECT_NE(record, Seal(key.get(), plain, mac));
            }
        }
    }
}

TEST(CryptoKey, ARecordIsInitialVectorCipherTextAndMacOfThePlainText) {
    const CryptoKeyPtr key = MakeKey();
    const Bytes plain = SomeBytes(21);
    Bytes record = Seal(key.get(), plain);
    EXPECT_EQ(Mac(key.get(), plain), Bytes(record.end() - 20, record.end()));
    Bytes iv(record.begin(), record.begin() + kBlock);
    Bytes text(record.begin() + kBlock, record.end() - 20);
    ASSERT_EQ(0u, CryptoKey_CBCDecrypt(key.get(), iv.data(), kBlock, text.data(), text.data(),
                                       text.size()));
    Bytes expected = plain;
    expected.insert(expected.end(), 11, 11);
    EXPECT_EQ(expected, text);
    EXPECT_EQ(Bytes(record.end() - 36, record.end() - 20), iv) << "goes on behind the last block";
}

TEST(CryptoKey, EveryChangedBitIsNoticedWithTheSameCode) {
    const CryptoKeyPtr key = MakeKey();
    Bytes record = Seal(key.get(), SomeBytes(30));
    for (gsize bit = 0; bit < record.size() * 8; bit++) {
        record[bit / 8] ^= static_cast<guint8>(1 << (bit % 8));
        LogRing_Clear();
        EXPECT_EQ(1u, Open(key.get(), record).error) << bit;
        EXPECT_EQ("I SymmetricDecryptWithMAC: MAC verification failed\n", LogText()) << bit;
        record[bit / 8] ^= static_cast<guint8>(1 << (bit % 8));
    }
    EXPECT_EQ(0u, Open(key.get(), record).error);
    EXPECT_EQ(1u, Open(MakeKey(CryptoCipherAES_128, 16, 8).get(), record).error);
    EXPECT_EQ(1u, Open(key.get(), record, CryptoKeyedHash_HMAC_SHA_1_128).error & ~2u);
}

TEST(CryptoKey, EveryCutIsRefused) {
    const CryptoKeyPtr key = MakeKey();
    const Bytes record = Seal(key.get(), SomeBytes(40));
    for (gsize size = 0; size < record.size(); size++) {
        const bool isMultiple = (size - 20) % kBlock == 0;
        const CryptoError expected = size < 20 + 2 * kBlock || isMultiple ? 1 : 3;
        EXPECT_EQ(expected, Open(key.get(), {record.begin(), record.begin() + size}).error) << size;
    }
}

/* The padding of each row is the end of a block whose MAC is right. */
TEST(CryptoKey, PaddingIsComparedButForItsFirstByte) {
    const CryptoKeyPtr key = MakeKey();
    const std::tuple<const char *, gsize, CryptoError> rows[] = {
        {"00000000000000000000000000000001", 15, 0}, {"00000000000000000000000000000202", 14, 0},
        {"00000000000000000000000000990003", 13, 1}, {"00000000000000000000000000990303", 13, 0},
        {"99101010101010101010101010101010", 0, 0},  {"10101010101010101010101010101000", 16, 1},
        {"11111111111111111111111111111111", 0, 1},  {"ffffffffffffffffffffffffffffffff", 0, 1},
        {"10109910101010101010101010101010", 0, 1},
    };
    for (const auto &[hex, plainSize, error] : rows) {
        const Bytes padded = FromHex(hex);
        const Bytes plain(padded.begin(), padded.begin() + plainSize);
        const Result result = Open(key.get(), Forge(key.get(), padded, Mac(key.get(), plain)));
        EXPECT_EQ(error, result.error) << hex;
        EXPECT_EQ(error == 0 ? plain : Bytes(), result.bytes) << hex;
    }
}

/* SP 800-38A, sections F.1 and F.2. */
TEST(CryptoKey, BlocksAndChainsGiveThePublishedAnswers) {
    const Bytes plain = FromHex("6bc1bee22e409f96e93d7e117393172aae2d8a571e03ac9c9eb76fac45af8e51"
                                "30c81c46a35ce411e5fbc1191a0a52eff69f2445df4f9b17ad2b417be66c3710");
    const std::tuple<CryptoCipher *, const char *, const char *, const char *> rows[] = {
        {CryptoCipherAES_128, "2b7e151628aed2a6abf7158809cf4f3c",
         "3ad77bb40d7a3660a89ecaf32466ef97f5d3d58503b9699de785895a96fdbaaf"
         "43b1cd7f598ece23881b00e3ed0306887b0c785e27e8ad3f8223207104725dd4",
         "7649abac8119b246cee98e9b12e9197d5086cb9b507219ee95db113a917678b2"
         "73bed6b8e3c1743b7116e69e222295163ff1caa1681fac09120eca307586e1a7"},
        {CryptoCipherAES_192, "8e73b0f7da0e6452c810f32b809079e562f8ead2522c6b7b",
         "bd334f1d6e45f25ff712a214571fa5cc974104846d0ad3ad7734ecb3ecee4eef"
         "ef7afd2270e2e60adce0ba2face6444e9a4b41ba738d6c72fb16691603c18e0e",
         "4f021db243bc633d7178183a9fa071e8b4d9ada9ad7dedf4e5e738763f69145a"
         "571b242012fb7ae07fa9baac3df102e008b0e27988598881d920a9e64f5615cd"},
        {CryptoCipherAES_256, "603deb1015ca71be2b73aef0857d77811f352c073b6108d72d9810a30914dff4",
         "f3eed1bdb5d2a03c064b5a7e3db181f8591ccb10d410ed26dc5ba74a31362870"
         "b6ed21b99ca6f4f9f153e7b1beafed1d23304b7a39f9f3ff067d8d8f9e24ecc7",
         "f58c4c04d6e5f1ba779eabfb5f7bfbd69cfc4e967edb808d679f777bc6702c7d"
         "39f23369a9d9bacfa530e26304231461b2eb05e2c39be9fcda6c19078c6a9d1b"},
    };
    for (const auto &[cipher, keyText, blocks, chain] : rows) {
        const CryptoKeyPtr key = KeyOf(cipher, FromHex(keyText));
        Bytes out(plain.size());
        for (gsize at = 0; at < out.size(); at += kBlock)
            EXPECT_EQ(0u, CryptoKey_ECBEncrypt(key.get(), &plain[at], &out[at], kBlock));
        EXPECT_EQ(blocks, ToHex(out));
        for (gsize at = 0; at < out.size(); at += kBlock)
            EXPECT_EQ(0u, CryptoKey_ECBDecrypt(key.get(), &out[at], &out[at], kBlock));
        EXPECT_EQ(plain, out);
        const auto crypt = [&](auto function, const Bytes &in, gsize piece) {
            Bytes iv = FromHex("000102030405060708090a0b0c0d0e0f");
            for (gsize at = 0; at < in.size(); at += piece)
                EXPECT_EQ(0u, function(key.get(), iv.data(), 16, &in[at], &out[at], piece));
            return out;
        };
        for (gsize piece : {16, 64}) { /* a chain goes on from call to call */
            EXPECT_EQ(chain, ToHex(crypt(CryptoKey_CBCEncrypt, plain, piece)));
            EXPECT_EQ(plain, crypt(CryptoKey_CBCDecrypt, out, piece));
        }
    }
}

TEST(CryptoKey, BlocksAndChainsRefuseWrongSizes) {
    const CryptoKeyPtr key = MakeKey();
    Bytes iv(17);
    Bytes out(32, 9);
    const Bytes in(32, 1);
    EXPECT_EQ(3u, CryptoKey_ECBEncrypt(key.get(), in.data(), out.data(), 32));
    EXPECT_EQ(3u, CryptoKey_ECBDecrypt(key.get(), in.data(), out.data(), 15));
    EXPECT_EQ(0u, CryptoKey_ECBDecrypt(key.get(), in.data(), out.data(), 0));
    EXPECT_EQ(Bytes(32, 9), out);
    EXPECT_EQ(0u, CryptoKey_CBCEncrypt(key.get(), iv.data(), 16, in.data(), out.data(), 0));
    EXPECT_EQ(Bytes(32, 9), out);

    LogRing_Clear();
    EXPECT_EQ(3u, CryptoKey_CBCEncrypt(key.get(), iv.data(), 17, in.data(), out.data(), 32));
    EXPECT_EQ(Bytes(32, 0), out);
    out.assign(32, 9);
    EXPECT_EQ(3u, CryptoKey_CBCDecrypt(key.get(), iv.data(), 16, in.data(), out.data(), 31));
    EXPECT_EQ(9, out.back());
    out.pop_back();
    EXPECT_EQ(Bytes(31, 0), out);
    EXPECT_EQ(
        "I CryptoKey_CBCEncrypt: wrong IV size (expected 16 bytes, got 17)\n"
        "I CryptoKey_CBCDecrypt: text size (31 bytes) not a multiple of block size (16 bytes)\n",
        LogText());
}

TEST(CryptoKey, ASymmetricKeyCannotDoWhatNeedsAPublicOne) {
    const CryptoKeyPtr key = MakeKey();
    gpointer native;
    EXPECT_EQ(4u, CryptoKey_GetNative(key.get(), &native));
    EXPECT_EQ(4u, Made(CryptoKey_PKEncrypt, key.get(), CRYPTO_RSA_PADDING_OAEP, "x", 1).error);
    auto *data = reinterpret_cast<guint8 *>(1);
    gsize inSize = 1;
    EXPECT_EQ(
        4u, CryptoKey_PKDecrypt(key.get(), CRYPTO_RSA_PADDING_OAEP, "x", &inSize, &data, nullptr));
    EXPECT_EQ(nullptr, data);
    EXPECT_EQ(4u, Made(CryptoKey_Sign, key.get(), CryptoHash_SHA_1, "x", 1).error);
    EXPECT_EQ(4u, CryptoKey_Verify(key.get(), CryptoHash_SHA_1, "x", 1, "y", 1));
    EXPECT_EQ(4u, CryptoKey_Verify(key.get(), CryptoHash_SHA_1, "x", 1, nullptr, 0));
    EXPECT_FALSE(CryptoKey_HasPrivateKey(key.get()));
    auto publicKey = Owned<CryptoKeyPtr>(CryptoKey_GetPublicKey, key.get());
    EXPECT_EQ(key.get(), publicKey.get());
}

TEST(CryptoKey, OnlyBytesOfTheCiphersSizeMakeAKey) {
    LogRing_Clear();
    for (gsize size : {0, 15, 17, 32}) {
        const Bytes raw(size);
        auto *key = reinterpret_cast<CryptoKey *>(1);
        EXPECT_EQ(1u, CryptoKey_Create(CryptoCipherAES_128, raw.data(), size, &key)) << size;
        EXPECT_EQ(nullptr, key);
    }
    EXPECT_EQ(1u, CountInLog("can't use 256-bit key with 128-bit cipher\n"));
    CryptoKey_Free(nullptr);
}

TEST(CryptoKey, ExportedTextsAreReadBack) {
    const CryptoKeyPtr key =
        KeyOf(CryptoCipherAES_128, FromHex("000102030405060708090a0b0c0d0e0f"));
    EXPECT_EQ("type=key:cipher=AES-128:key=AAECAwQFBgcICQoLDA0ODw%3d%3d", Export(key.get()));
    for (const char *password : {static_cast<const char *>(nullptr), "", "secret"}) {
        CryptoKeyPtr again;
        EXPECT_EQ(0u, Import(Export(key.get(), password), password, &again));
        EXPECT_EQ(Export(key.get()), Export(again.get()));
    }
}

TEST(CryptoKey, TextsThatAreNoKeyGiveTheCodeOfTheLastForm) {
    const std::string wrapped = Export(MakeKey().get(), "secret");
    const std::pair<std::string, const char *> rows[] = {
        {wrapped, nullptr},
        {wrapped, "wrong"},
        {"", nullptr},
        {"type=other", nullptr},
        {"type=key:cipher=AES-129:key=AAAA", nullptr},
        {"type=key:cipher=AES-128", nullptr},
        {"type=key:cipher=AES-128:key=AAAA", nullptr},
        {"type=key:cipher=AES-128:key=!", nullptr},
        {"type=key:cipher=RSA-512:key=AAAA", nullptr},
        {std::string(200000, 'A'), nullptr},
    };
    for (const auto &[text, password] : rows) {
        CryptoKeyPtr key;
        EXPECT_EQ(1u, Import(text, password, &key)) << text.substr(0, 40);
        EXPECT_EQ(nullptr, key);
    }
}

TEST(CryptoKey, IsSharedByThreads) {
    const CryptoKeyPtr key = MakeKey();
    const Bytes plain = SomeBytes(100);
    InThreads(8, [&](int) {
        for (int round = 0; round < 50; round++) {
            const CryptoKeyPtr mine(CryptoKey_Clone(key.get()));
            EXPECT_EQ(plain, Open(mine.get(), Seal(mine.get(), plain)).bytes);
        }
    });
}

} // namespace
