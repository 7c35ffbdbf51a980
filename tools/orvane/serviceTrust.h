/*
 * serviceTrust.h -- decides on the certificate of a service by options, known services and the user
 *
 *   --insecure           any
 *   --pin THUMBPRINT     that certificate, whatever else is wrong with it
 *   --ca FILE-OR-DIR     one by these authorities with the name of the host; libcurl checks that
 *   none of these        the one in known_services; if it has none, one by the system's authorities;
 *                        otherwise the user decides
 *
 *   handshake -> accepted or refused at once
 *             -> undecided: it fails -> Answer() asks the user -> the second connection is accepted
 *
 * Errors:  Failure; WhyRefused() has the reason of a refusal.
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

/* Return why a text is not valid for --pin or --ca; empty if it is. */
std::string CheckPin(const std::string &text);
std::string CheckAuthorities(const std::string &path);

class ServiceTrust {
public:
    /* A pin or authorities for an address that is not https are a Failure: they would have no effect. */
    ServiceTrust(const TrustOptions &options, const std::string &url);
    ~ServiceTrust();
    ServiceTrust(const ServiceTrust &) = delete;
    ServiceTrust &operator=(const ServiceTrust &) = delete;

    /* Makes a session use this object for all of its connections. Call it once before the session connects. The
     * object must outlive the connect. */
    void Install(OrvaneSession *session);

    /* Makes a context of libcurl use this object for its next handshake. */
    void Install(void *sslContext);

    /* Returns whether the user must decide first. */
    bool HasQuestion() const { return question.has_value(); }
    /* Asks the user. Returns whether to connect again. */
    bool Answer();
    /* Refuses instead of asking, where the user cannot be asked. */
    void Decline();

    /* Returns the reason of a refusal; empty without one. */
    const std::string &WhyRefused() const { return refusal; }
    /* Returns a description of what was accepted last: "TLS, certificate pinned". */
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

    std::string accepted;      /* SHA-256 of the one that the user accepted in this run */
    const char *how = nullptr; /* a message */
    std::string refusal;

    std::optional<Seen> question;
    std::function<void(bool)> tellSession; /* receives the decision; empty if none is pending */
};

} // namespace orvaneCli
