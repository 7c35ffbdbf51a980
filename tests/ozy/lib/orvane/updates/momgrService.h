/*
 * momgrService.h -- a service of one inventory for the tests of the manager: it lets a client in, and
 * from then on says what the test tells it to
 *
 *   Service service;
 *   ... connect to service.Url() ...
 *   service.Update(Enter("VirtualMachine", "vm-1", Assign("name", String("a"))));
 *   EXPECT_EQ(1, service.Count("CreateFilter"));
 *
 * Filters are called filter-1, filter-2 and so on, in the order of the calls. Calls that wait for
 * updates are kept until there is one.
 */
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/cannedServer.h"

namespace momgr {

inline std::string Element(const std::string &name, const std::string &content,
                           const std::string &attributes = "") {
    return "<" + name + attributes + ">" + content + "</" + name + ">";
}

inline std::string Reference(const std::string &name, const std::string &type,
                             const std::string &id) {
    return Element(name, id, " type=\"" + type + "\"");
}

/* Values of changes. */
inline std::string Typed(const std::string &type, const std::string &content) {
    return Element("val", content, " xsi:type=\"" + type + "\"");
}
inline std::string String(const std::string &text) {
    return Typed("xsd:string", text);
}

inline std::string Change(const std::string &op, const std::string &name,
                          const std::string &value = "") {
    return Element("changeSet", Element("name", name) + Element("op", op) + value);
}
inline std::string Assign(const std::string &name, const std::string &value) {
    return Change("assign", name, value);
}

/* What happened to one object. */
inline std::string Object(const std::string &kind, const std::string &type, const std::string &id,
                          const std::string &changes = "") {
    return Element("objectSet", Element("kind", kind) + Reference("obj", type, id) + changes);
}
inline std::string Enter(const std::string &type, const std::string &id,
                         const std::string &changes = "") {
    return Object("enter", type, id, changes);
}
inline std::string Modify(const std::string &id, const std::string &changes) {
    return Object("modify", "VirtualMachine", id, changes);
}

inline std::string Envelope(const std::string &content) {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<soapenv:Envelope xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\""
           " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
           " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">" +
           Element("soapenv:Body", content) + "</soapenv:Envelope>";
}

inline std::string Fault(const std::string &type) {
    return Envelope(
        Element("soapenv:Fault",
                Element("faultcode", "ServerFaultCode") + Element("faultstring", "no") +
                    Element("detail", Element(type + "Fault", "", " xsi:type=\"" + type + "\""))));
}

struct Call {
    std::string method;
    std::string body;
    int connection;
};

class Service {
public:
    Service() {
        server.Answer([this](const CannedRequest &request) { return Answer(request); });
    }

    std::string Url() const { return server.Url("/sdk"); }

    int Count(const std::string &method) const {
        int count = 0;
        for (const Call &call : calls)
            count += call.method == method;
        return count;
    }
    /* The body of the last such call, between _this and the end of the method. */
    std::string Arguments(const std::string &method) const {
        std::string found = "not called";
        for (const Call &call : calls) {
            if (call.method != method)
                continue;
            const size_t begin = call.body.find("</_this>") + 8;
            found = call.body.substr(begin, call.body.find("</" + method + ">") - begin);
        }
        return found;
    }
    /* Filters that were created and not destroyed, as far as the client was told. */
    int NumFilters() const { return numFilters - Count("DestroyPropertyFilter"); }

    bool IsWaiting() const { return waiting >= 0; }

    /* Answers the client's wait, or its next, with changes of objects. */
    void Update(const std::string &objects) {
        Reply("<returnval>" + Element("version", std::to_string(++version)) +
              Element("filterSet", Reference("filter", "PropertyFilter", "filter-1") + objects) +
              "</returnval>");
    }
    /* Answers it with the result as it stands. */
    void Reply(const std::string &result) {
        replies.push_back([=](const std::string &method) {
            return Envelope(Element(method + "Response", result));
        });
        Flush();
    }
    void Fail(const std::string &type) {
        replies.push_back([=](const std::string &) { return Fault(type); });
        Flush();
    }
    /* Cuts the connection of the call that waits. */
    void Cut() {
        const int connection = waiting;
        waiting = -1;
        server.Send(connection, "", true);
    }

    CannedServer server;
    std::string newestVersion = "6.0";
    std::vector<Call> calls;
    /* Other answers than the usual ones; a text that is empty leaves the call open. */
    std::map<std::string, std::function<std::string()>> answers;

private:
    CannedAnswer Answer(const CannedRequest &request) {
        if (request.method == "GET")
            return HttpReply(
                Element("namespaces", Element("namespace", Element("name", "urn:ozy25") +
                                                               Element("version", newestVersion))));
        const size_t begin = request.body.find("<soapenv:Body>\n<") + 16;
        const std::string method =
            request.body.substr(begin, request.body.find(' ', begin) - begin);
        calls.push_back({method, request.body, request.connection});
        if (method == "Logout")
            waiting = -1; /* the client hangs up */
        if (answers.count(method)) {
            const std::string text = answers[method]();
            return text.empty() ? CannedAnswer{} : HttpReply(text);
        }
        if (method.starts_with("WaitForUpdates")) {
            waiting = request.connection;
            waitingMethod = method;
            if (replies.empty())
                return {};
            const std::string text = replies.front()(method);
            replies.pop_front();
            waiting = -1;
            return HttpReply(text);
        }
        return HttpReply(Envelope(Element(method + "Response", Result(method))));
    }

    std::string Result(const std::string &method) {
        if (method == "RetrieveServiceContent")
            return Element("returnval",
                           Reference("rootFolder", "Folder", "group-1") +
                               Reference("propertyCollector", "PropertyCollector", "collector") +
                               Reference("sessionManager", "SessionManager", "sessions") +
                               Reference("authorizationManager", "AuthorizationManager", "auth"));
        if (method == "Login")
            return Element("returnval", Element("key", "1") + Element("userName", "u"));
        if (method == "CreateFilter")
            return Reference("returnval", "PropertyFilter",
                             "filter-" + std::to_string(++numFilters));
        return "";
    }

    void Flush() {
        if (waiting < 0 || replies.empty())
            return;
        const int connection = waiting;
        waiting = -1;
        const std::string text = replies.front()(waitingMethod);
        replies.pop_front();
        server.Send(connection, HttpReply(text).bytes);
    }

    int waiting = -1; /* connection of the call that waits */
    std::string waitingMethod;
    std::deque<std::function<std::string(const std::string &)>> replies;
    int version = 0;
    int numFilters = 0;
};

} // namespace momgr
