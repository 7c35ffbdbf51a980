/*
 * certificate.cpp -- certificates by GnuTLS
 *
 * The common name is given to GnuTLS in encoded form, since a text would end at a NUL. A broken signature is made
 * in the finished certificate: the signature is at its end.
 */
#include "tools/certificates/certificate.h"

#include <array>
#include <cctype>
#include <ctime>
#include <stdexcept>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <gnutls/abstract.h>
#include <gnutls/crypto.h>
#include <gnutls/x509-ext.h>

namespace certificates {

namespace {

template <auto release> struct Release {
    template <class T> void operator()(T *p) const { release(p); }
};
using CrtPtr = std::unique_ptr<gnutls_x509_crt_int, Release<gnutls_x509_crt_deinit>>;
using CrlPtr = std::unique_ptr<gnutls_x509_crl_int, Release<gnutls_x509_crl_deinit>>;
using PubkeyPtr = std::unique_ptr<gnutls_pubkey_st, Release<gnutls_pubkey_deinit>>;
using ConstraintsPtr =
    std::unique_ptr<gnutls_name_constraints_st, Release<gnutls_x509_name_constraints_deinit>>;

constexpr char kPaddingOid[] = "1.3.6.1.4.1.55555.1.1"; /* not assigned */

std::string Taken(gnutls_datum_t &datum) {
    std::string bytes(reinterpret_cast<const char *>(datum.data), datum.size);
    gnutls_free(datum.data);
    return bytes;
}

gnutls_datum_t DatumOf(std::string_view bytes) {
    return {reinterpret_cast<unsigned char *>(const_cast<char *>(bytes.data())),
            static_cast<unsigned>(bytes.size())};
}

CrtPtr NewCrt() {
    gnutls_x509_crt_t crt = nullptr;
    Check(gnutls_x509_crt_init(&crt), "certificate");
    return CrtPtr(crt);
}

CrtPtr Read(const std::string &der) {
    CrtPtr crt = NewCrt();
    const gnutls_datum_t bytes = DatumOf(der);
    Check(gnutls_x509_crt_import(crt.get(), &bytes, GNUTLS_X509_FMT_DER), "issuer");
    return crt;
}

gnutls_digest_algorithm_t AlgorithmOf(Digest digest) {
    switch (digest) {
    case Digest::Md5:
        return GNUTLS_DIG_MD5;
    case Digest::Sha1:
        return GNUTLS_DIG_SHA1;
    case Digest::Sha256:
        return GNUTLS_DIG_SHA256;
    case Digest::Sha384:
        return GNUTLS_DIG_SHA384;
    case Digest::Sha512:
        return GNUTLS_DIG_SHA512;
    }
    throw std::logic_error("certificate: no such digest");
}

/* Returns an encoded UTF8String. */
std::string Utf8String(const std::string &text) {
    if (text.size() > 0x7f)
        throw std::runtime_error("certificate: names have at most 127 bytes");
    return std::string("\x0c") + static_cast<char>(text.size()) + text;
}

void SetName(gnutls_x509_crt_t crt, const char *oid, const std::string &text) {
    if (text.empty())
        return;
    const std::string encoded = Utf8String(text);
    Check(gnutls_x509_crt_set_dn_by_oid(crt, oid, 1, encoded.data(),
                                        static_cast<unsigned>(encoded.size())),
          "subject");
}

void SetSerial(gnutls_x509_crt_t crt, const std::string &wanted) {
    std::string serial = wanted;
    if (serial.empty()) {
        serial.resize(12);
        Check(gnutls_rnd(GNUTLS_RND_NONCE, serial.data(), serial.size()), "serial number");
        serial[0] = static_cast<char>((serial[0] & 0x3f) | 0x40); /* positive, of full length */
    }
    Check(gnutls_x509_crt_set_serial(crt, serial.data(), serial.size()), "serial number");
}

void SetAlternativeNames(gnutls_x509_crt_t crt, const Traits &traits) {
    for (const std::string &name : traits.dnsNames)
        Check(gnutls_x509_crt_set_subject_alt_name(crt, GNUTLS_SAN_DNSNAME, name.data(),
                                                   static_cast<unsigned>(name.size()),
                                                   GNUTLS_FSAN_APPEND),
              "DNS name");
    for (const std::string &address : traits.addresses) {
        std::array<unsigned char, 16> bytes{};
        const bool isV6 = address.find(':') != std::string::npos;
        if (inet_pton(isV6 ? AF_INET6 : AF_INET, address.c_str(), bytes.data()) != 1)
            throw std::runtime_error(fmt::format("certificate: \"{}\" is no address", address));
        Check(gnutls_x509_crt_set_subject_alt_name(crt, GNUTLS_SAN_IPADDRESS, bytes.data(),
                                                   isV6 ? 16 : 4, GNUTLS_FSAN_APPEND),
              "address");
    }
}

unsigned UsageOf(const Traits &traits) {
    if (traits.keyUsage == KeyUsage::SignatureOnly)
        return GNUTLS_KEY_DIGITAL_SIGNATURE;
    if (traits.keyUsage == KeyUsage::CertificatesToo)
        return GNUTLS_KEY_DIGITAL_SIGNATURE | GNUTLS_KEY_KEY_CERT_SIGN;
    if (traits.isAuthority)
        return GNUTLS_KEY_KEY_CERT_SIGN | GNUTLS_KEY_CRL_SIGN;
    return GNUTLS_KEY_DIGITAL_SIGNATURE | (traits.rsaBits > 0 ? GNUTLS_KEY_KEY_ENCIPHERMENT : 0u);
}

void SetPurpose(gnutls_x509_crt_t crt, Purpose purpose) {
    if (purpose == Purpose::Absent)
        return;
    const char *oid = purpose == Purpose::Server   ? GNUTLS_KP_TLS_WWW_SERVER
                      : purpose == Purpose::Client ? GNUTLS_KP_TLS_WWW_CLIENT
                                                   : GNUTLS_KP_ANY;
    Check(gnutls_x509_crt_set_key_purpose_oid(crt, oid, 0), "purpose");
}

void SetNameConstraints(gnutls_x509_crt_t crt, const std::vector<std::string> &permitted) {
    if (permitted.empty())
        return;
    gnutls_x509_name_constraints_t made = nullptr;
    Check(gnutls_x509_name_constraints_init(&made), "name constraints");
    const ConstraintsPtr constraints(made);
    for (const std::string &name : permitted) {
        const gnutls_datum_t bytes = DatumOf(name);
        Check(gnutls_x509_name_constraints_add_permitted(made, GNUTLS_SAN_DNSNAME, &bytes),
              "name constraints");
    }
    Check(gnutls_x509_crt_set_name_constraints(crt, made, 1), "name constraints");
}

/* Returns an encoded OCTET STRING of a size. */
std::string Padding(size_t size) {
    std::string encoded = "\x04\x84";
    for (int shift = 24; shift >= 0; shift -= 8)
        encoded += static_cast<char>(size >> shift & 0xff);
    return encoded.append(size, 'x');
}

void SetKeyIds(gnutls_x509_crt_t crt, gnutls_x509_crt_t issuer) {
    std::array<unsigned char, 64> id{};
    size_t size = id.size();
    Check(gnutls_x509_crt_get_key_id(crt, 0, id.data(), &size), "key id");
    Check(gnutls_x509_crt_set_subject_key_id(crt, id.data(), size), "key id");
    size = id.size();
    Check(gnutls_x509_crt_get_key_id(issuer, 0, id.data(), &size), "issuer's key id");
    Check(gnutls_x509_crt_set_authority_key_id(crt, id.data(), size), "issuer's key id");
}

void SetExtensions(gnutls_x509_crt_t crt, const Traits &traits) {
    if (traits.hasBasicConstraints)
        Check(gnutls_x509_crt_set_basic_constraints(crt, traits.isAuthority ? 1 : 0,
                                                    traits.pathLength),
              "basic constraints");
    if (traits.keyUsage != KeyUsage::Absent)
        Check(gnutls_x509_crt_set_key_usage(crt, UsageOf(traits)), "key usage");
    if (traits.isAuthority)
        SetNameConstraints(crt, traits.permittedDns);
    else
        SetPurpose(crt, traits.purpose);
    if (!traits.isAuthority)
        SetAlternativeNames(crt, traits);
    if (!traits.criticalExtension.empty())
        Check(gnutls_x509_crt_set_extension_by_oid(crt, traits.criticalExtension.c_str(),
                                                   "\x05\x00", 2, 1),
              "critical extension");
    if (traits.padding > 0) {
        const std::string bytes = Padding(traits.padding);
        Check(gnutls_x509_crt_set_extension_by_oid(crt, kPaddingOid, bytes.data(), bytes.size(), 0),
              "padding");
    }
}

std::string ThumbprintOf(gnutls_digest_algorithm_t algorithm, std::string_view der) {
    std::array<unsigned char, 32> bytes{};
    Check(gnutls_hash_fast(algorithm, der.data(), der.size(), bytes.data()), "thumbprint");
    std::string text;
    for (unsigned i = 0; i < gnutls_hash_get_len(algorithm); i++)
        text += fmt::format("{}{:02X}", i == 0 ? "" : ":", bytes[i]);
    return text;
}

/* Returns a part of a name as OpenSSL compares it: in lower case, with single blanks. */
std::string CanonicalPart(std::string_view oid, const std::string &text) {
    std::string plain;
    for (const char c : text) {
        if (c != ' ')
            plain += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        else if (!plain.empty() && plain.back() != ' ')
            plain += ' ';
    }
    const auto wrap = [](char tag, const std::string &content) {
        return std::string{tag, static_cast<char>(content.size())} + content;
    };
    return wrap('\x31', wrap('\x30', wrap('\x06', std::string(oid)) + wrap('\x0c', plain)));
}

std::string FileNameOf(const Traits &traits) {
    std::string name;
    if (!traits.organization.empty())
        name += CanonicalPart("\x55\x04\x0a", traits.organization);
    if (!traits.commonName.empty())
        name += CanonicalPart("\x55\x04\x03", traits.commonName);
    std::array<unsigned char, 20> hash{};
    Check(gnutls_hash_fast(GNUTLS_DIG_SHA1, name.data(), name.size(), hash.data()), "name");
    return fmt::format("{:02x}{:02x}{:02x}{:02x}.0", hash[3], hash[2], hash[1], hash[0]);
}

Certificate Finish(std::string der, std::shared_ptr<const Key> key) {
    Certificate made;
    made.pem = ToPem("CERTIFICATE", der);
    made.thumbprint = ThumbprintOf(GNUTLS_DIG_SHA1, der);
    made.thumbprint256 = ThumbprintOf(GNUTLS_DIG_SHA256, der);
    made.der = std::move(der);
    made.key = std::move(key);
    return made;
}

/* Without an issuer it is self-signed. */
Certificate Make(const Certificate *issuer, const Traits &traits, std::shared_ptr<const Key> key) {
    const CrtPtr crt = NewCrt();
    const int64_t now = time(nullptr);
    Check(gnutls_x509_crt_set_version(crt.get(), static_cast<unsigned>(traits.version)), "version");
    SetSerial(crt.get(), traits.serial);
    SetName(crt.get(), GNUTLS_OID_X520_ORGANIZATION_NAME, traits.organization);
    SetName(crt.get(), GNUTLS_OID_X520_COMMON_NAME, traits.commonName);
    Check(gnutls_x509_crt_set_activation_time(crt.get(), now + traits.validFrom), "validity");
    Check(gnutls_x509_crt_set_expiration_time(crt.get(), now + traits.validUntil), "validity");

    gnutls_pubkey_t made = nullptr;
    Check(gnutls_pubkey_init(&made), "key");
    const PubkeyPtr publicKey(made);
    Check(gnutls_pubkey_import_privkey(made, key->Handle(), 0, 0), "key");
    Check(gnutls_x509_crt_set_pubkey(crt.get(), made), "key");

    const CrtPtr issuerCrt = issuer == nullptr ? nullptr : Read(issuer->der);
    const gnutls_x509_crt_t signer = issuerCrt ? issuerCrt.get() : crt.get();
    if (traits.version == 3) {
        SetKeyIds(crt.get(), signer);
        SetExtensions(crt.get(), traits);
    }
    const Key &signingKey = issuer == nullptr ? *key : *issuer->key;
    Check(gnutls_x509_crt_privkey_sign(crt.get(), signer, signingKey.Handle(),
                                       AlgorithmOf(traits.digest), 0),
          "signature");
    gnutls_datum_t bytes{};
    Check(gnutls_x509_crt_export2(crt.get(), GNUTLS_X509_FMT_DER, &bytes), "certificate");
    std::string der = Taken(bytes);
    if (traits.signatureIsBroken)
        der.back() = static_cast<char>(der.back() ^ 1);
    Certificate finished = Finish(std::move(der), std::move(key));
    finished.fileName = FileNameOf(traits);
    return finished;
}

} // namespace

Certificate SelfSigned(const Traits &traits) {
    return Make(nullptr, traits, KeyOf(traits.rsaBits, traits.keyNumber));
}

Certificate IssuedBy(const Certificate &issuer, const Traits &traits) {
    return Make(&issuer, traits, KeyOf(traits.rsaBits, traits.keyNumber));
}

Certificate IssuedBy(const Certificate &issuer, const Traits &traits,
                     std::shared_ptr<const Key> key) {
    return Make(&issuer, traits, std::move(key));
}

std::string RevocationList(const Certificate &issuer, const std::vector<Certificate> &revoked,
                           const ListTimes &times) {
    gnutls_x509_crl_t made = nullptr;
    Check(gnutls_x509_crl_init(&made), "revocation list");
    const CrlPtr crl(made);
    const int64_t now = time(nullptr);
    Check(gnutls_x509_crl_set_version(made, 2), "revocation list");
    Check(gnutls_x509_crl_set_this_update(made, now + times.made), "revocation list");
    Check(gnutls_x509_crl_set_next_update(made, now + times.next), "revocation list");
    Check(gnutls_x509_crl_set_number(made, "\1", 1), "revocation list");
    for (const Certificate &certificate : revoked) {
        const CrtPtr crt = Read(certificate.der);
        Check(gnutls_x509_crl_set_crt(made, crt.get(), now + times.made), "revocation list");
    }
    const CrtPtr signer = Read(issuer.der);
    Check(gnutls_x509_crl_privkey_sign(made, signer.get(), issuer.key->Handle(), GNUTLS_DIG_SHA256,
                                       0),
          "revocation list");
    gnutls_datum_t text{};
    Check(gnutls_x509_crl_export2(made, GNUTLS_X509_FMT_PEM, &text), "revocation list");
    return Taken(text);
}

std::string PemOf(const std::vector<Certificate> &certificates) {
    std::string text;
    for (const Certificate &certificate : certificates)
        text += certificate.pem;
    return text;
}

std::string ToPem(std::string_view label, std::string_view der) {
    const std::string name(label);
    const gnutls_datum_t bytes = DatumOf(der);
    gnutls_datum_t text{};
    Check(gnutls_pem_base64_encode2(name.c_str(), &bytes, &text), "PEM");
    return Taken(text);
}

} // namespace certificates
