// The adapters as shared objects: their exported names, and whether docs/openssl102.md is correct.
#include <fstream>
#include <regex>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <orvane/ssl.h>

#include "lib/misc/glibPtr.h"
#include "lib/ssl/sslThunkTable.h"
#include "tests/support/paths.h"

namespace {

std::string Readelf(const std::string &options, const std::string &file) {
    char *out = nullptr;
    const std::string line = "readelf -W " + options + " '" + file + "'";
    EXPECT_TRUE(g_spawn_command_line_sync(line.c_str(), &out, nullptr, nullptr, nullptr)) << line;
    return GPtr<char>(out).get();
}

/* Whether the target of a thunk is a function of an adapter. */
bool IsOfAdapter(std::size_t row) {
    Dl_info info{};
    EXPECT_NE(0, dladdr(sslThunkTargets[row], &info)) << SSLThunkName(row);
    return std::string(info.dli_fname).ends_with(".so.1.0.2");
}

TEST(SSLAdapterObjects, EveryNameIsVersionedAndTheObjectsHaveNamesOfTheirOwn) {
    const std::tuple<const char *, const char *, const char *, int> rows[] = {
        {"libcrypto.so.1.0.2", "libhalden-crypto-adapter.so.1", "HALDEN_LIBCRYPTO_ADAPTER_1", 73},
        {"libssl.so.1.0.2", "libhalden-ssl-adapter.so.1", "HALDEN_LIBSSL_ADAPTER_1", 17},
    };
    const std::regex defined(R"( (?:GLOBAL|WEAK) +DEFAULT +(?!UND)\S+ (\S+))");
    for (const auto &[file, name, version, wantedCount] : rows) {
        const std::string path = std::string(SSL_ADAPTERS "/") + file;
        EXPECT_NE(std::string::npos,
                  Readelf("-d", path).find("Library soname: [" + std::string(name) + "]"));
        const std::string symbols = Readelf("--dyn-syms", path);
        int count = 0;
        for (std::sregex_iterator at(symbols.begin(), symbols.end(), defined), end; at != end;
             ++at) {
            const std::string symbol = (*at)[1];
            if (symbol == version) // the node itself
                continue;
            EXPECT_TRUE(symbol.ends_with(std::string("@@") + version)) << symbol;
            count++;
        }
        EXPECT_EQ(wantedCount, count);
    }
}

TEST(SSLAdapterObjects, TheLibraryItselfNeedsNoOpenSSLAndIsNeverUnloaded) {
    const std::string needed = Readelf("-d", SSL_LIBRARY);
    EXPECT_NE(std::string::npos, needed.find("Shared library: [libcurl.so.4]")) << needed;
    for (const char *other : {"[libssl", "[libcrypto", "adapter"})
        EXPECT_EQ(std::string::npos, needed.find(other)) << needed;
    EXPECT_NE(std::string::npos, needed.find("NODELETE"));
}

TEST(SSLAdapterObjects, TheLibraryExportsEachThunk) {
    const std::string symbols = Readelf("--dyn-syms", SSL_LIBRARY);
    for (std::size_t row = 0; row < SSL_THUNK_COUNT; row++)
        EXPECT_NE(std::string::npos,
                  symbols.find(std::string(" __wrap_") + SSLThunkName(row) + "@@"))
            << SSLThunkName(row);
}

/* The rows of the tables: name -> class. */
std::map<std::string, std::string> DocumentedNames() {
    std::map<std::string, std::string> rows;
    std::ifstream lines(SourcePath("docs/openssl102.md"));
    const std::regex form(R"(\| `(\w+)` \| ([a-z-]+) \| (.*)\|)");
    std::smatch part;
    for (std::string line; std::getline(lines, line);)
        if (std::regex_match(line, part, form)) {
            EXPECT_TRUE(rows.emplace(part[1], part[2]).second) << "twice: " << line;
            EXPECT_TRUE(part[2] == "same" || part[3].length() > 0) << "no words: " << line;
        }
    return rows;
}

TEST(SSLAdapterObjects, TheDocumentIsCorrectForEachName) {
    SSL_Init(nullptr, nullptr, nullptr);
    const auto documented = DocumentedNames();
    const std::set<std::string> classes = {"same", "renamed", "translated", "no-op", "unsupported"};
    EXPECT_EQ(std::size_t{SSL_THUNK_COUNT}, documented.size());
    for (std::size_t row = 0; row < SSL_THUNK_COUNT; row++) {
        const auto entry = documented.find(SSLThunkName(row));
        ASSERT_NE(documented.end(), entry) << SSLThunkName(row);
        EXPECT_TRUE(classes.contains(entry->second)) << entry->first;
        EXPECT_EQ(entry->second != "same", IsOfAdapter(row)) << entry->first;
    }
}

} // namespace
