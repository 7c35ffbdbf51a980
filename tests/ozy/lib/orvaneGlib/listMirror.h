/*
 * listMirror.h -- a view of an inventory: it knows what "items-changed" says, and nothing else
 */
#pragma once

#include <vector>

#include <gtest/gtest.h>

#include <orvane/inventory.h>
#include <orvane/schema/qorm.h>

#include "tests/ozy/lib/orvane/runtime/objects.h"

inline ObjectPtr<SkemaQormManagedObject> Item(gpointer model, guint position) {
    return ObjectPtr<SkemaQormManagedObject>(static_cast<SkemaQormManagedObject *>(
        g_list_model_get_item(G_LIST_MODEL(model), position)));
}

struct ListMirror {
    std::vector<std::string> ids;
    std::string blocks; /* "(position removed added)" */
    int numBlocks = 0;
    std::vector<std::string> events; /* "ready", and changes: "vm-1 name new" */
    std::function<void()> then;      /* at the next "items-changed" */

    void Watch(OrvaneInventory *inventory) {
        On(inventory, "items-changed",
           [this](GListModel *model, guint position, guint removed, guint added) {
               Follow(model, position, removed, added);
               if (then)
                   std::exchange(then, nullptr)();
           });
        On(inventory, "object-changed",
           [this](OrvaneInventory *, SkemaQormManagedObject *object, const char *path) {
               events.push_back(std::string(object->id) + " " + path + " " +
                                GetString(object, "name", ""));
           });
        On(inventory, "ready", [this] { events.emplace_back("ready"); });
    }

private:
    void Follow(GListModel *model, guint position, guint removed, guint added) {
        numBlocks++;
        blocks += "(" + std::to_string(position) + " " + std::to_string(removed) + " " +
                  std::to_string(added) + ")";
        ASSERT_LE(position + removed, ids.size());
        const auto at = ids.begin() + position;
        std::vector<std::string> fresh;
        for (guint i = 0; i < added; i++)
            fresh.emplace_back(Item(model, position + i)->id);
        ids.insert(ids.erase(at, at + removed), fresh.begin(), fresh.end());
        ASSERT_EQ(g_list_model_get_n_items(model), ids.size());
        for (guint i = 0; i < ids.size(); i++)
            ASSERT_EQ(Item(model, i)->id, ids[i]);
    }
};
