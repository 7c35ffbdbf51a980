// Certificates: verify codes and their texts, look-up by subject, extensions from configuration text.
#include "lib/ssl/openssl102/openssl102.h"
#include "lib/ssl/openssl102/verifyCode.h"

#include <cstring>

#include <openssl/conf.h>

namespace {

/* Texts that OpenSSL 3 has changed. People see them and search for them. */
struct TextRow {
    long code;
    const char *text;
};

constexpr TextRow kTexts[] = {
    {18, "self signed certificate"},
    {19, "self signed certificate in certificate chain"},
    {kInvalidCa102, "invalid CA certificate"},
    {26, "unsupported certificate purpose"},
};

/* The result of a look-up by subject: a structure of the caller in 1.0.2, hidden in OpenSSL 3. */
struct Object102 {
    int type; /* X509_LU_... */
    union {
        X509 *cert;
        X509_CRL *crl;
    };
};
static_assert(sizeof(Object102) == 16);

/* OpenSSL 3 has one more pointer after these. */
constexpr size_t kExtensionContextSize102 = 56;
static_assert(sizeof(X509V3_CTX) > kExtensionContextSize102);

/* Stores the found object with a new reference. */
bool TakeObject(const X509_OBJECT *found, Object102 *result) {
    result->type = X509_OBJECT_get_type(found);
    if (result->type == X509_LU_X509) {
        result->cert = X509_OBJECT_get0_X509(found);
        return X509_up_ref(result->cert) == 1;
    }
    result->crl = X509_OBJECT_get0_X509_CRL(found);
    return result->crl != nullptr && X509_CRL_up_ref(result->crl) == 1;
}

} // namespace

USES_GENUINE(X509_STORE_CTX_get_error);
USES_GENUINE(X509_verify_cert_error_string);
USES_GENUINE(X509V3_EXT_conf);

OPENSSL102(int, X509_STORE_CTX_get_error, X509_STORE_CTX *storeContext) {
    return VerifyCode102(GENUINE(X509_STORE_CTX_get_error)(storeContext));
}

OPENSSL102(const char *, X509_verify_cert_error_string, long code) {
    for (const TextRow &row : kTexts)
        if (row.code == code)
            return row.text;
    return GENUINE(X509_verify_cert_error_string)(code);
}

OPENSSL102(int, X509_STORE_get_by_subject, X509_STORE_CTX *storeContext, int type, X509_NAME *name,
           Object102 *result) {
    X509_OBJECT *found = X509_OBJECT_new();
    if (found == nullptr)
        return 0;
    const int isFound = X509_STORE_CTX_get_by_subject(
        storeContext, static_cast<X509_LOOKUP_TYPE>(type), name, found);
    const bool isTaken = isFound > 0 && TakeObject(found, result);
    X509_OBJECT_free(found);
    return isFound > 0 ? isTaken : isFound;
}

OPENSSL102(void, X509_OBJECT_free_contents, Object102 *object) {
    if (object->type == X509_LU_X509)
        X509_free(object->cert);
    else if (object->type == X509_LU_CRL)
        X509_CRL_free(object->crl);
}

OPENSSL102(X509_EXTENSION *, X509V3_EXT_conf, LHASH_OF(CONF_VALUE) * conf, const void *context102,
           const char *name, const char *value) {
    X509V3_CTX context{};
    if (context102 != nullptr)
        memcpy(&context, context102, kExtensionContextSize102);
    return GENUINE(X509V3_EXT_conf)(conf, context102 != nullptr ? &context : nullptr, name, value);
}
