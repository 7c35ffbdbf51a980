// How long do objects take as JSON, compared with the same objects as a SOAP request?
#include <benchmark/benchmark.h>

#include <orvane/json.h>
#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

#include "bench/ratio.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

namespace {

constexpr guint kNumObjects = 10000;

/* Tasks as a service reports them: texts, words, dates, numbers, references. All is released when the program ends. */
const std::vector<GObject *> &Tasks() {
    static const std::vector<GObject *> tasks = [] {
        OrvaneSession *session = orvane_session_new();
        session->priv->moMgr = orvane_momgr_new(session);
        std::vector<GObject *> made;
        for (guint i = 0; i < kNumObjects; i++) {
            const GPtr<char> key(g_strdup_printf("task-%u", i));
            const GTimeVal time = {1790000000 + static_cast<glong>(i), 123456};
            made.push_back(static_cast<GObject *>(g_object_new(
                SKEMA_TYPE_OZY_TASK_INFO, "key", key.get(), "task",
                orvane_session_get_object(session, key.get(), SKEMA_TYPE_OZY_TASK), "name",
                "PowerOnVM_Task", "descriptionId", "VirtualMachine.powerOn", "entityName",
                "machine-0001", "state", SKEMA_OZY_TASK_INFO_RUNNING, "cancelled", FALSE,
                "cancelable", TRUE, "progress", 42, "queueTime", &time, "startTime", &time,
                "eventChainId", static_cast<gint>(i), nullptr)));
        }
        return made;
    }();
    return tasks;
}

void Ours(benchmark::State &state) {
    for (auto _ : state) {
        for (GObject *task : Tasks()) {
            const GPtr<char> text(orvane_object_to_json(task, ORVANE_JSON_COMPACT, nullptr));
            benchmark::DoNotOptimize(text.get());
        }
    }
}

void Peer(benchmark::State &state) {
    const guint32 versions = orvane_lookup_version("ozy25/6.0")->mask;
    for (auto _ : state) {
        for (GObject *task : Tasks()) {
            const GStringPtr out(g_string_sized_new(1000));
            SoapPlanCache plans;
            OrvaneSoapWriteObject({out.get(), versions, plans}, "info", task);
            benchmark::DoNotOptimize(out->str);
        }
    }
}

BENCHMARK(Ours)->Name("json/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(Peer)->Name("json/peer")->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char **argv) {
    constexpr RatioRow kRows[] = {
        {"json", "10,000 objects as JSON, against the same as SOAP", 3.0}};
    return Ratio_Main(argc, argv, kRows);
}
