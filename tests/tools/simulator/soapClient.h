/*
 * soapClient.h -- a client for the simulator's tests: sends and receives texts, one call at a time
 *
 *   SimulatedService service({.machines = 1});
 *   service.client.Login();
 *   EXPECT_TRUE(service.client.CurrentTime().Has("returnval"));
 *
 * A fixture is such a service.
 */
#pragma once

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include <curl/curl.h>
#include <gtest/gtest.h>

#include "tools/simulator/simulator.h"

struct SoapReply {
    CURLcode error = CURLE_OK;
    long status = 0;
    std::string body;
    std::string head;
    std::string nameSpace;

    bool Has(const std::string &text) const { return body.find(text) != std::string::npos; }
    int Count(const std::string &text) const {
        int count = 0;
        for (size_t at = body.find(text); at != std::string::npos; at = body.find(text, at + 1))
            count++;
        return count;
    }
    /* Returns the text between two others; empty without them. */
    std::string Between(const std::string &before, const std::string &after) const {
        const size_t first = body.find(before);
        if (first == std::string::npos)
            return "";
        const size_t start = first + before.size();
        const size_t end = body.find(after, start);
        return end == std::string::npos ? "" : body.substr(start, end - start);
    }
    /* Returns the class of the fault; empty if the reply is none. */
    std::string Fault() const {
        return Between("Fault xmlns=\"urn:" + nameSpace + "\" xsi:type=\"", "\"");
    }
    /* Returns the id of the object that the call returned. */
    std::string Id() const {
        const std::string object = Between("<returnval type=\"", "</");
        return object.substr(object.find('>') + 1);
    }
    /* Returns the content of the body's element: the reply without its envelope. */
    std::string Result() const { return Between("Response xmlns=\"urn:ozy25\">", "\n</soapenv"); }
};

/* An argument or field of a simple type. */
inline std::string Argument(const std::string &name, const std::string &type,
                            const std::string &value) {
    return "<" + name + " xsi:type=\"xsd:" + type + "\">" + value + "</" + name + ">";
}

/* A reference as an argument. */
inline std::string ObjectArgument(const std::string &name, const std::string &type,
                                  const std::string &id) {
    return "<" + name + " type=\"" + type + "\" xsi:type=\"ManagedObjectReference\">" + id + "</" +
           name + ">";
}

/* Returns a filter spec for all properties of an object, or for some paths. */
inline std::string ObjectSpecText(const std::string &name, const std::string &type,
                                  const std::string &id,
                                  const std::vector<std::string> &paths = {}) {
    std::string properties = Argument("type", "string", type);
    if (paths.empty())
        properties += Argument("all", "boolean", "1");
    for (const auto &path : paths)
        properties += Argument("pathSet", "string", path);
    return "<" + name + " xsi:type=\"PropertyFilterSpec\"><propSet xsi:type=\"PropertySpec\">" +
           properties + "</propSet><objectSet xsi:type=\"ObjectSpec\">" +
           ObjectArgument("obj", type, id) + Argument("skip", "boolean", "0") + "</objectSet></" +
           name + ">";
}

