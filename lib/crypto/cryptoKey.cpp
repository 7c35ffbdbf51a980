/*
 * cryptoKey.cpp -- keys and the encrypt-with-MAC record; B is the cipher's block size, M the keyed hash's output size
 *
 *   of a symmetric key     IV (B) | CBC of plaintext and padding | MAC of the plaintext (M)
 *   of a public key        AES-128 key, encrypted (size of the modulus) | record made with that AES-128 key
 *
 *   padding    1 to B bytes, each of which is their number
 *
 * The stored format takes the MAC of the plaintext, so a record has to be decrypted before it is known to be sound.
 * Whoever tries records out must not learn more than that one is not: the MAC is computed and compared for wrong
 * padding, too, and every refusal has the same code and log line.
 */
#include <crypto/cryptoKey.h>

#include <cstring>
#include <new>

#include <crypto/cryptoDict.h>
#include <crypto/cryptoPassword.h>
#include <crypto/cryptoRandom.h>

#include "lib/crypto/cryptoInt.h"
#include "lib/crypto/cryptoOwner.h"
#include "lib/misc/log.h"

namespace {

bool IsSymmetric(const CryptoKey *key) {
    return key->cipher->type == CRYPTO_CIPHER_SYMMETRIC;
}

const guint8 *Bytes(gconstpointer data) {
    return static_cast<const guint8 *>(data);
}

/* Clears a pair of outs, each of which may be missing. */
void ClearOuts(guint8 **data, gsize *size) {
    if (data)
        *data = nullptr;
    if (size)
        *size = 0;
}

CryptoError HandOver(SecretBlock block, guint8 **data, gsize *size) {
    *data = block.release(size);
    return CRYPTO_ERROR_SUCCESS;
}

/* ---- blocks ---- */

CryptoError CheckBlock(const CryptoKey *key, gsize size) {
    if (!IsSymmetric(key))
        return CRYPTO_ERROR_INVALID_OPERATION;
    return size == 0 || size == key->cipher->ivSize ? CRYPTO_ERROR_SUCCESS
                                                    : CRYPTO_ERROR_BUFFER_SIZE;
}

CryptoError CheckChain(const char *function, const CryptoKey *key, gsize ivSize, gpointer out,
                       gsize size) {
    if (!IsSymmetric(key))
        return CRYPTO_ERROR_INVALID_OPERATION;
    const gsize blockSize = key->cipher->ivSize;
    const auto expected = static_cast<guint>(blockSize);
    if (ivSize != blockSize) {
        Log("%s: wrong IV size (expected %u bytes, got %u)\n", function, expected,
            static_cast<guint>(ivSize));
    } else if (size % blockSize != 0) {
        Log("%s: text size (%u bytes) not a multiple of block size (%u bytes)\n", function,
            static_cast<guint>(size), expected);
    } else {
        return CRYPTO_ERROR_SUCCESS;
    }
    if (size != 0)
        memset(out, 0, size);
    return CRYPTO_ERROR_BUFFER_SIZE;
}

/* ---- the record of a symmetric key ---- */

gsize PaddedSize(gsize plainSize, gsize blockSize) {
    return (plainSize / blockSize + 1) * blockSize;
}

CryptoError EncryptWithPadding(CryptoKey *key, const guint8 *iv, const guint8 *plain,
                               gsize plainSize, guint8 *cipherText, gsize cipherTextSize) {
    const gsize blockSize = key->cipher->ivSize;
    if (cipherTextSize != PaddedSize(plainSize, blockSize)) {
        Log("%s: cipherTextSize (%u bytes) incorrect for plainTextSize (%u bytes)\n",
            "EncryptWithPadding", static_cast<guint>(cipherTextSize),
            static_cast<guint>(plainSize));
        return CRYPTO_ERROR_FAILED;
    }
    const SecretBlock chain = SecretBlock::Copy(iv, blockSize);
    const SecretBlock last = SecretBlock::Allocate(blockSize);
    if (!chain || !last)
        return CRYPTO_ERROR_NO_MEMORY;
    const gsize whole = plainSize / blockSize * blockSize;
    const gsize rest = plainSize - whole;
    memset(last.data(), static_cast<int>(blockSize - rest), blockSize);
    if (rest != 0)
        memcpy(last.data(), plain + whole, rest);

    CryptoError error =
        CryptoKey_CBCEncrypt(key, chain.data(), blockSize, plain, cipherText, whole);
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKey_CBCEncrypt(key, chain.data(), blockSize, last.data(), cipherText + whole,
                                     blockSize);
    return error;
}

/* All ones if a number below 2^31 is less than another one, else 0. Does not branch. */
guint32 LessMask(guint32 number, guint32 limit) {
    return 0u - ((number - limit) >> 31);
}

/*
 * Looks at the padding in the last block without a branch. Returns whether it is sound; *length is what it says, 1 if
 * it is not sound. The first byte of the padding is not compared: the MAC of the plaintext in front of it decides.
 */
bool ReadPadding(const guint8 *text, gsize size, gsize blockSize, gsize *length) {
    const guint8 *end = text + size;
    const guint32 count = end[-1];
    const auto limit = static_cast<guint32>(blockSize);
    guint32 wrong = LessMask(count, 1) | LessMask(limit, count);
    for (guint32 back = 2; back <= limit; back++)
        wrong |= LessMask(back, count) & (end[-static_cast<gssize>(back)] ^ count);
    const guint32 isSound = LessMask(wrong & 0x7fffffff, 1) & ~(0u - (wrong >> 31));
    *length = (isSound & count) | (~isSound & 1);
    return isSound != 0;
}

CryptoError DecryptWithPadding(CryptoKey *key, const guint8 *iv, const guint8 *cipherText,
                               gsize cipherTextSize, SecretBlock *plain, gsize *plainSize,
                               bool *isSound) {
    const gsize blockSize = key->cipher->ivSize;
    if (cipherTextSize == 0) {
        Log("%s: null ciphertext\n", "DecryptWithPadding");
        return CRYPTO_ERROR_BUFFER_SIZE;
    }
    if (cipherTextSize % blockSize != 0) {
        Log("%s: ciphertext (%u bytes) not a multiple of block size (%u bytes)\n",
            "DecryptWithPadding", static_cast<guint>(cipherTextSize),
            static_cast<guint>(blockSize));
        return CRYPTO_ERROR_BUFFER_SIZE;
    }
    const SecretBlock chain = SecretBlock::Copy(iv, blockSize);
    *plain = SecretBlock::Allocate(cipherTextSize);
    if (!chain || !*plain)
        return CRYPTO_ERROR_NO_MEMORY;
    const CryptoError error = CryptoKey_CBCDecrypt(key, chain.data(), blockSize, cipherText,
                                                   plain->data(), cipherTextSize);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    gsize padding;
    *isSound = ReadPadding(plain->data(), cipherTextSize, blockSize, &padding);
    *plainSize = cipherTextSize - padding;
    return CRYPTO_ERROR_SUCCESS;
}

CryptoError SymmetricEncryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash, const guint8 *plain,
                                    gsize plainSize, guint8 **out, gsize *outSize) {
    const gsize blockSize = key->cipher->ivSize;
    const gsize macSize = keyedHash->outputSize;
    if (plainSize > G_MAXSIZE - 2 * blockSize - macSize)
        return CRYPTO_ERROR_NO_MEMORY;
    const gsize cipherTextSize = PaddedSize(plainSize, blockSize);
    SecretBlock record = SecretBlock::Allocate(blockSize + cipherTextSize + macSize);
    if (!record)
        return CRYPTO_ERROR_NO_MEMORY;

    guint8 *iv = record.data();
    guint8 *cipherText = iv + blockSize;
    CryptoError error = CryptoRandom_GetBytes(iv, blockSize);
    if (error == CRYPTO_ERROR_SUCCESS)
        error = EncryptWithPadding(key, iv, plain, plainSize, cipherText, cipherTextSize);
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKeyedHash_Compute(keyedHash, key->keyData, key->keySize, plain, plainSize,
                                        cipherText + cipherTextSize, macSize);
    return error == CRYPTO_ERROR_SUCCESS ? HandOver(std::move(record), out, outSize) : error;
}

