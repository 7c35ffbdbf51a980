#include "lib/ssl/sslVerifyState.h"

#include "lib/misc/panic.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslState.h"

namespace {

/* Number of the ex-data class of X509_STORE, in 1.0.2; the adapter turns it into that of OpenSSL 3. */
constexpr int kStoreClass = 4;

constinit int storeStateIx = -1;

} // namespace

void SSLVerifyState_MakeSlot() {
    if (storeStateIx >= 0)
        return;
    storeStateIx = __wrap_CRYPTO_get_ex_new_index(kStoreClass, 0, nullptr, nullptr, nullptr,
                                                  FreeSSLVerifyState);
    VERIFY(storeStateIx >= 0);
}

void FreeSSLVerifyState(void *, void *ptr, CRYPTO_EX_DATA *, int, long, void *) {
    auto *state = static_cast<SSLVerifyState *>(ptr);
    if (state != nullptr && state->destroy != nullptr)
        state->destroy(state->verifyClientData);
    g_free(state);
}

void SSLVerifyState_Attach(X509_STORE *store, const SSLVerifyState &state) {
    FreeSSLVerifyState(nullptr, SSLAccess_StoreExData(store, storeStateIx), nullptr, 0, 0, nullptr);
    auto *kept = static_cast<SSLVerifyState *>(g_memdup2(&state, sizeof state));
    VERIFY(SSLAccess_SetStoreExData(store, storeStateIx, kept));
}

SSLVerifyState *SSLVerifyState_Of(X509_STORE_CTX *storeContext) {
    return static_cast<SSLVerifyState *>(
        SSLAccess_StoreExData(SSLAccess_VerifyStore(storeContext), storeStateIx));
}

void SSLVerifyState_Detach(X509_STORE_CTX *storeContext) {
    SSLVerifyState *state = SSLVerifyState_Of(storeContext);
    SSLAccess_SetStoreExData(SSLAccess_VerifyStore(storeContext), storeStateIx, nullptr);
    FreeSSLVerifyState(nullptr, state, nullptr, 0, 0, nullptr);
}

/* ---- the switch for all checks ---- */

void SSL_SetVerifySSLCertificates(gint32 value) {
    sslModule.SSLVerifySSLCertificates = value;
}

gint32 SSL_GetVerifySSLCertificates(void) {
    return sslModule.SSLVerifySSLCertificates;
}

gboolean SSL_IsVerifyEnabled(void) {
    return sslModule.SSLVerifySSLCertificates == 0;
}
