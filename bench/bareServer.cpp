// bench/bareServer.cpp
#include "bench/bareServer.h"

#include <cerrno>
#include <charconv>
#include <string_view>
#include <thread>
#include <unordered_map>

#include <arpa/inet.h>
#include <glib.h>
#include <gnutls/gnutls.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <strings.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tools/certificates/certificate.h"

namespace {

struct Connection {
    std::string in;
    std::string out;
    gnutls_session_t tls = nullptr;
    bool hasShakenHands = false;

    Connection() = default;
    ~Connection() {
        if (tls)
            gnutls_deinit(tls);
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
};

/* Bytes of the first request, 0 while it is not whole. */
size_t RequestSize(std::string_view in) {
    constexpr std::string_view kHeadEnd = "\r\n\r\n";
    constexpr std::string_view kLength = "\r\nContent-Length: ";
    const size_t end = in.find(kHeadEnd);
    if (end == std::string_view::npos)
        return 0;
    size_t size = end + kHeadEnd.size();
    const size_t length = in.substr(0, end).find(kLength);
    if (length != std::string_view::npos) {
        size_t bodySize = 0;
        std::from_chars(in.data() + length + kLength.size(), in.data() + end, bodySize);
        size += bodySize;
    }
    return in.size() < size ? 0 : size;
}

[[noreturn]] void Fail(const char *what) {
    g_error("bare server: %s: %s", what, g_strerror(errno));
}

} // namespace

struct BareServer::State {
    std::string answer;
    int listener = -1;
    int events = -1;
    int stop = -1;
    int port = 0;
    std::unordered_map<int, Connection> connections;
    std::thread thread;
    gnutls_certificate_credentials_t credentials = nullptr; /* NULL: no TLS */

    void Listen();
    void MakeCertificate();
    ssize_t Receive(int descriptor, Connection *connection, char *buffer, size_t size) const;
    ssize_t Send(int descriptor, const Connection &connection) const;
    void Watch(int operation, int descriptor, unsigned what) const;
    void Run();
    void Accept();
    void Serve(int descriptor);
    bool Read(int descriptor, Connection *connection) const;
    bool Write(int descriptor, Connection *connection) const;
};

void BareServer::State::Watch(int operation, int descriptor, unsigned what) const {
    epoll_event event{};
    event.events = what;
    event.data.fd = descriptor;
    if (epoll_ctl(events, operation, descriptor, &event) != 0)
        Fail("epoll_ctl");
}

void BareServer::State::Listen() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    socklen_t length = sizeof address;
    listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    events = epoll_create1(EPOLL_CLOEXEC);
    stop = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (listener < 0 || events < 0 || stop < 0 || bind(listener, generic, length) != 0 ||
        listen(listener, SOMAXCONN) != 0 || getsockname(listener, generic, &length) != 0)
        Fail("listen");
    port = ntohs(address.sin_port);
    Watch(EPOLL_CTL_ADD, listener, EPOLLIN);
    Watch(EPOLL_CTL_ADD, stop, EPOLLIN);
}

void BareServer::State::Run() {
    epoll_event ready[64];
    for (;;) {
        const int count = epoll_wait(events, ready, 64, -1);
        for (int i = 0; i < count; i++) {
            const int descriptor = ready[i].data.fd;
            if (descriptor == stop)
                return;
            if (descriptor == listener)
                Accept();
            else
                Serve(descriptor);
        }
    }
}

void BareServer::State::Accept() {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0)
        return; /* the peer has gone again */
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    Connection &connection = connections[descriptor];
    if (credentials) {
        gnutls_init(&connection.tls, GNUTLS_SERVER | GNUTLS_NONBLOCK);
        gnutls_set_default_priority(connection.tls);
        gnutls_credentials_set(connection.tls, GNUTLS_CRD_CERTIFICATE, credentials);
        gnutls_transport_set_int(connection.tls, descriptor);
    }
    Watch(EPOLL_CTL_ADD, descriptor, EPOLLIN);
}

