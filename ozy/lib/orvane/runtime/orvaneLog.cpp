#include <orvane/log.h>

#include <string>
#include <utility>

#include "lib/misc/log.h"
#include "lib/misc/logInt.h"
#include "lib/misc/panic.h"

namespace {

struct LogHandler : LogOutput {
    OrvaneLogFunc function = nullptr;
    gpointer data = nullptr;
    std::string begun; /* the beginning of a line whose newline has not come yet */
    LogLineHeader begunHeader{};
};

/* The output that is attached; guarded by the log's lock. */
constinit LogHandler *attached = nullptr;

/* The function may detach the output, so nothing of the output is used after the call. */
void HandOver(const LogHandler *handler, gint level, const std::string &line) {
    handler->function(level, line.c_str(), handler->data);
}

void LogHandlerDispatch(LogOutput *output, const LogLineHeader &header, bool writeHeader,
                        std::string_view text) {
    auto *handler = static_cast<LogHandler *>(output);
    const bool isWhole = text.ends_with('\n');
    text.remove_suffix(isWhole);
    if (writeHeader && !handler->begun.empty()) {
        /* a line of the ring comes between the pieces of another; or the rest of that one had a level of no interest */
        if (logState.partialLine && isWhole)
            return HandOver(handler, header.level, std::string(text));
        HandOver(handler, handler->begunHeader.level, std::exchange(handler->begun, {}));
        handler = attached; /* the function may have replaced it */
        if (handler == nullptr)
            return;
    }
    if (handler->begun.empty())
        handler->begunHeader = header;
    handler->begun += text.substr(0, kLogMaxLineLength - handler->begun.size());
    if (isWhole)
        HandOver(handler, handler->begunHeader.level, std::exchange(handler->begun, {}));
}

/* Gives the beginning of a line to another handler, if its level allows that line. */
void MoveBegunLine(LogHandler *from, LogHandler *to) {
    to->begunHeader = from->begunHeader;
    if (from->begunHeader.level <= to->logMinLevel || from->begunHeader.level == LOG_LEVEL_AUDIT)
        to->begun = std::exchange(from->begun, {});
}

/* Detaches the handler. The beginning of a line goes to the ring, unless another output has it. */
void LogHandlerEnd(LogHandler *handler) {
    const std::string begun = std::move(handler->begun);
    const LogLineHeader header = handler->begunHeader;
    Log_ReplaceOutput(handler, nullptr, FALSE);
    LogFIFO *fifo = begun.empty() || logState.numOutputs > 0 ? nullptr : LogGetFIFO();
    if (fifo != nullptr)
        LogFIFO_Add(fifo, header, true, begun);
}

void LogHandlerDeactivate(LogOutput *output) {
    auto *handler = static_cast<LogHandler *>(output);
    {
        const LogLockGuard guard;
        if (attached == handler)
            attached = nullptr;
    }
    delete handler;
}

constexpr LogOutputOperations kOperations = {
    LogHandlerDispatch,
    [](LogOutput *) { return gboolean{TRUE}; },
    LogHandlerDeactivate,
    [](LogOutput *) {},
    nullptr,
    nullptr,
};

} // namespace

void orvane_log_set_handler(OrvaneLogFunc function, gpointer data, gint level) {
    const LogLockGuard guard;
    LogHandler *former = attached;
    if (function == nullptr) {
        if (former != nullptr)
            LogHandlerEnd(former);
        return;
    }
    auto *handler = new LogHandler;
    handler->type = kLogTypeHandler;
    handler->name = "handler";
    handler->logMinLevel = level;
    handler->operations = &kOperations;
    handler->function = function;
    handler->data = data;
    attached = handler;
    if (former != nullptr) {
        MoveBegunLine(former, handler);
        VERIFY(Log_ReplaceOutput(former, handler, FALSE));
        return;
    }
    if (Log_AddOutput(handler))
        return;
    Log_FreeOutput(handler);
    attached = nullptr;
    Warning("Orvane: the log has no room for a handler\n");
}
