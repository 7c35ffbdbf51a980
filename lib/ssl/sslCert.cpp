// Certificates without a connection: thumbprints, pins, DER forms.
#include <cstring>
#include <string_view>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslCertPin.h"
#include "lib/ssl/sslPtr.h"

namespace {

/* Room for the largest digest of OpenSSL. */
struct Digest {
    guint8 bytes[64];
    unsigned size = 0;
};

bool MakeDigest(X509 *cert, const EVP_MD *method, Digest *digest) {
    return __wrap_X509_digest(cert, method, digest->bytes, &digest->size) != 0 && digest->size > 0;
}

gboolean WriteThumbprint(X509 *cert, const EVP_MD *method, char *buf, gsize size) {
    if (size > 0)
        buf[0] = '\0';
    Digest digest;
    if (!MakeDigest(cert, method, &digest))
        return FALSE;
    gsize written = 0;
    for (unsigned i = 0; i < digest.size && written + 3 < size; i++)
        written += static_cast<gsize>(
            g_snprintf(buf + written, size - written, i == 0 ? "%02X" : ":%02X", digest.bytes[i]));
    return TRUE;
}

} // namespace

gboolean SSL_GetCertThumbprint(X509 *cert, char *buf, gsize size) {
    return WriteThumbprint(cert, __wrap_EVP_sha1(), buf, size);
}

gboolean SSL_GetCertThumbprint256(X509 *cert, char *buf, gsize size) {
    return WriteThumbprint(cert, __wrap_EVP_sha256(), buf, size);
}

int SSL_CertThumbprintFromContext(SSL_CTX *ctx, char *buf, gsize size) {
    const SslPtr ssl(__wrap_SSL_new(ctx));
    if (ssl == nullptr)
        return 0;
    SSLAccess_SetIsServer(ssl.get(), false);
    X509 *cert = __wrap_SSL_get_certificate(ssl.get());
    const bool isWritten = cert != nullptr && SSL_GetCertThumbprint(cert, buf, size);
    SSLAccess_SetIsServer(ssl.get(), true);
    return isWritten ? 1 : 0;
}

gboolean SSL_IsThumbprint(const char *text) {
    return text != nullptr && SSLCertPin_Parse(text).size > 0;
}

gboolean SSL_MatchThumbprint(X509 *cert, const char *expected) {
    if (expected == nullptr || *expected == '\0')
        return FALSE;
    const SSLCertPin pin = SSLCertPin_Parse(expected);
    if (pin.size == 0) {
        Warning("SSL: \"%s\" is no thumbprint: no certificate will match it.\n", expected);
        return FALSE;
    }
    Digest digest;
    const bool isSha1 = pin.size == SSL_SHA1_SIZE;
    return MakeDigest(cert, isSha1 ? __wrap_EVP_sha1() : __wrap_EVP_sha256(), &digest) &&
           SSLCertPin_Equals(pin, digest.bytes, digest.size);
}

gboolean SSL_SetExpectedThumbprint(SSLVerifyParam *param, const char *text) {
    char *field = param->expectedThumbprint;
    memset(field, 0, sizeof param->expectedThumbprint);
    if (text == nullptr || *text == '\0')
        return TRUE;
    const SSLCertPin pin = SSLCertPin_Parse(text);
    if (pin.size == 0) {
        field[0] = '?';
        return FALSE;
    }
    std::string digits;
    for (gsize i = 0; i < pin.size; i++) {
        constexpr char kDigits[] = "0123456789ABCDEF";
        if (i > 0 && pin.size == SSL_SHA1_SIZE)
            digits += ':';
        digits += {kDigits[pin.bytes[i] >> 4], kDigits[pin.bytes[i] & 15]};
    }
    digits.copy(field, digits.size()); /* the longest form fills the field, without a NUL */
    return TRUE;
}

X509 *SSL_GetPeerCertificate(X509_STORE_CTX *storeContext) {
    const OPENSSL_STACK *chain = __wrap_X509_STORE_CTX_get_chain(storeContext);
    return chain != nullptr ? static_cast<X509 *>(__wrap_sk_value(chain, 0)) : nullptr;
}

/* -- DER ------------------------------------------------------------------------------------------ */

SSLDERCert *SSL_GetDERCert(X509 *cert) {
    char thumbprint[SSL_THUMBPRINT_SIZE];
    if (!SSL_GetCertThumbprint(cert, thumbprint, sizeof thumbprint)) {
        Warning("%s: SSL_GetCertThumbprint failed.\n", "SSL_GetDERCert");
        return nullptr;
    }
    const int size = __wrap_i2d_X509(cert, nullptr);
    if (size <= 0) {
        Warning("%s: i2d_X509 failed.\n", "SSL_GetDERCert");
        return nullptr;
    }
    SSLDERCert *der = g_new0(SSLDERCert, 1);
    der->size = static_cast<gsize>(size);
    der->bytes = g_new(guint8, der->size);
    der->thumbprint = g_strdup(thumbprint);
    unsigned char *end = der->bytes;
    __wrap_i2d_X509(cert, &end);
    return der;
}

SSLDERCert *SSL_CopyDERCert(SSLDERCert *cert) {
    if (cert == nullptr)
        return nullptr;
    SSLDERCert *copy = g_new0(SSLDERCert, 1);
    copy->size = cert->size;
    copy->bytes = static_cast<guint8 *>(g_memdup2(cert->bytes, cert->size));
    copy->thumbprint = g_strdup(cert->thumbprint);
    return copy;
}

void SSL_FreeDERCert(SSLDERCert *cert) {
    if (cert == nullptr)
        return;
    g_free(cert->bytes);
    g_free(cert->thumbprint);
    g_free(cert);
}
