#include "lib/ssl/sslDhParams.h"

#include "tests/lib/ssl/tlsPair.h"

namespace {

enum { SSL_CTRL_SET_MAX_PROTO_VERSION = 124, TLS1_2_VERSION = 0x0303 };

/* Calls a function of OpenSSL that is no thunk. */
template <class Result, class... Arguments>
Result Libcrypto(const char *name, Arguments... arguments) {
    void *symbol = dlsym(sslModule.libcryptoHandle, name);
    EXPECT_NE(nullptr, symbol) << name;
    return reinterpret_cast<Result (*)(Arguments...)>(symbol)(arguments...);
}

/* Each test begins with the state after a start of the layer: no file tried, nothing switched off. */
struct SslDhParams : SslTest {
    SslDhParams() : ctx(SSL_NewContext()), ssl(__wrap_SSL_new(ctx.get())) {
        SSL_SetDHParamFiles("/nonexistent/1", "/nonexistent/2", "/nonexistent/3");
    }
    ~SslDhParams() override { Forget(); }

    static void Forget() {
        for (std::atomic<DH *> &dh : sslModule.SSLDHParamsCache)
            __wrap_DH_free(dh.exchange(nullptr));
        for (bool &isTried : sslModule.SSLDHParamsFilesTriedLoad)
            isTried = false;
        sslModule.allowDH1024 = true;
    }

    const BIGNUM *Number(int keyLength, const char *getter) {
        const DH *dh = SSLTmpDHFilesSKIPCallback(ssl.get(), 0, keyLength);
        return Libcrypto<const BIGNUM *>(getter, dh);
    }
    int Bits(int keyLength) {
        return Libcrypto<int>("BN_num_bits", Number(keyLength, "DH_get0_p"));
    }

    ContextPtr ctx;
    SslPtr ssl;
};

TEST_F(SslDhParams, BuiltInPrimesAreTwiceAPrimePlusOne) {
    const void *none = nullptr;
    for (int bits : {1024, 2048, 4096}) {
        const BIGNUM *prime = Number(bits, "DH_get0_p");
        const BigNumPtr half(__wrap_BN_new());
        ASSERT_EQ(1, Libcrypto<int>("BN_rshift1", half.get(), prime));
        EXPECT_EQ(bits, Bits(bits));
        EXPECT_EQ(1, Libcrypto<int>("BN_check_prime", prime, none, none)) << bits;
        EXPECT_EQ(1, Libcrypto<int>("BN_check_prime", half.get(), none, none)) << bits;
        EXPECT_EQ(2u, Libcrypto<unsigned long>("BN_get_word", Number(bits, "DH_get0_g")));
    }
}

TEST_F(SslDhParams, TheLengthChoosesTheGroup) {
    const std::tuple<bool, int, int> rows[] = {
        {true, 512, 1024},  {true, 1024, 1024},  {true, 1025, 2048},  {true, 2048, 2048},
        {true, 2049, 4096}, {false, 1024, 2048}, {false, 2048, 2048}, {false, 2049, 4096}};
    for (const auto &[allow1024, keyLength, bits] : rows) {
        if (!allow1024)
            SSL_Disable1024DHParams();
        EXPECT_EQ(bits, Bits(keyLength)) << keyLength;
        EXPECT_EQ(nullptr, SSLTmpDHFilesCallback(ssl.get(), 0, keyLength)) << keyLength;
    }
    EXPECT_EQ(Number(2048, "DH_get0_p"), Number(2048, "DH_get0_p")) << "built once";
}

TEST_F(SslDhParams, FilesComeFirstAndAreTriedOnce) {
    const std::string parameters = /* of 512 bits, unlike those built in */
        "-----BEGIN DH PARAMETERS-----\n"
        "MEYCQQDKgZTqlyp0aSIweHyZgqCgBIZZFaHj2Cqg9s49GUi+wRP8y6J3liVcZapn\n"
        "nVNZTiJwpElV8tr1zJwdXvm2zYRXAgEC\n"
        "-----END DH PARAMETERS-----\n";
    const TemporaryFolder folder;
    /* bits: of the group that a handshake gets; log: written once, however often it is requested */
    const std::tuple<std::string, int, const char *> rows[] = {
        {folder.Write("good", parameters), 512, nullptr},
        {folder.Path("missing"), 2048, "opening"},
        {folder.Path(), 2048, "reading"},
        {folder.Write("garbage", std::string(5000, '\x93')), 2048, "reading"},
        {folder.Write("cut", parameters.substr(0, 60)), 2048, "reading"},
        {folder.Write("cert", ServerCertificate().pem), 2048, "reading"},
    };
    for (const auto &[path, bits, log] : rows) {
        Forget();
        LogRing_Clear();
        SSL_SetDHParamFiles(nullptr, path.c_str(), nullptr);
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(bits, Bits(2048)) << path;
            EXPECT_EQ(0u, __wrap_ERR_peek_last_error()) << "would pass for the handshake's fault";
        }
        const std::string line = log == nullptr ? ""
                                                : std::string("W Error ") + log +
                                                      " DH parameter file \"" + path + "\".\n";
        EXPECT_EQ(line, LogText());
    }
}

/* With one cipher left, the callback decides whether the handshake succeeds. */
TEST_F(SslDhParams, AHandshakeUsesThem) {
    const ContextPtr serverCtx = ServerContext(certificates::SelfSigned({.rsaBits = 2048}));
    __wrap_SSL_CTX_set_cipher_list(serverCtx.get(), "DHE-RSA-AES256-GCM-SHA384");
    __wrap_SSL_CTX_ctrl(serverCtx.get(), SSL_CTRL_SET_MAX_PROTO_VERSION, TLS1_2_VERSION, nullptr);
    for (const bool filesOnly : {false, true}) {
        TlsPair pair;
        ASSERT_TRUE(SSL_SetupAcceptWithContext(pair.server.get(), serverCtx.get()));
        if (filesOnly)
            SSL_DisableSKIPDHParams(pair.server->sslCnx);
        pair.clock.whileAsleep = [&] { SSL_TryCompleteAccept(pair.server.get()); };
        EXPECT_EQ(!filesOnly,
                  SSLSockConnect(pair.client.get(), nullptr, ctx.get(), pair.clock.Clock()));
    }
    EXPECT_EQ(1u, CountInLog("W Error opening DH parameter file \"/nonexistent/1\".\n"));
}

} // namespace
