#include "tools/orvane/completionService.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>

#include <fcntl.h>
#include <orvane/schema/ozy.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tools/orvane/inventoryReader.h"
#include "tools/orvane/jobReader.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/serviceOptions.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLongestWait = std::chrono::milliseconds(300);
constexpr int kStepSeconds = 2;      /* of the process that asks */
constexpr unsigned kMostSeconds = 5; /* for all that it does */
constexpr size_t kMostBytes = 4 << 20;

ServiceOptions OptionsOf(const Completion &completion) {
    ServiceOptions service;
    const auto text = [&](const char *name) {
        const auto found = completion.options.find(name);
        return found == completion.options.end() ? "" : found->second;
    };
    service.profile = text("--profile");
    service.login.url = text("--url");
    service.login.user = text("--user");
    service.trust.pin = text("--pin");
    service.trust.ca = text("--ca");
    service.trust.isInsecure = completion.options.contains("--insecure");
    service.password.text = text("--password");
    service.login.isFerry = completion.kind == WordKind::kJob;
    service.login.timeoutSeconds = kStepSeconds;
    service.isQuiet = true;
    return service;
}

bool LeadsOn(gpointer entity) {
    return SKEMA_IS_OZY_FOLDER(entity) || SKEMA_IS_OZY_DATACENTER(entity) ||
           SKEMA_IS_OZY_COMPUTE_RESOURCE(entity) || SKEMA_IS_OZY_RESOURCE_POOL(entity);
}

/* "/Datacenter/vm/ma" -> what "/Datacenter/vm" has */
std::vector<std::string> ReadPaths(const Service &service, const std::string &start) {
    const std::string path = start.empty() ? "/" : start;
    if (!path.starts_with('/'))
        return {};
    const std::string before = path.substr(0, path.rfind('/') + 1);
    const ProxyPtr parent = ObjectFinder(service).Find(
        before.size() > 1 ? before.substr(0, before.size() - 1) : before);
    std::vector<std::string> paths;
    for (const InventoryEntity &each :
         ReadInventory(service, parent.get(), InventoryDepth::kChildren))
        paths.push_back(before + PathPart(each.name) + (LeadsOn(each.object.get()) ? "/" : ""));
    return paths;
}

std::vector<std::string> ReadJobWords(const Service &service) {
    std::vector<std::string> words;
    for (const Job &job : ReadJobs(service)) {
        words.push_back(job.name);
        words.emplace_back(job.object->id);
    }
    return words;
}

void Write(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = write(descriptor, text.data(), text.size());
        if (count <= 0)
            return; /* nobody waits for it any more */
        text.remove_prefix(static_cast<size_t>(count));
    }
}

/* Runs in the other process, apart from the terminal, so that nothing can be asked or shown. */
void Ask(const Completion &completion, int descriptor) {
    alarm(kMostSeconds);
    (void)signal(SIGPIPE, SIG_IGN);
    setsid();
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        dup2(nothing, stream);
    ServiceOptions options = OptionsOf(completion);
    try {
        WithService(options, [&](Service &service) {
            std::string lines;
            for (const std::string &word : completion.kind == WordKind::kJob
                                               ? ReadJobWords(service)
                                               : ReadPaths(service, completion.start))
                lines += word + '\0';
            Write(descriptor, lines);
            close(descriptor);
            return kDone;
        });
    } catch (const Failure &) {
        /* then there are no words */
    }
}

/* All that comes in time; nothing if that is not all. */
std::string ReadInTime(int descriptor) {
    const auto end = Clock::now() + kLongestWait;
    std::string all;
    std::array<char, 65536> buffer;
    while (all.size() < kMostBytes) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        pollfd wait{descriptor, POLLIN, 0};
        if (left <= 0 || poll(&wait, 1, static_cast<int>(left)) <= 0)
            return "";
        const ssize_t count = read(descriptor, buffer.data(), buffer.size());
        if (count <= 0)
            return all;
        all.append(buffer.data(), static_cast<size_t>(count));
    }
    return "";
}

} // namespace

std::vector<std::string> AskService(const Completion &completion) {
    int ends[2];
    if (completion.options.contains("--password-stdin") || pipe2(ends, O_CLOEXEC) != 0)
        return {};
    const pid_t child = fork();
    if (child == 0) {
        close(ends[0]);
        Ask(completion, ends[1]);
        _exit(0);
    }
    close(ends[1]);
    const std::string all = child > 0 ? ReadInTime(ends[0]) : "";
    close(ends[0]);
    std::vector<std::string> words;
    for (size_t at = 0; at < all.size();) {
        const size_t end = std::min(all.find('\0', at), all.size());
        const std::string word = all.substr(at, end - at);
        at = end + 1;
        /* a name that a terminal must not show cannot be typed either */
        if (word.starts_with(completion.start) && Printable(word) == word)
            words.push_back(word);
    }
    return words;
}

} // namespace orvaneCli
