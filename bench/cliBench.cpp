// What does the command line program cost, beside what it has to do at least?
//
// The program runs as a process of its own, against a simulated service with 10,000 machines in this one. "ls" is
// compared in processor time with the library's own retrieval and release of the same objects, and with nlohmann-json
// for the same bytes. "--version" is compared in elapsed time, the least of many rounds, with a program that does
// nothing. "watch" draws its table on a pseudo-terminal while the service reports changes; its figure is the share of
// one core.
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>
#include <orvane/specBuilders.h>

#include "bench/bareCurl.h"
#include "bench/epollLoop.h"
#include "bench/freshProcess.h"
#include "tools/simulator/simulator.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kNumMachines = 10000;
constexpr int kListRounds = 7;
constexpr double kWantedList = 1.5;

constexpr int kVersionRounds = 51;
constexpr double kWantedVersionMs = 15;

constexpr int kChangesPerSecond = 5000;
constexpr std::chrono::seconds kWarmUp{2};
constexpr std::chrono::seconds kWatched{10};
constexpr double kWantedShare = 25; /* per cent */

double Milliseconds(Clock::duration time) {
    return std::chrono::duration<double, std::milli>(time).count();
}

/* ---- processes ---- */

std::vector<char *> Pointers(std::vector<std::string> &words) {
    std::vector<char *> all;
    for (std::string &word : words)
        all.push_back(word.data());
    all.push_back(nullptr);
    return all;
}

pid_t Start(std::vector<std::string> words, const char *output) {
    const std::vector<char *> argv = Pointers(words);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output, O_WRONLY, 0);
    pid_t child = 0;
    if (const int error = posix_spawn(&child, argv[0], &actions, nullptr, argv.data(), environ);
        error != 0)
        g_error("cannot start %s: %s", argv[0], g_strerror(error));
    posix_spawn_file_actions_destroy(&actions);
    return child;
}