void BareServer::State::Serve(int descriptor) {
    Connection &connection = connections[descriptor];
    bool isOpen = Read(descriptor, &connection);
    while (const size_t size = RequestSize(connection.in)) {
        connection.in.erase(0, size);
        connection.out += answer;
    }
    isOpen = isOpen && Write(descriptor, &connection);
    if (isOpen)
        return;
    connections.erase(descriptor);
    close(descriptor);
}

void BareServer::State::MakeCertificate() {
    const auto made = certificates::SelfSigned({});
    const auto datum = [](const std::string &text) {
        return gnutls_datum_t{reinterpret_cast<unsigned char *>(const_cast<char *>(text.data())),
                              unsigned(text.size())};
    };
    const gnutls_datum_t certificate = datum(made.pem);
    const gnutls_datum_t key = datum(made.key->Pem());
    if (gnutls_certificate_allocate_credentials(&credentials) < 0 ||
        gnutls_certificate_set_x509_key_mem(credentials, &certificate, &key, GNUTLS_X509_FMT_PEM) <
            0)
        g_error("bare server: no certificate");
}

/* As recv() and send() on a socket that does not block. */
ssize_t BareServer::State::Receive(int descriptor, Connection *connection, char *buffer,
                                   size_t size) const {
    if (!connection->tls)
        return recv(descriptor, buffer, size, 0);
    ssize_t count = connection->hasShakenHands ? 0 : gnutls_handshake(connection->tls);
    if (count == 0) {
        connection->hasShakenHands = true;
        count = gnutls_record_recv(connection->tls, buffer, size);
    }
    errno = count == GNUTLS_E_AGAIN || count == GNUTLS_E_INTERRUPTED ? EAGAIN : EPROTO;
    return count;
}

ssize_t BareServer::State::Send(int descriptor, const Connection &connection) const {
    if (!connection.tls)
        return send(descriptor, connection.out.data(), connection.out.size(), MSG_NOSIGNAL);
    const ssize_t count =
        gnutls_record_send(connection.tls, connection.out.data(), connection.out.size());
    errno = count == GNUTLS_E_AGAIN || count == GNUTLS_E_INTERRUPTED ? EAGAIN : EPROTO;
    return count;
}

bool BareServer::State::Read(int descriptor, Connection *connection) const {
    char buffer[65536];
    ssize_t count = 0;
    do { /* a record may lie in memory where the socket does not show it */
        count = Receive(descriptor, connection, buffer, sizeof buffer);
        if (count > 0)
            connection->in.append(buffer, size_t(count));
    } while (count > 0 && connection->tls);
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

bool BareServer::State::Write(int descriptor, Connection *connection) const {
    if (connection->out.empty())
        return true;
    const ssize_t count = Send(descriptor, *connection);
    if (count < 0 && errno != EAGAIN && errno != EINTR)
        return false;
    connection->out.erase(0, size_t(count > 0 ? count : 0));
    const bool isLeft = !connection->out.empty();
    Watch(EPOLL_CTL_MOD, descriptor, isLeft ? unsigned(EPOLLIN) | EPOLLOUT : unsigned(EPOLLIN));
    return true;
}

std::string HttpOk(const std::string &body) {
    return "HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

BareServer::BareServer(const std::string &answer, Wire wire) : state(std::make_unique<State>()) {
    state->answer = answer;
    if (wire == Wire::kTls)
        state->MakeCertificate();
    state->Listen();
    state->thread = std::thread([this] { state->Run(); });
}

BareServer::~BareServer() {
    const guint64 one = 1;
    if (write(state->stop, &one, sizeof one) != sizeof one)
        Fail("eventfd");
    state->thread.join();
    for (const auto &[descriptor, connection] : state->connections)
        close(descriptor);
    state->connections.clear();
    if (state->credentials)
        gnutls_certificate_free_credentials(state->credentials);
    for (int descriptor : {state->listener, state->events, state->stop})
        close(descriptor);
}

std::string BareServer::Url(const std::string &path) const {
    return (state->credentials ? "https://127.0.0.1:" : "http://127.0.0.1:") +
           std::to_string(state->port) + path;
}
