/*
 * fetch.h -- schema documents from a service, through the library's own transport
 *
 * Locations in a document are resolved against its address and must lead to the same scheme, host and
 * port. A document of more than 32 MiB is refused. Certificates are checked by a FetchTrust or by authorities.
 *
 * Errors:  a false result with a text that says why.
 * Threads: one; the transport is started and stopped with the source, of which there is one at a time.
 */
#pragma once

#include <functional>

#include "lib/misc/poll.h"
#include "tools/schemaImport/documentSource.h"

namespace schemaImport {

/* The loop that the transport runs on. */
struct FetchLoop {
    OrvanePollCallback callback;
    OrvanePollCallbackRemove callbackRemove;
    /* Runs the loop until the condition is true; returns false if that took too long. */
    std::function<bool(const std::function<bool()> &)> runUntil;
};

/* Decides on the certificate of one service. */
class FetchTrust {
public:
    virtual ~FetchTrust() = default;
    /* Makes this object decide on the next handshake of a TLS context of libcurl. */
    virtual void Prepare(gpointer sslContext) = 0;
    /* Called after a failed handshake; returns true if another one may succeed. */
    virtual bool Reconsider() = 0;
    /* Returns why a certificate was refused; empty if none was. */
    virtual std::string WhyRefused() const = 0;
};

struct FetchOptions {
    /* Returns who decides on the service at an https address (transfer none). Without a function, and if it
     * returns null, authorities decide. */
    std::function<FetchTrust *(const std::string &url)> trustOf;
    std::string authorities;   /* a file, or a folder; empty: those of the system */
    bool isInsecure = false;   /* checks no certificate */
    guint timeoutSeconds = 30; /* time without a byte */
};

class UrlSource : public DocumentSource {
public:
    UrlSource(FetchLoop loop, FetchOptions options);
    ~UrlSource() override;
    UrlSource(const UrlSource &) = delete;
    UrlSource &operator=(const UrlSource &) = delete;

    /* Checks an http or https address of the user and makes it a document. */
    bool Name(const std::string &url, DocumentRef *document, std::string *why);

    bool Resolve(const DocumentRef &from, const std::string &location, DocumentRef *found,
                 std::string *why) override;
    bool Read(const DocumentRef &document, std::string *bytes, std::string *why) override;

private:
    struct Fetched;
    bool Fetch(const std::string &url, FetchTrust *trust, Fetched *fetched, std::string *why);

    FetchLoop loop;
    FetchOptions options;
};

/* A loop over a GMainContext of its own; one at a time. */
class GlibFetchLoop {
public:
    GlibFetchLoop();
    ~GlibFetchLoop();
    GlibFetchLoop(const GlibFetchLoop &) = delete;
    GlibFetchLoop &operator=(const GlibFetchLoop &) = delete;

    /* The function, which may be empty, is called after each turn; what it throws ends the waiting. */
    FetchLoop Loop(int limitSeconds, const std::function<void()> &afterTurn);

    /* Runs what is ready, without waiting. */
    void RunReady();

private:
    GMainContext *context;
};

} // namespace schemaImport
