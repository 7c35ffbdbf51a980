/*
 * sessionFixture.h -- a service that answers by the name of the method, and an application with one session
 *
 *   class Connect : public SessionTest {};
 *   service.answers["Login"] = Fault("InvalidLogin");
 *   EXPECT_EQ("failure InvalidLogin", Run([&](auto *l) { orvane_session_connect(session, ..., l); }));
 *   EXPECT_THAT(service.Methods(), ElementsAre("GET /sdk/ozyServiceVersions.xml", ...));
 *
 * An unknown method is answered by a fault. Filters are named filter-1, filter-2 and so on, in the order of the
 * calls. The creation of the one of the authorization manager sends its first values; other updates are sent by
 * Update(), Reply(), Fail() and Cut().
 */
#pragma once

#include <algorithm>
#include <deque>
#include <span>

#include <orvane/orvane.h>
#include <orvane/schema/ferry.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "ozy/lib/orvane/updates/orvaneMOMgr.h"
#include "tests/ozy/lib/orvane/runtime/objects.h"
#include "tests/ozy/lib/orvane/soap/envelope.h"
#include "tests/support/cannedServer.h"
#include "tests/support/logText.h"
#include "tests/support/matchers.h"
#include "tests/support/testLoop.h"

/* The reply to a method; the inner text is of its "returnval". */
inline CannedAnswer Reply(const std::string &method, const std::string &returnval = "",
                          const std::string &attributes = "") {
    const std::string element =
        attributes.empty() ? "" : "<returnval " + attributes + ">" + returnval + "</returnval>";
    return HttpReply(ResponseText(method, element));
}

inline CannedAnswer Fault(const std::string &type, const std::string &inner = "") {
    return HttpReply(Envelope("<soapenv:Fault><faultcode>ServerFaultCode</faultcode>"
                              "<faultstring>no</faultstring><detail><" +
                              type + "Fault xsi:type=\"" + type + "\">" + inner + "</" + type +
                              "Fault></detail></soapenv:Fault>"),
                     500);
}

inline CannedAnswer FilterReply(const std::string &id) {
    return Reply("CreateFilter", id, "type=\"PropertyFilter\"");
}

inline CannedAnswer TimeReply() {
    return Reply("CurrentTime", "2026-01-02T03:04:05Z", "xsi:type=\"xsd:dateTime\"");
}

inline std::string Reference(const std::string &name, const std::string &type,
                             const std::string &id) {
    return "<" + name + " type=\"" + type + "\">" + id + "</" + name + ">";
}

/* The document of a service that has one version. */
inline std::string Versions(const std::string &name, const std::string &version) {
    return "<namespaces version=\"1.0\"><namespace><name>" + name + "</name><version>" + version +
           "</version></namespace></namespaces>";
}
inline const std::string kVersions = Versions("urn:ozy25", "6.0");

/* The result of a call that waits for updates. */
inline std::string UpdateSet(int version, const std::string &filter, const std::string &objects,
                             const std::string &rest = "") {
    return "<returnval xsi:type=\"UpdateSet\"><version>" + std::to_string(version) +
           "</version><filterSet><filter type=\"PropertyFilter\">" + filter + "</filter>" +
           objects + "</filterSet>" + rest + "</returnval>";
}

struct Service {
    CannedServer server;
    /* Other answers than the usual ones, by method or by the last part of a GET's target. An answer without
     * bytes leaves the request open. */
    std::map<std::string, CannedAnswer> answers;

    bool isQuiet = false; /* does not send the first values of the authorization manager */

    Service() {
        server.Answer([this](const CannedRequest &request) { return Answer(request); });
        const std::string content =
            Reference("rootFolder", "Folder", "group-d1") +
            Reference("propertyCollector", "PropertyCollector", "collector") +
            Reference("sessionManager", "SessionManager", "SessionManager") +
            Reference("authorizationManager", "AuthorizationManager", "AuthorizationManager");
        const std::string user = "<key>52</key><userName>root</userName>";
        answers["ozyServiceVersions.xml"] = HttpReply(kVersions);
        answers["RetrieveServiceContent"] =
            ::Reply("RetrieveServiceContent", content, "xsi:type=\"ServiceContent\"");
        for (const char *login : {"Login", "CloneSession"})
            answers[login] = ::Reply(login, user, "xsi:type=\"UserSession\"");
        for (const char *method : {"Logout", "DestroyPropertyFilter", "CancelWaitForUpdates"})
            answers[method] = ::Reply(method);
        answers["CurrentTime"] = TimeReply();
    }

