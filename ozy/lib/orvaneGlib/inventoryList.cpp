#include "ozy/lib/orvaneGlib/inventoryList.h"

#include <algorithm>
#include <utility>

InventoryList::InventoryList() : places(g_hash_table_new(nullptr, nullptr)) {}

InventoryList::~InventoryList() {
    for (Proxy *proxy : items)
        g_object_unref(proxy);
    for (Proxy *proxy : arrived) {
        if (proxy != nullptr)
            g_object_unref(proxy);
    }
    g_hash_table_destroy(places);
}

void InventoryList::SetPlace(Proxy *proxy, size_t place) {
    g_hash_table_insert(places, proxy, GSIZE_TO_POINTER(place));
}

bool InventoryList::FindPlace(Proxy *proxy, size_t *place) const {
    gpointer value = nullptr;
    if (!g_hash_table_lookup_extended(places, proxy, nullptr, &value))
        return false;
    *place = GPOINTER_TO_SIZE(value);
    return true;
}

bool InventoryList::Find(Proxy *proxy, guint *place) const {
    size_t found = 0;
    if (!FindPlace(proxy, &found) || found >= items.size())
        return false;
    *place = guint(found);
    return true;
}

void InventoryList::Arrive(Proxy *proxy) {
    size_t place = 0;
    if (!missing.empty())
        missing.erase(proxy);
    if (FindPlace(proxy, &place)) {
        /* it has left and comes again in the same reply */
        if (place < items.size())
            departed.erase(guint(place));
        return;
    }
    SetPlace(proxy, items.size() + arrived.size());
    arrived.push_back(static_cast<Proxy *>(g_object_ref_sink(proxy)));
}

void InventoryList::Depart(Proxy *proxy) {
    size_t place = 0;
    if (!FindPlace(proxy, &place))
        return;
    missing.erase(proxy);
    if (place < items.size()) {
        departed.insert(guint(place));
        return;
    }
    arrived[place - items.size()] = nullptr;
    g_hash_table_remove(places, proxy);
    g_object_unref(proxy);
}

void InventoryList::ExpectAll() {
    missing = {items.begin(), items.end()};
    missing.insert(arrived.begin(), arrived.end());
    missing.erase(nullptr);
}

void InventoryList::DropMissing() {
    for (Proxy *proxy : std::exchange(missing, {}))
        Depart(proxy);
}

/* Takes the departed objects from the table and fills their places with the last ones. Returns the range of places that
 * were filled; the list keeps its length for the time being. */
InventoryList::Range InventoryList::FillHoles(std::vector<Proxy *> *removed) {
    std::vector<guint> holes(departed.begin(), departed.end());
    departed.clear();
    std::ranges::sort(holes);
    for (guint place : holes) {
        removed->push_back(items[place]);
        g_hash_table_remove(places, items[place]);
    }
    const size_t length = items.size() - holes.size();
    Range filled{0, 0};
    size_t last = items.size();
    size_t numBehind = holes.size(); /* those from here on are behind "last" */
    for (guint hole : holes) {
        if (hole >= length)
            break;
        for (last--; holes[numBehind - 1] == last; last--)
            numBehind--;
        items[hole] = items[last];
        SetPlace(items[hole], hole);
        filled.first = filled.end == 0 ? hole : filled.first;
        filled.end = hole + 1;
    }
    return filled;
}

void InventoryList::ShowOnce(GListModel *model, GParamSpec *lengthSpec) {
    std::vector<Proxy *> removed;
    const Range filled = FillHoles(&removed);
    const guint numFilled = guint(filled.end - filled.first);
    if (numFilled > 0)
        g_list_model_items_changed(model, guint(filled.first), numFilled, numFilled);
    const size_t length = items.size() - removed.size();
    items.resize(length);
    std::erase(arrived, nullptr);
    for (Proxy *proxy : arrived) {
        SetPlace(proxy, items.size());
        items.push_back(proxy);
    }
    const size_t numAdded = std::exchange(arrived, {}).size();
    if (removed.size() + numAdded > 0)
        g_list_model_items_changed(model, guint(length), guint(removed.size()), guint(numAdded));
    if (numAdded != removed.size())
        g_object_notify_by_pspec(G_OBJECT(model), lengthSpec);
    for (Proxy *proxy : removed)
        g_object_unref(proxy);
}

void InventoryList::Show(GListModel *model, GParamSpec *lengthSpec) {
    if (std::exchange(isShowing, true))
        return;
    while (!arrived.empty() || !departed.empty())
        ShowOnce(model, lengthSpec);
    isShowing = false;
}
