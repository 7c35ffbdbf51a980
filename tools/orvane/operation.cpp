#include "tools/orvane/operation.h"

#include <algorithm>
#include <array>
#include <utility>

#include <fmt/format.h>
#include <orvane/schema/ferry.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "tools/orvane/library.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

/* A value that may be set, and is released. */
struct UnsetValue {
    GValue value = G_VALUE_INIT;
    ~UnsetValue() { orvane_value_cond_unset(&value); }
};

gboolean SetFlag(gpointer flag) {
    *static_cast<bool *>(flag) = true;
    return G_SOURCE_REMOVE;
}

/* Errors of the transport that the user may do something about. */
struct TransferError {
    guint code;
    const char *text;
};
constexpr auto kTransferErrors = std::to_array<TransferError>({
    {6, MSGID("transfer.host") "there is no such host; check the name in the address"},
    {7, MSGID("transfer.service") "no service answers there; check the address and its port, and "
                                  "whether the service runs"},
    {35, MSGID("transfer.tls") "no TLS connection can be made there; check that the port is one of "
                               "https"},
    {49, MSGID("transfer.certificate") "the certificate of the service is not accepted: its "
                                       "issuer, host name or validity; --ca and --pin name what "
                                       "is trusted"},
});
constexpr glong kFirstRefusal = 400; /* statuses of HTTP that refuse the request */
constexpr glong kFirstError = 500;

constexpr char kAnyFault[] = "MethodFault"; /* of no class of its own */
constexpr char kNoObject[] = "ManagedObjectNotFound";

/* Faults that the user may do something about. */
struct Advice {
    const char *fault;
    const char *text;
};
constexpr auto kAdvice = std::to_array<Advice>({
    {"InvalidLogin", MSGID("advice.login") "check the user name and the password"},
    {"NoPermission",
     MSGID("advice.permission") "the user lacks the privilege; log in as one that has it"},
    {"NotAuthenticated", MSGID("advice.session") "the service has ended the session; try again"},
    {"InvalidPowerState", MSGID("advice.power") "\"orvane ls -l\" shows which machines run"},
    {"DuplicateName", MSGID("advice.name") "choose another name"},
    {"MethodNotFound", MSGID("advice.method") "this service does not have the method"},
});

int StatusOf(OrvaneOutcome outcome, const std::string &faultName, guint errorCode) {
    switch (outcome) {
    case ORVANE_OUTCOME_TIMED_OUT:
        return kTimedOut;
    case ORVANE_OUTCOME_TRANSPORT:
        if (errorCode == ORVANE_TRANSPORT_OPERATION_TIMEDOUT ||
            errorCode == ORVANE_TRANSPORT_CONNECT_TIMEOUT ||
            errorCode == ORVANE_TRANSPORT_INACTIVITY_TIMEOUT)
            return kTimedOut;
        return errorCode == ORVANE_TRANSPORT_SSL_SECURITY ? kNotTrusted : kNoConnection;
    case ORVANE_OUTCOME_DISCONNECTED:
    case ORVANE_OUTCOME_NOT_SENT:
        return kNoConnection;
    case ORVANE_OUTCOME_SUCCEEDED:
    case ORVANE_OUTCOME_FAULT:
    case ORVANE_OUTCOME_SESSION_RELEASED:
    case ORVANE_OUTCOME_SHUT_DOWN:
    case ORVANE_OUTCOME_OBJECT_GONE:
    case ORVANE_OUTCOME_CANCELLED:
        break;
    }
    return faultName == "InvalidLogin" || faultName == "NotAuthenticated" ? kLoginRefused : kFailed;
}

std::string ArrayText(const GValueArray *array) {
    if (!array || array->n_values == 0)
        return "";
    std::string all;
    for (guint i = 0; i < array->n_values && i < 3; i++)
        all += (i > 0 ? ", " : "") + ValueText(&array->values[i]);
    return array->n_values > 3
               ? Text(MSGID("value.more") "%s, ... (%u in all)", all.c_str(), array->n_values)
               : all;
}

std::string ObjectText(gpointer object) {
    if (!object)
        return "";
    if (g_type_is_a(G_OBJECT_TYPE(object), g_type_from_name("SkemaQormManagedObject")))
        return Printable(static_cast<SkemaQormManagedObject *>(object)->id);
    return ClassName(object);
}

std::string EnumText(const GValue *value) {
    auto *enumClass = static_cast<GEnumClass *>(g_type_class_ref(G_VALUE_TYPE(value)));
    const GEnumValue *found = g_enum_get_value(enumClass, g_value_get_enum(value));
    const std::string text = found ? found->value_nick : "";
    g_type_class_unref(enumClass);
    return text;
}

} // namespace

