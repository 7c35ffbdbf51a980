#include "tests/support/cannedServer.h"

#include <cerrno>
#include <string>

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/support/testLoop.h"

namespace {

/* A client that writes the given text and returns all that came back, until the end. */
class Client {
public:
    explicit Client(const CannedServer &server) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(uint16_t(server.Port()));
        descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        EXPECT_EQ(0, connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address));
        const int on = 1;
        setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    ~Client() { close(descriptor); }

    void Write(const std::string &bytes) {
        EXPECT_EQ(ssize_t(bytes.size()), write(descriptor, bytes.data(), bytes.size()));
        testLoop::Settle();
    }
    /* What came, then "|" after an end and "!" after a reset. */
    std::string Read() {
        std::string all;
        char buffer[4096];
        for (;;) {
            const ssize_t count = recv(descriptor, buffer, sizeof buffer, MSG_DONTWAIT);
            if (count == 0)
                return all + "|";
            if (count < 0)
                return errno == ECONNRESET ? all + "!" : all;
            all.append(buffer, size_t(count));
        }
    }

private:
    int descriptor;
};

TEST(CannedServer, ReadsTheWholeBodyBeforeItAnswersAndKeepsTheConnection) {
    CannedServer server;
    server.Answer([](const CannedRequest &request) { return HttpReply("<" + request.body + ">"); });
    Client client(server);
    client.Write("POST /sdk HTTP/1.1\r\nhost: x\r\nContent-LENGTH:  4\r\n\r\nab");
    EXPECT_EQ("", client.Read());
    client.Write("cd");
    EXPECT_EQ("HTTP/1.1 200 OK\r\nContent-Type: text/xml; charset=utf-8\r\nContent-Length: 6\r\n"
              "\r\n<abcd>",
              client.Read());
    client.Write("PUT /x HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nxyz\r\n0\r\n");
    EXPECT_EQ("", client.Read());
    client.Write("\r\n");
    EXPECT_NE(std::string::npos, client.Read().find("<xyz>"));
    ASSERT_EQ(2u, server.Requests().size());
    EXPECT_EQ("POST", server.Requests()[0].method);
    EXPECT_EQ("/sdk", server.Requests()[0].target);
    EXPECT_EQ("x", server.Requests()[0].Header("Host"));
    EXPECT_EQ("xyz", server.Requests()[1].body);
    EXPECT_EQ(1, server.NumConnections());
}

TEST(CannedServer, EndsConnectionsAsTold) {
    const struct {
        CannedAnswer answer;
        const char *seen;
    } rows[] = {
        {{.bytes = "abc"}, "abc"},
        {{.bytes = "abc", .close = true}, "abc|"},
        {{.bytes = "", .reset = true}, "!"},
        {{.bytes = "abc", .cutAfter = 2}, "ab|"},
        {{.bytes = "abc", .cutAfter = 0}, "|"},
        {{.bytes = ""}, ""},
    };
    for (const auto &row : rows) {
        CannedServer server;
        server.Answer([&](const CannedRequest &) { return row.answer; });
        Client client(server);
        client.Write("GET / HTTP/1.1\r\n\r\n");
        const std::string seen = client.Read();
        EXPECT_EQ(row.seen, seen);
        EXPECT_EQ(seen.find_first_of("|!") == std::string::npos ? 1 : 0,
                  server.NumOpenConnections());
    }
}

TEST(CannedServer, AnAnswerMayComeLater) {
    CannedServer server;
    server.Answer([](const CannedRequest &) { return CannedAnswer{}; });
    Client client(server);
    client.Write("GET / HTTP/1.1\r\n\r\n");
    server.Send(0, "late", true);
    EXPECT_EQ("late|", client.Read());
    server.Send(0, "later"); /* gone: no harm */
}

} // namespace
