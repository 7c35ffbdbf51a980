/*
 * certificate.h -- certificates made at run time, good ones and bad ones
 *
 *   const Certificate root = SelfSigned({.commonName = "Some Root", .isAuthority = true});
 *   const Certificate leaf = IssuedBy(root, {.dnsNames = {"localhost"}, .validUntil = -60});
 *   const std::string list = RevocationList(root, {leaf});
 *
 * Traits are the differences from a good server certificate. They are made with GnuTLS, so that the TLS layer of
 * the library checks the output of another implementation.
 *
 * Errors:  std::runtime_error.
 * Threads: any.
 */
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/certificates/certificateKey.h"

namespace certificates {

enum class Digest { Md5, Sha1, Sha256, Sha384, Sha512 };

/* The key usage. Usual: that of a server or of an authority; Absent: without the extension; CertificatesToo: also
 * signatures of certificates, even if it is no authority. */
enum class KeyUsage { Usual, Absent, SignatureOnly, CertificatesToo };

/* The extended key usage. */
enum class Purpose { Server, Client, Any, Absent };

struct Traits {
    std::string commonName = "localhost"; /* any bytes, including NUL */
    std::string organization = "Orvane Tests";
    std::vector<std::string> dnsNames = {"localhost"}; /* may begin with "*." */
    std::vector<std::string> addresses = {"127.0.0.1", "::1"};

    int64_t validFrom = -86400;      /* in seconds from now */
    int64_t validUntil = 30 * 86400; /* in seconds from now */
    int version = 3;                 /* 1: without any extension */
    std::string serial;              /* its bytes, the first below 0x80; empty: a random one */

    int rsaBits = 0;   /* 0: a key on the curve P-256 */
    int keyNumber = 0; /* certificates with the same size and number share an RSA key */
    Digest digest = Digest::Sha256; /* what the issuer signs */
    bool signatureIsBroken = false; /* one bit of the signature is inverted */

    bool isAuthority = false; /* may issue others */
    int pathLength = -1;      /* of an authority: how many others below it; -1: any number */
    bool hasBasicConstraints = true;
    KeyUsage keyUsage = KeyUsage::Usual;
    Purpose purpose = Purpose::Server;     /* ignored for an authority */
    std::vector<std::string> permittedDns; /* name constraints of an authority; empty: none */

    std::string criticalExtension; /* object identifier of an unknown one; empty: none */
    size_t padding = 0;            /* bytes of an extension without meaning */
};

struct Certificate {
    std::string der;
    std::string pem;
    std::string thumbprint;    /* SHA-1, "AA:BB:..." */
    std::string thumbprint256; /* SHA-256, "AA:BB:..." */
    std::string fileName;      /* "0123abcd.0", the name with which OpenSSL finds it in a folder */
    std::shared_ptr<const Key> key;
};

Certificate SelfSigned(const Traits &traits);

/* The issuer does not have to be an authority. */
Certificate IssuedBy(const Certificate &issuer, const Traits &traits);

/* Issues a certificate for the key of another one, as for a renewal. */
Certificate IssuedBy(const Certificate &issuer, const Traits &traits,
                     std::shared_ptr<const Key> key);

/* The times of a list and of the next one, in seconds from now. */
struct ListTimes {
    int64_t made = -3600;
    int64_t next = 30 * 86400;
};

/* Returns the list of certificates that an issuer has revoked, as PEM. */
std::string RevocationList(const Certificate &issuer, const std::vector<Certificate> &revoked,
                           const ListTimes &times = {});

/* Returns the PEM texts one after the other, in this order. */
std::string PemOf(const std::vector<Certificate> &certificates);

/* Returns bytes as PEM: "-----BEGIN LABEL-----" and so on. */
std::string ToPem(std::string_view label, std::string_view der);

} // namespace certificates
