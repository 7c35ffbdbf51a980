// lib/crypto/cryptoPass2Key.cpp: the ways to make a key of a password
#include "lib/crypto/cryptoInt.h"

namespace {

constexpr CryptoPass2KeyRow kPbkdf2HmacSha1 = {"PBKDF2-HMAC-SHA-1", CryptoPBKDF2_HMAC_SHA1_Compute};

constexpr CryptoPass2Key *allPass2Keys[] = {&kPbkdf2HmacSha1, nullptr};

} // namespace

CryptoPass2Key *const CryptoPass2Key_PBKDF2_HMAC_SHA_1 = &kPbkdf2HmacSha1;

CryptoError CryptoPass2Key_FromString(const char *name, CryptoPass2Key **pass2key) {
    *pass2key = CryptoFindRow(allPass2Keys, name);
    return *pass2key != nullptr ? CRYPTO_ERROR_SUCCESS : CRYPTO_ERROR_UNKNOWN_ALGORITHM;
}

const char *CryptoPass2Key_ToString(CryptoPass2Key *pass2key) {
    return pass2key->name;
}
