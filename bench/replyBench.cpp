// What do replies of a property collector cost, which consist of any values, and the changes that they make?
//
// Reading is compared with parsing the same text with libxml2 and freeing it; changes with the plain functions of
// GObject that leave the same state.
#include <algorithm>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>
#include <fmt/format.h>
#include <libxml/parser.h>
#include <malloc.h>

#include <orvane/orvane.h>
#include <orvane/schema/ozy.h>

#include "bench/freshProcess.h"
#include "bench/ratio.h"
#include "bench/replyText.h"
#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"
#include "ozy/lib/orvane/updates/orvaneMOMgrInt.h"
#include "ozy/lib/orvane/updates/orvaneUpdateIndex.h"

namespace {

constexpr int kNumMachines = 10000;
constexpr double kWantedBytes = 3;
constexpr int kNumReferences = 20;
constexpr int kNumClasses = 30;
constexpr int kObjectsAClass = 20;
constexpr guint kNumElements = 8000;
constexpr guint kNumRemovals = 80000;
constexpr int kNumChanges = 1000;

using Text = const char *;

struct Reply {
    Text method;
    std::string text;
    Text returnType;
    gboolean isArray;
};

/* A nested object, as the collector sends one for a property of a class. */
std::string User(int number) {
    return fmt::format(
        "<key>52b5395a-{0}</key><userName>operator-{0}</userName><fullName>Operator {0}</fullName>"
        "<loginTime>2014-03-01T09:26:53.589793Z</loginTime>"
        "<lastActiveTime>2014-03-01T10:11:12.131415Z</lastActiveTime><locale>en</locale>"
        "<messageLocale>en</messageLocale><extensionSession>false</extensionSession>"
        "<ipAddress>192.0.2.17</ipAddress><callCount>{0}</callCount>",
        number);
}

std::string Property(Text element, Text name, const std::string &type, const std::string &content) {
    return fmt::format("<{0}><name>{1}</name><val xsi:type=\"{2}\">{3}</val></{0}>", element, name,
                       type, content);
}

std::string References() {
    std::string all;
    for (int i = 0; i < kNumReferences; i++)
        all +=
            fmt::format("<ManagedObjectReference type=\"Datastore\" "
                        "xsi:type=\"ManagedObjectReference\">datastore-{}</ManagedObjectReference>",
                        i);
    return all;
}

Reply Inventory(int numMachines) {
    const std::string references = References();
    std::string all;
    for (int i = 0; i < numMachines; i++) {
        all += fmt::format("<returnval><obj type=\"VirtualMachine\">vm-{}</obj>", i);
        all += Property("propSet", "name", "xsd:string", fmt::format("machine {}", i));
        all += Property("propSet", "datastore", "ArrayOfManagedObjectReference", references);
        all += Property("propSet", "config", "UserSession", User(i));
        all += Property("propSet", "summary", "UserSession", User(i + 1));
        all += Property("propSet", "bootTime", "xsd:dateTime", "2014-03-01T09:26:53.589793Z");
        all += Property("propSet", "memory", "xsd:int", "4096") + "</returnval>\n";
    }
    return {"RetrieveProperties", ReplyText("RetrieveProperties", all), "ObjectContent", TRUE};
}

/* Objects of 30 classes, a change of each kind of value for each of them. */
Reply UpdateSet() {
    constexpr Text kTypes[kNumClasses] = {"AgentManager",
                                          "Alarm",
                                          "AlarmManager",
                                          "ApiHooksCallbackHandler",
                                          "ApiProxyServiceManager",
                                          "AuthorizationManager",
                                          "CertificateManager",
                                          "ClusterComputeResource",
                                          "ClusterProfile",
                                          "ClusterProfileManager",
                                          "ClusterTransitionalWICKETManager",
                                          "ComputeResource",
                                          "ContainerView",
                                          "CustomFieldsManager",
                                          "CustomizationGuestInstallManager",
                                          "CustomizationSpecManager",
                                          "Datacenter",
                                          "Datastore",
                                          "DatastoreNamespaceManager",
                                          "DiagnosticManager",
                                          "DistributedVirtualPortgroup",
                                          "DistributedVirtualSwitch",
                                          "DistributedVirtualSwitchManager",
                                          "EnvironmentBrowser",
                                          "EventHistoryCollector",
                                          "EventManager",
                                          "ExtensibleManagedObject",
                                          "ExtensionManager",
                                          "ExternalContentLibrary",
                                          "ExternalContentLibraryItem"};
    std::string all = "<returnval><version>7</version><filterSet>"
                      "<filter type=\"PropertyFilter\">filter-1</filter>";
    for (int i = 0; i < kNumClasses * kObjectsAClass; i++) {
        const auto change = [](Text name, const std::string &type, const std::string &content) {
            return fmt::format("<changeSet><name>{}</name><op>assign</op><val "
                               "xsi:type=\"{}\">{}</val></changeSet>",
                               name, type, content);
        };
        const Text type = kTypes[size_t(i) % std::size(kTypes)];
        all += fmt::format("<objectSet><kind>modify</kind><obj type=\"{}\">{}-{}</obj>", type, type,
                           i);
        all += change("name", "xsd:string", fmt::format("object {}", i));
        all += change("overallStatus", "ManagedEntityStatus", "green");
        all += change("summary", "UserSession", User(i));
        all += change("count", "xsd:int", std::to_string(i));
        all +=
            change("tag", "ArrayOfString", "<string>a</string><string>b</string>") + "</objectSet>";
    }
    return {"WaitForUpdatesEx", ReplyText("WaitForUpdatesEx", all + "</filterSet></returnval>"),
            "UpdateSet", FALSE};
}

/* A session with a manager and without a connection; it lives until the program ends. */
OrvaneSession *TheSession() {
    static OrvaneSession *session = [] {
        OrvaneSession *made = orvane_session_new();
        made->priv->moMgr = orvane_momgr_new(made);
        return made;
    }();
    return session;
}

SoapTreePtr Read(const Reply &reply, GValue *value) {
    SoapTreePtr tree(OrvaneSoapTree_ParseReply(reply.text.data(), reply.text.size(), 0));
    if (!OrvaneSoap_ReadBody(TheSession(), reply.method, tree.get(),
                             BodyOf(OrvaneSoapTree_Root(tree.get())),
                             orvane_lookup_type(reply.returnType), reply.isArray, value) ||
        !G_IS_VALUE(value))
        g_error("reply: not read");
    return tree;
}

void Decode(benchmark::State &state, const Reply &reply) {
    for (auto _ : state) {
        ScopedValue value;
        Read(reply, &value.value).reset();
    }
}

void Parse(benchmark::State &state, const Reply &reply) {
    for (auto _ : state)
        xmlFreeDoc(xmlReadMemory(reply.text.data(), static_cast<int>(reply.text.size()),
                                 "noname.xml", nullptr, XML_PARSE_HUGE));
}

/* Keeps tree and objects, as both exist at the peak. */
const Reply *gInMemory = nullptr;

void ReadInMemory() {
    static GValue value = G_VALUE_INIT;
    (void)Read(*gInMemory, &value).release();
}

void PrintMemory() {
    orvane_lookup_type("ObjectContent");
    const Reply reply = Inventory(kNumMachines);
    gInMemory = &reply;
    const double bytes = InFreshProcess(ReadInMemory).megabytes * 1e6 / double(reply.text.size());
    fmt::print("{:<14} {:<58} {:.2f} bytes a byte of text   wanted {:.2f}   {}\n", "inventory",
               "peak memory: 10,000 machines", bytes, kWantedBytes, Verdict(bytes, kWantedBytes));
}

/* ---- an array that grows ---- */

GObject *NewSpec() {
    return static_cast<GObject *>(g_object_new(orvane_lookup_type("PropertySpec"), nullptr));
}

void GrowByOne(benchmark::State &state) {
    ScopedValue text(G_TYPE_STRING);
    g_value_set_static_string(&text.value, "runtime.powerState");
    OrvaneMOMgr *momgr = orvane_session_get_momgr(TheSession());
    for (auto _ : state) {
        const ObjectPtr<GObject> spec(NewSpec());
        for (guint i = 0; i < kNumElements; i++)
            orvane_momgr_update_property(momgr, spec.get(), "pathSet", &text.value,
                                         SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ADD);
    }
}

void SetAtOnce(benchmark::State &state) {
    ScopedValue text(G_TYPE_STRING);
    g_value_set_static_string(&text.value, "runtime.powerState");
    ValueArrayPtr texts(g_value_array_new(kNumElements));
    for (guint i = 0; i < kNumElements; i++)
        g_value_array_append(texts.get(), &text.value);
    for (auto _ : state) {
        const ObjectPtr<GObject> spec(NewSpec());
        g_object_set(spec.get(), "pathSet", texts.get(), nullptr);
    }
}

/* ---- changes of a list's elements, by their keys ---- */

std::string KeyOf(guint number) {
    return fmt::format("52b5395a-{}", number);
}

ValueArrayPtr Users(guint count) {
    ValueArrayPtr users(g_value_array_new(count));
    for (guint i = 0; i < count; i++) {
        ScopedValue user(orvane_lookup_type("UserSession"));
        g_value_take_object(
            &user.value, g_object_new(G_VALUE_TYPE(&user.value), "key", KeyOf(i).c_str(), nullptr));
        g_value_array_append(users.get(), &user.value);
    }
    return users;
}

struct UserList {
    ValueArrayPtr users;
    GObject *manager = G_OBJECT(g_object_ref_sink(
        orvane_session_get_object(TheSession(), "sessions", orvane_lookup_type("SessionManager"))));
    explicit UserList(guint count = kNumElements) : users(Users(count)) { Fill(); }
    ~UserList() { g_object_unref(manager); }
    UserList(const UserList &) = delete;
    UserList &operator=(const UserList &) = delete;
    void Fill() const { g_object_set(manager, "sessionList", users.get(), nullptr); }
};

/* One change for each element, the elements in another order than in the list. */
std::vector<std::string> Paths(const char *rest) {
    std::vector<std::string> paths;
    for (guint i = 0; i < kNumElements; i++)
        paths.push_back("sessionList[\"" + KeyOf(i * 4999 % kNumElements) + "\"]" + rest);
    return paths;
}

void ChangeElements(benchmark::State &state) {
    const UserList list;
    const std::vector<std::string> paths = Paths(".fullName");
    ScopedValue text(G_TYPE_STRING);
    g_value_set_static_string(&text.value, "Operator");
    OrvaneMOMgr *momgr = orvane_session_get_momgr(TheSession());
    for (auto _ : state) {
        const UpdateIndexScope scope;
        for (const std::string &path : paths)
            orvane_momgr_update_property(momgr, list.manager, path.c_str(), &text.value,
                                         SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_ASSIGN);
    }
}

void SetElements(benchmark::State &state) {
    const UserList list;
    ScopedValue text(G_TYPE_STRING);
    g_value_set_static_string(&text.value, "Operator");
    for (auto _ : state) {
        for (guint i = 0; i < kNumElements; i++)
            g_object_set_property(static_cast<GObject *>(g_value_get_object(
                                      &list.users->values[i * 4999 % kNumElements])),
                                  "fullName", &text.value);
    }
}

void RemoveElements(benchmark::State &state) {
    const UserList list;
    const std::vector<std::string> paths = Paths("");
    OrvaneMOMgr *momgr = orvane_session_get_momgr(TheSession());
    for (auto _ : state) {
        list.Fill();
        const UpdateIndexScope scope;
        for (const std::string &path : paths)
            orvane_momgr_update_property(momgr, list.manager, path.c_str(), nullptr,
                                         SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_REMOVE);
    }
}

/* Lists of so many users, emptied from the front. */
void RemoveFirstElements(benchmark::State &state, guint length) {
    const UserList list(length);
    OrvaneMOMgr *momgr = orvane_session_get_momgr(TheSession());
    std::vector<std::string> paths;
    for (guint i = 0; i < length; i++)
        paths.push_back("sessionList[\"" + KeyOf(i) + "\"]");
    for (auto _ : state) {
        for (guint done = 0; done < kNumRemovals; done += length) {
            list.Fill();
            const UpdateIndexScope scope;
            for (const std::string &path : paths)
                orvane_momgr_update_property(momgr, list.manager, path.c_str(), nullptr,
                                             SKEMA_QORM_CORE_PROPERTY_COLLECTOR_CHANGE_REMOVE);
        }
    }
}

/* ---- changes of a proxy whose application listens ---- */

void OnNotify(GObject *, GParamSpec *, guint *count) {
    ++*count;
}

struct Machine {
    guint numNotified = 0;
    GObject *proxy = G_OBJECT(g_object_ref_sink(
        orvane_session_get_object(TheSession(), "vm-1", skema_ozy_virtual_machine_get_type())));
    Machine() { g_signal_connect(proxy, "notify::name", G_CALLBACK(OnNotify), &numNotified); }
    ~Machine() { g_object_unref(proxy); }
    Machine(const Machine &) = delete;
    Machine &operator=(const Machine &) = delete;
};

void ApplyChanges(benchmark::State &state) {
    const Machine machine;
    std::string all =
        "<returnval><version>7</version><filterSet><filter type=\"PropertyFilter\">f</filter>"
        "<objectSet><kind>modify</kind><obj type=\"VirtualMachine\">vm-1</obj>";
    for (int i = 0; i < kNumChanges; i++)
        all += "<changeSet><name>name</name><op>assign</op><val "
               "xsi:type=\"xsd:string\">machine</val></changeSet>";
    const Reply reply = {
        "WaitForUpdatesEx",
        ReplyText("WaitForUpdatesEx", all + "</objectSet></filterSet></returnval>"), "UpdateSet",
        FALSE};
    ScopedValue updates;
    Read(reply, &updates.value).reset();
    OrvaneMOMgr *momgr = orvane_session_get_momgr(TheSession());
    for (auto _ : state) {
        OrvaneListener *internal = MOMgrNewListener(momgr, orvane_momgr_updates_cb);
        orvane_listener_set_return_type(internal, G_VALUE_TYPE(&updates.value), FALSE);
        orvane_listener_acknowledge(internal, TRUE, &updates.value);
    }
    if (machine.numNotified != kNumChanges * state.iterations())
        state.SkipWithError("changes were not applied");
}

void SetProperties(benchmark::State &state) {
    const Machine machine;
    ScopedValue text(G_TYPE_STRING);
    g_value_set_static_string(&text.value, "machine");
    for (auto _ : state) {
        for (int i = 0; i < kNumChanges; i++)
            g_object_set_property(machine.proxy, "name", &text.value);
    }
}

constexpr RatioRow kInventoryRows[] = {
    {"inventory", "10,000 machines with 20 references, any values : parsing", 0.65},
};

constexpr RatioRow kRows[] = {
    {"updateSet", "an update set of 30 classes, any values : parsing", 1.1},
    {"arrayGrowth", "an array grown by 8,000 single adds : one set", 20},
    {"arrayInside", "8,000 changes inside elements, by their keys : plain sets", 25},
    {"arrayRemoval", "a list of 8,000, emptied by their keys : plain sets", 35},
    {"removals80000", "80,000 removed from the front of one list : of ten lists", 3},
    {"change", "1,000 changes of an update set, a handler : plain sets", 1.2},
};

/* Neither side waits for pages that the other one, or an earlier round, has given back to the system. */
void KeepPages() {
    constexpr int kLargest = 32 << 20; /* a larger threshold is refused */
    if (!mallopt(M_MMAP_THRESHOLD, kLargest) || !mallopt(M_TRIM_THRESHOLD, 1 << 30))
        g_error("the allocator does not keep pages");
}

std::span<char *> gArguments;

/* In a process of its own: a heap in which 10,000 machines were slows the other rows' peers down more than us. */
void MeasureInventory() {
    KeepPages();
    static const Reply inventory = Inventory(kNumMachines);
    benchmark::RegisterBenchmark("inventory/ours", Decode, inventory);
    benchmark::RegisterBenchmark("inventory/peer", Parse, inventory);
    Ratio_Main(static_cast<int>(gArguments.size()), gArguments.data(), kInventoryRows);
    fflush(stdout);
}

} // namespace

