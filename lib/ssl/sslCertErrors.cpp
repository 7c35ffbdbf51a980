#include "lib/ssl/sslCertErrors.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslCertConstraints.h"
#include "lib/ssl/sslCertName.h"
#include "lib/ssl/sslPtr.h"
#include "lib/ssl/sslVerifyState.h"

namespace {

/* The differences between SSL_GetCertErrors() and SSL_GetServerCertErrors(). */
struct Rules {
    bool (*isForHost)(X509_STORE_CTX *storeContext, X509 *leaf, const char *host);
    int minCurveBits;
    guint64 SSLVerifyState::*chainErrors;
};

constexpr int kMinKeyBits = 1023;
constexpr int kMinCurveBits = 224; /* as strong as 2048 bits of RSA */
constexpr size_t kMaxHostSize = 512;

struct FlagPair {
    guint64 leaf;
    guint64 chain;
};
constexpr FlagPair kNone = {0, 0};
constexpr FlagPair kUnknown = {SSL_CERT_UNKNOWN, SSL_CERT_UNKNOWN};
constexpr FlagPair kIssuer = {SSL_CERT_ISSUER_UNKNOWN, SSL_CERT_CHAIN_ISSUER_UNKNOWN};
constexpr FlagPair kCrl = {SSL_CERT_CRL, SSL_CERT_CHAIN_CRL};
constexpr FlagPair kSignature = {SSL_CERT_SIGNATURE, SSL_CERT_CHAIN_SIGNATURE};
constexpr FlagPair kTime = {SSL_CERT_TIME, SSL_CERT_CHAIN_TIME};
constexpr FlagPair kInvalid = {SSL_CERT_INVALID, SSL_CERT_CHAIN_INVALID};
constexpr FlagPair kFailure = {SSL_CERT_FAILURE, SSL_CERT_FAILURE};
constexpr FlagPair kSelfSigned = {SSL_CERT_SELF_SIGNED, SSL_CERT_SELF_SIGNED};
constexpr FlagPair kRevoked = {SSL_CERT_REVOKED, SSL_CERT_CHAIN_REVOKED};
constexpr FlagPair kPathLength = {SSL_CERT_PATH_LENGTH, SSL_CERT_CHAIN_PATH_LENGTH};
constexpr FlagPair kUntrusted = {SSL_CERT_UNTRUSTED, SSL_CERT_CHAIN_UNTRUSTED};
constexpr FlagPair kExtension = {SSL_CERT_CRITICAL_EXTENSION, SSL_CERT_CHAIN_CRITICAL_EXTENSION};

/* Indexed by OpenSSL's verify code. */
constexpr auto kFlags = std::to_array<FlagPair>({
    kNone,                                            /*  0 */
    kUnknown,    kIssuer,     kCrl,       kSignature, /*  1 */
    kCrl,        kSignature,  kSignature, kSignature, /*  5 */
    kTime,       kTime,       kTime,      kTime,      /*  9 */
    kInvalid,    kInvalid,    kInvalid,   kInvalid,   /* 13 */
    kFailure,    kSelfSigned, kIssuer,    kIssuer,    /* 17 */
    kSignature,  kSignature,  kRevoked,   kInvalid,   /* 21 */
    kPathLength, kInvalid,    kUntrusted, kUntrusted, /* 25 */
    kInvalid,    kInvalid,    kInvalid,   kSignature, /* 29 */
    kCrl,        kExtension,  kSignature, kExtension, /* 33 */
    kInvalid,    kInvalid,    kSignature, kInvalid,   /* 37 */
});
static_assert(kFlags.size() == 41);

/* SHA-1 and RIPEMD-160 with RSA, SHA-1 with DSA and ECDSA, and SHA-2 with each of the three. */
constexpr auto kSafeSignatures =
    std::to_array<int>({65, 113, 119, 416, 668, 669, 670, 671, 793, 794, 795, 796, 802, 803});
static_assert(std::ranges::is_sorted(kSafeSignatures));

struct TextRow {
    guint64 flag;
    const char *text;
};
constexpr auto kTexts = std::to_array<TextRow>({
    {SSL_CERT_SELF_SIGNED, "It is self-signed: no authority has confirmed it."},
    {SSL_CERT_NAME_MISMATCH, "It is for another host name."},
    {SSL_CERT_CHAIN_TIME, "A certificate above it has expired or is not valid yet."},
    {SSL_CERT_CHAIN_REVOKED, "A certificate above it was revoked."},
    {SSL_CERT_CHAIN_SIGNATURE, "The signature of a certificate above it is wrong."},
    {SSL_CERT_CHAIN_INVALID, "A certificate above it is invalid or must not sign others."},
    {SSL_CERT_CHAIN_ISSUER_UNKNOWN, "The authority at the top of its chain is not known here."},
    {SSL_CERT_CHAIN_CRL, "It cannot be checked whether a certificate above it was revoked."},
    {SSL_CERT_CHAIN_PATH_LENGTH, "Its chain is longer than an authority in it allows."},
    {SSL_CERT_CHAIN_UNTRUSTED, "A certificate above it is not trusted for this purpose."},
    {SSL_CERT_CHAIN_NO_CA, "A certificate above it is not that of an authority."},
    {SSL_CERT_CHAIN_CRITICAL_EXTENSION,
     "A certificate above it has a critical extension that is unknown here."},
    {SSL_CERT_TIME, "It has expired or is not valid yet."},
    {SSL_CERT_REVOKED, "It was revoked."},
    {SSL_CERT_SIGNATURE, "Its signature is wrong or cannot be checked."},
    {SSL_CERT_INVALID, "It is invalid or meant for another purpose."},
    {SSL_CERT_ISSUER_UNKNOWN, "The authority that issued it is not known here."},
    {SSL_CERT_CRL, "It cannot be checked whether it was revoked."},
    {SSL_CERT_PATH_LENGTH, "Its chain is too long."},
    {SSL_CERT_UNTRUSTED, "It is not trusted for this purpose."},
    {SSL_CERT_FAILURE, "It could not be checked: no memory, or its key cannot be read."},
    {SSL_CERT_KEY_TOO_SMALL, "Its key is too short."},
    {SSL_CERT_UNSAFE_DIGEST, "It is signed with a digest that is no longer safe."},
    {SSL_CERT_OLD_VERSION, "It is older than version 3."},
    {SSL_CERT_NO_SERVER_USAGE, "It is not meant for servers."},
    {SSL_CERT_CRITICAL_EXTENSION, "It has a critical extension that is unknown here."},
    {SSL_CERT_NAME_CONSTRAINT,
     "It contains a name that an authority above it is not entitled to certify."},
    {SSL_CERT_UNKNOWN,
     "It violates a rule of this machine's OpenSSL, for example by a weak key or signature; see "
     "the log."},
});
static_assert(std::ranges::is_sorted(kTexts, {}, &TextRow::flag));

bool IsVersion3(X509 *leaf, const char *host) {
    const long version = SSLAccess_CertVersion(leaf);
    if (version != 2)
        Warning("%s: X509 certificate for '%s' has version %ld (0x%lx)\n", "SSL_GetCertErrors",
                host, version + 1, static_cast<unsigned long>(version));
    return version == 2;
}

guint64 SSLCheckKeySizeAndAlgorithm(X509 *leaf, const char *host, const Rules &rules) {
    const KeyPtr key(__wrap_X509_get_pubkey(leaf));
    if (!key) {
        Warning("%s: Failed to get EVP_PKEY from X509 cert for '%s'.\n",
                "SSLCheckKeySizeAndAlgorithm", host);
        return SSL_CERT_FAILURE;
    }
    const int minBits = SSLKeyIsOnCurve(key.get()) ? rules.minCurveBits : kMinKeyBits;
    const guint64 errors = __wrap_EVP_PKEY_bits(key.get()) < minBits ? SSL_CERT_KEY_TOO_SMALL : 0;
    const int nid = SSLAccess_CertSignatureNid(leaf);
    if (std::ranges::binary_search(kSafeSignatures, nid))
        return errors;
    Warning("%s: Certificate for '%s' uses unsafe digest algorithm (NID=%d)\n",
            "SSLCheckKeySizeAndAlgorithm", host, nid);
    return errors | SSL_CERT_UNSAFE_DIGEST;
}

/* The certificates between the leaf and the top must be those of authorities and allow signing certificates. */
guint64 SSLCheckX509IntermediateCerts(X509_STORE_CTX *storeContext) {
    const OPENSSL_STACK *chain = __wrap_X509_STORE_CTX_get_chain(storeContext);
    const int length = chain != nullptr ? __wrap_sk_num(chain) : 0;
    guint64 errors = 0;
    for (int i = 1; i < length - 1; i++) {
        auto *cert = static_cast<X509 *>(__wrap_sk_value(chain, i));
        __wrap_X509_check_ca(cert); /* computes the flags */
        const guint32 flags = SSLAccess_CertExFlags(cert);
        if ((flags & EXFLAG_BCONS) == 0 || (flags & EXFLAG_CA) == 0)
            errors |= SSL_CERT_CHAIN_NO_CA;
        if ((flags & EXFLAG_KUSAGE) == 0 || (SSLAccess_CertKeyUsage(cert) & KU_KEY_CERT_SIGN) == 0)
            errors |= SSL_CERT_CHAIN_INVALID;
    }
    return errors;
}

bool IsForHost(X509_STORE_CTX *, X509 *leaf, const char *host) {
    const int length = static_cast<int>(strnlen(host, kMaxHostSize));
    return SSL_MatchX509SubjectName(leaf, host) ||
           SSL_MatchX509v3SubjectAltNames(leaf, GEN_DNS, host, length) ||
           SSL_MatchX509v3SubjectAltNames(leaf, GEN_IPADD, host, length);
}

/* OpenSSL checks no constraints on a common name without a dot, and 1.0.2 on none at all. Below an authority
 * that has constraints, such a name does not count. */
bool IsForServer(X509_STORE_CTX *storeContext, X509 *leaf, const char *host) {
    const bool hasUncheckedForm =
        strchr(host, '.') == nullptr || !SSLAccess_ChecksConstraintsLate();
    const bool isUnchecked = hasUncheckedForm && !SSLCertName_HasType(leaf, GEN_IPADD) &&
                             !SSLCertName_HasType(leaf, GEN_DNS) &&
                             SSLCertConstraints_Exist(storeContext);
    return !isUnchecked && SSLCertName_IsForServer(leaf, host);
}

constexpr Rules kRules = {IsForHost, kMinKeyBits, &SSLVerifyState::certErrors};
constexpr Rules kServerRules = {IsForServer, kMinCurveBits, &SSLVerifyState::exactErrors};

guint64 FindErrors(X509_STORE_CTX *storeContext, X509 *leaf, const char *host,
                   const char *thumbprint, const Rules &rules) {
    const SSLVerifyState *state = SSLVerifyState_Of(storeContext);
    VERIFY(state != nullptr);
    if (!SSL_IsVerifyEnabled())
        return 0;

    char text[SSL_THUMBPRINT_SIZE];
    if (leaf == nullptr || !SSL_GetCertThumbprint(leaf, text, sizeof text)) {
        Warning("%s: SSL_GetCertThumbprint failed.\n", "SSL_GetCertErrors");
        return SSL_CERT_FAILURE;
    }
    guint64 errors = IsVersion3(leaf, host) ? 0 : SSL_CERT_OLD_VERSION;
    errors |= SSLCheckKeySizeAndAlgorithm(leaf, host, rules);
    if (SSL_MatchThumbprint(leaf, thumbprint))
        return 0;

    if (__wrap_X509_NAME_cmp(__wrap_X509_get_subject_name(leaf),
                             __wrap_X509_get_issuer_name(leaf)) == 0)
        errors |= SSL_CERT_SELF_SIGNED;
    errors |= SSLCheckX509IntermediateCerts(storeContext);
    if (!SSLCheckX509ExtendedKeyUsage(leaf, NID_server_auth))
        errors |= SSL_CERT_NO_SERVER_USAGE;
    if (!rules.isForHost(storeContext, leaf, host))
        errors |= SSL_CERT_NAME_MISMATCH;
    const guint64 chainErrors = state->*rules.chainErrors;
    if (chainErrors != 0)
        Log("%s: OpenSSL internal validation failed! state->errors is %lu\n", "SSL_GetCertErrors",
            chainErrors);
    SSLVerifyState_Detach(storeContext);
    return errors | chainErrors;
}

} // namespace

