/*
 * cryptoConsole.cpp -- a password typed on the terminal
 */
#include <crypto/cryptoPassword.h>

#include <cstdio>
#include <cstring>

#include <termios.h>
#include <unistd.h>

#include "lib/crypto/cryptoOwner.h"
#include "lib/misc/log.h"

namespace {

constexpr gsize kFirstRoom = 128;

/* Reads up to the end of the line, which is dropped. Nothing if the input ends at once, or without memory. */
CryptoText ReadLine() {
    SecretBlock line = SecretBlock::Allocate(kFirstRoom);
    gsize length = 0;
    int c = 0;
    while (line && (c = fgetc(stdin)) != EOF && c != '\n') {
        if (c == '\0')
            continue; // no text can hold it
        if (length + 1 == line.size()) {
            SecretBlock larger = SecretBlock::Allocate(line.size() * 2);
            if (larger)
                memcpy(larger.data(), line.data(), length);
            line = std::move(larger);
            if (!line)
                break;
        }
        line.data()[length++] = static_cast<guint8>(c);
    }
    if (!line || (c == EOF && length == 0))
        return nullptr;
    line.data()[length] = '\0';
    gsize room;
    return CryptoText(reinterpret_cast<char *>(line.release(&room)));
}

CryptoText GetPassword(const char *prompt) {
    termios settings;
    if (tcgetattr(STDIN_FILENO, &settings) != 0) {
        Warning("%s: couldn't get console attributes", "GetPassword");
        return nullptr;
    }
    termios silent = settings;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent) != 0) {
        Warning("%s: couldn't set console attributes", "GetPassword");
        return nullptr;
    }
    if (prompt)
        fputs(prompt, stderr);
    fflush(stderr);
    CryptoText line = ReadLine();
    fputc('\n', stderr);
    if (tcsetattr(STDIN_FILENO, TCSAFLUSH, &settings) != 0)
        Warning("%s: couldn't reset console attributes", "GetPassword");
    return line;
}

bool IsEqualText(const CryptoText &first, const CryptoText &second) {
    if (!second || strlen(first.get()) != strlen(second.get()))
        return false;
    return Secret_IsEqual(first.get(), second.get(), strlen(first.get()));
}

} // namespace

char *Crypto_GetPassword(const char *prompt, gboolean confirm) {
    for (;;) {
        CryptoText first = GetPassword(prompt);
        if (!confirm || !first || first.get()[0] == '\0')
            return first.release();
        const CryptoText second = GetPassword("again: ");
        if (IsEqualText(first, second))
            return first.release();
        fputs("no match\n", stderr);
    }
}
