/*
 * inventoryList.h -- the objects of an inventory, as a list whose changes cost the same however long it is
 *
 * A table has the place of each object. What one reply brings is collected, and shown at its end:
 *
 *   Arrive -> arrived       Depart -> departed       Show: both become "items-changed"
 *
 * After a new connection, or with another root, "missing" has the objects that have not arrived again.
 *
 * Ownership: the list has a reference to each object.
 * Threads:   the loop's.
 */
#pragma once

#include <unordered_set>
#include <vector>

#include <gio/gio.h>
#include <orvane/session.h>

class InventoryList {
public:
    using Proxy = SkemaQormManagedObject;

    InventoryList();
    ~InventoryList();
    InventoryList(const InventoryList &) = delete;
    InventoryList &operator=(const InventoryList &) = delete;

    /* The objects that are shown. */
    const std::vector<Proxy *> &Items() const { return items; }
    /* The place among them; FALSE for an object that is not shown. */
    bool Find(Proxy *proxy, guint *place) const;

    /* An object enters or leaves. Nothing for one that is already there, or is not. */
    void Arrive(Proxy *proxy);
    void Depart(Proxy *proxy);

    /* Objects that have not arrived again until DropMissing() depart then. */
    void ExpectAll();
    void DropMissing();

    /* Shows what has arrived and departed: emits "items-changed" of the model, and notifies its length if it changes. Runs
     * the application's code, which may bring more; that is shown afterwards, since the list must not change within an
     * emission. The caller keeps the model, which owns the list, alive. */
    void Show(GListModel *model, GParamSpec *lengthSpec);

private:
    /* Places that have changed. */
    struct Range {
        size_t first;
        size_t end;
    };

    bool FindPlace(Proxy *proxy, size_t *place) const;
    void SetPlace(Proxy *proxy, size_t place);
    Range FillHoles(std::vector<Proxy *> *removed);
    void ShowOnce(GListModel *model, GParamSpec *lengthSpec);

    std::vector<Proxy *> items;         /* owned */
    GHashTable *places;                 /* proxy -> place; arrived ones follow the items */
    std::vector<Proxy *> arrived;       /* owned; NULL for one that has left again */
    std::unordered_set<guint> departed; /* places, which are still in items */
    bool isShowing = false;
    std::unordered_set<Proxy *> missing;
};