bool RunUntil(const std::function<bool()> &condition, int seconds) {
    bool isLate = false;
    GSource *limit = g_timeout_source_new(guint(seconds) * 1000);
    g_source_set_callback(limit, SetFlag, &isLate, nullptr);
    g_source_attach(limit, nullptr);
    int signal = 0;
    while (!condition() && !isLate && signal == 0) {
        g_main_context_iteration(nullptr, TRUE);
        signal = Library::TakeSignal();
    }
    g_source_destroy(limit);
    g_source_unref(limit);
    if (signal != 0)
        throw Interrupted(signal);
    return condition();
}

Operation::Operation(std::string operationName, int seconds)
    : name(std::move(operationName)), timeoutSeconds(seconds), listener(orvane_listener_new()) {
    orvane_listener_set_completed_func(listener.get(), OnEnd, this, nullptr);
    g_signal_connect(listener.get(), "progress", G_CALLBACK(OnListenerProgress), this);
}

Operation::~Operation() {
    g_signal_handlers_disconnect_by_data(listener.get(), this);
    orvane_listener_set_completed_func(listener.get(), nullptr, nullptr, nullptr);
}

void Operation::OnEnd(OrvaneListener * /* ended */, OrvaneOutcome outcome, gpointer data) {
    auto *self = static_cast<Operation *>(data);
    self->outcome = outcome;
    self->isOver = true;
}

void Operation::OnListenerProgress(OrvaneListener *running, gpointer data) {
    const auto *self = static_cast<Operation *>(data);
    const gint percent = orvane_listener_get_progress(running);
    if (self->onProgress && percent >= 0)
        self->onProgress(percent);
}

bool Operation::EndsBefore(const std::function<bool()> &condition) {
    if (!RunUntil([&] { return isOver || condition(); }, timeoutSeconds))
        throw LateFailure(name, timeoutSeconds);
    return isOver;
}

void Operation::Wait() {
    EndsBefore([] { return false; });
}

void Operation::Succeed() {
    Wait();
    if (outcome != ORVANE_OUTCOME_SUCCEEDED)
        throw MakeFailure();
}

Failure Operation::MakeFailure() const {
    const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener.get()));
    if (outcome == ORVANE_OUTCOME_DISCONNECTED || outcome == ORVANE_OUTCOME_NOT_SENT)
        return Failure(fmt::format("{}: {}", name, LostFailure().what()), kNoConnection);
    return FailureOf(name, fault.get(), outcome);
}

std::vector<ObjectPtr<GObject>> Operation::Objects() {
    Succeed();
    UnsetValue result;
    std::vector<ObjectPtr<GObject>> objects;
    if (!orvane_listener_get_result(listener.get(), &result.value) ||
        !G_VALUE_HOLDS_BOXED(&result.value))
        throw Failure(Text(MSGID("noList") "%s: the answer holds no list", name.c_str()));
    const auto *array = static_cast<GValueArray *>(g_value_get_boxed(&result.value));
    objects.reserve(array != nullptr ? array->n_values : 0);
    for (guint i = 0; array && i < array->n_values; i++)
        objects.emplace_back(G_OBJECT(g_value_dup_object(&array->values[i])));
    return objects;
}

ObjectPtr<SkemaQormManagedObject> Operation::Object() {
    Succeed();
    UnsetValue result;
    if (!orvane_listener_get_result(listener.get(), &result.value) ||
        !G_VALUE_HOLDS_OBJECT(&result.value))
        return nullptr;
    gpointer object = g_value_get_object(&result.value);
    if (object == nullptr || !g_type_is_a(G_OBJECT_TYPE(object), SKEMA_TYPE_QORM_MANAGED_OBJECT))
        return nullptr;
    return ObjectPtr<SkemaQormManagedObject>(
        static_cast<SkemaQormManagedObject *>(g_object_ref_sink(object)));
}

ObjectPtr<SkemaQormMethodFault> Operation::Fail() {
    Wait();
    ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener.get()));
    if (outcome != ORVANE_OUTCOME_FAULT || !fault)
        throw Failure(
            Text(MSGID("noFault") "%s: it should have failed with a fault", name.c_str()));
    return fault;
}

std::string ClassName(gpointer object) {
    const auto *wireName =
        static_cast<const char *>(g_type_get_qdata(G_OBJECT_TYPE(object), orvane_quark_wsdlname()));
    return wireName ? wireName : G_OBJECT_TYPE_NAME(object);
}

const char *ListCommandOf(GType type) {
    if (g_type_is_a(type, SKEMA_TYPE_OZY_TASK))
        return "orvane task ls";
    return g_type_is_a(type, SKEMA_TYPE_FERRY_SERVER_JOB_JOB) ? "orvane job ls" : "orvane ls -R";
}

Failure LateFailure(const std::string &name, int seconds) {
    return Failure(Text(MSGID("noAnswer") "%s: no answer within %d s; --timeout SECONDS waits "
                                          "longer",
                        name.c_str(), seconds),
                   kTimedOut);
}

