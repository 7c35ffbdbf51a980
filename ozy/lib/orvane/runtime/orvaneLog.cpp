#include <orvane/log.h>

#include <string>
#include <utility>

#include "lib/misc/log.h"
#include "lib/misc/logInt.h"

namespace {

struct LogHandler : LogOutput {
    OrvaneLogFunc function = nullptr;
    gpointer data = nullptr;
    std::string pending; /* the beginning of a line whose newline has not come yet */
    gint pendingLevel = 0;
};

/* The output that is attached; guarded by the log's lock. */
constinit LogHandler *attached = nullptr;

/* The function may detach the output, so nothing of the output is used after the call. */
void LogHandlerDispatch(LogOutput *output, const LogLineHeader &header, bool /* writeHeader */,
                        std::string_view text) {
    auto *handler = static_cast<LogHandler *>(output);
    if (handler->pending.empty())
        handler->pendingLevel = header.level;
    const bool isWhole = text.ends_with('\n');
    text.remove_suffix(isWhole);
    handler->pending += text.substr(0, kLogMaxLineLength - handler->pending.size());
    if (!isWhole)
        return;
    const std::string line = std::exchange(handler->pending, {});
    handler->function(handler->pendingLevel, line.c_str(), handler->data);
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
            Log_ReplaceOutput(former, nullptr, FALSE);
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
    const bool isAttached =
        former != nullptr ? Log_ReplaceOutput(former, handler, FALSE) : Log_AddOutput(handler);
    if (isAttached)
        return;
    Log_FreeOutput(handler);
    attached = former;
    Warning("Orvane: the log has no room for a handler\n");
}
