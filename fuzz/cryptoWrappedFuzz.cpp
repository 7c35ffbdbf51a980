/*
 * Wrapped data from anybody: whatever the text, it is unwrapped or refused with a code and without data.
 */
#include <crypto/cryptoPassword.h>

#include "fuzz/storedText.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text = FuzzText(data, size);
    if (!FuzzIsQuick(text))
        return 0;
    guint8 *plain;
    gsize plainSize;
    const CryptoError error = Crypto_PasswordUnwrapData(
        kFuzzPassword, sizeof kFuzzPassword - 1, text.data(), text.size(), &plain, &plainSize);
    FuzzRequire((error == 0) == (plain != nullptr) && (plain || plainSize == 0));
    Crypto_Free(plain, plainSize);
    return 0;
}
