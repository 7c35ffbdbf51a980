#include "lib/ssl/sslAccess.h"

#include <cstring>

#include "lib/ssl/sslState.h"

namespace {

/* Offsets of the fields in 1.0.2 on 64-bit x86, in bytes. */
constexpr size_t kCertInfo = 0;
constexpr size_t kCertInfoVersion = 0;
constexpr size_t kCertInfoValidity = 32;
constexpr size_t kValidityNotBefore = 0;
constexpr size_t kValidityNotAfter = 8;
constexpr size_t kCertAlgorithm = 8;
constexpr size_t kAlgorithmObject = 0;
constexpr size_t kCertExFlags = 72;
constexpr size_t kCertKeyUsage = 80;
constexpr size_t kVerifyStore = 0;
constexpr size_t kVerifyParam = 40;
constexpr size_t kParamFlags = 24;
constexpr size_t kStoreExData = 120;
constexpr size_t kDHPrime = 8;
constexpr size_t kDHGenerator = 16;
constexpr size_t kSSLServer = 56;

constexpr unsigned kNoPartialWildcards = 0x4; /* X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS */

/* The functions; NULL where OpenSSL has none. */
struct Functions {
    guint32 (*certExFlags)(X509 *cert);
    guint32 (*certKeyUsage)(X509 *cert);
    long (*certVersion)(const X509 *cert);
    int (*certSignatureNid)(const X509 *cert);
    const ASN1_TIME *(*certNotBefore)(const X509 *cert);
    const ASN1_TIME *(*certNotAfter)(const X509 *cert);
    X509_STORE *(*verifyStore)(const X509_STORE_CTX *storeContext);
    X509_VERIFY_PARAM *(*verifyParam)(const X509_STORE_CTX *storeContext);
    unsigned long (*paramFlags)(const X509_VERIFY_PARAM *param);
    void *(*storeExData)(const X509_STORE *store, int index);
    int (*setStoreExData)(X509_STORE *store, int index, void *data);
    int (*setDHParams)(DH *dh, BIGNUM *prime, BIGNUM *order, BIGNUM *generator);
    int (*checkHost)(X509 *cert, const char *name, size_t length, unsigned flags, char **found);
    int (*checkAddress)(X509 *cert, const unsigned char *bytes, size_t length, unsigned flags);
    int (*checkConstraints)(X509 *cert, void *constraints);
    int (*checkCommonNameConstraints)(X509 *cert, void *constraints); /* not in 1.0.2 */
    void (*freeConstraints)(void *constraints);
};

constinit Functions functions{};

template <class Function> void Find(void *library, const char *name, Function **function) {
    *function = SSLFindFunction<Function *>(library, name);
}

template <class Value> Value *Field(const void *object, size_t offset) {
    return reinterpret_cast<Value *>(static_cast<char *>(const_cast<void *>(object)) + offset);
}

template <class Value> Value Read(const void *object, size_t offset) {
    Value value;
    // NOLINTNEXTLINE(bugprone-sizeof-expression): a pointer is a value of a field too
    memcpy(&value, Field<void>(object, offset), sizeof(Value));
    return value;
}

const ASN1_TIME *ReadValidity(const X509 *cert, size_t offset) {
    return Read<const ASN1_TIME *>(
        Read<const void *>(Read<const void *>(cert, kCertInfo), kCertInfoValidity), offset);
}

} // namespace

void SSLAccess_Resolve(void *libcrypto) {
    Find(libcrypto, "X509_get_extension_flags", &functions.certExFlags);
    Find(libcrypto, "X509_get_key_usage", &functions.certKeyUsage);
    Find(libcrypto, "X509_get_version", &functions.certVersion);
    Find(libcrypto, "X509_get_signature_nid", &functions.certSignatureNid);
    Find(libcrypto, "X509_get0_notBefore", &functions.certNotBefore);
    Find(libcrypto, "X509_get0_notAfter", &functions.certNotAfter);
    Find(libcrypto, "X509_STORE_CTX_get0_store", &functions.verifyStore);
    Find(libcrypto, "X509_STORE_CTX_get0_param", &functions.verifyParam);
    Find(libcrypto, "X509_VERIFY_PARAM_get_flags", &functions.paramFlags);
    Find(libcrypto, "X509_STORE_get_ex_data", &functions.storeExData);
    Find(libcrypto, "X509_STORE_set_ex_data", &functions.setStoreExData);
    Find(libcrypto, "DH_set0_pqg", &functions.setDHParams);
    Find(libcrypto, "X509_check_host", &functions.checkHost);
    Find(libcrypto, "X509_check_ip", &functions.checkAddress);
    Find(libcrypto, "NAME_CONSTRAINTS_check", &functions.checkConstraints);
    Find(libcrypto, "NAME_CONSTRAINTS_check_CN", &functions.checkCommonNameConstraints);
    Find(libcrypto, "NAME_CONSTRAINTS_free", &functions.freeConstraints);
}

