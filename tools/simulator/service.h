/*
 * service.h -- one service behind one SOAP URL, and how its calls are carried out
 *
 * A call goes: read -> session found -> trouble taken -> method's row found -> carried out ->
 * answered, at once or, for a long poll, later. Methods are rows of tables, one per module; a row
 * names the class that has the method and the function that carries it out.
 *
 * Errors: functions of methods throw Fault; that becomes the answer.
 */
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/simulator/clock.h"
#include "tools/simulator/collector.h"
#include "tools/simulator/http.h"
#include "tools/simulator/inventory.h"
#include "tools/simulator/jobs.h"
#include "tools/simulator/overlay.h"
#include "tools/simulator/sessions.h"
#include "tools/simulator/soapReply.h"
#include "tools/simulator/tasks.h"
#include "tools/simulator/trouble.h"
#include "tools/simulator/views.h"

namespace simulator {

struct Call {
    Request request;
    ExchangePtr exchange;
    SessionPtr session; /* null: none */
    ObjectPtr target;
    std::optional<Trouble> trouble;
    std::string cookie; /* value of the session cookie to set; empty: none */

    const Element &Arguments() const { return request.call; }
};
using CallPtr = std::shared_ptr<Call>;

/* Returns the content of the "...Response" element; nothing if the call is answered later. */
using Method = std::optional<std::string> (*)(Service &service, const CallPtr &call);

enum class Access { Anyone, Session, Change }; /* Change: not for read-only users */

struct MethodRow {
    std::string_view type;
    std::string_view name;
    Method method;
    Access access = Access::Session;
    std::string_view since = "ozy2/2.0";
};

/* The tables of the modules. */
std::span<const MethodRow> CollectorMethods();
std::span<const MethodRow> SessionMethods();
std::span<const MethodRow> TaskMethods();
std::span<const MethodRow> MachineMethods();
std::span<const MethodRow> EntityMethods();
std::span<const MethodRow> ViewMethods();
std::span<const MethodRow> AuthorizationMethods();
std::span<const MethodRow> InstanceMethods();
std::span<const MethodRow> FerryMethods();
std::span<const MethodRow> JobMethods();

class Service {
public:
    enum class Kind { Ozy, Ferry };
    Service(Kind kind, const Options &options, Clock &clock, Troubles &troubles, Record &record);
    ~Service();

    /* Carries out a POST, or answers with one of the documents. */
    void HandleCall(const ExchangePtr &exchange);
    void HandleDocument(const ExchangePtr &exchange, const std::string &name);

    void Answer(const CallPtr &call, const std::string &inner);
    void Answer(const CallPtr &call, const Fault &fault);

    /* Updates views and answers long polls. Call it after every change of the inventory. */
    void Settle();

    /* Returns a property as a session sees it. */
    Value Read(const Object &object, std::string_view property, const SessionPtr &session) const;
    ObjectPtr Require(const Element &reference, std::string_view type) const;
    void UpdateSessionList();
    const char *SessionType() const {
        return kind == Kind::Ferry ? "FerryUserSession" : "UserSession";
    }

    const Kind kind;
    const Options &options;
    Clock &clock;
    Troubles &troubles;
    Record &record;
    const VersionNames names;
    const std::string version;

    const Overlay overlay; /* of the schema */
    Inventory inventory;
    Sessions sessions;
    Tasks tasks;
    Jobs jobs; /* of the second service */
    Collectors collectors;
    Views views;

private:
    void RunCall(const CallPtr &call);
    void InvokeMethod(const CallPtr &call);
    const MethodRow &FindMethod(const Call &call) const;
    void CheckAccess(const Call &call, const MethodRow &row) const;
    SessionPtr SessionOf(const HttpExchange &exchange);
    void Send(const CallPtr &call, HttpAnswer answer);
    void RecordCall(const HttpExchange &exchange, const std::string &method);
    HttpAnswer DocumentAnswer(const std::string &name) const;
    void Log(const HttpExchange &exchange, const std::string &method,
             const HttpAnswer &answer) const;

    std::multimap<std::string, MethodRow> methods;
};

} // namespace simulator
