/*
 * fetch.h -- schema documents from a service, through the library's own transport
 *
 * Locations in a document are resolved against its address and must lead to the same scheme, host and
 * port. A document of more than 32 MiB is refused. Certificates are checked by whoever is given for
 * that, or by authorities.
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
    /* Runs the loop until the condition holds; false if that took too long. */
    std::function<bool(const std::function<bool()> &)> runUntil;
};

/* Decides on the certificate of one service. */
class FetchTrust {
public:
    virtual ~FetchTrust() = default;
    /* Makes the next handshake of this context of libcurl ask. */
    virtual void Prepare(gpointer sslContext) = 0;
    /* After a handshake that failed: true if it may succeed now. */
    virtual bool Reconsider() = 0;
    /* Why a certificate was refused; empty if none was. */
    virtual std::string WhyRefused() const = 0;
};

struct FetchOptions {
    /* Who decides on the service at an https address; it stays the function's. Without a function,
     * and where it gives none, authorities do. */
    std::function<FetchTrust *(const std::string &url)> trustOf;
    std::string authorities;   /* a file, or a folder; empty: those of the system */
    bool isInsecure = false;   /* checks no certificate */
    guint timeoutSeconds = 30; /* without a byte */
};

class UrlSource : public DocumentSource {
public:
    UrlSource(FetchLoop loop, FetchOptions options);
    ~UrlSource() override;
    UrlSource(const UrlSource &) = delete;
    UrlSource &operator=(const UrlSource &) = delete;

    /* An http or https address that is given by the user. */
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

/* A loop of its own over GLib's; one at a time. */
class GlibFetchLoop {
public:
    GlibFetchLoop();
    ~GlibFetchLoop();
    GlibFetchLoop(const GlibFetchLoop &) = delete;
    GlibFetchLoop &operator=(const GlibFetchLoop &) = delete;

    FetchLoop Loop(int limitSeconds);

private:
    GMainContext *context;
};

} // namespace schemaImport
