#include "tools/orvane/watchView.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <orvane/json.h>
#include <orvane/objectPath.h>
#include <orvane/schema/ozy.h>

#include "tools/orvane/jsonText.h"
#include "tools/orvane/message.h"

namespace orvaneCli {

namespace {

constexpr gint64 kDrawIntervalUs = 100000;
constexpr guint kCountIntervalMs = 1000; /* of the seconds until the next try */
constexpr size_t kMostBuffered = 65536;

std::string Now() {
    const DateTimePtr now(g_date_time_new_now_utc());
    const GPtr<char> text(g_date_time_format(now.get(), "%Y-%m-%dT%H:%M:%S"));
    return fmt::format("{}.{:03}Z", text.get(), g_date_time_get_microsecond(now.get()) / 1000);
}

/* A property as JSON; null if it is not set, or is what JSON cannot express. */
std::string JsonOfPath(SkemaQormManagedObject *object, const std::string &path) {
    GValue value = G_VALUE_INIT;
    std::string json = "null";
    if (orvane_object_get_path(G_OBJECT(object), path.c_str(), &value)) {
        const GPtr<char> text(orvane_value_to_json(&value, ORVANE_JSON_COMPACT, nullptr));
        if (text)
            json = text.get();
    }
    orvane_value_cond_unset(&value);
    return json;
}

std::string TextOfPath(SkemaQormManagedObject *object, const std::string &path) {
    const GPtr<char> text(orvane_object_get_path_text(G_OBJECT(object), path.c_str()));
    return text ? Printable(text.get()) : "";
}

/* Whole seconds of a time in microseconds, rounded up. */
int SecondsUp(gint64 microseconds) {
    return static_cast<int>((std::max<gint64>(microseconds, 0) + G_USEC_PER_SEC - 1) /
                            G_USEC_PER_SEC);
}

/* Whether a change of one path is a change of the other: one is inside the other. */
bool Concerns(const std::string &changed, const std::string &watched) {
    const std::string &outer = changed.size() < watched.size() ? changed : watched;
    const std::string &inner = changed.size() < watched.size() ? watched : changed;
    return inner.starts_with(outer) && (inner.size() == outer.size() ||
                                        inner[outer.size()] == '.' || inner[outer.size()] == '[');
}

} // namespace

void WatchLines::Add(const char *event, SkemaQormManagedObject *object,
                     const std::vector<const PropertyPath *> &shown) {
    const std::string time = Now();
    if (form == OutputForm::kPlain) {
        const std::string id = object != nullptr ? Printable(object->id) : "";
        for (const PropertyPath *each : shown)
            buffer += fmt::format("{}\t{}\t{}\t{}\t{}\n", time, event, id, Printable(each->text),
                                  TextOfPath(object, each->text));
        if (shown.empty())
            buffer += fmt::format("{}\t{}\t{}\t\t\n", time, event, id);
    } else {
        buffer += fmt::format(R"({{"time": "{}", "event": "{}")", time, event);
        if (object != nullptr)
            buffer += fmt::format(R"(, "_type": {}, "_id": {})", JsonText(ClassName(object)),
                                  JsonText(object->id));
        for (size_t i = 0; i < shown.size(); i++)
            buffer += fmt::format("{}{}: {}", i == 0 ? ", \"properties\": {" : ", ",
                                  JsonText(shown[i]->text), JsonOfPath(object, shown[i]->text));
        buffer += shown.empty() ? "}\n" : "}}\n";
    }
    if (buffer.size() >= kMostBuffered)
        Flush();
}

void WatchLines::OnEntered(SkemaQormManagedObject *object) {
    std::vector<const PropertyPath *> shown;
    for (const PropertyPath &each : properties)
        shown.push_back(&each);
    Add("entered", object, shown);
}

void WatchLines::OnChanged(SkemaQormManagedObject *object, const std::string &path) {
    std::vector<const PropertyPath *> shown;
    for (const PropertyPath &each : properties) {
        if (Concerns(path, each.text))
            shown.push_back(&each);
    }
    if (!shown.empty())
        Add("changed", object, shown);
}

void WatchLines::OnLeft(SkemaQormManagedObject *object) {
    Add("left", object, {});
}

void WatchLines::Flush() {
    WriteOutput(buffer);
    buffer.clear();
}

void WatchLines::OnFinished(bool isWhole) {
    if (isWhole && !std::exchange(isReady, true))
        Add("ready", nullptr, {});
    Flush();
}

void WatchLines::OnRestarted() {
    isReady = false;
}

void WatchLines::OnReconnecting(int attempt, int delayMs) {
    const std::string time = Now();
    const int seconds = SecondsUp(gint64(delayMs) * 1000);
    if (form == OutputForm::kPlain)
        buffer += fmt::format("{}\treconnecting\t\t\t{}\n", time, seconds);
    else
        buffer +=
            fmt::format(R"({{"time": "{}", "event": "reconnecting", "attempt": {}, "seconds": {}}})"
                        "\n",
                        time, attempt, seconds);
    Flush();
}

void WatchLines::OnReconnected() {
    Add("reconnected", nullptr, {});
    Flush();
}

WatchTable::WatchTable(std::vector<PropertyPath> watched)
    : properties(std::move(watched)), table([&] {
          std::vector<Column> columns;
          for (const PropertyPath &each : properties)
              columns.push_back({.key = each.text, .title = Printable(each.text)});
          columns.push_back({.key = "id", .title = Text(MSGID("column.id") "ID"), .isWhole = true});
          return columns;
      }()) {
    Terminal::OnRedraw([this] {
        table.Forget();
        WriteOutput("\r\033[J");
        Draw();
    });
}

WatchTable::~WatchTable() {
    Terminal::OnRedraw({});
    StopTimer();
}

void WatchTable::StopTimer() {
    if (timer != 0)
        g_source_remove(std::exchange(timer, 0));
}

std::string WatchTable::NameOf(SkemaQormManagedObject *object) {
    const GPtr<char> name(orvane_object_get_path_text(G_OBJECT(object), "name"));
    return name ? name.get() : "";
}

void WatchTable::OnEntered(SkemaQormManagedObject *object) {
    const auto [place, isNew] = places.emplace(object, rows.size());
    if (!isNew) {
        rows[place->second].name = NameOf(object); /* it may have another one by now */
        isSorted = false;
        return;
    }
    rows.push_back({ProxyPtr(static_cast<SkemaQormManagedObject *>(g_object_ref_sink(object))),
                    NameOf(object)});
    isSorted = false;
}

void WatchTable::OnChanged(SkemaQormManagedObject *object, const std::string &path) {
    numChanges++;
    isBackAgain = false;
    const auto place = places.find(object);
    if (path != "name" || place == places.end())
        return;
    rows[place->second].name = NameOf(object);
    isSorted = false;
}

void WatchTable::OnLeft(SkemaQormManagedObject *object) {
    numChanges++;
    const auto place = places.find(object);
    if (place == places.end())
        return;
    const size_t index = place->second;
    places.erase(place);
    if (index + 1 < rows.size()) {
        rows[index] = std::move(rows.back());
        places[rows[index].object.get()] = index;
        isSorted = false;
    }
    rows.pop_back();
}

void WatchTable::Sort() {
    if (std::exchange(isSorted, true))
        return;
    std::ranges::sort(rows, [](const Row &a, const Row &b) {
        const int order = a.name.compare(b.name);
        return order != 0 ? order < 0 : strcmp(a.object->id, b.object->id) < 0;
    });
    for (size_t i = 0; i < rows.size(); i++)
        places[rows[i].object.get()] = i;
}

TableRow WatchTable::RowOf(size_t index) const {
    SkemaQormManagedObject *object = rows[index].object.get();
    TableRow row;
    for (const PropertyPath &each : properties)
        row.push_back({TextOfPath(object, each.text)});
    row.push_back({Printable(object->id), Style::kFaint});
    return row;
}

std::string WatchTable::StatusLine() const {
    const DateTimePtr now(g_date_time_new_now_local());
    const GPtr<char> time(g_date_time_format(now.get(), "%H:%M:%S"));
    if (nextTryAt != 0) {
        const int seconds = SecondsUp(nextTryAt - g_get_monotonic_time());
        return seconds > 0 ? Text(MSGID("watch.reconnecting") "%s  connection lost, tries again in "
                                                              "%d s; Ctrl-C ends",
                                  time.get(), seconds)
                           : Text(MSGID("watch.trying") "%s  connection lost, tries again; "
                                                        "Ctrl-C ends",
                                  time.get());
    }
    const std::string counts =
        Text(MSGID("watch.status") "%s  %d objects, %d changes; Ctrl-C ends", time.get(),
             static_cast<int>(rows.size()), static_cast<int>(numChanges));
    return isBackAgain ? counts + Text(MSGID("watch.reconnected") "; connected again") : counts;
}

void WatchTable::Draw() {
    drawnAt = g_get_monotonic_time();
    if (!isReady)
        return;
    Sort();
    table.Draw(
        rows.size(), [this](size_t index) { return RowOf(index); }, StatusLine());
}

gboolean WatchTable::OnTimer(gpointer data) {
    auto *self = static_cast<WatchTable *>(data);
    self->timer = 0;
    self->Draw();
    if (self->nextTryAt > g_get_monotonic_time())
        self->timer = g_timeout_add(kCountIntervalMs, OnTimer, self);
    return G_SOURCE_REMOVE;
}

/* Draws now, or when the last time is long enough ago. */
void WatchTable::Plan() {
    if (timer != 0)
        return;
    const gint64 wait = drawnAt + kDrawIntervalUs - g_get_monotonic_time();
    if (wait <= 0)
        Draw();
    else
        timer = g_timeout_add(static_cast<guint>(wait / 1000 + 1), OnTimer, this);
}

void WatchTable::OnFinished(bool isWhole) {
    isReady = isReady || isWhole;
    Plan();
}

/* The rows remain until the service has said which are gone. */
void WatchTable::OnRestarted() {}

void WatchTable::OnReconnecting(int /* attempt */, int delayMs) {
    nextTryAt = g_get_monotonic_time() + gint64(delayMs) * 1000;
    StopTimer();
    OnTimer(this);
}

void WatchTable::OnReconnected() {
    nextTryAt = 0;
    isBackAgain = true;
    StopTimer();
    Draw();
}

void WatchTable::End() {
    if (!isReady)
        return;
    Draw();
    WriteOutput("\n");
}

} // namespace orvaneCli
