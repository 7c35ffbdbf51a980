#include "tools/simulator/inventory.h"

#include <gtest/gtest.h>

using namespace simulator;

namespace {

/* Returns "vm-1.name=a" for each change after a number, with the earlier value of the property. */
std::string Since(const Inventory &inventory, uint64_t number) {
    std::string text;
    for (const Change &change : inventory.Since(number))
        text += change.object->id + "." + change.property + "=" +
                (change.before ? change.before->text : "") + " ";
    return text;
}

TEST(Inventory, JoinedChangesAreTheSameDifferenceFromEachNumber) {
    Inventory inventory;
    const ObjectPtr kept = inventory.Create("VirtualMachine", "kept", {{"name", Text("a")}});
    const ObjectPtr removed = inventory.Create("VirtualMachine", "removed", {});
    const uint64_t first = inventory.LastNumber();
    for (const char *name : {"b", "c", "d"})
        inventory.Set(kept, "name", Text(name));
    const ObjectPtr shortLived = inventory.Create("Task", "task", {{"state", Text("a")}});
    inventory.Set(shortLived, "state", Text("b"));
    const uint64_t second = inventory.LastNumber();
    inventory.Set(kept, "name", Text("e"));
    inventory.Remove(removed);
    const uint64_t third = inventory.LastNumber();
    inventory.Remove(shortLived);
    inventory.Set(kept, "name", Text("f"));
    inventory.Set(kept, "note", Text("x"));

    inventory.Join({first, second, third});
    EXPECT_EQ("kept.name=d removed.= task.= kept.name=e kept.note= ", Since(inventory, second));
    EXPECT_EQ("task.= kept.name=e kept.note= ", Since(inventory, third));
    EXPECT_TRUE(Since(inventory, first).starts_with("kept.name=a kept.name=d removed.= "))
        << "short-lived objects are left out";
    EXPECT_EQ(7u, inventory.JournalSize());

    inventory.Join({first});
    EXPECT_EQ("kept.name=a removed.= kept.note= ", Since(inventory, first));
}

} // namespace
