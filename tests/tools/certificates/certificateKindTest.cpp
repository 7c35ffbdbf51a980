// Another implementation checks each kind of certificate, so that tests which expect a refusal get it for the
// intended reason.
#include "tools/certificates/certificateKind.h"

#include <map>

#include <gnutls/x509.h>
#include <gtest/gtest.h>

using namespace certificates;

namespace {

gnutls_datum_t DatumOf(const std::string &text) {
    return {reinterpret_cast<unsigned char *>(const_cast<char *>(text.data())),
            static_cast<unsigned>(text.size())};
}

/* Checks a server named "localhost" with the anchor as the only authority. Returns the status without the bit
 * that means only that there are others. */
unsigned Verify(const Presented &shown) {
    gnutls_x509_trust_list_t trust = nullptr;
    gnutls_x509_trust_list_init(&trust, 0);
    const gnutls_datum_t anchor = DatumOf(shown.anchor.pem);
    const gnutls_datum_t revoked = DatumOf(shown.revocationList);
    EXPECT_EQ(revoked.size == 0 ? 1 : 2, gnutls_x509_trust_list_add_trust_mem(
                                             trust, &anchor, revoked.size == 0 ? nullptr : &revoked,
                                             GNUTLS_X509_FMT_PEM, 0, 0));
    const std::string pem = shown.Pem();
    const gnutls_datum_t text = DatumOf(pem);
    gnutls_x509_crt_t *chain = nullptr;
    unsigned count = 0;
    EXPECT_GE(gnutls_x509_crt_list_import2(&chain, &count, &text, GNUTLS_X509_FMT_PEM, 0), 0);
    char host[] = "localhost";
    char purpose[] = GNUTLS_KP_TLS_WWW_SERVER;
    gnutls_typed_vdata_st wanted[] = {
        {GNUTLS_DT_DNS_HOSTNAME, reinterpret_cast<unsigned char *>(host), 0},
        {GNUTLS_DT_KEY_PURPOSE_OID, reinterpret_cast<unsigned char *>(purpose), 0}};
    unsigned status = 0;
    EXPECT_GE(gnutls_x509_trust_list_verify_crt2(trust, chain, count, wanted, 2,
                                                 GNUTLS_VERIFY_ALLOW_SIGN_WITH_SHA1, &status,
                                                 nullptr),
              0);
    gnutls_x509_trust_list_deinit(trust, 1);
    for (unsigned i = 0; i < count; i++)
        gnutls_x509_crt_deinit(chain[i]);
    gnutls_free(chain);
    return status & ~static_cast<unsigned>(GNUTLS_CERT_INVALID);
}

TEST(CertificateKind, EachIsBadInItsWayAlone) {
    const std::map<std::string, unsigned> bad = {
        {"wildcard", GNUTLS_CERT_UNEXPECTED_OWNER},
        {"expired", GNUTLS_CERT_EXPIRED},
        {"not-yet-valid", GNUTLS_CERT_NOT_ACTIVATED},
        {"wrong-host", GNUTLS_CERT_UNEXPECTED_OWNER},
        {"embedded-nul", GNUTLS_CERT_UNEXPECTED_OWNER},
        {"unknown-issuer", GNUTLS_CERT_SIGNER_NOT_FOUND},
        {"root-expired", GNUTLS_CERT_EXPIRED},
        {"intermediate-expired", GNUTLS_CERT_EXPIRED},
        {"intermediate-no-ca", GNUTLS_CERT_SIGNER_NOT_CA},
        {"intermediate-no-sign", GNUTLS_CERT_SIGNER_CONSTRAINTS_FAILURE},
        {"name-constraint", GNUTLS_CERT_SIGNER_CONSTRAINTS_FAILURE},
        {"path-length", GNUTLS_CERT_SIGNER_CONSTRAINTS_FAILURE},
        {"client-only", GNUTLS_CERT_PURPOSE_MISMATCH},
        {"critical-extension", GNUTLS_CERT_UNKNOWN_CRIT_EXTENSIONS},
        {"revoked", GNUTLS_CERT_REVOKED},
        {"bad-signature", GNUTLS_CERT_SIGNATURE_FAILURE},
        {"md5", GNUTLS_CERT_INSECURE_ALGORITHM},
    };
    for (const KindRow &row : Kinds()) {
        const auto found = bad.find(row.name);
        EXPECT_EQ(found == bad.end() ? 0 : found->second, Verify(*MakeKind(row.name))) << row.name;
    }
}

} // namespace
