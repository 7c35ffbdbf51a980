#include "tests/apps/lib/basicHttp/tlsPeer.h"

#include <csignal>
#include <cstdlib>

#include <arpa/inet.h>
#include <gnutls/gnutls.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/certificates/certificateKind.h"

namespace {

using Answer = std::function<std::string(const std::string &)>;

gnutls_datum_t Datum(const std::string &text) {
    return {reinterpret_cast<unsigned char *>(const_cast<char *>(text.data())),
            static_cast<unsigned>(text.size())};
}

size_t BodyLength(const std::string &head) {
    const size_t at = head.find("Content-Length: ");
    return at == std::string::npos ? 0 : strtoul(head.c_str() + at + 16, nullptr, 10);
}

/* The head of the next request; empty at the end. The body is read and dropped. */
std::string NextHead(gnutls_session_t session) {
    std::string bytes;
    char piece[16384];
    for (size_t end = 0;;) {
        end = bytes.find("\r\n\r\n");
        if (end != std::string::npos && bytes.size() >= end + 4 + BodyLength(bytes.substr(0, end)))
            return bytes.substr(0, end);
        const ssize_t got = gnutls_record_recv(session, piece, sizeof piece);
        if (got <= 0)
            return "";
        bytes.append(piece, static_cast<size_t>(got));
    }
}

void ServeConnection(int descriptor, gnutls_certificate_credentials_t credentials,
                     const Answer &answer) {
    gnutls_session_t session = nullptr;
    gnutls_init(&session, GNUTLS_SERVER);
    gnutls_set_default_priority(session);
    gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials);
    gnutls_transport_set_int(session, descriptor);
    if (gnutls_handshake(session) != GNUTLS_E_SUCCESS)
        return;
    for (std::string head = NextHead(session); !head.empty(); head = NextHead(session)) {
        const std::string reply = answer(head);
        if (reply.empty())
            break;
        gnutls_record_send(session, reply.data(), reply.size());
    }
    gnutls_bye(session, GNUTLS_SHUT_WR);
}

[[noreturn]] void Serve(int listener, const certificates::Presented &shown, const Answer &answer) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    signal(SIGCHLD, SIG_IGN);
    gnutls_certificate_credentials_t credentials = nullptr;
    gnutls_certificate_allocate_credentials(&credentials);
    const std::string chain = shown.Pem();
    const gnutls_datum_t certificate = Datum(chain);
    const gnutls_datum_t key = Datum(shown.KeyPem());
    gnutls_certificate_set_x509_key_mem(credentials, &certificate, &key, GNUTLS_X509_FMT_PEM);
    for (;;) {
        const int descriptor = accept(listener, nullptr, nullptr);
        if (descriptor < 0)
            _exit(1);
        if (fork() == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            ServeConnection(descriptor, credentials, answer);
            _exit(0);
        }
        close(descriptor);
    }
}

} // namespace

TlsPeer::TlsPeer(const std::function<std::string(const std::string &head)> &answer) {
    const auto shown = certificates::MakeKind("self-signed");
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    EXPECT_EQ(0, bind(listener, generic, length));
    EXPECT_EQ(0, listen(listener, 16));
    EXPECT_EQ(0, getsockname(listener, generic, &length));
    port = ntohs(address.sin_port);
    process = fork();
    if (process == 0)
        Serve(listener, *shown, answer);
    close(listener);
}

TlsPeer::~TlsPeer() {
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

std::string TlsPeer::Url(const std::string &path) const {
    return "https://127.0.0.1:" + std::to_string(port) + path;
}
