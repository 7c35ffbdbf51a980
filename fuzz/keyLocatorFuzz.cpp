/*
 * Locators from anybody: what is read is copied, written, and read again alike, and can be followed.
 */
#include "fuzz/storedText.h"
#include "lib/keyLocator/keyLocatorInt.h"

namespace {

KeyLocatorPtr Read(std::string_view text) {
    KeyLocatorPtr locator;
    const KeyLocError error = KeyLocatorImportText(text, CryptoOut(locator));
    FuzzRequire((error == 0) == (locator != nullptr));
    return locator;
}

std::string Write(const KeyLocatorPtr &locator) {
    CryptoText text;
    FuzzRequire(KeyLocator_Export(locator.get(), CryptoOut(text)) == 0);
    return text.get();
}

gboolean Answer(KeyLocatorState *, gpointer, const KeyLocatorIndirect *, char **data, gsize *size) {
    *data = strdup(kFuzzPassword);
    *size = sizeof kFuzzPassword - 1;
    return TRUE;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view text = FuzzText(data, size);
    if (!FuzzIsQuick(text))
        return 0;
    const KeyLocatorPtr locator = Read(text);
    if (!locator)
        return 0;
    const std::string written = Write(locator);
    KeyLocatorPtr copy;
    FuzzRequire(KeyLocator_Clone(Read(written).get(), CryptoOut(copy)) == 0);
    /* a raw key is encrypted anew each time */
    FuzzRequire(Write(copy) == written || written.find("rawkey/") != written.npos);
    CryptoKeyPtr key;
    KeyLocator_FollowExtract(nullptr, locator.get(), FALSE, Answer, nullptr, CryptoOut(key));
    return 0;
}
