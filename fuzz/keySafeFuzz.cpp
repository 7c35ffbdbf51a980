/*
 * Key safes from anybody: they open or are refused, by a ring, by a state that is asked, or by both.
 */
#include "fuzz/storedText.h"
#include "lib/keyLocator/keySafeInt.h"

namespace {

gboolean Answer(KeyLocatorState *, gpointer, const KeyLocatorIndirect *indirect, char **data,
                gsize *size) {
    if (indirect->type != KEYLOCATOR_TYPE_PASSPHRASE)
        return FALSE;
    *data = strdup(kFuzzPassword);
    *size = sizeof kFuzzPassword - 1;
    return TRUE;
}

KeySafeUserRing *Ring() {
    KeySafeUserRing *ring;
    FuzzRequire(KeySafeUserRing_Create(&ring) == 0);
    FuzzRequire(KeySafeUserRing_AddPassphrase(ring, kFuzzPassword, "AES-128") == 0);
    return ring;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static KeySafeUserRing *const ring = Ring();
    const std::string_view text = FuzzText(data, size);
    if (!FuzzIsQuick(text))
        return 0;
    KeyLocatorState *state;
    FuzzRequire(KeyLocator_AllocState(Answer, nullptr, &state));
    KeyLocator_EnableKeyCache(state);
    for (const KeySafeUserRing *each : {static_cast<const KeySafeUserRing *>(ring),
                                        static_cast<const KeySafeUserRing *>(nullptr)}) {
        KeySafePtr safe;
        CryptoKeyPtr key;
        const KeySafeError error =
            KeySafe_Unseal(state, text.data(), text.size(), each, CryptoOut(safe), CryptoOut(key));
        FuzzRequire((error == 0) == (safe != nullptr) && (error == 0) == (key != nullptr));
    }
    KeyLocator_FreeState(state);
    return 0;
}
