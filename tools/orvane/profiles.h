/*
 * profiles.h -- services that the user has given names, in one file
 *
 *   profile.lab.url = "https://lab.example/sdk"          readable
 *   profile.lab.user = "administrator"
 *   profile.lab.sealed = "5f0c2a9d81b3e746"              leads to the password in the sealed part
 *   encryption.keySafe, encryption.data                  the sealed part, opened by one passphrase:
 *     sealed.5f0c2a9d81b3e746.password = "..."
 *     sealed.5f0c2a9d81b3e746.url = "..."                what the password is for; it is used for nothing else
 *     sealed.5f0c2a9d81b3e746.user = "..."
 *
 * Names match in any case. Whoever changes the readable part of the file cannot send a password to another address,
 * since the sealed part holds the address, too. A profile is removed without the passphrase; its password then leads
 * nowhere, and is dropped when the sealed part is next opened, or with the last profile that has one.
 *
 * Errors:  Failure; BadUsage for a name or an address of a wrong form.
 * Threads: one.
 */
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/orvane/password.h"
#include "tools/orvane/userFile.h"

namespace orvaneCli {

struct Profile {
    std::string name;
    std::string url;
    std::string user;   /* may be empty */
    std::string sealed; /* where its password is; empty for none */
};

/* A password that is to be stored, and the passphrase that seals it. */
struct SealedPassword {
    const Password &password;
    const Password &passphrase;
};

class Profiles {
public:
    explicit Profiles(std::string path = UserFile::Folder() + "/profiles")
        : file(std::move(path)) {}

    const std::string &Path() const { return file.Path(); }

    /* In the order of the file. */
    std::vector<Profile> All() const;
    Profile Find(const std::string &name) const;
    bool Has(const std::string &name) const;

    /* Whether there is a sealed part, to be opened by the passphrase that it was made with. */
    bool IsSealed() const;

    /* Adds a profile. A name that is taken is a Failure. A first password makes the sealed part. */
    void Add(const Profile &profile, const std::optional<SealedPassword> &password) const;
    void Remove(const std::string &name) const;

    /* Seals all passwords under another passphrase. */
    void Rekey(const Password &oldPassphrase, const Password &newPassphrase) const;

    /* Returns the password of a profile that has one. */
    Password Open(const Profile &profile, const Password &passphrase) const;

private:
    UserFile file;
};

/* Returns why a text cannot be the name of a profile; empty if it can. */
std::string CheckProfileName(const std::string &name);

} // namespace orvaneCli
