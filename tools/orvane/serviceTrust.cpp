#include "tools/orvane/serviceTrust.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <utility>

#include <fmt/format.h>

#include "tools/orvane/message.h"
#include "tools/orvane/owners.h"
#include "tools/orvane/question.h"
#include "tools/orvane/terminal.h"

namespace fs = std::filesystem;

namespace orvaneCli {

namespace {

using CertInfoPtr = std::unique_ptr<SSLCertInfo, Released<SSL_FreeCertInfo>>;

/* Returns whether a name has the form "0123abcd.0", by which authorities are found in a folder. */
bool IsHashName(const std::string &name) {
    return name.size() > 9 && name[8] == '.' && name.find_first_not_of("0123456789abcdef") == 8 &&
           name.find_first_not_of("0123456789", 9) == std::string::npos;
}

std::string CheckFolder(const fs::path &path) {
    std::error_code error;
    for (fs::directory_iterator at(path, error), end; !error && at != end; at.increment(error)) {
        if (IsHashName(at->path().filename().string()))
            return "";
    }
    return error ? error.message()
                 : Text(MSGID("ca.noHash") "holds no certificate named by its hash; \"openssl "
                                           "rehash\" makes the names");
}

ServiceAddress AddressOf(const std::string &url) {
    const auto address = ParseServiceAddress(url);
    if (!address)
        throw BadUsage(Text(MSGID("address.bad") "\"%s\" is no http or https address",
                            Printable(url).c_str()));
    return *address;
}

/* An http service may redirect to https on the same host, whose certificate is then checked. */
std::string KeyOf(ServiceAddress address) {
    if (!address.isTls && address.port == 80)
        address.port = 443;
    return address.Key();
}

/* Returns the lines, each with a prefix. */
std::string Indented(const std::string &lines, const char *mark) {
    std::string text;
    size_t begin = 0;
    while (begin < lines.size()) {
        const size_t end = std::min(lines.find('\n', begin), lines.size());
        if (end > begin)
            text += fmt::format("{}{}\n", mark, lines.substr(begin, end - begin));
        begin = end + 1;
    }
    return text;
}

} // namespace

std::string CheckPin(const std::string &text) {
    return SSL_IsThumbprint(text.c_str())
               ? ""
               : Text(MSGID("pin.bad") "is no thumbprint: 20 bytes (SHA-1) or 32 (SHA-256) in "
                                       "hexadecimal, with \":\" "
                                       "between or without");
}

std::string CheckAuthorities(const std::string &path) {
    std::error_code error;
    if (fs::is_directory(path, error))
        return CheckFolder(path);
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file)
        return Text(MSGID("ca.unreadable") "cannot be read");
    return text.find("-----BEGIN ") == std::string::npos
               ? Text(MSGID("ca.noPem") "holds no certificate in PEM form")
               : "";
}

ServiceTrust::ServiceTrust(const TrustOptions &trustOptions, const std::string &url)
    : options(trustOptions), address(AddressOf(url)), key(KeyOf(address)),
      known(KnownServices::DefaultPath()) {
    if (!address.isTls && (!options.pin.empty() || !options.ca.empty()))
        throw BadUsage(
            Text(MSGID("trust.needsTls") "--pin and --ca need an https address, which %s is not",
                 url.c_str()));
}

ServiceTrust::~ServiceTrust() {
    if (question)
        EndQuestion(false);
}

void ServiceTrust::Install(OrvaneSession *session) {
    if (options.isInsecure)
        return;
    if (!address.isSafe)
        throw BadUsage(Text(
            MSGID("trust.plain") "http to %s is not encrypted and shows the password to whoever is "
                                 "on the way; --insecure connects nevertheless",
            address.host.c_str()));
    orvane_session_set_strict_tls(session, TRUE);
    if (options.ca.empty()) {
        orvane_session_set_verify_certificate_func(session, OnVerify, this);
        return;
    }
    const bool isFolder = fs::is_directory(options.ca);
    orvane_session_set_ssl_certificate_location(session, isFolder ? nullptr : options.ca.c_str(),
                                                isFolder ? options.ca.c_str() : nullptr);
}

void ServiceTrust::Install(void *sslContext) {
    SSL_SetVerifyCb(static_cast<SSL_CTX *>(sslContext), OnVerifyContext, this, nullptr);
}

gint ServiceTrust::OnVerify(GObject *context, gpointer storeContext, gpointer certificate,
                            gpointer data, OrvaneVerifyCertificateDoneFunc done) {
    auto *self = static_cast<ServiceTrust *>(data);
    const Decision decision =
        self->Decide(static_cast<X509_STORE_CTX *>(storeContext), static_cast<X509 *>(certificate));
    if (decision == Decision::kUndecided)
        self->tellSession = [context, done](bool isAccepted) { done(context, isAccepted); };
    else
        done(context, decision == Decision::kAccepted);
    return 0;
}

int ServiceTrust::OnVerifyContext(X509_STORE_CTX *storeContext, X509 *certificate, gpointer data) {
    return static_cast<ServiceTrust *>(data)->Decide(storeContext, certificate) ==
           Decision::kAccepted;
}

ServiceTrust::Decision ServiceTrust::Accept(const char *why) {
    how = why;
    return Decision::kAccepted;
}

ServiceTrust::Decision ServiceTrust::Refuse(std::string why) {
    refusal = std::move(why);
    return Decision::kRefused;
}

