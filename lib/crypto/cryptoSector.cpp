// lib/crypto/cryptoSector.cpp
//
// A sealed sector, with D bytes of data, blocks of B bytes and Z = (B - D mod B) mod B:
//
//   0           D + Z   CBC ciphertext of the data and Z zero bytes
//   D + Z       B       initialization vector, random
//   D + Z + B   20      HMAC-SHA-1 of the sector number (8 bytes, order of the machine), of all before, of the extra data
#include <crypto/cryptoSector.h>

#include <cstdlib>
#include <cstring>
#include <utility>

#include "lib/crypto/cryptoInt.h"
#include "lib/misc/secret.h"

struct CryptoSectorCipherCtx {
    guint32 refCount;
    CryptoKey *key;
    guint8 *iv; /* the secret that the vectors of sectors are made of */
    gsize ivSize;
};

namespace {

constexpr gsize kMacSize = 20;
constexpr gsize kStackIvSize = 32;

gsize BlockSize(const CryptoSectorCipherCtx *ctx) {
    return CryptoKey_GetCipher(ctx->key)->ivSize;
}

/* Zero bytes behind data of this size. */
gsize PaddingSize(const CryptoSectorCipherCtx *ctx, gsize dataSize) {
    const gsize blockSize = BlockSize(ctx);
    return (blockSize - dataSize % blockSize) % blockSize;
}

/* Whether the sizes are those of a sealed sector, and can be added. */
bool AreSizesRight(const CryptoSectorCipherCtx *ctx, gsize dataSize, gsize expansion) {
    gsize whole;
    return expansion == CryptoSector_CipherCtxExpansion(ctx, dataSize) &&
           !__builtin_add_overflow(dataSize, expansion, &whole);
}

/* The initialization vector of a sector: its number XORed to the secret, encrypted. */
CryptoError MakeSectorIV(const CryptoSectorCipherCtx *ctx, guint64 sector, guint8 *iv) {
    memcpy(iv, ctx->iv, ctx->ivSize);
    for (gsize i = 0; i < sizeof sector; i++)
        iv[i] ^= static_cast<guint8>(sector >> (56 - 8 * i));
    return CryptoKey_ECBEncrypt(ctx->key, iv, iv, ctx->ivSize);
}

CryptoError CryptWithIV(gboolean encrypt, const CryptoSectorCipherCtx *ctx, guint64 sector,
                        gconstpointer in, gpointer out, guint8 *iv) {
    const CryptoError error = MakeSectorIV(ctx, sector, iv);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    auto *crypt = encrypt ? CryptoKey_CBCEncrypt : CryptoKey_CBCDecrypt;
    return crypt(ctx->key, iv, ctx->ivSize, in, out, CRYPTO_SECTOR_SIZE);
}

CryptoError ComputeMac(const CryptoSectorCipherCtx *ctx, guint64 sector, const guint8 *sealed,
                       gsize sealedSize, gconstpointer extra, gsize extraSize, guint8 *mac) {
    const guint8 *key;
    gsize keySize;
    CryptoKey_GetKeyData(ctx->key, &key, &keySize);
    const CryptoIov iov[] = {{&sector, sizeof sector}, {sealed, sealedSize}, {extra, extraSize}};
    return CryptoKeyedHash_ComputeIov(CryptoKeyedHash_HMAC_SHA_1, key, keySize, iov, std::size(iov),
                                      mac, kMacSize);
}

/* CBC in place, with a copy of the initialization vector, which the cipher changes. */
CryptoError CryptInPlace(gboolean encrypt, const CryptoSectorCipherCtx *ctx, guint8 *buf,
                         gsize size, const guint8 *iv) {
    const SecretBlock copy = SecretBlock::Copy(iv, BlockSize(ctx));
    if (!copy)
        return CRYPTO_ERROR_NO_MEMORY;
    auto *crypt = encrypt ? CryptoKey_CBCEncrypt : CryptoKey_CBCDecrypt;
    return crypt(ctx->key, copy.data(), copy.size(), buf, buf, size);
}

bool IsAllZero(const guint8 *bytes, gsize size) {
    guint8 seen = 0;
    for (gsize i = 0; i < size; i++)
        seen |= bytes[i];
    return seen == 0;
}

} // namespace

CryptoSectorCipherCtx *CryptoSector_CipherCtxCreate(CryptoKey *key, gconstpointer iv,
                                                    gsize ivSize) {
    CryptoCipher *cipher = CryptoKey_GetCipher(key);
    if (cipher->type != CRYPTO_CIPHER_SYMMETRIC || ivSize != cipher->ivSize)
        return nullptr;
    SecretBlock record = SecretBlock::Allocate(sizeof(CryptoSectorCipherCtx));
    SecretBlock copy = SecretBlock::Copy(iv, ivSize);
    if (!record || !copy)
        return nullptr;

    gsize size;
    auto *ctx = reinterpret_cast<CryptoSectorCipherCtx *>(record.release(&size));
    ctx->refCount = 1;
    ctx->key = CryptoKey_Clone(key);
    ctx->iv = copy.release(&ctx->ivSize);
    return ctx;
}