struct SoapClient {
    explicit SoapClient(const std::string &where, const std::string &service = "ozy25")
        : url(where), nameSpace(service), handle(curl_easy_init()) {
        curl_easy_setopt(handle, CURLOPT_COOKIEFILE, "");
        curl_easy_setopt(handle, CURLOPT_TIMEOUT_MS, 20000L);
        curl_easy_setopt(handle, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(handle, CURLOPT_SSL_VERIFYPEER, 0L);
        curl_easy_setopt(handle, CURLOPT_SSL_VERIFYHOST, 0L);
        curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, Append);
        curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, Append);
    }
    ~SoapClient() { curl_easy_cleanup(handle); }
    SoapClient(const SoapClient &) = delete;
    SoapClient &operator=(const SoapClient &) = delete;

    static std::string Text(const std::string &method, const std::string &type,
                            const std::string &id, const std::string &arguments,
                            const std::string &nameSpace = "ozy25") {
        return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
               "<soapenv:Envelope xmlns:soapenc=\"http://schemas.xmlsoap.org/soap/encoding/\"\n"
               " xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"\n"
               " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"\n"
               " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
               "<soapenv:Body>\n<" +
               method + " xmlns=\"urn:" + nameSpace + "\"><_this type=\"" + type + "\">" + id +
               "</_this>" + arguments + "</" + method + ">\n</soapenv:Body>\n</soapenv:Envelope>";
    }

    SoapReply Call(const std::string &method, const std::string &type, const std::string &id,
                   const std::string &arguments = "") {
        return Post(Text(method, type, id, arguments, nameSpace));
    }
    SoapReply CurrentTime() { return Call("CurrentTime", "ServiceInstance", "ServiceInstance"); }

    SoapReply Post(const std::string &text) {
        curl_slist *headers = curl_slist_append(nullptr, "Expect:");
        headers = curl_slist_append(headers, "Content-Type: text/xml; charset=utf-8");
        headers = curl_slist_append(headers, ("SOAPAction: " + action).c_str());
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, headers);
        curl_easy_setopt(handle, CURLOPT_POSTFIELDSIZE, static_cast<long>(text.size()));
        curl_easy_setopt(handle, CURLOPT_COPYPOSTFIELDS, text.c_str());
        SoapReply reply = Perform(url);
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, nullptr);
        curl_slist_free_all(headers);
        return reply;
    }

    SoapReply Get(const std::string &where) {
        curl_easy_setopt(handle, CURLOPT_HTTPGET, 1L);
        return Perform(where);
    }

    SoapReply Login(const std::string &user = "administrator",
                    const std::string &password = "secret") {
        const std::string prefix = nameSpace == "ferry" ? "Ferry" : "";
        return Call(prefix + "Login", prefix + "SessionManager", prefix + "SessionManager",
                    Argument("userName", "string", user) +
                        Argument("password", "string", password));
    }

    SoapReply Collect(const std::string &method, const std::string &arguments = "",
                      const std::string &collector = "propertyCollector") {
        return Call(method, "PropertyCollector", collector, arguments);
    }
    SoapReply Properties(const std::string &type, const std::string &id,
                         const std::vector<std::string> &paths = {}) {
        return Collect("RetrieveProperties", ObjectSpecText("specSet", type, id, paths));
    }
    SoapReply CreateFilter(const std::string &spec, const std::string &partialUpdates = "1",
                           const std::string &collector = "propertyCollector") {
        return Collect("CreateFilter", spec + Argument("partialUpdates", "boolean", partialUpdates),
                       collector);
    }

    std::string url;
    std::string nameSpace;
    std::string action = "\"urn:ozy25/6.0\"";
    CURL *handle;

private:
    static size_t Append(char *data, size_t size, size_t count, void *text) {
        static_cast<std::string *>(text)->append(data, size * count);
        return size * count;
    }

    SoapReply Perform(const std::string &where) {
        SoapReply reply{.nameSpace = nameSpace};
        curl_easy_setopt(handle, CURLOPT_URL, where.c_str());
        curl_easy_setopt(handle, CURLOPT_WRITEDATA, &reply.body);
        curl_easy_setopt(handle, CURLOPT_HEADERDATA, &reply.head);
        reply.error = curl_easy_perform(handle);
        curl_easy_getinfo(handle, CURLINFO_RESPONSE_CODE, &reply.status);
        return reply;
    }
};

/* Waits until the condition is true; returns false after ten seconds. */
inline bool Eventually(const std::function<bool()> &condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::yield();
    }
    return true;
}

/* Returns a filter spec that leads from the root folder to all machines, through nested folders. */
inline std::string WalkSpecText(const std::string &name, const std::string &path = "name") {
    const auto selection = [](const std::string &selected) {
        return "<selectSet xsi:type=\"SelectionSpec\">" + Argument("name", "string", selected) +
               "</selectSet>";
    };
    const auto traversal = [](const std::string &named, const std::string &type,
                              const std::string &over, const std::string &next) {
        return "<selectSet xsi:type=\"TraversalSpec\">" + Argument("name", "string", named) +
               Argument("type", "string", type) + Argument("path", "string", over) +
               Argument("skip", "boolean", "0") + next + "</selectSet>";
    };
    return "<" + name + " xsi:type=\"PropertyFilterSpec\"><propSet xsi:type=\"PropertySpec\">" +
           Argument("type", "string", "VirtualMachine") + Argument("pathSet", "string", path) +
           "</propSet><objectSet xsi:type=\"ObjectSpec\">" +
           ObjectArgument("obj", "Folder", "group-d1") + Argument("skip", "boolean", "1") +
           traversal("down", "Folder", "childEntity", selection("down") + selection("machines")) +
           traversal("machines", "Datacenter", "vmFolder", selection("down")) + "</objectSet></" +
           name + ">";
}

/* A server in a thread of its own, and a client. */
struct SimulatedService {
    explicit SimulatedService(const simulator::Options &options = {.machines = 2,
                                                                   .frozenClock = true})
        : server(options), client((server.RunInThread(), server.Url())) {}

    /* Makes a call in another thread, and returns when the server keeps back its answer. */
    std::future<SoapReply> Wait(const std::function<SoapReply()> &call) {
        auto waiting = std::async(std::launch::async, call);
        EXPECT_TRUE(Eventually([this] { return server.NumWaiting() == 1; }));
        return waiting;
    }

    simulator::Simulator server;
    SoapClient client;
};

struct SimulatorTest : testing::Test, SimulatedService {
    using SimulatedService::SimulatedService;
};
