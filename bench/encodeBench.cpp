// How long does a request with many objects take, compared with appending its text piece by piece?
#include <algorithm>
#include <cstring>

#include <benchmark/benchmark.h>

#include <orvane/orvane.h>

#include "bench/ratio.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

namespace {

constexpr guint kNumObjects = 1000;
constexpr guint kNumObjectSpecs = 10000;
constexpr gsize kPiece = 16;

/* Property specs as a filter has them: texts, a boolean and a list of three texts. */
GValueArray *Specs() {
    GValueArray *specs = g_value_array_new(kNumObjects);
    GValueArray *paths = g_value_array_new(3);
    for (const char *path : {"name", "runtime.powerState", "summary.config.memorySizeMB"}) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_STRING);
        g_value_set_static_string(&value, path);
        g_value_array_append(paths, &value);
    }
    for (guint i = 0; i < kNumObjects; i++) {
        GValue value = G_VALUE_INIT;
        g_value_init(&value, orvane_lookup_type("PropertySpec"));
        g_value_take_object(&value, g_object_new(G_VALUE_TYPE(&value), "type", "VirtualMachine",
                                                 "all", FALSE, "pathSet", paths, nullptr));
        g_value_array_append(specs, &value);
        g_value_unset(&value);
    }
    g_value_array_free(paths);
    return specs;
}

char *Write(const GValue *specs, gsize *length) {
    const OrvaneArgument argument{"propSet", specs};
    return OrvaneSoapWriteRequest({"ozy25", orvane_lookup_version("ozy25/6.0")->mask},
                                  "PropertyCollector", "propertyCollector", "RetrieveProperties",
                                  &argument, 1, length);
}

void Append(const char *text, gsize length) {
    GString *out = g_string_new(nullptr);
    for (gsize at = 0; at < length; at += kPiece)
        g_string_append_len(out, text + at, static_cast<gssize>(std::min(kPiece, length - at)));
    benchmark::DoNotOptimize(out->str);
    g_string_free(out, TRUE);
}

void Ours(benchmark::State &state) {
    GValue specs = G_VALUE_INIT;
    g_value_init(&specs, G_TYPE_VALUE_ARRAY);
    g_value_take_boxed(&specs, Specs());
    for (auto _ : state) {
        const GPtr<char> text(Write(&specs, nullptr));
        benchmark::DoNotOptimize(text.get());
    }
    g_value_unset(&specs);
}

void Peer(benchmark::State &state) {
    GValue specs = G_VALUE_INIT;
    g_value_init(&specs, G_TYPE_VALUE_ARRAY);
    g_value_take_boxed(&specs, Specs());
    gsize length = 0;
    const GPtr<char> text(Write(&specs, &length));
    for (auto _ : state)
        Append(text.get(), length);
    state.counters["bytes"] = static_cast<double>(length);
    g_value_unset(&specs);
}

/* The objects of a filter: a reference and a boolean each. */
GValueArray *ObjectSpecs(OrvaneSession *session) {
    GValueArray *specs = g_value_array_new(kNumObjectSpecs);
    const GType machine = orvane_lookup_type("VirtualMachine");
    for (guint i = 0; i < kNumObjectSpecs; i++) {
        const GPtr<char> id(g_strdup_printf("vm-%u", i));
        GValue value = G_VALUE_INIT;
        g_value_init(&value, orvane_lookup_type("ObjectSpec"));
        g_value_take_object(&value,
                            g_object_new(G_VALUE_TYPE(&value), "obj",
                                         orvane_session_get_object(session, id.get(), machine),
                                         "skip", FALSE, nullptr));
        g_value_array_append(specs, &value);
        g_value_unset(&value);
    }
    return specs;
}

/* The specs as a value; all is released when the program ends. */
const GValue *ObjectSpecValue() {
    static const GValue specs = [] {
        OrvaneSession *session = orvane_session_new();
        session->priv->moMgr = orvane_momgr_new(session);
        GValue value = G_VALUE_INIT;
        g_value_init(&value, G_TYPE_VALUE_ARRAY);
        g_value_take_boxed(&value, ObjectSpecs(session));
        return value;
    }();
    return &specs;
}

void OursReferences(benchmark::State &state) {
    const GValue *specs = ObjectSpecValue();
    for (auto _ : state) {
        const GPtr<char> text(Write(specs, nullptr));
        benchmark::DoNotOptimize(text.get());
    }
}

void PeerReferences(benchmark::State &state) {
    gsize length = 0;
    const GPtr<char> text(Write(ObjectSpecValue(), &length));
    for (auto _ : state)
        Append(text.get(), length);
}

BENCHMARK(OursReferences)->Name("encodeRefs/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(PeerReferences)->Name("encodeRefs/peer")->Unit(benchmark::kMicrosecond);
BENCHMARK(Ours)->Name("encode/ours")->Unit(benchmark::kMicrosecond);
BENCHMARK(Peer)->Name("encode/peer")->Unit(benchmark::kMicrosecond);

} // namespace

int main(int argc, char **argv) {
    constexpr RatioRow kRows[] = {
        {"encode", "a request with 1,000 objects, against appending its text in pieces of 16", 4.0},
        {"encodeRefs", "a request with 10,000 ObjectSpecs, against appending its text likewise",
         1.5}};
    return Ratio_Main(argc, argv, kRows);
}