    /* Requests before this are not counted any more. */
    void Forget() { numForgotten = server.Requests().size(); }
    std::span<const CannedRequest> Requests() const {
        return std::span(server.Requests()).subspan(numForgotten);
    }

    /* "GET target", or the name of the method, in order. The update stream is left out. */
    std::vector<std::string> Methods() const {
        std::vector<std::string> methods;
        for (const CannedRequest &request : Requests()) {
            if (!IsWait(Name(request)))
                methods.push_back(request.method == "GET" ? "GET " + request.target
                                                          : Name(request));
        }
        return methods;
    }
    size_t Count(const std::string &name) const {
        return std::ranges::count(Requests(), name, Name);
    }
    /* The last request for a method or document. */
    CannedRequest Last(const std::string &name) const {
        const auto requests = Requests();
        const auto found = std::ranges::find(requests.rbegin(), requests.rend(), name, Name);
        if (found != requests.rend())
            return *found;
        ADD_FAILURE() << "no request for " << name;
        return {};
    }
    /* The body of the last call of a method, between _this and the end. */
    std::string Arguments(const std::string &method) const {
        const std::string body = Last(method).body;
        const size_t begin = body.find("</_this>") + 8;
        return body.substr(begin, body.find("</" + method + ">") - begin);
    }

    /* Whether the update stream is open. */
    bool IsWaiting() const { return waiting >= 0; }
    /* Answers the open wait, or the next, with changes of objects. */
    void Update(const std::string &objects) { Reply(UpdateSet(++version, "filter-1", objects)); }
    /* Answers it with any result. */
    void Reply(const std::string &result) {
        updates.push_back(
            [=](const std::string &method) { return HttpReply(ResponseText(method, result)); });
        Flush();
    }
    void Fail(const std::string &type) {
        updates.push_back([=](const std::string &) { return Fault(type); });
        Flush();
    }
    /* Closes the connection of the open wait. */
    void Cut() { server.Send(std::exchange(waiting, -1), "", true); }

private:
    static bool IsWait(const std::string &name) { return name.starts_with("WaitForUpdates"); }
    static std::string Name(const CannedRequest &request) {
        if (request.method == "GET")
            return request.target.substr(request.target.rfind('/') + 1);
        const size_t start = request.body.find("<soapenv:Body>\n<") + 16;
        return request.body.substr(start, request.body.find(' ', start) - start);
    }
    CannedAnswer Answer(const CannedRequest &request) {
        const std::string name = Name(request);
        if (request.method == "GET" || name == "Logout")
            waiting = -1; /* the stream of an earlier connection */
        if (name == "CreateFilter" && !isQuiet &&
            request.body.find(">AuthorizationManager</obj>") != std::string::npos)
            Update("<objectSet><kind>enter</kind>" +
                   Reference("obj", "AuthorizationManager", "AuthorizationManager") + roles +
                   "</objectSet>");
        const auto found = answers.find(name);
        if (found != answers.end())
            return found->second;
        if (name == "CreateFilter")
            return FilterReply("filter-" + std::to_string(++numFilters));
        if (IsWait(name)) {
            waiting = request.connection;
            waitMethod = name;
            Flush();
            return {};
        }
        return request.method == "GET" ? HttpReply("<html/>", 404) : Fault("NotSupported");
    }
    void Flush() {
        if (waiting < 0 || updates.empty())
            return;
        const CannedAnswer answer = updates.front()(waitMethod);
        updates.pop_front();
        server.Send(std::exchange(waiting, -1), answer.bytes);
    }

