#include "tools/orvane/lsCommand.h"

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include <orvane/objectPath.h>
#include <orvane/schema/ozy.h>

#include "tools/orvane/command.h"
#include "tools/orvane/helpTexts.h"
#include "tools/orvane/idMap.h"
#include "tools/orvane/message.h"
#include "tools/orvane/objectFilter.h"
#include "tools/orvane/objectFinder.h"
#include "tools/orvane/printer.h"

namespace orvaneCli {

namespace {

constexpr char kPowerPath[] = "runtime.powerState";
constexpr char kHostPath[] = "runtime.host";
constexpr size_t kMostCells = 6; /* of a row */

/* An entity that is shown. */
struct Shown {
    const InventoryEntity *entity;
    std::string path;
};

/* The paths of entities, each made of that of its parent. */
class Paths {
public:
    Paths(const std::vector<InventoryEntity> &entities, const std::string &basePath);
    std::string Of(const InventoryEntity &entity) { return Of(entity, 0); }

private:
    struct Parent {
        const InventoryEntity *entity = nullptr;
        std::string path;
        bool isMade = false;
    };

    std::string Of(const InventoryEntity &entity, size_t depth);
    const std::string &OfParent(const std::string &id, size_t depth);

    const std::string &base; /* of those whose parent is not known */
    IdMap<Parent> parents;   /* by id */
    std::string_view lastId; /* most entities have the parent of the one before */
    const std::string *lastPath = nullptr;
};

Paths::Paths(const std::vector<InventoryEntity> &entities, const std::string &basePath)
    : base(basePath) {
    std::string_view last;
    for (const InventoryEntity &each : entities) {
        if (each.parentId != last)
            parents.try_emplace(each.parentId);
        last = each.parentId;
    }
    for (const InventoryEntity &each : entities) {
        const auto found = parents.find(each.object->id);
        if (found != parents.end())
            found->second.entity = &each;
    }
}

const std::string &Paths::OfParent(const std::string &id, size_t depth) {
    if (lastPath != nullptr && id == lastId)
        return *lastPath;
    const auto found = parents.find(id);
    if (found == parents.end() || found->second.entity == nullptr || depth > kMostPathLevels)
        return base;
    Parent &parent = found->second;
    if (!std::exchange(parent.isMade, true))
        parent.path = Of(*parent.entity, depth + 1);
    lastId = found->first;
    lastPath = &parent.path;
    return parent.path;
}

std::string Paths::Of(const InventoryEntity &entity, size_t depth) {
    return OfParent(entity.parentId, depth) + "/" + PathPart(entity.name);
}

class Listing {
public:
    Listing(Service &connected, const LsOptions &lsOptions)
        : service(connected), options(lsOptions), filter(lsOptions.filter),
          type(lsOptions.type.empty() ? SKEMA_TYPE_OZY_MANAGED_ENTITY
                                      : FindClass(lsOptions.type, SKEMA_TYPE_OZY_MANAGED_ENTITY)) {}
    void Run();

private:
    std::vector<ExtraProperties> WhatToRead();
    void AddFilterProperty(const std::string &path, std::vector<ExtraProperties> &extra) const;
    void ReadHosts();
    std::vector<Shown> Choose(const std::string &basePath) const;
    void Print(std::vector<Shown> &all);
    std::vector<Cell> Cells(Shown &shown) const;
    Cell PowerOf(SkemaQormManagedObject *object) const;
    Cell HostOf(SkemaQormManagedObject *object) const;
    bool ShowsPaths() const { return options.isRecursive; }

