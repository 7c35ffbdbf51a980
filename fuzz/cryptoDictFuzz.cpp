/*
 * Dictionary texts from anybody: every text is read, and what was read is written and read again alike in both forms.
 */
#include <crypto/cryptoDict.h>

#include "fuzz/storedText.h"
#include "lib/crypto/cryptoOwner.h"

namespace {

CryptoDictPtr Read(std::string_view text) {
    CryptoDictPtr dict;
    FuzzRequire(CryptoDict_CreateAndImport(text.data(), text.size(), CryptoOut(dict)) == 0);
    return dict;
}

std::string Write(const CryptoDictPtr &dict, bool multiLine) {
    CryptoText text;
    gsize size;
    FuzzRequire(CryptoDict_Export(dict.get(), multiLine, CryptoOut(text), &size) == 0);
    return {text.get(), size};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const CryptoDictPtr dict = Read(FuzzText(data, size));
    for (bool multiLine : {false, true})
        FuzzRequire(Write(Read(Write(dict, multiLine)), false) == Write(dict, false));
    guint32 number;
    CryptoDict_GetUint32(dict.get(), "rounds", &number);
    guint8 *bytes;
    gsize count;
    CryptoDict_GetBase64(dict.get(), "data", &bytes, &count);
    Crypto_Free(bytes, count);
    return 0;
}
