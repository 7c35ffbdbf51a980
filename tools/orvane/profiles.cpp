#include "tools/orvane/profiles.h"

#include <algorithm>
#include <memory>
#include <set>

#include <crypto/crypto.h>
#include <fmt/format.h>

#include "lib/dict/dictionaryFile.h"
#include "lib/keyLocator/keySafeUserRing.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/secret.h"
#include "lib/user/msg.h"
#include "tools/orvane/message.h"
#include "tools/orvane/nearestWord.h"
#include "tools/orvane/serviceAddress.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

constexpr char kProfilePrefix[] = "profile.";
constexpr char kSealedPrefix[] = "sealed.";
constexpr char kSealedParts[][9] = {"password", "url", "user"};
constexpr char kCipher[] = "AES-256";
constexpr size_t kMaxName = 64;
constexpr size_t kMaxText = 2048; /* of an address or a user */
constexpr size_t kSealedIdBytes = 8;

/* The text of a file without profiles. */
constexpr char kEmptyFile[] = "# Profiles of orvane; see \"orvane profile --help\".\n"
                              ".encoding = \"UTF-8\"\n";

using RingPtr = std::unique_ptr<KeySafeUserRing, Release<KeySafeUserRing_Destroy>>;
using Value = std::unique_ptr<char, Release<Secret_FreeText>>;

std::string KeyOf(const std::string &name, const char *part) {
    return fmt::format("{}{}.{}", kProfilePrefix, name, part);
}

std::string SealedKeyOf(const std::string &id, const char *part) {
    return fmt::format("{}{}.{}", kSealedPrefix, id, part);
}

Value Get(Dictionary *dictionary, const std::string &key) {
    return Value(Dict_GetString(dictionary, nullptr, "%s", key.c_str()));
}

std::string GetPlain(Dictionary *dictionary, const std::string &key) {
    const Value value(Dict_GetStringPlain(dictionary, nullptr, "%s", key.c_str()));
    return value != nullptr ? value.get() : "";
}

/* What the library has noted of a failure, on one line. */
std::string PendingText() {
    std::string text = Msg_GetMessagesAndReset();
    while (text.ends_with('\n'))
        text.pop_back();
    std::ranges::replace(text, '\n', ' ');
    return text;
}

DictionaryPtr Load(const UserFile &file, const std::string &text) {
    DictionaryPtr dictionary(Dictionary_Create());
    Msg_Reset(TRUE);
    if (!Dictionary_LoadFromBufferWithDefaultEncoding(dictionary.get(),
                                                      text.empty() ? kEmptyFile : text.c_str(),
                                                      FALSE, STRING_ENCODING_UTF8))
        throw file.Fail(PendingText());
    return dictionary;
}

std::string Save(const UserFile &file, Dictionary *dictionary) {
    char *buffer;
    gsize size;
    Msg_Reset(TRUE);
    if (!Dictionary_WriteToBuffer(dictionary, TRUE, &buffer, &size))
        throw file.Fail(Text(MSGID("profile.notSealed") "the passwords cannot be sealed"));
    const SecretBlock owner(buffer, size);
    return {buffer, size - 1};
}

/* The names of entries that begin with a prefix. */
struct Names {
    std::string prefix;
    std::vector<std::string> found;

    static void Collect(const char *name, const char * /* value */, gint /* index */,
                        gpointer data) {
        auto *self = static_cast<Names *>(data);
        if (g_ascii_strncasecmp(name, self->prefix.c_str(), self->prefix.size()) == 0)
            self->found.emplace_back(name);
    }
};

std::vector<std::string> NamesWith(Dictionary *dictionary, const char *prefix) {
    Names names{prefix, {}};
    Dictionary_Iterate(dictionary, Names::Collect, &names, FALSE);
    return names.found;
}

/* "lab" of "profile.lab.url"; empty for another name. */
std::string NameIn(const std::string &key) {
    constexpr std::string_view kEnd = ".url";
    const size_t begin = sizeof kProfilePrefix - 1;
    if (key.size() <= begin + kEnd.size() ||
        g_ascii_strcasecmp(key.c_str() + key.size() - kEnd.size(), kEnd.data()) != 0)
        return "";
    return key.substr(begin, key.size() - begin - kEnd.size());
}

Profile Read(Dictionary *dictionary, const std::string &name) {
    return {name, GetPlain(dictionary, KeyOf(name, "url")),
            GetPlain(dictionary, KeyOf(name, "user")), GetPlain(dictionary, KeyOf(name, "sealed"))};
}

std::vector<Profile> ReadAll(Dictionary *dictionary) {
    std::vector<Profile> all;
    for (const std::string &key : NamesWith(dictionary, kProfilePrefix)) {
        const std::string name = NameIn(key);
        if (CheckProfileName(name).empty())
            all.push_back(Read(dictionary, name));
    }
    return all;
}

