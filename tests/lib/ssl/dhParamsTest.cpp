#include "lib/ssl/sslDhParams.h"

#include <dlfcn.h>

#include "tests/lib/ssl/tlsPair.h"

namespace {

using SslPtr = std::unique_ptr<SSL, Release<__wrap_SSL_free>>;
enum { SSL_CTRL_SET_MAX_PROTO_VERSION = 124, TLS1_2_VERSION = 0x0303 };

using BigNumPtr = std::unique_ptr<BIGNUM, Release<__wrap_BN_free>>;

/* OpenSSL itself says what is in an object, and whether a number is a prime: functions that only tests need. */
template <class Function> Function FromLibcrypto(const char *name) {
    void *symbol = dlsym(sslModule.libcryptoHandle, name);
    EXPECT_NE(nullptr, symbol) << name;
    return reinterpret_cast<Function>(symbol);
}

struct Group {
    std::string prime; /* big-endian */
    std::string generator;
};

std::string BytesOf(const BIGNUM *number) {
    const auto bits = FromLibcrypto<int (*)(const BIGNUM *)>("BN_num_bits");
    const auto bytes = FromLibcrypto<int (*)(const BIGNUM *, unsigned char *)>("BN_bn2bin");
    std::string text(size_t(bits(number) + 7) / 8, '\0');
    bytes(number, reinterpret_cast<unsigned char *>(text.data()));
    return text;
}

Group GroupOf(const DH *dh) {
    using GetFn = void (*)(const DH *, const BIGNUM **, const BIGNUM **, const BIGNUM **);
    const BIGNUM *p = nullptr;
    const BIGNUM *g = nullptr;
    FromLibcrypto<GetFn>("DH_get0_pqg")(dh, &p, nullptr, &g);
    return {BytesOf(p), BytesOf(g)};
}

bool IsPrime(const BIGNUM *number) {
    using CheckFn = int (*)(const BIGNUM *, void *, void *);
    return FromLibcrypto<CheckFn>("BN_check_prime")(number, nullptr, nullptr) == 1;
}

/* Each test begins as after a start of the layer: no file was tried, nothing switched off. */
class SslDhParams : public SslTest {
protected:
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

    /* Bytes of the prime; 0 for none. */
    int Size(SSLTmpDHFn callback, int keyLength) {
        DH *dh = callback(ssl.get(), 0, keyLength);
        return dh != nullptr ? int(GroupOf(dh).prime.size()) : 0;
    }