    Service &service;
    const LsOptions &options;
    ObjectFilter filter;
    GType type;
    bool hasPower = false; /* the schema knows the power state */
    bool hasHost = false;  /* the schema knows the host of a machine */
    std::vector<InventoryEntity> entities;
    std::vector<InventoryEntity> hosts;
    IdMap<const std::string *> hostNames; /* by the id of a host */
    std::unordered_map<const SkemaQormManagedObject *, const std::string *>
        hostsOfMachines; /* where the schema does not know the host */
};

/* Whether the schema has a property of machines; without an overlay it does not have all of them. */
bool MachineHas(const char *path) {
    const GType runtime = SKEMA_TYPE_OZY_VIRTUAL_MACHINE_RUNTIME_INFO;
    return HasFirstProperty(runtime, std::string(path).substr(std::string_view("runtime.").size()));
}

/* Of the classes that have the property, those whose base does not; the rest of the path need not be known in all. */
void Listing::AddFilterProperty(const std::string &path,
                                std::vector<ExtraProperties> &extra) const {
    std::optional<Failure> failure;
    bool isKnown = false;
    for (const GType each : ClassesFrom(type)) {
        const bool isFirst = each == type || !HasFirstProperty(g_type_parent(each), path);
        if (!isFirst || !HasFirstProperty(each, path))
            continue;
        try {
            const PropertyPath checked = CheckPropertyPath(each, path);
            filter.CheckValues(checked);
            extra.push_back({each, {checked.requested}});
            isKnown = true;
        } catch (const Failure &notKnown) {
            if (!failure || each == SKEMA_TYPE_OZY_VIRTUAL_MACHINE)
                failure = notKnown;
        }
    }
    if (!isKnown && failure)
        throw Failure(*failure);
    if (!isKnown)
        CheckPropertyPath(type, path); /* throws */
}

std::vector<ExtraProperties> Listing::WhatToRead() {
    std::vector<ExtraProperties> extra;
    if (options.isLong) {
        std::vector<std::string> paths;
        paths.emplace_back(hasPower ? kPowerPath : "guestHeartbeatStatus");
        if (hasHost)
            paths.emplace_back(kHostPath);
        extra.push_back({SKEMA_TYPE_OZY_VIRTUAL_MACHINE, paths});
    }
    for (const std::string &path : filter.Paths())
        AddFilterProperty(path, extra);
    return extra;
}

/* Where the schema does not know the host of a machine, the hosts' lists of machines do. */
void Listing::ReadHosts() {
    std::vector<ExtraProperties> extra;
    if (!hasHost)
        extra.push_back({SKEMA_TYPE_OZY_HOST_SYSTEM, {"vm"}});
    hosts = ReadInventory(service, service.Root(), InventoryDepth::kHostsBelow, extra);
    hostsOfMachines.reserve(entities.size());
    for (const InventoryEntity &each : hosts) {
        if (!SKEMA_IS_OZY_HOST_SYSTEM(each.object.get()))
            continue;
        hostNames[each.object->id] = &each.name;
        GValueArray *machines = nullptr;
        g_object_get(each.object.get(), "vm", &machines, nullptr);
        if (machines == nullptr)
            continue;
        const ValueArrayPtr owner(machines);
        for (guint i = 0; i < machines->n_values; i++) {
            const auto *machine =
                static_cast<SkemaQormManagedObject *>(g_value_get_object(&machines->values[i]));
            hostsOfMachines.emplace(machine, &each.name); /* compared with those that are listed */
        }
    }
}

/* The entities that fit, with their paths, in the order of the paths. */
std::vector<Shown> Listing::Choose(const std::string &basePath) const {
    Paths paths(entities, basePath);
    std::vector<Shown> all;
    all.reserve(entities.size());
    for (const InventoryEntity &each : entities) {
        GObject *object = G_OBJECT(each.object.get());
        if (g_type_is_a(G_OBJECT_TYPE(object), type) && filter.Fits(object))
            all.push_back({&each, paths.Of(each)});
    }
    std::ranges::sort(all, {}, &Shown::path);
    return all;
}

Cell Listing::PowerOf(SkemaQormManagedObject *object) const {
    if (!SKEMA_IS_OZY_VIRTUAL_MACHINE(object))
        return NothingCell();
    if (hasPower) {
        const GPtr<char> state(orvane_object_get_path_text(G_OBJECT(object), kPowerPath));
        if (!state)
            return NothingCell();
        const bool isOn = std::string_view(state.get()) == "poweredOn";
        return TextCell(state.get(), isOn ? Style::kGood : Style::kPlain);
    }
    gint heartbeat = SKEMA_OZY_MANAGED_ENTITY_GRAY;
    g_object_get(object, "guestHeartbeatStatus", &heartbeat, nullptr);
    return heartbeat == SKEMA_OZY_MANAGED_ENTITY_GREEN ? TextCell("running", Style::kGood)
                                                       : NothingCell();
}

Cell Listing::HostOf(SkemaQormManagedObject *object) const {
    if (!SKEMA_IS_OZY_VIRTUAL_MACHINE(object))
        return NothingCell();
    if (!hasHost) {
        const auto found = hostsOfMachines.find(object);
        return found != hostsOfMachines.end() ? TextCell(*found->second) : NothingCell();
    }
    const GPtr<char> host(orvane_object_get_path_text(G_OBJECT(object), kHostPath));
    const auto found = host ? hostNames.find(host.get()) : hostNames.end();
    return found != hostNames.end() ? TextCell(*found->second) : NothingCell();
}

/* Takes the path. */
std::vector<Cell> Listing::Cells(Shown &shown) const {
    SkemaQormManagedObject *object = shown.entity->object.get();
    std::vector<Cell> cells;
    cells.reserve(kMostCells);
    if (!options.isLong && !IsJsonWanted()) {
        cells.push_back(
            TextCell(ShowsPaths() ? std::move(shown.path) : PathPart(shown.entity->name)));
        return cells;
    }
    cells.push_back(TextCell(ShowsPaths() || IsJsonWanted() ? std::move(shown.path)
                                                            : PathPart(shown.entity->name)));
    if (IsJsonWanted())
        cells.push_back(TextCell(shown.entity->name));
    cells.push_back(TextCell(ClassName(object)));
    if (options.isLong) {
        cells.push_back(PowerOf(object));
        cells.push_back(HostOf(object));
    }
    cells.push_back(TextCell(object->id, Style::kFaint));
    return cells;
}

void Listing::Print(std::vector<Shown> &all) {
    std::vector<Column> columns;
    const bool isJson = IsJsonWanted();
    if (isJson || ShowsPaths())
        columns.push_back(
            {.key = "path", .title = Text(MSGID("column.path") "PATH"), .cutsStart = true});
    if (isJson || !ShowsPaths())
        columns.push_back({.key = "name", .title = Text(MSGID("column.name") "NAME")});
    if (isJson || options.isLong)
        columns.push_back({.key = "type", .title = Text(MSGID("column.type") "TYPE")});
    if (options.isLong) {
        columns.push_back({.key = "power", .title = Text(MSGID("column.power") "POWER")});
        columns.push_back({.key = "host", .title = Text(MSGID("column.host") "HOST")});
    }
    if (isJson || options.isLong)
        columns.push_back({.key = "id", .title = Text(MSGID("column.id") "ID"), .isWhole = true});
    Printer printer(columns, {.hasHeading = options.isLong && !service.IsQuiet()});
    for (Shown &shown : all)
        printer.Row(Cells(shown));
    printer.End();
}

void Listing::Run() {
    hasPower = MachineHas(kPowerPath);
    hasHost = MachineHas(kHostPath);
    const std::vector<ExtraProperties> extra = WhatToRead();
    ObjectFinder finder(service);
    const ProxyPtr object = finder.Find(options.path);
    std::string path = finder.PathOf(object.get());
    if (!SKEMA_IS_OZY_MANAGED_ENTITY(object.get()))
        throw Failure(
            Text(MSGID("ls.noEntity") "%s is not in the inventory; \"orvane get\" shows it",
                 Printable(options.path).c_str()));
    if (IsContainer(service, object.get())) {
        const auto depth =
            options.isRecursive ? InventoryDepth::kAllBelow : InventoryDepth::kChildren;
        entities = ReadInventory(service, object.get(), depth, extra);
    } else {
        entities.push_back(ReadEntity(service, object.get(), extra));
        path.resize(path.rfind('/'));
    }
    const auto isMachine = [](const InventoryEntity &each) {
        return SKEMA_IS_OZY_VIRTUAL_MACHINE(each.object.get());
    };
    if (options.isLong && std::ranges::any_of(entities, isMachine))
        ReadHosts();
    std::vector<Shown> all = Choose(path == "/" ? "" : path);
    Print(all);
}

int RunLs(LsOptions &options) {
    return WithService(options, [&](Service &service) {
        Listing(service, options).Run();
        return kDone;
    });
}

} // namespace

void AddLs(CLI::App &program, LsOptions &options, int &status) {
    CLI::App *ls = program.add_subcommand(
        "ls", Text(MSGID("help.ls") "List what is in the inventory, or in a folder of it"));
    ls->footer(FooterText(
        Text(
            MSGID("help.ls.footer") "A path is made of names; %%2f is a slash in a name. A "
                                    "condition is a property, one of == != < <= > >= ~ (contains) "
                                    "and a value; \"and\" and \"or\" join several. \"running\" "
                                    "under POWER is a machine whose guest sends a heartbeat, where "
                                    "the schema does not have the power state."),
        {"orvane ls --profile lab", "orvane ls --profile lab -l /Datacenter/vm",
         "orvane ls --profile lab -R --type VirtualMachine",
         "orvane ls --profile lab -R --filter 'name ~ web and overallStatus != green'"}));
    ls->add_option("path", options.path,
                   Text(MSGID("help.ls.path") "Path, id or name of an entity; / without it"));
    ls->add_flag("-l,--long", options.isLong,
                 Text(MSGID("help.ls.long") "Show type, power state, host and id, too"));
    ls->add_flag("-R,--recursive", options.isRecursive,
                 Text(MSGID("help.ls.recursive") "List everything below, with paths"));
    ls->add_option("--type", options.type,
                   Text(MSGID("help.ls.type") "Only objects of this class or one below it, such as "
                                              "VirtualMachine"));
    ls->add_option("--filter", options.filter,
                   Text(MSGID("help.ls.filter") "Only objects for which this condition holds"));
    AddServiceOptions(*ls, options);
    ls->callback([&] { status = RunCommand([&] { return RunLs(options); }); });
}

} // namespace orvaneCli
