#include "tests/hostile/peer.h"

#include <csignal>

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/hostile/tlsFront.h"
#include "tests/support/testLoop.h"

namespace hostile {

namespace {

constexpr gulong kWaitUs = 1000;
constexpr int kMaxWaits = 60000;

[[noreturn]] void Serve(const Attack &attack, PeerDeeds *deeds) {
    testLoop::Reset();
    AttackedService service(attack);
    deeds->port = service.server.Port();
    for (;;) {
        testLoop::RunUntil(
            [&] {
                service.GoOn();
                deeds->numConnections = service.server.NumConnections();
                deeds->numAttacks = int(service.Count(attack.method));
                deeds->numBytes = service.server.NumBytesWritten();
                return false;
            },
            20);
    }
}

template <class Function> pid_t InAnotherProcess(const Function &function) {
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent)
        _exit(0); /* it has gone meanwhile */
    function();
    _exit(1);
}

void End(pid_t process) {
    if (process <= 0)
        return;
    kill(process, SIGKILL);
    waitpid(process, nullptr, 0);
}

} // namespace

sockaddr_in LoopbackAddress(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

Peer::Peer(const Attack &attack, const certificates::Presented *presented)
    : isTls(presented != nullptr) {
    void *shared =
        mmap(nullptr, sizeof *deeds, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    deeds = new (shared) PeerDeeds{};
    plainProcess = InAnotherProcess([&] { Serve(attack, deeds); });
    for (int i = 0; deeds->port == 0 && i < kMaxWaits; i++)
        g_usleep(kWaitUs);
    EXPECT_NE(0, deeds->port) << "the peer does not start";
    port = deeds->port;
    if (!isTls)
        return;

    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = LoopbackAddress(0);
    socklen_t length = sizeof address;
    auto *generic = reinterpret_cast<sockaddr *>(&address);
    if (bind(listener, generic, length) != 0 || listen(listener, SOMAXCONN) != 0 ||
        getsockname(listener, generic, &length) != 0)
        ADD_FAILURE() << "listen: " << g_strerror(errno);
    tlsProcess = InAnotherProcess([&] { RunTlsFront(listener, port, *presented); });
    close(listener);
    port = ntohs(address.sin_port);
}

Peer::~Peer() {
    End(tlsProcess);
    End(plainProcess);
    munmap(deeds, sizeof *deeds);
}

std::string Peer::Url(const std::string &path) const {
    return (isTls ? "https" : "http") + std::string("://127.0.0.1:") + std::to_string(port) + path;
}

PeerDeeds Peer::Deeds() const {
    return {deeds->port, deeds->numConnections, deeds->numAttacks, deeds->numBytes};
}

} // namespace hostile
