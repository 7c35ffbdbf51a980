#include "tests/support/tlsFront.h"

#include <thread>

#include <gnutls/gnutls.h>
#include <poll.h>

#include "tests/support/loopback.h"

namespace {

using certificates::Check;

/* Carries what has come to the other side. False at an end. */
bool CarryIn(gnutls_session_t session, int plain) {
    char buffer[16384];
    const ssize_t count = gnutls_record_recv(session, buffer, sizeof buffer);
    return count == GNUTLS_E_AGAIN ||
           (count > 0 && send(plain, buffer, size_t(count), MSG_NOSIGNAL) == count);
}

bool CarryOut(gnutls_session_t session, int plain) {
    char buffer[16384];
    const ssize_t count = read(plain, buffer, sizeof buffer);
    for (ssize_t at = 0; at < count;) {
        const ssize_t sent = gnutls_record_send(session, buffer + at, size_t(count - at));
        if (sent <= 0)
            return false;
        at += sent;
    }
    return count > 0;
}

void Converse(gnutls_session_t session, int encrypted, int plain) {
    for (;;) {
        pollfd ends[] = {{encrypted, POLLIN, 0}, {plain, POLLIN, 0}};
        const bool isPending = gnutls_record_check_pending(session) > 0;
        if (poll(ends, 2, isPending ? 0 : -1) < 0)
            return;
        if ((isPending || ends[0].revents) && !CarryIn(session, plain))
            return;
        if (ends[1].revents && !CarryOut(session, plain))
            return;
    }
}

void Serve(gnutls_certificate_credentials_t credentials, int encrypted, int port) {
    gnutls_session_t session = nullptr;
    gnutls_init(&session, GNUTLS_SERVER);
    gnutls_set_default_priority(session);
    gnutls_credentials_set(session, GNUTLS_CRD_CERTIFICATE, credentials);
    gnutls_transport_set_int(session, encrypted);
    if (gnutls_handshake(session) == GNUTLS_E_SUCCESS) {
        const int plain = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (ConnectToLoopback(plain, port) == 0)
            Converse(session, encrypted, plain);
        close(plain);
        gnutls_bye(session, GNUTLS_SHUT_WR);
    }
    gnutls_deinit(session);
    close(encrypted);
}

gnutls_datum_t Datum(std::string *text) {
    return {reinterpret_cast<unsigned char *>(text->data()), unsigned(text->size())};
}

[[noreturn]] void Run(int listener, int port, const certificates::Presented &presented) {
    std::string chain = presented.Pem();
    std::string key = presented.KeyPem();
    const gnutls_datum_t chainDatum = Datum(&chain);
    const gnutls_datum_t keyDatum = Datum(&key);
    gnutls_certificate_credentials_t credentials = nullptr;
    Check(gnutls_certificate_allocate_credentials(&credentials), "credentials");
    Check(gnutls_certificate_set_x509_key_mem(credentials, &chainDatum, &keyDatum,
                                              GNUTLS_X509_FMT_PEM),
          "certificate");
    for (;;) {
        const int encrypted = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (encrypted >= 0)
            std::thread(Serve, credentials, encrypted, port).detach();
    }
}

} // namespace

TlsFront::TlsFront(int plainPort, const certificates::Presented &presented)
    : listener(ListenOnLoopback(&port)),
      process([&, this] { Run(listener, plainPort, presented); }) {
    close(listener);
}

std::string TlsFront::Url(const std::string &path) const {
    return "https://127.0.0.1:" + std::to_string(port) + path;
}
