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

#include "tools/orvane/completionSchema.h"
#include "tools/orvane/inventoryReader.h"
#include "tools/orvane/jobReader.h"
#include "tools/orvane/library.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/schemaWords.h"
#include "tools/orvane/serviceOptions.h"
#include "tools/orvane/taskReader.h"
#include "tools/orvane/terminal.h"

namespace orvaneCli {

namespace {

using Clock = std::chrono::steady_clock;

constexpr auto kLongestWait = std::chrono::milliseconds(250); /* so that 300 are enough for all */
constexpr auto kSchemaTime = std::chrono::milliseconds(50);   /* of it, for what loads the schema */
constexpr int kStepSeconds = 2;                               /* of the process that asks */
constexpr unsigned kMostSeconds = 5;                          /* for all that it does */
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
    service.login.isFerry =
        completion.kind == WordKind::kJob || completion.options.contains("--ferry");
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

std::vector<std::string> ReadTaskWords(const Service &service) {
    std::vector<std::string> words;
    for (const ProxyPtr &task : ReadRecentTasks(service))
        words.emplace_back(task->id);
    return words;
}

/* The class of the object; nothing if "watch" follows what is below it. */
std::vector<std::string> ReadClass(const Service &service, const Completion &completion) {
    const ProxyPtr object = ObjectFinder(service).Find(completion.arguments.front());
    const bool isOutside = completion.command == "watch" &&
                           SKEMA_IS_OZY_MANAGED_ENTITY(object.get()) &&
                           IsContainer(service, object.get());
    if (isOutside)
        return {};
    return {TypeWord(G_OBJECT_TYPE(object.get()))};
}

std::vector<std::string> ReadWords(const Service &service, const Completion &completion) {
    switch (completion.kind) {
    case WordKind::kJob:
        return ReadJobWords(service);
    case WordKind::kTask:
        return ReadTaskWords(service);
    case WordKind::kMethod:
    case WordKind::kArgument:
    case WordKind::kProperty:
    case WordKind::kSetting:
        return ReadClass(service, completion);
    case WordKind::kPath:
        return ReadPaths(service, completion.start);
    case WordKind::kFixed:
    case WordKind::kProfile:
        break; /* no words of a service */
    }
    return {};
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
            for (const std::string &word : ReadWords(service, completion))
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
std::string ReadInTime(int descriptor, std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
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

/* What the service answers in time. */
std::vector<std::string> ReadAnswer(const Completion &completion, std::chrono::milliseconds limit) {
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
    const std::string all = child > 0 ? ReadInTime(ends[0], limit) : "";
    close(ends[0]);
    std::vector<std::string> words;
    for (size_t at = 0; at < all.size();) {
        const size_t end = std::min(all.find('\0', at), all.size());
        words.push_back(all.substr(at, end - at));
        at = end + 1;
    }
    return words;
}

/* The words of the schema, for the class that the service says. */
std::vector<std::string> ClassWords(const Completion &completion) {
    std::vector<std::string> answer;
    if (!completion.arguments.empty())
        answer = ReadAnswer(completion, kLongestWait - kSchemaTime);
    try {
        const Library library; /* loads the overlays of the schema */
        return SchemaWords(completion,
                           answer.empty() ? 0 : orvane_lookup_type(answer.front().c_str()));
    } catch (const Failure &) {
        return {}; /* without the schema there are no words */
    }
}

} // namespace

std::vector<std::string> AskService(const Completion &completion) {
    const bool isOfService = completion.kind == WordKind::kPath ||
                             completion.kind == WordKind::kJob ||
                             completion.kind == WordKind::kTask;
    std::vector<std::string> words =
        isOfService ? ReadAnswer(completion, kLongestWait) : ClassWords(completion);
    std::erase_if(words, [&](const std::string &word) {
        /* a name that a terminal must not show cannot be typed either */
        return !word.starts_with(completion.start) || Printable(word) != word;
    });
    return words;
}

} // namespace orvaneCli
