// A check for older callers, after the handshake.
#include <cstring>
#include <string>

#include "lib/misc/log.h"
#include "lib/ssl/sslCertName.h"
#include "lib/ssl/sslPtr.h"
#include "lib/ssl/sslSockInt.h"

namespace {

bool IsSelfSigned(long code) {
    return code == X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT ||
           code == X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN;
}

} // namespace

gboolean SSL_CheckCert(SSLSock *sock, const char *host, gboolean allowSelfSigned) {
    if (sock->sslCnx == nullptr) {
        Warning("SSL: Could not get the peer certificate\n");
        return FALSE;
    }
    const long code = __wrap_SSL_get_verify_result(sock->sslCnx);
    if (code != X509_V_OK && !(allowSelfSigned && IsSelfSigned(code))) {
        Warning("SSL: Peer certificate does not verify (%d)\n", static_cast<int>(code));
        return FALSE;
    }
    if (code != X509_V_OK)
        Warning("SSL: Self signed certificate in chain\n");
    const CertPtr cert(__wrap_SSL_get_peer_certificate(sock->sslCnx));
    if (!cert) {
        Warning("SSL: Could not get the peer certificate\n");
        return FALSE;
    }
    const std::string name(SSLCertName_CommonName(cert.get()).value_or(""));
    if (name.size() == strlen(host) && g_ascii_strcasecmp(name.c_str(), host) == 0)
        return TRUE;
    Warning("SSL: Peer common name does not match host (%s != %s)!\n", name.c_str(), host);
    return FALSE;
}
