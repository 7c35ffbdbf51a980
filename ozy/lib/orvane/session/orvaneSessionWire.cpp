#include "ozy/lib/orvane/session/orvaneSessionWire.h"

#include <orvane/method.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/log.h"
#include "lib/misc/printableText.h"
#include "lib/misc/secret.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaSession.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/session/wireFile.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/wireText.h"

namespace {

constexpr gsize kDefaultLimit = 16384;

/* Bytes of a body that are shown, for sessions without a limit of their own. */
constinit gsize gLimit = kDefaultLimit;
constinit guint64 gLastNumber = 0;
/* Whether a function of an application runs: what it sends is not recorded. */
constinit bool gIsInFunction = false;

bool IsRecorded(const OrvaneSession *session) {
    return !gIsInFunction && (session->priv->wireReceiver != nullptr || WireFile_IsOpen());
}

/* Appends a number with at least so many digits. */
void AppendNumber(std::string *text, guint64 number, size_t minDigits = 1) {
    std::array<char, 20> digits{};
    size_t at = digits.size();
    for (; number > 0 || at > digits.size() - minDigits; number /= 10)
        digits[--at] = char('0' + number % 10);
    text->append(digits.data() + at, digits.size() - at);
}

/* "2026-01-02T03:04:05.678901Z" */
void AppendTime(std::string *text, gint64 time) {
    const auto seconds = static_cast<time_t>(time / G_USEC_PER_SEC);
    struct tm parts {};
    gmtime_r(&seconds, &parts);
    AppendNumber(text, guint64(parts.tm_year) + 1900, 4);
    const std::pair<char, int> fields[] = {{'-', parts.tm_mon + 1},
                                           {'-', parts.tm_mday},
                                           {'T', parts.tm_hour},
                                           {':', parts.tm_min},
                                           {':', parts.tm_sec}};
    for (const auto &[mark, number] : fields) {
        *text += mark;
        AppendNumber(text, guint64(number), 2);
    }
    *text += '.';
    AppendNumber(text, guint64(time % G_USEC_PER_SEC), 6);
    *text += 'Z';
}

/* The first line of an entry. */
std::string HeadText(const OrvaneWireRecord &record) {
    const bool isReply = record.kind == ORVANE_WIRE_REPLY;
    std::string text;
    text.reserve(512);
    AppendTime(&text, record.time);
    text += " #";
    AppendNumber(&text, record.number);
    text.append(isReply ? " < " : " > ").append(record.method).append(" ").append(record.object);
    if (isReply && record.errorCode != 0) {
        text += " error ";
        AppendNumber(&text, record.errorCode);
    }
    if (isReply) {
        text += ' ';
        AppendNumber(&text, guint64(record.status));
        text += ' ';
        AppendNumber(&text, guint64(record.duration / 1000));
        text += '.';
        AppendNumber(&text, guint64(record.duration % 1000), 3);
        text += " ms";
    }
    text += ' ';
    AppendNumber(&text, record.numBytes);
    return text += " bytes";
}

/* The path of a URL: neither the user nor the query, which may be secrets. */
std::string PathOf(BasicHttpRequest *request) {
    const char *url = nullptr;
    if (!BasicHttp_GetEffectiveURL(request, &url) || url == nullptr)
        return "/";
    const GPtr<char> shown(BasicHttp_RedactUrl(url));
    const std::string_view text(shown.get());
    const size_t scheme = text.find("://");
    const size_t path = text.find('/', scheme == std::string_view::npos ? 0 : scheme + 3);
    return path == std::string_view::npos ? "/" : std::string(text.substr(path));
}

/* Appends the headers of the response, each on a line. */
void AppendHeaders(std::string *text, BasicHttpRequest *request) {
    constexpr guint kMaxHeaders = 32;
    const guint number = std::min(BasicHttp_GetNumResponseHeaders(request), kMaxHeaders);
    for (guint i = 0; i < number; i++) {
        const GPtr<char> line(BasicHttp_RedactHeader(BasicHttp_GetResponseHeader(request, i)));
        text->append("\n  ").append(PrintableText_Make(g_strchomp(line.get())));
    }
}

/* Fills in what all records have in common, and passes the record on. */
void Emit(OrvaneSession *session, OrvaneWireRecord record, BasicHttpRequest *request,
          std::string_view content) {
    const OrvaneSessionPrivate *priv = session->priv;
    const gsize limit = priv->hasWireLimit ? priv->wireLimit : gLimit;
    record.numBytes = content.size();
    record.isCut = content.size() > limit;
    record.time = g_get_real_time();
    std::string text = HeadText(record);
    if (record.kind == ORVANE_WIRE_REPLY)
        AppendHeaders(&text, request);
    const size_t body = text.size() + 1;
    WireText_Append(&text, content.substr(0, limit));
    if (record.isCut)
        text += "\n  [...]";
    record.text = text.c_str();
    record.body = body < text.size() ? record.text + body : "";
    if (WireFile_IsOpen())
        WireFile_Write(text);
    OrvaneWireReceiver *receiver = priv->wireReceiver;
    if (receiver == nullptr)
        return;
    receiver->references++;
    gIsInFunction = true;
    receiver->function(session, &record, receiver->data);
    gIsInFunction = false;
    OrvaneWireReceiver_Unref(receiver);
}

std::unique_ptr<OrvaneWireCall> RecordRequest(OrvaneSession *session, BasicHttpRequest *request,
                                              const char *method, const char *target) {
    auto call = std::make_unique<OrvaneWireCall>();
    call->number = ++gLastNumber;
    call->monotonicTime = g_get_monotonic_time();
    call->method.reset(g_strdup(method));
    call->object.reset(g_strdup(target));
    gsize length = 0;
    const char *body = BasicHttp_GetBodyText(request, &length);
    OrvaneWireRecord record{};
    record.kind = ORVANE_WIRE_REQUEST;
    record.number = call->number;
    record.method = call->method.get();
    record.object = call->object.get();
    Emit(session, record, request, std::string_view(body != nullptr ? body : "", length));
    return call;
}

} // namespace

