#include "tools/process/processLog.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lib/log/logFile.h"
#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"

namespace process {

namespace {

constexpr gint32 kOwnerOnly = 0600;
constexpr gint32 kRotateSize = 16 << 20;
constexpr size_t kHeadSize = 256; /* of a file, in which the first line of a log begins */
constexpr std::string_view kFirstLine = "I120: Log for ";

struct LevelRow {
    const char *name;
    gint level;
};
constexpr auto kLevels = std::to_array<LevelRow>({
    {"error", LOG_LEVEL_ERROR},
    {"warning", LOG_LEVEL_WARNING},
    {"info", LOG_LEVEL_INFO},
    {"verbose", LOG_LEVEL_TRIVIA},
    {"debug", LOG_LEVEL_DEBUG_LAST},
});

gint LevelOf(const std::string &name) {
    const auto *row = std::ranges::find(kLevels, std::string_view(name), &LevelRow::name);
    return row != kLevels.end() ? row->level : static_cast<gint>(LOG_LEVEL_INFO);
}

LogFailure SystemFailure(int error) {
    return {LogProblem::kSystem, Err_Errno2String(error)};
}

/* Looks at a file that is there: whether it may be renamed as an old log. */
LogFailure JudgeFile(const char *path) {
    struct stat status;
    if (lstat(path, &status) != 0)
        return errno == ENOENT ? LogFailure{} : SystemFailure(errno);
    if (!S_ISREG(status.st_mode))
        return {LogProblem::kNotRegular, ""};
    if (status.st_size == 0)
        return {};
    const int file = open(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC);
    if (file < 0)
        return SystemFailure(errno);
    char head[kHeadSize];
    const ssize_t count = read(file, head, sizeof head);
    const int error = errno;
    close(file);
    if (count < 0)
        return SystemFailure(error);
    const bool isLog =
        std::string_view(head, size_t(count)).find(kFirstLine) != std::string_view::npos;
    return isLog ? LogFailure{} : LogFailure{LogProblem::kOtherFile, ""};
}

/* Finds out why the output could not make its file. */
LogFailure WhyNoFile(const char *path) {
    const int file =
        open(path, O_WRONLY | O_CREAT | O_NONBLOCK | O_NOFOLLOW | O_NOCTTY | O_CLOEXEC, kOwnerOnly);
    if (file < 0)
        return SystemFailure(errno);
    close(file);
    return SystemFailure(ENOSPC); /* it can be made, but not written */
}

DictionaryPtr Settings(const LogOptions &options) {
    DictionaryPtr settings(Dictionary_Create());
    Dict_SetString(settings.get(), options.file.c_str(), "log.fileName");
    Dict_SetLong(settings.get(), LevelOf(options.level), "log.logMinLevel");
    Dict_SetLong(settings.get(), kOwnerOnly, "log.permissions");
    Dict_SetLong(settings.get(), kRotateSize, "log.rotateSize");
    Dict_SetLong(settings.get(), 0, "log.throttleBytesPerSec"); /* the size is bounded already */
    return settings;
}

} // namespace

std::vector<std::string> LogLevels() {
    std::vector<std::string> names;
    for (const LevelRow &row : kLevels)
        names.emplace_back(row.name);
    return names;
}

LogFailure StartLog(const LogOptions &options, const char *program, const char *version) {
    if (options.file.empty())
        return {};
    if (options.file == "-") {
        Log_SetStderrLevel(LevelOf(options.level));
        return {};
    }
    const char *path = options.file.c_str();
    if (LogFailure failure = JudgeFile(path); failure.problem != LogProblem::kNone)
        return failure;
    Log_SetProductInfo(program, version, nullptr, nullptr);
    LogOutput *output = Log_NewFileOutput(program, "file", Settings(options).get(), nullptr);
    if (output != nullptr && Log_AddOutput(output))
        return {};
    Log_FreeOutput(output);
    return WhyNoFile(path);
}

void EndLog() {
    Log_Exit();
}

} // namespace process