    const std::string roles =
        "<changeSet><name>roleList</name><op>assign</op><val xsi:type=\"ArrayOfAuthorizationRole\">"
        "<AuthorizationRole xsi:type=\"AuthorizationRole\"><roleId>-1</roleId>"
        "<privilege>Folder.Create</privilege><privilege>Folder.Rename</privilege>"
        "</AuthorizationRole></val></changeSet>";
    int waiting = -1; /* the connection of the open wait */
    std::string waitMethod;
    std::deque<std::function<CannedAnswer(const std::string &)>> updates;
    int version = 0;
    int numFilters = 0;
    size_t numForgotten = 0;
};

/* Answers as the second service does. Its document of versions is missing, unless one is given. */
inline void AnswerAsFerry(Service *service, const CannedAnswer &versions = HttpReply("", 404)) {
    service->answers["ferryServiceVersions.xml"] = versions;
    service->answers["FerryRetrieveServiceContent"] =
        Reply("FerryRetrieveServiceContent",
              Reference("sessionManager", "FerrySessionManager", "sm") +
                  Reference("propertyCollector", "PropertyCollector", "pc"),
              "xsi:type=\"FerryServiceContent\"");
    service->answers["FerryLogin"] = Reply("FerryLogin", "", "xsi:type=\"FerryUserSession\"");
    service->answers["FerryLogout"] = Reply("FerryLogout");
}

/* The file of the local service that names its port, and the reply that names the file of a ticket. */
inline std::string LocalPort(const Service &service) {
    return "<ConfigRoot><httpPort>" + std::to_string(service.server.Port()) +
           "</httpPort></ConfigRoot>";
}
inline CannedAnswer LocalTicket(const std::string &path) {
    return Reply("AcquireLocalTicket",
                 "<userName>root-7</userName><passwordFilePath>" + path + "</passwordFilePath>",
                 "xsi:type=\"SessionManagerLocalTicket\"");
}

/* A listener of the application, and how its operation ended. Releases the listener at the end, unless it keeps
 * it. */
struct Ending {
    std::string text; /* "success", "failure", "failure InvalidLogin"; empty until then */
    int times = 0;
    bool keeps = false;
    OrvaneListener *listener; /* NULL once it has died */
    std::function<void()> then;

    Ending() : listener(orvane_listener_new()) {
        for (const char *signal : {"success", "failure"})
            On(listener, signal, [this] { End(); });
        g_object_add_weak_pointer(G_OBJECT(listener), reinterpret_cast<gpointer *>(&listener));
    }
    ~Ending() { g_clear_object(&listener); }
    Ending(const Ending &) = delete;
    Ending &operator=(const Ending &) = delete;

private:
    void End() {
        const ObjectPtr<SkemaQormMethodFault> fault(orvane_listener_get_fault(listener));
        const bool succeeded = orvane_listener_get_state(listener) == ORVANE_LISTENER_SUCCEEDED;
        text = succeeded ? "success" : "failure";
        times++;
        if (fault)
            text += " " + FaultText(G_OBJECT(fault.get()));
        if (then)
            then();
        if (!keeps)
            g_clear_object(&listener);
    }
    static std::string FaultText(GObject *fault) {
        if (G_OBJECT_TYPE(fault) != ORVANE_TYPE_FAULT_INVALID_RESPONSE) {
            const std::string name = G_OBJECT_TYPE_NAME(fault);
            const size_t prefix = name.find("Fault");
            return prefix == std::string::npos ? name : name.substr(prefix + 5);
        }
        const std::string message = GetString(fault, "responseMessage", "");
        return "InvalidResponse " + std::to_string(GetNumber<guint>(fault, "errorCode")) + " " +
               std::to_string(GetNumber<glong>(fault, "responseCode")) +
               (message.empty() ? "" : " " + message);
    }
};

/* How many objects of a type there are. A leaked object with a handler is no leak to the sanitizer, since
 * GLib's table of handlers knows it. */
