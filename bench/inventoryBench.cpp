// What does a list that keeps itself up to date cost beside decoding the reply that fills it, and beside a bare change of
// a property?
#include <malloc.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <orvane/inventory.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>

#include "bench/connectedSession.h"
#include "bench/ratio.h"
#include "bench/replyText.h"
#include "ozy/lib/orvane/schema/schemaSession.h"
#include "ozy/lib/orvane/session/orvaneSessionCalls.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"

namespace {

constexpr int kNumObjects = 100000;
constexpr int kNumFew = 1000;
constexpr char kFilterId[] = "session-filter-1";
constexpr double kWantedBytes = 1229; /* 1.2 KB */

std::string Change(const char *name, const char *type, const std::string &value) {
    return fmt::format(
        "<changeSet><name>{}</name><op>assign</op><val xsi:type=\"{}\">{}</val></changeSet>", name,
        type, value);
}

std::string UpdateText(const std::string &objects) {
    return ReplyText(
        "WaitForUpdatesEx",
        fmt::format("<returnval xsi:type=\"UpdateSet\"><version>1</version><filterSet>"
                    "<filter type=\"PropertyFilter\">{}</filter>{}</filterSet></returnval>",
                    kFilterId, objects));
}

/* Four short properties of each object. */
std::string MakeFillText(int numObjects) {
    std::string all;
    for (int i = 0; i < numObjects; i++) {
        all +=
            fmt::format("<objectSet><kind>enter</kind><obj type=\"VirtualMachine\">vm-{}</obj>", i);
        all += Change("name", "xsd:string", fmt::format("machine-{:04}", i));
        all += Change("guestHeartbeatStatus", "ManagedEntityStatus", "green");
        all += Change("overallStatus", "ManagedEntityStatus", "green");
        all += Change("configLocked", "xsd:boolean", "false");
        all += "</objectSet>";
    }
    return UpdateText(all);
}

const std::string &FillText() {
    static const std::string text = MakeFillText(kNumObjects);
    return text;
}

/* A session without a service behind it, and the filter of a list as if the service had answered. */
struct Service {
    ConnectedSession calls{"http://127.0.0.1:9/sdk"};
    OrvaneMOMgr *momgr = orvane_session_get_momgr(calls.session);

    Service() {
        auto *root = SKEMA_QORM_MANAGED_OBJECT(
            orvane_session_get_object(calls.session, "group-d1", SKEMA_TYPE_OZY_FOLDER));
        GObject *content = G_OBJECT(g_object_new(orvane_lookup_type("ServiceContent"), nullptr));
        SchemaSession_Set(content, calls.session);
        g_object_set(content, "rootFolder", root, nullptr);
        calls.session->priv->serviceContent = content;
        momgr->priv->collector =
            SKEMA_QORM_MANAGED_OBJECT(g_object_ref_sink(orvane_session_get_object(
                calls.session, "collector", skema_qorm_core_property_collector_get_type())));
    }
    OrvaneInventory *NewList() {
        OrvaneInventory *list =
            orvane_inventory_new(calls.session, SKEMA_TYPE_OZY_VIRTUAL_MACHINE, nullptr);
        MOMgrFilters *filters = momgr->priv->filters;
        filters->numCreating = 0;
        for (const auto &[number, filter] : filters->byNumber) {
            filter->id = kFilterId;
            filters->byId[kFilterId] = filter.get();
        }
        return list;
    }
    /* The list goes without requests to the service. */
    void FreeList(OrvaneInventory *list) {
        for (const auto &[number, filter] : momgr->priv->filters->byNumber)
            filter->id.clear();
        momgr->priv->filters->byId.clear();
        g_object_unref(list);
        OrvaneSessionFreeCalls(calls.session);
    }
    void Decode(const std::string &text, GValue *value) {
        const SoapTreePtr tree(OrvaneSoapTree_Parse(text.data(), text.size(), "noname.xml", 0));
        orvane_soap_deserialize(
            calls.session, "WaitForUpdatesEx", BodyOf(OrvaneSoapTree_Root(tree.get())),
            skema_qorm_core_property_collector_update_set_get_type(), FALSE, value);
        if (!G_IS_VALUE(value))
            g_error("inventory: not decoded");
    }
    void Apply(const GValue *value) {
        MOMgrProxies proxies;
        std::vector<MOMgrFilterPtr> updated;
        for (const GValue &filter :
             MOMgrReplyArray(G_OBJECT(g_value_get_object(value)), "filterSet").Elements())
            MOMgrFilter_Route(momgr, G_OBJECT(g_value_get_object(&filter)), true, &proxies,
                              &updated);
        MOMgrFilter_Finish(momgr, updated, true);
    }
};

void Fill(benchmark::State &state, bool hasList) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        Service service;
        for (auto _ : state) {
            state.PauseTiming();
            OrvaneInventory *list = hasList ? service.NewList() : nullptr;
            state.ResumeTiming();
            {
                ScopedValue value;
                service.Decode(FillText(), &value.value);
                if (hasList)
                    service.Apply(&value.value);
            }
            state.PauseTiming();
            if (hasList) {
                if (g_list_model_get_n_items(G_LIST_MODEL(list)) != kNumObjects)
                    g_error("inventory: %u objects", g_list_model_get_n_items(G_LIST_MODEL(list)));
                service.FreeList(list);
            }
            state.ResumeTiming();
        }
    }
    orvane_shutdown();
}

