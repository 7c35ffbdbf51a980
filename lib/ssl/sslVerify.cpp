// The verify callbacks: one for a connection with its SSLVerifyParam, one for a context with its
// SSLVerifyState.
#include "lib/ssl/sslVerify.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <string>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslCertConstraints.h"
#include "lib/ssl/sslCertErrors.h"
#include "lib/ssl/sslCertStore.h"
#include "lib/ssl/sslState.h"
#include "lib/ssl/sslVerifyState.h"

namespace {

/* SSLVerifyParam.progress. */
enum {
    PROGRESS_CHAIN = 1,   /* good so far */
    PROGRESS_REFUSED = 2, /* by the platform's own store */
    PROGRESS_NAME = 4,
    PROGRESS_THUMBPRINT = 8,
    PROGRESS_VERSION = 16,
    PROGRESS_USAGE = 32,
    PROGRESS_BEGUN = 64, /* the walk has begun on this connection */
};

constexpr char kTextHead[] = "The remote host certificate has these problems:";
constexpr char kTextItem[] = "\n\n* ";

/* Errors that the versions of OpenSSL after 1.0.2 find when the walk is over and the decision made: violated
 * name constraints, and address blocks (41, 46). In 1.0.2 these codes cannot come then. */
constexpr auto kLateErrors = std::to_array<int>({1, 41, 46, 47, 48, 49, 51, 52, 53});

/* How the function of SSL_SetVerifyCb() accepted a peer. */
enum class Acceptance : guint8 { Whole, DespiteConstraints };
constinit Acceptance acceptances[] = {Acceptance::Whole, Acceptance::DespiteConstraints};

/* Ex-data of an SSL: an Acceptance, NULL without one. Taken on first use and for good; 0 is never handed out by
 * CRYPTO_get_ex_new_index() after the module's own two. */
constinit std::atomic<int> acceptedIx{0};

int AcceptedIx() {
    if (acceptedIx.load() == 0) {
        const SSLStateGuard guard;
        if (acceptedIx.load() == 0)
            acceptedIx = __wrap_SSL_get_ex_new_index(0, nullptr, nullptr, nullptr, nullptr);
    }
    return acceptedIx.load();
}

SSL *ConnectionOf(X509_STORE_CTX *storeContext) {
    return static_cast<SSL *>(__wrap_X509_STORE_CTX_get_ex_data(
        storeContext, __wrap_SSL_get_ex_data_X509_STORE_CTX_idx()));
}

void SSLVerifyAppendError(SSLVerifyParam *param, const char *text, guint64 flag) {
    const gsize length = strlen(param->errorText);
    gsize room = sizeof param->errorText - 1 - length;
    char *end = param->errorText + length;
    const auto append = [&](const char *piece, gsize size) {
        memcpy(end, piece, size);
        end += size;
        *end = '\0';
        room -= size;
    };
    if (room > 1 && length == 0)
        append(kTextHead, sizeof kTextHead - 1);
    if (room > sizeof kTextItem - 1)
        append(kTextItem, sizeof kTextItem - 1);
    if (room > 1)
        append(text, std::min(room, strlen(text)));
    param->errorFlags |= flag;
}

/* For platforms with a store of certificates that OpenSSL does not read; there is none on this platform. */
bool SSLVerifyCertAgainstExternalStore() {
    return true;
}

bool SSLMatchPeerName(SSLVerifyParam *param, X509 *leaf) {
    const gsize length = strnlen(param->hostName, sizeof param->hostName);
    if (length == 0)
        return false;
    const std::string host(param->hostName, length);
    const int size = static_cast<int>(length);
    if (SSL_MatchX509SubjectName(leaf, host.c_str()) ||
        SSL_MatchX509v3SubjectAltNames(leaf, GEN_DNS, host.c_str(), size) ||
        SSL_MatchX509v3SubjectAltNames(leaf, GEN_IPADD, host.c_str(), size))
        return true;
    SSLVerifyAppendError(param, "Host name does not match the subject name(s) in certificate.",
                         SSL_CERT_NAME_MISMATCH);
    return false;
}

bool IsVersion3(SSLVerifyParam *param, X509 *leaf) {
    if (SSLAccess_CertVersion(leaf) > 1)
        return true;
    SSLVerifyAppendError(param, "Certificate with insecure version less than 3",
                         SSL_CERT_OLD_VERSION);
    return false;
}

bool HasServerUsage(SSLVerifyParam *param, X509 *leaf) {
    if (param->verifyMode != SSL_VERIFY_MODE_STRICT ||
        SSLCheckX509ExtendedKeyUsage(leaf, NID_server_auth))
        return true;
    SSLVerifyAppendError(param, "Invalid certificate usage. Non server auth key usage.",
                         SSL_CERT_NO_SERVER_USAGE);
    return false;
}

bool IsPinned(const SSLVerifyParam *param, X509 *leaf) {
    const std::string pin(param->expectedThumbprint,
                          strnlen(param->expectedThumbprint, sizeof param->expectedThumbprint));
    return SSL_MatchThumbprint(leaf, pin.c_str());
}

/* Checks all that depends on the leaf only, on the first callback of a walk. */
void BeginWalk(SSLVerifyParam *param, X509 *leaf) {
    if (!SSL_GetCertThumbprint(leaf, param->thumbprint, sizeof param->thumbprint)) {
        Warning("SSL: Error extracting the certificate thumbprint\n");
        param->thumbprint[0] = '\0';
    }
    param->chainTrusted = FALSE;
    param->verifyResult = SSL_VERIFY_RESULT_REJECTED;
    param->selfSigned = __wrap_X509_NAME_cmp(__wrap_X509_get_subject_name(leaf),
                                             __wrap_X509_get_issuer_name(leaf)) == 0;
    param->errorText[0] = '\0';
    param->errorFlags = 0;

    guint32 progress = PROGRESS_CHAIN | PROGRESS_BEGUN;
    if (param->trustedCerts == nullptr && !SSLVerifyCertAgainstExternalStore())
        progress |= PROGRESS_REFUSED;
    if (SSLMatchPeerName(param, leaf))
        progress |= PROGRESS_NAME;
    if (IsPinned(param, leaf))
        progress |= PROGRESS_THUMBPRINT;
    if (IsVersion3(param, leaf))
        progress |= PROGRESS_VERSION;
    if (HasServerUsage(param, leaf))
        progress |= PROGRESS_USAGE;
    param->progress = progress;
}

void ClearErrors(SSLVerifyParam *param) {
    param->errorText[0] = '\0';
    param->errorFlags = 0;
}

int Accept(SSLVerifyParam *param, int result) {
    param->verifyResult = result;
    return 1;
}

/* Decides on a peer that is neither trusted nor pinned. */
int DecideOnUntrusted(SSLVerifyParam *param) {
    param->verifyResult = SSL_VERIFY_RESULT_REJECTED;
    if (param->verifyMode == SSL_VERIFY_MODE_REPORT)
        return Accept(param, SSL_VERIFY_RESULT_REPORTED);
    if (SSL_IsVerifyEnabled())
        return 0;
    Warning("%s: Certificate verification is disabled, so connection will proceed despite the "
            "error\n",
            "SSL_VerifyCbHelper");
    return Accept(param, SSL_VERIFY_RESULT_DISABLED);
}

bool IsConstraintError(int error) {
    return std::ranges::find(kConstraintCodes, error) != kConstraintCodes.end();
}

void NoteError(SSLVerifyState *state, int error, int depth) {
    const guint64 flag = SSLMapErrorToFlag(error, depth == 0);
    if (flag == SSL_CERT_UNKNOWN)
        Log("SSL: OpenSSL refuses the certificate at depth %d of a chain: %s (%d)\n", depth,
            __wrap_X509_verify_cert_error_string(error), error);
    state->certErrors |= flag;
    state->exactErrors |= IsConstraintError(error) ? SSL_CERT_NAME_CONSTRAINT : flag;
}

/* Ends a walk: adds the errors that OpenSSL finds only later, and invokes the function, once. The state is not
 * needed any more. */
int Decide(X509_STORE_CTX *storeContext, SSLVerifyState *state) {
    if (state->called)
        Panic("%s: Bogus attempt to call callback twice!\n", "SSL_ValidateCertCb");
    state->called = TRUE;
    if (const auto [code, depth] = SSLCertConstraints_Check(storeContext); code != X509_V_OK)
        NoteError(state, code, depth);
    const bool isConstrained = (state->exactErrors & SSL_CERT_NAME_CONSTRAINT) != 0;
    SSL *ssl = ConnectionOf(storeContext);
    const int result = state->verifyCallback(storeContext, SSL_GetPeerCertificate(storeContext),
                                             state->verifyClientData);
    SSLVerifyState_Detach(storeContext); /* unless the function did */
    if (result != 0 && ssl != nullptr)
        __wrap_SSL_set_ex_data(ssl, AcceptedIx(), &acceptances[isConstrained ? 1 : 0]);
    return result;
}

/* Decides on an error that is found after the decision. One that was known then does not change the result. */
int DecideLate(X509_STORE_CTX *storeContext, int error) {
    if (std::ranges::find(kLateErrors, error) == kLateErrors.end())
        return 1;
    SSL *ssl = ConnectionOf(storeContext);
    const auto *acceptance = static_cast<const Acceptance *>(
        ssl != nullptr ? __wrap_SSL_get_ex_data(ssl, AcceptedIx()) : nullptr);
    if (acceptance != nullptr && *acceptance == Acceptance::DespiteConstraints &&
        IsConstraintError(error)) {
        __wrap_X509_STORE_CTX_set_error(storeContext,
                                        X509_V_OK); /* callers read it as the result */
        return 1;
    }
    Warning("SSL: The handshake fails, since an error was found after the decision on the "
            "certificate: %s (%d)\n",
            __wrap_X509_verify_cert_error_string(error), error);
    return 0;
}

} // namespace

