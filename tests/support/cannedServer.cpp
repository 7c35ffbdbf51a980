// Connections read until a request is whole, ask the test's function, then write what it said.
#include "tests/support/cannedServer.h"

#include <algorithm>

#include <fcntl.h>
#include <netinet/tcp.h>
#include <poll.h>

#include "tests/support/loopback.h"
#include "tests/support/testLoop.h"

namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kHeadEnd = "\r\n\r\n";
constexpr std::string_view kContinue = "HTTP/1.1 100 Continue\r\n\r\n";

std::string_view Trim(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t'))
        text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t'))
        text.remove_suffix(1);
    return text;
}

bool IsSameName(std::string_view left, std::string_view right) {
    return std::ranges::equal(
        left, right, [](char a, char b) { return g_ascii_tolower(a) == g_ascii_tolower(b); });
}

/* Fills in the head and returns true once it is there, with the place where the body starts. */
bool ReadHead(const std::string &in, CannedRequest *request, size_t *bodyStart) {
    const size_t end = in.find(kHeadEnd);
    if (end == std::string::npos)
        return false;
    request->head = in.substr(0, end);
    const std::string line = request->head.substr(0, request->head.find(kLineEnd));
    const size_t first = line.find(' ');
    const size_t second = line.find(' ', first == std::string::npos ? first : first + 1);
    request->method = line.substr(0, first);
    if (first != std::string::npos)
        request->target = line.substr(first + 1, second - first - 1);
    *bodyStart = end + kHeadEnd.size();
    return true;
}

} // namespace

std::string CannedRequest::Header(const std::string &name) const {
    size_t at = head.find(kLineEnd);
    while (at != std::string::npos) {
        at += kLineEnd.size();
        const size_t end = head.find(kLineEnd, at);
        const std::string_view line = std::string_view(head).substr(at, end - at);
        const size_t colon = line.find(':');
        if (colon != std::string_view::npos && IsSameName(line.substr(0, colon), name))
            return std::string(Trim(line.substr(colon + 1)));
        at = end;
    }
    return "";
}

CannedAnswer HttpReply(const std::string &body, int status, const std::string &contentType,
                       const std::vector<std::string> &headers) {
    std::string bytes =
        "HTTP/1.1 " + std::to_string(status) + (status == 200 ? " OK\r\n" : " Status\r\n");
    if (!contentType.empty())
        bytes += "Content-Type: " + contentType + "\r\n";
    bytes += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    for (const std::string &header : headers)
        bytes += header + "\r\n";
    return {.bytes = bytes + "\r\n" + body};
}

CannedServer::CannedServer() {
    listener = ListenOnLoopback(&port);
    fcntl(listener, F_SETFL, O_NONBLOCK);
    testLoop::Watch(listener, POLLIN, [this](short) { Accept(); });
}

/* Takes one whole request off the front; false if it is not whole yet. */
bool CannedServer::TakeRequest(Connection *connection, CannedRequest *request) {
    size_t start = 0;
    if (!ReadHead(connection->in, request, &start))
        return false;

    const size_t length = strtoul(request->Header("Content-Length").c_str(), nullptr, 10);
    if (connection->in.size() - start < length)
        return false;
    request->body = connection->in.substr(start, length);
    connection->in.erase(0, start + length);
    connection->isContinued = false;
    return true;
}

bool CannedServer::WantsContinue(const Connection &connection) {
    CannedRequest request;
    size_t start = 0;
    return !connection.isContinued && ReadHead(connection.in, &request, &start) &&
           IsSameName(request.Header("Expect"), "100-continue");
}

void CannedServer::Accept() {
    const int descriptor = accept4(listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (descriptor < 0)
        return; /* the peer has gone again */
    const int on = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    const int number = numConnections++;
    connections.emplace(number, Connection{.descriptor = descriptor, .in = {}, .out = {}});
    WatchAgain(number);
}

void CannedServer::WatchAgain(int number) {
    const auto found = connections.find(number);
    if (found == connections.end())
        return;
    const short events = short(POLLIN | (found->second.out.empty() ? 0 : POLLOUT));
    testLoop::Watch(found->second.descriptor, events,
                    [this, number](short happened) { Serve(number, happened); });
}

void CannedServer::Serve(int number, short events) {
    if ((events & (POLLIN | POLLHUP | POLLERR)) && !Read(number))
        return;
    AnswerRequests(number);
    Write(number);
}

/* Reads what is there; false if the connection has ended. */
bool CannedServer::Read(int number) {
    Connection &connection = connections.at(number);
    char buffer[65536];
    for (;;) {
        const ssize_t count = recv(connection.descriptor, buffer, sizeof buffer, 0);
        if (count > 0) {
            connection.in.append(buffer, size_t(count));
            continue;
        }
        if (count < 0 && (errno == EAGAIN || errno == EINTR))
            return true;
        Close(number, false);
        return false;
    }
}

void CannedServer::AnswerRequests(int number) {
    CannedRequest request;
    while (connections.contains(number) && connections.at(number).ending == Ending::kKeep &&
           TakeRequest(&connections.at(number), &request)) {
        request.connection = number;
        requests.push_back(request);
        const CannedAnswer said = answer ? answer(request) : HttpReply("", 404);
        const auto found = connections.find(number);
        if (found == connections.end())
            return;
        found->second.out += said.bytes.substr(0, said.cutAfter);
        if (said.reset)
            found->second.ending = Ending::kReset;
        else if (said.close || said.cutAfter != SIZE_MAX)
            found->second.ending = Ending::kClose;
        request = {};
    }
    const auto found = connections.find(number);
    if (found != connections.end() && WantsContinue(found->second)) {
        found->second.out += kContinue;
        found->second.isContinued = true;
    }
}

void CannedServer::Write(int number) {
    const auto found = connections.find(number);
    if (found == connections.end())
        return;
    Connection &connection = found->second;
    while (connection.numWritten < connection.out.size()) {
        const ssize_t count =
            send(connection.descriptor, connection.out.data() + connection.numWritten,
                 connection.out.size() - connection.numWritten, MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            return WatchAgain(number);
        if (count < 0)
            return Close(number, false);
        connection.numWritten += size_t(count);
        numBytesWritten += size_t(count);
    }
    connection.out.clear();
    connection.numWritten = 0;
    if (connection.ending != Ending::kKeep)
        return Close(number, connection.ending == Ending::kReset);
    WatchAgain(number);
}

void CannedServer::Close(int number, bool withReset) {
    const int descriptor = connections.at(number).descriptor;
    testLoop::Unwatch(descriptor);
    if (withReset) {
        const linger atOnce{.l_onoff = 1, .l_linger = 0};
        setsockopt(descriptor, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    }
    close(descriptor);
    connections.erase(number);
}

CannedServer::~CannedServer() {
    StopListening();
    while (!connections.empty())
        Close(connections.begin()->first, false);
}

std::string CannedServer::Url(const std::string &path) const {
    return "http://127.0.0.1:" + std::to_string(port) + path;
}

void CannedServer::Answer(std::function<CannedAnswer(const CannedRequest &)> function) {
    answer = std::move(function);
}

void CannedServer::Send(int connection, const std::string &bytes, bool close) {
    const auto found = connections.find(connection);
    if (found == connections.end())
        return; /* the peer has closed it meanwhile */
    found->second.out += bytes;
    if (close)
        found->second.ending = Ending::kClose;
    Write(connection);
}

void CannedServer::StopListening() {
    if (listener < 0)
        return;
    testLoop::Unwatch(listener);
    close(listener);
    listener = -1;
}
