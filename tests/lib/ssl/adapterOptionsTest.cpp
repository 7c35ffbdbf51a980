// The adapter of libssl: options, defaults of contexts, versions and codes.
#include <map>

#include "tests/lib/ssl/tlsPair.h"

extern "C" {
const SSL_METHOD *__wrap_SSLv3_method(void);
const SSL_METHOD *__wrap_TLSv1_method(void);
const SSL_METHOD *__wrap_TLSv1_1_method(void);
const SSL_METHOD *__wrap_TLSv1_2_method(void);
int __wrap_SSL_state(const SSL *ssl);
}

namespace {

constexpr int kOptions = 32;
constexpr int kClearOptions = 77;

struct SSLAdapterOptions : SslTest {
    static ContextPtr NewContext(const SSL_METHOD *method = __wrap_SSLv23_method()) {
        return ContextPtr(__wrap_SSL_CTX_new(method));
    }

    /* The options of OpenSSL 3 itself, without the adapter. */
    static guint64 RealOptions(SSL_CTX *ctx) {
        using Function = guint64(const SSL_CTX *);
        return reinterpret_cast<Function *>(dlsym(sslModule.libsslHandle, "SSL_CTX_get_options"))(
            ctx);
    }
};

TEST_F(SSLAdapterOptions, ReadBackAsSetAndNoneHasAnotherEffect) {
    for (long wanted : {0x83524bffL, 0x83504bffL, 0xffffffffL}) {
        const ContextPtr ctx = NewContext();
        EXPECT_EQ(4, __wrap_SSL_CTX_ctrl(ctx.get(), kOptions, 0, nullptr)) << "as 1.0.2 has it";
        EXPECT_EQ(wanted | 4, __wrap_SSL_CTX_ctrl(ctx.get(), kOptions, wanted, nullptr));
        EXPECT_EQ(wanted | 4, __wrap_SSL_CTX_ctrl(ctx.get(), kOptions, 0, nullptr));
        for (guint64 other : {0x1, 0x8, 0x100, 0x200, 0x01000000})
            EXPECT_EQ(0u, RealOptions(ctx.get()) & other) << std::hex << other;
        EXPECT_EQ(0, __wrap_SSL_CTX_ctrl(ctx.get(), kClearOptions, -1, nullptr));
    }
}

TEST_F(SSLAdapterOptions, AConnectionInheritsFromItsContextAndThenDiffers) {
    const ContextPtr ctx = NewContext();
    __wrap_SSL_CTX_ctrl(ctx.get(), kOptions, 0x02100001, nullptr);
    SSL *ssl = __wrap_SSL_new(ctx.get());
    EXPECT_EQ(0x02100005, __wrap_SSL_ctrl(ssl, kOptions, 0, nullptr));
    EXPECT_EQ(0x02100205, __wrap_SSL_ctrl(ssl, kOptions, 0x200, nullptr));
    EXPECT_EQ(0x02000004, __wrap_SSL_ctrl(ssl, kClearOptions, 0x100201, nullptr));
    EXPECT_EQ(0x02000004, __wrap_SSL_ctrl(ssl, kOptions, 0, nullptr));
    EXPECT_EQ(0x02100005, __wrap_SSL_CTX_ctrl(ctx.get(), kOptions, 0, nullptr));
    __wrap_SSL_free(ssl);
}

TEST_F(SSLAdapterOptions, OldCommandsAnswer) {
    const ContextPtr ctx = NewContext();
    const std::map<int, long> answers = {{1, 0}, {2, 1}, {94, 1}, {85, 0}};
    for (const auto &[command, answer] : answers)
        EXPECT_EQ(answer, __wrap_SSL_CTX_ctrl(ctx.get(), command, 0, nullptr)) << command;
    EXPECT_EQ(2, __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_SET_SESS_CACHE_MODE, 0, nullptr));
    EXPECT_EQ(0, __wrap_SSL_CTX_ctrl(ctx.get(), SSL_CTRL_SET_SESS_CACHE_MODE, 0, nullptr));
    EXPECT_EQ(nullptr, __wrap_SSLv3_method());
    EXPECT_EQ(nullptr, __wrap_SSL_CTX_new(nullptr));
    __wrap_ERR_clear_error();
}

/* The caller decides on old versions and small keys, not the policy of the machine. */
TEST_F(SSLAdapterOptions, OldAndNewVersionsShakeHands) {
    const std::pair<const SSL_METHOD *, const char *> rows[] = {
        {__wrap_TLSv1_method(), "TLSv1"},
        {__wrap_TLSv1_1_method(), "TLSv1.1"},
        {__wrap_TLSv1_2_method(), "TLSv1.2"},
        {__wrap_SSLv23_method(), "TLSv1.3"},
    };
    const ContextPtr server = ServerContext(certificates::SelfSigned({.rsaBits = 1024}));
    for (const auto &[method, version] : rows) {
        const ContextPtr client = NewContext(method);
        TlsPair pair;
        ASSERT_TRUE(pair.ShakeHands(client.get(), server.get())) << version << LogText();
        EXPECT_STREQ(version, __wrap_SSL_get_version(pair.client->sslCnx));
        EXPECT_EQ(3, __wrap_SSL_state(pair.client->sslCnx));
    }
}

TEST_F(SSLAdapterOptions, StatesShowTheSideBeforeTheHandshake) {
    const ContextPtr ctx = NewContext();
    SSL *ssl = __wrap_SSL_new(ctx.get());
    __wrap_SSL_set_connect_state(ssl);
    EXPECT_EQ(0x5000, __wrap_SSL_state(ssl));
    __wrap_SSL_set_accept_state(ssl);
    EXPECT_EQ(0x6000, __wrap_SSL_state(ssl));
    __wrap_SSL_free(ssl);
}

} // namespace
