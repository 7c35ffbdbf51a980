/*
 * logRecorder.h -- an output of the log that keeps what it receives
 *
 *   LogRecorder *recorder = LogRecorder::New("a");       Log_AddOutput(recorder)      recorder->text
 *
 * A line is kept as "I120: text\n", with "+" for ":" if it continues a message; a piece that continues a line as it
 * is.
 */
#pragma once

#include <functional>

#include "lib/misc/logOutput.h"
#include "lib/misc/logText.h"

struct LogRecorder : LogOutput {
    std::string text;
    LogLineHeader last{};
    std::function<void()> onDispatch;
    bool canActivate = true;
    static inline int living = 0;

    static LogRecorder *New(const char *name, guint32 type = kLogTypeSingle) {
        static constexpr LogOutputOperations kOperations = {
            [](LogOutput *output, const LogLineHeader &header, bool writeHeader,
               std::string_view piece) {
                auto *self = static_cast<LogRecorder *>(output);
                self->last = header;
                if (writeHeader)
                    self->text += LogText_FindLevel(header.level).letter +
                                  std::to_string(header.level) +
                                  (header.continuation == 'T' ? "+ " : ": ");
                self->text += piece;
                if (const auto function = self->onDispatch)
                    function();
            },
            [](LogOutput *output) {
                return gboolean(static_cast<LogRecorder *>(output)->canActivate);
            },
            [](LogOutput *output) {
                living--;
                delete static_cast<LogRecorder *>(output);
            },
            [](LogOutput *output) { static_cast<LogRecorder *>(output)->text += "unthrottled\n"; },
            nullptr,
            nullptr,
        };
        auto *recorder = new LogRecorder;
        recorder->type = type;
        recorder->name = name;
        recorder->operations = &kOperations;
        living++;
        return recorder;
    }
};
