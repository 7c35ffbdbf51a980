#include "tools/orvane/password.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "lib/misc/err.h"
#include "lib/misc/secret.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/message.h"
#include "tools/orvane/question.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

constexpr size_t kMaxPassword = 64 * 1024;
constexpr int kMostAttempts = 3; /* at a new passphrase */

/* A text in the environment; nothing if it is empty. */
std::optional<std::string> FromEnvironment(const char *name) {
    const char *text = secure_getenv(name);
    return text == nullptr || *text == '\0' ? std::nullopt : std::optional<std::string>(text);
}

BadUsage NoPassword(const std::string &name, const std::string &why) {
    return BadUsage(Text(MSGID("password.none") "no password: %s: %s", name.c_str(), why.c_str()));
}

/* The first line of a descriptor, without its end; `name` is for messages. */
Password FirstLine(int descriptor, const std::string &name) {
    std::string line;
    line.reserve(kMaxPassword + 1); /* so that no part is left where the text was before */
    char byte = '\0';
    while (line.size() <= kMaxPassword) {
        const ssize_t count = read(descriptor, &byte, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw NoPassword(name, Err_ErrString());
        if (count == 0 || byte == '\n')
            break;
        if (byte == '\0') {
            Secret_Wipe(line.data(), line.size());
            throw NoPassword(name, Text(MSGID("password.nul") "a NUL cannot be part of one"));
        }
        line += byte;
    }
    if (line.ends_with('\r'))
        line.pop_back();
    const size_t size = line.size();
    Password password(std::move(line));
    if (size == 0)
        throw BadUsage(Text(MSGID("password.empty") "no password: %s holds none", name.c_str()));
    if (size > kMaxPassword)
        throw NoPassword(name, Text(MSGID("password.long") "the line is too long"));
    return password;
}

Password FromFile(const std::string &path) {
    const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (file < 0)
        throw NoPassword(path, Err_ErrString());
    try {
        Password password = FirstLine(file, path);
        close(file);
        return password;
    } catch (const Failure &) {
        close(file);
        throw;
    }
}

Password TypedPassphrase(const std::string &prompt) {
    if (!CanAsk())
        throw BadUsage(Text(MSGID("passphrase.noTerminal") "the passphrase of the profiles is "
                                                           "needed, and there is no terminal "
                                                           "to ask on"));
    auto typed = AskForPassphrase(prompt);
    if (!typed || typed->empty())
        throw BadUsage(Text(MSGID("passphrase.none") "no passphrase was given"));
    return Password(std::move(*typed));
}

} // namespace

void Password::Wipe() {
    Secret_Wipe(text.data(), text.size());
    text.clear();
}

void Password::Take(Password &other) {
    Wipe();
    text = other.text; /* a move may leave a short text behind */
    other.Wipe();
}

void AddPasswordOptions(CLI::App &command, PasswordOptions &options) {
    CLI::Option *isFromStdin = command.add_flag(
        "--password-stdin", options.isFromStdin,
        Text(MSGID("help.passwordStdin") "Read the password from the first line of "
                                         "stdin; without, from the file in "
                                         "$ORVANE_PASSWORD_FILE, from $ORVANE_PASSWORD, "
                                         "or from the terminal"));
    command
        .add_option("--password", options.text,
                    Text(MSGID("help.password") "Password; other users of this machine "
                                                "can see it while the program runs"))
        ->excludes(isFromStdin);
}

std::optional<Password> GivenPassword(const PasswordOptions &options) {
    if (options.isFromStdin)
        return FirstLine(STDIN_FILENO, "stdin");
    if (!options.text.empty())
        return Password(options.text);
    if (const auto path = FromEnvironment("ORVANE_PASSWORD_FILE"))
        return FromFile(*path);
    if (const auto text = FromEnvironment("ORVANE_PASSWORD"))
        return Password(*text);
    return std::nullopt;
}

Password AskPassword(const std::string &user) {
    const std::string shown = Printable(user);
    if (!CanAsk())
        throw BadUsage(Text(MSGID("password.noTerminal") "no password for %s, and no terminal to "
                                                         "ask on; use "
                                                         "--password-stdin or ORVANE_PASSWORD_FILE",
                            shown.c_str()));
    auto answer = AskSecretly(Text(MSGID("password.ask") "Password of %s:", shown.c_str()) + " ");
    if (!answer)
        throw BadUsage(Text(MSGID("password.notGiven") "no password was given"));
    return Password(std::move(*answer));
}

Password FindPassword(const PasswordOptions &options, const std::string &user) {
    auto given = GivenPassword(options);
    return given ? std::move(*given) : AskPassword(user);
}

Password AskPassphrase() {
    return TypedPassphrase(Text(MSGID("passphrase.ask") "Passphrase of the profiles:") + " ");
}

Password AskNewPassphrase() {
    for (int i = 0; i < kMostAttempts; i++) {
        Password first =
            TypedPassphrase(Text(MSGID("passphrase.new") "New passphrase of the profiles:") + " ");
        const Password second =
            TypedPassphrase(Text(MSGID("passphrase.again") "The same again:") + " ");
        if (strcmp(first.Text(), second.Text()) == 0)
            return first;
        Report(Text(MSGID("passphrase.differ") "the two are not the same"));
    }
    throw BadUsage(Text(MSGID("passphrase.none") "no passphrase was given"));
}

} // namespace orvaneCli
