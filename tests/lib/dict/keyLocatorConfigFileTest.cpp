#include <memory>

#include <gmock/gmock.h>

#include "lib/keyLocator/keyLocator.h"
#include "tests/lib/crypto/keys.h"
#include "tests/support/logText.h"
#include "tests/support/temporaryFolder.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
using LocatorPtr = std::unique_ptr<KeyLocator, Release<KeyLocator_Destroy>>;

/* A member of a key safe that is locked by a passphrase for this cipher; "role": by a role; "null": no pair. */
LocatorPtr Member(const std::string &kind, CryptoKey *key) {
    if (kind == "null")
        return Owned<LocatorPtr>(KeyLocator_CreateNull);
    const auto locker = kind == "role"
                            ? Owned<LocatorPtr>(KeyLocator_CreateLinkToRole, KEYLOCATOR_ROLE_SERVER)
                            : Owned<LocatorPtr>(KeyLocator_CreateLinkToPassphrase, kind.c_str());
    return Owned<LocatorPtr>(KeyLocator_CreatePair, locker.get(), key, "secret", 6);
}

/* The text of an encrypted dictionary whose key safe has these members. */
std::string FileOf(const std::vector<std::string> &members) {
    const CryptoKeyPtr key = NewKey("AES-128");
    const auto list = Owned<LocatorPtr>(KeyLocator_CreateList);
    for (const std::string &kind : members)
        EXPECT_TRUE(KeyLocator_ListAddLast(list.get(), Member(kind, key.get()).release()));
    const auto text = Owned<CryptoText>(KeyLocator_Export, list.get());
    return std::string("encryption.data = \"x\"\nencryption.keySafe = \"") + text.get() + "\"\n";
}

TEST(KeyLocatorConfigFile, TellsTheCipherOfThePassphrasesOrWhyNot) {
    const std::tuple<std::string, KeyLocError, const char *, const char *> rows[] = {
        {FileOf({"role", "AES-256", "AES-256"}), 0, "AES-256", ""},
        {FileOf({"null", "AES-192"}), 0, "AES-192", "Missing key locator pair."},
        {FileOf({"AES-128", "role", "AES-256"}), 10, nullptr, "cipher types: AES-128 AES-256"},
        {FileOf({"role"}), 10, nullptr, "Failed to get non-null cipher name"},
        {"a = 1\n", 2, nullptr, "is not encrypted"},
        {"encryption.keySafe = \"\"\nencryption.data = \"x\"\n", 2, nullptr, "Can't find KeySafe"},
        {"encryption.keySafe = \"x\"\nencryption.data = \"x\"\n", 2, nullptr,
         "Failed to import the KeySafe: "},
        {"a = 1\na = 2\n", 2, nullptr, "line 2: Variable \"a\" is already defined."},
    };
    const TemporaryFolder folder;
    for (const auto &[file, error, wantedCipher, logged] : rows) {
        SCOPED_TRACE(file);
        LogRing_Clear();
        const std::string path = folder.Write("config", file);
        CryptoText cipher;
        EXPECT_EQ(error, KeyLocator_ExtractCipherFromConfigFile(path.c_str(), CryptoOut(cipher)));
        EXPECT_STREQ(wantedCipher, cipher.get());
        const char *head = *logged != '\0' ? "W KeyLocator_ExtractCipherFromConfigFile: " : "";
        EXPECT_THAT(LogText(), AllOf(StartsWith(head), HasSubstr(logged)));
    }
}

} // namespace