int SSL_GetSSLVerifyParamIx(void) {
    return sslModule.SSLVerifyParamIx;
}

/* -- one connection with its SSLVerifyParam ------------------------------------------------------- */

int SSL_VerifyCbHelper(X509_STORE_CTX *storeContext, SSLVerifyParam *param) {
    const OPENSSL_STACK *chain = __wrap_X509_STORE_CTX_get_chain(storeContext);
    const int last = chain != nullptr ? __wrap_sk_num(chain) - 1 : 0;
    const int index =
        chain != nullptr ? last - __wrap_X509_STORE_CTX_get_error_depth(storeContext) : 0;
    X509 *leaf = SSL_GetPeerCertificate(storeContext);
    if (leaf == nullptr) {
        param->verifyResult = SSL_VERIFY_RESULT_REJECTED;
        return 0;
    }
    if (index == 0 || (param->progress & PROGRESS_BEGUN) == 0)
        BeginWalk(param, leaf); /* checks of extensions begin with the leaf */

    const guint32 progress = param->progress;
    const int error = __wrap_X509_STORE_CTX_get_error(storeContext);
    if ((progress & PROGRESS_CHAIN) != 0 && error != X509_V_OK) {
        SSLVerifyAppendError(param, __wrap_X509_verify_cert_error_string(error),
                             SSLMapErrorToFlag(error, true));
        param->progress &= ~guint32(PROGRESS_CHAIN);
    }
    const bool isGood =
        (param->progress & PROGRESS_CHAIN) != 0 || (progress & PROGRESS_REFUSED) != 0;
    const bool isTrusted =
        isGood && (progress & PROGRESS_VERSION) != 0 && (progress & PROGRESS_USAGE) != 0;
    param->chainTrusted = isTrusted;
    if (isTrusted && (progress & PROGRESS_NAME) != 0) {
        ClearErrors(param);
        return Accept(param, SSL_VERIFY_RESULT_TRUSTED);
    }
    if ((progress & PROGRESS_THUMBPRINT) == 0)
        return DecideOnUntrusted(param);
    ClearErrors(param);
    return Accept(param, SSL_VERIFY_RESULT_PINNED);
}

