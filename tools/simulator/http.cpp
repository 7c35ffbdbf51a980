#include "tools/simulator/http.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <microhttpd.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

namespace simulator {

namespace {

constexpr size_t kMaxBody = size_t{64} << 20;
/* The descriptors of the process are the limit; libmicrohttpd's own is that of select(2). */
constexpr unsigned kMaxConnections = 1U << 20;
constexpr int64_t kAcceptPauseMs = 100; /* after a connection could not be accepted */

int64_t MonotonicMs() {
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/* Makes the kernel detect a peer that has vanished without closing, also while a call waits. */
void KeepAlive(int socket) {
    const int on = 1;
    const int idle = 60;
    const int interval = 20;
    const int count = 3;
    setsockopt(socket, SOL_SOCKET, SO_KEEPALIVE, &on, sizeof on);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPIDLE, &idle, sizeof idle);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPINTVL, &interval, sizeof interval);
    setsockopt(socket, IPPROTO_TCP, TCP_KEEPCNT, &count, sizeof count);
}

std::system_error Failed(const std::string &what) {
    return std::system_error(errno, std::generic_category(), what);
}

void AddToPoll(int poll, int descriptor, uint32_t events) {
    epoll_event event{};
    event.events = events;
    event.data.fd = descriptor;
    if (epoll_ctl(poll, EPOLL_CTL_ADD, descriptor, &event) != 0)
        throw Failed("epoll_ctl");
}

/* An IPv4 or IPv6 address with its port. */
struct SocketAddress {
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;