template <class T> class Living {
public:
    static int count;

    static void Watch(GType type) {
        static GObjectClass *klass = nullptr;
        if (klass != nullptr)
            return;
        klass = G_OBJECT_CLASS(g_type_class_ref(type));
        constructed = std::exchange(klass->constructed, OnConstructed);
        finalize = std::exchange(klass->finalize, OnFinalize);
    }

private:
    static void (*constructed)(GObject *);
    static void (*finalize)(GObject *);
    static void OnConstructed(GObject *object) {
        count++;
        constructed(object);
    }
    static void OnFinalize(GObject *object) {
        count--;
        finalize(object);
    }
};
template <class T> int Living<T>::count = 0;
template <class T> void (*Living<T>::constructed)(GObject *) = nullptr;
template <class T> void (*Living<T>::finalize)(GObject *) = nullptr;

struct SessionTest : testing::Test {
    SessionTest() {
        Living<OrvaneListener>::Watch(ORVANE_TYPE_LISTENER);
        Living<OrvaneSession>::Watch(ORVANE_TYPE_SESSION);
        Living<OrvaneMOMgr>::Watch(orvane_momgr_get_type());
        testLoop::Reset();
        StartOver();
        LogRing_Clear();
    }
    ~SessionTest() override {
        g_clear_object(&session);
        if (BasicHttp_IsInited())
            orvane_shutdown();
        EXPECT_TRUE(testLoop::Registrations().empty());
        EXPECT_EQ(0, Living<OrvaneListener>::count);
        EXPECT_EQ(0, Living<OrvaneSession>::count);
        EXPECT_EQ(0, Living<OrvaneMOMgr>::count);
        service.reset();
        testLoop::Reset();
    }

    /* Another session, in a library that is started. */
    void MakeSession() {
        g_clear_object(&session);
        EXPECT_TRUE(BasicHttp_IsInited() ||
                    orvane_init(testLoop::Callback, testLoop::CallbackRemove));
        session = orvane_session_new();
        On(session, "notify::state", [this](OrvaneSession *from, GParamSpec *) {
            states.push_back(orvane_session_get_state(from));
            if (onState)
                onState(states.back());
        });
    }
    /* Another service, too. */
    void StartOver() {
        MakeSession();
        service = std::make_unique<Service>();
    }
    std::string Url() const { return service->server.Url("/sdk"); }
    /* Runs the loop until the operation has ended, or nothing happens any more. */
    void Wait(Ending &ending) {
        testLoop::RunUntil([&] { return ending.times > 0; }, waitMs);
        testLoop::Settle();
    }
    /* Begins an operation, waits for its end and returns how it ended. */
    std::string Run(const std::function<void(OrvaneListener *)> &begin) {
        Ending ending;
        begin(ending.listener);
        Wait(ending);
        return ending.text;
    }
    std::string ConnectTo(const char *url, const char *user = "u", const char *password = "p") {
        return Run([&](auto *l) { orvane_session_connect(session, url, user, password, l); });
    }
    std::string Connect() { return ConnectTo(Url().c_str(), "root", "pass<word>"); }
    std::string Disconnect() {
        return Run([&](auto *l) { orvane_session_disconnect(session, l); });
    }
    OrvaneSessionState State() const { return orvane_session_get_state(session); }
    ObjectPtr<SkemaOzyServiceInstance> Instance() const {
        return GetObject<SkemaOzyServiceInstance>(session, "serviceInstance");
    }
    /* The proxy of an id, owned by the test. */
    ObjectPtr<SkemaQormManagedObject> Owned(const std::string &id,
                                            GType type = SKEMA_TYPE_OZY_VIRTUAL_MACHINE) const {
        return Own(orvane_session_get_object(session, id.c_str(), type));
    }
    /* The arguments of the last call of a method, once it is sent. */
    std::string Sent(const std::string &method) {
        testLoop::Settle();
        return service->Arguments(method);
    }
    bool RunUntilCount(const std::string &method, size_t count = 1) {
        return testLoop::RunUntil([&] { return service->Count(method) >= count; });
    }
    void CurrentTime(OrvaneListener *listener) {
        skema_ozy_service_instance_current_time(Instance().get(), listener);
    }

    int waitMs = 300; /* how long an operation is waited for */
    std::unique_ptr<Service> service;
    OrvaneSession *session = nullptr;
    std::vector<int> states; /* that the session went through */
    std::function<void(int)> onState;
};
