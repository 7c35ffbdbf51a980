// lib/crypto/cryptoHMAC.cpp
#include "lib/crypto/cryptoHMAC.h"

#include <cstdlib>
#include <span>

#include "lib/crypto/cryptoInt.h"
#include "lib/misc/log.h"
#include "lib/misc/secret.h"

namespace {

constexpr guint8 kInnerPad = 0x36;
constexpr guint8 kInnerToOuterPad = 0x6a; /* XORed to the inner block it leaves the key XOR 0x5c */

} // namespace

struct CryptoHMACState {
    CryptoHash *hash;
    CryptoHashState *inner;
    guint8 *buffer; /* one block, then an inner digest */

    gsize BufferSize() const { return hash->blockSize + hash->outputSize; }
};

namespace {

void XorBlock(std::span<guint8> block, guint8 pad) {
    for (guint8 &byte : block)
        byte ^= pad;
}

} // namespace

CryptoError CryptoHMAC_Start(CryptoHash *hash, const guint8 *key, gsize keySize,
                             CryptoHMACState **state) {
    *state = nullptr;
    if (hash->blockSize < hash->outputSize) {
        Log("output size (%u bytes) greater than block size (%u bytes)\n",
            static_cast<unsigned>(hash->outputSize), static_cast<unsigned>(hash->blockSize));
        return CRYPTO_ERROR_FAILED;
    }

    SecretBlock record = SecretBlock::Allocate(sizeof(CryptoHMACState));
    SecretBlock buffer = SecretBlock::Allocate(hash->blockSize + hash->outputSize);
    if (!record || !buffer)
        return CRYPTO_ERROR_NO_MEMORY;

    const std::span block(buffer.data(), hash->blockSize);
    memset(block.data(), 0, block.size());
    if (keySize > block.size()) {
        const CryptoError error =
            CryptoHash_Compute(hash, key, keySize, block.data(), hash->outputSize);
        if (error != CRYPTO_ERROR_SUCCESS)
            return error;
    } else if (keySize > 0) {
        memcpy(block.data(), key, keySize);
    }

    CryptoHashState *inner = CryptoHashState_Create(hash);
    if (inner == nullptr)
        return CRYPTO_ERROR_NO_MEMORY;
    XorBlock(block, kInnerPad);
    CryptoHashState_Process(inner, block.data(), block.size());
    XorBlock(block, kInnerToOuterPad);

    gsize size;
    *state = reinterpret_cast<CryptoHMACState *>(record.release(&size));
    **state = {hash, inner, buffer.release(&size)};
    return CRYPTO_ERROR_SUCCESS;
}

void CryptoHMAC_Process(CryptoHMACState *state, const guint8 *data, gsize size) {
    CryptoHashState_Process(state->inner, data, size);
}

CryptoError CryptoHMAC_Finish(CryptoHMACState *state, guint8 *out) {
    CryptoHash *hash = state->hash;
    const SecretBlock record(state, sizeof *state);
    const SecretBlock buffer(state->buffer, state->BufferSize());
    if (out == nullptr) {
        CryptoHashState_Finish(state->inner, nullptr, 0); // discarding has no result
        return CRYPTO_ERROR_SUCCESS;
    }
    CryptoHashState_Finish(state->inner, buffer.data() + hash->blockSize, hash->outputSize);
    return CryptoHash_Compute(hash, buffer.data(), buffer.size(), out, hash->outputSize);
}
