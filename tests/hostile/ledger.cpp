#include "tests/hostile/ledger.h"

#include <filesystem>
#include <fstream>

#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <fmt/format.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#include <sanitizer/common_interface_defs.h>
#endif

namespace hostile {

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kIsSanitized = true;
void ReportTo(int descriptor) {
    __sanitizer_set_report_fd(reinterpret_cast<void *>(intptr_t(descriptor)));
}
#else
constexpr bool kIsSanitized = false;
void ReportTo(int) {}
#endif

constexpr uint64_t kTimeFactor = kIsSanitized ? 10 : 1;
constexpr uint64_t kMicrosecondsPerByte = 1;
constexpr uint64_t kMicroseconds = 50000;
constexpr uint64_t kMemoryPerByte = 64;
constexpr uint64_t kMemory = uint64_t(8) << 20;

uint64_t ProcessorTime() {
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    const auto microseconds = [](const timeval &time) {
        return uint64_t(time.tv_sec) * 1000000 + uint64_t(time.tv_usec);
    };
    return microseconds(usage.ru_utime) + microseconds(usage.ru_stime);
}

/* A figure of /proc/self/status in bytes: "VmRSS:" for memory now, "VmHWM:" for the most since it was reset. */
uint64_t Memory(std::string_view name) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);) {
        if (line.starts_with(name))
            return std::stoull(line.substr(name.size())) * 1024;
    }
    return 0;
}

void ResetMostMemory() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

int NumDescriptors() {
    int count = 0;
    for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
        count += !entry.path().empty();
    return count;
}

} // namespace

Ledger::Ledger() : realStderr(dup(STDERR_FILENO)), output(memfd_create("stderr", MFD_CLOEXEC)) {
    dup2(output, STDERR_FILENO);
    ReportTo(realStderr);
    numDescriptors = NumDescriptors();
    LogRing_Clear();
    ResetMostMemory();
    memory = Memory("VmRSS:");
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
    const uint64_t most = Memory("VmHWM:");
    const int descriptors = NumDescriptors();
    const GPtr<char> log(LogRing_Copy());
    const std::string printed = TakeOutput();

    std::string wrong;
    const auto enter = [&](const std::string &text) { wrong += text + "; "; };
    const uint64_t timeBound =
        kTimeFactor * (kMicroseconds + numBytesReceived * kMicrosecondsPerByte);
    if (time > timeBound)
        enter(fmt::format("{} us of processor time, {} are allowed", time, timeBound));
    /* a sanitizer keeps freed memory on purpose */
    const uint64_t memoryBound = kMemory + numBytesReceived * kMemoryPerByte;
    if (!kIsSanitized && most > memory + memoryBound)
        enter(fmt::format("{} bytes of memory, {} are allowed", most - memory, memoryBound));
    if (descriptors != numDescriptors)
        enter(fmt::format("{} descriptors, {} before", descriptors, numDescriptors));
    if (!printed.empty())
        enter("on stderr: " + printed);
    for (const std::string &text : {printed, std::string(log.get())}) {
        if (const size_t at = text.find(kCanary); at != std::string::npos)
            enter("a secret is told: " + text.substr(at - std::min(at, size_t(60)), 120));
    }
    return wrong;
}

} // namespace hostile