/* Waits for the end, which must be a success. Returns the processor time of all its threads. */
double ProcessorMs(pid_t child) {
    int status = 0;
    rusage usage{};
    if (wait4(child, &status, 0, &usage) != child || status != 0)
        g_error("the program ended with status %d", status);
    const auto ms = [](const timeval &time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

std::string ReadAll(int descriptor) {
    std::string all;
    std::array<char, 65536> buffer;
    if (lseek(descriptor, 0, SEEK_SET) != 0)
        g_error("lseek: %s", g_strerror(errno));
    for (ssize_t count = 0; (count = read(descriptor, buffer.data(), buffer.size())) > 0;)
        all.append(buffer.data(), static_cast<size_t>(count));
    return all;
}

/* ---- ls ---- */

/* A session of this process, and what "ls -R -l" retrieves, with nothing around it. */
class Peer {
public:
    explicit Peer(const std::string &url) {
        orvane_session_connect(session, url.c_str(), "administrator", "secret", NewListener());
        Wait();
        g_object_unref(listener);
        GObject *content = nullptr;
        g_object_get(session, "serviceInstanceContent", &content, nullptr);
        g_object_get(content, "rootFolder", &root, nullptr);
        g_object_unref(content);
    }
    ~Peer() {
        g_object_unref(root);
        orvane_session_disconnect(session, NewListener());
        Wait();
        g_object_unref(listener);
        g_object_unref(session);
    }
    Peer(const Peer &) = delete;
    Peer &operator=(const Peer &) = delete;

    /* Returns the number of entities. */
    size_t RetrieveAndRelease();

private:
    OrvaneListener *NewListener() {
        listener = orvane_listener_new();
        g_signal_connect(listener, "success", G_CALLBACK(OnEnd), this);
        g_signal_connect(listener, "failure", G_CALLBACK(OnEnd), this);
        isWaiting = true;
        return listener;
    }
    static void OnEnd(OrvaneListener *, Peer *peer) { peer->isWaiting = false; }
    void Wait();
    size_t Retrieve(bool isOfHosts);

    OrvaneSession *session = orvane_session_new();
    SkemaQormManagedObject *root = nullptr;
    OrvaneListener *listener = nullptr;
    bool isWaiting = false;
};

void Peer::Wait() {
    while (isWaiting)
        epollLoop::RunOnce();
    if (orvane_listener_get_state(listener) != ORVANE_LISTENER_SUCCEEDED)
        g_error("a call of the bench failed: %s",
                G_OBJECT_TYPE_NAME(orvane_listener_get_fault(listener)));
}

/* From a class by a property to those below; each way may be followed by each. */
GObject *Ways(SkemaQormManagedObject *root, bool isOfHosts) {
    const struct {
        const char *name;
        GType type;
        const char *property;
        bool leadsToHosts;
    } ways[] = {{"children", SKEMA_TYPE_OZY_FOLDER, "childEntity", true},
                {"machines", SKEMA_TYPE_OZY_DATACENTER, "vmFolder", false},
                {"hostFolder", SKEMA_TYPE_OZY_DATACENTER, "hostFolder", true},
                {"datastores", SKEMA_TYPE_OZY_DATACENTER, "datastoreFolder", false},
                {"networks", SKEMA_TYPE_OZY_DATACENTER, "networkFolder", false},
                {"hosts", SKEMA_TYPE_OZY_COMPUTE_RESOURCE, "host", true},
                {"rootPool", SKEMA_TYPE_OZY_COMPUTE_RESOURCE, "resourcePool", false},
                {"pools", SKEMA_TYPE_OZY_RESOURCE_POOL, "resourcePool", false}};
    const auto append = [](GValueArray *array, GObject *object) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_SELECTION_SPEC);
        g_value_take_object(&value, object);
        g_value_array_append(array, &value);
        g_value_unset(&value);
    };
    GValueArray *all = g_value_array_new(0);
    for (const auto &way : ways) {
        if (isOfHosts && !way.leadsToHosts)
            continue;
        GValueArray *further = g_value_array_new(0);
        for (const auto &next : ways) {
            if (!isOfHosts || next.leadsToHosts)
                append(further, orvane_selection_spec_new(next.name));
        }
        GObject *traversal =
            orvane_traversal_spec_new(way.name, way.type, way.property, FALSE, TRUE, nullptr);
        g_object_set(traversal, "selectSet", further, nullptr);
        append(all, traversal);
        g_value_array_free(further);
    }
    GObject *spec = orvane_object_spec_new(root, TRUE, TRUE, nullptr);
    g_object_set(spec, "selectSet", all, nullptr);
    g_value_array_free(all);
    return spec;
}

size_t Peer::Retrieve(bool isOfHosts) {
    GObject *extra = isOfHosts
                         ? orvane_property_spec_new(SKEMA_TYPE_OZY_HOST_SYSTEM, FALSE, "name",
                                                    "parent", "vm", nullptr)
                         : orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name",
                                                    "parent", "guestHeartbeatStatus", nullptr);
    GValueArray *specs = orvane_filter_spec_set_new(
        TRUE,
        orvane_filter_spec_new(TRUE, Ways(root, isOfHosts),
                               orvane_property_spec_new(SKEMA_TYPE_OZY_MANAGED_ENTITY, FALSE,
                                                        "name", "parent", nullptr),
                               extra, nullptr),
        nullptr);
    orvane_session_retrieve_contents(session, specs, NewListener());
    g_value_array_free(specs);
    Wait();
    GValue result = G_VALUE_INIT;
    if (!orvane_listener_get_result(listener, &result))
        g_error("the retrieval has no result");
    const auto *objects = static_cast<GValueArray *>(g_value_get_boxed(&result));
    const size_t numObjects = objects->n_values;
    g_value_unset(&result);
    g_object_unref(listener);
    return numObjects;
}

size_t Peer::RetrieveAndRelease() {
    const size_t numEntities = Retrieve(false);
    Retrieve(true);
    return numEntities;
}

