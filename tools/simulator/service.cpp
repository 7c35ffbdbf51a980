#include "tools/simulator/service.h"

#include <algorithm>
#include <map>

#include <fmt/format.h>

#include "tools/simulator/estate.h"
#include "tools/simulator/types.h"

namespace simulator {

namespace {

constexpr char kCookieName[] = "orvane_session";

/* Returns the session key in a Cookie header; empty if there is none. */
std::string SessionKeyOf(const std::string &cookies) {
    const std::string start = std::string(kCookieName) + "=";
    for (size_t at = 0; at < cookies.size();) {
        const size_t first = cookies.find_first_not_of("; ", at);
        if (first == std::string::npos)
            break;
        const size_t end = std::min(cookies.find(';', first), cookies.size());
        std::string cookie = cookies.substr(first, end - first);
        if (cookie.starts_with(start)) {
            cookie.erase(0, start.size());
            std::erase(cookie, '"');
            return cookie;
        }
        at = end;
    }
    return "";
}

std::string HeaderOf(const HttpExchange &exchange, const std::string &name) {
    const auto at = exchange.headers.find(name);
    return at == exchange.headers.end() ? "" : at->second;
}

/* Checks the headers of a call. */
void CheckHeaders(const HttpExchange &exchange) {
    if (!HeaderOf(exchange, "content-type").starts_with("text/xml"))
        throw InvalidRequest("The content type is not text/xml.");
    const std::string action = HeaderOf(exchange, "soapaction");
    const bool isQuoted = action.size() >= 2 && action.starts_with('"') && action.ends_with('"');
    if (!isQuoted || (action.size() > 2 && !action.starts_with("\"urn:")))
        throw InvalidRequest(fmt::format("The SOAPAction is {}.", action));
}

} // namespace

Service::Service(Kind given, const Options &settings, Clock &time, Troubles &switches,
                 Record &happened)
    : kind(given), options(settings), clock(time), troubles(switches), record(happened),
      names(VersionNames::Of(given == Kind::Ferry ? settings.ferryVersion : settings.version)),
      version(names.nameSpace + "/" + names.version), overlay(settings.overlay, version),
      sessions(settings, time,
               [this](const SessionPtr &session) {
                   collectors.EndSession(session);
                   views.EndSession(session);
                   UpdateSessionList();
               }),
      tasks(*this), jobs(*this), collectors(*this), views(*this) {
    const auto add = [this](std::span<const MethodRow> rows) {
        for (const MethodRow &row : rows)
            methods.emplace(std::string(row.name), row);
    };
    add(CollectorMethods());
    if (kind == Kind::Ferry) {
        add(FerryMethods());
        add(JobMethods());
    } else {
        for (const auto &rows :
             {InstanceMethods(), SessionMethods(), TaskMethods(), MachineMethods(), EntityMethods(),
              ViewMethods(), AuthorizationMethods()})
            add(rows);
    }
    if (!settings.overlay.empty())
        inventory.Use(&overlay);
    BuildEstate(*this);
}

Service::~Service() = default;

void Service::HandleCall(const ExchangePtr &exchange) {
    auto call = std::make_shared<Call>();
    call->exchange = exchange;
    try {
        CheckHeaders(*exchange);
        call->request = ParseRequest(exchange->body);
    } catch (const Fault &fault) {
        RecordCall(*exchange, call->request.method);
        return Answer(call, fault);
    }
    RecordCall(*exchange, call->request.method);
    call->trouble = troubles.Take(call->request.method);
    if (!call->trouble)
        return RunCall(call);

    const Trouble trouble = *call->trouble;
    if (auto instead = ReplacementReply(trouble, names.nameSpace))
        return Send(call, std::move(*instead));
    if (trouble.kind == TroubleKind::Silent)
        return;
    if (trouble.kind == TroubleKind::Slow) {
        clock.At(clock.Now() + trouble.delayMs, [this, call] { RunCall(call); });
        return;
    }
    if (trouble.kind == TroubleKind::ExpireSession)
        if (const SessionPtr session = SessionOf(*exchange))
            sessions.End(session);
    RunCall(call);
}

void Service::RunCall(const CallPtr &call) {
    try {
        InvokeMethod(call);
    } catch (const Fault &fault) {
        Answer(call, fault);
    }
    Settle();
}

void Service::InvokeMethod(const CallPtr &call) {
    const Request &request = call->request;
    const bool isKnown = request.nameSpace == names.nameSpace || request.nameSpace == "ozy2" ||
                         request.nameSpace == "reflect";
    if (!isKnown)
        throw InvalidRequest(fmt::format("The namespace \"{}\" is not served.", request.nameSpace));

    call->session = SessionOf(*call->exchange);
    if (call->session) {
        call->session->lastUsed = clock.Now();
        call->session->lastActiveTime = clock.WallTime();
        call->session->callCount++;
    }
    call->target = inventory.Find(request.targetId);
    if (!call->target || !IsA(call->target->type, request.targetType)) {
        /* without a login no reply reveals which objects exist */
        if (!call->session && request.targetId != "ServiceInstance")
            throw Fault("NotAuthenticated", "The session is not authenticated.");
        throw ObjectNotFound(request.targetType, request.targetId);
    }
    const MethodRow &row = FindMethod(*call);
    CheckAccess(*call, row);
    if (const auto inner = row.method(*this, call))
        Answer(call, *inner);
}

const MethodRow &Service::FindMethod(const Call &call) const {
    const auto [first, last] = methods.equal_range(call.request.method);
    for (auto row = first; row != last; ++row)
        if (IsA(call.target->type, row->second.type) && VersionHas(version, row->second.since))
            return row->second;
    throw Fault("MethodNotFound",
                fmt::format("{} has no method \"{}\".", call.target->type, call.request.method),
                {{"receiver", call.target->Reference()}, {"method", Text(call.request.method)}});
}

void Service::CheckAccess(const Call &call, const MethodRow &row) const {
    if (row.access == Access::Anyone)
        return;
    if (!call.session)
        throw Fault("NotAuthenticated", "The session is not authenticated.");
    if (row.access == Access::Change && call.session->user.readOnly)
        throw Fault("NoPermission", "The user may only look.");
}

SessionPtr Service::SessionOf(const HttpExchange &exchange) {
    return sessions.Find(SessionKeyOf(HeaderOf(exchange, "cookie")));
}

void Service::Answer(const CallPtr &call, const std::string &inner) {
    HttpAnswer answer{200, ResultText(names.nameSpace, call->request.method, inner)};
    if (!call->cookie.empty())
        answer.headers.emplace_back(
            "Set-Cookie", fmt::format("{}=\"{}\"; Path=/; HttpOnly", kCookieName, call->cookie));
    Send(call, std::move(answer));
}

void Service::Answer(const CallPtr &call, const Fault &fault) {
    Send(call, {500, FaultText(names.nameSpace, fault)});
}

void Service::Send(const CallPtr &call, HttpAnswer answer) {
    if (call->trouble)
        ChangeReply(*call->trouble, answer);
    record.methods[call->request.method].reply = answer.body;
    record.bytesOut += answer.body.size();
    Log(*call->exchange, call->request.method, answer);
    call->exchange->Answer(std::move(answer));
}

void Service::RecordCall(const HttpExchange &exchange, const std::string &method) {
    MethodRecord &row = record.methods[method];
    row.count++;
    row.request = exchange.body;
    row.headers = exchange.headers;
    record.numCalls++;
    record.bytesIn += exchange.body.size();
}

void Service::Log(const HttpExchange &exchange, const std::string &method,
                  const HttpAnswer &answer) const {
    if (!options.log)
        return;
    const std::string fault = answer.status == 500 ? " fault" : "";
    options.log(fmt::format("{} {} {} {} -> {}{} {} bytes", exchange.peer, exchange.method,
                            exchange.path, method, answer.status, fault, answer.body.size()));
}

void Service::HandleDocument(const ExchangePtr &exchange, const std::string &name) {
    auto call = std::make_shared<Call>();
    call->exchange = exchange;
    call->request.method = name;
    record.numDocuments++;
    MethodRecord &row = record.methods[name];
    row.count++;
    row.headers = exchange->headers;

    call->trouble = troubles.Take(name);
    if (call->trouble) {
        if (auto instead = ReplacementReply(*call->trouble, names.nameSpace))
            return Send(call, std::move(*instead));
        if (call->trouble->kind == TroubleKind::Silent)
            return;
        if (call->trouble->kind == TroubleKind::Slow) {
            clock.At(clock.Now() + call->trouble->delayMs,
                     [this, call, name] { Send(call, DocumentAnswer(name)); });
            return;
        }
    }
    Send(call, DocumentAnswer(name));
}

HttpAnswer Service::DocumentAnswer(const std::string &name) const {
    HttpAnswer missing{404, "not found\n", "text/plain"};
    const VersionsForm form = troubles.versionsForm;
    if (name == "wsdl" || name == "wsdl-types") {
        const bool isServed = options.wsdl || form == VersionsForm::MissingWithWsdl;
        if (!isServed)
            return missing;
        return {200, name == "wsdl" ? WsdlText(names) : WsdlTypesText(names)};
    }
    if (!troubles.versionsText.empty())
        return {200, troubles.versionsText};
    if (form == VersionsForm::Missing || form == VersionsForm::MissingWithWsdl)
        return missing;
    return {200, VersionsText(names, form)};
}

void Service::Settle() {
    views.Settle();
    collectors.Settle();
}

Value Service::Read(const Object &object, std::string_view property,
                    const SessionPtr &session) const {
    if (property == "serverClock" || property == "currentTime")
        return Time(clock.WallTime());
    if (property == "currentSession" && session)
        return SessionValue(*session, SessionType());
    if (property == "sessionList") {
        std::vector<Value> items;
        for (const SessionPtr &each : sessions.Open())
            items.push_back(SessionValue(*each, SessionType()));
        return List(SessionType(), std::move(items));
    }
    return object.Get(property);
}

ObjectPtr Service::Require(const Element &reference, std::string_view type) const {
    ObjectPtr object = inventory.Find(reference.text);
    if (!object || !IsA(object->type, reference.type))
        throw ObjectNotFound(reference.type, reference.text);
    if (!IsA(object->type, type))
        throw InvalidArgument(reference.name, fmt::format("{} is no {}.", reference.text, type));
    return object;
}

void Service::UpdateSessionList() {
    const std::string type = SessionType();
    const ObjectPtr manager =
        inventory.Find(kind == Kind::Ferry ? "FerrySessionManager" : "SessionManager");
    /* items that have not changed are shared with the list before, which the journal keeps */
    std::map<std::string, Value> known;
    if (const Value before = manager->Get("sessionList"))
        for (const Value &item : before->items)
            known.emplace(FieldOf(item, "key")->text, item);
    std::vector<Value> items;
    for (const SessionPtr &session : sessions.All()) {
        /* Its updates have the state after the login, otherwise each call would be one; Read() has that of now. */
        Session begun = *session;
        begun.callCount = 0;
        begun.lastActiveTime = begun.loginTime;
        Value item = SessionValue(begun, type);
        const auto at = known.find(session->key);
        items.push_back(at != known.end() && Equal(at->second, item) ? at->second
                                                                     : std::move(item));
    }
    inventory.Set(manager, "sessionList", List(type, std::move(items)));
}

} // namespace simulator
