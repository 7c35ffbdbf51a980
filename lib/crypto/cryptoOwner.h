/*
 * cryptoOwner.h -- owners of keys, dictionaries and secret texts: wiped and released on every path out of a scope
 *
 *   CryptoDictPtr dict;
 *   CryptoError error = CryptoDict_Create(CryptoOut(dict));
 *
 * Blocks of bytes have SecretBlock.
 *
 * Threads: as unique_ptr.
 */
#pragma once

#include <memory>

#include <crypto/crypto.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/secret.h"

using CryptoKeyPtr = std::unique_ptr<CryptoKey, Release<CryptoKey_Free>>;
using CryptoDictPtr = std::unique_ptr<CryptoDict, Release<CryptoDict_Free>>;
/* A text up to its NUL. */
using CryptoText = std::unique_ptr<char, Release<Crypto_FreeString>>;

/* Receives the pointer that a function writes, and gives it to its owner when the statement has ended: until then, also
 * behind "&&", the owner has nothing. */
template <class Owner> class CryptoOut {
public:
    explicit CryptoOut(Owner &to) : owner(to) {}
    CryptoOut(const CryptoOut &) = delete;
    CryptoOut &operator=(const CryptoOut &) = delete;
    ~CryptoOut() { owner.reset(raw); }
    operator typename Owner::pointer *() { return &raw; }

private:
    Owner &owner;
    typename Owner::pointer raw = nullptr;
};

/* Hands on the first bytes of a block. Those behind them, which the receiver does not know of, are wiped. */
inline CryptoError ReleasePart(SecretBlock block, gsize part, guint8 **data, gsize *size) {
    Secret_Wipe(block.data() + part, block.size() - part);
    *data = block.release(size);
    *size = part;
    return CRYPTO_ERROR_SUCCESS;
}