gboolean OrvaneSessionWire_IsInFunction(void) {
    return gIsInFunction;
}

void OrvaneSessionWire_Open(char *(*getVariable)(const char *name)) {
    WireFile_Open(getVariable("ORVANE_WIRE"));
    const char *limit = getVariable("ORVANE_WIRE_BODY");
    guint64 bytes = 0;
    gLimit = kDefaultLimit;
    if (limit == nullptr)
        return;
    if (g_ascii_string_to_unsigned(limit, 10, 0, G_MAXSIZE, &bytes, nullptr))
        gLimit = bytes;
    else
        Warning("WIRE: ORVANE_WIRE_BODY is no number of bytes\n");
}

void OrvaneSessionWire_Close(void) {
    WireFile_Close();
}

void OrvaneWireReceiver_Unref(OrvaneWireReceiver *receiver) {
    if (receiver == nullptr || --receiver->references > 0)
        return;
    if (receiver->destroy != nullptr)
        receiver->destroy(receiver->data);
    delete receiver;
}

std::unique_ptr<OrvaneWireCall> OrvaneSessionWire_Request(OrvaneSession *session,
                                                          BasicHttpRequest *request,
                                                          GObject *object, const char *method) {
    if (!IsRecorded(session))
        return nullptr;
    std::string target;
    if (object != nullptr)
        target = PrintableText_Make(std::string(OrvaneType_WireName(G_OBJECT_TYPE(object))) + ":" +
                                    SKEMA_QORM_MANAGED_OBJECT(object)->id);
    else
        target = PathOf(request);
    return RecordRequest(session, request, PrintableText_Make(method).c_str(), target.c_str());
}

std::unique_ptr<OrvaneWireCall> OrvaneSessionWire_Repeat(OrvaneSession *session,
                                                         BasicHttpRequest *request,
                                                         const OrvaneWireCall *former) {
    if (former == nullptr || !IsRecorded(session))
        return nullptr;
    return RecordRequest(session, request, former->method.get(), former->object.get());
}

void OrvaneSessionWire_Reply(OrvaneSession *session, const OrvaneWireCall &call,
                             BasicHttpRequest *request, const BasicHttpResponse *response) {
    if (!IsRecorded(session))
        return;
    OrvaneWireRecord record{};
    record.kind = ORVANE_WIRE_REPLY;
    record.number = call.number;
    record.method = call.method.get();
    record.object = call.object.get();
    record.duration = g_get_monotonic_time() - call.monotonicTime;
    std::string_view content;
    if (response != nullptr) {
        record.status = response->responseCode;
        record.errorCode = response->errorCode;
        content = {response->content, response->contentLength};
    }
    Emit(session, record, request, content);
}

char *orvane_method_format_request(const OrvaneMethodInfo *method, SkemaQormManagedObject *object,
                                   const GValue *values, guint numValues) {
    g_return_val_if_fail(method != nullptr && numValues <= method->numArguments, nullptr);
    g_return_val_if_fail(SKEMA_IS_QORM_MANAGED_OBJECT(object), nullptr);
    g_return_val_if_fail(g_type_is_a(G_OBJECT_TYPE(object), method->owner), nullptr);
    OrvaneSession *session = SchemaSession_GetLive(object);
    const char *typeName = OrvaneType_WireName(G_OBJECT_TYPE(object));
    if (session == nullptr || session->priv->version == nullptr || typeName == nullptr ||
        object->id == nullptr)
        return nullptr;
    std::vector<OrvaneArgument> arguments;
    for (guint i = 0; i < numValues; i++)
        arguments.push_back({method->arguments[i].name, &values[i]});
    gsize length = 0;
    const SecretText body(OrvaneSoap_Serialize(session, typeName, object->id, method->name,
                                               arguments.data(), numValues, &length));
    if (!body)
        return nullptr;
    std::string text;
    WireText_Append(&text, {body.get(), length});
    return g_strdup(text.c_str() + text.starts_with('\n'));
}

void orvane_session_set_wire_func(OrvaneSession *session, OrvaneWireFunc function, gpointer data,
                                  GDestroyNotify destroy) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    OrvaneWireReceiver *receiver =
        function != nullptr ? new OrvaneWireReceiver{function, data, destroy, 1} : nullptr;
    OrvaneWireReceiver_Unref(std::exchange(session->priv->wireReceiver, receiver));
}

void orvane_session_set_wire_limit(OrvaneSession *session, gsize bytes) {
    g_return_if_fail(ORVANE_IS_SESSION(session));
    session->priv->wireLimit = bytes;
    session->priv->hasWireLimit = true;
}