bool SSLAccess_IsOpaque() {
    return functions.verifyStore != nullptr;
}

guint32 SSLAccess_CertExFlags(X509 *cert) {
    if (functions.certExFlags != nullptr)
        return functions.certExFlags(cert);
    return static_cast<guint32>(Read<guint64>(cert, kCertExFlags));
}

guint32 SSLAccess_CertKeyUsage(X509 *cert) {
    if (functions.certKeyUsage != nullptr)
        return functions.certKeyUsage(cert);
    return static_cast<guint32>(Read<guint64>(cert, kCertKeyUsage));
}

long SSLAccess_CertVersion(const X509 *cert) {
    if (functions.certVersion != nullptr)
        return functions.certVersion(cert);
    const auto *version =
        Read<const ASN1_INTEGER *>(Read<const void *>(cert, kCertInfo), kCertInfoVersion);
    return version != nullptr ? __wrap_ASN1_INTEGER_get(version) : 0;
}

int SSLAccess_CertSignatureNid(const X509 *cert) {
    if (functions.certSignatureNid != nullptr)
        return functions.certSignatureNid(cert);
    return __wrap_OBJ_obj2nid(
        Read<const ASN1_OBJECT *>(Read<const void *>(cert, kCertAlgorithm), kAlgorithmObject));
}

bool SSLAccess_CertIsForName(X509 *cert, std::string_view name) {
    return functions.checkHost != nullptr &&
           functions.checkHost(cert, name.data(), name.size(), kNoPartialWildcards, nullptr) == 1;
}

bool SSLAccess_CertIsForAddress(X509 *cert, std::string_view bytes) {
    return functions.checkAddress != nullptr &&
           functions.checkAddress(cert, reinterpret_cast<const unsigned char *>(bytes.data()),
                                  bytes.size(), 0) == 1;
}

bool SSLAccess_ChecksConstraintsLate() {
    return functions.checkConstraints != nullptr &&
           functions.checkCommonNameConstraints != nullptr && functions.freeConstraints != nullptr;
}

int SSLAccess_CheckConstraints(X509 *cert, void *constraints) {
    return functions.checkConstraints(cert, constraints);
}

int SSLAccess_CheckCommonNameConstraints(X509 *cert, void *constraints) {
    return functions.checkCommonNameConstraints(cert, constraints);
}

void SSLAccess_FreeConstraints(void *constraints) {
    functions.freeConstraints(constraints);
}

const ASN1_TIME *SSLAccess_CertNotBefore(const X509 *cert) {
    if (functions.certNotBefore != nullptr)
        return functions.certNotBefore(cert);
    return ReadValidity(cert, kValidityNotBefore);
}

const ASN1_TIME *SSLAccess_CertNotAfter(const X509 *cert) {
    if (functions.certNotAfter != nullptr)
        return functions.certNotAfter(cert);
    return ReadValidity(cert, kValidityNotAfter);
}

X509_STORE *SSLAccess_VerifyStore(X509_STORE_CTX *storeContext) {
    if (functions.verifyStore != nullptr)
        return functions.verifyStore(storeContext);
    return Read<X509_STORE *>(storeContext, kVerifyStore);
}

unsigned long SSLAccess_VerifyFlags(X509_STORE_CTX *storeContext) {
    if (functions.verifyParam != nullptr && functions.paramFlags != nullptr)
        return functions.paramFlags(functions.verifyParam(storeContext));
    return Read<unsigned long>(Read<const void *>(storeContext, kVerifyParam), kParamFlags);
}

bool SSLAccess_SetStoreExData(X509_STORE *store, int index, void *data) {
    if (functions.setStoreExData != nullptr)
        return functions.setStoreExData(store, index, data) == 1;
    return __wrap_CRYPTO_set_ex_data(Field<CRYPTO_EX_DATA>(store, kStoreExData), index, data) == 1;
}

void *SSLAccess_StoreExData(X509_STORE *store, int index) {
    if (functions.storeExData != nullptr)
        return functions.storeExData(store, index);
    return __wrap_CRYPTO_get_ex_data(Field<CRYPTO_EX_DATA>(store, kStoreExData), index);
}

bool SSLAccess_SetDHParams(DH *dh, BIGNUM *prime, BIGNUM *generator) {
    if (functions.setDHParams != nullptr)
        return functions.setDHParams(dh, prime, nullptr, generator) == 1;
    *Field<BIGNUM *>(dh, kDHPrime) = prime;
    *Field<BIGNUM *>(dh, kDHGenerator) = generator;
    return true;
}

void SSLAccess_SetIsServer(SSL *ssl, bool isServer) {
    if (functions.certExFlags == nullptr)
        *Field<int>(ssl, kSSLServer) = isServer ? 1 : 0;
}
