#include <filesystem>

#include <gmock/gmock.h>

#include "tests/support/paths.h"
#include "tests/support/temporaryFolder.h"
#include "tests/tools/orvane/program.h"

namespace {

using std::filesystem::last_write_time;
using testing::HasSubstr;

constexpr std::filesystem::file_time_type kLongAgo{};

Ended Schemagen(const std::vector<std::string> &arguments) {
    return Program("bin/schemagen", arguments).Wait();
}

std::vector<std::string> ShippedTables() {
    std::vector<std::string> tables;
    for (const char *folder : {"generated/qorm", "generated/ozy", "generated/ferry"}) {
        for (const auto &entry : std::filesystem::directory_iterator(SourcePath(folder))) {
            if (entry.path().extension() == ".schema")
                tables.push_back(entry.path());
        }
    }
    return tables;
}

constexpr const char *kSmall = "namespace qorm\n"
                               "data DataObject : GObject\n"
                               "fault MethodFault : GObject = MethodFault\n"
                               "managed ManagedObject : GInitiallyUnowned\n"
                               "namespace ozy\n"
                               "managed Task : ManagedObject\n"
                               "  CancelTask()\n";

TEST(Schemagen, ShippedTablesHoldTheWholeSchema) {
    std::vector<std::string> arguments = ShippedTables();
    arguments.push_back("--count");
    const Ended outcome = Schemagen(arguments);
    EXPECT_EQ(0, outcome.status) << outcome.err;
    EXPECT_EQ("types 3985: core 45, reflection 20, ozy 3223, ferry 697\n"
              "fields 490\n"
              "methods 1191\n"
              "arguments 1827\n"
              "enumerations 376\n"
              "words 1724\n",
              outcome.out);
}

TEST(Schemagen, FaultsAreListedAndLeaveTheFilesAlone) {
    const TemporaryFolder folder;
    const std::string good = folder.Write("good.schema", kSmall);
    const std::string bad = folder.Write("bad.schema", "namespace ozy\n"
                                                       "data A : Foo\n"
                                                       "data B : Bar\n");
    ASSERT_EQ(0, Schemagen({"--sources", folder.Path(), "--headers", folder.Path(), good}).status);
    const std::string before = folder.Read("ozy.h");
    ASSERT_THAT(before, HasSubstr("skema_ozy_task_cancel_task"));

    const Ended outcome =
        Schemagen({"--sources", folder.Path(), "--headers", folder.Path(), good, bad});
    EXPECT_NE(0, outcome.status);
    EXPECT_EQ(bad + ":2: unknown base 'Foo' of 'A'\n" + bad + ":3: unknown base 'Bar' of 'B'\n",
              outcome.err);
    EXPECT_EQ(before, folder.Read("ozy.h"));
}

TEST(Schemagen, SaysWhatItCannotReadOrWrite) {
    const TemporaryFolder folder;
    const std::string good = folder.Write("good.schema", kSmall);
    const std::pair<std::vector<std::string>, const char *> rows[] = {
        {{good, folder.Path("missing.schema")}, "missing.schema"},
        {{"--headers", good + "/below", good}, "good.schema/below"},
    };
    for (const auto &[arguments, text] : rows) {
        const Ended ended = Schemagen(arguments);
        EXPECT_NE(0, ended.status);
        EXPECT_THAT(ended.err, HasSubstr(text));
    }
}

TEST(Schemagen, FilesThatStayTheSameKeepTheirTime) {
    const TemporaryFolder folder;
    const std::string table = folder.Write("a.schema", kSmall);
    ASSERT_EQ(0, Schemagen({"--headers", folder.Path(), table}).status);
    last_write_time(folder.Path("ozy.h"), kLongAgo);
    last_write_time(folder.Path("ferry.h"), kLongAgo);

    folder.Write("a.schema", std::string(kSmall) + "  UpdateProgress(percentDone int)\n");
    ASSERT_EQ(0, Schemagen({"--headers", folder.Path(), table}).status);
    EXPECT_NE(kLongAgo, last_write_time(folder.Path("ozy.h")));
    EXPECT_EQ(kLongAgo, last_write_time(folder.Path("ferry.h")));
}

TEST(Schemagen, OverlaysCompleteWhatTheTablesLeaveOpen) {
    const TemporaryFolder folder;
    const TemporaryFolder overlays;
    const std::string table = folder.Write("a.schema", kSmall);
    overlays.Write("1.schema", "namespace ozy\nmanaged Task\n  info string\n  Extra()\n");
    overlays.Write("2.schema", "namespace ozy\nmanaged Task\n  info string\n  more Word\n"
                               "enum Word\n  one\n");
    const auto make = [&](const std::string &overlay) {
        return Schemagen(
            {"--sources", folder.Path(), "--headers", folder.Path(), "--overlay", overlay, table});
    };
    ASSERT_EQ("", make(overlays.Path()).err);
    EXPECT_THAT(folder.Read("ozy.h"), HasSubstr("skema_ozy_task_extra("));
    EXPECT_THAT(folder.Read("ozy.h"), HasSubstr("SKEMA_OZY_WORD_ONE"));
    EXPECT_THAT(folder.Read("schemaTables.cpp"), HasSubstr("// more"));

    last_write_time(folder.Path("schemaTables.cpp"), kLongAgo);
    ASSERT_EQ(0, make(overlays.Path()).status);
    EXPECT_EQ(kLongAgo, last_write_time(folder.Path("schemaTables.cpp"))); /* the same bytes */

    const std::string bad = overlays.Write("3.schema", "namespace ozy\nmanaged Task\n  more int\n");
    const Ended outcome = make(overlays.Path());
    EXPECT_NE(0, outcome.status);
    EXPECT_EQ(bad + ":3: field 'more' of 'Task' is int, but " + overlays.Path() +
                  "/2.schema:4 declares Word\n",
              outcome.err);
    EXPECT_THAT(make(folder.Path() + "/none").err, HasSubstr("/none: "));
}

} // namespace
