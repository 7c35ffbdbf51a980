/*
 * A password typed on a terminal: the child of each test has one of its own, at whose other end the test types.
 */
#include <crypto/cryptoPassword.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/wait.h>
#include <termios.h>

#include "lib/crypto/cryptoOwner.h"
#include "tests/support/logText.h"

namespace {

constexpr int kNothing = 77; /* exit status for no password */
constexpr char kEndOfInput = 4;

struct Step {
    std::string awaited; /* what the terminal shows before something is typed */
    std::string typed;
};

struct Outcome {
    std::string password; /* "(none)" without one */
    std::string shown;
};

/* The child asks, and says what it got at the other end of the pipe. */
[[noreturn]] void AskInChild(bool confirm, int result) {
    alarm(60); // a test that types too little must not hang
    const CryptoText password(Crypto_GetPassword("Password: ", confirm));
    termios settings;
    const bool isEchoBack = tcgetattr(0, &settings) == 0 && (settings.c_lflag & ECHO) != 0;
    const bool isTold = !password || write(result, password.get(), strlen(password.get())) >= 0;
    _exit(!isTold || !isEchoBack ? 1 : password ? 0 : kNothing);
}

std::string ReadAll(int file) {
    std::string all;
    char bytes[256];
    for (ssize_t count; (count = read(file, bytes, sizeof bytes)) > 0;)
        all.append(bytes, static_cast<size_t>(count));
    return all;
}

/* Reads from the terminal until the text comes, or the child has ended. */
void Await(int terminal, const std::string &text, std::string *shown) {
    const size_t from = shown->size();
    char c;
    while (shown->find(text, from) == std::string::npos && read(terminal, &c, 1) == 1)
        *shown += c;
}

Outcome Ask(bool confirm, const std::vector<Step> &steps) {
    int result[2];
    EXPECT_EQ(0, pipe(result));
    int terminal;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child == 0)
        AskInChild(confirm, result[1]);
    close(result[1]);
    Outcome outcome;
    for (const Step &step : steps) {
        Await(terminal, step.awaited, &outcome.shown);
        EXPECT_EQ(ssize_t(step.typed.size()),
                  write(terminal, step.typed.data(), step.typed.size()));
    }
    outcome.password = ReadAll(result[0]);
    outcome.shown += ReadAll(terminal);
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    EXPECT_TRUE(WIFEXITED(status));
    if (WEXITSTATUS(status) == kNothing)
        outcome.password = "(none)";
    else
        EXPECT_EQ(0, WEXITSTATUS(status)) << "the terminal is not as it was";
    close(result[0]);
    close(terminal);
    return outcome;
}

TEST(CryptoConsole, ReadsWithoutShowing) {
    const std::string ask = "Password: ";
    const std::string again = "again: ";
    const std::string longOne(300, 'x');
    const std::tuple<bool, std::vector<Step>, const char *, const char *> rows[] = {
        {false, {{ask, "secret\n"}}, "secret", "Password: \r\n"},
        {false, {{ask, "\n"}}, "", "Password: \r\n"},
        {false, {{ask, longOne + "\n"}}, longOne.c_str(), "Password: \r\n"},
        {false, {{ask, {kEndOfInput}}}, "(none)", "Password: \r\n"},
        {true, {{ask, "a b\n"}, {again, "a b\n"}}, "a b", "Password: \r\nagain: \r\n"},
        {true, {{ask, "\n"}}, "", "Password: \r\n"},
        {true,
         {{ask, "one\n"}, {again, "two\n"}, {ask, "three\n"}, {again, "three\n"}},
         "three",
         "Password: \r\nagain: \r\nno match\r\nPassword: \r\nagain: \r\n"},
    };
    for (const auto &[confirm, steps, password, shown] : rows) {
        const Outcome outcome = Ask(confirm, steps);
        EXPECT_EQ(password, outcome.password);
        EXPECT_EQ(shown, outcome.shown);
    }
}

TEST(CryptoConsole, WithoutATerminalThereIsNoPassword) {
    const int kept = dup(STDIN_FILENO);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(STDIN_FILENO, dup2(nothing, STDIN_FILENO));
    LogRing_Clear();
    EXPECT_EQ(nullptr, Crypto_GetPassword("Password: ", FALSE));
    EXPECT_EQ("W GetPassword: couldn't get console attributes\n", LogText());
    dup2(kept, STDIN_FILENO);
    close(kept);
    close(nothing);
}

} // namespace
