#include "tests/hostile/ledger.h"
#include "tests/support/logText.h"

#include <fstream>

#include <sys/mman.h>
#include <sys/resource.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/support/processLimits.h"
#include "tests/support/sanitized.h"

#ifdef ORVANE_IS_SANITIZED
#include <sanitizer/common_interface_defs.h>
/* of the sanitizer's run-time library; gcc has no header with them */
extern "C" size_t __sanitizer_get_allocated_size(const volatile void *block);
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*onAllocated)(const volatile void *,
                                                                             size_t),
                                                         void (*onFree)(const volatile void *));
#endif

namespace hostile {

namespace {

constexpr uint64_t kMicrosecondsPerByte = 1;
constexpr uint64_t kMicroseconds = 50000;
constexpr int64_t kMemoryPerByte = 64;
constexpr int64_t kMemory = int64_t(8) << 20;

uint64_t ProcessorTime() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto microseconds = [](const timeval &time) {
        return uint64_t(time.tv_sec) * 1000000 + uint64_t(time.tv_usec);
    };
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

#ifdef ORVANE_IS_SANITIZED

/* What is allocated. The resident set tells little, since a sanitizer keeps freed memory on purpose. */
std::atomic<int64_t> heap;
std::atomic<int64_t> mostHeap;

void OnAllocated(const volatile void *, size_t size) {
    const int64_t now = heap += int64_t(size);
    int64_t most = mostHeap;
    while (now > most && !mostHeap.compare_exchange_weak(most, now)) {
    }
}

void OnFree(const volatile void *block) {
    if (block)
        heap -= int64_t(__sanitizer_get_allocated_size(block));
}

void ReportTo(int descriptor) {
    __sanitizer_set_report_fd(reinterpret_cast<void *>(intptr_t(descriptor)));
}

/* What is in use now; from here on the most is counted. */
int64_t BeginMemory() {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(OnAllocated, OnFree);
    EXPECT_NE(0, installed);
    return mostHeap = heap.load();
}

int64_t MostMemory() {
    return mostHeap;
}

#else

void ReportTo(int) {}

/* A figure of /proc/self/status in bytes. */
int64_t ResidentSet(std::string_view name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name))
            return std::stoll(line.substr(name.size())) * 1024;
    }
    ADD_FAILURE() << "/proc/self/status has no " << name;
    return 0;
}

/* What is in use now; from here on the most is counted. */
int64_t BeginMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
    return ResidentSet("VmRSS:");
}

int64_t MostMemory() {
    return ResidentSet("VmHWM:");
}

#endif

} // namespace

Ledger::Ledger() : realStderr(dup(STDERR_FILENO)), output(memfd_create("stderr", MFD_CLOEXEC)) {
    dup2(output, STDERR_FILENO);
    ReportTo(realStderr);
    numDescriptors = CountDescriptors();
    LogRing_Clear();
    memory = BeginMemory();
    microseconds = ProcessorTime();
}

Ledger::~Ledger() {
    if (output >= 0)
        TakeOutput();
}

std::string Ledger::TakeOutput() {
    std::string text(size_t(lseek(output, 0, SEEK_END)), '\0');
    const ssize_t got = pread(output, text.data(), text.size(), 0);
    text.resize(got > 0 ? size_t(got) : 0);
    dup2(realStderr, STDERR_FILENO);
    ReportTo(STDERR_FILENO);
    close(realStderr);
    close(output);
    output = -1;
    return text;
}

std::string Ledger::Close(uint64_t numBytesReceived) {
    const uint64_t time = ProcessorTime() - microseconds;
    const int64_t most = MostMemory() - memory;
    const long descriptors = CountDescriptors();
    const std::string printed = TakeOutput();

    std::string wrong;
    const auto enter = [&](const std::string &text) { wrong += text + "; "; };
    const uint64_t timeBound =
        kSanitizerFactor * (kMicroseconds + numBytesReceived * kMicrosecondsPerByte);
    if (time > timeBound)
        enter(fmt::format("{} us of processor time, {} are allowed", time, timeBound));
    const int64_t memoryBound = kMemory + int64_t(numBytesReceived) * kMemoryPerByte;
    if (most > memoryBound)
        enter(fmt::format("{} bytes of memory, {} are allowed", most, memoryBound));
    if (descriptors != numDescriptors)
        enter(fmt::format("{} descriptors, {} before", descriptors, numDescriptors));
    if (!printed.empty())
        enter("on stderr: " + printed);
    for (const std::string &text : {printed, LogText()}) {
        if (const size_t at = text.find(kCanary); at != std::string::npos)
            enter("a secret is shown: " + text.substr(at - std::min(at, size_t(60)), 120));
    }
    return wrong;
}

} // namespace hostile