ServiceTrust::Decision ServiceTrust::Decide(X509_STORE_CTX *storeContext, X509 *certificate) {
    if (options.isInsecure)
        return Accept(MSGID("trust.unchecked") "not checked");
    const CertInfoPtr info(certificate == nullptr ? nullptr : SSL_GetCertInfo(certificate));
    if (info == nullptr)
        return Refuse(
            Text(MSGID("trust.unreadable") "the certificate of %s cannot be read", key.c_str()));
    const Seen seen = {Printable(info->subject),
                       Printable(info->issuer),
                       info->notBefore,
                       info->notAfter,
                       info->thumbprint,
                       info->thumbprint256,
                       info->keyBits,
                       info->isEllipticCurve != FALSE,
                       ""};
    if (options.pin.empty())
        return DecideByMemory(storeContext, certificate, seen);
    if (SSL_MatchThumbprint(certificate, options.pin.c_str()))
        return Accept(MSGID("trust.pinned") "pinned");
    return Refuse(Text(MSGID("trust.notPinned") "the certificate of %s is not the pinned one\n"
                                                "  pinned     %s\n"
                                                "  presented  %s (SHA-1)\n"
                                                "             %s (SHA-256)",
                       key.c_str(), options.pin.c_str(), seen.thumbprint.c_str(),
                       seen.thumbprint256.c_str()));
}

ServiceTrust::Decision ServiceTrust::DecideByMemory(X509_STORE_CTX *storeContext, X509 *certificate,
                                                    const Seen &seen) {
    std::string expected = accepted;
    try {
        if (expected.empty())
            expected = known.Find(key);
    } catch (const Failure &failure) {
        return Refuse(Text(MSGID("trust.badMemory") "what is known of %s cannot be used: %s",
                           key.c_str(), failure.what()));
    }
    if (!expected.empty() && SSL_MatchThumbprint(certificate, expected.c_str()))
        return Accept(MSGID("trust.known") "known");
    if (!expected.empty())
        return Refuse(Text(MSGID("trust.changed") "THE CERTIFICATE OF %s HAS CHANGED: another "
                                                  "service may answer in its place\n"
                                                  "  known      %s\n"
                                                  "  presented  %s\n"
                                                  "If it was renewed, and whoever runs the service "
                                                  "confirms the new thumbprint, remove\n"
                                                  "the line of %s from %s",
                           key.c_str(), expected.c_str(), seen.thumbprint256.c_str(), key.c_str(),
                           known.Path().c_str()));

    const guint64 errors =
        SSL_GetServerCertErrors(storeContext, certificate, address.host.c_str(), nullptr);
    if (errors == 0)
        return Accept(MSGID("trust.trusted") "by a trusted authority");
    const GPtr<char> problems(SSL_DescribeCertErrors(errors));
    if (!CanAsk())
        return Refuse(Text(MSGID("trust.noTerminal") "the certificate of %s is not known, and "
                                                     "there is no terminal to ask on; if it is the "
                                                     "right one, say so with --pin %s",
                           key.c_str(), seen.thumbprint256.c_str()));
    question = seen;
    question->problems = problems.get();
    return Decision::kUndecided;
}

void ServiceTrust::Remember(const Seen &seen) {
    try {
        known.Remember(key, seen.thumbprint256);
    } catch (const Failure &failure) {
        Report(
            Text(MSGID("trust.notRemembered") "accepted, but not remembered: %s", failure.what()));
    }
}

void ServiceTrust::EndQuestion(bool isAccepted) {
    question.reset();
    if (const auto tell = std::exchange(tellSession, nullptr))
        tell(isAccepted);
}

void ServiceTrust::Decline() {
    refusal =
        Text(MSGID("trust.notAccepted") "the certificate of %s was not accepted", key.c_str());
    EndQuestion(false);
}

bool ServiceTrust::Answer() {
    static constexpr const char *kButtons[] = {
        MSGID("button.yes") "yes", MSGID("button.once") "once", MSGID("button.no") "no", nullptr};
    enum { kYes, kOnce, kNo };
    const Seen seen = question.value();
    const std::string curve =
        seen.isEllipticCurve ? Text(MSGID("trust.curve") ", elliptic curve") : "";
    const std::string details =
        Text(MSGID("trust.unknown") "The certificate of %s is not known.\n"
                                    "  subject  %s\n"
                                    "  issuer   %s\n"
                                    "  valid    %s to %s\n"
                                    "  key      %d bits%s\n"
                                    "  SHA-1    %s\n"
                                    "  SHA-256  %s\n",
             key.c_str(), seen.subject.c_str(), seen.issuer.c_str(), seen.notBefore.c_str(),
             seen.notAfter.c_str(), seen.keyBits, curve.c_str(), seen.thumbprint.c_str(),
             seen.thumbprint256.c_str()) +
        Indented(seen.problems, Text(MSGID("trust.problem") "  problem  ").c_str());
    const int answer =
        Choose(kButtons, kNo, details, MSGID("trust.accept") "Accept it: yes, once, or no?");
    if (answer == kNo) {
        Decline();
        return false;
    }
    if (answer == kYes)
        Remember(seen);
    accepted = seen.thumbprint256;
    EndQuestion(true);
    return true;
}

std::string ServiceTrust::Summary() const {
    if (!address.isTls && how == nullptr)
        return Text(MSGID("trust.notEncrypted") "not encrypted");
    if (options.isInsecure)
        return Text(MSGID("trust.notChecked") "TLS, certificate not checked");
    if (!options.ca.empty())
        return Text(MSGID("trust.byAuthority") "TLS, certificate by an authority of %s",
                    options.ca.c_str());
    return Text(MSGID("trust.summary") "TLS, certificate %s",
                PlainText(how == nullptr ? MSGID("trust.notSeen") "not seen" : how).c_str());
}

} // namespace orvaneCli
