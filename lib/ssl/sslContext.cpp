#include "lib/misc/id.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/ssl/sslCertStore.h"
#include "lib/ssl/sslDhParams.h"
#include "lib/ssl/sslErrors.h"
#include "lib/ssl/sslState.h"

namespace {

/*
 * SSL_OP_ALL (0x80000BFF) with NO_TICKET, NO_COMPRESSION, SINGLE_DH_USE, CIPHER_SERVER_PREFERENCE, NO_SSLv2 and
 * NO_SSLv3, with the values of 1.0.2. TLS 1.0 and all later versions stay enabled.
 */
constexpr long kOptions = 0x83524BFF;

/* RC4 at the end is deliberate, for peers that support nothing else. */
constexpr char kCipherList[] =
    "HIGH:!aNULL:!ADH:!EXP:!MD5:!3DES:!CAMELLIA:!PSK:!SRP:@STRENGTH:RC4-SHA";

/* Reads certificate and key with root's rights, since only root may read the key in an installed system. */
bool UseCertificateFiles(SSL_CTX *ctx) {
    const uid_t before = Id_BeginSuperUser();
    const bool isRead =
        __wrap_SSL_CTX_use_certificate_file(ctx, sslModule.SSLCertFile, X509_FILETYPE_PEM) == 1 &&
        __wrap_SSL_CTX_use_PrivateKey_file(ctx, sslModule.SSLKeyFile, X509_FILETYPE_PEM) == 1;
    Id_EndSuperUser(before);
    return isRead;
}

} // namespace

SSL_CTX *SSL_NewContext(void) {
    SSL_CTX *ctx = __wrap_SSL_CTX_new(__wrap_SSLv23_method());
    if (ctx == nullptr) {
        SSLPrintErrors(LOG_LEVEL_WARNING);
        Panic("Error Starting Up Default SSL context\n");
    }
    const long unwanted = sslModule.useSSLCompression ? SSL_OP_NO_COMPRESSION : 0;
    __wrap_SSL_CTX_ctrl(ctx, SSL_CTRL_OPTIONS, kOptions & ~unwanted, nullptr);
    __wrap_SSL_CTX_ctrl(ctx, SSL_CTRL_MODE, SSL_MODE_AUTO_RETRY, nullptr);
    __wrap_SSL_CTX_ctrl(ctx, SSL_CTRL_SET_SESS_CACHE_MODE, SSL_SESS_CACHE_OFF, nullptr);
    __wrap_SSL_CTX_set_quiet_shutdown(ctx, 1);
    __wrap_SSL_CTX_set_cipher_list(ctx, kCipherList);
    __wrap_SSL_CTX_set_tmp_dh_callback(ctx, SSLTmpDHFilesSKIPCallback);
    return ctx;
}

SSL_CTX *SSL_DefaultContext(void) {
    return SSLTrustingContext();
}

void SSL_FreeContext(SSL_CTX *ctx) {
    __wrap_SSL_CTX_free(ctx);
}

int SSL_SetVerifyLocations(SSL_CTX *ctx, const char *caFile, const char *caDir) {
    return __wrap_SSL_CTX_load_verify_locations(ctx != nullptr ? ctx : SSLTrustingContext(), caFile,
                                                caDir);
}

void SSL_GetCerts(char **certFile, char **keyFile) {
    SSLStateGuard guard;
    if (certFile != nullptr)
        *certFile = UtilSafeStrdup0(sslModule.SSLCertFile);
    if (keyFile != nullptr)
        *keyFile = UtilSafeStrdup0(sslModule.SSLKeyFile);
}

gboolean SSL_LoadCertificatesWithContext(SSL_CTX *ctx) {
    SSLStateGuard guard;
    if (!UseCertificateFiles(ctx)) {
        SSLPrintErrors(LOG_LEVEL_WARNING);
        Warning("Error loading server certificate\n");
        return FALSE;
    }
    if (__wrap_SSL_CTX_check_private_key(ctx) != 1) {
        SSLPrintErrors(LOG_LEVEL_WARNING);
        Warning("Error verifying server certificate\n");
        return FALSE;
    }
    return TRUE;
}

gboolean SSL_LoadCertificates(void) {
    SSLStateGuard guard;
    if (!sslModule.areCertificatesLoaded)
        sslModule.areCertificatesLoaded = SSL_LoadCertificatesWithContext(sslModule.ssl_ctx);
    return sslModule.areCertificatesLoaded;
}
