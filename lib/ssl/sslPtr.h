/*
 * sslPtr.h -- owners for what OpenSSL hands out: released on every path out of a scope
 *
 *   const CertPtr cert(__wrap_PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr));
 *
 * Threads: those of the object owned.
 */
#pragma once

#include <memory>

#include "lib/misc/glibPtr.h"
#include "lib/ssl/sslThunks.h"

using BioPtr = std::unique_ptr<BIO, Release<__wrap_BIO_free>>;
using BigNumPtr = std::unique_ptr<BIGNUM, Release<__wrap_BN_free>>;
using DhPtr = std::unique_ptr<DH, Release<__wrap_DH_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Release<__wrap_EVP_PKEY_free>>;
using CertPtr = std::unique_ptr<X509, Release<__wrap_X509_free>>;
using StorePtr = std::unique_ptr<X509_STORE, Release<__wrap_X509_STORE_free>>;
using AltNamesPtr = std::unique_ptr<OPENSSL_STACK, Release<__wrap_GENERAL_NAMES_free>>;
using SslPtr = std::unique_ptr<SSL, Release<__wrap_SSL_free>>;
using ContextPtr = std::unique_ptr<SSL_CTX, Release<__wrap_SSL_CTX_free>>;
