#include <cstdlib>
#include <regex>
#include <string>

#include <gtest/gtest.h>

#include "tests/support/temporaryFolder.h"

namespace {

struct Outcome {
    int exitCode;
    std::string errors;
};

/* Runs the example in a folder, with a line on its standard input. */
Outcome RunExample(const TemporaryFolder &folder, const std::string &words,
                   const std::string &passphrase) {
    folder.Write("passphrase", passphrase + "\n");
    const std::string line =
        "cd '" + folder.Path() + "' && '" SEAL_FILE "' " + words + " < passphrase 2> errors";
    const int status = std::system(line.c_str());
    return {WEXITSTATUS(status), folder.Read("errors")};
}

TEST(SealFile, WhatIsSealedOpensWithThePassphraseOnly) {
    const TemporaryFolder folder;
    const std::string plain("secret text with a NUL \0 in it", 30);
    folder.Write("plain", plain);
    EXPECT_EQ(0, RunExample(folder, "seal plain sealed", "correct horse").exitCode);
    const std::string sealed = folder.Read("sealed");
    EXPECT_TRUE(std::regex_match(
        sealed, std::regex("type=sealedFile\npass2key=PBKDF2-HMAC-SHA-1\ncipher=AES-256\n"
                           "rounds=1000000\nsalt=[^\n]*\nmac=HMAC-SHA-256\ndata=[^\n]*\n")))
        << sealed;
    EXPECT_EQ(0, RunExample(folder, "open sealed opened", "correct horse").exitCode);
    EXPECT_EQ(plain, folder.Read("opened"));

    const auto replaced = [&sealed](const char *what, const char *by) {
        return std::regex_replace(sealed, std::regex(what), by);
    };
    struct Row {
        std::string sealed;
        const char *passphrase;
        const char *error;
    };
    const Row rows[] = {
        {sealed, "wrong horse", "wrong passphrase, or the file is damaged"},
        {sealed, "", "no passphrase given"},
        {replaced("data=..", "data=AA"), "correct horse",
         "wrong passphrase, or the file is damaged"},
        {replaced("data=.*", ""), "correct horse", "the file is damaged"},
        {replaced("rounds=.*", "rounds=4000000000"), "correct horse", "the file is damaged"},
        {replaced("rounds=.*", "rounds=0"), "correct horse", "the file is damaged"},
        {replaced("AES-256", "RSA-2048"), "correct horse",
         "sealed in a way that this program does not know"},
        {plain, "correct horse", "this is no sealed file"},
    };
    for (const Row &row : rows) {
        folder.Write("changed", row.sealed);
        const Outcome outcome = RunExample(folder, "open changed nothing", row.passphrase);
        EXPECT_EQ(1, outcome.exitCode) << row.error;
        EXPECT_EQ("sealFile: changed: " + std::string(row.error) + "\n", outcome.errors);
        EXPECT_EQ("", folder.Read("nothing"));
    }
    EXPECT_EQ(2, RunExample(folder, "close sealed opened", "x").exitCode);
}

} // namespace