void MeasureList(const std::string &program, const std::string &url) {
    char name[] = "/tmp/cliBenchXXXXXX";
    const int file = mkstemp(name);
    if (file < 0)
        g_error("mkstemp: %s", g_strerror(errno));
    std::vector<double> ours;
    std::vector<double> peers;
    std::vector<double> ratios;
    std::vector<double> retrievals;
    {
        Peer peer(url);
        for (int i = 0; i < kListRounds; i++) {
            if (ftruncate(file, 0) != 0)
                g_error("ftruncate: %s", g_strerror(errno));
            ours.push_back(
                ProcessorMs(Start({program, "ls", "-R", "-l", "--output", "json"}, name)));
            const auto document = nlohmann::ordered_json::parse(ReadAll(file));

            const double start = ThreadSeconds();
            const size_t numEntities = peer.RetrieveAndRelease();
            retrievals.push_back((ThreadSeconds() - start) * 1e3);
            const std::string text = document.dump();
            if (pwrite(file, text.data(), text.size(), 0) != static_cast<ssize_t>(text.size()))
                g_error("write: %s", g_strerror(errno));
            peers.push_back((ThreadSeconds() - start) * 1e3);
            if (document.size() != numEntities || numEntities < kNumMachines)
                g_error("the program lists %zu entities, the bench has %zu", document.size(),
                        numEntities);
            ratios.push_back(ours.back() / peers.back());
        }
    }
    close(file);
    unlink(name);
    fmt::print("{:<14} {:<58} ours {:>7.1f} ms   peer {:>7.1f} ms ({:.1f} of it the retrieval)   "
               "{:.2f}   wanted {:.2f}   {}\n",
               "ls", "ls -R -l as JSON, 10,000 machines : retrieval and JSON", Median(ours),
               Median(peers), Median(retrievals), Median(ratios), kWantedList,
               Verdict(Median(ratios), kWantedList));
}

/* ---- --version ---- */

double ElapsedMs(const std::vector<std::string> &words) {
    const auto start = Clock::now();
    ProcessorMs(Start(words, "/dev/null"));
    return Milliseconds(Clock::now() - start);
}

void MeasureVersion(const std::string &program, const std::string &empty) {
    std::vector<double> ours;
    std::vector<double> peers;
    for (int i = 0; i < kVersionRounds; i++) {
        ours.push_back(ElapsedMs({program, "--version"}));
        peers.push_back(ElapsedMs({empty}));
    }
    /* other work on the machine only adds to elapsed time */
    const double least = std::ranges::min(ours);
    const double leastPeer = std::ranges::min(peers);
    const double more = least - leastPeer;
    fmt::print("{:<14} {:<58} ours {:>7.1f} ms   peer {:>7.1f} ms (medians {:.1f}, {:.1f})   "
               "{:.1f} ms   wanted {:.1f} ms   {}\n",
               "version", "--version, elapsed : an empty program", least, leastPeer, Median(ours),
               Median(peers), more, kWantedVersionMs, Verdict(more, kWantedVersionMs));
}

/* ---- watch ---- */

