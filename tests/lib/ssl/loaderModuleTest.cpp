// Start and stop of the layer, repeatedly and beside other users of OpenSSL; its callbacks; the accessors for
// structures of 1.0.2.
#include <array>

#include <curl/curl.h>

#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslModule.h"
#include "lib/ssl/sslVerifyState.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/lib/ssl/tlsPair.h"

extern "C" {
void __wrap_CRYPTO_lock(int mode, int type, const char *file, int line);
}

namespace {

/* Begins and ends with the layer stopped. OpenSSL stays open. */
struct SSLModule : testing::Test {
    SSLModule() {
        SSL_Exit();
        LogRing_Clear();
    }
    ~SSLModule() override { SSL_Exit(); }

    static void Start() { SSL_Init(nullptr, nullptr, nullptr); }

    /* libcurl makes a context of its own and reads the CA certificates. */
    static void UseCurl() {
        CURL *curl = curl_easy_init();
        curl_easy_setopt(curl, CURLOPT_URL, "https://127.0.0.1:1/");
        EXPECT_EQ(CURLE_COULDNT_CONNECT, curl_easy_perform(curl));
        curl_easy_cleanup(curl);
        EXPECT_TRUE(std::string(curl_version()).find("OpenSSL/3") != std::string::npos);
    }
};

TEST_F(SSLModule, StartsAgainAfterAStopBesideOtherUsers) {
    UseCurl();
    SSL_Exit(); // no effect yet
    for (int round = 0; round < 3; round++) {
        SSL_SetUseCompression(round == 1); // there need be no zlib in OpenSSL
        Start();
        EXPECT_TRUE(SSL_IsSSLModuleInitialized());
        SSL *ssl = __wrap_SSL_new(sslModule.ssl_ctx);
        EXPECT_NE(nullptr, ssl);
        __wrap_SSL_free(ssl);
        UseCurl();
        SSL_Exit();
        EXPECT_FALSE(SSL_IsSSLModuleInitialized());
        EXPECT_EQ(nullptr, sslModule.ssl_ctx);
        EXPECT_EQ(nullptr, sslModule.SSLCertFile);
        UseCurl();
    }
}

TEST_F(SSLModule, ASecondStartChangesNothing) {
    Start();
    SSL_CTX *before = sslModule.ssl_ctx;
    SSL_Init([](const char *, const char *) -> char * { abort(); }, "/nowhere", "name");
    EXPECT_EQ(before, sslModule.ssl_ctx);
}

/* The directory function may start the layer itself. Its result is then only released. */
TEST_F(SSLModule, TheDirectoryFunctionIsCalledWithoutTheLock) {
    SSL_Init(
        [](const char *defaultLib, const char *name) {
            EXPECT_STREQ("/here", defaultLib);
            EXPECT_STREQ("product", name);
            EXPECT_FALSE(SSLStateIsLocked());
            SSL_Init(nullptr, nullptr, nullptr);
            return strdup("/nowhere");
        },
        "/here", "product");
    EXPECT_TRUE(SSL_IsSSLModuleInitialized());
    EXPECT_FALSE(SSLStateIsLocked());
}

TEST_F(SSLModule, ThreadsThatStartTogetherGetOneModule) {
    std::array<SSL_CTX *, 4> contexts{};
    InThreads(4, [&](size_t i) {
        SSL_Init([](const char *, const char *) { return strdup("/nowhere"); }, nullptr, nullptr);
        contexts[i] = sslModule.ssl_ctx;
    });
    for (SSL_CTX *ctx : contexts)
        EXPECT_EQ(contexts[0], ctx);
}

TEST_F(SSLModule, FilesNamedBeforeTheStartStay) {
    Start();
    char *cert = nullptr;
    char *key = nullptr;
    SSL_GetCerts(&cert, &key);
    EXPECT_STREQ("/etc/halden/ssl/rui.crt", cert);
    EXPECT_STREQ("/etc/halden/ssl/rui.key", key);
    free(cert);
    free(key);
    EXPECT_STREQ("/etc/halden/ssl/dh4096.pem", sslModule.SSLDHParamsFiles[2]);
    SSL_Exit();
    SSL_SetDHParamFiles(nullptr, "/tmp/dh2048.pem", nullptr);
    Start();
    EXPECT_STREQ("/etc/halden/ssl/dh1024.pem", sslModule.SSLDHParamsFiles[0]);
    EXPECT_STREQ("/tmp/dh2048.pem", sslModule.SSLDHParamsFiles[1]);
}

int numCalls = 0;

void OtherCallback(int, int, const char *, int) {
    numCalls++;
}

TEST_F(SSLModule, TheLockingCallbackLocksAndKeepsErrno) {
    Start();
    const SSLLockingFn callback = __wrap_CRYPTO_get_locking_callback();
    errno = ENOENT;
    for (int n : {0, 40}) { // recursive for its thread
        callback(CRYPTO_LOCK, n, __FILE__, __LINE__);
        callback(CRYPTO_LOCK, n, __FILE__, __LINE__);
        callback(CRYPTO_UNLOCK, n, __FILE__, __LINE__);
        callback(CRYPTO_UNLOCK, n, __FILE__, __LINE__);
    }
    __wrap_CRYPTO_lock(CRYPTO_LOCK, 7, __FILE__, __LINE__);
    __wrap_CRYPTO_lock(CRYPTO_UNLOCK, 7, __FILE__, __LINE__);
    __wrap_CRYPTO_lock(CRYPTO_LOCK, -1, __FILE__, __LINE__);
    EXPECT_EQ(ENOENT, errno);
    SSL_Exit();
    EXPECT_EQ(nullptr, __wrap_CRYPTO_get_locking_callback());
    callback(CRYPTO_LOCK, 0, __FILE__, __LINE__); // one who kept it gets nothing
}

TEST_F(SSLModule, AnApplicationsCallbackStaysAndALaterOneIsReported) {
    Start();
    SSLCheckLockingCallback();
    EXPECT_EQ(0u, CountInLog("locking callback overwritten!"));
    __wrap_CRYPTO_set_locking_callback(OtherCallback);
    SSL_Shutdown(SSL_New(-1, FALSE));
    EXPECT_EQ(2u,
              CountInLog("W SSLCheckLockingCallback: locking callback overwritten! Expected 0x"));
    SSL_Exit();
    LogRing_Clear();

    __wrap_CRYPTO_set_locking_callback(OtherCallback);
    Start();
    EXPECT_FALSE(sslModule.weSetLockingCallback);
    SSLCheckLockingCallback();
    EXPECT_EQ(0u, CountInLog("locking callback overwritten!"));
    SSL_Exit();
    EXPECT_EQ(OtherCallback, __wrap_CRYPTO_get_locking_callback());
    __wrap_CRYPTO_lock(CRYPTO_LOCK, 1, __FILE__, __LINE__);
    EXPECT_EQ(1, numCalls);
    __wrap_CRYPTO_set_locking_callback(nullptr);
}

/* An object with the fields of 1.0.2. */
struct Object102 {
    alignas(8) std::array<char, 256> bytes{};
    template <class Value> Object102 &Put(size_t offset, Value value) {
        // NOLINTNEXTLINE(bugprone-sizeof-expression): a pointer is a value of a field too
        memcpy(&bytes[offset], &value, sizeof(Value));
        return *this;
    }
    template <class Type> Type *As() { return reinterpret_cast<Type *>(bytes.data()); }
};

TEST_F(SSLModule, WithoutFunctionsTheAccessorsReadTheFields) {
    Start();
    void *nothing = dlopen(SSL_DOUBLES "/noVersion.so", RTLD_NOW);
    ASSERT_NE(nullptr, nothing);
    SSLAccess_Resolve(nothing);
    EXPECT_FALSE(SSLAccess_IsOpaque());

    Object102 info, param, store, algorithm;
    Object102 cert = Object102().Put(0, info.As<void>()).Put(8, algorithm.As<void>());
    cert.Put(72, guint64{EXFLAG_CA}).Put(80, guint64{KU_KEY_CERT_SIGN});
    EXPECT_EQ(guint32{EXFLAG_CA}, SSLAccess_CertExFlags(cert.As<X509>()));
    EXPECT_EQ(guint32{KU_KEY_CERT_SIGN}, SSLAccess_CertKeyUsage(cert.As<X509>()));
    EXPECT_EQ(0, SSLAccess_CertVersion(cert.As<X509>()));
    EXPECT_EQ(0, SSLAccess_CertSignatureNid(cert.As<X509>()));

    param.Put(24, guint64{X509_V_FLAG_POLICY_CHECK});
    Object102 verification = Object102().Put(0, store.As<void>()).Put(40, param.As<void>());
    EXPECT_EQ(store.As<X509_STORE>(), SSLAccess_VerifyStore(verification.As<X509_STORE_CTX>()));
    EXPECT_EQ(0x80u, SSLAccess_VerifyFlags(verification.As<X509_STORE_CTX>()));

    Object102 dh;
    auto *prime = reinterpret_cast<BIGNUM *>(0x10);
    auto *generator = reinterpret_cast<BIGNUM *>(0x20);
    EXPECT_TRUE(SSLAccess_SetDHParams(dh.As<DH>(), prime, generator));
    EXPECT_EQ(Object102().Put(8, prime).Put(16, generator).bytes, dh.bytes);
    Object102 ssl;
    SSLAccess_SetIsServer(ssl.As<SSL>(), true);
    EXPECT_EQ(Object102().Put(56, 1).bytes, ssl.bytes);

    SSLAccess_Resolve(sslModule.libcryptoHandle);
    EXPECT_TRUE(SSLAccess_IsOpaque());
}

/* An unused state is released with its store, or when another replaces it. */
TEST_F(SSLModule, AVerifyStateBelongsToItsStore) {
    Start();
    static int numReleased;
    numReleased = 0;
    StorePtr store(__wrap_X509_STORE_new());
    const SSLVerifyState state{.destroy = [](gpointer) { numReleased++; }};
    SSLVerifyState_Attach(store.get(), state);
    EXPECT_EQ(0, numReleased);
    SSLVerifyState_Attach(store.get(), state);
    EXPECT_EQ(1, numReleased) << "another takes its place";
    store.reset();
    EXPECT_EQ(2, numReleased);
}

} // namespace