bool SSLKeyIsOnCurve(const EVP_PKEY *key) {
    return __wrap_EVP_PKEY_size(key) * 8 > __wrap_EVP_PKEY_bits(key) + 7;
}

guint64 SSLMapErrorToFlag(int code, bool isLeaf) {
    if (code == X509_V_ERR_APPLICATION_VERIFICATION)
        return SSL_CERT_FAILURE;
    if (code < 0 || static_cast<size_t>(code) >= kFlags.size())
        return SSL_CERT_UNKNOWN;
    const FlagPair &pair = kFlags[static_cast<size_t>(code)];
    return isLeaf ? pair.leaf : pair.chain;
}

bool SSLCheckX509ExtendedKeyUsage(X509 *cert, int nid) {
    int isCritical = 0;
    auto *usages = static_cast<OPENSSL_STACK *>(
        __wrap_X509_get_ext_d2i(cert, NID_ext_key_usage, &isCritical, nullptr));
    if (usages == nullptr)
        return isCritical == -1; /* -1: absent; otherwise it is malformed */
    bool isFound = false;
    for (int i = 0; i < __wrap_sk_num(usages) && !isFound; i++)
        isFound = __wrap_OBJ_obj2nid(static_cast<ASN1_OBJECT *>(__wrap_sk_value(usages, i))) == nid;
    __wrap_sk_pop_free(
        usages, [](void *object) { __wrap_ASN1_OBJECT_free(static_cast<ASN1_OBJECT *>(object)); });
    return isFound;
}

guint64 SSL_GetCertErrors(X509_STORE_CTX *storeContext, X509 *leaf, const char *host,
                          const char *thumbprint) {
    return FindErrors(storeContext, leaf, host, thumbprint, kRules);
}

guint64 SSL_GetServerCertErrors(X509_STORE_CTX *storeContext, X509 *leaf, const char *host,
                                const char *thumbprint) {
    return FindErrors(storeContext, leaf, host, thumbprint, kServerRules);
}

char *SSL_DescribeCertErrors(guint64 errors) {
    std::string text;
    for (const TextRow &row : kTexts) {
        if ((errors & row.flag) != 0)
            text.append(text.empty() ? "" : "\n").append(row.text);
    }
    return g_strdup(text.c_str());
}