/* Changes objects at a steady rate in a thread of its own. */
class Changes {
public:
    explicit Changes(simulator::Simulator &simulated)
        : server(simulated), ids(server.Ids("VirtualMachine")), thread([this] { Run(); }) {}
    ~Changes() {
        isEnding = true;
        thread.join();
    }
    Changes(const Changes &) = delete;
    Changes &operator=(const Changes &) = delete;
    size_t Count() const { return numMade; }

private:
    void Run() {
        const auto start = Clock::now();
        while (!isEnding) {
            const auto due =
                static_cast<size_t>(Milliseconds(Clock::now() - start) * kChangesPerSecond / 1000);
            for (; numMade < due; numMade++) {
                const bool isEven = numMade / ids.size() % 2 == 0;
                if (!server.SetProperty(ids[numMade % ids.size()], "overallStatus",
                                        isEven ? "red" : "yellow"))
                    g_error("the service has no such property");
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    simulator::Simulator &server;
    const std::vector<std::string> ids;
    std::atomic<size_t> numMade = 0;
    std::atomic<bool> isEnding = false;
    std::thread thread; /* the last, since it uses the rest */
};

/* The program on a pseudo-terminal. */
class Watch {
public:
    explicit Watch(const std::string &program) {
        const winsize size = {.ws_row = 24, .ws_col = 80, .ws_xpixel = 0, .ws_ypixel = 0};
        std::vector<std::string> words = {program, "watch"};
        const std::vector<char *> argv = Pointers(words);
        child = forkpty(&terminal, nullptr, nullptr, &size);
        if (child == 0) {
            execv(argv[0], argv.data());
            _exit(127);
        }
        if (child < 0 || clock_getcpuclockid(child, &clock) != 0)
            g_error("cannot start the program on a terminal");
    }
    ~Watch() {
        kill(child, SIGINT);
        while (Read())
            ;
        waitpid(child, nullptr, 0);
        close(terminal);
    }
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

    /* Reads what it draws until then. */
    void ReadUntil(Clock::time_point end) {
        while (Clock::now() < end) {
            pollfd ready = {.fd = terminal, .events = POLLIN, .revents = 0};
            if (poll(&ready, 1, 10) > 0 && !Read())
                g_error("the program has ended: %s", text.c_str());
        }
    }
    double ProcessorMs() const {
        timespec used{};
        clock_gettime(clock, &used);
        return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6;
    }
    /* The number of changes that the last line drawn tells; 0 before the first. */
    size_t NumShown() const {
        const size_t end = text.rfind(" changes");
        if (end == std::string::npos)
            return 0;
        const size_t start = text.find_last_not_of("0123456789", end - 1);
        return std::stoul(text.substr(start + 1, end - start - 1));
    }
    bool IsDrawn() const { return text.find(" changes") != std::string::npos; }

private:
    bool Read() {
        std::array<char, 65536> buffer;
        const ssize_t count = read(terminal, buffer.data(), buffer.size());
        if (count <= 0)
            return false;
        text.append(buffer.data(), static_cast<size_t>(count));
        return true;
    }

    pid_t child = 0;
    int terminal = -1;
    clockid_t clock{};
    std::string text;
};

void MeasureWatch(const std::string &program, simulator::Simulator &server) {
    Watch watch(program);
    const auto latest = Clock::now() + std::chrono::seconds(60);
    while (!watch.IsDrawn()) {
        if (Clock::now() > latest)
            g_error("the program draws no table");
        watch.ReadUntil(Clock::now() + std::chrono::milliseconds(100));
    }
    const Changes changes(server);
    watch.ReadUntil(Clock::now() + kWarmUp);

    const auto start = Clock::now();
    const double startMs = watch.ProcessorMs();
    const size_t startMade = changes.Count();
    const size_t startShown = watch.NumShown();
    watch.ReadUntil(start + kWatched);
    const double ms = Milliseconds(Clock::now() - start);
    const double share = (watch.ProcessorMs() - startMs) / ms * 100;
    const double made = static_cast<double>(changes.Count() - startMade) / ms * 1e3;
    const double shown = static_cast<double>(watch.NumShown() - startShown) / ms * 1e3;
    fmt::print("{:<14} {:<58} {:.0f} made, {:.0f} shown a second   {:.1f} %   wanted {:.0f} %   "
               "{}\n",
               "watch", "watch on a terminal, 5,000 changes a second : one core", made, shown,
               share, kWantedShare, Verdict(share, kWantedShare));
}

} // namespace

int main() {
    simulator::Simulator server({.machines = kNumMachines});
    server.RunInThread();
    setenv("ORVANE_URL", server.Url().c_str(), 1);
    setenv("ORVANE_USER", "administrator", 1);
    setenv("ORVANE_PASSWORD", "secret", 1);
    setenv("LC_ALL", "C.UTF-8", 1);
    setenv("TERM", "xterm", 1);

    MeasureVersion(ORVANE_PROGRAM, EMPTY_PROGRAM);
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    MeasureList(ORVANE_PROGRAM, server.Url());
    orvane_shutdown();
    fflush(stdout);
    MeasureWatch(ORVANE_PROGRAM, server);
    return 0;
}
