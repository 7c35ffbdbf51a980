// Does a limit hold, and what does a group cost that has none?
#include <arpa/inet.h>
#include <linux/perf_event.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <glib.h>

#include "apps/lib/basicHttp/basicHttp.h"
#include "bench/bareCurl.h"
#include "bench/bareServer.h"
#include "bench/epollLoop.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr gint64 kLimit = 1000000;   /* bytes a second */
constexpr gint64 kLink = 2 * kLimit; /* the same */
constexpr int kSeconds = 5;
constexpr int kRounds = 15;

void Check(bool holds, const char *what) {
    if (!holds)
        g_error("%s", what);
}

/* A server that answers one request on loopback, as fast as its link. */
class SlowServer {
public:
    SlowServer() : listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto *any = reinterpret_cast<sockaddr *>(&address);
        Check(bind(listener, any, size) == 0 && listen(listener, 1) == 0 &&
                  getsockname(listener, any, &size) == 0,
              "listen");
        port = ntohs(address.sin_port);
        thread = std::thread([this] { Serve(); });
    }
    ~SlowServer() {
        thread.join();
        close(listener);
    }
    SlowServer(const SlowServer &) = delete;
    SlowServer &operator=(const SlowServer &) = delete;

    std::string Url() const { return "http://127.0.0.1:" + std::to_string(port) + "/"; }

private:
    void Serve() const {
        constexpr int kStepsASecond = 100;
        const int peer = accept(listener, nullptr, nullptr);
        char request[4096];
        Check(peer >= 0 && recv(peer, request, sizeof request, 0) > 0, "request");
        std::string piece =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kLimit * kSeconds) + "\r\n\r\n";
        Check(send(peer, piece.data(), piece.size(), MSG_NOSIGNAL) > 0, "answer");
        piece.assign(kLink / kStepsASecond, 'x');
        auto next = Clock::now();
        for (gint64 sent = 0; sent < kLimit * kSeconds; sent += static_cast<gint64>(piece.size())) {
            for (size_t done = 0; done < piece.size();) {
                const ssize_t now =
                    send(peer, piece.data() + done, piece.size() - done, MSG_NOSIGNAL);
                Check(now > 0, "body");
                done += static_cast<size_t>(now);
            }
            /* a thread that wakes up late sends more, or the link would be slower than it is meant to be */
            next += std::chrono::seconds(1) / kStepsASecond;
            std::this_thread::sleep_until(next);
        }
        close(peer);
    }

    int listener;
    int port;
    std::thread thread;
};

/* Keeps a loop from running for a while, from time to time, as other work of an application does. */
class OtherWork {
public:
    explicit OtherWork(std::chrono::milliseconds workTime) : duration(workTime) {}
    void Run() {
        if (duration.count() == 0 || Clock::now() < next)
            return;
        std::this_thread::sleep_for(duration);
        next = Clock::now() + kPause;
    }

private:
    static constexpr auto kPause = std::chrono::milliseconds(150);
    std::chrono::milliseconds duration;
    Clock::time_point next = Clock::now() + kPause;
};

/* Gets a page, as a member of a group or of none. Returns the size of its body. */
size_t Get(const std::string &url, BasicHttpBandwidthGroup *group,
           std::chrono::milliseconds workTime = {}) {
    BasicHttpRequest *request =
        BasicHttp_CreateRequest(url.c_str(), BASICHTTP_METHOD_GET, nullptr, nullptr, nullptr);
    BasicHttp_SetProxy(request, "", BASICHTTP_PROXY_NONE);
    if (group != nullptr)
        BasicHttp_AddRequestToBandwidthGroup(group, request);
    struct Done {
        bool isDone = false;
        size_t size = 0;
    } done;
    const auto onSent = [](BasicHttpRequest *ended, BasicHttpResponse *response, gpointer data) {
        Check(response->errorCode == BASICHTTP_ERROR_NONE, "transfer");
        auto *to = static_cast<Done *>(data);
        to->isDone = true;
        to->size = response->contentLength;
        BasicHttp_FreeResponse(response);
        BasicHttp_FreeRequest(ended);
    };
    Check(BasicHttp_SendRequest(request, onSent, &done), "send");
    OtherWork work(workTime);
    while (!done.isDone) {
        epollLoop::RunOnce();
        work.Run();
    }
    return done.size;
}

