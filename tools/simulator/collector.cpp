#include "tools/simulator/collector.h"

#include <algorithm>
#include <charconv>
#include <iterator>

#include <fmt/format.h>

#include "tools/simulator/contents.h"
#include "tools/simulator/service.h"

namespace simulator {

namespace {

constexpr size_t kSmallJournal = 1000; /* changes that are not worth joining */
constexpr size_t kMaxRetrievals = 100; /* of a collector; the oldest is dropped */

/* Reads a version or a token. */
std::optional<uint64_t> ParseNumber(const std::string &text) {
    uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

Fault UnknownVersion() {
    return Fault("InvalidCollectorVersion", "The collector does not know the version.");
}

/* Removes up to `max` object updates from the front and returns them. */
std::vector<FilterUpdate> TakeFirst(std::vector<FilterUpdate> &all, size_t max) {
    std::vector<FilterUpdate> taken;
    while (!all.empty() && (max > 0 || all.front().objects.empty())) {
        FilterUpdate &first = all.front();
        const auto end = first.objects.begin() +
                         static_cast<std::ptrdiff_t>(std::min(max, first.objects.size()));
        FilterUpdate part{first.filter,
                          {std::move_iterator(first.objects.begin()), std::move_iterator(end)},
                          std::move(first.missing)};
        first.missing.clear();
        first.objects.erase(first.objects.begin(), end);
        max -= part.objects.size();
        const bool isDone = first.objects.empty();
        taken.push_back(std::move(part));
        if (isDone)
            all.erase(all.begin());
    }
    return taken;
}

std::string UpdateSetText(uint64_t version, const std::vector<FilterUpdate> &updates,
                          bool truncated) {
    std::string text = fmt::format("<returnval><version>{}</version>", version);
    for (const FilterUpdate &update : updates) {
        text += "<filterSet>";
        AppendElement(text, "filter", update.filter);
        for (const std::string &object : update.objects)
            text += object;
        text += update.missing;
        text += "</filterSet>";
    }
    if (truncated)
        text += "<truncated>true</truncated>";
    return text + "</returnval>";
}

/* Returns each changed object with the earliest value of each property, in the order of the first change. */
std::vector<OldValues> GatherChanges(std::span<const Change> changes) {
    std::vector<OldValues> gathered;
    std::unordered_map<const Object *, size_t> places;
    for (const Change &change : changes) {
        if (change.property.empty())
            continue;
        const auto [place, isNew] = places.emplace(change.object.get(), gathered.size());
        if (isNew)
            gathered.push_back({change.object, {}});
        auto &properties = gathered[place->second].properties;
        if (std::ranges::find(properties, change.property, &Field::name) == properties.end())
            properties.push_back({change.property, change.before});
    }
    return gathered;
}

} // namespace

Collectors::Collectors(Service &owner) : service(owner) {}
Collectors::~Collectors() = default;

Collector &Collectors::Of(const Call &call) {
    for (const auto &collector : collectors)
        if (collector->owner == call.session && collector->self == call.target)
            return *collector;
    if (call.target->id != kPropertyCollectorId)
        throw ObjectNotFound(call.request.targetType, call.target->id);
    collectors.push_back(std::make_unique<Collector>());
    collectors.back()->self = call.target;
    collectors.back()->owner = call.session;
    return *collectors.back();
}

Collector &Collectors::Create(const SessionPtr &session) {
    collectors.push_back(std::make_unique<Collector>());
    Collector &collector = *collectors.back();
    collector.self = service.inventory.Create("PropertyCollector",
                                              service.inventory.NextId("propertyCollector-"), {});
    collector.owner = session;
    return collector;
}

void Collectors::Destroy(Collector &collector) {
    CancelWaits(collector, Fault("RequestCanceled", "The collector is gone."));
    for (const auto &filter : collector.filters)
        service.inventory.Remove(filter->self);
    if (collector.self->id != kPropertyCollectorId)
        service.inventory.Remove(collector.self);
    std::erase_if(collectors, [&](const auto &each) { return each.get() == &collector; });
}

Filter &Collectors::CreateFilter(Collector &collector, const Element &element,
                                 bool partialUpdates) {
    auto filter = std::make_unique<Filter>();
    filter->spec = ParseFilterSpec(element);
    const Selection selection = Select(filter->spec, service.inventory, filter->spec.reportMissing);
    filter->self = service.inventory.Create(
        "PropertyFilter", service.inventory.NextId("filter-"),
        {{"spec", ToValue(element)}, {"partialUpdates", Truth(partialUpdates)}});
    filter->partialUpdates = partialUpdates;
    filter->created = service.inventory.LastNumber();
    for (const ObjectRow *row : selection.missing)
        filter->missing.push_back(Reference(row->type, row->id));
    SetMembers(*filter, selection);
    if (!filter->spec.traversals.empty())
        collector.traversing.push_back(filter.get());
    else
        for (const auto &member : filter->members) {
            filter->keys.push_back(member.object.get());
            collector.fixed[member.object.get()].push_back(filter.get());
        }
    collector.filters.push_back(std::move(filter));
    return *collector.filters.back();
}

void Collectors::DestroyFilter(const Call &call) {
    for (const auto &collector : collectors) {
        const auto at = std::ranges::find_if(collector->filters, [&](const auto &filter) {
            return filter->self == call.target && collector->owner == call.session;
        });
        if (at == collector->filters.end())
            continue;
        service.inventory.Remove(call.target);
        Filter *filter = at->get();
        std::erase(collector->traversing, filter);
        for (const Object *key : filter->keys)
            if (auto &own = collector->fixed[key]; std::erase(own, filter) > 0 && own.empty())
                collector->fixed.erase(key);
        collector->filters.erase(at);
        return;
    }
    throw ObjectNotFound(call.request.targetType, call.request.targetId);
}

/* Sets the members to a selection; the number of a new one is that of the last change. */
void Collectors::SetMembers(Filter &filter, const Selection &selection) {
    const uint64_t now = service.inventory.LastNumber();
    std::vector<Filter::Member> members;
    std::unordered_map<const Object *, size_t> places;
    for (const ObjectPtr &object : selection.objects) {
        const auto old = filter.places.find(object.get());
        const bool isNew = old == filter.places.end();
        if (isNew)
            filter.lastEnter = now;
        places.emplace(object.get(), members.size());
        members.push_back({object, isNew ? now : filter.members[old->second].since});
    }
    for (const Filter::Member &member : filter.members)
        if (!places.contains(member.object.get()))
            filter.departures.push_back({member.object->Reference(), member.since, now});
    filter.members = std::move(members);
    filter.places = std::move(places);
    filter.visited = selection.visited;
    filter.checkedTo = now;
}

void Collectors::RefreshMembers(Filter &filter) {
    const Inventory &inventory = service.inventory;
    bool isStale = !inventory.JournalReaches(filter.checkedTo);
    if (!isStale) {
        isStale = std::ranges::any_of(inventory.Since(filter.checkedTo), [&](const Change &change) {
            return filter.visited.contains(change.object.get()) &&
                   (change.object->gone || filter.spec.Traverses(change.property));
        });
    }
    filter.checkedTo = inventory.LastNumber();
    if (isStale)
        SetMembers(filter, Select(filter.spec, inventory, true));
}

/* Returns all filters for the first version; for a later one the new filters, those whose members may have
 * changed, and those with a member that has changed. With thousands of filters, checking each takes too long. */
std::vector<Filter *> Collectors::ConcernedFilters(const Collector &collector,
                                                   uint64_t since) const {
    std::map<uint64_t, Filter *> concerned;
    for (auto filter = collector.filters.rbegin();
         filter != collector.filters.rend() && (*filter)->created > since; ++filter)
        concerned.emplace((*filter)->created, filter->get());
    if (since > 0) {
        for (Filter *filter : collector.traversing)
            concerned.emplace(filter->created, filter);
        for (const Change &change : service.inventory.Since(since))
            if (const auto at = collector.fixed.find(change.object.get());
                at != collector.fixed.end())
                for (Filter *filter : at->second)
                    concerned.emplace(filter->created, filter);
    }
    std::vector<Filter *> filters;
    filters.reserve(concerned.size());
    for (const auto &[created, filter] : concerned)
        filters.push_back(filter);
    return filters;
}

std::string Collectors::ModifyTextOf(const Filter &filter, const OldValues &old) const {
    const PropertyRow &row = *filter.spec.RowFor(old.object->type);
    std::vector<simulator::PropertyChange> differences;
    for (const Field &field : old.properties)
        if (!IsDenied(service, *old.object, field.name))
            AppendRowDifference(row, field.name, field.value, old.object->Get(field.name),
                                filter.partialUpdates, differences);
    return differences.empty() ? "" : ModifyText(*old.object, differences);
}

FilterUpdate Collectors::ChangesOf(const Collector &collector, const Filter &filter, uint64_t since,
                                   const std::vector<OldValues> &changed) const {
    FilterUpdate update{filter.self->Reference(), {}, ""};
    if (filter.created > since)
        for (const Value &reference : filter.missing)
            update.missing += MissingObjectText(reference);
    for (const auto &departure : filter.departures)
        if (departure.left > since && departure.since <= since)
            update.objects.push_back(LeaveText(departure.reference));
    if (filter.lastEnter > since)
        for (const auto &member : filter.members)
            if (member.since > since)
                update.objects.push_back(
                    EnterText(*member.object, PropertiesOf(service, *member.object,
                                                           *filter.spec.RowFor(member.object->type),
                                                           collector.owner)));
    for (const OldValues &old : changed) {
        const auto place = filter.places.find(old.object.get());
        if (place == filter.places.end() || filter.members[place->second].since > since)
            continue;
        std::string text = ModifyTextOf(filter, old);
        if (!text.empty())
            update.objects.push_back(std::move(text));
    }
    return update;
}

std::vector<FilterUpdate> Collectors::Changes(Collector &collector, uint64_t since) {
    const Inventory &inventory = service.inventory;
    if (since > 0 && !inventory.JournalReaches(since))
        throw UnknownVersion();
    std::vector<OldValues> changed;
    if (since > 0)
        changed = GatherChanges(inventory.Since(since));
    std::unordered_map<const Object *, size_t> places;
    for (size_t i = 0; i < changed.size(); i++)
        places.emplace(changed[i].object.get(), i);

    const uint64_t oldest =
        collector.versions.empty() ? since : collector.versions.begin()->second.number;
    std::vector<FilterUpdate> updates;
    for (Filter *filter : ConcernedFilters(collector, since)) {
        RefreshMembers(*filter);
        std::erase_if(filter->departures,
                      [&](const auto &departure) { return departure.left <= oldest; });
        std::vector<OldValues> own; /* a small filter is compared with its own members only */
        const bool isSmall = filter->members.size() < changed.size();
        if (isSmall)
            for (const auto &member : filter->members)
                if (const auto at = places.find(member.object.get()); at != places.end())
                    own.push_back(changed[at->second]);
        FilterUpdate update = ChangesOf(collector, *filter, since, isSmall ? own : changed);
        if (!update.objects.empty() || !update.missing.empty())
            updates.push_back(std::move(update));
    }
    return updates;
}

std::optional<std::string> Collectors::Updates(Collector &collector, const std::string &text,
                                               size_t maxObjects) {
    Collector::Version base;
    if (text.empty()) {
        collector.versions.clear();
    } else {
        const auto id = ParseNumber(text);
        const auto known = id ? collector.versions.find(*id) : collector.versions.end();
        if (known == collector.versions.end())
            throw UnknownVersion();
        collector.versions.erase(collector.versions.begin(), known);
        base = known->second;
    }

    const bool isRest = !base.rest.empty();
    Collector::Version next;
    next.rest = isRest ? std::move(base.rest) : Changes(collector, base.number);
    next.number = isRest ? base.number : service.inventory.LastNumber();
    if (next.rest.empty()) {
        /* No filter matched the changes up to here, so they need not be checked again. */
        if (!text.empty())
            collector.versions.begin()->second.number = next.number;
        return std::nullopt;
    }
    const auto taken = TakeFirst(next.rest, maxObjects == 0 ? SIZE_MAX : maxObjects);
    const bool truncated = !next.rest.empty();
    const uint64_t id = ++collector.lastVersion;
    collector.versions[id] = std::move(next);
    return UpdateSetText(id, taken, truncated);
}

void Collectors::Wait(Collector &collector, const CallPtr &call, const std::string &version,
                      size_t maxObjects, int64_t limitMs) {
    WaitRow wait{&collector, call, version, maxObjects, {}};
    if (TryAnswer(wait))
        return;
    if (limitMs == 0)
        return service.Answer(call, "");
    if (limitMs > 0)
        wait.timer = service.clock.At(service.clock.Now() + limitMs, [this, call] {
            EndWait(call);
            service.Answer(call, "");
        });
    call->session->numWaiting++;
    call->exchange->gone = [this, weak = std::weak_ptr(call)] {
        if (const CallPtr gone = weak.lock())
            EndWait(gone);
    };
    waits.push_back(std::move(wait));
}

/* Returns true if the call was answered, with updates or a fault. */
bool Collectors::TryAnswer(const WaitRow &wait) {
    try {
        const auto updates = Updates(*wait.collector, wait.version, wait.maxObjects);
        if (updates)
            service.Answer(wait.call, *updates);
        return updates.has_value();
    } catch (const Fault &fault) {
        service.Answer(wait.call, fault);
        return true;
    }
}

void Collectors::EndWait(const CallPtr &call) {
    const auto at = std::ranges::find(waits, call, &WaitRow::call);
    if (at == waits.end())
        return;
    service.clock.Cancel(at->timer);
    call->session->numWaiting--;
    call->session->lastUsed = service.clock.Now();
    waits.erase(at);
}

void Collectors::CancelWaits(const Collector &collector, const Fault &fault) {
    const auto all = waits;
    for (const WaitRow &wait : all) {
        if (wait.collector != &collector)
            continue;
        EndWait(wait.call);
        service.Answer(wait.call, fault);
    }
}

std::vector<std::string> Collectors::Contents(const std::vector<const Element *> &specs,
                                              const SessionPtr &session) {
    std::vector<std::string> contents;
    for (const Element *element : specs) {
        const FilterSpec spec = ParseFilterSpec(*element);
        for (const ObjectPtr &object : Select(spec, service.inventory, spec.reportMissing).objects)
            contents.push_back(ContentText(
                *object, PropertiesOf(service, *object, *spec.RowFor(object->type), session)));
    }
    return contents;
}

void Collectors::EndSession(const SessionPtr &session) {
    std::vector<Collector *> own;
    for (const auto &collector : collectors)
        if (collector->owner == session)
            own.push_back(collector.get());
    for (Collector *collector : own) {
        CancelWaits(*collector, Fault("NotAuthenticated", "The session is not authenticated."));
        Destroy(*collector);
    }
}

void Collectors::Settle() {
    if (service.inventory.LastNumber() == settledAt)
        return;
    settledAt = service.inventory.LastNumber();
    const auto all = waits;
    for (const WaitRow &wait : all) {
        const bool isStillWaiting =
            std::ranges::find(waits, wait.call, &WaitRow::call) != waits.end();
        if (isStillWaiting && TryAnswer(wait))
            EndWait(wait.call);
    }
    ForgetJournal();
}

/* Drops the changes that are older than the versions of all collectors. */
void Collectors::ForgetJournal() {
    uint64_t needed = service.inventory.LastNumber();
    for (const auto &collector : collectors)
        for (const auto &[id, version] : collector->versions)
            needed = std::min(needed, version.number);
    service.inventory.Forget(needed);
    JoinJournal();
}

/* A session that reads no updates keeps its version, and with it all later changes. Joined, they are at most one
 * for each property and version. */
void Collectors::JoinJournal() {
    if (service.inventory.JournalSize() < std::max(joinAt, kSmallJournal))
        return;
    std::set<uint64_t> numbers = {service.views.SettledAt()};
    for (const auto &collector : collectors) {
        for (const auto &[id, version] : collector->versions)
            numbers.insert(version.number);
        for (const auto &filter : collector->filters)
            numbers.insert(filter->checkedTo);
    }
    service.inventory.Join(numbers);
    joinAt = 2 * service.inventory.JournalSize();
}

int Collectors::NumFilters() const {
    size_t count = 0;
    for (const auto &collector : collectors)
        count += collector->filters.size();
    return static_cast<int>(count);
}

namespace {

using Result = std::optional<std::string>;

Result CreateFilter(Service &service, const CallPtr &call) {
    Collector &collector = service.collectors.Of(*call);
    const bool partial = ReadTruth(call->Arguments(), "partialUpdates");
    const Filter &filter =
        service.collectors.CreateFilter(collector, ReadElement(call->Arguments(), "spec"), partial);
    return Returned(filter.self->Reference());
}

Result CreateCollector(Service &service, const CallPtr &call) {
    return Returned(service.collectors.Create(call->session).self->Reference());
}

Result DestroyCollector(Service &service, const CallPtr &call) {
    service.collectors.Destroy(service.collectors.Of(*call));
    return "";
}

Result DestroyFilter(Service &service, const CallPtr &call) {
    service.collectors.DestroyFilter(*call);
    return "";
}

Result CancelWait(Service &service, const CallPtr &call) {
    service.collectors.CancelWaits(service.collectors.Of(*call),
                                   Fault("RequestCanceled", "The wait was cancelled."));
    return "";
}

Result CheckForUpdates(Service &service, const CallPtr &call) {
    const std::string version = OptionalText(call->Arguments(), "version");
    return service.collectors.Updates(service.collectors.Of(*call), version, 0).value_or("");
}

Result WaitForUpdates(Service &service, const CallPtr &call) {
    const std::string version = OptionalText(call->Arguments(), "version");
    service.collectors.Wait(service.collectors.Of(*call), call, version, 0, -1);
    return std::nullopt;
}

Result WaitForUpdatesEx(Service &service, const CallPtr &call) {
    const std::string version = OptionalText(call->Arguments(), "version");
    int seconds = -1;
    int maxObjects = 0;
    if (const Element *options = call->Arguments().Child("options")) {
        seconds = OptionalInt(*options, "maxWaitSeconds", -1);
        maxObjects = OptionalInt(*options, "maxObjectUpdates", 0);
        if (maxObjects < 0 || (seconds < 0 && options->Child("maxWaitSeconds") != nullptr))
            throw InvalidArgument("options", "A limit is negative.");
    }
    service.collectors.Wait(service.collectors.Of(*call), call, version,
                            static_cast<size_t>(maxObjects),
                            seconds < 0 ? -1 : int64_t{seconds} * 1000);
    return std::nullopt;
}

Result RetrieveProperties(Service &service, const CallPtr &call) {
    const auto specs = call->Arguments().Children("specSet");
    if (specs.empty())
        throw InvalidArgument("specSet", "\"specSet\" is missing.");
    std::string text;
    for (const std::string &content : service.collectors.Contents(specs, call->session))
        text += "<returnval>" + content + "</returnval>";
    return text;
}

/* Returns the first contents, and a token for the others if there are any. */
std::string RetrieveResult(Collector &collector, std::vector<std::string> contents,
                           size_t maxObjects) {
    const size_t count = maxObjects == 0 ? contents.size() : std::min(maxObjects, contents.size());
    if (count == 0)
        return "";
    std::string text = "<returnval>";
    std::string objects;
    for (size_t i = 0; i < count; i++)
        objects += "<objects>" + contents[i] + "</objects>";
    if (count < contents.size()) {
        contents.erase(contents.begin(), contents.begin() + static_cast<std::ptrdiff_t>(count));
        const uint64_t token = ++collector.lastVersion;
        collector.retrievals[token] = {std::move(contents), maxObjects};
        if (collector.retrievals.size() > kMaxRetrievals)
            collector.retrievals.erase(collector.retrievals.begin());
        text += fmt::format("<token>{}</token>", token);
    }
    return text + objects + "</returnval>";
}

Result RetrievePropertiesEx(Service &service, const CallPtr &call) {
    const auto specs = call->Arguments().Children("specSet");
    if (specs.empty())
        throw InvalidArgument("specSet", "\"specSet\" is missing.");
    int maxObjects = 0;
    if (const Element *options = call->Arguments().Child("options"))
        maxObjects = OptionalInt(*options, "maxObjects", 0);
    if (maxObjects < 0)
        throw InvalidArgument("options", "A limit is negative.");
    Collector &collector = service.collectors.Of(*call);
    return RetrieveResult(collector, service.collectors.Contents(specs, call->session),
                          static_cast<size_t>(maxObjects));
}

/* Returns the contents that a token names; it can be used once. */
Collector::Retrieval TakeRetrieval(Collector &collector, const Call &call) {
    const auto token = ParseNumber(ReadText(call.Arguments(), "token"));
    const auto at = token ? collector.retrievals.find(*token) : collector.retrievals.end();
    if (at == collector.retrievals.end())
        throw InvalidArgument("token", "The token is not known.");
    Collector::Retrieval retrieval = std::move(at->second);
    collector.retrievals.erase(at);
    return retrieval;
}

Result ContinueRetrieve(Service &service, const CallPtr &call) {
    Collector &collector = service.collectors.Of(*call);
    Collector::Retrieval retrieval = TakeRetrieval(collector, *call);
    return RetrieveResult(collector, std::move(retrieval.rest), retrieval.maxObjects);
}

Result CancelRetrieve(Service &service, const CallPtr &call) {
    TakeRetrieval(service.collectors.Of(*call), *call);
    return "";
}

constexpr auto kMethods = std::to_array<MethodRow>({
    {"PropertyCollector", "CreateFilter", CreateFilter},
    {"PropertyCollector", "CreatePropertyCollector", CreateCollector, Access::Session, "ozy25/4.0"},
    {"PropertyCollector", "DestroyPropertyCollector", DestroyCollector, Access::Session,
     "ozy25/4.0"},
    {"PropertyFilter", "DestroyPropertyFilter", DestroyFilter},
    {"PropertyCollector", "CancelWaitForUpdates", CancelWait},
    {"PropertyCollector", "CheckForUpdates", CheckForUpdates},
    {"PropertyCollector", "WaitForUpdates", WaitForUpdates},
    {"PropertyCollector", "WaitForUpdatesEx", WaitForUpdatesEx, Access::Session, "ozy25/4.1"},
    {"PropertyCollector", "RetrieveProperties", RetrieveProperties},
    {"PropertyCollector", "RetrievePropertiesEx", RetrievePropertiesEx, Access::Session,
     "ozy25/4.1"},
    {"PropertyCollector", "ContinueRetrievePropertiesEx", ContinueRetrieve, Access::Session,
     "ozy25/4.1"},
    {"PropertyCollector", "CancelRetrievePropertiesEx", CancelRetrieve, Access::Session,
     "ozy25/4.1"},
});

} // namespace

std::span<const MethodRow> CollectorMethods() {
    return kMethods;
}

} // namespace simulator
