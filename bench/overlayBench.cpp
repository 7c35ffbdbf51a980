// What does a large overlay of the schema cost a program that loads it at its start?
#include <cstdlib>
#include <string>

#include <fmt/format.h>
#include <unistd.h>

#include <orvane/orvane.h>

#include "bench/freshProcess.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"

namespace {

constexpr int kRounds = 15;
constexpr int kNumClasses = 500;
constexpr int kNumFields = 20;
constexpr double kWantedMs = 30;

/* Where the overlay is, for the children. */
std::string &Path() {
    static std::string path;
    return path;
}

/* Fields for the first of the classes that are shipped without. */
std::string Overlay() {
    const SchemaTables *tables = SchemaEngine_Tables();
    std::string text = "namespace ozy\n";
    int numClasses = 0;
    for (guint i = 0; i < tables->numTypes && numClasses < kNumClasses; i++) {
        const SchemaTypeRow &row = tables->types[i];
        const std::string name = tables->text + row.name;
        if (row.kind != SCHEMA_KIND_DATA || !(row.flags & SCHEMA_TYPE_PARTIAL) ||
            !name.starts_with("SkemaOzy"))
            continue;
        numClasses++;
        text += fmt::format("data {} ...\n", tables->text + row.wireName);
        for (int field = 0; field < kNumFields; field++)
            text += fmt::format("  bench{}Of{} {} @ozy25/4.0\n", field, numClasses,
                                field % 2 == 0 ? "string?" : "int");
    }
    if (numClasses < kNumClasses)
        abort();
    return text;
}

void Load() {
    GError *error = nullptr;
    if (!orvane_schema_load_overlay(Path().c_str(), &error))
        g_error("%s", error->message);
}

} // namespace

int main() {
    char path[] = "/tmp/orvane-overlay-XXXXXX";
    const int file = mkstemp(path);
    const std::string text = Overlay();
    if (file < 0 || write(file, text.data(), text.size()) != ssize_t(text.size()))
        return 1;
    close(file);
    Path() = path;
    std::vector<double> times;
    for (int i = 0; i < kRounds; i++)
        times.push_back(InFreshProcess(Load).ms);
    unlink(path);
    const double ms = Median(times);
    fmt::print("{:<14} {:<58} {:.1f} ms   wanted {:.1f}   {}\n", "overlay",
               "loading one that completes 500 classes with 20 fields each", ms, kWantedMs,
               Verdict(ms, kWantedMs));
    return 0;
}
