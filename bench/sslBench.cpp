// What does our connection add to OpenSSL itself when it carries bulk data?
//
// Both sides are clients of the same server, a thread with plain OpenSSL that writes or reads as fast as it can. Ours
// is SSL_Read() and SSL_Write(); the peer is SSL_read() and SSL_write() of the libssl that this program is linked with.
#include <csignal>
#include <memory>
#include <string>
#include <thread>

#include <benchmark/benchmark.h>
#include <openssl/pem.h>
#include <openssl/ssl.h>
#include <orvane/ssl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "bench/ratio.h"
#include "tools/certificates/certificate.h"

namespace {

constexpr int kRecord = 16384; /* the most that one record of TLS holds */

template <auto release> struct Release {
    template <class T> void operator()(T *p) const { release(p); }
};
using PlainContextPtr = std::unique_ptr<SSL_CTX, Release<SSL_CTX_free>>;
using PlainPtr = std::unique_ptr<SSL, Release<SSL_free>>;
using BioPtr = std::unique_ptr<BIO, Release<BIO_free>>;
using CertPtr = std::unique_ptr<X509, Release<X509_free>>;
using KeyPtr = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using SockPtr = std::unique_ptr<SSLSock, Release<SSL_Shutdown>>;

enum class Direction { Read, Write };

[[noreturn]] void Fail(const char *what) {
    g_error("TLS bench: %s", what);
}

BioPtr TextBio(const std::string &text) {
    return BioPtr(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
}

PlainContextPtr ServerContext() {
    const certificates::Certificate certificate = certificates::SelfSigned({});
    const BioPtr certText = TextBio(certificate.pem);
    const BioPtr keyText = TextBio(certificate.key->Pem());
    const CertPtr cert(PEM_read_bio_X509(certText.get(), nullptr, nullptr, nullptr));
    const KeyPtr key(PEM_read_bio_PrivateKey(keyText.get(), nullptr, nullptr, nullptr));
    PlainContextPtr ctx(SSL_CTX_new(TLS_server_method()));
    if (SSL_CTX_use_certificate(ctx.get(), cert.get()) != 1 ||
        SSL_CTX_use_PrivateKey(ctx.get(), key.get()) != 1)
        Fail("no certificate");
    return ctx;
}

/* The other end: sends what the client reads, or reads what it sends, until the client goes. */
class Server {
public:
    Server(SSL_CTX *ctx, Direction clients) {
        int fds[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds) != 0)
            Fail("no sockets");
        clientFd = fds[0];
        thread = std::thread([ctx, clients, fd = fds[1]] { Serve(ctx, clients, fd); });
    }
    ~Server() {
        shutdown(clientFd, SHUT_RDWR);
        thread.join();
        close(clientFd);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    int Fd() const { return clientFd; }

private:
    static void Serve(SSL_CTX *ctx, Direction clients, int fd) {
        const PlainPtr ssl(SSL_new(ctx));
        SSL_set_fd(ssl.get(), fd);
        if (SSL_accept(ssl.get()) != 1)
            Fail("no handshake");
        std::string buffer(kRecord, 'x');
        if (clients == Direction::Read) {
            while (SSL_write(ssl.get(), buffer.data(), kRecord) > 0) {
            }
        } else {
            while (SSL_read(ssl.get(), buffer.data(), kRecord) > 0) {
            }
        }
        close(fd);
    }

    int clientFd = -1;
    std::thread thread;
};

/* Carries a record's worth of bytes at a time. */
template <class Carry> void Run(benchmark::State &state, Carry carry) {
    for (auto _ : state) {
        if (carry() <= 0)
            state.SkipWithError("the connection broke");
    }
    state.SetBytesProcessed(state.iterations() * kRecord);
}

void Ours(benchmark::State &state, SSL_CTX *serverCtx, Direction direction) {
    const Server server(serverCtx, direction);
    const SockPtr sock(SSL_New(server.Fd(), FALSE));
    if (!SSL_ConnectAndVerify(sock.get(), nullptr))
        Fail("no connection of ours");
    std::string buffer(kRecord, 'x');
    if (direction == Direction::Read)
        Run(state, [&] { return SSL_Read(sock.get(), buffer.data(), kRecord); });
    else
        Run(state, [&] { return SSL_Write(sock.get(), buffer.data(), kRecord); });
}

void Peer(benchmark::State &state, SSL_CTX *serverCtx, Direction direction) {
    const PlainContextPtr ctx(SSL_CTX_new(TLS_client_method()));
    const Server server(serverCtx, direction);
    const PlainPtr ssl(SSL_new(ctx.get()));
    SSL_set_fd(ssl.get(), server.Fd());
    if (SSL_connect(ssl.get()) != 1)
        Fail("no plain connection");
    std::string buffer(kRecord, 'x');
    if (direction == Direction::Read)
        Run(state, [&] { return SSL_read(ssl.get(), buffer.data(), kRecord); });
    else
        Run(state, [&] { return SSL_write(ssl.get(), buffer.data(), kRecord); });
}

} // namespace

int main(int argc, char **argv) {
    signal(SIGPIPE, SIG_IGN); /* plain OpenSSL raises it when a round is over */
    SSL_Init(nullptr, nullptr, nullptr);
    const PlainContextPtr serverCtx = ServerContext();
    for (const auto &[name, direction] :
         {std::pair(std::string("sslRead"), Direction::Read), {"sslWrite", Direction::Write}}) {
        benchmark::RegisterBenchmark((name + "/ours").c_str(), Ours, serverCtx.get(), direction);
        benchmark::RegisterBenchmark((name + "/peer").c_str(), Peer, serverCtx.get(), direction);
    }
    // 0.95 of the throughput
    constexpr RatioRow kRows[] = {
        {"sslRead", "16 KB read from a TLS connection, against plain OpenSSL", 1 / 0.95},
        {"sslWrite", "16 KB written to one, against plain OpenSSL", 1 / 0.95},
    };
    const int result = Ratio_Main(argc, argv, kRows);
    SSL_Exit();
    return result;
}
