#include <crypto/cryptoSector.h>

#include "tests/lib/crypto/keys.h"

namespace {

using CtxPtr = std::unique_ptr<CryptoSectorCipherCtx, Release<CryptoSector_CipherCtxRelease>>;

CtxPtr Context(CryptoCipher *cipher = CryptoCipherAES_128, gsize keySize = 16) {
    const Bytes iv = SomeBytes(16, 3);
    return CtxPtr(CryptoSector_CipherCtxCreate(KeyOf(cipher, SomeBytes(keySize)).get(), iv.data(),
                                               iv.size()));
}

Bytes Crypt(gboolean encrypt, const CtxPtr &ctx, guint64 sector, const Bytes &in) {
    Bytes out(512);
    EXPECT_EQ(0u, CryptoSector_Crypt(encrypt, ctx.get(), sector, in.data(), out.data()));
    return out;
}

/* The vector of a sector by its definition: a big-endian number, XORed to the secret, one block of ECB. */
TEST(CryptoSector, ASectorIsCbcUnderItsOwnVector) {
    const CtxPtr ctx = Context(CryptoCipherAES_256, 32);
    CryptoKey *key = CryptoSector_CipherCtxGetKey(ctx.get());
    const Bytes plain = SomeBytes(512, 5);
    for (guint64 sector : {guint64{0}, guint64{1}, guint64{0x0102030405060708}, ~guint64{0}}) {
        Bytes iv = SomeBytes(16, 3);
        for (int i = 0; i < 8; i++)
            iv[i] ^= static_cast<guint8>(sector >> (56 - 8 * i));
        EXPECT_EQ(0u, CryptoKey_ECBEncrypt(key, iv.data(), iv.data(), 16));
        Bytes expected(512);
        EXPECT_EQ(0u, CryptoKey_CBCEncrypt(key, iv.data(), 16, plain.data(), expected.data(), 512));
        const Bytes sealed = Crypt(TRUE, ctx, sector, plain);
        EXPECT_EQ(expected, sealed) << sector;
        EXPECT_EQ(plain, Crypt(FALSE, ctx, sector, sealed));
    }
    EXPECT_NE(Crypt(TRUE, ctx, 0, plain), Crypt(TRUE, ctx, 1, plain));

    Bytes inPlace = plain;
    EXPECT_EQ(0u, CryptoSector_Crypt(TRUE, ctx.get(), 7, inPlace.data(), inPlace.data()));
    EXPECT_EQ(Crypt(TRUE, ctx, 7, plain), inPlace);
}

TEST(CryptoSector, SealedDataOfAnySizeOpensAgain) {
    const CtxPtr ctx = Context();
    EXPECT_EQ(51u, CryptoSector_CipherCtxMaxExpansion(ctx.get()));
    const std::pair<gsize, gsize> sizes[] = {{0, 36},   {1, 51},   {15, 37},  {16, 36},    {17, 51},
                                             {511, 37}, {512, 36}, {513, 51}, {100000, 36}};
    for (const auto &[size, expansion] : sizes) {
        ASSERT_EQ(expansion, CryptoSector_CipherCtxExpansion(ctx.get(), size)) << size;
        const Bytes data = SomeBytes(size, 8);
        Bytes first = data;
        first.resize(size + expansion, 0xee);
        Bytes second = first;
        for (Bytes *buf : {&first, &second})
            EXPECT_EQ(
                0u, CryptoSector_HMACEncrypt(ctx.get(), 9, buf->data(), size, expansion, "ex", 2));
        EXPECT_NE(first, second) << "the vector is not random";

        // the MAC as it is defined
        Bytes input(8);
        input[0] = 9;
        input.insert(input.end(), first.begin(), first.end() - 20);
        input.insert(input.end(), {'e', 'x'});
        EXPECT_EQ(HmacSha1(SomeBytes(16), input), Bytes(first.end() - 20, first.end()));

        EXPECT_EQ(0u,
                  CryptoSector_HMACDecrypt(ctx.get(), 9, first.data(), size, expansion, "ex", 2));
        first.resize(size);
        EXPECT_EQ(data, first) << size;
    }
}

TEST(CryptoSector, AnyChangeIsDetectedAndNothingIsDecrypted) {
    const CtxPtr ctx = Context();
    constexpr gsize kSize = 20, kExpansion = 48;
    Bytes sealed = SomeBytes(kSize);
    sealed.resize(kSize + kExpansion);
    ASSERT_EQ(0u,
              CryptoSector_HMACEncrypt(ctx.get(), 9, sealed.data(), kSize, kExpansion, "ex", 2));
    const auto open = [&ctx](Bytes bytes, guint64 sector, std::string_view extra) {
        const Bytes before = bytes;
        const CryptoError error = CryptoSector_HMACDecrypt(ctx.get(), sector, bytes.data(), kSize,
                                                           kExpansion, extra.data(), extra.size());
        EXPECT_EQ(error != 0, before == bytes);
        return error;
    };
    EXPECT_EQ(0u, open(sealed, 9, "ex"));
    EXPECT_EQ(1u, open(sealed, 8, "ex"));
    EXPECT_EQ(1u, open(sealed, 9, "eX"));
    EXPECT_EQ(1u, open(sealed, 9, ""));
    for (gsize bit = 0; bit < sealed.size() * 8; bit++) {
        Bytes changed = sealed;
        changed[bit / 8] ^= static_cast<guint8>(1 << bit % 8);
        EXPECT_EQ(1u, open(changed, 9, "ex")) << bit;
    }
}

/* A right MAC over data whose padding is not zero: only who has the key can make it. */
TEST(CryptoSector, PaddingThatIsNotZeroIsRefusedAndWiped) {
    const CtxPtr ctx = Context();
    Bytes buf(32 + 36, 'x'); // two blocks with no padding, read as 20 bytes and 12 of padding
    ASSERT_EQ(0u, CryptoSector_HMACEncrypt(ctx.get(), 9, buf.data(), 32, 36, nullptr, 0));
    EXPECT_EQ(1u, CryptoSector_HMACDecrypt(ctx.get(), 9, buf.data(), 20, 48, nullptr, 0));
    EXPECT_EQ(Bytes(32), Bytes(buf.begin(), buf.begin() + 32));
}

TEST(CryptoSector, SizesThatDoNotFitAreRefused) {
    const CtxPtr ctx = Context();
    Bytes buf(100, 'x');
    const std::pair<gsize, gsize> rows[] = {
        {20, 0}, {20, 36}, {20, 49}, {20, G_MAXSIZE}, {G_MAXSIZE - 35, 40}, {G_MAXSIZE, 37}};
    for (const auto &[size, expansion] : rows) {
        for (auto *function : {CryptoSector_HMACEncrypt, CryptoSector_HMACDecrypt})
            EXPECT_EQ(3u, function(ctx.get(), 9, buf.data(), size, expansion, nullptr, 0))
                << size << " " << expansion;
        EXPECT_EQ(Bytes(100, 'x'), buf);
    }
    const Bytes iv(17);
    const CryptoKeyPtr key = KeyOf(CryptoCipherAES_128, SomeBytes(16));
    for (gsize size : {0, 15, 17})
        EXPECT_EQ(nullptr, CryptoSector_CipherCtxCreate(key.get(), iv.data(), size)) << size;
}

TEST(CryptoSector, AContextLivesAsLongAsItsLastUser) {
    CryptoSectorCipherCtx *ctx = nullptr;
    ASSERT_EQ(0u, CryptoSector_CipherCtxGenerate(CryptoCipherAES_192, &ctx));
    EXPECT_EQ(CryptoCipherAES_192, CryptoSector_CipherCtxGetCipher(ctx));
    EXPECT_EQ(16u, CryptoSector_CipherCtxGetIVSize(ctx));
    EXPECT_EQ(ctx, CryptoSector_CipherCtxGrab(ctx));
    const CryptoKeyPtr key(CryptoKey_Clone(CryptoSector_CipherCtxGetKey(ctx)));
    CryptoSector_CipherCtxRelease(ctx);
    const Bytes iv(CryptoSector_CipherCtxGetIV(ctx), CryptoSector_CipherCtxGetIV(ctx) + 16);
    EXPECT_NE(Bytes(16), iv);
    CryptoSector_CipherCtxRelease(ctx);
    EXPECT_EQ(nullptr, CryptoSector_CipherCtxGrab(nullptr));
    CryptoSector_CipherCtxRelease(nullptr);

    CryptoCipher *rsa = nullptr;
    ASSERT_EQ(0u, CryptoCipher_FromString("RSA-2048", &rsa));
    EXPECT_EQ(1u, CryptoSector_CipherCtxGenerate(rsa, &ctx));
    EXPECT_EQ(nullptr, ctx);
}

} // namespace