bool SSLVerify_SetParam(SSL *ssl, SSLVerifyParam *param) {
    param->thumbprint[0] = '\0';
    param->chainTrusted = FALSE;
    param->verifyResult = SSL_VERIFY_RESULT_REJECTED;
    param->selfSigned = FALSE;
    ClearErrors(param);
    param->progress = 0;
    if (__wrap_SSL_set_ex_data(ssl, sslModule.SSLVerifyParamIx, param) != 1)
        return false;
    __wrap_SSL_set_verify(ssl, SSL_VERIFY_PEER, SSLVerifyCb);
    return true;
}

/* A renegotiation after the connect has no record, and fails. */
int SSLVerifyCb(int, X509_STORE_CTX *storeContext) {
    SSL *ssl = ConnectionOf(storeContext);
    auto *param =
        static_cast<SSLVerifyParam *>(__wrap_SSL_get_ex_data(ssl, sslModule.SSLVerifyParamIx));
    return param != nullptr ? SSL_VerifyCbHelper(storeContext, param) : 0;
}

/* -- one context with its SSLVerifyState ---------------------------------------------------------- */

void SSLVerify_SetFunction(SSL_CTX *ctx, SSLVerifyCertificateFn func, gpointer data,
                           GDestroyNotify destroy) {
    __wrap_SSL_CTX_set_verify(ctx, SSL_VERIFY_PEER, SSL_ValidateCertCb);
    SSLVerifyState_Attach(__wrap_SSL_CTX_get_cert_store(ctx),
                          {.verifyCallback = func, .verifyClientData = data, .destroy = destroy});
}

void SSL_SetVerifyCb(SSL_CTX *ctx, SSLVerifyCertificateFn func, gpointer data,
                     GDestroyNotify destroy) {
    Log("%s: ctx=%p func=%p data=%p\n", "SSL_SetVerifyCb", static_cast<void *>(ctx),
        reinterpret_cast<void *>(func), data);
    SSLAddHostCAStore(ctx);
    SSLVerify_SetFunction(ctx, func, data, destroy);
}

int SSL_ValidateCertCb(int ok, X509_STORE_CTX *storeContext) {
    SSLVerifyState *state = SSLVerifyState_Of(storeContext);
    const int error = __wrap_X509_STORE_CTX_get_error(storeContext);
    if (state == nullptr)
        return ok == 0 ? DecideLate(storeContext, error) : 1;
    VERIFY((SSLAccess_VerifyFlags(storeContext) & X509_V_FLAG_POLICY_CHECK) == 0);
    if (ok == 0) {
        NoteError(state, error, __wrap_X509_STORE_CTX_get_error_depth(storeContext));
        __wrap_X509_STORE_CTX_set_error(storeContext, X509_V_OK);
        if (error != X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE)
            return 1; /* the walk continues and finds further errors; only this code ends it */
    } else if (__wrap_X509_STORE_CTX_get_error_depth(storeContext) != 0) {
        return ok;
    }
    return Decide(storeContext, state);
}

gboolean SSL_IsPeerAccepted(SSL *ssl) {
    return __wrap_SSL_get_ex_data(ssl, AcceptedIx()) != nullptr;
}
