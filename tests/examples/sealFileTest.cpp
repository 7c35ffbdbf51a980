#include <regex>

#include <gtest/gtest.h>

#include "tests/support/temporaryFolder.h"
#include "tests/tools/orvane/program.h"

namespace {

/* Runs the example with two files of a folder, and a line on its standard input. */
Ended RunExample(const TemporaryFolder &folder, const char *what, const char *from, const char *to,
                 const std::string &passphrase) {
    return Program(SEAL_FILE, {what, folder.Path(from), folder.Path(to)}, false,
                   {.input = passphrase + "\n"})
        .Wait();
}

TEST(SealFile, WhatIsSealedOpensWithThePassphraseOnly) {
    const TemporaryFolder folder;
    const std::string plain("secret text with a NUL \0 in it", 30);
    folder.Write("plain", plain);
    EXPECT_EQ(0, RunExample(folder, "seal", "plain", "sealed", "correct horse").status);
    const std::string sealed = folder.Read("sealed");
    EXPECT_TRUE(std::regex_match(
        sealed, std::regex("type=sealedFile\npass2key=PBKDF2-HMAC-SHA-1\ncipher=AES-256\n"
                           "rounds=1000000\nsalt=[^\n]*\nmac=HMAC-SHA-256\ndata=[^\n]*\n")))
        << sealed;
    EXPECT_EQ(0, RunExample(folder, "open", "sealed", "opened", "correct horse").status);
    EXPECT_EQ(plain, folder.Read("opened"));

    const auto replaced = [&sealed](const char *what, const char *by) {
        return std::regex_replace(sealed, std::regex(what), by);
    };
    const std::tuple<std::string, const char *, const char *> rows[] = {
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
    for (const auto &[changed, passphrase, error] : rows) {
        folder.Write("changed", changed);
        const Ended ended = RunExample(folder, "open", "changed", "nothing", passphrase);
        EXPECT_EQ(1, ended.status) << error;
        EXPECT_EQ("sealFile: " + folder.Path("changed: ") + error + "\n", ended.err);
        EXPECT_EQ("", folder.Read("nothing"));
    }
    EXPECT_EQ(2, RunExample(folder, "close", "sealed", "opened", "x").status);
}

} // namespace
