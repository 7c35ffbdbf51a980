/*
 * openssl102.h -- how the two adapters let out a function of OpenSSL 1.0.2 and reach the one of OpenSSL 3
 *
 *   OPENSSL102(int, EVP_CIPHER_CTX_set_padding, void *ctx, int padding) {
 *       return GENUINE(EVP_CIPHER_CTX_set_padding)(..., padding);
 *   }
 *
 * An adapter is a shared object named like one of OpenSSL 1.0.2 that depends on the one of OpenSSL 3. Looking a
 * name up in it finds the adapter's own functions first and then those of OpenSSL 3, so it defines only what
 * OpenSSL 3 lacks or means in another way. What is let out carries the version node of the .map file: without
 * one, every other user of OpenSSL in the process (libcurl, OpenSSL itself) would be bound to it.
 *
 * Where both have a name, never call it plainly: that is the adapter's own. USES_GENUINE(name), once a file,
 * then GENUINE(name)(...) is the one of OpenSSL 3.
 */
#pragma once

#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

/* Begins the definition of a function that is let out under a name of 1.0.2. The headers of OpenSSL 3 may have that
 * name as a macro or with another prototype. */
#define OPENSSL102(result, name, ...)                                                              \
    extern "C" __attribute__((visibility("default")))                                              \
    result compat_##name(__VA_ARGS__) __asm__(#name);                                              \
    result compat_##name(__VA_ARGS__)

/* A reference with the version of OpenSSL 3 in it, which the linker binds to the dependency. */
#define USES_GENUINE(name)                                                                         \
    extern "C" decltype(name) genuine_##name;                                                      \
    __asm__(".symver genuine_" #name "," #name "@OPENSSL_3.0.0")

#define GENUINE(name) genuine_##name
