#include "lib/ssl/sslCertConstraints.h"

#include <memory>

#include "lib/misc/glibPtr.h"
#include "lib/ssl/sslAccess.h"
#include "lib/ssl/sslCertName.h"

namespace {

using ConstraintsPtr = std::unique_ptr<void, Release<SSLAccess_FreeConstraints>>;

X509 *CertAt(const OPENSSL_STACK *chain, int depth) {
    return static_cast<X509 *>(__wrap_sk_value(chain, depth));
}

ConstraintsPtr ConstraintsOf(const OPENSSL_STACK *chain, int depth) {
    return ConstraintsPtr(
        __wrap_X509_get_ext_d2i(CertAt(chain, depth), NID_name_constraints, nullptr, nullptr));
}

/* A new key of the same authority is not a name that it certifies. */
bool IsExempt(X509 *cert, int depth) {
    return depth > 0 && (SSLAccess_CertExFlags(cert) & EXFLAG_SELF_ISSUED) != 0;
}

/* The common name of a server counts where it has no DNS name. */
int CheckNames(X509 *cert, int depth, void *constraints) {
    const int code = SSLAccess_CheckConstraints(cert, constraints);
    if (code != X509_V_OK || depth > 0 || SSLCertName_HasType(cert, GEN_DNS))
        return code;
    return SSLAccess_CheckCommonNameConstraints(cert, constraints);
}

} // namespace

SSLConstraintError SSLCertConstraints_Check(X509_STORE_CTX *storeContext) {
    const OPENSSL_STACK *chain = __wrap_X509_STORE_CTX_get_chain(storeContext);
    const int length =
        chain != nullptr && SSLAccess_ChecksConstraintsLate() ? __wrap_sk_num(chain) : 0;
    for (int above = length - 1; above > 0; above--) {
        const ConstraintsPtr constraints = ConstraintsOf(chain, above);
        for (int depth = above - 1; constraints && depth >= 0; depth--) {
            X509 *cert = CertAt(chain, depth);
            const int code =
                IsExempt(cert, depth) ? int{X509_V_OK} : CheckNames(cert, depth, constraints.get());
            if (code != X509_V_OK)
                return {code, depth};
        }
    }
    return {X509_V_OK, 0};
}

bool SSLCertConstraints_Exist(X509_STORE_CTX *storeContext) {
    const OPENSSL_STACK *chain = __wrap_X509_STORE_CTX_get_chain(storeContext);
    for (int depth = 1; chain != nullptr && depth < __wrap_sk_num(chain); depth++) {
        if (__wrap_X509_get_ext_by_NID(CertAt(chain, depth), NID_name_constraints, -1) >= 0)
            return true;
    }
    return false;
}