const Profile *FindIn(const std::vector<Profile> &all, const std::string &name) {
    const auto found = std::ranges::find_if(all, [&](const Profile &each) {
        return g_ascii_strcasecmp(each.name.c_str(), name.c_str()) == 0;
    });
    return found == all.end() ? nullptr : &*found;
}

RingPtr RingOf(const Password &passphrase) {
    KeySafeUserRing *ring = nullptr;
    KeySafeError error = KeySafeUserRing_Create(&ring);
    RingPtr owner(ring);
    if (error == KEYSAFE_ERROR_SUCCESS)
        error = KeySafeUserRing_AddPassphrase(ring, passphrase.Text(), kCipher);
    if (error != KEYSAFE_ERROR_SUCCESS)
        throw Failure(Text(MSGID("profile.badPassphrase") "the passphrase cannot be used: %s",
                           KeySafeError_ToString(error)));
    return owner;
}

void Unlock(const UserFile &file, Dictionary *dictionary, const Password &passphrase) {
    if (!Dictionary_Unlock(dictionary, nullptr, RingOf(passphrase).get()))
        throw file.Fail(Text(MSGID("profile.wrongPassphrase") "the passphrase is wrong, or the "
                                                              "sealed part is damaged"));
    PendingText(); /* of lines in the sealed part that are not ours */
}

/* Makes all present entries of the file readable ones, and seals what comes later. */
void SealFromNowOn(const UserFile &file, Dictionary *dictionary, const Password &passphrase) {
    for (const std::string &name : NamesWith(dictionary, "")) {
        const std::string value = GetPlain(dictionary, name);
        Dict_SetStringPlain(dictionary, value.c_str(), "%s", name.c_str());
    }
    if (!Dictionary_Rekey(dictionary, RingOf(passphrase).get()))
        throw file.Fail(Text(MSGID("profile.notSealed") "the passwords cannot be sealed"));
}

/* Removes what is sealed for profiles that are gone. The dictionary must be open. */
void DropUnused(Dictionary *dictionary) {
    std::set<std::string> used;
    for (const Profile &each : ReadAll(dictionary))
        used.insert(each.sealed);
    for (const std::string &key : NamesWith(dictionary, kSealedPrefix)) {
        const size_t begin = sizeof kSealedPrefix - 1;
        if (!used.contains(key.substr(begin, key.rfind('.') - begin)))
            Dictionary_Unset(dictionary, key.c_str());
    }
}

std::string NewSealedId() {
    guint8 bytes[kSealedIdBytes];
    const CryptoError error = CryptoRandom_GetBytes(bytes, sizeof bytes);
    if (error != CRYPTO_ERROR_SUCCESS)
        throw Failure(Text(MSGID("profile.noRandom") "there are no random numbers: %s",
                           CryptoError_ToString(error)));
    std::string id;
    for (const guint8 byte : bytes)
        id += fmt::format("{:02x}", byte);
    return id;
}

void SetPlain(Dictionary *dictionary, const Profile &profile) {
    const auto set = [&](const char *part, const std::string &value) {
        if (!value.empty())
            Dict_SetStringPlain(dictionary, value.c_str(), "%s", KeyOf(profile.name, part).c_str());
    };
    set("url", profile.url);
    set("user", profile.user);
    set("sealed", profile.sealed);
}

bool IsSealedText(Dictionary *dictionary) {
    return Dictionary_IsEncrypted(dictionary) != FALSE;
}

void Store(const UserFile &file, Dictionary *dictionary, const Profile &profile,
           const SealedPassword &password) {
    if (IsSealedText(dictionary))
        Unlock(file, dictionary, password.passphrase);
    else
        SealFromNowOn(file, dictionary, password.passphrase);
    DropUnused(dictionary);
    const char *values[] = {password.password.Text(), profile.url.c_str(), profile.user.c_str()};
    for (size_t i = 0; i < std::size(values); i++)
        Dict_SetString(dictionary, values[i], "%s",
                       SealedKeyOf(profile.sealed, kSealedParts[i]).c_str());
}

} // namespace

std::string CheckProfileName(const std::string &name) {
    const auto isPart = [](char c) { return g_ascii_isalnum(c) || strchr("._-", c) != nullptr; };
    const bool isName = !name.empty() && name.size() <= kMaxName && g_ascii_isalnum(name[0]) &&
                        std::ranges::all_of(name, isPart);
    return isName ? ""
                  : Text(MSGID("profile.badName") "a name has at most %d letters, "
                                                  "digits, \".\", \"_\" and \"-\", and "
                                                  "begins with a letter or a digit",
                         static_cast<int>(kMaxName));
}

