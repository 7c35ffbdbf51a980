/*
 * certificate.h -- certificates made at run time, good ones and bad ones
 *
 *   const Certificate root = SelfSigned({.commonName = "Some Root", .isAuthority = true});
 *   const Certificate leaf = IssuedBy(root, {.dnsNames = {"localhost"}, .validUntil = -60});
 *   const std::string list = RevocationList(root, {leaf});
 *
 * Traits says what differs from a plain good certificate of a server. Made with GnuTLS, so that
 * what the library's TLS layer checks was written by another implementation.
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

/* What a key may be used for; Usual: all that goes with a server's key or, for an authority, an
 * authority's; Absent: the extension is left out; CertificatesToo: signatures under certificates as
 * well, authority or not. */
enum class KeyUsage { Usual, Absent, SignatureOnly, CertificatesToo };

/* The extended key usage. */
enum class Purpose { Server, Client, Any, Absent };

struct Traits {
    std::string commonName = "localhost"; /* may hold any bytes, NUL too */
    std::string organization = "Orvane Tests";
    std::vector<std::string> dnsNames = {"localhost"}; /* may begin with "*." */
    std::vector<std::string> addresses = {"127.0.0.1", "::1"};

    int64_t validFrom = -86400;      /* in seconds from now */
    int64_t validUntil = 30 * 86400; /* in seconds from now */
    int version = 3;                 /* 1: without any extension */
    std::string serial;              /* its bytes, the first below 0x80; empty: one of its own */

    int rsaBits = 0;                /* 0: a key on the curve P-256 */
    int keyNumber = 0;              /* certificates of one size and number share their RSA key */
    Digest digest = Digest::Sha256; /* what the issuer signs */
    bool signatureIsBroken = false; /* one bit of the signature is turned */

    bool isAuthority = false; /* may issue others */
    int pathLength = -1;      /* of an authority: how many others below it; -1: any number */
    bool hasBasicConstraints = true;
    KeyUsage keyUsage = KeyUsage::Usual;
    Purpose purpose = Purpose::Server;     /* of no meaning in an authority */
    std::vector<std::string> permittedDns; /* name constraints of an authority; empty: none */

    std::string criticalExtension; /* object identifier of one that nobody knows; empty: none */
    size_t padding = 0;            /* bytes of an extension without meaning */
};

struct Certificate {
    std::string der;
    std::string pem;
    std::string thumbprint;    /* SHA-1, "AA:BB:..." */
    std::string thumbprint256; /* SHA-256, "AA:BB:..." */
    std::string fileName;      /* "0123abcd.0": under which OpenSSL finds it in a folder */
    std::shared_ptr<const Key> key;
};

Certificate SelfSigned(const Traits &traits);

/* The issuer need be no authority. */
Certificate IssuedBy(const Certificate &issuer, const Traits &traits);

/* A certificate over the key of another: as an issuer that changed its mind, or a renewal. */
Certificate IssuedBy(const Certificate &issuer, const Traits &traits,
                     std::shared_ptr<const Key> key);

/* When a list was made and when the next is due, in seconds from now. */
struct ListTimes {
    int64_t made = -3600;
    int64_t next = 30 * 86400;
};

/* The PEM text of the list of an issuer's certificates that it has revoked. */
std::string RevocationList(const Certificate &issuer, const std::vector<Certificate> &revoked,
                           const ListTimes &times = {});

/* The PEM texts one after the other, in this order. */
std::string PemOf(const std::vector<Certificate> &certificates);

/* The PEM text of bytes: "-----BEGIN LABEL-----" and so on. */
std::string ToPem(std::string_view label, std::string_view der);

} // namespace certificates
