#include "tests/hostile/peer.h"

#include <sys/mman.h>

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

} // namespace

Peer::Peer(const Attack &attack, const certificates::Presented *presented) {
    void *shared =
        mmap(nullptr, sizeof *deeds, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    deeds = new (shared) PeerDeeds{};
    plain = std::make_unique<ChildProcess>([&] { Serve(attack, deeds); });
    for (int i = 0; deeds->port == 0 && i < kMaxWaits; i++)
        g_usleep(kWaitUs);
    EXPECT_NE(0, deeds->port) << "the peer does not start";
    port = deeds->port;
    if (presented == nullptr)
        return;
    front = std::make_unique<TlsFront>(port, *presented);
    port = front->Port();
}

Peer::~Peer() {
    front.reset();
    plain.reset();
    munmap(deeds, sizeof *deeds);
}

std::string Peer::Url(const std::string &path) const {
    return (front ? "https" : "http") + std::string("://127.0.0.1:") + std::to_string(port) + path;
}

PeerDeeds Peer::Deeds() const {
    return {deeds->port, deeds->numConnections, deeds->numAttacks, deeds->numBytes};
}

} // namespace hostile