CryptoError SymmetricDecryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash, const guint8 *in,
                                    gsize inSize, guint8 **out, gsize *outSize) {
    const gsize blockSize = key->cipher->ivSize;
    const gsize macSize = keyedHash->outputSize;
    const gsize minimum = macSize + 2 * blockSize;
    if (inSize < minimum) {
        Log("%s: inputSize (%u bytes) less than minimum (%u bytes)\n", "SymmetricDecryptWithMAC",
            static_cast<guint>(inSize), static_cast<guint>(minimum));
        return CRYPTO_ERROR_FAILED;
    }
    const guint8 *cipherText = in + blockSize;
    const gsize cipherTextSize = inSize - blockSize - macSize;
    const SecretBlock mac = SecretBlock::Allocate(macSize);
    if (!mac)
        return CRYPTO_ERROR_NO_MEMORY;
    SecretBlock plain;
    gsize plainSize;
    bool isSound;
    CryptoError error =
        DecryptWithPadding(key, in, cipherText, cipherTextSize, &plain, &plainSize, &isSound);
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKeyedHash_Compute(keyedHash, key->keyData, key->keySize, plain.data(),
                                        plainSize, mac.data(), macSize);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    const bool isEqual = Secret_IsEqual(mac.data(), cipherText + cipherTextSize, macSize);
    if (!(isEqual & isSound)) {
        Log("%s: MAC verification failed\n", "SymmetricDecryptWithMAC");
        return CRYPTO_ERROR_FAILED;
    }
    return ReleasePart(std::move(plain), plainSize, out, outSize);
}

