/*
 * watchView.h -- the two ways in which "orvane watch" shows objects: a table in place, and a line for each change
 *
 * A line is JSON, or with the form "plain" columns separated by tabs:
 *
 *   {"time": "2026-01-02T03:04:05.678Z", "event": "changed", "_type": "VirtualMachine", "_id": "vm-42",
 *    "properties": {"name": "x"}}
 *   2026-01-02T03:04:05.678Z  changed  vm-42  name  x
 *
 *   entered   an object, with all of its watched properties; at first one for each, and again when the service has started
 *             anew or was connected to again, until the next "ready"
 *   ready     all objects have entered
 *   changed   a property
 *   left      an object that is gone
 *   reconnecting  the service is lost; "attempt" is the number of the next try, which follows after "seconds". In the
 *                 plain form the value is the seconds
 *   reconnected   the service is there again
 *
 * Threads: that of the loop.
 */
#pragma once

#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/orvane/liveTable.h"
#include "tools/orvane/objectWatch.h"
#include "tools/orvane/settings.h"

namespace orvaneCli {

class WatchLines : public WatchView {
public:
    WatchLines(std::vector<PropertyPath> watched, OutputForm outputForm)
        : properties(std::move(watched)), form(outputForm) {}

    void OnEntered(SkemaQormManagedObject *object) override;
    void OnChanged(SkemaQormManagedObject *object, const std::string &path) override;
    void OnLeft(SkemaQormManagedObject *object) override;
    void OnFinished(bool isWhole) override;
    void OnRestarted() override;
    void OnReconnecting(int attempt, int delayMs) override;
    void OnReconnected() override;

private:
    void Add(const char *event, SkemaQormManagedObject *object,
             const std::vector<const PropertyPath *> &shown);
    void Flush();

    std::vector<PropertyPath> properties;
    OutputForm form;
    bool isReady = false;
    std::string buffer;
};

/* Draws at most ten times a second, however many changes there are. */
class WatchTable : public WatchView {
public:
    explicit WatchTable(std::vector<PropertyPath> watched);
    ~WatchTable() override;
    WatchTable(const WatchTable &) = delete;
    WatchTable &operator=(const WatchTable &) = delete;

    void OnEntered(SkemaQormManagedObject *object) override;
    void OnChanged(SkemaQormManagedObject *object, const std::string &path) override;
    void OnLeft(SkemaQormManagedObject *object) override;
    void OnFinished(bool isWhole) override;
    void OnRestarted() override;
    void OnReconnecting(int attempt, int delayMs) override;
    void OnReconnected() override;

    /* Draws what has not been drawn yet, and ends the line. */
    void End();

private:
    struct Row {
        ProxyPtr object;
        std::string name;
    };
    void Plan();
    void Draw();
    void Sort();
    TableRow RowOf(size_t index) const;
    std::string StatusLine() const;
    void StopTimer();
    static gboolean OnTimer(gpointer data);
    static std::string NameOf(SkemaQormManagedObject *object);

    std::vector<PropertyPath> properties;
    LiveTable table;
    std::vector<Row> rows;
    std::unordered_map<SkemaQormManagedObject *, size_t> places; /* in the rows */
    bool isSorted = true;
    bool isReady = false;
    guint64 numChanges = 0;
    guint timer = 0;
    gint64 drawnAt = 0;
    gint64 nextTryAt = 0;     /* 0 while the service is connected */
    bool isBackAgain = false; /* it was lost, and nothing has changed since */
};

} // namespace orvaneCli