    sockaddr *Generic() { return reinterpret_cast<sockaddr *>(&storage); }
    int Family() const { return storage.ss_family; }
    in_port_t &Port() {
        return Family() == AF_INET6 ? reinterpret_cast<sockaddr_in6 &>(storage).sin6_port
                                    : reinterpret_cast<sockaddr_in &>(storage).sin_port;
    }
};

SocketAddress ParseAddress(const std::string &text) {
    SocketAddress address;
    auto &v4 = reinterpret_cast<sockaddr_in &>(address.storage);
    auto &v6 = reinterpret_cast<sockaddr_in6 &>(address.storage);
    if (inet_pton(AF_INET, text.c_str(), &v4.sin_addr) == 1) {
        address.storage.ss_family = AF_INET;
        address.size = sizeof v4;
    } else if (inet_pton(AF_INET6, text.c_str(), &v6.sin6_addr) == 1) {
        address.storage.ss_family = AF_INET6;
        address.size = sizeof v6;
    } else {
        throw std::runtime_error(fmt::format("\"{}\" is no IP address", text));
    }
    return address;
}

std::string TextOf(const sockaddr &address) {
    std::array<char, INET6_ADDRSTRLEN> text{};
    const void *bytes = nullptr;
    if (address.sa_family == AF_INET)
        bytes = &reinterpret_cast<const sockaddr_in &>(address).sin_addr;
    else if (address.sa_family == AF_INET6)
        bytes = &reinterpret_cast<const sockaddr_in6 &>(address).sin6_addr;
    if (bytes != nullptr)
        inet_ntop(address.sa_family, bytes, text.data(), text.size());
    return text.data();
}

std::string LowerCase(const char *text) {
    std::string lower = text;
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

void CloseDescriptor(int &descriptor) {
    if (descriptor >= 0)
        close(descriptor);
    descriptor = -1;
}

/* Resets the connection, before libmicrohttpd can close it in order. */
void BreakOff(int socket) {
    sockaddr none{};
    none.sa_family = AF_UNSPEC;
    (void)connect(socket, &none, sizeof none); /* fails if the connection is closed already */
}

MHD_Result AddToMap(void *map, MHD_ValueKind, const char *key, const char *value) {
    auto &pairs = *static_cast<std::map<std::string, std::string> *>(map);
    pairs[LowerCase(key)] = value == nullptr ? "" : value;
    return MHD_YES;
}

/* A body that ends too early, as after a broken connection. */
struct CutBody {
    std::string bytes;
    size_t cutAfter;
};

ssize_t ReadCutBody(void *closure, uint64_t position, char *buffer, size_t size) {
    const auto &body = *static_cast<const CutBody *>(closure);
    if (position >= body.cutAfter)
        return MHD_CONTENT_READER_END_WITH_ERROR;
    const size_t count = std::min(size, body.cutAfter - static_cast<size_t>(position));
    memcpy(buffer, body.bytes.data() + position, count);
    return static_cast<ssize_t>(count);
}

MHD_Response *MakeResponse(HttpAnswer &answer) {
    MHD_Response *response = nullptr;
    if (answer.ending == HttpAnswer::Ending::Cut) {
        const size_t size = answer.body.size();
        const size_t cutAfter = std::min(answer.cutAfter, size == 0 ? 0 : size - 1);
        auto *body = new CutBody{std::move(answer.body), cutAfter};
        response =
            MHD_create_response_from_callback(size, 16384, ReadCutBody, body, [](void *closure) {
                delete static_cast<CutBody *>(closure);
            });
        if (response == nullptr)
            delete body;
    } else {
        response = MHD_create_response_from_buffer(answer.body.size(), answer.body.data(),
                                                   MHD_RESPMEM_MUST_COPY);
    }
    if (response == nullptr)
        return nullptr;
    if (!answer.contentType.empty())
        MHD_add_response_header(response, MHD_HTTP_HEADER_CONTENT_TYPE, answer.contentType.c_str());
    for (const auto &[name, value] : answer.headers)
        MHD_add_response_header(response, name.c_str(), value.c_str());
    return response;
}

} // namespace

struct HttpServer::Glue {
    /* Called once with the header, then with pieces of the body, then at its end; and once more after
     * a suspended connection was resumed. */
    static MHD_Result OnRequest(void *closure, MHD_Connection *connection, const char *url,
                                const char *method, const char *, const char *data, size_t *size,
                                void **context) {
        auto *server = static_cast<HttpServer *>(closure);
        auto *kept = static_cast<ExchangePtr *>(*context);
        if (kept == nullptr) {
            *context = new ExchangePtr(Begin(server, connection, url, method));
            return MHD_YES;
        }
        const ExchangePtr exchange = *kept;
        if (*size > 0) {
            if (exchange->body.size() + *size > kMaxBody)
                exchange->tooLarge = true;
            else
                exchange->body.append(data, *size);
            *size = 0;
            return MHD_YES;
        }
        if (!exchange->handled) {
            exchange->handled = true;
            server->StopAwaiting(connection);
            if (exchange->tooLarge)
                exchange->Answer({413, "too large", "text/plain"});
            else
                server->handler(exchange);
        }
        if (exchange->answered)
            return server->Queue(exchange) != 0 ? MHD_YES : MHD_NO;
        MHD_suspend_connection(connection);
        server->WatchSuspended(exchange);
        return MHD_YES;
    }

    static ExchangePtr Begin(HttpServer *server, MHD_Connection *connection, const char *url,
                             const char *method) {
        auto exchange = std::make_shared<HttpExchange>();
        exchange->server = server;
        exchange->connection = connection;
        exchange->method = method;
        exchange->path = url;
        MHD_get_connection_values(connection, MHD_HEADER_KIND, AddToMap, &exchange->headers);
        MHD_get_connection_values(connection, MHD_GET_ARGUMENT_KIND, AddToMap, &exchange->query);
        const auto *info = MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
        if (info != nullptr && info->client_addr != nullptr)
            exchange->peer = TextOf(*info->client_addr);
        return exchange;
    }

    static void OnCompleted(void *closure, MHD_Connection *connection, void **context,
                            MHD_RequestTerminationCode) {
        auto *server = static_cast<HttpServer *>(closure);
        server->Await(connection);
        auto *kept = static_cast<ExchangePtr *>(*context);
        *context = nullptr;
        if (kept == nullptr)
            return;
        server->Drop(*kept);
        delete kept;
    }