/* ---- the record of a public key ---- */

CryptoError PublicEncryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash, const guint8 *plain,
                                 gsize plainSize, guint8 **out, gsize *outSize) {
    if (!key->cipher->pkEncrypt)
        return CRYPTO_ERROR_INVALID_OPERATION;
    CryptoKeyPtr session;
    CryptoError error = CryptoKey_Generate(CryptoCipherAES_128, CryptoOut(session));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    guint8 *data;
    gsize size;
    error = key->cipher->pkEncrypt(key, CRYPTO_RSA_PADDING_DEFAULT, session->keyData,
                                   session->keySize, &data, &size);
    const SecretBlock wrapped(data, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    error = SymmetricEncryptWithMAC(session.get(), keyedHash, plain, plainSize, &data, &size);
    const SecretBlock record(data, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    gsize total;
    if (__builtin_add_overflow(wrapped.size(), record.size(), &total))
        return CRYPTO_ERROR_NO_MEMORY;
    SecretBlock joined = SecretBlock::Allocate(total);
    if (!joined)
        return CRYPTO_ERROR_NO_MEMORY;
    memcpy(joined.data(), wrapped.data(), wrapped.size());
    memcpy(joined.data() + wrapped.size(), record.data(), record.size());
    return HandOver(std::move(joined), out, outSize);
}

CryptoError PrivateDecryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash, const guint8 *in,
                                  gsize inSize, guint8 **out, gsize *outSize) {
    if (!key->hasPrivateKey) {
        Log("%s: can't decrypt without private key\n", "CryptoKey_DecryptWithMAC");
        return CRYPTO_ERROR_INVALID_OPERATION;
    }
    if (!key->cipher->pkDecrypt)
        return CRYPTO_ERROR_INVALID_OPERATION;
    guint8 *data;
    gsize size;
    gsize consumed = inSize;
    CryptoError error =
        key->cipher->pkDecrypt(key, CRYPTO_RSA_PADDING_DEFAULT, in, &consumed, &data, &size);
    const SecretBlock raw(data, size);
    CryptoKeyPtr session;
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKey_Create(CryptoCipherAES_128, raw.data(), raw.size(), CryptoOut(session));
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return SymmetricDecryptWithMAC(session.get(), keyedHash, in + consumed, inSize - consumed, out,
                                   outSize);
}

/* ---- signatures ---- */

CryptoError StartHash(CryptoHash *hash, CryptoHashState **state) {
    *state = CryptoHashState_Create(hash);
    return *state ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_NO_MEMORY;
}

/* A hash is released by finishing it, without a result if none is used. */
void AbandonHash(CryptoHashState *state) {
    CryptoHashState_Finish(state, nullptr, 0);
}

/* A running hash takes less than 4 GiB in one call. */
CryptoError ProcessAll(CryptoHashState *state, gconstpointer data, gsize size) {
    constexpr gsize kPiece = gsize{1} << 30;
    const guint8 *at = Bytes(data);
    for (; size > kPiece; at += kPiece, size -= kPiece)
        CryptoHashState_Process(state, at, kPiece);
    CryptoHashState_Process(state, at, size);
    return CRYPTO_ERROR_SUCCESS;
}

/* Releases the state. Without memory for it, the digest is empty. */
SecretBlock FinishHash(CryptoHashState *state) {
    SecretBlock digest =
        SecretBlock::Allocate(CryptoHash_GetOutputSize(CryptoHashState_GetHash(state)));
    if (!digest)
        AbandonHash(state);
    else if (CryptoHashState_Finish(state, digest.data(), digest.size()) != CRYPTO_ERROR_SUCCESS)
        return {};
    return digest;
}

} // namespace

