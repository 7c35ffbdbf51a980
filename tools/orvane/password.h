/*
 * password.h -- where the password of a login comes from
 *
 *   --password-stdin         the first line of stdin
 *   --password TEXT          the option; other users of the machine can see it
 *   ORVANE_PASSWORD_FILE     the first line of that file
 *   ORVANE_PASSWORD          the environment
 *   --profile NAME           what is stored for the profile, sealed under a passphrase (profiles.h)
 *   none of these            the user is asked, if there is a terminal
 *
 * The first that is given counts. Only the user at the terminal can give an empty password; anywhere else it
 * is a mistake of a script.
 */
#pragma once

#include <optional>
#include <string>

#include <CLI/CLI.hpp>

namespace orvaneCli {

/* A text that is wiped when it is replaced or released. */
class Password {
public:
    Password() = default;
    explicit Password(std::string secret) : text(std::move(secret)) {}
    ~Password() { Wipe(); }
    Password(Password &&other) noexcept { Take(other); }
    Password &operator=(Password &&other) noexcept {
        Take(other);
        return *this;
    }

    const char *Text() const { return text.c_str(); }

private:
    void Wipe();
    void Take(Password &other);
    std::string text;
};

struct PasswordOptions {
    std::string text;
    bool isFromStdin = false;
};

/* Adds the options to a command. */
void AddPasswordOptions(CLI::App &command, PasswordOptions &options);

/* The password of the options or the environment; nothing if they have none. */
std::optional<Password> GivenPassword(const PasswordOptions &options);

/* Asks the user. Throws BadUsage if that is not possible or there is no answer. */
Password AskPassword(const std::string &user);

/* The first of both. */
Password FindPassword(const PasswordOptions &options, const std::string &user);

/* Asks for the passphrase that the stored passwords are sealed under; for a new one twice. Throws BadUsage. */
Password AskPassphrase();
Password AskNewPassphrase();

} // namespace orvaneCli