void Count(gpointer, gpointer, gpointer count) {
    ++*static_cast<guint64 *>(count);
}
void CountChange(gpointer, gpointer, gpointer, gpointer count) {
    ++*static_cast<guint64 *>(count);
}

void OneChange(benchmark::State &state, bool hasList) {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        Service service;
        OrvaneInventory *list = service.NewList();
        {
            ScopedValue all, values[2];
            service.Decode(MakeFillText(kNumFew), &all.value);
            service.Apply(&all.value);
            for (int i = 0; i < 2; i++)
                service.Decode(
                    UpdateText(
                        "<objectSet><kind>modify</kind><obj type=\"VirtualMachine\">vm-7</obj>" +
                        Change("name", "xsd:string", fmt::format("name {}", i)) + "</objectSet>"),
                    &values[i].value);
            const ObjectPtr<GObject> object(G_OBJECT(g_list_model_get_item(G_LIST_MODEL(list), 7)));
            guint64 count = 0;
            if (hasList)
                g_signal_connect(list, "object-changed", G_CALLBACK(CountChange), &count);
            else
                g_signal_connect(object.get(), "notify::name", G_CALLBACK(Count), &count);
            guint64 turn = 0;
            for (auto _ : state) {
                turn++;
                if (hasList)
                    service.Apply(&values[turn % 2].value);
                else
                    g_object_set(object.get(), "name", turn % 2 ? "name 1" : "name 0", nullptr);
            }
            if (count != turn)
                g_error("inventory: a change was lost");
        }
        service.FreeList(list);
    }
    orvane_shutdown();
}

/* Bytes of the heap for each object of a list, its place in the list included. */
void PrintMemory() {
    orvane_init(epollLoop::Callback, epollLoop::CallbackRemove);
    {
        Service service;
        OrvaneInventory *list = service.NewList();
        FillText();
        const size_t before = mallinfo2().uordblks;
        {
            ScopedValue value;
            service.Decode(FillText(), &value.value);
            service.Apply(&value.value);
        }
        SoapBlocks_ReleaseKept();
        const double bytes = double(mallinfo2().uordblks - before) / kNumObjects;
        printf("listMemory bytes of an object in the list %30.0f   wanted %.0f   %s\n", bytes,
               kWantedBytes, bytes <= kWantedBytes ? "ok" : "ABOVE");
        service.FreeList(list);
    }
    orvane_shutdown();
}

/* In a process without GLib's caches of freed blocks, which hold on to what the reply took. */
void PrintMemoryOfProcess() {
    char self[] = "/proc/self/exe";
    char option[] = "--memory";
    char *arguments[] = {self, option, nullptr};
    char **environment = g_environ_setenv(g_get_environ(), "G_SLICE", "always-malloc", TRUE);
    fflush(stdout);
    if (!g_spawn_sync(nullptr, arguments, environment, G_SPAWN_CHILD_INHERITS_STDIN, nullptr,
                      nullptr, nullptr, nullptr, nullptr, nullptr))
        g_error("inventory: no process for the memory");
    g_strfreev(environment);
}

constexpr RatioRow kRows[] = {
    {"listFill",
     "100,000 objects with 4 properties from a reply's bytes into a list : into objects", 1.5},
    {"listChange", "one change of an object in the list, with a handler : g_object_set and notify",
     2.0},
};

} // namespace

int main(int argc, char **argv) {
    if (argc == 2 && strcmp(argv[1], "--memory") == 0) {
        PrintMemory();
        return 0;
    }
    benchmark::RegisterBenchmark("listFill/ours", Fill, true);
    benchmark::RegisterBenchmark("listFill/peer", Fill, false);
    benchmark::RegisterBenchmark("listChange/ours", OneChange, true);
    benchmark::RegisterBenchmark("listChange/peer", OneChange, false);
    PrintMemoryOfProcess();
    return Ratio_Main(argc, argv, kRows);
}
