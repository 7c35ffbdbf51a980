#include <crypto/cryptoHash.h>

#include "lib/crypto/shaBodies.h"
#include "lib/crypto/shaFips.h"
#include "tests/lib/crypto/keys.h"
#include "tests/support/logText.h"

namespace {

CryptoHash *Hash(const char *name) {
    CryptoHash *hash = nullptr;
    EXPECT_EQ(0u, CryptoHash_FromString(name, &hash)) << name;
    return hash;
}

std::string Digest(const char *name, std::string_view text) {
    Bytes out(CryptoHash_GetOutputSize(Hash(name)));
    EXPECT_EQ(0u, CryptoHash_Compute(Hash(name), text.data(), text.size(), out.data(), out.size()));
    return ToHex(out);
}

std::string LastLogLine() {
    const std::string text = LogText();
    return text.substr(text.rfind('\n', text.size() - 2) + 1);
}

TEST(CryptoHash, KnownAnswers) {
    const std::string twoBlocks = "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq";
    const std::tuple<const char *, std::string, const char *> rows[] = {
        {"SHA-1", "", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
        {"SHA-1", "abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {"SHA-1", twoBlocks, "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
        {"SHA-1", std::string(1000000, 'a'), "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
        {"SHA-256", "", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
        {"SHA-256", "abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {"SHA-256", twoBlocks, "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
        {"SHA-256", std::string(1000000, 'a'),
         "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"},
    };
    for (const auto &[name, text, digest] : rows)
        EXPECT_EQ(digest, Digest(name, text)) << name << " " << text.size();
}

/* The portable body is checked by the answers above through the others, which must do as it does. */
TEST(CryptoHash, AllBodiesOfThisMachineGiveTheSameWords) {
    const std::span<const ShaBody> bodies = ShaBodies();
    const ShaBody &portable = bodies.back();
    const Bytes data = SomeBytes(SHA_BLOCK_SIZE * 5 + 1);
    int numUsable = 0;
    for (const ShaBody &body : bodies) {
        if (!body.isUsable())
            continue;
        numUsable++;
        for (gsize numBlocks : {0, 1, 2, 5}) {
            for (gsize offset : {0, 1}) { // blocks need no alignment
                const auto words = [&](auto function, auto state) {
                    function(state.data(), data.data() + offset, numBlocks);
                    return state;
                };
                EXPECT_EQ(words(portable.sha1, kSha1Start), words(body.sha1, kSha1Start))
                    << body.name << " " << numBlocks;
                EXPECT_EQ(words(portable.sha256, kSha256Start), words(body.sha256, kSha256Start))
                    << body.name << " " << numBlocks;
            }
        }
    }
    EXPECT_LE(1, numUsable);
    EXPECT_STREQ("portable", portable.name);
}

TEST(CryptoHash, PiecesOfAnySizeGiveTheSame) {
    const Bytes data = SomeBytes(300);
    for (const char *name : {"SHA-1", "SHA-256"}) {
        CryptoHash *hash = Hash(name);
        for (size_t size : {0, 1, 55, 56, 63, 64, 65, 119, 120, 128, 300}) {
            Bytes whole(CryptoHash_GetOutputSize(hash));
            CryptoHash_Compute(hash, data.data(), size, whole.data(), whole.size());
            for (size_t piece : {1, 3, 63, 64, 100}) {
                CryptoHashState *state = CryptoHashState_Create(hash);
                EXPECT_EQ(hash, CryptoHashState_GetHash(state));
                for (size_t at = 0; at < size; at += piece) {
                    CryptoHashState_Process(state, data.data() + at, std::min(piece, size - at));
                    CryptoHashState_Process(state, nullptr, 0);
                }
                Bytes out(whole.size());
                EXPECT_EQ(0u, CryptoHashState_Finish(state, out.data(), out.size()));
                EXPECT_EQ(whole, out) << name << " " << size << " by " << piece;
            }
        }
    }
}

TEST(CryptoHash, AnExportedStateIsTheRecordAndGoesOn) {
    for (const auto &[name, size] : {std::pair("SHA-1", 92u), {"SHA-256", 104u}}) {
        CryptoHash *hash = Hash(name);
        const gsize numWords = CryptoHash_GetOutputSize(hash) / 4;
        CryptoHashState *first = CryptoHashState_Create(hash);
        CryptoHashState_Process(first, std::string(64, 'x').data(), 64);
        CryptoHashState_Process(first, "ab", 2);
        const Bytes record = Made(CryptoHashState_ExportState, first).bytes;
        ASSERT_EQ(size, record.size());
        guint32 count[2];
        memcpy(count, &record[numWords * 4], sizeof count);
        EXPECT_EQ(66u * 8, count[0]);
        EXPECT_EQ(0u, count[1]);
        EXPECT_EQ(0, memcmp(&record[numWords * 4 + 8], "ab", 2));

        CryptoHashState *second = CryptoHashState_Create(hash);
        CryptoHashState_Process(second, "forgotten", 9);
        EXPECT_EQ(3u, CryptoHashState_ImportState(second, record.data(), size - 1));
        EXPECT_EQ(3u, CryptoHashState_ImportState(second, record.data(), size + 1));
        EXPECT_EQ(0u, CryptoHashState_ImportState(second, record.data(), size));
        for (CryptoHashState *state : {first, second}) {
            CryptoHashState_Process(state, "c", 1);
            Bytes out(numWords * 4);
            EXPECT_EQ(0u, CryptoHashState_Finish(state, out.data(), out.size()));
            EXPECT_EQ(Digest(name, std::string(64, 'x') + "abc"), ToHex(out));
        }
    }
}

/* A count that runs over from the low word to the high one: 2^29 bytes are 2^32 bits. */
TEST(CryptoHash, TheCountOfBitsHasTwoWords) {
    SHA1FipsState state;
    SHA1_FIPS_Init(&state);
    state.count[0] = 0xffffffff - 7; // as after 2^29 - 1 bytes
    SHA1_FIPS_Update(&state, reinterpret_cast<const guint8 *>("a"), 1);
    EXPECT_EQ(0u, state.count[0]);
    EXPECT_EQ(1u, state.count[1]);
    const Bytes big(1 << 20);
    SHA1_FIPS_Init(&state);
    state.count[1] = 5;
    state.count[0] = 0xfff00000;
    SHA1_FIPS_Update(&state, big.data(), static_cast<guint32>(big.size()));
    EXPECT_EQ(0xfff00000u + (8u << 20), state.count[0]);
    EXPECT_EQ(6u, state.count[1]);
}

TEST(CryptoHash, AnOutputOfAWrongSizeIsRefused) {
    Bytes out(21, 7);
    EXPECT_EQ(3u, CryptoHash_Compute(CryptoHash_SHA_1, "abc", 3, out.data(), 21));
    EXPECT_EQ("I hash outputs 20 bytes but buffer is 21 bytes\n", LastLogLine());
    EXPECT_EQ(Bytes(21, 7), out);
    LogRing_Clear();
    EXPECT_EQ(3u, CryptoHashState_Finish(CryptoHashState_Create(CryptoHash_SHA_1), nullptr, 0));
    EXPECT_EQ("", LastLogLine());
}

TEST(CryptoHash, NamesAreExact) {
    CryptoHash *hash = CryptoHash_SHA_1;
    for (const char *name : {"", "sha-1", "SHA-1 ", "SHA1", "SHA-512"}) {
        EXPECT_EQ(2u, CryptoHash_FromString(name, &hash)) << name;
        EXPECT_EQ(nullptr, hash);
    }
    int nid = 0;
    EXPECT_EQ(CryptoHash_SHA_1, Hash("SHA-1"));
    EXPECT_TRUE(CryptoHash_ToNID(CryptoHash_SHA_1, &nid) && nid == 64);
    EXPECT_EQ(CryptoHash_SHA_256, Hash("SHA-256"));
    EXPECT_TRUE(CryptoHash_ToNID(CryptoHash_SHA_256, &nid) && nid == 672);
    EXPECT_STREQ("SHA-256", CryptoHash_ToString(CryptoHash_SHA_256));
    EXPECT_EQ(64u, CryptoHash_GetBlockSize(CryptoHash_SHA_256));
}

TEST(CryptoError, EachCodeHasATextAndAStoredForm) {
    const std::pair<CryptoError, const char *> rows[] = {
        {0, "The operation completed successfully"},
        {12, "Locking failure"},
        {13, "Unknown cryptographic error"},
        {0xffffffff, "Unknown cryptographic error"}};
    for (const auto &[code, text] : rows)
        EXPECT_STREQ(text, CryptoError_ToString(code)) << code;
    EXPECT_STREQ("@&!*@*@(msg.crypto.failed)Cryptographic operation failed",
                 CryptoError_ToMsgString(1));
    EXPECT_STREQ("@&!*@*@(msg.crypto.crypto.unknown)Unknown cryptographic error",
                 CryptoError_ToMsgString(13));
}

Bytes Text(std::string_view text) {
    return {text.begin(), text.end()};
}

Bytes Counting(guint8 first, guint8 last) {
    Bytes bytes;
    for (int i = first; i <= last; i++)
        bytes.push_back(static_cast<guint8>(i));
    return bytes;
}

std::string Mac(const char *name, const Bytes &key, const Bytes &data) {
    CryptoKeyedHash *keyedHash = nullptr;
    EXPECT_EQ(0u, CryptoKeyedHash_FromString(name, &keyedHash)) << name;
    Bytes out(CryptoKeyedHash_GetOutputSize(keyedHash));
    EXPECT_EQ(0u, CryptoKeyedHash_Compute(keyedHash, key.data(), key.size(), data.data(),
                                          data.size(), out.data(), out.size()));
    return ToHex(out);
}

/* RFC 2202 and RFC 4231; keys of a block and of one byte more. */
TEST(CryptoKeyedHash, KnownAnswers) {
    const Bytes longText = Text("This is a test using a larger than block-size key and a larger "
                                "than block-size data. The key needs to be hashed before being "
                                "used by the HMAC algorithm.");
    const std::tuple<const char *, Bytes, Bytes, const char *> rows[] = {
        {"HMAC-SHA-1", Bytes(20, 0x0b), Text("Hi There"),
         "b617318655057264e28bc0b6fb378c8ef146be00"},
        {"HMAC-SHA-1-128", Bytes(20, 0x0b), Text("Hi There"), "b617318655057264e28bc0b6fb378c8e"},
        {"HMAC-SHA-1", Text("Jefe"), Text("what do ya want for nothing?"),
         "effcdf6ae5eb2fa2d27416d5f184df9c259a7c79"},
        {"HMAC-SHA-1", Bytes(20, 0xaa), Bytes(50, 0xdd),
         "125d7342b9ac11cd91a39af48aa17b4f63f175d3"},
        {"HMAC-SHA-1", Counting(1, 25), Bytes(50, 0xcd),
         "4c9007f4026250c6bc8414f9bf50c86c2d7235da"},
        {"HMAC-SHA-1", Bytes(80, 0xaa),
         Text("Test Using Larger Than Block-Size Key - Hash Key First"),
         "aa4ae5e15272d00e95705637ce8a3b55ed402112"},
        {"HMAC-SHA-1", Counting(0, 63), Text("Sample message for keylen=blocklen"),
         "5fd596ee78d5553c8ff4e72d266dfd192366da29"},
        {"HMAC-SHA-1", Bytes(65, 'k'), {1}, "40d157498c2d2fcbbe66c666a08b20e092c6c463"},
        {"HMAC-SHA-1", {}, {}, "fbdb1d1b18aa6c08324b7d64b71fb76370690e1d"},
        {"HMAC-SHA-256", Bytes(20, 0x0b), Text("Hi There"),
         "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7"},
        {"HMAC-SHA-256", Text("Jefe"), Text("what do ya want for nothing?"),
         "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843"},
        {"HMAC-SHA-256", Bytes(20, 0xaa), Bytes(50, 0xdd),
         "773ea91e36800e46854db8ebd09181a72959098b3ef8c122d9635514ced565fe"},
        {"HMAC-SHA-256", Bytes(131, 0xaa), longText,
         "9b09ffa71b942fcb27635fbcd5b0e944bfdc63644f0713938a7f51535c3a35e2"},
    };
    for (const auto &[name, key, data, mac] : rows)
        EXPECT_EQ(mac, Mac(name, key, data)) << name << " " << key.size();
}

TEST(CryptoKeyedHash, PiecesAreTakenAsIfJoined) {
    const Bytes data = SomeBytes(200);
    const Bytes key = SomeBytes(16, 2);
    const CryptoIov iov[] = {
        {data.data(), 1}, {nullptr, 0}, {data.data() + 1, 64}, {data.data() + 65, 135}};
    for (const char *name : {"HMAC-SHA-1", "HMAC-SHA-1-128", "HMAC-SHA-256"}) {
        CryptoKeyedHash *keyedHash = nullptr;
        CryptoKeyedHash_FromString(name, &keyedHash);
        Bytes out(CryptoKeyedHash_GetOutputSize(keyedHash));
        EXPECT_EQ(0u, CryptoKeyedHash_ComputeIov(keyedHash, key.data(), key.size(), iov,
                                                 std::size(iov), out.data(), out.size()));
        EXPECT_EQ(Mac(name, key, data), ToHex(out));

        CryptoKeyedHashState *state =
            CryptoKeyedHashState_Create(keyedHash, key.data(), key.size());
        EXPECT_EQ(keyedHash, CryptoKeyedHashState_GetKeyedHash(state));
        for (const CryptoIov &piece : iov)
            CryptoKeyedHashState_Process(state, piece.data, piece.size);
        Bytes again(out.size());
        EXPECT_EQ(0u, CryptoKeyedHashState_Finish(state, again.data(), again.size()));
        EXPECT_EQ(out, again);
    }
}

TEST(CryptoKeyedHash, AnOutputOfAWrongSizeIsRefused) {
    Bytes out(20, 7);
    EXPECT_EQ(3u, CryptoKeyedHash_Compute(CryptoKeyedHash_HMAC_SHA_1_128, "k", 1, "abc", 3,
                                          out.data(), 20));
    EXPECT_EQ("I keyedHash outputs 16 bytes but buffer is 20 bytes\n", LastLogLine());
    EXPECT_EQ(Bytes(20, 7), out);
    CryptoKeyedHashState *state = CryptoKeyedHashState_Create(CryptoKeyedHash_HMAC_SHA_256, "k", 1);
    EXPECT_EQ(3u, CryptoKeyedHashState_Finish(state, nullptr, 0));
    CryptoKeyedHash *keyedHash = CryptoKeyedHash_HMAC_SHA_1;
    EXPECT_EQ(2u, CryptoKeyedHash_FromString("HMAC-SHA-512", &keyedHash));
    EXPECT_EQ(nullptr, keyedHash);
}

} // namespace
