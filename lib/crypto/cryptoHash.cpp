// lib/crypto/cryptoHash.cpp: the hashes, and running hashes
#include "lib/crypto/cryptoInt.h"

#include <algorithm>
#include <cstdlib>

#include "lib/crypto/shaFips.h"
#include "lib/misc/log.h"
#include "lib/misc/secret.h"

namespace {

/* The functions of one kind of SHA in the form of a row. */
template <class State, void (*init)(State *), void (*update)(State *, const guint8 *, guint32),
          void (*final)(State *, guint8 *)>
struct Operations {
    static CryptoError Start(gpointer *out) {
        auto *state = static_cast<State *>(malloc(sizeof(State)));
        *out = state;
        if (state == nullptr)
            return CRYPTO_ERROR_NO_MEMORY;
        init(state);
        return CRYPTO_ERROR_SUCCESS;
    }

    static void Process(gpointer state, const guint8 *data, gsize size) {
        if (size == 0)
            return;
        update(static_cast<State *>(state), data, static_cast<guint32>(size));
    }

    static void Finish(gpointer state, guint8 *out) {
        if (out != nullptr)
            final(static_cast<State *>(state), out);
        Secret_FreeBlock(state, sizeof(State));
    }

    static CryptoError ImportState(gpointer state, const guint8 *data, gsize size) {
        if (size != sizeof(State))
            return CRYPTO_ERROR_BUFFER_SIZE;
        memcpy(state, data, sizeof(State));
        return CRYPTO_ERROR_SUCCESS;
    }

    static CryptoError ExportState(gconstpointer state, guint8 **data, gsize *size) {
        *data = nullptr;
        *size = 0;
        SecretBlock copy = SecretBlock::Copy(state, sizeof(State));
        if (!copy)
            return CRYPTO_ERROR_NO_MEMORY;
        *data = copy.release(size);
        return CRYPTO_ERROR_SUCCESS;
    }

    static constexpr CryptoHashRow Row(const char *name) {
        return {name,    SHA_BLOCK_SIZE, State::kDigestSize, Start,
                Process, Finish,         ImportState,        ExportState};
    }
};

constexpr CryptoHashRow kSha1 =
    Operations<SHA1FipsState, SHA1_FIPS_Init, SHA1_FIPS_Update, SHA1_FIPS_Final>::Row("SHA-1");
constexpr CryptoHashRow kSha256 =
    Operations<SHA256FipsState, SHA256_FIPS_Init, SHA256_FIPS_Update, SHA256_FIPS_Final>::Row(
        "SHA-256");

constexpr CryptoHash *allHashes[] = {&kSha1, &kSha256, nullptr};

} // namespace

CryptoHash *const CryptoHash_SHA_1 = &kSha1;
CryptoHash *const CryptoHash_SHA_256 = &kSha256;

CryptoError CryptoHash_FromString(const char *name, CryptoHash **hash) {
    *hash = CryptoFindRow(allHashes, name);
    return *hash != nullptr ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_UNKNOWN_ALGORITHM;
}

const char *CryptoHash_ToString(CryptoHash *hash) {
    return hash->name;
}

gsize CryptoHash_GetBlockSize(CryptoHash *hash) {
    return hash->blockSize;
}

gsize CryptoHash_GetOutputSize(CryptoHash *hash) {
    return hash->outputSize;
}

gboolean CryptoHash_ToNID(CryptoHash *hash, int *nid) {
    constexpr struct {
        CryptoHash *hash;
        int nid;
    } kNids[] = {{&kSha1, 64}, {&kSha256, 672}}; // NID_sha1, NID_sha256
    for (const auto &row : kNids) {
        if (row.hash == hash) {
            *nid = row.nid;
            return TRUE;
        }
    }
    return FALSE;
}

CryptoError CryptoHash_Compute(CryptoHash *hash, gconstpointer data, gsize size, gpointer out,
                               gsize outSize) {
    CryptoHashState *state = CryptoHashState_Create(hash);
    if (state == nullptr)
        return CRYPTO_ERROR_NO_MEMORY;
    CryptoForEachPiece(data, size, [state](const guint8 *piece, gsize pieceSize) {
        CryptoHashState_Process(state, piece, pieceSize);
    });
    return CryptoHashState_Finish(state, out, outSize);
}

CryptoHashState *CryptoHashState_Create(CryptoHash *hash) {
    auto *state = static_cast<CryptoHashState *>(malloc(sizeof(CryptoHashState)));
    if (state == nullptr)
        return nullptr;
    state->hash = hash;
    if (hash->start(&state->state) != CRYPTO_ERROR_SUCCESS) {
        free(state);
        return nullptr;
    }
    return state;
}

void CryptoHashState_Process(CryptoHashState *state, gconstpointer data, gsize size) {
    state->hash->process(state->state, static_cast<const guint8 *>(data), size);
}

CryptoError CryptoHashState_Finish(CryptoHashState *state, gpointer out, gsize outSize) {
    CryptoHash *hash = state->hash;
    const bool isRightSize = outSize == hash->outputSize;
    if (!isRightSize && out != nullptr)
        Log("hash outputs %u bytes but buffer is %u bytes\n",
            static_cast<unsigned>(hash->outputSize), static_cast<unsigned>(outSize));
    hash->finish(state->state, isRightSize ? static_cast<guint8 *>(out) : nullptr);
    free(state);
    return isRightSize ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_BUFFER_SIZE;
}

CryptoHash *CryptoHashState_GetHash(CryptoHashState *state) {
    return state->hash;
}

CryptoError CryptoHashState_ExportState(CryptoHashState *state, guint8 **data, gsize *size) {
    return state->hash->exportState(state->state, data, size);
}

CryptoError CryptoHashState_ImportState(CryptoHashState *state, gconstpointer data, gsize size) {
    return state->hash->importState(state->state, static_cast<const guint8 *>(data), size);
}