/* ---- making and releasing ---- */

CryptoError CryptoKey_Create(CryptoCipher *cipher, gconstpointer data, gsize size,
                             CryptoKey **key) {
    *key = nullptr;
    SecretBlock copy = SecretBlock::Copy(data, size);
    CryptoKeyPtr made(new (std::nothrow) CryptoKey());
    if (!made)
        return CRYPTO_ERROR_NO_MEMORY;
    made->refCount = 1;
    made->cipher = cipher;
    if (!copy)
        return CRYPTO_ERROR_NO_MEMORY;
    made->keyData = copy.release(&made->keySize);
    const CryptoError error = cipher->initKey(made.get());
    if (error == CRYPTO_ERROR_SUCCESS)
        *key = made.release();
    return error;
}

CryptoError CryptoKey_Generate(CryptoCipher *cipher, CryptoKey **key) {
    *key = nullptr;
    guint8 *data;
    gsize size;
    CryptoError error = cipher->generateKey(cipher, &data, &size);
    const SecretBlock raw(data, size);
    if (error == CRYPTO_ERROR_SUCCESS)
        error = CryptoKey_Create(cipher, raw.data(), raw.size(), key);
    if (error != CRYPTO_ERROR_SUCCESS)
        Log("%s: generation of %s key failed\n", "CryptoKey_Generate", cipher->name);
    return error;
}

CryptoKey *CryptoKey_Clone(CryptoKey *key) {
    g_atomic_int_inc(&key->refCount);
    return key;
}

void CryptoKey_Free(CryptoKey *key) {
    if (!key || !g_atomic_int_dec_and_test(&key->refCount))
        return;
    if (key->native)
        key->cipher->freeKey(key);
    Crypto_Free(key->keyData, key->keySize);
    Secret_Wipe(key, sizeof *key);
    delete key;
}

CryptoCipher *CryptoKey_GetCipher(const CryptoKey *key) {
    return key->cipher;
}

CryptoError CryptoKey_GetKeyData(const CryptoKey *key, const guint8 **data, gsize *size) {
    *data = key->keyData;
    *size = key->keySize;
    return CRYPTO_ERROR_SUCCESS;
}