void PrintLimit(const char *name, const char *what, std::chrono::milliseconds workTime) {
    const SlowServer server;
    BasicHttpBandwidthGroup *group = BasicHttp_CreateBandwidthGroup(0, kLimit);
    const auto start = Clock::now();
    const auto size = static_cast<double>(Get(server.Url(), group, workTime));
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    BasicHttp_DeleteBandwidthGroup(group);
    const double ratio = size / seconds / static_cast<double>(kLimit);
    fmt::print("{:<14} {:<58} {:.2f} s   {:.3f}   wanted 0.95 to 1.05   {}\n", name, what, seconds,
               ratio, ratio >= 0.95 && ratio <= 1.05 ? "ok" : "OUTSIDE");
}

/* Counts the instructions of this thread outside of the kernel; where the machine does not tell, its processor time. */
class Cost {
public:
    Cost() {
        perf_event_attr what = {};
        what.size = sizeof what;
        what.type = PERF_TYPE_HARDWARE;
        what.config = PERF_COUNT_HW_INSTRUCTIONS;
        what.exclude_kernel = 1;
        what.exclude_hv = 1;
        counter =
            static_cast<int>(syscall(SYS_perf_event_open, &what, 0, -1, -1, PERF_FLAG_FD_CLOEXEC));
    }
    ~Cost() {
        if (counter >= 0)
            close(counter);
    }
    Cost(const Cost &) = delete;
    Cost &operator=(const Cost &) = delete;

    const char *Unit() const { return counter >= 0 ? "instructions" : "s of processor time"; }
    double Of(const std::function<void()> &work) const {
        const double before = Now();
        work();
        return Now() - before;
    }

private:
    double Now() const {
        guint64 count = 0;
        if (counter < 0)
            return ThreadSeconds();
        Check(read(counter, &count, sizeof count) == sizeof count, "counter");
        return static_cast<double>(count);
    }
    int counter;
};

double Median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

void PrintGroup() {
    constexpr int kTransfers = 20;
    constexpr double kWanted = 1.05;
    const BareServer server(HttpOk(std::string(1 << 20, 'x')));
    const Cost cost;
    BasicHttpBandwidthGroup *group = BasicHttp_CreateBandwidthGroup(0, 0);
    const auto transfers = [&](BasicHttpBandwidthGroup *of) {
        return cost.Of([&] {
            for (int i = 0; i < kTransfers; i++)
                Get(server.Url("/"), of);
        });
    };
    std::vector<double> ours, peer, ratios;
    for (int i = 0; i < kRounds; i++) {
        ours.push_back(transfers(group));
        peer.push_back(transfers(nullptr));
        ratios.push_back(ours.back() / peer.back());
    }
    BasicHttp_DeleteBandwidthGroup(group);
    fmt::print("{:<14} {:<58} ours {:.4g}   peer {:.4g} {}   {:.3f}   wanted {:.2f}   {}\n",
               "group", "20 transfers of 1 MB in a group without limits : without", Median(ours),
               Median(peer), cost.Unit(), Median(ratios), kWanted,
               Median(ratios) <= kWanted ? "ok" : "ABOVE");
}

} // namespace

int main() {
    BasicHttp_Init(epollLoop::Callback, epollLoop::CallbackRemove);
    PrintGroup();
    PrintLimit("limit", "5 MB over a link of 2 MB/s in a group of 1 MB/s : the limit", {});
    PrintLimit("limitLate", "the same in a loop that is late by 50 ms 5 times a second",
               std::chrono::milliseconds(50));
    BasicHttp_Shutdown();
    return 0;
}