    static void OnConnection(void *closure, MHD_Connection *connection, void **,
                             MHD_ConnectionNotificationCode code) {
        auto *server = static_cast<HttpServer *>(closure);
        if (code == MHD_CONNECTION_NOTIFY_STARTED) {
            server->open[connection] = {server->SocketOf(connection), server->awaited.end()};
            server->Await(connection);
        } else {
            server->StopAwaiting(connection);
            server->open.erase(connection);
        }
    }

    static void OnLog(void *, const char *, va_list) {
        /* The messages are about clients that closed their connection, which is normal here. */
    }
};

void HttpExchange::Answer(HttpAnswer given) {
    if (answered)
        return;
    answered = true;
    answer = std::move(given);
    if (server == nullptr || !suspended)
        return;
    suspended = false;
    server->Unwatch(*this);
    MHD_resume_connection(connection);
    server->Wake();
}

HttpServer::HttpServer(const Settings &given, std::function<void(const ExchangePtr &)> function)
    : settings(given), handler(std::move(function)) {
    pollDescriptor = epoll_create1(EPOLL_CLOEXEC);
    wakeDescriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    timerDescriptor = timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK);
    try {
        if (pollDescriptor < 0 || wakeDescriptor < 0 || timerDescriptor < 0)
            throw Failed("cannot make a descriptor");
        AddToPoll(pollDescriptor, wakeDescriptor, EPOLLIN);
        AddToPoll(pollDescriptor, timerDescriptor, EPOLLIN);
        port = settings.port;
        Open();

        const bool isTls = !settings.certificate.empty() && !settings.privateKey.empty();
        const unsigned flags = MHD_USE_EPOLL | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_NO_LISTEN_SOCKET |
                               MHD_USE_ERROR_LOG | (isTls ? MHD_USE_TLS : 0);
        const MHD_OptionItem tls[] = {
            {isTls ? MHD_OPTION_HTTPS_MEM_CERT : MHD_OPTION_END, 0, settings.certificate.data()},
            {MHD_OPTION_HTTPS_MEM_KEY, 0, settings.privateKey.data()},
            {MHD_OPTION_END, 0, nullptr}};
        daemon = MHD_start_daemon(
            flags, 0, nullptr, nullptr, Glue::OnRequest, this, MHD_OPTION_EXTERNAL_LOGGER,
            Glue::OnLog, nullptr, MHD_OPTION_NOTIFY_COMPLETED, Glue::OnCompleted, this,
            MHD_OPTION_NOTIFY_CONNECTION, Glue::OnConnection, this,
            MHD_OPTION_CONNECTION_MEMORY_LIMIT, size_t{128} << 10, MHD_OPTION_CONNECTION_LIMIT,
            kMaxConnections, MHD_OPTION_CONNECTION_TIMEOUT,
            static_cast<unsigned>(settings.idleSeconds), MHD_OPTION_ARRAY, tls, MHD_OPTION_END);
        const auto *info =
            daemon == nullptr ? nullptr : MHD_get_daemon_info(daemon, MHD_DAEMON_INFO_EPOLL_FD);
        if (info == nullptr)
            throw std::runtime_error("the HTTP server cannot be started");
        AddToPoll(pollDescriptor, info->epoll_fd, EPOLLIN);
    } catch (...) {
        if (daemon != nullptr)
            MHD_stop_daemon(daemon);
        CloseDescriptor(listenDescriptor);
        CloseDescriptor(timerDescriptor);
        CloseDescriptor(wakeDescriptor);
        CloseDescriptor(pollDescriptor);
        throw;
    }
}