gboolean CryptoKey_HasPrivateKey(const CryptoKey *key) {
    return key->hasPrivateKey;
}

CryptoError CryptoKey_GetNative(CryptoKey *key, gpointer *native) {
    *native = nullptr;
    if (!key->cipher->getNative)
        return CRYPTO_ERROR_INVALID_OPERATION;
    return key->cipher->getNative(key, native);
}

CryptoError CryptoKey_GetPublicKey(CryptoKey *key, CryptoKey **publicKey) {
    *publicKey = nullptr;
    if (!key->hasPrivateKey) {
        *publicKey = CryptoKey_Clone(key);
        return CRYPTO_ERROR_SUCCESS;
    }
    guint8 *data;
    gsize size;
    const CryptoError error = key->cipher->getPublicKey(key, &data, &size);
    const SecretBlock text(data, size);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    return CryptoKey_Create(key->cipher, text.data(), text.size(), publicKey);
}

/* ---- blocks ---- */

CryptoError CryptoKey_ECBEncrypt(CryptoKey *key, gconstpointer in, gpointer out, gsize size) {
    const CryptoError error = CheckBlock(key, size);
    if (error != CRYPTO_ERROR_SUCCESS || size == 0)
        return error;
    return key->cipher->ecbEncrypt(key, Bytes(in), static_cast<guint8 *>(out), size);
}

CryptoError CryptoKey_ECBDecrypt(CryptoKey *key, gconstpointer in, gpointer out, gsize size) {
    const CryptoError error = CheckBlock(key, size);
    if (error != CRYPTO_ERROR_SUCCESS || size == 0)
        return error;
    return key->cipher->ecbDecrypt(key, Bytes(in), static_cast<guint8 *>(out), size);
}

CryptoError CryptoKey_CBCEncrypt(CryptoKey *key, gpointer iv, gsize ivSize, gconstpointer in,
                                 gpointer out, gsize size) {
    const CryptoError error = CheckChain("CryptoKey_CBCEncrypt", key, ivSize, out, size);
    if (error != CRYPTO_ERROR_SUCCESS || size == 0)
        return error;
    return key->cipher->cbcEncrypt(key, static_cast<guint8 *>(iv), Bytes(in),
                                   static_cast<guint8 *>(out), size);
}

CryptoError CryptoKey_CBCDecrypt(CryptoKey *key, gpointer iv, gsize ivSize, gconstpointer in,
                                 gpointer out, gsize size) {
    const CryptoError error = CheckChain("CryptoKey_CBCDecrypt", key, ivSize, out, size);
    if (error != CRYPTO_ERROR_SUCCESS || size == 0)
        return error;
    return key->cipher->cbcDecrypt(key, static_cast<guint8 *>(iv), Bytes(in),
                                   static_cast<guint8 *>(out), size);
}

/* ---- sealed data ---- */

CryptoError CryptoKey_EncryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash,
                                     gconstpointer plain, gsize plainSize, guint8 **out,
                                     gsize *outSize) {
    ClearOuts(out, outSize);
    return (IsSymmetric(key) ? SymmetricEncryptWithMAC : PublicEncryptWithMAC)(
        key, keyedHash, Bytes(plain), plainSize, out, outSize);
}

CryptoError CryptoKey_DecryptWithMAC(CryptoKey *key, CryptoKeyedHash *keyedHash, gconstpointer in,
                                     gsize inSize, guint8 **out, gsize *outSize) {
    ClearOuts(out, outSize);
    return (IsSymmetric(key) ? SymmetricDecryptWithMAC : PrivateDecryptWithMAC)(
        key, keyedHash, Bytes(in), inSize, out, outSize);
}

/* ---- public-key encryption and signatures ---- */