CryptoError CryptoSector_CipherCtxGenerate(CryptoCipher *cipher, CryptoSectorCipherCtx **ctx) {
    *ctx = nullptr;
    if (cipher->type != CRYPTO_CIPHER_SYMMETRIC)
        return CRYPTO_ERROR_FAILED;
    const SecretBlock iv = SecretBlock::Allocate(cipher->ivSize);
    if (!iv)
        return CRYPTO_ERROR_NO_MEMORY;
    CryptoError error = CryptoRandom_GetBytes(iv.data(), iv.size());
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;

    CryptoKey *key;
    error = CryptoKey_Generate(cipher, &key);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    *ctx = CryptoSector_CipherCtxCreate(key, iv.data(), iv.size());
    CryptoKey_Free(key);
    return *ctx != nullptr ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_NO_MEMORY;
}

CryptoSectorCipherCtx *CryptoSector_CipherCtxGrab(CryptoSectorCipherCtx *ctx) {
    if (ctx != nullptr)
        ctx->refCount++;
    return ctx;
}

void CryptoSector_CipherCtxRelease(CryptoSectorCipherCtx *ctx) {
    if (ctx == nullptr || --ctx->refCount >= 1)
        return;
    CryptoKey_Free(ctx->key);
    Secret_FreeBlock(ctx->iv, ctx->ivSize);
    Secret_FreeBlock(ctx, sizeof *ctx);
}

CryptoKey *CryptoSector_CipherCtxGetKey(const CryptoSectorCipherCtx *ctx) {
    return ctx->key;
}

const guint8 *CryptoSector_CipherCtxGetIV(const CryptoSectorCipherCtx *ctx) {
    return ctx->iv;
}

gsize CryptoSector_CipherCtxGetIVSize(const CryptoSectorCipherCtx *ctx) {
    return ctx->ivSize;
}

CryptoCipher *CryptoSector_CipherCtxGetCipher(const CryptoSectorCipherCtx *ctx) {
    return CryptoKey_GetCipher(ctx->key);
}

gsize CryptoSector_CipherCtxExpansion(const CryptoSectorCipherCtx *ctx, gsize dataSize) {
    return PaddingSize(ctx, dataSize) + BlockSize(ctx) + kMacSize;
}

gsize CryptoSector_CipherCtxMaxExpansion(const CryptoSectorCipherCtx *ctx) {
    return CryptoSector_CipherCtxExpansion(ctx, 1);
}

CryptoError CryptoSector_Crypt(gboolean encrypt, const CryptoSectorCipherCtx *ctx, guint64 sector,
                               gconstpointer in, gpointer out) {
    if (ctx->ivSize <= kStackIvSize) {
        SecretArray<kStackIvSize> iv;
        return CryptWithIV(encrypt, ctx, sector, in, out, iv.data());
    }
    const SecretBlock iv = SecretBlock::Allocate(ctx->ivSize);
    if (!iv)
        return CRYPTO_ERROR_NO_MEMORY;
    return CryptWithIV(encrypt, ctx, sector, in, out, iv.data());
}

CryptoError CryptoSector_HMACEncrypt(const CryptoSectorCipherCtx *ctx, guint64 sector, gpointer buf,
                                     gsize dataSize, gsize expansion, gconstpointer extra,
                                     gsize extraSize) {
    if (!AreSizesRight(ctx, dataSize, expansion))
        return CRYPTO_ERROR_BUFFER_SIZE;
    auto *bytes = static_cast<guint8 *>(buf);
    const gsize paddedSize = dataSize + PaddingSize(ctx, dataSize);
    guint8 *iv = bytes + paddedSize;
    guint8 *mac = iv + BlockSize(ctx);

    memset(bytes + dataSize, 0, paddedSize - dataSize);
    CryptoError error = CryptoRandom_GetBytes(iv, BlockSize(ctx));
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptInPlace(TRUE, ctx, bytes, paddedSize, iv);
    if (error == CRYPTO_ERROR_SUCCESS)
        error =
            ComputeMac(ctx, sector, bytes, dataSize + expansion - kMacSize, extra, extraSize, mac);
    return error;
}

CryptoError CryptoSector_HMACDecrypt(const CryptoSectorCipherCtx *ctx, guint64 sector, gpointer buf,
                                     gsize dataSize, gsize expansion, gconstpointer extra,
                                     gsize extraSize) {
    if (!AreSizesRight(ctx, dataSize, expansion))
        return CRYPTO_ERROR_BUFFER_SIZE;
    auto *bytes = static_cast<guint8 *>(buf);
    const gsize paddedSize = dataSize + PaddingSize(ctx, dataSize);
    const guint8 *iv = bytes + paddedSize;
    const guint8 *storedMac = iv + BlockSize(ctx);

    SecretArray<kMacSize> mac;
    CryptoError error = ComputeMac(ctx, sector, bytes, dataSize + expansion - kMacSize, extra,
                                   extraSize, mac.data());
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    if (!Secret_IsEqual(mac.data(), storedMac, kMacSize))
        return CRYPTO_ERROR_FAILED;

    error = CryptInPlace(FALSE, ctx, bytes, paddedSize, iv);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    if (!IsAllZero(bytes + dataSize, paddedSize - dataSize)) {
        Secret_Wipe(bytes, paddedSize);
        return CRYPTO_ERROR_FAILED;
    }
    return CRYPTO_ERROR_SUCCESS;
}
