// lib/crypto/cryptoError.cpp
#include <crypto/cryptoError.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "lib/misc/secret.h"

namespace {

using namespace std::literals;

constexpr auto kMarker = "@&!*@*@("sv;

/* By code. The texts are the stored form of localisable messages. */
constexpr auto kErrors = std::to_array<const char *>({
    "@&!*@*@(msg.crypto.success)The operation completed successfully",
    "@&!*@*@(msg.crypto.failed)Cryptographic operation failed",
    "@&!*@*@(msg.crypto.algorithm)The specified algorithm is unknown",
    "@&!*@*@(msg.crypto.buffer)Input or output buffer invalid size",
    "@&!*@*@(msg.crypto.invalid)Invalid operation",
    "@&!*@*@(msg.crypto.mem)Memory exhausted",
    "@&!*@*@(msg.crypto.password)Password required for operation",
    "@&!*@*@(msg.crypto.badPass)Incorrect password supplied",
    "@&!*@*@(msg.crypto.io)I/O error",
    "@&!*@*@(msg.crypto.unknown)Unknown error",
    "@&!*@*@(msg.crypto.name)Name not found in dictionary",
    "@&!*@*@(msg.crypto.noCrypto)Cryptography not supported",
    "@&!*@*@(msg.crypto.lockFailure)Locking failure",
});
static_assert(kErrors.size() == CRYPTO_ERROR_LOCK + 1);

constexpr const char *kUnknownError =
    "@&!*@*@(msg.crypto.crypto.unknown)Unknown cryptographic error";

} // namespace

const char *CryptoError_ToMsgString(CryptoError error) {
    return error < kErrors.size() ? kErrors[error] : kUnknownError;
}

const char *CryptoError_ToString(CryptoError error) {
    const char *text = CryptoError_ToMsgString(error);
    if (strncmp(text, kMarker.data(), kMarker.size()) != 0)
        return text;
    const char *end = strchr(text, ')');
    return end != nullptr ? end + 1 : text;
}

gpointer Crypto_Alloc(gsize size) {
    return malloc(size);
}

void Crypto_Free(gpointer ptr, gsize size) {
    Secret_FreeBlock(ptr, size);
}

void Crypto_FreeString(char *str) {
    if (str != nullptr)
        Secret_FreeBlock(str, strlen(str));
}
