// Why an operation did not succeed, in words for people.
#include <algorithm>
#include <array>
#include <string>

#include <orvane/schema/ozy.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/printableText.h"
#include "ozy/lib/orvane/listener/orvaneListenerInt.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"

namespace {

struct ErrorRow {
    OrvaneTransportError error;
    BasicHttpErrorCode transport; /* the same number in the transport */
    const char *name;
    const char *nick;
    const char *text;
};

#define ROW(word, nick, text)                                                                      \
    { ORVANE_TRANSPORT_##word, BASICHTTP_ERROR_##word, "ORVANE_TRANSPORT_" #word, nick, text }

constexpr auto kErrors = std::to_array<ErrorRow>({
    ROW(NONE, "none", "The transfer went well."),
    ROW(UNSUPPORTED_PROTOCOL, "unsupported-protocol", "The URL is neither http nor https."),
    ROW(URL_MALFORMAT, "url-malformat",
        "The URL cannot be read. It should be like https://host.example/sdk."),
    ROW(COULDNT_RESOLVE_PROXY, "couldnt-resolve-proxy",
        "The name of the proxy is not known. Check HALDEN_HTTPSPROXY."),
    ROW(COULDNT_RESOLVE_HOST, "couldnt-resolve-host",
        "The name of the host is not known. Check its spelling and the name server."),
    ROW(COULDNT_CONNECT, "couldnt-connect",
        "The connection was refused, or the host cannot be reached. Check host and port, and that "
        "the "
        "service runs."),
    ROW(HTTP_RETURNED_ERROR, "http-returned-error", "The service answered with an HTTP error."),
    ROW(OPERATION_TIMEDOUT, "operation-timedout", "The operation took longer than its time limit."),
    ROW(SSL_CONNECT_ERROR, "ssl-connect-error",
        "The TLS handshake failed. Check that the port speaks https."),
    ROW(TOO_MANY_REDIRECTS, "too-many-redirects",
        "The service redirects too often, or to another host."),
    ROW(TRANSFER, "transfer", "The connection broke, or the reply is larger than allowed."),
    ROW(SSL_SECURITY, "ssl-security",
        "The certificate is not trusted, or the connection is not encrypted. Check the "
        "certificate, its "
        "name and the CA certificates."),
    ROW(CONNECT_TIMEOUT, "connect-timeout", "The host did not accept a connection in time."),
    ROW(INACTIVITY_TIMEOUT, "inactivity-timeout",
        "The service has sent and accepted nothing for too long."),
    ROW(GENERIC, "generic", "The transfer failed. The log has the cause."),
});

#undef ROW

static_assert(std::ranges::all_of(kErrors, [](const ErrorRow &row) {
    return int(row.error) == int(row.transport);
}));
static_assert(std::ranges::is_sorted(kErrors, {}, &ErrorRow::error));

struct OutcomeRow {
    OrvaneOutcome outcome;
    const char *name;
    const char *nick;
    const char *text; /* of an end that has no fault */
};

#define ROW(word, nick, text)                                                                      \
    { ORVANE_OUTCOME_##word, "ORVANE_OUTCOME_" #word, nick, text }

/* In the order of the enumeration. */
constexpr auto kOutcomes = std::to_array<OutcomeRow>({
    ROW(SUCCEEDED, "succeeded", "The operation succeeded."),
    ROW(FAULT, "fault", "The operation failed, and no reason was given."),
    ROW(TRANSPORT, "transport", "There was no reply that could be read."),
    ROW(NOT_SENT, "not-sent",
        "Nothing was sent. Check that the session is connected and that the arguments are right."),
    ROW(DISCONNECTED, "disconnected", "The connection ended first."),
    ROW(SESSION_RELEASED, "session-released", "The session was released first."),
    ROW(SHUT_DOWN, "shut-down", "The library was shut down first."),
    ROW(OBJECT_GONE, "object-gone", "The object was released before it was loaded."),
    ROW(TIMED_OUT, "timed-out", "The operation took longer than its time limit."),
    ROW(CANCELLED, "cancelled", "The operation was cancelled."),
});

#undef ROW

static_assert(kOutcomes.back().outcome == int(kOutcomes.size()) - 1);

struct StatusRow {
    glong status;
    const char *text;
};

constexpr StatusRow kStatuses[] = {
    {401, "The service asks for another kind of login. Check that the URL is that of the service."},
    {403, "The access is not allowed. Check the URL and who may use the service."},
    {404, "There is nothing under this URL. Check its path, such as /sdk."},
    {407, "The proxy asks for a login."},
    {502, "A gateway cannot reach the service. Try again later."},
    {503, "The service is not available at present. Try again later."},
    {504, "A gateway got no answer from the service. Try again later."},
};

/* A reply that is no SOAP message. */
std::string PageText(glong status) {
    const std::string number = "HTTP status " + std::to_string(status) + ". ";
    for (const StatusRow &row : kStatuses) {
        if (row.status == status)
            return number + row.text;
    }
    if (status >= 400)
        return number + "The service refused the request. Check the URL.";
    return "The reply is no SOAP message. Check that the URL is that of the service, not of a web "
           "page.";
}

std::string ReplyText(guint errorCode, glong status) {
    if (errorCode != BASICHTTP_ERROR_NONE)
        return std::string(
                   orvane_transport_error_get_text(static_cast<OrvaneTransportError>(errorCode))) +
               " (error " + std::to_string(errorCode) + ")";
    return status == 0 ? kOutcomes[ORVANE_OUTCOME_TRANSPORT].text : PageText(status);
}

std::string FaultText(SkemaQormMethodFault *fault) {
    if (G_OBJECT_TYPE(fault) == ORVANE_TYPE_FAULT_INVALID_RESPONSE) {
        guint errorCode = 0;
        glong status = 0;
        g_object_get(fault, "errorCode", &errorCode, "responseCode", &status, nullptr);
        return ReplyText(errorCode, status);
    }
    const char *name = OrvaneType_WireName(G_OBJECT_TYPE(fault));
    std::string text = G_OBJECT_TYPE(fault) == ORVANE_TYPE_FAULT_UNEXPECTED || name == nullptr
                           ? "Unexpected"
                           : name;
    const char *own = fault->fault_string;
    if (own != nullptr && *own != '\0')
        text += std::string(": ") + own;
    if (SKEMA_IS_QORM_CORE_INVALID_PROPERTY(fault)) {
        char *path = nullptr;
        g_object_get(fault, "name", &path, nullptr);
        const GPtr<char> owner(path);
        if (path != nullptr && *path != '\0')
            text += std::string(" (property ") + path + ")";
    }
    return PrintableText_Make(text);
}

/* The fault of the present operation; NULL if it has none. */
SkemaQormMethodFault *FaultOf(const OrvaneListenerPrivate *priv) {
    if (priv->operation.isFaultCurrent)
        return priv->operation.fault;
    return priv->state == ORVANE_LISTENER_FAILED ? priv->fault : nullptr;
}

/* What is known beside the outcome; empty if nothing is. */
std::string ReasonText(const OrvaneListener *listener) {
    const OrvaneOperation &operation = listener->priv->operation;
    SkemaQormMethodFault *fault = FaultOf(listener->priv);
    if (fault == nullptr || operation.hasReply)
        return operation.hasReply ? ReplyText(operation.errorCode, operation.responseCode) : "";
    const std::string text = FaultText(fault);
    if (SKEMA_IS_OZY_FAULT_INVALID_LOGIN(fault))
        return "The user name or the password is wrong. (" + text + ")";
    return text;
}

/* "https://host.example/sdk: " before what a person would look for there; empty where that helps nobody. */
std::string UrlText(const OrvaneListener *listener, OrvaneOutcome outcome) {
    const char *url = listener->priv->operation.url;
    const bool isOfUrl = outcome == ORVANE_OUTCOME_FAULT || outcome == ORVANE_OUTCOME_TRANSPORT ||
                         outcome == ORVANE_OUTCOME_NOT_SENT || outcome == ORVANE_OUTCOME_TIMED_OUT;
    return isOfUrl && url != nullptr ? std::string(url) + ": " : "";
}

std::string ErrorText(const OrvaneListener *listener, OrvaneOutcome outcome) {
    std::string reason;
    const SkemaQormMethodFault *fault = FaultOf(listener->priv);
    if (outcome == ORVANE_OUTCOME_DISCONNECTED && fault != nullptr &&
        fault->fault_string != nullptr) /* the library's own text */
        return std::string("The connection ended: ") + fault->fault_string + ".";
    if (outcome == ORVANE_OUTCOME_FAULT || outcome == ORVANE_OUTCOME_TRANSPORT ||
        outcome == ORVANE_OUTCOME_TIMED_OUT)
        reason = ReasonText(listener);
    return UrlText(listener, outcome) + (reason.empty() ? kOutcomes[outcome].text : reason);
}

/* The rows as an enumeration's values, ended by a zeroed one. */
template <const auto &rows, auto value> const GEnumValue *EnumValues() {
    static constexpr auto kValues = [] {
        std::array<GEnumValue, rows.size() + 1> values{};
        for (size_t i = 0; i < rows.size(); i++)
            values[i] = {gint(rows[i].*value), rows[i].name, rows[i].nick};
        return values;
    }();
    return kValues.data();
}

} // namespace

GQuark orvane_error_quark(void) {
    return g_quark_from_static_string("orvane-error-quark");
}

GType orvane_outcome_get_type(void) {
    static gsize type = 0;
    if (g_once_init_enter(&type))
        g_once_init_leave(
            &type,
            g_enum_register_static("OrvaneOutcome", EnumValues<kOutcomes, &OutcomeRow::outcome>()));
    return type;
}

GType orvane_transport_error_get_type(void) {
    static gsize type = 0;
    if (g_once_init_enter(&type))
        g_once_init_leave(&type, g_enum_register_static("OrvaneTransportError",
                                                        EnumValues<kErrors, &ErrorRow::error>()));
    return type;
}

const char *orvane_transport_error_get_text(OrvaneTransportError error) {
    const auto found = std::ranges::find(kErrors, error, &ErrorRow::error);
    return found != kErrors.end() ? found->text : kErrors.back().text;
}

char *orvane_fault_describe(SkemaQormMethodFault *fault) {
    g_return_val_if_fail(SKEMA_IS_QORM_METHOD_FAULT(fault), nullptr);
    return g_strdup(FaultText(fault).c_str());
}

gboolean orvane_listener_get_error(OrvaneListener *listener, GError **error) {
    g_return_val_if_fail(ORVANE_IS_LISTENER(listener), FALSE);
    const OrvaneOperation &operation = listener->priv->operation;
    if (!operation.hasOutcome && !operation.isDecided)
        return FALSE;
    if (operation.outcome == ORVANE_OUTCOME_SUCCEEDED)
        return FALSE;
    g_set_error_literal(error, ORVANE_ERROR, operation.outcome,
                        ErrorText(listener, operation.outcome).c_str());
    return TRUE;
}
