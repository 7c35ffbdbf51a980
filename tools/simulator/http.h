/*
 * http.h -- the HTTP server: connections, requests and replies
 *
 * A request is handed to the handler once, with its whole body. The handler answers it at once, or keeps
 * the exchange and answers later; meanwhile the connection is suspended. When the client closes the
 * connection before that, `gone` is called and later answers are dropped.
 *
 * Loop: Run() does all work that needs no waiting; Descriptor() is readable when there is work.
 */
#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

struct MHD_Connection;
struct MHD_Daemon;

namespace simulator {

struct HttpAnswer {
    enum class Ending { Whole, Cut, Close, Reset };

    int status = 200;
    std::string body;
    std::string contentType = "text/xml; charset=utf-8";
    std::vector<std::pair<std::string, std::string>> headers;
    Ending ending = Ending::Whole; /* Cut: the connection is closed after cutAfter bytes of body */
    size_t cutAfter = 0;
};

class HttpServer;

/* A request and its answer. */
struct HttpExchange {
    std::string method;
    std::string path;
    std::map<std::string, std::string> query;
    std::map<std::string, std::string> headers; /* names in lower case */
    std::string body;
    std::string peer; /* the client's address */
    std::function<void()> gone;

    void Answer(HttpAnswer given);

private:
    friend class HttpServer;
    HttpServer *server = nullptr; /* null when the connection is gone */
    MHD_Connection *connection = nullptr;
    bool handled = false;
    bool tooLarge = false;
    bool answered = false;
    bool suspended = false;
    HttpAnswer answer;
};
using ExchangePtr = std::shared_ptr<HttpExchange>;

class HttpServer {
public:
    struct Settings {
        std::string address;
        int port = 0;
        std::string certificate;
        std::string privateKey;
        /* A connection without traffic is closed after this time, and so is one whose next request is not
         * whole then, however often it sends a byte. */
        int idleSeconds = 60;
    };
    HttpServer(const Settings &settings, std::function<void(const ExchangePtr &)> handler);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    int Port() const { return port; }
    int Descriptor() const { return pollDescriptor; }
    int TimeoutMs() const; /* -1: none */
    void Run();
    void Wake(); /* makes the descriptor readable until the next Run() */
    /* Makes the descriptor readable after so many milliseconds; -1 for never. */
    void WakeAfter(int64_t milliseconds);

    void SetListening(bool listening);
    void ResetConnections();
    int NumConnections() const { return numConnections; }
    int NumOpen() const { return static_cast<int>(open.size()); }

private:
    friend struct HttpExchange;
    struct Glue; /* the functions that libmicrohttpd calls */

    /* A connection whose next request is awaited. */
    struct Awaited {
        MHD_Connection *connection;
        int64_t until; /* on the monotonic clock in milliseconds */
    };
    struct Connection {
        int socket;
        std::list<Awaited>::iterator place; /* end() while a request is handled */
    };

    void Await(MHD_Connection *connection);
    void StopAwaiting(MHD_Connection *connection);
    void CloseSlow();
    void Open();
    void Accept();
    void PauseAccepting();
    void ResumeAccepting();
    void WatchSuspended(const ExchangePtr &exchange);
    void Unwatch(const HttpExchange &exchange);
    void Drop(const ExchangePtr &exchange);
    int Queue(const ExchangePtr &exchange);
    int SocketOf(MHD_Connection *connection) const;

    Settings settings;
    std::function<void(const ExchangePtr &)> handler;
    int port = 0;
    int listenDescriptor = -1;
    int64_t acceptAgainAt = 0; /* on the monotonic clock in milliseconds; 0: accepting */
    int pollDescriptor = -1;
    int wakeDescriptor = -1;
    int timerDescriptor = -1;
    MHD_Daemon *daemon = nullptr;
    int numConnections = 0;
    std::unordered_map<MHD_Connection *, Connection> open;
    std::list<Awaited> awaited;                     /* the earliest end first */
    std::unordered_map<int, ExchangePtr> suspended; /* by socket */
    bool closing = false;
};

} // namespace simulator