Failure LostFailure() {
    return Failure(Text(MSGID("connectionLost") "the connection to the service is lost; try again"),
                   kNoConnection);
}

Failure FailureOf(const std::string &name, SkemaQormMethodFault *fault, OrvaneOutcome outcome) {
    guint errorCode = ORVANE_TRANSPORT_NONE;
    std::string faultName;
    if (fault && g_type_is_a(G_OBJECT_TYPE(fault), ORVANE_TYPE_FAULT_INVALID_RESPONSE))
        g_object_get(fault, "errorCode", &errorCode, nullptr);
    else if (fault)
        faultName = ClassName(fault);
    if (errorCode != ORVANE_TRANSPORT_NONE && outcome == ORVANE_OUTCOME_FAULT)
        outcome = ORVANE_OUTCOME_TRANSPORT;
    std::string why = FaultText(fault);
    const std::string advice = AdviceText(fault);
    if (!advice.empty() && why.ends_with('.'))
        why.pop_back();
    return Failure(fmt::format("{}: {}{}", name, why, advice),
                   StatusOf(outcome, faultName, errorCode), faultName);
}

std::string AdviceText(SkemaQormMethodFault *fault) {
    const std::string name = fault != nullptr ? ClassName(fault) : kAnyFault;
    if (name == kAnyFault || g_type_is_a(G_OBJECT_TYPE(fault), ORVANE_TYPE_FAULT_UNEXPECTED))
        return Text(MSGID("advice.any") "; check the address, --wire FILE records what comes");
    if (name != kNoObject)
        return AdviceText(name);
    SkemaQormManagedObject *object = nullptr;
    g_object_get(fault, "obj", &object, nullptr);
    const ObjectPtr<SkemaQormManagedObject> owner(object);
    const GType type = object != nullptr ? G_OBJECT_TYPE(object) : 0;
    return "; " + Text(MSGID("advice.object") "\"%s\" shows what there is", ListCommandOf(type));
}

std::string AdviceText(const std::string &faultName) {
    const auto *known = std::ranges::find(kAdvice, faultName, &Advice::fault);
    return known == kAdvice.end() ? "" : "; " + PlainText(known->text);
}

std::string FaultText(SkemaQormMethodFault *fault) {
    if (!fault || ClassName(fault) == kAnyFault)
        return Text(MSGID("fault.unknown") "failed, and the service did not say why");
    if (g_type_is_a(G_OBJECT_TYPE(fault), ORVANE_TYPE_FAULT_UNEXPECTED))
        return Text(MSGID("fault.unexpected") "no usable answer");
    if (!g_type_is_a(G_OBJECT_TYPE(fault), ORVANE_TYPE_FAULT_INVALID_RESPONSE))
        return fmt::format("{}: {}", ClassName(fault),
                           fault->fault_string ? Printable(fault->fault_string)
                                               : Text(MSGID("fault.noText") "(no text)"));
    guint errorCode = 0;
    glong responseCode = 0;
    g_object_get(fault, "errorCode", &errorCode, "responseCode", &responseCode, nullptr);
    const auto *known = std::ranges::find(kTransferErrors, errorCode, &TransferError::code);
    if (known != kTransferErrors.end())
        return PlainText(known->text);
    const std::string text =
        Text(MSGID("transfer.other") "no usable answer (transfer error %u, HTTP status %ld)",
             errorCode, responseCode);
    return text +
           (responseCode >= kFirstRefusal && responseCode < kFirstError
                ? Text(MSGID("transfer.path") "; check the address, such as https://host/sdk")
                : Text(MSGID("transfer.again") "; try again, --wire FILE records what comes"));
}

std::string ValueText(const GValue *value) {
    if (G_VALUE_HOLDS_STRING(value))
        return g_value_get_string(value) ? Printable(g_value_get_string(value)) : "";
    if (G_VALUE_HOLDS_ENUM(value))
        return EnumText(value);
    if (G_VALUE_HOLDS_OBJECT(value))
        return ObjectText(g_value_get_object(value));
    if (g_type_is_a(G_VALUE_TYPE(value), g_type_from_name("GValueArray")))
        return ArrayText(static_cast<GValueArray *>(g_value_get_boxed(value)));
    if (G_VALUE_HOLDS_BOOLEAN(value))
        return g_value_get_boolean(value) ? "true" : "false";
    GValue text = G_VALUE_INIT;
    g_value_init(&text, G_TYPE_STRING);
    std::string shown;
    if (g_value_type_transformable(G_VALUE_TYPE(value), G_TYPE_STRING) &&
        g_value_transform(value, &text) && g_value_get_string(&text))
        shown = Printable(g_value_get_string(&text));
    g_value_unset(&text);
    return shown;
}

} // namespace orvaneCli
