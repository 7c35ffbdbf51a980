// lib/crypto/cryptoKeyedHash.cpp: the keyed hashes, and running keyed hashes
#include "lib/crypto/cryptoInt.h"

#include <cstdlib>

#include "lib/crypto/cryptoHMAC.h"
#include "lib/misc/log.h"
#include "lib/misc/secret.h"

namespace {

template <CryptoHash *const &hash>
CryptoError StartHMAC(const guint8 *key, gsize keySize, gpointer *state) {
    CryptoHMACState *hmac = nullptr;
    const CryptoError error = CryptoHMAC_Start(hash, key, keySize, &hmac);
    *state = hmac;
    return error;
}

void ProcessHMAC(gpointer state, const guint8 *data, gsize size) {
    CryptoHMAC_Process(static_cast<CryptoHMACState *>(state), data, size);
}

CryptoError FinishHMAC(gpointer state, guint8 *out) {
    return CryptoHMAC_Finish(static_cast<CryptoHMACState *>(state), out);
}

constexpr gsize kSha1Size = 20;
constexpr gsize kShortSize = 16;

/* HMAC-SHA-1 cut to its first 16 bytes. */
CryptoError FinishShortHMAC(gpointer state, guint8 *out) {
    if (out == nullptr)
        return FinishHMAC(state, nullptr);
    SecretArray<kSha1Size> whole;
    const CryptoError error = FinishHMAC(state, whole.data());
    memcpy(out, whole.data(), kShortSize);
    return error;
}

constexpr CryptoKeyedHashRow kHmacSha1 = {"HMAC-SHA-1", kSha1Size, StartHMAC<CryptoHash_SHA_1>,
                                          ProcessHMAC, FinishHMAC};
constexpr CryptoKeyedHashRow kHmacSha1Short = {
    "HMAC-SHA-1-128", kShortSize, StartHMAC<CryptoHash_SHA_1>, ProcessHMAC, FinishShortHMAC};
constexpr CryptoKeyedHashRow kHmacSha256 = {"HMAC-SHA-256", 32, StartHMAC<CryptoHash_SHA_256>,
                                            ProcessHMAC, FinishHMAC};

constexpr CryptoKeyedHash *allKeyedHashes[] = {&kHmacSha1, &kHmacSha1Short, &kHmacSha256, nullptr};

} // namespace

CryptoKeyedHash *const CryptoKeyedHash_HMAC_SHA_1 = &kHmacSha1;
CryptoKeyedHash *const CryptoKeyedHash_HMAC_SHA_1_128 = &kHmacSha1Short;
CryptoKeyedHash *const CryptoKeyedHash_HMAC_SHA_256 = &kHmacSha256;

CryptoError CryptoKeyedHash_FromString(const char *name, CryptoKeyedHash **keyedHash) {
    *keyedHash = CryptoFindRow(allKeyedHashes, name);
    return *keyedHash != nullptr ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_UNKNOWN_ALGORITHM;
}

const char *CryptoKeyedHash_ToString(CryptoKeyedHash *keyedHash) {
    return keyedHash->name;
}

gsize CryptoKeyedHash_GetOutputSize(CryptoKeyedHash *keyedHash) {
    return keyedHash->outputSize;
}

CryptoError CryptoKeyedHash_Compute(CryptoKeyedHash *keyedHash, gconstpointer key, gsize keySize,
                                    gconstpointer data, gsize size, gpointer out, gsize outSize) {
    const CryptoIov whole = {data, size};
    return CryptoKeyedHash_ComputeIov(keyedHash, key, keySize, &whole, 1, out, outSize);
}

CryptoError CryptoKeyedHash_ComputeIov(CryptoKeyedHash *keyedHash, gconstpointer key, gsize keySize,
                                       const CryptoIov *iov, gsize iovCount, gpointer out,
                                       gsize outSize) {
    CryptoKeyedHashState *state = CryptoKeyedHashState_Create(keyedHash, key, keySize);
    if (state == nullptr)
        return CRYPTO_ERROR_NO_MEMORY;
    for (const CryptoIov &entry : std::span(iov, iovCount)) {
        CryptoForEachPiece(entry.data, entry.size, [state](const guint8 *piece, gsize pieceSize) {
            CryptoKeyedHashState_Process(state, piece, pieceSize);
        });
    }
    return CryptoKeyedHashState_Finish(state, out, outSize);
}

CryptoKeyedHashState *CryptoKeyedHashState_Create(CryptoKeyedHash *keyedHash, gconstpointer key,
                                                  gsize keySize) {
    auto *state = static_cast<CryptoKeyedHashState *>(malloc(sizeof(CryptoKeyedHashState)));
    if (state == nullptr)
        return nullptr;
    state->keyedHash = keyedHash;
    if (keyedHash->start(static_cast<const guint8 *>(key), keySize, &state->state) !=
        CRYPTO_ERROR_SUCCESS) {
        free(state);
        return nullptr;
    }
    return state;
}

void CryptoKeyedHashState_Process(CryptoKeyedHashState *state, gconstpointer data, gsize size) {
    state->keyedHash->process(state->state, static_cast<const guint8 *>(data), size);
}

CryptoError CryptoKeyedHashState_Finish(CryptoKeyedHashState *state, gpointer out, gsize outSize) {
    CryptoKeyedHash *keyedHash = state->keyedHash;
    const bool isRightSize = outSize == keyedHash->outputSize;
    if (!isRightSize && out != nullptr)
        Log("keyedHash outputs %u bytes but buffer is %u bytes\n",
            static_cast<unsigned>(keyedHash->outputSize), static_cast<unsigned>(outSize));
    const CryptoError error =
        keyedHash->finish(state->state, isRightSize ? static_cast<guint8 *>(out) : nullptr);
    free(state);
    if (!isRightSize)
        return CRYPTO_ERROR_BUFFER_SIZE;
    return error;
}

CryptoKeyedHash *CryptoKeyedHashState_GetKeyedHash(CryptoKeyedHashState *state) {
    return state->keyedHash;
}
