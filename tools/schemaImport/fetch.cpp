#include "tools/schemaImport/fetch.h"

#include "apps/lib/basicHttp/basicHttpPtr.h"
#include "ozy/lib/orvaneGlib/glibLoop.h"
#include "tools/schemaImport/urlPart.h"

namespace schemaImport {

namespace {

constexpr gsize kMaxDocument = gsize(32) << 20;
constexpr const char *kSystemCertificates = "/etc/ssl/certs";

/* Returns the URL without its fragment, which is not sent. */
std::string UrlText(CURLU *url) {
    curl_url_set(url, CURLUPART_FRAGMENT, nullptr, 0);
    char *text = nullptr;
    if (curl_url_get(url, CURLUPART_URL, &text, 0) != CURLUE_OK)
        return "";
    return UrlTextPtr(text).get();
}

std::string OriginOf(CURLU *url) {
    return UrlPart(url, CURLUPART_SCHEME) + "://" + UrlPart(url, CURLUPART_HOST) + ":" +
           UrlPart(url, CURLUPART_PORT);
}

std::string WhyNot(BasicHttpErrorCode error, long status) {
    switch (error) {
    case BASICHTTP_ERROR_NONE:
        break;
    case BASICHTTP_ERROR_COULDNT_RESOLVE_HOST:
        return "the host is not known";
    case BASICHTTP_ERROR_COULDNT_CONNECT:
        return "no connection";
    case BASICHTTP_ERROR_SSL_CONNECT_ERROR:
    case BASICHTTP_ERROR_SSL_SECURITY:
        return "no secure connection: is the certificate one that --ca or --pin knows?";
    case BASICHTTP_ERROR_CONNECT_TIMEOUT:
    case BASICHTTP_ERROR_INACTIVITY_TIMEOUT:
        return "no answer in time";
    case BASICHTTP_ERROR_TRANSFER:
        return "the transfer broke off, the document is too large, or it is on another host";
    default:
        return "the transfer broke off (error " + std::to_string(error) + ")";
    }
    return status == 200 ? "" : "the service answers with status " + std::to_string(status);
}

/* A timer of a context, while this lives. */
struct TimeLimit {
    TimeLimit(GMainContext *context, int seconds)
        : source(g_timeout_source_new_seconds(static_cast<guint>(seconds))) {
        g_source_set_callback(
            source,
            [](gpointer data) -> gboolean {
                *static_cast<bool *>(data) = true;
                return G_SOURCE_REMOVE;
            },
            &isOver, nullptr);
        g_source_attach(source, context);
    }
    ~TimeLimit() {
        g_source_destroy(source);
        g_source_unref(source);
    }
    TimeLimit(const TimeLimit &) = delete;
    TimeLimit &operator=(const TimeLimit &) = delete;

    bool isOver = false;

private:
    GSource *source;
};

} // namespace

struct UrlSource::Fetched {
    FetchTrust *trust = nullptr;
    bool isOver = false;
    BasicHttpErrorCode error = BASICHTTP_ERROR_NONE;
    long status = 0;
    std::string bytes;

    static void OnContext(BasicHttpRequest *, gpointer sslContext, gpointer data) {
        static_cast<Fetched *>(data)->trust->Prepare(sslContext);
    }
    static void OnResponse(BasicHttpRequest *, BasicHttpResponse *response, gpointer data) {
        auto *fetched = static_cast<Fetched *>(data);
        fetched->isOver = true;
        fetched->error = response->errorCode;
        fetched->status = response->responseCode;
        fetched->bytes.assign(response->content, response->contentLength);
        BasicHttp_FreeResponse(response);
    }
};

UrlSource::UrlSource(FetchLoop fetchLoop, FetchOptions fetchOptions)
    : loop(std::move(fetchLoop)), options(std::move(fetchOptions)) {
    BasicHttp_Init(loop.callback, loop.callbackRemove);
    BasicHttp_SetMaxResponseSize(kMaxDocument);
}

UrlSource::~UrlSource() {
    BasicHttp_Shutdown();
}

bool UrlSource::Name(const std::string &url, DocumentRef *document, std::string *why) {
    const UrlPtr parsed(curl_url());
    const bool isUrl = curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) == CURLUE_OK;
    const std::string scheme = isUrl ? UrlPart(parsed.get(), CURLUPART_SCHEME) : "";
    if (scheme != "http" && scheme != "https") {
        *why = "is no http or https address";
        return false;
    }
    const std::string text = UrlText(parsed.get());
    *document = {text, text};
    return true;
}

