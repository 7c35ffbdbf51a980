#include <cstdlib>

#include "tests/lib/ssl/tlsPair.h"

namespace {

using certificates::SelfSigned;

enum { SSL_CTRL_GET_SESS_CACHE_MODE = 45 };

/* Puts other paths in place of those of an installed system. */
class ServerFiles {
public:
    ServerFiles(const std::string &cert, const std::string &key)
        : oldCert(sslModule.SSLCertFile), oldKey(sslModule.SSLKeyFile) {
        sslModule.SSLCertFile = strdup(cert.c_str());
        sslModule.SSLKeyFile = strdup(key.c_str());
    }
    ~ServerFiles() {
        free(sslModule.SSLCertFile);
        free(sslModule.SSLKeyFile);
        sslModule.SSLCertFile = oldCert;
        sslModule.SSLKeyFile = oldKey;
    }
    ServerFiles(const ServerFiles &) = delete;
    ServerFiles &operator=(const ServerFiles &) = delete;

private:
    char *oldCert;
    char *oldKey;
};

class SslContext : public SslTest {};

TEST_F(SslContext, HasTheSettledDefaults) {
    for (const auto &[useCompression, options] :
         {std::pair(FALSE, 0x83524BFFL), {TRUE, 0x83504BFFL}}) {
        SSL_SetUseCompression(useCompression);
        const ContextPtr ctx(SSL_NewContext());
        SSL_SetUseCompression(FALSE);
        EXPECT_EQ(options, __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_OPTIONS, 0, nullptr));
        EXPECT_EQ(SSL_MODE_AUTO_RETRY,
                  __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_MODE, 0, nullptr) & 4);
        EXPECT_EQ(0, __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_GET_SESS_CACHE_MODE, 0, nullptr));
    }
    EXPECT_EQ("", LogText());
}

TEST_F(SslContext, CertificatesThatCannotBeUsedAreRefused) {
    const TemporaryFolder folder;
    const auto other = SelfSigned({});
    const auto rsa = SelfSigned({.rsaBits = 2048});
    const std::string cert = folder.Write("cert", ServerCertificate().pem);
    const std::string key = folder.Write("key", ServerCertificate().key->Pem());
    const std::string garbage = folder.Write("garbage", std::string(5000, '\x93'));
    const std::string cut = folder.Write("cut", ServerCertificate().pem.substr(0, 200));
    const std::string otherKey = folder.Write("otherKey", other.key->Pem());
    const std::string rsaKey = folder.Write("rsaKey", rsa.key->Pem());
    const char *const loading = "W Error loading server certificate\n";
    const char *const verifying = "W Error verifying server certificate\n";
    const struct {
        const char *what;
        std::string cert, key;
        const char *log; /* nothing: it loads */
    } rows[] = {
        {"good", cert, key, nullptr},
        {"no certificate", folder.Path("missing"), key, loading},
        {"no key", cert, folder.Path("missing"), loading},
        {"a folder", folder.Path(), key, loading},
        {"an empty file", folder.Write("empty", ""), key, loading},
        {"garbage", garbage, key, loading},
        {"garbage for a key", cert, garbage, loading},
        {"half a certificate", cut, key, loading},
        {"a certificate for a key", cert, cert, loading},
        {"another's key", cert, otherKey, loading},
        {"a key of another kind", cert, rsaKey, verifying},
    };
    for (const auto &row : rows) {
        LogRing_Clear();
        const ServerFiles files(row.cert, row.key);
        const ContextPtr ctx(SSL_NewContext());
        EXPECT_EQ(row.log == nullptr, SSL_LoadCertificatesWithContext(ctx.get())) << row.what;
        if (row.log == nullptr) {
            EXPECT_EQ("", LogText()) << row.what;
            continue;
        }
        EXPECT_EQ(1, LogCount(row.log)) << row.what << "\n" << LogText();
        EXPECT_LE(1, LogCount("W SSL Error: error:")) << row.what;
        EXPECT_EQ(0u, __wrap_ERR_peek_last_error()) << row.what;
    }
}

TEST_F(SslContext, TheDefaultContextIsLoadedOnce) {
    const TemporaryFolder folder;
    const std::string cert = folder.Write("cert", ServerCertificate().pem);
    const std::string key = folder.Write("key", ServerCertificate().key->Pem());
    {
        TlsPair pair;
        EXPECT_FALSE(SSL_Accept(pair.server.get())); /* no files yet */
        char byte = 0;
        EXPECT_EQ(-1, SSL_Read(pair.server.get(), &byte, 1));
        EXPECT_EQ(1, errno);
        EXPECT_EQ(-1, SSL_TryCompleteAccept(pair.server.get()));
        EXPECT_FALSE(SSL_CompleteAccept(pair.server.get()));
    }
    {
        const ServerFiles files(cert, key);
        EXPECT_TRUE(SSL_LoadCertificates());
    }
    TlsPair pair;
    EXPECT_TRUE(SSL_LoadCertificates()) << "the files are gone, but not needed again";
    EXPECT_TRUE(pair.ShakeHands(SSL_DefaultContext(), SSL_DefaultContext()));
    SSL_Exit();
    SSL_Init(nullptr, nullptr, nullptr);
    EXPECT_FALSE(SSL_LoadCertificates()) << "a new default context has no certificate";
}

TEST_F(SslContext, FilesAreOpenedByNamesInUtf8) {
    const TemporaryFolder folder;
    const std::string path = folder.Write("Schl\xc3\xbcssel.pem", "x");
    for (const auto &[name, isThere] : {std::pair(path, true),
                                        {folder.Path("missing"), false},
                                        {folder.Path("\xff\xfe"), false}}) {
        BIO *bio = SSL_BIO_new_file(name.c_str(), "r");
        EXPECT_EQ(isThere, bio != nullptr) << name;
        __wrap_BIO_free(bio);
    }
    __wrap_ERR_clear_error();
}

} // namespace
