// The two ways to check a peer, over real handshakes with good and bad certificates.

#include <gmock/gmock.h>

#include "lib/ssl/sslCertStore.h"
#include "tests/lib/ssl/certifiedPair.h"

namespace {

using certificates::MakeKind;
using certificates::Traits;
using testing::HasSubstr;

/* Keys on a curve, which most of these certificates have, are below the limit. */
constexpr guint64 kCurve = SSL_CERT_KEY_TOO_SMALL;

struct Verify : testing::Test {
    Verify() {
        SSL_Init(nullptr, SSL_ADAPTERS, nullptr);
        LogRing_Clear();
    }
    ~Verify() override { SSL_SetVerifySSLCertificates(0); }
};

/* A function given to SSL_SetVerifyCb(), with its result and what it was given. */
struct Asked {
    int answer = 1;
    bool looks = true; /* it requests the errors */
    decltype(&SSL_GetCertErrors) question = SSL_GetCertErrors;
    std::string host = "localhost";
    std::string pin;
    int times = 0;
    int released = 0;
    guint64 errors = 0;

    static int Ask(X509_STORE_CTX *storeContext, X509 *leaf, gpointer data) {
        auto *asked = static_cast<Asked *>(data);
        asked->times++;
        EXPECT_EQ(leaf, SSL_GetPeerCertificate(storeContext));
        if (asked->looks)
            asked->errors =
                asked->question(storeContext, leaf, asked->host.c_str(), asked->pin.c_str());
        return asked->answer;
    }
    static void OnRelease(gpointer data) { static_cast<Asked *>(data)->released++; }
    /* Leaves out the machine's authorities, which take long to read. */
    void Watch(CertifiedPair &pair) {
        SSLVerify_SetFunction(pair.client.get(), Ask, this, OnRelease);
    }
};

/* -- a function decides ---------------------------------------------------------------------------- */

TEST_F(Verify, AFunctionSeesWhatIsWrongAndDecides) {
    const struct {
        const char *kind;
        guint64 errors;
        bool isTrusted = true; /* the client knows the anchor */
        const char *host = "localhost";
    } rows[] = {
        {"good", kCurve},
        {"good-chain", kCurve},
        {"good-rsa", 0},
        {"good-rsa", SSL_CERT_NAME_MISMATCH, true, "::1"},
        {"good-rsa", 0, true, "0:0:0:0:0:0:0:1"},
        {"good-rsa", 0, true, "127.0.0.1"},
        {"wildcard", kCurve, true, "x.localhost"},
        {"wildcard", kCurve | SSL_CERT_NAME_MISMATCH, true, "y.x.localhost"},
        {"name-only", kCurve},
        {"self-signed", kCurve | SSL_CERT_SELF_SIGNED, false},
        {"expired", kCurve | SSL_CERT_TIME},
        {"not-yet-valid", kCurve | SSL_CERT_TIME},
        {"wrong-host", kCurve | SSL_CERT_NAME_MISMATCH},
        {"good", kCurve | SSL_CERT_ISSUER_UNKNOWN | SSL_CERT_SIGNATURE, false},
        {"expired", kCurve | SSL_CERT_ISSUER_UNKNOWN | SSL_CERT_SIGNATURE, false},
        {"unknown-issuer", kCurve | SSL_CERT_ISSUER_UNKNOWN | SSL_CERT_SIGNATURE},
        {"good-chain", kCurve | SSL_CERT_CHAIN_ISSUER_UNKNOWN, false},
        {"root-expired", kCurve | SSL_CERT_CHAIN_TIME},
        {"intermediate-expired", kCurve | SSL_CERT_CHAIN_TIME},
        {"intermediate-no-ca", kCurve | SSL_CERT_CHAIN_INVALID | SSL_CERT_CHAIN_NO_CA},
        {"intermediate-no-sign", kCurve | SSL_CERT_CHAIN_INVALID | SSL_CERT_CHAIN_SIGNATURE},
        {"name-constraint", kCurve | SSL_CERT_UNKNOWN},
        {"path-length", kCurve | SSL_CERT_CHAIN_PATH_LENGTH},
        {"client-only", kCurve | SSL_CERT_INVALID | SSL_CERT_NO_SERVER_USAGE},
        {"critical-extension", kCurve | SSL_CERT_CRITICAL_EXTENSION},
        {"revoked", kCurve | SSL_CERT_REVOKED},
        {"bad-signature", kCurve | SSL_CERT_SIGNATURE},
        {"rsa-1022", SSL_CERT_KEY_TOO_SMALL},
        {"rsa-1023", 0},
        {"rsa-1024", 0},
        {"md5", kCurve | SSL_CERT_UNSAFE_DIGEST},
        {"sha1", kCurve},
        {"embedded-nul", kCurve | SSL_CERT_NAME_MISMATCH},
        {"version-1", kCurve | SSL_CERT_OLD_VERSION},
    };
    for (const auto &row : rows) {
        for (int answer : {1, 0}) {
            SCOPED_TRACE(std::string(row.kind) + " " + std::to_string(answer));
            Asked asked{.answer = answer, .host = row.host};
            {
                CertifiedPair pair(*MakeKind(row.kind));
                if (row.isTrusted)
                    pair.Trust(pair.shown.anchor);
                if (!pair.shown.revocationList.empty())
                    pair.TrustRevocations(pair.shown.revocationList);
                asked.Watch(pair);
                EXPECT_EQ(answer == 1, pair.Connect());
                if (answer == 1) {
                    EXPECT_TRUE(SSL_IsPeerAccepted(pair.ends.client->sslCnx));
                }
            }
            EXPECT_EQ(row.errors, asked.errors) << std::hex << asked.errors;
            EXPECT_EQ(1, asked.times);
            EXPECT_EQ(1, asked.released);
        }
    }
    EXPECT_THAT(LogText(), HasSubstr("Certificate with embedded NUL in the CN rejected: CN is "
                                     "\"localhost\", yet length is claimed as 23."));
}

TEST_F(Verify, AServersNamesAreTakenAsLibcurlTakesThem) {
    const Traits named{.dnsNames = {"a.example.test"}, .addresses = {"127.0.0.1", "fe80::1"}};
    const Traits bare{.dnsNames = {}, .addresses = {}};
    const Traits bareAddress{.commonName = "127.0.0.1", .dnsNames = {}, .addresses = {}};
    const Traits bareDotted{.commonName = "a.test", .dnsNames = {}, .addresses = {}};
    const Traits bank{.commonName = "bank.test", .dnsNames = {"a.good.test"}, .addresses = {}};
    const Traits numbers{.dnsNames = {"*.0.0.1", "*.0.1", "0x7f.0x1"}, .addresses = {}};
    const Traits wild{.dnsNames = {"*.example.test", "*.test"}, .addresses = {}};
    constexpr guint64 kOther = SSL_CERT_NAME_MISMATCH;
    const struct {
        Traits leaf;
        const char *host;
        guint64 errors;      /* of SSL_GetServerCertErrors() */
        guint64 errorsOfOld; /* of SSL_GetCertErrors(), but for the size of the key */
        std::vector<std::string> permitted =
            {}; /* names that the authority may certify; empty: all */
    } rows[] = {
        {named, "A.Example.test", 0, 0},
        {named, "a.example.test.", 0, kOther},
        {named, "127.0.0.1", 0, 0},
        {named, "127.0.0.2", kOther, kOther},
        {named, "fe80::1", 0, kOther},
        {named, "FE80:0:0:0:0:0:0:1", 0, 0},
        {named, "fe80::1%eth0", 0, kOther},
        {named, "localhost", kOther, 0},
        {named, ".example.test", kOther, kOther},
        {named, "", kOther, kOther},
        {wild, "x.example.test", 0, 0},
        {wild, "y.x.example.test", kOther, kOther},
        {wild, "x.test", kOther, 0},
        {bare, "localhost", 0, 0},
        {bareAddress, "127.0.0.1", kOther, 0},
        {{.dnsNames = {}}, "localhost", kOther, 0},
        {numbers, "127.0.0.1", kOther, 0},
        {numbers, "127.0.1", kOther, 0},
        {numbers, "0x7f.0x1", kOther, 0},
        {{.rsaBits = 1022}, "localhost", SSL_CERT_KEY_TOO_SMALL, SSL_CERT_KEY_TOO_SMALL},
        {named, "a.example.test", 0, 0, {"example.test"}},
        {named, "a.example.test", SSL_CERT_NAME_CONSTRAINT, SSL_CERT_UNKNOWN, {"good.test"}},
        {bare, "localhost", kOther, 0, {"good.test"}},
        {bareDotted, "a.test", SSL_CERT_NAME_CONSTRAINT, SSL_CERT_UNKNOWN, {"good.test"}},
        {bank, "bank.test", kOther, 0, {"good.test"}},
    };
    for (const auto &row : rows) {
        const auto root = certificates::SelfSigned({.commonName = "Root", .isAuthority = true});
        const auto authority =
            IssuedBy(root, {.commonName = "A", .isAuthority = true, .permittedDns = row.permitted});
        const certificates::Presented shown{{IssuedBy(authority, row.leaf), authority}, root, ""};
        for (bool isOld : {false, true}) {
            Asked asked{.question = isOld ? SSL_GetCertErrors : SSL_GetServerCertErrors,
                        .host = row.host};
            CertifiedPair pair(shown);
            pair.Trust(root);
            asked.Watch(pair);
            EXPECT_TRUE(pair.Connect());
            EXPECT_EQ(isOld ? row.errorsOfOld | kCurve : row.errors,
                      isOld ? asked.errors | kCurve : asked.errors)
                << row.host << " " << isOld << std::hex << " " << asked.errors;
        }
    }
}

/* The connection has no state and no decision: errors that come late count, others do not. */
TEST_F(Verify, ErrorsAfterTheDecisionFailTheHandshakeUnlessTheyWereKnown) {
    const StorePtr store(__wrap_X509_STORE_new());
    X509_STORE_CTX *storeContext = __wrap_X509_STORE_CTX_new();
    __wrap_X509_STORE_CTX_init(storeContext, store.get(), nullptr, nullptr);
    for (const auto &[error, answer] : {std::pair(1, 0), {10, 1}, {19, 1}, {46, 0}, {47, 0}}) {
        __wrap_X509_STORE_CTX_set_error(storeContext, error);
        EXPECT_EQ(answer, SSL_ValidateCertCb(0, storeContext)) << error;
        EXPECT_EQ(1, SSL_ValidateCertCb(1, storeContext)) << error;
    }
    __wrap_X509_STORE_CTX_free(storeContext);
    EXPECT_THAT(LogText(), HasSubstr("found after the decision on the certificate: permitted "
                                     "subtree violation (47)"));
}

TEST_F(Verify, APinOutweighsAllElse) {
    const auto shown = *MakeKind("self-signed");
    std::string lower = shown.Leaf().thumbprint;
    for (char &c : lower)
        c = g_ascii_tolower(c);
    std::string cut = shown.Leaf().thumbprint.substr(0, 56);
    const guint64 wrong = kCurve | SSL_CERT_SELF_SIGNED | SSL_CERT_NAME_MISMATCH;
    const std::pair<std::string, guint64> rows[] = {{shown.Leaf().thumbprint, 0},
                                                    {lower, 0},
                                                    {shown.Leaf().thumbprint256, 0},
                                                    {MakeKind("good")->Leaf().thumbprint, wrong},
                                                    {MakeKind("good")->Leaf().thumbprint256, wrong},
                                                    {cut, wrong},
                                                    {"", wrong}};
    for (const auto &[pin, errors] : rows) {
        CertifiedPair pair(shown);
        Asked asked{.host = "elsewhere", .pin = pin};
        asked.Watch(pair);
        EXPECT_TRUE(pair.Connect());
        EXPECT_EQ(errors, asked.errors) << pin;
        EXPECT_EQ(1, asked.released);
    }
    EXPECT_THAT(LogText(), HasSubstr("SSL: \"" + cut + "\" is no thumbprint"));
}

TEST_F(Verify, AStateIsReleasedHoweverTheHandshakeEnds) {
    Asked silent{.looks = false};
    Asked early;
    Asked unused;
    {
        CertifiedPair pair(*MakeKind("good"));
        silent.Watch(pair);
        EXPECT_TRUE(pair.Connect());
        EXPECT_EQ(1, silent.released) << "by the end of the walk, not with the context";

        CertifiedPair refused(*MakeKind("large")); /* more than OpenSSL reads of a chain */
        early.Watch(refused);
        EXPECT_FALSE(refused.Connect());

        CertifiedPair idle(*MakeKind("good"));
        SSL_SetVerifyCb(idle.client.get(), Asked::Ask, &unused, Asked::OnRelease);
    }
    EXPECT_EQ(1, early.released);
    EXPECT_EQ(0, early.times);
    EXPECT_EQ(1, unused.released);
}

TEST_F(Verify, NothingIsWrongWhileChecksAreOff) {
    SSL_SetVerifySSLCertificates(7);
    EXPECT_FALSE(SSL_IsVerifyEnabled());
    CertifiedPair pair(*MakeKind("self-signed"));
    Asked asked{.host = "elsewhere"};
    asked.Watch(pair);
    EXPECT_TRUE(pair.Connect());
    EXPECT_EQ(0u, asked.errors);
    EXPECT_EQ(1, asked.released);
}

/* -- a record decides ------------------------------------------------------------------------------ */

struct RecordRow {
    const char *kind;
    const char *host;
    gint32 mode;
    bool isPinned;
    gint32 result;
    guint64 flags;
    const char *text;
    bool isTrusted = true; /* the client knows the anchor */
    bool isOff = false;    /* checks are switched off */
};

constexpr char kName[] = "Host name does not match the subject name(s) in certificate.";
constexpr char kHead[] = "The remote host certificate has these problems:";
constexpr char kTime[] = "certificate has expired";

const RecordRow kRecords[] = {
    {"good", "localhost", 0, false, 5, 0, ""},
    {"good", "LOCALHOST", 0, false, 5, 0, ""},
    {"good-chain", "127.0.0.1", 0, false, 5, 0, ""},
    {"good", "", 0, false, 1, 0, ""},
    {"good", "elsewhere", 0, false, 1, SSL_CERT_NAME_MISMATCH, kName},
    {"good", "elsewhere", 1, false, 3, SSL_CERT_NAME_MISMATCH, kName},
    {"good", "elsewhere", 0, false, 2, SSL_CERT_NAME_MISMATCH, kName, true, true},
    {"good", "elsewhere", 0, true, 4, 0, ""},
    {"self-signed", "localhost", 0, false, 5, 0, ""},
    {"self-signed", "localhost", 0, false, 1, SSL_CERT_SELF_SIGNED, "self signed", false},
    {"self-signed", "elsewhere", 0, true, 4, 0, "", false},
    {"expired", "localhost", 0, false, 1, SSL_CERT_TIME, kTime},
    {"expired", "localhost", 1, false, 3, SSL_CERT_TIME, kTime},
    {"expired", "elsewhere", 1, false, 3, SSL_CERT_TIME | SSL_CERT_NAME_MISMATCH, kName},
    {"expired", "localhost", 2, false, 1, SSL_CERT_TIME, kTime},
    {"expired", "localhost", 0, false, 2, SSL_CERT_TIME, kTime, true, true},
    {"expired", "localhost", 0, true, 4, 0, ""},
    {"good-chain", "localhost", 1, false, 3, SSL_CERT_ISSUER_UNKNOWN, "issuer", false},
    {"version-1", "localhost", 0, false, 1, SSL_CERT_OLD_VERSION,
     "Certificate with insecure version less than 3"},
    {"client-only", "localhost", 1, false, 3, SSL_CERT_INVALID, "purpose"},
    {"name-constraint", "localhost", 0, false, 1, SSL_CERT_UNKNOWN, "subtree violation"},
    {"client-only", "localhost", 0, false, 1, SSL_CERT_INVALID | SSL_CERT_NO_SERVER_USAGE,
     "unsupported certificate purpose"},
    {"client-only", "localhost", 0, true, 4, 0, ""},
    {"intermediate-no-ca", "localhost", 0, false, 1, SSL_CERT_INVALID, "invalid CA"},
};

TEST_F(Verify, ARecordHasTheRequestAndTheResult) {
    for (const RecordRow &row : kRecords) {
        SCOPED_TRACE(std::string(row.kind) + " " + row.host + " " + std::to_string(row.mode));
        CertifiedPair pair(*MakeKind(row.kind));
        if (row.isTrusted)
            pair.Trust(pair.shown.anchor);
        SSLVerifyParam param{};
        g_strlcpy(param.hostName, row.host, sizeof param.hostName);
        param.verifyMode = row.mode;
        SSL_SetExpectedThumbprint(&param,
                                  row.isPinned ? pair.shown.Leaf().thumbprint256.c_str() : nullptr);
        pair.param = &param;
        SSL_SetVerifySSLCertificates(row.isOff);
        EXPECT_EQ(row.result != SSL_VERIFY_RESULT_REJECTED, pair.Connect());
        EXPECT_EQ(row.result, param.verifyResult);
        EXPECT_EQ(row.flags, param.errorFlags) << std::hex << param.errorFlags;
        EXPECT_EQ(pair.shown.Leaf().thumbprint, param.thumbprint);
        EXPECT_EQ(row.kind == std::string("self-signed"), param.selfSigned);
        const std::string text = param.errorText;
        EXPECT_EQ(*row.text == '\0', text.empty()) << text;
        EXPECT_THAT(text, HasSubstr(row.text));
        EXPECT_EQ(text.find(kHead), text.rfind(kHead));
    }
    EXPECT_THAT(LogText(), HasSubstr("Certificate verification is disabled, so connection will "
                                     "proceed despite the error"));
}

TEST_F(Verify, ARecordThatIsUsedAgainHasTheLastResult) {
    SSLVerifyParam param{.hostName = "localhost"};
    for (const auto &[kind, result] : {std::pair("good", 5), {"client-only", 1}, {"good", 5}}) {
        CertifiedPair pair(*MakeKind(kind));
        pair.Trust(pair.shown.anchor);
        pair.param = &param;
        pair.Connect();
        EXPECT_EQ(result, param.verifyResult) << kind;
        EXPECT_EQ(pair.shown.Leaf().thumbprint, param.thumbprint) << kind;
    }
    CertifiedPair unread(*MakeKind("large")); /* more than OpenSSL reads of a chain */
    unread.param = &param;
    EXPECT_FALSE(unread.Connect());
    EXPECT_EQ(SSL_VERIFY_RESULT_REJECTED, param.verifyResult);
    EXPECT_STREQ("", param.thumbprint);
    EXPECT_FALSE(param.chainTrusted);
}

TEST_F(Verify, NamedAuthoritiesReplaceThoseOfTheContext) {
    const auto good = *MakeKind("good");
    const std::string other = MakeKind("good")->anchor.pem;
    const std::pair<std::vector<const char *>, bool> rows[] = {
        {{good.anchor.pem.c_str()}, true},
        {{"no certificate", other.c_str(), good.anchor.pem.c_str()}, true},
        {{other.c_str()}, false},
        {{}, false}};
    for (const auto &[list, passes] : rows) {
        CertifiedPair pair(good);
        pair.Trust(good.anchor);
        SSLSetTrustedCAs(pair.client.get(), list.data(), static_cast<gint32>(list.size()));
        SSLVerifyParam param{.hostName = "localhost"};
        pair.param = &param;
        EXPECT_EQ(passes, pair.Connect()) << list.size();
    }
    EXPECT_THAT(LogText(), HasSubstr("SSL: Invalid certificate in list (0)."));
}

} // namespace
