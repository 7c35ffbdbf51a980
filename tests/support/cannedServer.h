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

    int Port() const { return port; }
    std::string Url(const std::string &path = "") const; /* "http://127.0.0.1:PORT/path" */
    void Answer(std::function<CannedAnswer(const CannedRequest &)> function);
    const std::vector<CannedRequest> &Requests() const { return requests; }
    int NumConnections() const { return numConnections; }              /* accepted so far */
    int NumOpenConnections() const { return int(connections.size()); } /* open now */
    size_t NumBytesWritten() const { return numBytesWritten; }         /* on all so far */
    /* Sends bytes now on a connection whose request was left unanswered. */
    void Send(int connection, const std::string &bytes, bool close = false);
    void StopListening();

private:
    enum class Ending { kKeep, kClose, kReset };
    struct Connection {
        int descriptor;
        std::string in;
        std::string out;
        size_t numWritten = 0;         /* bytes of "out" that are gone */
        Ending ending = Ending::kKeep; /* when all of "out" is written */
        bool isContinued = false;      /* "100 Continue" was sent for the request that comes in */
    };

    static bool TakeRequest(Connection *connection, CannedRequest *request);
    static bool WantsContinue(const Connection &connection);
    void Accept();
    void Serve(int number, short events);
    bool Read(int number);
    void AnswerRequests(int number);
    void Write(int number);
    void WatchAgain(int number);
    void Close(int number, bool withReset);

    int listener;
    int port = 0;
    std::function<CannedAnswer(const CannedRequest &)> answer;
    std::vector<CannedRequest> requests;
    std::map<int, Connection> connections; /* open ones, by number */
    int numConnections = 0;
    size_t numBytesWritten = 0;
};
