// Where OpenSSL is searched and what is refused, with doubles of it in trees of folders. Each row is a process.
#include "lib/ssl/sslLoader.h"

#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

#include "tests/support/temporaryFolder.h"
#include "tests/tools/orvane/program.h"

namespace {

namespace fs = std::filesystem;

constexpr char kCrypto[] = "libcrypto.so.1.0.2";
constexpr char kSsl[] = "libssl.so.1.0.2";

/* A tree with the probe in bin/ and a library directory beside it. */
struct Tree {
    TemporaryFolder folder;
    fs::path root{folder.Path()};
    fs::path probe = root / "bin" / "probe";
    fs::path library = root / "lib0";

    Tree() {
        fs::create_directories(probe.parent_path());
        fs::create_directories(library);
        fs::copy_file(SSL_PROBE, probe);
    }

    /* Puts a double (a name of tests/lib/ssl/CMakeLists.txt, or a path) into the tree. */
    void Put(const fs::path &at, const std::string &what) const {
        fs::create_directories(at.parent_path());
        fs::create_symlink(what.starts_with("/") ? what : SSL_DOUBLES "/" + what + ".so", at);
    }

    void PutPair(const std::string &crypto, const std::string &ssl, const std::string &what) const {
        Put(root / crypto, what);
        Put(root / ssl, "noVersion");
    }

    std::string Open(const char *how = "open") const {
        return Program(probe.string(), {how, library.string()}).Wait().out;
    }

    std::string Lines(const std::string &crypto, const std::string &ssl) const {
        return (root / crypto).string() + "\n" + (root / ssl).string() + "\n";
    }
};

/* In the order of the search. Each is found when all before it are removed. */
const std::pair<std::string, std::string> kForms[] = {
    {"bin/libcrypto.so.1.0.2", "bin/libssl.so.1.0.2"},
    {"bin/libdir/lib/libcrypto.so.1.0.2/libcrypto.so.1.0.2",
     "bin/libdir/lib/libssl.so.1.0.2/libssl.so.1.0.2"},
    {"lib0/lib/libcrypto.so.1.0.2-x86-64/libcrypto.so.1.0.2",
     "lib0/lib/libssl.so.1.0.2-x86-64/libssl.so.1.0.2"},
    {"lib0/lib/libcrypto.so.1.0.2/libcrypto.so.1.0.2", "lib0/lib/libssl.so.1.0.2/libssl.so.1.0.2"},
    {"lib0/lib/libcrypto.so.1.0.2", "lib0/lib/libssl.so.1.0.2"},
    {"lib0/libcrypto.so.1.0.2", "lib0/libssl.so.1.0.2"},
};

TEST(SSLLoader, FormsAreTriedInOrderAndOldOrIncompletePairsAreSkipped) {
    for (const char *refused : {"tooOld", "nullVersion", "half", "noLibrary"}) {
        Tree tree;
        for (const auto &[crypto, ssl] : kForms) {
            SCOPED_TRACE(refused + (": " + crypto));
            if (fs::is_directory(tree.root / crypto)) // two forms have one name for file and folder
                fs::remove_all(tree.root / crypto);
            if (fs::is_directory(tree.root / ssl))
                fs::remove_all(tree.root / ssl);
            tree.PutPair(crypto, ssl, "newEnough");
            EXPECT_EQ(tree.Lines(crypto, ssl), tree.Open());
            fs::remove(tree.root / (refused == std::string("half") ? ssl : crypto));
            if (refused == std::string("noLibrary"))
                std::ofstream(tree.root / crypto) << "no ELF file";
            else if (refused != std::string("half"))
                tree.Put(tree.root / crypto, refused);
        }
        EXPECT_EQ("none\n", tree.Open());
    }
}

TEST(SSLLoader, ASetGidProcessIgnoresFilesBesideTheProgram) {
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can run as another group";
    Tree tree;
    tree.PutPair(kForms[0].first, kForms[0].second, "newEnough");
    EXPECT_EQ("none\n", tree.Open("open-setgid"));
    tree.PutPair(kForms[5].first, kForms[5].second, "newEnough");
    EXPECT_EQ(tree.Lines(kForms[5].first, kForms[5].second), tree.Open("open-setgid"));
    EXPECT_EQ(tree.Lines(kForms[0].first, kForms[0].second), tree.Open());
}

/* Each ends the process with a text that has the reason. */
TEST(SSLLoader, AStartWithoutAUsablePairEndsTheProcess) {
    const std::tuple<const char *, const char *, const char *> rows[] = {
        {"tooOld", "init", "SSLLoadSharedLibraries: Failed to load OpenSSL libraries. libdir is "},
        {"noVersion", "init", "DLSYM: Failed to resolve SSLeay: "},
        {"newEnough", "init", "DLSYM: Failed to resolve SSL_load_error_strings: "},
        {"nullFunction", "egd", "SSL wrapper: invoked uninitialized function RAND_egd!\n"},
    };
    for (const auto &[crypto, what, text] : rows) {
        Tree tree;
        tree.Put(tree.library / kCrypto, crypto);
        tree.Put(tree.library / kSsl,
                 what == std::string("egd") ? SSL_ADAPTERS "/libssl.so.1.0.2" : "noVersion");
        const Ended ended = Program(tree.probe.string(), {what, tree.library.string()}).Wait();
        EXPECT_EQ(255, ended.status) << text;
        EXPECT_THAT(ended.err, testing::HasSubstr(text));
    }
}

/* Every other user of OpenSSL in the process stays bound to OpenSSL itself, also one that is loaded later. */
TEST(SSLLoader, NoOtherObjectIsBoundToTheAdapters) {
    Tree tree;
    const std::string log = (tree.root / "bindings").string();
    const Ended ended = Program("/usr/bin/env", {"LD_DEBUG=bindings", "LD_DEBUG_OUTPUT=" + log,
                                                 SSL_PROBE, "curl", SSL_ADAPTERS})
                            .Wait();
    EXPECT_EQ("done\n", ended.out) << ended.err;

    int toOpenSSL = 0;
    for (const auto &file : fs::directory_iterator(tree.root)) {
        std::ifstream lines(file.path());
        for (std::string line; file.is_regular_file() && std::getline(lines, line);) {
            const size_t to = line.find(" to ");
            if (line.find("binding file ") == std::string::npos || to == std::string::npos)
                continue;
            const bool isFromAdapter = line.find(".so.1.0.2") < to;
            const bool isToAdapter = line.find(".so.1.0.2", to) != std::string::npos;
            const bool isNamed = line.find("[HALDEN_LIB") != std::string::npos;
            EXPECT_TRUE(!isToAdapter || isFromAdapter || line.find("probe/sslLoaderProbe") < to)
                << line;
            EXPECT_FALSE(isNamed && !isToAdapter) << line;
            toOpenSSL += line.find("libcurl.so") < to && line.find("libssl.so.3", to) < line.size();
        }
    }
    EXPECT_LT(10, toOpenSSL) << "libcurl's bindings are in the log";
}

} // namespace
