#include <orvane/privilege.h>

#include <memory>

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"

namespace {

using TablePtr = std::unique_ptr<GHashTable, Release<g_hash_table_destroy>>;

TEST(Privilege, ATableHasEveryIdentifierAndGrantsWhatIsUpdated) {
    const TablePtr table(skema_privilege_create_table());
    EXPECT_EQ(254u, g_hash_table_size(table.get()));
    for (const char *listed : {"Global.ManageCustomFields", "Host.Inventory.AddStandaloneHost",
                               "VirtualMachine.Namespace.EventNotify", "Certificate.Manage"}) {
        EXPECT_TRUE(g_hash_table_contains(table.get(), listed)) << listed;
        EXPECT_EQ(0, skema_privilege_check(table.get(), listed)) << listed;
    }
    std::string identifier = "Folder.Create";
    skema_privilege_update(table.get(), identifier.c_str(), TRUE);
    identifier = "Folder.Rename"; /* the table keeps a copy of its own */
    skema_privilege_update(table.get(), "Added.ByHand", TRUE);
    EXPECT_EQ(1, skema_privilege_check(table.get(), "Folder.Create"));
    EXPECT_EQ(0, skema_privilege_check(table.get(), "Folder.Rename"));
    EXPECT_EQ(1, skema_privilege_check(table.get(), "Added.ByHand"));
    skema_privilege_update(table.get(), "Folder.Create", FALSE);
    EXPECT_EQ(0, skema_privilege_check(table.get(), "Folder.Create"));
    EXPECT_EQ(255u, g_hash_table_size(table.get()));
}

} // namespace
