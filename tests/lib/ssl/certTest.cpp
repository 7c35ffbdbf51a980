// Certificates without a connection: names, thumbprints, forms, descriptions.
#include <algorithm>

#include "lib/ssl/sslCertErrors.h"
#include "lib/ssl/sslCertName.h"
#include "tests/lib/ssl/certifiedPair.h"

namespace {

using certificates::SelfSigned;

struct Cert : testing::Test {
    Cert() { SSL_Init(nullptr, SSL_ADAPTERS, nullptr); }
};

TEST_F(Cert, CommonNamesMatchLabelByLabel) {
    const std::tuple<const char *, const char *, bool> rows[] = {
        {"a.b", "a.b", true},         {"A.b", "a.B", true},
        {"a.b", "a.b.c", false},      {"a.b.c", "a.b", false},
        {"*.a.b", "x.a.b", true},     {"*.a.b", "y.x.a.b", false},
        {"*.a.b", "a.b", false},      {"*a.b", "xa.b", false},
        {"x.*.b", "x.a.b", false},    {"*", "a", false},
        {"a$b", "a$b", false},        {"a b", "a b", false},
        {"fe80::1", "FE80::1", true}, {"", "a", false},
    };
    for (const auto &[pattern, host, matches] : rows)
        EXPECT_EQ(matches, SSLCertCNHostnameMatch(pattern, host)) << pattern << " " << host;
}

TEST_F(Cert, AlternativeNamesMatchByKind) {
    const CertPtr cert = Parse(SelfSigned({.commonName = "cn.example",
                                           .dnsNames = {"a.example", "*.b.example", "*"},
                                           .addresses = {"10.0.0.1", "fe80::1"}}));
    const std::tuple<int, const char *, bool> rows[] = {
        {2, "A.example", true},
        {2, "x.b.example", true},
        {2, "y.x.b.example", false},
        {2, "b.example", false},
        {2, "localhost", false},
        {2, "cn.example", false},
        {2, "10.0.0.1", false},
        {7, "10.0.0.1", true},
        {7, "10.0.0.2", false},
        {7, "FE80:0:0:0:0:0:0:1", true},
        {7, "fe80::1", false},
        {7, "a.example", false},
        {2, "", false},
        {1, "a.example", false},
    };
    for (const auto &[type, name, matches] : rows)
        EXPECT_EQ(matches,
                  SSL_MatchX509v3SubjectAltNames(cert.get(), type, name, int(strlen(name))))
            << type << " " << name;
    EXPECT_TRUE(SSL_MatchX509SubjectName(cert.get(), "CN.example"));
    EXPECT_FALSE(SSL_MatchX509SubjectName(cert.get(), "a.example"));
    EXPECT_FALSE(SSL_MatchX509SubjectName(cert.get(), ""));
}

TEST_F(Cert, ThumbprintsAreWrittenWholeOrCut) {
    const auto made = SelfSigned({});
    const CertPtr cert = Parse(made);
    char text[SSL_THUMBPRINT256_SIZE];
    EXPECT_TRUE(SSL_GetCertThumbprint(cert.get(), text, SSL_THUMBPRINT_SIZE));
    EXPECT_EQ(made.thumbprint, text);
    EXPECT_TRUE(SSL_GetCertThumbprint256(cert.get(), text, sizeof text));
    EXPECT_EQ(made.thumbprint256, text);
    for (const auto &[size, length] :
         {std::pair(1, 0), {3, 0}, {4, 2}, {5, 2}, {6, 5}, {59, 56}, {60, 59}, {70, 59}}) {
        std::ranges::fill(text, 'x');
        EXPECT_TRUE(SSL_GetCertThumbprint(cert.get(), text, size));
        EXPECT_EQ(made.thumbprint.substr(0, length), text) << size;
        EXPECT_EQ('x', text[size]) << "beyond the room given";
    }
    EXPECT_TRUE(SSL_GetCertThumbprint(cert.get(), nullptr, 0));
}

TEST_F(Cert, PinsHaveFourForms) {
    const auto made = SelfSigned({});
    const CertPtr cert = Parse(made);
    const auto bare = [](std::string text) {
        std::erase(text, ':');
        return text;
    };
    std::string changed = made.thumbprint256;
    changed.back() = changed.back() == '0' ? '1' : '0';
    const std::tuple<std::string, bool, bool> rows[] = {
        {made.thumbprint, true, true},
        {bare(made.thumbprint), true, true},
        {made.thumbprint256, true, true},
        {bare(made.thumbprint256), true, true},
        {changed, true, false},
        {"", false, false},
        {made.thumbprint + ":", false, false},
        {" " + made.thumbprint, false, false},
        {std::string(59, 'A'), false, false},
        {std::string(40, 'x'), false, false},
        {made.thumbprint.substr(0, 56), false, false},
    };
    for (const auto &[pin, isPin, matches] : rows) {
        EXPECT_EQ(isPin, SSL_IsThumbprint(pin.c_str())) << pin;
        EXPECT_EQ(matches, SSL_MatchThumbprint(cert.get(), pin.c_str())) << pin;
        SSLVerifyParam param{};
        EXPECT_EQ(isPin || pin.empty(), SSL_SetExpectedThumbprint(&param, pin.c_str()));
        EXPECT_EQ(pin.empty(), param.expectedThumbprint[0] == '\0') << "never ignored";
    }
    EXPECT_FALSE(SSL_IsThumbprint(nullptr));
}

TEST_F(Cert, DescriptionsEscapeWhatCouldMislead) {
    const auto made = SelfSigned({.commonName = "good\xe2\x80\xae"
                                                "txt\x1b[2J, CN=M\xc3\xbcller",
                                  .organization = "Some \"Company\""});
    const CertPtr cert = Parse(made);
    const std::unique_ptr<SSLCertInfo, Release<SSL_FreeCertInfo>> info(SSL_GetCertInfo(cert.get()));
    ASSERT_TRUE(info);
    EXPECT_STREQ("CN=good\\u{202e}txt\\1B[2J\\, CN=M\xc3\xbcller, O=Some \\\"Company\\\"",
                 info->subject);
    EXPECT_STREQ(info->subject, info->issuer);
    EXPECT_EQ(made.thumbprint, info->thumbprint);
    EXPECT_EQ(made.thumbprint256, info->thumbprint256);
    for (const char *time : {info->notBefore, info->notAfter})
        EXPECT_EQ(" GMT", std::string(time).substr(std::string(time).size() - 4));
    EXPECT_STRNE(info->notBefore, info->notAfter);
}

TEST_F(Cert, DerFormsAreCopied) {
    using DerPtr = std::unique_ptr<SSLDERCert, Release<SSL_FreeDERCert>>;
    const auto made = SelfSigned({});
    DerPtr der(SSL_GetDERCert(Parse(made).get()));
    const DerPtr copy(SSL_CopyDERCert(der.get()));
    der.reset();
    EXPECT_EQ(made.der, std::string(reinterpret_cast<char *>(copy->bytes), copy->size));
    EXPECT_EQ(made.thumbprint, copy->thumbprint);
    EXPECT_EQ(nullptr, SSL_CopyDERCert(nullptr));
}

TEST_F(Cert, VerifyCodesBecomeBits) {
    const std::tuple<int, guint64, guint64> rows[] = {
        {0, 0, 0},
        {1, SSL_CERT_UNKNOWN, SSL_CERT_UNKNOWN},
        {10, SSL_CERT_TIME, SSL_CERT_CHAIN_TIME},
        {17, SSL_CERT_FAILURE, SSL_CERT_FAILURE},
        {21, SSL_CERT_SIGNATURE, SSL_CERT_CHAIN_SIGNATURE},
        {36, SSL_CERT_CRITICAL_EXTENSION, SSL_CERT_CHAIN_CRITICAL_EXTENSION},
        {40, SSL_CERT_INVALID, SSL_CERT_CHAIN_INVALID},
        {41, SSL_CERT_UNKNOWN, SSL_CERT_UNKNOWN},
        {50, SSL_CERT_FAILURE, SSL_CERT_FAILURE},
        {66, SSL_CERT_UNKNOWN, SSL_CERT_UNKNOWN},
        {-1, SSL_CERT_UNKNOWN, SSL_CERT_UNKNOWN}};
    for (const auto &[code, leaf, chain] : rows) {
        EXPECT_EQ(leaf, SSLMapErrorToFlag(code, true)) << code;
        EXPECT_EQ(chain, SSLMapErrorToFlag(code, false)) << code;
    }
    EXPECT_STREQ(
        "It is for another host name.\nIt was revoked.",
        GPtr<char>(SSL_DescribeCertErrors(SSL_CERT_REVOKED | SSL_CERT_NAME_MISMATCH)).get());
    EXPECT_STREQ("", GPtr<char>(SSL_DescribeCertErrors(0)).get());
}

} // namespace
