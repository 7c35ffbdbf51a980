/*
 * storedInputs FOLDER -- writes the inputs from which the targets for stored keys, dictionaries, messages and locks start:
 * FOLDER/TARGET/NAME
 *
 * The generator of random bytes is seeded, so that the files are the same each time.
 */
#include <cstdio>
#include <filesystem>
#include <fstream>

#include <crypto/crypto.h>

#include "fuzz/storedText.h"
#include "lib/keyLocator/keySafeInt.h"

namespace {

std::filesystem::path gFolder;

void KeepOnly(const std::string &target, const std::string &name, std::string_view text) {
    const std::filesystem::path folder = gFolder / target;
    std::filesystem::create_directories(folder);
    std::ofstream(folder / name, std::ios::binary) << text;
}

/* The same, also for the target that splits lists of pairs. */
void Keep(const std::string &target, const std::string &name, std::string_view text) {
    KeepOnly(target, name, text);
    if (target != "cryptoDictFuzz" && text.find("halden:") == text.npos)
        Keep("cryptoDictFuzz", name, text);
}

CryptoKeyPtr NewKey(const char *cipherName) {
    CryptoCipher *cipher;
    CryptoKeyPtr key;
    FuzzRequire(CryptoCipher_FromString(cipherName, &cipher) == 0);
    FuzzRequire(CryptoKey_Generate(cipher, CryptoOut(key)) == 0);
    return key;
}

void KeepKeys() {
    for (const char *cipher : {"AES-128", "AES-192", "AES-256", "RSA-512", "DSA-1024"}) {
        CryptoKeyPtr key = NewKey(cipher);
        CryptoText text;
        gsize size;
        FuzzRequire(CryptoKey_Export(key.get(), nullptr, CryptoOut(text), &size) == 0);
        Keep("cryptoKeyImportFuzz", cipher, text.get());
        FuzzRequire(CryptoKey_Export(key.get(), kFuzzPassword, CryptoOut(text), &size) == 0);
        Keep("cryptoKeyImportFuzz", std::string(cipher) + "-encrypted", text.get());
        if (!CryptoKey_HasPrivateKey(key.get()))
            continue;
        CryptoKeyPtr publicKey;
        FuzzRequire(CryptoKey_GetPublicKey(key.get(), CryptoOut(publicKey)) == 0);
        FuzzRequire(CryptoKey_Export(publicKey.get(), nullptr, CryptoOut(text), &size) == 0);
        Keep("cryptoKeyImportFuzz", std::string(cipher) + "-public", text.get());
    }
}

void KeepWrapped() {
    for (size_t size : {0, 20}) {
        const std::string data(size, 'x');
        CryptoText text;
        gsize textSize;
        FuzzRequire(Crypto_PasswordWrapData(kFuzzPassword, sizeof kFuzzPassword - 1, data.data(),
                                            size, CryptoOut(text), &textSize) == 0);
        Keep("cryptoWrappedFuzz", "wrapped" + std::to_string(size), text.get());
    }
    Keep("cryptoDictFuzz", "escapes", "a=b%3dc%25:%zz=%4\r\n=x:y\n\n:k=1:k=2");
}

void KeepLocator(const char *name, const KeyLocatorPtr &locator) {
    CryptoText text;
    FuzzRequire(KeyLocator_Export(locator.get(), CryptoOut(text)) == 0);
    Keep("keyLocatorFuzz", name, text.get());
}

void KeepLocators() {
    const CryptoKeyPtr key = NewKey("AES-128");
    KeyLocatorPtr each;
    KeyLocator_CreateNull(CryptoOut(each));
    KeepLocator("null", each);
    KeyLocator_CreateLeaf(key.get(), CryptoOut(each));
    KeepLocator("rawkey", each);
    KeyLocator_CreateLinkToLDAP("host", nullptr, 389, TRUE, "cn=key", CryptoOut(each));
    KeepLocator("ldap", each);
    KeyLocator_CreateLinkToScript("/bin/key", "data", 4, CryptoOut(each));
    KeepLocator("script", each);
    KeyLocator_CreateLinkToRole(KEYLOCATOR_ROLE_ADMIN_IDENT, CryptoOut(each));
    KeepLocator("role", each);
    KeyLocator_CreateLinkToPassphrase("AES-256", CryptoOut(each));
    KeepLocator("phrase", each);
}

void KeepRingsAndSafes() {
    KeySafeUserRingPtr ring;
    FuzzRequire(KeySafeUserRing_Create(CryptoOut(ring)) == 0);
    for (const char *name : {"empty", "one", "two"}) {
        CryptoText text;
        gsize size;
        FuzzRequire(KeySafeUserRing_Export(ring.get(), TRUE, CryptoOut(text), &size) == 0);
        Keep("keySafeRingFuzz", name, text.get());
        CryptoKeyPtr key;
        FuzzRequire(KeySafe_Seal(ring.get(), CryptoOut(key), nullptr, CryptoOut(text), &size) == 0);
        Keep("keySafeFuzz", name, text.get());
        Keep("keyLocatorFuzz", std::string("safe-") + name, text.get());
        if (std::string_view(name) == "empty")
            KeySafeUserRing_AddPassphrase(ring.get(), kFuzzPassword, "AES-128");
        else
            KeySafeUserRing_AddKey(ring.get(), NewKey("AES-128").get());
    }
}

void KeepDictionaries() {
    KeepOnly("dictionaryFuzz", "lines",
             "\xef\xbb\xbf# head\r\n\n .meta = \"x\"\na=1\nB = \"2 |22|7c\" # c\nempty =\n");
    KeepOnly("dictionaryFuzz", "latin1", "a = \"\xe4\"\n.encoding = \"ISO-8859-1\"\nb = \xf6\n");
    KeepOnly("dictionaryFuzz", "twice", "a = 1\rA = 2\r");
    KeepOnly("dictionaryFuzz", "sealed",
             "a = 1\nencryption.keySafe = \"x\"\nencryption.data = \"y\"\n");
    KeepOnly("msgCatalogueFuzz", "texts",
             "msg.a = \"%1$s in %2$d|0A\"\nbutton.b = \"_Ja__\"\nmsg.dictionary.open = \"%s\"\n");
    KeepOnly("msgFmtFuzz", "plain", "%d %-10.3s %+8.2f %lld %p %c %ls %hhx%%");
    KeepOnly("msgFmtFuzz", "positions", "%3$'f %2$s %1$#x %7$.2ls %6$C %8$hd");
    KeepOnly("msgFmtFuzz", "win32", "%1 %2!s! %3!.2f!");
    KeepOnly("msgFmtFuzz", "block", "b" + std::string(300, '\6'));
    KeepOnly("fileLockMemberFuzz", "other", "AAAAAAAAAAAAAAAA 1-5(init) 7 X 5 lc=1 p");
    KeepOnly("fileLockMemberFuzz", "shared", "uuid=1 1-5(init) 4294967295 S 5 lc=1 a=bp");
    KeepOnly("fileLockMemberFuzz", "old", "AAAAAAAAAAAAAAAA 77 1 X 5 lc=1p");
    KeepOnly("fileLockMemberFuzz", "short", "x 1 X");
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: storedInputs FOLDER\n");
        return 2;
    }
    gFolder = argv[1];
    const std::string seed(CryptoRandom_GetSeedSize(), 's');
    FuzzRequire(CryptoRandom_Seed(seed.data(), seed.size()) == 0);
    KeepKeys();
    KeepWrapped();
    KeepLocators();
    KeepRingsAndSafes();
    KeepDictionaries();
    return 0;
}