bool UrlSource::Resolve(const DocumentRef &from, const std::string &location, DocumentRef *found,
                        std::string *why) {
    const UrlPtr base(curl_url());
    const UrlPtr url(curl_url());
    curl_url_set(base.get(), CURLUPART_URL, from.key.c_str(), 0);
    curl_url_set(url.get(), CURLUPART_URL, from.key.c_str(), 0);
    if (curl_url_set(url.get(), CURLUPART_URL, location.c_str(), 0) != CURLUE_OK) {
        *why = "is no address";
        return false;
    }
    if (OriginOf(base.get()) != OriginOf(url.get())) {
        *why = "leads to another scheme, host or port, and is not fetched";
        return false;
    }
    const std::string text = UrlText(url.get());
    *found = {text, text};
    return true;
}

bool UrlSource::Fetch(const std::string &url, FetchTrust *trust, Fetched *fetched,
                      std::string *why) {
    const std::string authorities =
        options.authorities.empty() ? kSystemCertificates : options.authorities;
    const char *checkedBy = options.isInsecure || trust != nullptr ? nullptr : authorities.c_str();
    const bool isFolder = g_file_test(authorities.c_str(), G_FILE_TEST_IS_DIR);
    const RequestPtr request(BasicHttp_CreateRequestWithSSL(
        url.c_str(), BASICHTTP_METHOD_GET, nullptr, "Accept: text/xml, application/xml", nullptr,
        isFolder ? nullptr : checkedBy, isFolder ? checkedBy : nullptr));
    if (request != nullptr) {
        BasicHttp_SetConnectTimeout(request.get(), options.timeoutSeconds);
        for (gint kind :
             {BASICHTTP_TIMEOUT_SENDING, BASICHTTP_TIMEOUT_SENT, BASICHTTP_TIMEOUT_RECEIVING})
            BasicHttp_SetInactivityTimeout(request.get(), kind, options.timeoutSeconds);
    }
    if (request != nullptr && trust != nullptr) {
        fetched->trust = trust;
        BasicHttp_SetSslManualVerification(request.get(), TRUE);
        BasicHttp_SetSslCtxProc(request.get(), Fetched::OnContext);
    }
    if (request == nullptr || !BasicHttp_SendRequest(request.get(), Fetched::OnResponse, fetched)) {
        *why = "the request cannot be started";
        return false;
    }
    if (!loop.runUntil([&] { return fetched->isOver; })) {
        *why = "no answer in time";
        return false;
    }
    *why = WhyNot(fetched->error, fetched->status);
    return why->empty();
}

bool UrlSource::Read(const DocumentRef &document, std::string *bytes, std::string *why) {
    FetchTrust *trust = document.key.starts_with("https:") && options.trustOf
                            ? options.trustOf(document.key)
                            : nullptr;
    Fetched fetched;
    bool isRead = Fetch(document.key, trust, &fetched, why);
    if (!isRead && trust != nullptr && trust->Reconsider()) {
        fetched = {};
        isRead = Fetch(document.key, trust, &fetched, why);
    }
    if (!isRead && trust != nullptr && !trust->WhyRefused().empty())
        *why = trust->WhyRefused();
    *bytes = std::move(fetched.bytes);
    return isRead;
}

GlibFetchLoop::GlibFetchLoop() : context(g_main_context_new()) {
    GlibLoop_Open(context);
}

GlibFetchLoop::~GlibFetchLoop() {
    GlibLoop_Close();
    g_main_context_unref(context);
}

FetchLoop GlibFetchLoop::Loop(int limitSeconds, const std::function<void()> &afterTurn) {
    const auto runUntil = [this, limitSeconds, afterTurn](const std::function<bool()> &condition) {
        const TimeLimit limit(context, limitSeconds);
        while (!condition() && !limit.isOver) {
            g_main_context_iteration(context, TRUE);
            if (afterTurn)
                afterTurn();
        }
        return condition();
    };
    return {GlibLoop_Callback, GlibLoop_CallbackRemove, runUntil};
}

void GlibFetchLoop::RunReady() {
    while (g_main_context_iteration(context, FALSE)) {
    }
}

} // namespace schemaImport