HttpServer::~HttpServer() {
    closing = true;
    CloseDescriptor(listenDescriptor);
    /* The daemon must not be stopped while connections are suspended. */
    const auto waiting = suspended;
    for (const auto &[socket, exchange] : waiting)
        exchange->Answer({.ending = HttpAnswer::Ending::Close});
    MHD_run(daemon);
    MHD_stop_daemon(daemon);
    CloseDescriptor(timerDescriptor);
    CloseDescriptor(wakeDescriptor);
    CloseDescriptor(pollDescriptor);
}

void HttpServer::Open() {
    SocketAddress address = ParseAddress(settings.address);
    listenDescriptor = socket(address.Family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (listenDescriptor < 0)
        throw Failed("socket");
    const int on = 1;
    setsockopt(listenDescriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    address.Port() = htons(static_cast<uint16_t>(port));
    if (bind(listenDescriptor, address.Generic(), address.size) != 0 ||
        listen(listenDescriptor, 512) != 0 ||
        getsockname(listenDescriptor, address.Generic(), &address.size) != 0)
        throw Failed(fmt::format("cannot listen at {}:{}", settings.address, port));
    port = ntohs(address.Port());
    AddToPoll(pollDescriptor, listenDescriptor, EPOLLIN);
}

void HttpServer::Accept() {
    for (;;) {
        SocketAddress address;
        const int socket = accept4(listenDescriptor, address.Generic(), &address.size,
                                   SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (socket < 0) {
            /* otherwise the descriptor would stay readable, and each Run() would fail again */
            if (errno == EMFILE || errno == ENFILE || errno == ENOBUFS || errno == ENOMEM)
                PauseAccepting();
            return;
        }
        numConnections++;
        KeepAlive(socket);
        /* libmicrohttpd closes the socket itself if it cannot take it. */
        MHD_add_connection(daemon, socket, address.Generic(), address.size);
    }
}

void HttpServer::PauseAccepting() {
    epoll_ctl(pollDescriptor, EPOLL_CTL_DEL, listenDescriptor, nullptr);
    acceptAgainAt = MonotonicMs() + kAcceptPauseMs;
}

void HttpServer::ResumeAccepting() {
    acceptAgainAt = 0;
    AddToPoll(pollDescriptor, listenDescriptor, EPOLLIN);
}

/* Starts the time of the connection's next request. */
void HttpServer::Await(MHD_Connection *connection) {
    StopAwaiting(connection);
    if (const auto at = open.find(connection); at != open.end())
        at->second.place = awaited.insert(
            awaited.end(), {connection, MonotonicMs() + int64_t{settings.idleSeconds} * 1000});
}

void HttpServer::StopAwaiting(MHD_Connection *connection) {
    const auto at = open.find(connection);
    if (at == open.end() || at->second.place == awaited.end())
        return;
    awaited.erase(at->second.place);
    at->second.place = awaited.end();
}

/* libmicrohttpd measures the time without any traffic only. */
void HttpServer::CloseSlow() {
    while (!awaited.empty() && awaited.front().until <= MonotonicMs()) {
        MHD_Connection *connection = awaited.front().connection;
        StopAwaiting(connection);
        shutdown(open.at(connection).socket, SHUT_RDWR);
    }
}

int HttpServer::TimeoutMs() const {
    int64_t left = INT64_MAX;
    MHD_UNSIGNED_LONG_LONG timeout = 0;
    if (MHD_get_timeout(daemon, &timeout) == MHD_YES)
        left = static_cast<int64_t>(std::min<MHD_UNSIGNED_LONG_LONG>(timeout, INT32_MAX));
    if (acceptAgainAt != 0)
        left = std::min(left, std::max<int64_t>(acceptAgainAt - MonotonicMs(), 0));
    if (!awaited.empty())
        left = std::min(left, std::max<int64_t>(awaited.front().until - MonotonicMs(), 0));
    return left == INT64_MAX ? -1 : static_cast<int>(left);
}

void HttpServer::Run() {
    uint64_t count = 0;
    /* Both only signal work; reading fails if there is nothing to clear. */
    (void)!read(wakeDescriptor, &count, sizeof count);
    (void)!read(timerDescriptor, &count, sizeof count);

    if (acceptAgainAt != 0 && MonotonicMs() >= acceptAgainAt)
        ResumeAccepting();
    std::array<epoll_event, 64> events{};
    const int numEvents = epoll_wait(pollDescriptor, events.data(), events.size(), 0);
    for (int i = 0; i < numEvents; i++) {
        const int descriptor = events[i].data.fd;
        if (descriptor == listenDescriptor) {
            Accept();
        } else if (const auto at = suspended.find(descriptor); at != suspended.end()) {
            const ExchangePtr exchange = at->second;
            exchange->Answer({.ending = HttpAnswer::Ending::Close});
        }
    }
    CloseSlow();
    MHD_run(daemon);
    if (TimeoutMs() == 0)
        Wake();
}

void HttpServer::Wake() {
    const uint64_t one = 1;
    (void)!write(wakeDescriptor, &one,
                 sizeof one); /* fails if it is full, and then it is readable already */
}

void HttpServer::WakeAfter(int64_t milliseconds) {
    if (milliseconds == 0)
        return Wake();
    itimerspec when{};
    if (milliseconds > 0) {
        when.it_value.tv_sec = milliseconds / 1000;
        when.it_value.tv_nsec = milliseconds % 1000 * 1000000;
    }
    timerfd_settime(timerDescriptor, 0, &when, nullptr);
}

void HttpServer::SetListening(bool listening) {
    if (listening && listenDescriptor < 0)
        Open();
    else if (!listening) {
        CloseDescriptor(listenDescriptor);
        acceptAgainAt = 0;
    }
}

void HttpServer::ResetConnections() {
    const auto waiting = suspended;
    for (const auto &[socket, exchange] : waiting)
        exchange->Answer({.ending = HttpAnswer::Ending::Reset});
    for (const auto &[connection, each] : open)
        BreakOff(each.socket);
    Wake();
}

/* libmicrohttpd does not poll a suspended connection, so its end is detected here. */
void HttpServer::WatchSuspended(const ExchangePtr &exchange) {
    exchange->suspended = true;
    const int socket = SocketOf(exchange->connection);
    suspended[socket] = exchange;
    AddToPoll(pollDescriptor, socket, EPOLLRDHUP);
}

void HttpServer::Unwatch(const HttpExchange &exchange) {
    const int socket = SocketOf(exchange.connection);
    suspended.erase(socket);
    epoll_ctl(pollDescriptor, EPOLL_CTL_DEL, socket, nullptr);
}

/* Ends an exchange, whether it was answered or not. */
void HttpServer::Drop(const ExchangePtr &exchange) {
    exchange->server = nullptr;
    exchange->connection = nullptr;
    const auto gone = std::move(exchange->gone);
    exchange->gone = nullptr;
    const bool unheard =
        !exchange->answered || exchange->answer.ending != HttpAnswer::Ending::Whole;
    if (gone && unheard && !closing)
        gone();
    exchange->answered = true;
}

int HttpServer::Queue(const ExchangePtr &exchange) {
    HttpAnswer &answer = exchange->answer;
    if (answer.ending == HttpAnswer::Ending::Reset)
        BreakOff(SocketOf(exchange->connection));
    if (answer.ending == HttpAnswer::Ending::Reset || answer.ending == HttpAnswer::Ending::Close)
        return 0;
    MHD_Response *response = MakeResponse(answer);
    if (response == nullptr)
        return 0;
    const MHD_Result result =
        MHD_queue_response(exchange->connection, static_cast<unsigned>(answer.status), response);
    MHD_destroy_response(response);
    return result == MHD_YES ? 1 : 0;
}

int HttpServer::SocketOf(MHD_Connection *connection) const {
    return MHD_get_connection_info(connection, MHD_CONNECTION_INFO_CONNECTION_FD)->connect_fd;
}

} // namespace simulator
