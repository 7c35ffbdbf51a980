#include "tools/orvane/question.h"

#include <cstdio>
#include <iostream>

#include <fmt/format.h>
#include <termios.h>
#include <unistd.h>

namespace orvaneCli {

namespace {

/* The terminal shows nothing that is typed while this lives. */
class NoEcho {
public:
    NoEcho() : isChanged(tcgetattr(STDIN_FILENO, &before) == 0) {
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

} // namespace

bool CanAsk() {
    return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1;
}

std::optional<std::string> Ask(const std::string &question) {
    std::fflush(stdout);
    fmt::print(stderr, "{}", question);
    std::fflush(stderr);
    std::string line;
    if (!std::getline(std::cin, line))
        return std::nullopt;
    return line;
}

std::optional<std::string> AskSecretly(const std::string &question) {
    const NoEcho silence;
    return Ask(question);
}

} // namespace orvaneCli
