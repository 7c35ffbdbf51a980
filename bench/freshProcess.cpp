#include "bench/freshProcess.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

double ProcessorTimeMs() {
    timespec now = {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) / 1e6;
}

double Megabytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<double>(info.uordblks + info.hblkhd) / 1e6;
}

} // namespace

Cost InFreshProcess(void (*work)()) {
    int ends[2];
    if (pipe(ends) != 0)
        abort();
    const pid_t child = fork();
    if (child == 0) {
        const double memory = Megabytes();
        const double start = ProcessorTimeMs();
        work();
        const Cost cost = {ProcessorTimeMs() - start, Megabytes() - memory};
        _exit(write(ends[1], &cost, sizeof cost) == sizeof cost ? 0 : 1);
    }
    close(ends[1]);
    Cost cost = {};
    const bool isRead = child > 0 && read(ends[0], &cost, sizeof cost) == sizeof cost;
    close(ends[0]);
    if (!isRead || waitpid(child, nullptr, 0) != child)
        abort();
    return cost;
}

double Median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::ranges::nth_element(values, middle);
    return *middle;
}

const char *Verdict(double value, double wanted) {
    return value <= wanted ? "ok" : "ABOVE";
}
