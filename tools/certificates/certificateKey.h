/*
 * certificateKey.h -- private keys for certificates that are made at run time
 *
 * RSA keys take long to generate, so a process has one for each size and number. Keys on the curve P-256 are
 * generated each time.
 *
 * Ownership: keys are shared and reference counted; RSA keys are kept until the end of the process.
 * Errors:    std::runtime_error.
 * Threads:   any.
 */
#pragma once

#include <memory>
#include <string>

struct gnutls_privkey_st;

namespace certificates {

class Key {
public:
    explicit Key(int rsaBits); /* 0: a key on the curve P-256 */
    ~Key();
    Key(const Key &) = delete;
    Key &operator=(const Key &) = delete;

    gnutls_privkey_st *Handle() const { return handle; }
    const std::string &Pem() const { return pem; } /* PKCS #8, not encrypted */

private:
    gnutls_privkey_st *handle = nullptr;
    std::string pem;
};

/* Returns the key with a size and number. */
std::shared_ptr<const Key> KeyOf(int rsaBits, int number);

/* Throws if a function of GnuTLS failed. */
void Check(int code, const char *what);

} // namespace certificates
