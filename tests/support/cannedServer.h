/*
 * cannedServer.h -- an HTTP server on loopback that sends what a test sets, byte for byte
 *
 *   CannedServer server;
 *   server.Answer([](const CannedRequest &request) { return HttpReply("<x/>"); });
 *   ... send a request to server.Url("/sdk") and run the loop ...
 *   EXPECT_EQ("POST", server.Requests()[0].method);
 *
 * It runs on testLoop, in the test's own thread. One answer per request, in order; connections are
 * kept unless the answer says otherwise.
 */
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct CannedRequest {
    std::string method;
    std::string target; /* "/sdk/ozyServiceVersions.xml" */
    std::string head;   /* request line and headers, as received, without the closing empty line */
    std::string body;
    int connection; /* number of the connection, from 0 */

    /* Value of a header, by its name in any case; empty if absent. */
    std::string Header(const std::string &name) const;
};

struct CannedAnswer {
    std::string bytes;          /* the whole answer, status line first; empty: never answers */
    bool close = false;         /* closes the connection after the last byte */
    bool reset = false;         /* closes it with a reset */
    size_t cutAfter = SIZE_MAX; /* sends no more than so many bytes, then closes */
};

/* A complete answer with Content-Length. Extra headers are whole lines without line ends. */
CannedAnswer HttpReply(const std::string &body, int status = 200,
                       const std::string &contentType = "text/xml; charset=utf-8",
                       const std::vector<std::string> &headers = {});

struct CannedServer {
    CannedServer();
    ~CannedServer();
    CannedServer(const CannedServer &) = delete;
    CannedServer &operator=(const CannedServer &) = delete;

    int Port() const;
    std::string Url(const std::string &path = "") const; /* "http://127.0.0.1:PORT/path" */
    void Answer(std::function<CannedAnswer(const CannedRequest &)> function);
    const std::vector<CannedRequest> &Requests() const;
    int NumConnections() const;     /* accepted so far */
    int NumOpenConnections() const; /* open now */
    size_t NumBytesWritten() const; /* on all connections so far */
    /* Sends bytes now on a connection whose request was left unanswered. */
    void Send(int connection, const std::string &bytes, bool close = false);
    void StopListening();

private:
    struct State;
    std::unique_ptr<State> state;
};
