// What start and handshake need of certificate checks until their own files define it; weak, so that those win.
#include "lib/misc/panic.h"
#include "lib/ssl/sslThunks.h"
#include "lib/ssl/sslVerify.h"

[[gnu::weak]] void SSLAddHostCAStore(SSL_CTX *ctx) {
    X509_STORE *store = __wrap_SSL_CTX_get_cert_store(ctx);
    X509_LOOKUP *file = __wrap_X509_STORE_add_lookup(store, __wrap_X509_LOOKUP_file());
    VERIFY(file != nullptr);
    __wrap_X509_LOOKUP_ctrl(file, X509_L_FILE_LOAD, "/etc/ssl/certs/ca-certificates.crt",
                            X509_FILETYPE_PEM, nullptr);
}

[[gnu::weak]] void SSLVerifyState_Free(SSLVerifyState *state) {
    if (state != nullptr && state->destroy != nullptr)
        state->destroy(state->verifyClientData);
    g_free(state);
}

/* Nobody is trusted as long as nothing checks. */
[[gnu::weak]] int SSLVerifyCb(int, X509_STORE_CTX *) {
    return 0;
}

[[gnu::weak]] void SSLSetTrustedCAs(SSL_CTX *, const char *const *, gint32) {}
