#include "tools/certificates/certificateKey.h"

#include <map>
#include <mutex>
#include <stdexcept>
#include <utility>

#include <fmt/format.h>
#include <gnutls/abstract.h>

namespace certificates {

void Check(int code, const char *what) {
    if (code < 0)
        throw std::runtime_error(fmt::format("certificate: {}: {}", what, gnutls_strerror(code)));
}

Key::Key(int rsaBits) {
    gnutls_x509_privkey_t made = nullptr;
    Check(gnutls_x509_privkey_init(&made), "key");
    const std::unique_ptr<gnutls_x509_privkey_int, decltype(&gnutls_x509_privkey_deinit)> owner(
        made, gnutls_x509_privkey_deinit);
    if (rsaBits == 0)
        Check(gnutls_x509_privkey_generate(made, GNUTLS_PK_ECDSA,
                                           GNUTLS_CURVE_TO_BITS(GNUTLS_ECC_CURVE_SECP256R1), 0),
              "elliptic curve key");
    else
        Check(gnutls_x509_privkey_generate(made, GNUTLS_PK_RSA, static_cast<unsigned>(rsaBits), 0),
              "RSA key");

    gnutls_datum_t text{};
    Check(gnutls_x509_privkey_export2_pkcs8(made, GNUTLS_X509_FMT_PEM, nullptr, GNUTLS_PKCS_PLAIN,
                                            &text),
          "key as PEM");
    pem.assign(reinterpret_cast<const char *>(text.data), text.size);
    gnutls_free(text.data);

    Check(gnutls_privkey_init(&handle), "key");
    const int imported = gnutls_privkey_import_x509(handle, made, GNUTLS_PRIVKEY_IMPORT_COPY);
    if (imported < 0)
        gnutls_privkey_deinit(handle);
    Check(imported, "key");
}

Key::~Key() {
    gnutls_privkey_deinit(handle);
}

std::shared_ptr<const Key> KeyOf(int rsaBits, int number) {
    if (rsaBits == 0)
        return std::make_shared<const Key>(0);
    static std::mutex mutex;
    static std::map<std::pair<int, int>, std::shared_ptr<const Key>> keys;
    const std::lock_guard lock(mutex);
    std::shared_ptr<const Key> &key = keys[{rsaBits, number}];
    if (key == nullptr)
        key = std::make_shared<const Key>(rsaBits);
    return key;
}

} // namespace certificates
