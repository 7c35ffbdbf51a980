#include "tools/simulator/types.h"
#include "tests/support/paths.h"
#include "tools/simulator/typeRows.h"

#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

using namespace simulator;

namespace {

struct SchemaClass {
    std::string base;
    std::set<std::string> properties;
};

/* Reads the managed classes of a table: heads without indent, then one property per line, methods with "(". */
void ReadTable(const std::string &path, std::map<std::string, SchemaClass> &classes) {
    std::ifstream file(SourcePath("generated/" + path));
    ASSERT_TRUE(file) << path;
    SchemaClass *current = nullptr;
    for (std::string line; std::getline(file, line);) {
        std::istringstream words(line);
        std::string first, name, colon, base;
        words >> first;
        if (first == "managed" && line[0] != ' ') {
            words >> name >> colon >> base;
            current = &classes[name];
            current->base = base;
        } else if (!line.empty() && line[0] != ' ') {
            current = nullptr;
        } else if (current != nullptr && line.starts_with("  ") && line[2] != ' ' &&
                   line.find('(') == std::string::npos) {
            current->properties.insert(first);
        }
    }
}

TEST(Types, AgreeWithTheSchemaTables) {
    std::map<std::string, SchemaClass> classes;
    for (const char *path : {"qorm/core.schema", "ozy/managed.schema", "ferry/managed.schema"})
        ReadTable(path, classes);
    for (const TypeRow &row : kTypes) {
        const auto at = classes.find(std::string(row.name));
        ASSERT_NE(classes.end(), at) << row.name;
        EXPECT_EQ(row.name == "ManagedObject" ? "" : at->second.base, row.base) << row.name;
        std::set<std::string> properties;
        std::istringstream words{std::string(row.properties)};
        for (std::string word; words >> word;)
            properties.insert(word);
        EXPECT_EQ(at->second.properties, properties) << row.name;
    }
}

TEST(Types, PropertiesAreInherited) {
    EXPECT_TRUE(HasProperty("VirtualMachine", "configLocked"));
    EXPECT_TRUE(HasProperty("VirtualMachine", "availableField"));
    EXPECT_FALSE(HasProperty("VirtualMachine", "configLock"));
    EXPECT_FALSE(HasProperty("ManagedEntity", "configLocked"));
    EXPECT_TRUE(IsA("ClusterComputeResource", "ManagedEntity"));
    EXPECT_FALSE(IsA("Task", "ManagedEntity"));
    EXPECT_FALSE(IsA("Nothing", "ManagedObject"));
}

} // namespace
