#include "lib/misc/logOutput.h"

#include <algorithm>
#include <cstdio>
#include <span>

#include "lib/misc/atomicFence.h"
#include "lib/misc/log.h"
#include "lib/misc/logInt.h"
#include "lib/misc/logTime.h"
#include "lib/misc/utilSafe.h"

namespace {

std::span<LogOutput *> LogOutputs() {
    return std::span(logState.outputs).first(logState.numOutputs);
}

void LogRecomputeLevels() {
    gint most = LOG_LEVEL_INFO;
    if (logState.numOutputs > 0)
        most = (*std::ranges::max_element(LogOutputs(), {}, &LogOutput::logMinLevel))->logMinLevel;
    logState.maxOutputLevel.store(most);
    logState.stderrLevel.store(logState.numOutputs > 0 ? logState.outputs[0]->stderrMinLevel
                                                       : kLogNoStderr);
}

/* Whether an output may be attached beside the others. */
bool LogAccepts(const LogOutput *output) {
    if (logState.numOutputs == kLogMaxOutputs)
        return false;
    if (output->type == kLogTypeAlone)
        return logState.numOutputs == 0;
    return std::ranges::none_of(LogOutputs(), [&](const LogOutput *other) {
        return other->name == output->name ||
               (output->type == kLogTypeSingle && other->type == kLogTypeSingle);
    });
}

/* Whether one output may take the place of another. */
bool LogCanReplace(const LogOutput *oldOutput, const LogOutput *newOutput, bool copyOldFile) {
    if (newOutput == nullptr)
        return !copyOldFile;
    return !newOutput->isAttached && newOutput->type == oldOutput->type &&
           newOutput->name == oldOutput->name && (!copyOldFile || newOutput->type == kLogTypeFile);
}

/* What Log_SetProductInfo() was given; guarded by the log's lock, and never freed. */
constinit LogProductInfo productInfo{};

void LogKeepFirst(const char **place, const char *value) {
    if (*place == nullptr && value != nullptr)
        *place = UtilSafeStrdup0(value);
}

} // namespace

gboolean Log_AddOutput(LogOutput *output) {
    if (output->name.empty() || !output->operations->activate(output))
        return FALSE;
    const LogLockGuard guard;
    if (output->isAttached || !LogAccepts(output))
        return FALSE;
    logState.outputs[logState.numOutputs++] = output;
    output->isAttached = true;
    LogRecomputeLevels();
    for (LogBigBuffer *place :
         {&logState.lineBuffer, &logState.drainBuffer, &logState.formatBuffer})
        if (place->load(std::memory_order_acquire) == nullptr)
            LogEnsureBuffer(place, static_cast<char *>(UtilSafeMalloc0(kLogRingSize)));
    if (logState.numOutputs == 1 && !LogIsInOutput())
        LogDrainFIFO();
    return TRUE;
}

gboolean Log_ReplaceOutput(LogOutput *oldOutput, LogOutput *newOutput, gboolean copyOldFile) {
    if (newOutput != nullptr && !newOutput->operations->activate(newOutput))
        return FALSE;
    {
        const LogLockGuard guard;
        const auto outputs = LogOutputs();
        const auto place = std::ranges::find(outputs, oldOutput);
        if (place == outputs.end() || !LogCanReplace(oldOutput, newOutput, copyOldFile))
            return FALSE;
        if (newOutput != nullptr) {
            *place = newOutput;
            newOutput->isAttached = true;
            if (copyOldFile)
                newOutput->operations->copyFile(newOutput, oldOutput);
        } else {
            *place = outputs.back();
            logState.numOutputs--;
        }
        oldOutput->isAttached = false;
        LogRecomputeLevels();
    }
    oldOutput->operations->deactivate(oldOutput);
    return TRUE;
}

gboolean Log_FreeOutput(LogOutput *output) {
    if (output == nullptr)
        return TRUE;
    {
        const LogLockGuard guard;
        if (output->isAttached)
            return FALSE;
    }
    output->operations->deactivate(output);
    return TRUE;
}

gint Log_SetOutputLevel(LogOutput *output, gint level) {
    const LogLockGuard guard;
    const gint before = output->logMinLevel;
    output->logMinLevel = level;
    if (output->isAttached)
        LogRecomputeLevels();
    return before;
}

gint Log_GetStderrLevel() {
    return logState.stderrLevel.load();
}

gint Log_SetStderrLevel(gint level) {
    return Atomic_Exchange(&logState.stderrLevel, level);
}

void Log_DisableThrottling() {
    const LogLockGuard guard;
    for (LogOutput *output : LogOutputs())
        output->operations->disableThrottling(output);
}

const char *Log_GetFileName() {
    const LogLockGuard guard;
    const auto outputs = LogOutputs();
    const auto file = std::ranges::find(outputs, kLogTypeFile, &LogOutput::type);
    return file != outputs.end() ? Log_GetOutputFileName(*file) : nullptr;
}

const char *Log_GetOutputFileName(const LogOutput *output) {
    if (output == nullptr || output->type != kLogTypeFile)
        return nullptr;
    return output->operations->getFileName(output);
}

gboolean Log_Outputting() {
    const LogLockGuard guard;
    return logState.numOutputs > 0;
}

void Log_SkipLocking(gboolean skip) {
    logState.skipLocking.store(skip != FALSE);
}

void Log_SetProductInfo(const char *appName, const char *appVersion, const char *buildNumber,
                        const char *compilationOption) {
    const LogLockGuard guard;
    LogKeepFirst(&productInfo.appName, appName);
    LogKeepFirst(&productInfo.appVersion, appVersion);
    LogKeepFirst(&productInfo.buildNumber, buildNumber);
    LogKeepFirst(&productInfo.compilationOption, compilationOption);
}

LogProductInfo Log_GetProductInfo() {
    const LogLockGuard guard;
    const auto known = [](const char *value) { return value != nullptr ? value : "unknown"; };
    return {known(productInfo.appName), known(productInfo.appVersion),
            known(productInfo.buildNumber), known(productInfo.compilationOption)};
}

void Log_MakeTimeString(gboolean withMilliseconds, char *buffer, gsize size) {
    const LogLockGuard guard;
    LogLineHeader header{};
    LogTime_Get(&header);
    snprintf(buffer, size, "%s%s%s", header.dateTime, withMilliseconds ? header.milliseconds : "",
             header.zone);
}

void Log_Exit() {
    std::array<LogOutput *, kLogMaxOutputs> outputs;
    guint32 count;
    {
        const LogLockGuard guard;
        for (LogBigBuffer *place :
             {&logState.lineBuffer, &logState.drainBuffer, &logState.formatBuffer})
            free(Atomic_Exchange(place, static_cast<char *>(nullptr)));
        LogFIFO_Destroy(Atomic_Exchange(&logState.fifo, static_cast<LogFIFO *>(nullptr)));
        outputs = logState.outputs;
        count = logState.numOutputs;
        logState.numOutputs = 0;
        logState.partialLine = false;
        for (guint32 i = 0; i < count; i++)
            outputs[i]->isAttached = false;
        LogRecomputeLevels();
        logState.lockCreations.store(0);
    }
    Log_SkipLocking(FALSE);
    for (guint32 i = 0; i < count; i++)
        outputs[i]->operations->deactivate(outputs[i]);
}