int main(int argc, char **argv) {
    gArguments = {argv, gsize(argc)};
    if (argc > 1 && std::string_view(argv[1]).find("inventory") != std::string_view::npos) {
        MeasureInventory();
        return 0;
    }
    if (argc == 1) {
        PrintMemory();
        fflush(stdout); /* or the child prints it once more */
        InFreshProcess(MeasureInventory);
    }
    KeepPages();
    static const Reply updates = UpdateSet();
    benchmark::RegisterBenchmark("updateSet/ours", Decode, updates);
    benchmark::RegisterBenchmark("updateSet/peer", Parse, updates);
    benchmark::RegisterBenchmark("arrayGrowth/ours", GrowByOne);
    benchmark::RegisterBenchmark("arrayGrowth/peer", SetAtOnce);
    benchmark::RegisterBenchmark("arrayInside/ours", ChangeElements);
    benchmark::RegisterBenchmark("arrayInside/peer", SetElements);
    benchmark::RegisterBenchmark("arrayRemoval/ours", RemoveElements);
    benchmark::RegisterBenchmark("arrayRemoval/peer", SetElements);
    benchmark::RegisterBenchmark("removals80000/ours", RemoveFirstElements, kNumRemovals);
    benchmark::RegisterBenchmark("removals80000/peer", RemoveFirstElements, kNumElements);
    benchmark::RegisterBenchmark("change/ours", ApplyChanges);
    benchmark::RegisterBenchmark("change/peer", SetProperties);
    return Ratio_Main(argc, argv, kRows);
}
