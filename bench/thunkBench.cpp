// What does reaching OpenSSL through a thunk cost, against a function of a linked library?
//
// Ours is __wrap_SSLeay as an application calls it: through the PLT into the shared library, through the thunk
// into the function that SSL_Init() found. The peer returns the same number, and is called through the PLT. Both
// run in turn; the figure is the median of the differences.
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <vector>

#include <orvane/ssl.h>

extern "C" unsigned long __wrap_SSLeay(void);
extern "C" unsigned long DirectTarget(void);

namespace {

constexpr int kRounds = 101;
constexpr int kCalls = 200'000;
constexpr double kWantedMoreNs = 1.0;

double NowNs() {
    timespec now = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e9 + static_cast<double>(now.tv_nsec);
}

/* The same code at the same alignment for both: a cycle is a third of what is wanted. */
template <unsigned long (*function)()> [[gnu::noinline, gnu::aligned(64)]] unsigned long Calls() {
    unsigned long sum = 0;
    for (int i = 0; i < kCalls; i++)
        sum += function();
    return sum;
}

template <unsigned long (*function)()> double CallNs(unsigned long *sum) {
    const double start = NowNs();
    *sum += Calls<function>();
    return (NowNs() - start) / kCalls;
}

double Median(std::vector<double> values) {
    std::ranges::sort(values);
    return values[values.size() / 2];
}

} // namespace

int main() {
    SSL_Init(nullptr, nullptr, nullptr);
    std::vector<double> ours;
    std::vector<double> peers;
    std::vector<double> more;
    unsigned long sum = 0;
    for (int i = 0; i < kRounds; i++) {
        ours.push_back(CallNs<__wrap_SSLeay>(&sum));
        peers.push_back(CallNs<DirectTarget>(&sum));
        more.push_back(ours.back() - peers.back());
    }
    if (sum != 2ul * kRounds * kCalls * 0x100021ff) {
        fputs("thunkBench: the calls did not arrive\n", stderr);
        return 1;
    }
    printf("%-14s %-58s ours %7.2f ns   peer %7.2f ns   %.2f ns   wanted %.2f   %s\n", "thunk",
           "one call, more than a direct one", Median(ours), Median(peers), Median(more),
           kWantedMoreNs, Median(more) <= kWantedMoreNs ? "ok" : "ABOVE");
    SSL_Exit();
    return 0;
}