    ContextPtr ctx;
    SslPtr ssl;
};

TEST_F(SslDhParams, BuiltInPrimesAreSafePrimesOfTheirLength) {
    const auto shift = FromLibcrypto<int (*)(BIGNUM *, const BIGNUM *)>("BN_rshift1");
    for (int bits : {1024, 2048, 4096}) {
        const Group group = GroupOf(SSLTmpDHFilesSKIPCallback(ssl.get(), 0, bits));
        ASSERT_EQ(size_t(bits) / 8, group.prime.size());
        EXPECT_TRUE(group.prime[0] & 0x80);
        EXPECT_EQ("\x02", group.generator);
        const auto *bytes = reinterpret_cast<const unsigned char *>(group.prime.data());
        const BigNumPtr prime(__wrap_BN_bin2bn(bytes, bits / 8, nullptr));
        const BigNumPtr half(__wrap_BN_new());
        EXPECT_TRUE(IsPrime(prime.get())) << bits;
        ASSERT_EQ(1, shift(half.get(), prime.get()));
        EXPECT_TRUE(IsPrime(half.get())) << bits;
    }
}

TEST_F(SslDhParams, TheLengthChoosesTheGroup) {
    const struct {
        bool allow1024;
        int keyLength;
        int size;
    } rows[] = {{true, 512, 128},   {true, 1024, 128},  {true, 1025, 256},
                {true, 2048, 256},  {true, 2049, 512},  {true, 9999, 512},
                {false, 1024, 256}, {false, 2048, 256}, {false, 2049, 512}};
    for (const auto &row : rows) {
        if (!row.allow1024)
            SSL_Disable1024DHParams();
        EXPECT_EQ(row.size, Size(SSLTmpDHFilesSKIPCallback, row.keyLength)) << row.keyLength;
        EXPECT_EQ(0, Size(SSLTmpDHFilesCallback, row.keyLength)) << row.keyLength;
    }
    DH *first = SSLTmpDHFilesSKIPCallback(ssl.get(), 0, 2048);
    EXPECT_EQ(first, SSLTmpDHFilesSKIPCallback(ssl.get(), 0, 2048)) << "built once";
}

TEST_F(SslDhParams, FilesComeFirstAndAreTriedOnce) {
    /* of 512 bits, as nothing built in is */
    const std::string parameters =
        "-----BEGIN DH PARAMETERS-----\n"
        "MEYCQQDKgZTqlyp0aSIweHyZgqCgBIZZFaHj2Cqg9s49GUi+wRP8y6J3liVcZapn\n"
        "nVNZTiJwpElV8tr1zJwdXvm2zYRXAgEC\n"
        "-----END DH PARAMETERS-----\n";
    const TemporaryFolder folder;
    const std::string good = folder.Write("good", parameters);
    const std::string garbage = folder.Write("garbage", std::string(5000, '\x93'));
    const std::string cut = folder.Write("cut", parameters.substr(0, 60));
    const std::string missing = folder.Path("missing");
    const struct {
        std::string path;
        int size;        /* of the group that a handshake gets */
        std::string log; /* once, however often it is asked for */
    } rows[] = {
        {good, 64, ""},
        {missing, 256, "W Error opening DH parameter file \"" + missing + "\".\n"},
        {folder.Path(), 256, "W Error reading DH parameter file \"" + folder.Path() + "\".\n"},
        {garbage, 256, "W Error reading DH parameter file \"" + garbage + "\".\n"},
        {cut, 256, "W Error reading DH parameter file \"" + cut + "\".\n"},
        {folder.Write("cert", ServerCertificate().pem), 256,
         "W Error reading DH parameter file \"" + folder.Path("cert") + "\".\n"},
    };
    for (const auto &row : rows) {
        Forget();
        LogRing_Clear();
        SSL_SetDHParamFiles(nullptr, row.path.c_str(), nullptr);
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(row.size, Size(SSLTmpDHFilesSKIPCallback, 2048)) << row.path;
            EXPECT_EQ(0u, __wrap_ERR_peek_last_error())
                << "would pass for a fault of the handshake";
        }
        EXPECT_EQ(row.log, LogText());
    }
}

/* With nothing but ephemeral Diffie-Hellman left to agree on, the callback decides whether there is a handshake. */
TEST_F(SslDhParams, AHandshakeUsesThem) {
    const ContextPtr serverCtx = ServerContext(certificates::SelfSigned({.rsaBits = 2048}));
    __wrap_SSL_CTX_ctrl(serverCtx.get(), SSL_CTRL_SET_MAX_PROTO_VERSION, TLS1_2_VERSION, nullptr);
    __wrap_SSL_CTX_set_cipher_list(serverCtx.get(), "DHE-RSA-AES256-GCM-SHA384");
    for (const bool filesOnly : {false, true}) {
        LogRing_Clear();
        TlsPair pair;
        ASSERT_TRUE(SSL_SetupAcceptWithContext(pair.server.get(), serverCtx.get()));
        if (filesOnly)
            SSL_DisableSKIPDHParams(pair.server->sslCnx);
        pair.clock.whileAsleep = [&] { SSL_TryCompleteAccept(pair.server.get()); };
        EXPECT_EQ(!filesOnly,
                  SSLSockConnect(pair.client.get(), nullptr, ctx.get(), pair.clock.Clock()))
            << LogText();
        EXPECT_EQ(filesOnly ? 0 : 1,
                  LogCount("W Error opening DH parameter file \"/nonexistent/1\".\n"))
            << LogText();
    }
}

} // namespace