std::vector<Profile> Profiles::All() const {
    return ReadAll(Load(file, file.Read().value_or("")).get());
}

bool Profiles::Has(const std::string &name) const {
    return FindIn(All(), name) != nullptr;
}

Profile Profiles::Find(const std::string &name) const {
    const std::vector<Profile> all = All();
    const Profile *found = FindIn(all, name);
    if (found != nullptr)
        return *found;
    std::vector<std::string> names;
    for (const Profile &each : all)
        names.push_back(each.name);
    const std::string nearest = NearestWord(name, names);
    const std::string shown = Printable(name);
    if (!nearest.empty())
        throw Failure(
            Text(MSGID("profile.similar") "there is no profile \"%s\"; did you mean \"%s\"?",
                 shown.c_str(), nearest.c_str()));
    throw Failure(Text(MSGID("profile.none") "there is no profile \"%s\"; \"orvane profile list\" "
                                             "shows all",
                       shown.c_str()));
}

bool Profiles::IsSealed() const {
    return IsSealedText(Load(file, file.Read().value_or("")).get());
}

void Profiles::Add(const Profile &wanted, const std::optional<SealedPassword> &password) const {
    if (const std::string why = CheckProfileName(wanted.name); !why.empty())
        throw BadUsage(why);
    if (!ParseServiceAddress(wanted.url))
        throw BadUsage(Text(MSGID("address.bad") "\"%s\" is no http or https address",
                            Printable(wanted.url).c_str()));
    for (const std::string &text : {wanted.url, wanted.user}) {
        if (text.size() > kMaxText || Printable(text) != text)
            throw BadUsage(Text(MSGID("profile.badText") "an address or a user name has at most "
                                                         "%d bytes of printable UTF-8",
                                static_cast<int>(kMaxText)));
    }
    Profile profile = wanted;
    profile.sealed = password ? NewSealedId() : "";
    file.Change([&](const std::string &text) {
        const DictionaryPtr dictionary = Load(file, text);
        if (FindIn(ReadAll(dictionary.get()), profile.name) != nullptr)
            throw Failure(Text(MSGID("profile.exists") "there is a profile \"%s\" already",
                               profile.name.c_str()));
        if (password)
            Store(file, dictionary.get(), profile, *password);
        SetPlain(dictionary.get(), profile);
        return Save(file, dictionary.get());
    });
}

void Profiles::Remove(const std::string &name) const {
    const Profile found = Find(name);
    file.Change([&](const std::string &text) {
        const DictionaryPtr dictionary = Load(file, text);
        for (const char *part : {"url", "user", "sealed"})
            Dict_Unset(dictionary.get(), "%s", KeyOf(found.name, part).c_str());
        const auto isSealed = [](const Profile &each) { return !each.sealed.empty(); };
        if (std::ranges::none_of(ReadAll(dictionary.get()), isSealed))
            Dictionary_UnsetWithPrefix(dictionary.get(), "encryption.");
        return Save(file, dictionary.get());
    });
}

void Profiles::Rekey(const Password &oldPassphrase, const Password &newPassphrase) const {
    file.Change([&](const std::string &text) {
        const DictionaryPtr dictionary = Load(file, text);
        if (!IsSealedText(dictionary.get()))
            throw file.Fail(Text(MSGID("profile.nothingSealed") "no password is stored there"));
        Unlock(file, dictionary.get(), oldPassphrase);
        DropUnused(dictionary.get());
        if (!Dictionary_Rekey(dictionary.get(), RingOf(newPassphrase).get()))
            throw file.Fail(Text(MSGID("profile.notSealed") "the passwords cannot be sealed"));
        return Save(file, dictionary.get());
    });
}

Password Profiles::Open(const Profile &profile, const Password &passphrase) const {
    const DictionaryPtr dictionary = Load(file, file.Read().value_or(""));
    Unlock(file, dictionary.get(), passphrase);
    Value values[std::size(kSealedParts)];
    for (size_t i = 0; i < std::size(kSealedParts); i++)
        values[i] = Get(dictionary.get(), SealedKeyOf(profile.sealed, kSealedParts[i]));
    if (std::ranges::any_of(values, [](const Value &value) { return value == nullptr; }))
        throw Failure(Text(MSGID("profile.noPassword") "the stored password of profile \"%s\" is "
                                                       "missing; add the profile again",
                           profile.name.c_str()));
    if (profile.url != values[1].get() || profile.user != values[2].get())
        throw Failure(Text(MSGID("profile.changed") "the address or the user of profile \"%s\" "
                                                    "has changed since its "
                                                    "password was stored; add the profile again",
                           profile.name.c_str()));
    return Password(values[0].get());
}

} // namespace orvaneCli