CryptoError CryptoKey_PKEncrypt(CryptoKey *key, CryptoRSAPadding padding, gconstpointer in,
                                gsize inSize, guint8 **out, gsize *outSize) {
    ClearOuts(out, outSize);
    if (!key->cipher->pkEncrypt)
        return CRYPTO_ERROR_INVALID_OPERATION;
    if (inSize == 0)
        return CRYPTO_ERROR_SUCCESS;
    return key->cipher->pkEncrypt(key, padding, Bytes(in), inSize, out, outSize);
}

CryptoError CryptoKey_PKDecrypt(CryptoKey *key, CryptoRSAPadding padding, gconstpointer in,
                                gsize *inSize, guint8 **out, gsize *outSize) {
    ClearOuts(out, outSize);
    if (!key->cipher->pkDecrypt)
        return CRYPTO_ERROR_INVALID_OPERATION;
    if (!outSize)
        return CRYPTO_ERROR_SUCCESS;
    return key->cipher->pkDecrypt(key, padding, Bytes(in), inSize, out, outSize);
}

CryptoError CryptoKey_Sign(CryptoKey *key, CryptoHash *hash, gconstpointer data, gsize size,
                           guint8 **sig, gsize *sigSize) {
    ClearOuts(sig, sigSize);
    CryptoHashState *state;
    const CryptoError error = CryptoKey_SignStart(hash, &state);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    ProcessAll(state, data, size);
    return CryptoKey_SignFinish(state, key, sig, sigSize);
}

CryptoError CryptoKey_SignStart(CryptoHash *hash, CryptoHashState **state) {
    return StartHash(hash, state);
}

CryptoError CryptoKey_SignProcess(CryptoHashState *state, gconstpointer data, gsize size) {
    return ProcessAll(state, data, size);
}

CryptoError CryptoKey_SignFinish(CryptoHashState *state, CryptoKey *key, guint8 **sig,
                                 gsize *sigSize) {
    ClearOuts(sig, sigSize);
    if (IsSymmetric(key) || !key->hasPrivateKey) {
        AbandonHash(state);
        return CRYPTO_ERROR_INVALID_OPERATION;
    }
    if (!sig) {
        AbandonHash(state);
        return CRYPTO_ERROR_SUCCESS;
    }
    CryptoHash *hash = CryptoHashState_GetHash(state);
    const SecretBlock digest = FinishHash(state);
    if (!digest)
        return CRYPTO_ERROR_NO_MEMORY;
    return key->cipher->sign(key, hash, digest.data(), digest.size(), sig, sigSize);
}

CryptoError CryptoKey_Verify(CryptoKey *key, CryptoHash *hash, gconstpointer data, gsize size,
                             gconstpointer sig, gsize sigSize) {
    CryptoHashState *state;
    const CryptoError error = CryptoKey_VerifyStart(hash, &state);
    if (error != CRYPTO_ERROR_SUCCESS)
        return error;
    ProcessAll(state, data, size);
    return CryptoKey_VerifyFinish(state, key, sig, sigSize);
}

CryptoError CryptoKey_VerifyStart(CryptoHash *hash, CryptoHashState **state) {
    return StartHash(hash, state);
}

CryptoError CryptoKey_VerifyProcess(CryptoHashState *state, gconstpointer data, gsize size) {
    return ProcessAll(state, data, size);
}

CryptoError CryptoKey_VerifyFinish(CryptoHashState *state, CryptoKey *key, gconstpointer sig,
                                   gsize sigSize) {
    if (IsSymmetric(key) || !sig) {
        AbandonHash(state);
        return IsSymmetric(key) ? CRYPTO_ERROR_INVALID_OPERATION : CRYPTO_ERROR_FAILED;
    }
    CryptoHash *hash = CryptoHashState_GetHash(state);
    const SecretBlock digest = FinishHash(state);
    if (!digest)
        return CRYPTO_ERROR_NO_MEMORY;
    return key->cipher->verify(key, hash, digest.data(), digest.size(), Bytes(sig), sigSize);
}
