/*
 * openssl102.h -- how the adapters export a function of OpenSSL 1.0.2 and call the one of OpenSSL 3
 *
 *   OPENSSL102(int, EVP_CIPHER_CTX_set_padding, void *ctx, int padding) {
 *       return GENUINE(EVP_CIPHER_CTX_set_padding)(..., padding);
 *   }
 *
 * An adapter is a shared object with the name of one of OpenSSL 1.0.2 that depends on the one of OpenSSL 3. A
 * look-up in it finds the adapter's own functions first and then those of OpenSSL 3. So it defines only
 * functions that OpenSSL 3 lacks or that behave differently there. Exported functions have the version node
 * of the .map file. Without it every other user of OpenSSL in the process (libcurl, OpenSSL itself) would be
 * bound to them.
 *
 * A plain call of a name that both have reaches the adapter's own function. USES_GENUINE(name), once in a
 * file, declares the function of OpenSSL 3, and GENUINE(name)(...) calls it.
 */
#pragma once

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

/* Begins the definition of a function that is exported with a name of 1.0.2. In the headers of OpenSSL 3 the
 * name may be a macro or have another prototype. */
#define OPENSSL102(result, name, ...)                                                              \
    extern "C" __attribute__((visibility("default")))                                              \
    result compat_##name(__VA_ARGS__) __asm__(#name);                                              \
    result compat_##name(__VA_ARGS__)

/* Declares a reference with the version of OpenSSL 3, which the linker binds to the dependency. */
#define USES_GENUINE(name)                                                                         \
    extern "C" decltype(name) genuine_##name;                                                      \
    __asm__(".symver genuine_" #name "," #name "@OPENSSL_3.0.0")

#define GENUINE(name) genuine_##name
