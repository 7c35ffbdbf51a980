// What does a lock of ours cost when nobody else wants it, beside the bare mutex inside it?
#include <string>
#include <thread>

#include <pthread.h>

#include <benchmark/benchmark.h>

#include "bench/ratio.h"
#include "lib/lock/mxUser.h"

namespace {

void Ours(benchmark::State &state) {
    MXUserExclLock *lock = MXUser_CreateExclLock("bench", 0);
    for (auto _ : state) {
        MXUser_AcquireExclLock(lock);
        benchmark::ClobberMemory();
        MXUser_ReleaseExclLock(lock);
    }
    MXUser_DestroyExclLock(lock);
}

void Peer(benchmark::State &state) {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    for (auto _ : state) {
        pthread_mutex_lock(&mutex);
        benchmark::ClobberMemory();
        pthread_mutex_unlock(&mutex);
    }
    pthread_mutex_destroy(&mutex);
}

/* One row in both its parts. */
int Compare(int argc, char **argv, const RatioRow &row) {
    benchmark::ClearRegisteredBenchmarks();
    benchmark::RegisterBenchmark((std::string(row.name) + "/ours").c_str(), Ours);
    benchmark::RegisterBenchmark((std::string(row.name) + "/peer").c_str(), Peer);
    return Ratio_Main(argc, argv, {&row, 1});
}

} // namespace

int main(int argc, char **argv) {
    // The C library's mutex does without atomic operations until the process has made a thread: the
    // harder case for us, and one that does not come again.
    const int alone =
        Compare(argc, argv, {"alone", "exclusive lock / bare mutex, in the only thread", 2.0});

    pthread_mutex_t gate = PTHREAD_MUTEX_INITIALIZER;
    pthread_mutex_lock(&gate);
    std::thread bystander([&] { pthread_mutex_lock(&gate); });
    const int beside =
        Compare(argc, argv, {"threads", "exclusive lock / bare mutex, beside a thread", 2.0});
    pthread_mutex_unlock(&gate);
    bystander.join();
    return alone != 0 ? alone : beside;
}
