/*
 * User rings from anybody: what is read can be written and read again, with as many keys.
 */
#include "fuzz/storedText.h"
#include "lib/keyLocator/keySafeInt.h"

namespace {

KeySafeUserRingPtr Read(std::string_view text) {
    KeySafeUserRingPtr ring;
    const KeySafeError error = KeySafeUserRing_Import(text.data(), text.size(), CryptoOut(ring));
    FuzzRequire((error == 0) == (ring != nullptr));
    return ring;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const KeySafeUserRingPtr ring = Read(FuzzText(data, size));
    if (!ring)
        return 0;
    CryptoText text;
    gsize textSize;
    FuzzRequire(KeySafeUserRing_Export(ring.get(), TRUE, CryptoOut(text), &textSize) == 0);
    const KeySafeUserRingPtr again = Read(text.get());
    FuzzRequire(again &&
                KeySafeUserRing_GetNumKeys(again.get()) == KeySafeUserRing_GetNumKeys(ring.get()));
    CryptoCipher *cipher;
    KeySafeUserRing_GetAppropriateCipher(ring.get(), &cipher);
    CryptoText passphrase;
    KeySafeUserRing_GetOnePassphrase(ring.get(), CryptoOut(passphrase));
    return 0;
}
