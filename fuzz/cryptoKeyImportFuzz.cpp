/*
 * Keys as text from anybody, symmetric ones and PEM: what is read as a key is written and read again alike.
 */
#include <crypto/cryptoKey.h>

#include "fuzz/storedText.h"
#include "lib/crypto/cryptoOwner.h"

namespace {

CryptoKeyPtr Read(std::string_view text, const char *password) {
    CryptoKeyPtr key;
    const CryptoError error = CryptoKey_Import(text.data(), text.size(), password, CryptoOut(key));
    FuzzRequire((error == 0) == (key != nullptr));
    return key;
}

std::string Write(const CryptoKeyPtr &key) {
    CryptoText text;
    gsize size;
    FuzzRequire(CryptoKey_Export(key.get(), nullptr, CryptoOut(text), &size) == 0);
    return {text.get(), size};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text = FuzzText(data, size);
    if (!FuzzIsQuick(text))
        return 0;
    for (const char *password : {static_cast<const char *>(nullptr), kFuzzPassword}) {
        const CryptoKeyPtr key = Read(text, password);
        if (key)
            FuzzRequire(Write(Read(Write(key), nullptr)) == Write(key));
    }
    return 0;
}
