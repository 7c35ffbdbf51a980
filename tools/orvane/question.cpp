#include "tools/orvane/question.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>

#include <crypto/cryptoPassword.h>
#include <fmt/format.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/secret.h"
#include "tools/orvane/failure.h"
#include "tools/process/processSignals.h"

namespace orvaneCli {

namespace {

using PassphraseText = std::unique_ptr<char, Release<Crypto_FreeString>>;

constexpr size_t kMaxAnswer = 4096;       /* a terminal has no longer lines */
constexpr timespec kLook{0, 200'000'000}; /* for a signal that another thread got */
constexpr auto kSignals = std::to_array(
    {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT}); /* all that end the question */

constinit volatile sig_atomic_t gSignal = 0; /* the one that came, or 0 */

constinit volatile sig_atomic_t gEndsReads = 0; /* whether a ReadEnder lives */

void NoteSignal(int number) {
    gSignal = number;
    if (gEndsReads != 0)
        alarm(1);
}

void EndRead(int /* number */) {
    alarm(1); /* in case that the read still had not begun */
}

/* While this lives, a signal that is noted also ends a read that begins right after it, which would otherwise wait for
 * the next line of the user: an alarm interrupts it a second later. */
class ReadEnder {
public:
    ReadEnder() {
        struct sigaction end {};
        end.sa_handler = EndRead;
        sigaction(SIGALRM, &end, &before);
        gEndsReads = 1;
    }
    ~ReadEnder() {
        gEndsReads = 0;
        alarm(0);
        sigaction(SIGALRM, &before, nullptr);
    }
    ReadEnder(const ReadEnder &) = delete;
    ReadEnder &operator=(const ReadEnder &) = delete;

private:
    struct sigaction before;
};

/* Delivers the signals to NoteSignal(), and only within WaitForInput(), while this lives. */
class SignalScope {
public:
    SignalScope() {
        gSignal = 0;
        sigset_t blocked;
        sigemptyset(&blocked);
        for (const int number : kSignals)
            sigaddset(&blocked, number);
        sigprocmask(SIG_BLOCK, &blocked, &mask);
        struct sigaction note {};
        note.sa_handler = NoteSignal;
        for (size_t i = 0; i < kSignals.size(); i++)
            sigaction(kSignals[i], &note, &actions[i]);
        open = mask;
        for (size_t i = 0; i < kSignals.size(); i++) {
            if (actions[i].sa_handler != SIG_IGN)
                sigdelset(&open, kSignals[i]);
        }
    }
    ~SignalScope() {
        for (size_t i = 0; i < kSignals.size(); i++)
            sigaction(kSignals[i], &actions[i], nullptr);
        sigprocmask(SIG_SETMASK, &mask, nullptr);
    }
    SignalScope(const SignalScope &) = delete;
    SignalScope &operator=(const SignalScope &) = delete;

    /* Lets signals interrupt what waits from now on. */
    void Admit() const {
        sigset_t admitted = open;
        sigdelset(&admitted, SIGALRM);
        sigprocmask(SIG_SETMASK, &admitted, nullptr);
    }

    /* False if a signal came first. */
    bool WaitForInput() const {
        pollfd input{STDIN_FILENO, POLLIN, 0};
        while (gSignal == 0) {
            const int count = ppoll(&input, 1, &kLook, &open);
            if (count > 0 || (count < 0 && errno != EINTR))
                return true; /* after an error, read() reports what is wrong */
        }
        return false;
    }

private:
    sigset_t mask;
    sigset_t open; /* while it waits */
    std::array<struct sigaction, kSignals.size()> actions;
};

/* The terminal shows nothing that is typed while this lives. */
class NoEcho {
public:
    explicit NoEcho(bool isWanted) : isChanged(isWanted && tcgetattr(STDIN_FILENO, &before) == 0) {
        if (!isChanged)
            return;
        termios silent = before;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
    }
    ~NoEcho() {
        if (isChanged)
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &before);
    }
    NoEcho(const NoEcho &) = delete;
    NoEcho &operator=(const NoEcho &) = delete;

private:
    termios before{};
    bool isChanged;
};

/* A line without its end; nothing at the end of the input, or if a signal came. */
std::optional<std::string> ReadLine(const SignalScope &signals) {
    std::string line;
    line.reserve(kMaxAnswer); /* so that no part of a secret is left where it was before */
    while (line.size() < kMaxAnswer && signals.WaitForInput()) {
        char byte = '\0';
        const ssize_t count = read(STDIN_FILENO, &byte, 1);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break; /* the end, or a terminal that is gone */
        if (byte == '\n')
            return line;
        line += byte;
    }
    Secret_Wipe(line.data(), line.size());
    return std::nullopt;
}

std::optional<std::string> AskOnce(const std::string &question, bool isSecret) {
    const SignalScope signals;
    const NoEcho silence(isSecret);
    fmt::print(stderr, "{}", question);
    std::fflush(stderr);
    return ReadLine(signals);
}

/* A signal ends the reading of the line, after which the settings of the terminal are put back. */
std::optional<std::string> AskPassphraseOnce(const std::string &question) {
    const ReadEnder ender;
    const SignalScope signals;
    signals.Admit();
    setvbuf(stdin, nullptr, _IONBF, 0); /* what is typed is not to stay in a buffer */
    const PassphraseText typed(Crypto_GetPassword(question.c_str(), FALSE));
    clearerr(stdin);
    return typed != nullptr && gSignal == 0 ? std::optional<std::string>(typed.get())
                                            : std::nullopt;
}

template <class Once> std::optional<std::string> AskUntilAnswered(Once once) {
    std::fflush(stdout);
    for (;;) {
        auto answer = once();
        if (answer || gSignal == 0)
            return answer;
        fmt::print(stderr, "\n");
        if (gSignal != SIGTSTP && gSignal != SIGCONT)
            throw Interrupted(gSignal);
        if (gSignal == SIGTSTP)
            process::StopForNow();
        /* it goes on: the question is asked again, with the settings of the terminal as they are by now */
    }
}

} // namespace

bool CanAsk() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
}

std::optional<std::string> Ask(const std::string &question) {
    return AskUntilAnswered([&] { return AskOnce(question, false); });
}

std::optional<std::string> AskSecretly(const std::string &question) {
    return AskUntilAnswered([&] { return AskOnce(question, true); });
}

std::optional<std::string> AskForPassphrase(const std::string &prompt) {
    return AskUntilAnswered([&] { return AskPassphraseOnce(prompt); });
}

} // namespace orvaneCli
