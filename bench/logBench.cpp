// What does a line of the log cost beside the bare write of its bytes, and what a message that nobody wants?
#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include <benchmark/benchmark.h>

#include "bench/ratio.h"
#include "lib/lock/mxUser.h"
#include "lib/log/logFile.h"
#include "lib/misc/log.h"

namespace {

constexpr int kLinesInTurn = 2000;

/* A line of the library, and what the log makes of it: the same number of bytes. */
constexpr char kFormat[] = "Orvane: Verifying SSL certificate with thumbprint %s\n";
constexpr char kThumbprint[] = "AB:CD:EF:01:23:45:67:89:AB:CD:EF:01:23:45:67:89:AB:CD:EF:01";
constexpr char kLine[] =
    "2026-03-01T10:15:02.123Z| vthread-4| A115: Orvane: Verifying SSL certificate with thumbprint "
    "AB:CD:EF:01:23:45:67:89:AB:CD:EF:01:23:45:67:89:AB:CD:EF:01\n";

std::string folder; /* for the files, which are large */

/* Runs a function in so many threads. */
void InThreads(int count, void (*function)()) {
    if (count == 1)
        return function();
    std::vector<std::thread> threads;
    for (int i = 0; i < count; i++)
        threads.emplace_back(function);
    for (std::thread &thread : threads)
        thread.join();
}

template <int numThreads> void LinesOurs(benchmark::State &state) {
    Dictionary *settings = Dictionary_Create();
    Dict_SetString(settings, (folder + "/ours").c_str(), "log.fileName");
    Dict_SetLong(settings, 0, "log.throttleBytesPerSec");
    Dict_SetLong(settings, 0, "log.keepOld");
    LogOutput *output = Log_NewFileOutput(nullptr, "file", settings, nullptr);
    Dictionary_Free(settings);
    if (output == nullptr || !Log_AddOutput(output))
        return state.SkipWithError("no output");
    for (auto _ : state)
        InThreads(numThreads, [] {
            for (int i = 0; i < kLinesInTurn; i++)
                Log_Audit(kFormat, kThumbprint);
        });
    Log_Exit();
    unlink((folder + "/ours").c_str());
}

template <int numThreads> void LinesPeer(benchmark::State &state) {
    static pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    static int fd;
    const std::string path = folder + "/peer";
    fd = open(path.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    for (auto _ : state)
        InThreads(numThreads, [] {
            for (int i = 0; i < kLinesInTurn; i++) {
                pthread_mutex_lock(&mutex);
                if (write(fd, kLine, sizeof kLine - 1) < 0)
                    abort();
                pthread_mutex_unlock(&mutex);
            }
        });
    close(fd);
    unlink(path.c_str());
}

void AboveOurs(benchmark::State &state) {
    for (auto _ : state)
        Log_Level(LOG_LEVEL_DEBUG, kFormat, kThumbprint);
}

void AbovePeer(benchmark::State &state) {
    MXUserRecLock *lock = MXUser_CreateRecLockSilent("bench", 0);
    for (auto _ : state) {
        MXUser_AcquireRecLock(lock);
        benchmark::ClobberMemory();
        MXUser_ReleaseRecLock(lock);
    }
    MXUser_DestroyRecLock(lock);
}

} // namespace

int main(int argc, char **argv) {
    char path[] = "/tmp/logBench-XXXXXX";
    if (mkdtemp(path) == nullptr)
        return 1;
    folder = path;
    setenv("TMPDIR", path, 1);
    benchmark::RegisterBenchmark("log1/ours", LinesOurs<1>)->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark("log1/peer", LinesPeer<1>)->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark("log4/ours", LinesOurs<4>)->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark("log4/peer", LinesPeer<4>)->MeasureProcessCPUTime();
    benchmark::RegisterBenchmark("logAbove/ours", AboveOurs);
    benchmark::RegisterBenchmark("logAbove/peer", AbovePeer);
    const RatioRow rows[] = {
        {"log1", "2,000 lines to a file / bare writes under a mutex", 1 / 0.7},
        {"log4", "the same by each of 4 threads", 1 / 0.65},
        {"logAbove", "message above every level / recursive lock", 1.4},
    };
    const int result = Ratio_Main(argc, argv, rows);
    std::filesystem::remove_all(folder);
    return result;
}
