/*
 * serviceTrust.h -- whether the certificate of a service is accepted: options, memory, the user
 *
 *   --insecure           any
 *   --pin THUMBPRINT     that one, whatever else is wrong with it
 *   --ca FILE-OR-DIR     one by these authorities that bears the host's name; libcurl checks that
 *   none of these        the one that known_services has; if it has none, one that the system's
 *                        authorities vouch for; otherwise the user is asked
 *
 *   handshake -> accepted or refused at once
 *             -> undecided: it fails -> Answer() asks -> the connection is made again, and accepted
 *
 * Errors:  Failure; a refusal is told by WhyRefused().
 * Threads: that of the loop.
 */
#pragma once

#include <functional>
#include <optional>
#include <string>

#include <orvane/orvane.h>
#include <orvane/ssl.h>

#include "tools/orvane/knownServices.h"
#include "tools/orvane/serviceAddress.h"

namespace orvaneCli {

struct TrustOptions {
    std::string pin;
    std::string ca; /* a file, or a folder of files named by hash */
    bool isInsecure = false;
};

/* Why a text cannot be given as --pin or as --ca; empty if it can. */
std::string CheckPin(const std::string &text);
std::string CheckAuthorities(const std::string &path);

class ServiceTrust {
public:
    /* A pin or authorities for an address that is not https are a Failure: they would do nothing. */
    ServiceTrust(const TrustOptions &options, const std::string &url);
    ~ServiceTrust();
    ServiceTrust(const ServiceTrust &) = delete;
    ServiceTrust &operator=(const ServiceTrust &) = delete;

    /* Makes a session decide by this, on all of its connections. Once, before it connects; this must
     * live as long as the session connects. */
    void Install(OrvaneSession *session);

    /* For a context of libcurl's whose next handshake shall be decided by this. */
    void Install(void *sslContext);

    /* Whether somebody must be asked before it can go on. */
    bool HasQuestion() const { return question.has_value(); }
    /* Asks. True if the connection is to be made again. */
    bool Answer();

    /* Empty if nothing was refused. */
    const std::string &WhyRefused() const { return refusal; }
    /* "TLS, certificate pinned", for people; what was accepted last. */
    std::string Summary() const;

private:
    enum class Decision { kAccepted, kRefused, kUndecided };
    struct Seen {
        std::string subject, issuer, notBefore, notAfter, thumbprint, thumbprint256;
        int keyBits;
        bool isEllipticCurve;
        std::string problems; /* lines */
    };

    Decision Decide(X509_STORE_CTX *storeContext, X509 *certificate);
    Decision DecideByMemory(X509_STORE_CTX *storeContext, X509 *certificate, const Seen &seen);
    Decision Accept(const char *how);
    Decision Refuse(std::string why);
    void Remember(const Seen &seen);
    void EndQuestion(bool isAccepted);

    static gint OnVerify(GObject *context, gpointer storeContext, gpointer certificate,
                         gpointer data, OrvaneVerifyCertificateDoneFunc done);
    static int OnVerifyContext(X509_STORE_CTX *storeContext, X509 *certificate, gpointer data);

    const TrustOptions options;
    ServiceAddress address;
    std::string key;
    KnownServices known;

    std::string accepted; /* SHA-256 of the one that the user accepted in this run */
    const char *how = nullptr;
    std::string refusal;

    std::optional<Seen> question;
    std::function<void(bool)> tellSession; /* takes the answer; empty if nobody waits for it */
};

} // namespace orvaneCli
