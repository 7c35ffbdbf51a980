#include "ozy/lib/orvane/soap/orvaneSoapCheck.h"

#include <atomic>

#include <orvane/runtime.h>

#include "lib/misc/log.h"

namespace {

constinit std::atomic<bool> gChecksToLog{false};

} // namespace

void orvane_set_reader_checks_to_log(gboolean value) {
    gChecksToLog.store(value != FALSE, std::memory_order_relaxed);
}

void OrvaneSoapReportCheck(const char *function, const char *expression) {
    if (gChecksToLog.load(std::memory_order_relaxed))
        Log("SOAP: %s: assertion '%s' failed\n", function, expression);
    else
        g_return_if_fail_warning(nullptr, function, expression);
}
