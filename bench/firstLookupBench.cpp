// What does the first look-up of a type cost, which registers the whole schema?
//
// Ours is orvane_lookup_type() in a fresh process; the peer registers the same tree of names with
// bare g_type_register_static(). A type can be registered once per process, so each measurement is
// a child that reports through a pipe. Memory is what the allocator has handed out more than
// before.
#include <algorithm>
#include <cstdlib>
#include <vector>

#include <fmt/format.h>

#include "bench/freshProcess.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"

namespace {

constexpr int kRounds = 31;
constexpr double kWantedRatio = 1.2;
constexpr double kWantedMegabytes = 2.5;

void Ours() {
    if (orvane_lookup_type("TaskInfo") == 0)
        abort();
}

GType PeerRegister(std::vector<GType> &types, guint index) {
    const SchemaTables *tables = SchemaEngine_Tables();
    const SchemaTypeRow &row = tables->types[index];
    if (types[index] != 0)
        return types[index];
    GTypeInfo info = {};
    GType parent = G_TYPE_ENUM;
    if (row.kind == SCHEMA_KIND_ENUM) {
        info.class_size = sizeof(GEnumClass);
    } else {
        info.class_size = sizeof(GObjectClass);
        info.instance_size = sizeof(SkemaQormManagedObject);
        parent = row.kind == SCHEMA_KIND_MANAGED ? G_TYPE_INITIALLY_UNOWNED : G_TYPE_OBJECT;
        if (row.base != kSchemaNoType)
            parent = PeerRegister(types, row.base);
    }
    types[index] =
        g_type_register_static(parent, tables->text + row.name, &info, static_cast<GTypeFlags>(0));
    return types[index];
}

void Peer() {
    const SchemaTables *tables = SchemaEngine_Tables();
    std::vector<GType> types(tables->numTypes);
    for (guint i = 0; i < tables->numTypes; i++) {
        if (!(tables->types[i].flags & SCHEMA_TYPE_UNLISTED))
            PeerRegister(types, i);
    }
}

} // namespace

int main() {
    std::vector<double> ours;
    std::vector<double> peers;
    std::vector<double> ratios;
    double megabytes = 0;
    for (int i = 0; i < kRounds; i++) {
        const Cost our = InFreshProcess(Ours);
        const Cost peer = InFreshProcess(Peer);
        ours.push_back(our.ms);
        peers.push_back(peer.ms);
        ratios.push_back(our.ms / peer.ms);
        megabytes = std::max(megabytes, our.megabytes);
    }
    const double ratio = Median(ratios);
    fmt::print("{:<14} {:<58} ours {:>7.2f} ms   peer {:>7.2f} ms   {:.2f}   wanted {:.2f}   {}\n",
               "firstLookup", "all types registered, to bare g_type_register_static()",
               Median(ours), Median(peers), ratio, kWantedRatio, Verdict(ratio, kWantedRatio));
    fmt::print("{:<14} {:<58} {:.2f} MB   wanted {:.2f}   {}\n", "firstLookup",
               "memory added by registering all types", megabytes, kWantedMegabytes,
               Verdict(megabytes, kWantedMegabytes));
    return 0;
}
