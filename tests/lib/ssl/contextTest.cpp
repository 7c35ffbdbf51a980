#include <cstdlib>

#include "tests/lib/ssl/tlsPair.h"

namespace {

using certificates::SelfSigned;

enum { SSL_CTRL_GET_SESS_CACHE_MODE = 45 };

/* Other paths than those of an installed system. */
void UseServerFiles(const std::string &cert, const std::string &key) {
    free(sslModule.SSLCertFile);
    free(sslModule.SSLKeyFile);
    sslModule.SSLCertFile = strdup(cert.c_str());
    sslModule.SSLKeyFile = strdup(key.c_str());
}

class SslContext : public SslTest {};

TEST_F(SslContext, HasTheSettledDefaults) {
    for (const auto &[compresses, options] : {std::pair(FALSE, 0x83524BFFL), {TRUE, 0x83504BFFL}}) {
        SSL_SetUseCompression(compresses);
        const ContextPtr ctx(SSL_NewContext());
        SSL_SetUseCompression(FALSE);
        EXPECT_EQ(options, __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_OPTIONS, 0, nullptr));
        EXPECT_EQ(4, __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_MODE, 0, nullptr) & 4);
        EXPECT_EQ(0, __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_GET_SESS_CACHE_MODE, 0, nullptr));
    }
    EXPECT_EQ("", LogText());
}

TEST_F(SslContext, CertificatesThatCannotBeUsedAreRefused) {
    const TemporaryFolder folder;
    const std::string cert = folder.Write("cert", ServerCertificate().pem);
    const std::string key = folder.Write("key", ServerCertificate().key->Pem());
    const std::string garbage = folder.Write("garbage", std::string(5000, '\x93'));
    const char *const loading = "W Error loading server certificate\n";
    const char *const verifying = "W Error verifying server certificate\n";
    const std::tuple<const char *, std::string, std::string, const char *> rows[] = {
        {"no certificate", folder.Path("missing"), key, loading},
        {"no key", cert, folder.Path("missing"), loading},
        {"one that cannot be read", folder.Path(), key, loading},
        {"an empty file", folder.Write("empty", ""), key, loading},
        {"garbage", garbage, key, loading},
        {"garbage for a key", cert, garbage, loading},
        {"half", folder.Write("half", ServerCertificate().pem.substr(0, 200)), key, loading},
        {"another's key", cert, folder.Write("other", SelfSigned({}).key->Pem()), loading},
        {"another kind", cert, folder.Write("rsa", SelfSigned({.rsaBits = 2048}).key->Pem()),
         verifying},
    };
    for (const auto &[what, certFile, keyFile, log] : rows) {
        LogRing_Clear();
        UseServerFiles(certFile, keyFile);
        const ContextPtr ctx(SSL_NewContext());
        EXPECT_FALSE(SSL_LoadCertificatesWithContext(ctx.get())) << what;
        EXPECT_EQ(1u, CountInLog(log)) << what << "\n" << LogText();
        EXPECT_LE(1u, CountInLog("W SSL Error: error:")) << what;
        EXPECT_EQ(0u, __wrap_ERR_peek_last_error()) << what;
    }
}

TEST_F(SslContext, TheDefaultContextIsLoadedOnce) {
    const TemporaryFolder folder;
    UseServerFiles(folder.Path("missing"), folder.Path("missing"));
    {
        TlsPair pair;
        char byte = 0;
        EXPECT_FALSE(SSL_Accept(pair.server.get()));
        EXPECT_EQ(-1, SSL_Read(pair.server.get(), &byte, 1));
        EXPECT_EQ(1, errno);
        EXPECT_EQ(-1, SSL_TryCompleteAccept(pair.server.get()));
        EXPECT_FALSE(SSL_CompleteAccept(pair.server.get()));
    }
    UseServerFiles(folder.Write("cert", ServerCertificate().pem),
                   folder.Write("key", ServerCertificate().key->Pem()));
    EXPECT_TRUE(SSL_LoadCertificates());
    UseServerFiles(folder.Path("missing"), folder.Path("missing"));
    EXPECT_TRUE(TlsPair().ShakeHands(SSL_DefaultContext(), SSL_DefaultContext()));
    SSL_Exit();
    SSL_Init(nullptr, nullptr, nullptr);
    UseServerFiles(folder.Path("missing"), folder.Path("missing"));
    EXPECT_FALSE(SSL_LoadCertificates()) << "a new default context has no certificate";
}

} // namespace
