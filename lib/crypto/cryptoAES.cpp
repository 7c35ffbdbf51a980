// lib/crypto/cryptoAES.cpp: the operations of the AES ciphers, by OpenSSL's low-level functions
#include "lib/crypto/cryptoInt.h"

#include <cstddef>

#include <ssl/ssl.h>

#include "lib/misc/log.h"
#include "lib/misc/secret.h"
#include "lib/ssl/sslThunks.h"

namespace {

constexpr gsize kAlignment = 16;

/* What a key has prepared: one block from malloc(). */
struct Schedules {
    alignas(kAlignment) AES_KEY encrypt;
    alignas(kAlignment) AES_KEY decrypt;
};
static_assert(alignof(Schedules) <= alignof(std::max_align_t)); // what malloc() gives

const Schedules *SchedulesOf(const CryptoKey *key) {
    return static_cast<const Schedules *>(key->native);
}

} // namespace

CryptoError CryptoAES_InitKey(CryptoKey *key) {
    key->native = nullptr;
    key->hasPrivateKey = FALSE;
    if (key->keySize != key->cipher->keySize) {
        Log("can't use %u-bit key with %u-bit cipher\n", static_cast<unsigned>(key->keySize * 8),
            static_cast<unsigned>(key->cipher->keySize * 8));
        return CRYPTO_ERROR_FAILED;
    }
    SSL_Init(nullptr, nullptr, nullptr);

    SecretBlock block = SecretBlock::Allocate(sizeof(Schedules));
    if (!block)
        return CRYPTO_ERROR_NO_MEMORY;
    auto *schedules = reinterpret_cast<Schedules *>(block.data());
    const int numBits = static_cast<int>(key->keySize * 8);
    if (__wrap_AES_set_encrypt_key(key->keyData, numBits, &schedules->encrypt) != 0 ||
        __wrap_AES_set_decrypt_key(key->keyData, numBits, &schedules->decrypt) != 0)
        return CRYPTO_ERROR_FAILED;
    gsize size;
    key->native = block.release(&size);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoAES_GenerateKey(CryptoCipher *cipher, guint8 **data, gsize *size) {
    *data = nullptr;
    *size = 0;
    SecretBlock bytes = SecretBlock::Allocate(cipher->keySize);
    if (!bytes)
        return CRYPTO_ERROR_NO_MEMORY;
    const CryptoError error = CryptoRandom_GetBytes(bytes.data(), bytes.size());
    if (error == CRYPTO_ERROR_SUCCESS)
        *data = bytes.release(size);
    return error;
}

void CryptoAES_FreeKey(CryptoKey *key) {
    Crypto_Free(key->native, sizeof(Schedules));
    key->native = nullptr;
}

CryptoError CryptoAES_ECBEncrypt(CryptoKey *key, const guint8 *in, guint8 *out, gsize) {
    __wrap_AES_ecb_encrypt(in, out, &SchedulesOf(key)->encrypt, AES_ENCRYPT);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoAES_ECBDecrypt(CryptoKey *key, const guint8 *in, guint8 *out, gsize) {
    __wrap_AES_ecb_encrypt(in, out, &SchedulesOf(key)->decrypt, AES_DECRYPT);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoAES_CBCEncrypt(CryptoKey *key, guint8 *iv, const guint8 *in, guint8 *out,
                                 gsize size) {
    __wrap_AES_cbc_encrypt(in, out, size, &SchedulesOf(key)->encrypt, iv, AES_ENCRYPT);
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError CryptoAES_CBCDecrypt(CryptoKey *key, guint8 *iv, const guint8 *in, guint8 *out,
                                 gsize size) {
    __wrap_AES_cbc_encrypt(in, out, size, &SchedulesOf(key)->decrypt, iv, AES_DECRYPT);
    return CRYPTO_ERROR_SUCCESS;
}
