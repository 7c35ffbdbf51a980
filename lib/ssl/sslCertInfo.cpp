// The description of a certificate for people. Its issuer may be hostile, so its text must not control a
// terminal or be mistaken for other text.
#include <string>

#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslCertErrors.h"
#include "lib/ssl/sslPtr.h"

namespace {

/* The form of RFC 2253, "CN=localhost, O=Some Company", except that letters beyond ASCII are not escaped. */
constexpr unsigned long kNameForm = XN_FLAG_SEP_CPLUS_SPC | XN_FLAG_DN_REV |
                                    XN_FLAG_DUMP_UNKNOWN_FIELDS | ASN1_STRFLGS_ESC_2253 |
                                    ASN1_STRFLGS_ESC_CTRL | ASN1_STRFLGS_UTF8_CONVERT |
                                    ASN1_STRFLGS_DUMP_UNKNOWN | ASN1_STRFLGS_DUMP_DER;

std::string ReadAll(BIO *bio) {
    std::string text;
    char piece[256];
    for (int count; (count = __wrap_BIO_read(bio, piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<size_t>(count));
    return text;
}

/* Escapes characters that are invisible or change the direction of others. */
char *EscapeInvisible(const std::string &text) {
    std::string shown;
    const char *end = text.data() + text.size();
    for (const char *at = text.data(); at < end;) {
        const gunichar c = g_utf8_get_char_validated(at, end - at);
        const bool isCharacter = c != static_cast<gunichar>(-1) && c != static_cast<gunichar>(-2);
        char escape[16];
        if (!isCharacter)
            g_snprintf(escape, sizeof escape, "\\%02x",
                       static_cast<unsigned>(static_cast<guint8>(*at)));
        else
            g_snprintf(escape, sizeof escape, "\\u{%x}", c);
        const char *next = isCharacter ? g_utf8_next_char(at) : at + 1;
        if (isCharacter && g_unichar_isprint(c))
            shown.append(at, next);
        else
            shown += escape;
        at = next;
    }
    return g_strdup(shown.c_str());
}

char *NameText(X509_NAME *name) {
    const BioPtr bio(__wrap_BIO_new(__wrap_BIO_s_mem()));
    if (!bio || name == nullptr || __wrap_X509_NAME_print_ex(bio.get(), name, 0, kNameForm) < 0)
        return nullptr;
    return EscapeInvisible(ReadAll(bio.get()));
}

char *TimeText(const ASN1_TIME *time) {
    const BioPtr bio(__wrap_BIO_new(__wrap_BIO_s_mem()));
    if (!bio || time == nullptr || __wrap_ASN1_TIME_print(bio.get(), time) <= 0)
        return nullptr;
    return EscapeInvisible(ReadAll(bio.get()));
}

void DescribeKey(SSLCertInfo *info, X509 *cert) {
    const KeyPtr key(__wrap_X509_get_pubkey(cert));
    if (key == nullptr)
        return;
    info->keyBits = __wrap_EVP_PKEY_bits(key.get());
    info->isEllipticCurve = SSLKeyIsOnCurve(key.get());
}

} // namespace

SSLCertInfo *SSL_GetCertInfo(X509 *cert) {
    char sha1[SSL_THUMBPRINT_SIZE];
    char sha256[SSL_THUMBPRINT256_SIZE];
    if (!SSL_GetCertThumbprint(cert, sha1, sizeof sha1) ||
        !SSL_GetCertThumbprint256(cert, sha256, sizeof sha256))
        return nullptr;
    SSLCertInfo *info = g_new0(SSLCertInfo, 1);
    info->subject = NameText(__wrap_X509_get_subject_name(cert));
    info->issuer = NameText(__wrap_X509_get_issuer_name(cert));
    info->notBefore = TimeText(SSLAccess_CertNotBefore(cert));
    info->notAfter = TimeText(SSLAccess_CertNotAfter(cert));
    info->thumbprint = g_strdup(sha1);
    info->thumbprint256 = g_strdup(sha256);
    DescribeKey(info, cert);
    if (info->subject != nullptr && info->issuer != nullptr && info->notBefore != nullptr &&
        info->notAfter != nullptr)
        return info;
    SSL_FreeCertInfo(info);
    return nullptr;
}

void SSL_FreeCertInfo(SSLCertInfo *info) {
    if (info == nullptr)
        return;
    for (char *text : {info->subject, info->issuer, info->notBefore, info->notAfter,
                       info->thumbprint, info->thumbprint256})
        g_free(text);
    g_free(info);
}
