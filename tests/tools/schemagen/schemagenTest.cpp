#include <glib/gstdio.h>
#include <utime.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"
#include "tests/support/paths.h"
#include "tests/support/temporaryFolder.h"

namespace {

using testing::HasSubstr;

struct Outcome {
    int status;
    std::string out;
    std::string error;
};

/* Runs schemagen in the source folder. */
Outcome Schemagen(std::vector<std::string> arguments) {
    std::string program = BuildPath("bin/schemagen");
    std::vector<char *> argv = {program.data()};
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    char *out = nullptr;
    char *error = nullptr;
    int status = -1;
    EXPECT_TRUE(g_spawn_sync(SourcePath("").c_str(), argv.data(), nullptr, G_SPAWN_DEFAULT, nullptr,
                             nullptr, &out, &error, &status, nullptr));
    const GPtr<char> outOwner(out);
    const GPtr<char> errorOwner(error);
    return {status, out, error};
}

std::vector<std::string> ShippedTables() {
    std::vector<std::string> tables;
    for (const char *ns : {"qorm", "ozy", "ferry"}) {
        const std::string folder = std::string("generated/") + ns;
        GDir *dir = g_dir_open(SourcePath(folder).c_str(), 0, nullptr);
        while (const char *name = g_dir_read_name(dir)) {
            if (g_str_has_suffix(name, ".schema"))
                tables.push_back(folder + "/" + name);
        }
        g_dir_close(dir);
    }
    return tables;
}

/* Seconds since the epoch. */
gint64 ModificationTime(const std::string &file) {
    GStatBuf status;
    EXPECT_EQ(0, g_stat(file.c_str(), &status));
    return status.st_mtime;
}

void SetModificationTime(const std::string &file, gint64 seconds) {
    utimbuf times = {seconds, seconds};
    EXPECT_EQ(0, g_utime(file.c_str(), &times));
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
    const Outcome outcome = Schemagen(arguments);
    EXPECT_EQ(0, outcome.status) << outcome.error;
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

    const Outcome outcome =
        Schemagen({"--sources", folder.Path(), "--headers", folder.Path(), good, bad});
    EXPECT_NE(0, outcome.status);
    EXPECT_EQ(bad + ":2: unknown base 'Foo' of 'A'\n" + bad + ":3: unknown base 'Bar' of 'B'\n",
              outcome.error);
    EXPECT_EQ(before, folder.Read("ozy.h"));
}

TEST(Schemagen, SaysWhatItCannotReadOrWrite) {
    const TemporaryFolder folder;
    const std::string good = folder.Write("good.schema", kSmall);
    const Outcome unread = Schemagen({good, folder.Path() + "/missing.schema"});
    EXPECT_NE(0, unread.status);
    EXPECT_THAT(unread.error, HasSubstr("missing.schema"));

    const Outcome unwritten = Schemagen({"--headers", good + "/below", good});
    EXPECT_NE(0, unwritten.status);
    EXPECT_THAT(unwritten.error, HasSubstr("good.schema/below"));
}

TEST(Schemagen, FilesThatStayTheSameKeepTheirTime) {
    const TemporaryFolder folder;
    const std::string table = folder.Write("a.schema", kSmall);
    ASSERT_EQ(0, Schemagen({"--headers", folder.Path(), table}).status);
    SetModificationTime(folder.Path("ozy.h"), 1000);
    SetModificationTime(folder.Path("ferry.h"), 1000);

    folder.Write("a.schema",
                 std::string(kSmall).append("  UpdateProgress(percentDone int)\n").c_str());
    ASSERT_EQ(0, Schemagen({"--headers", folder.Path(), table}).status);
    EXPECT_NE(1000, ModificationTime(folder.Path("ozy.h")));
    EXPECT_EQ(1000, ModificationTime(folder.Path("ferry.h")));
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
    ASSERT_EQ("", make(overlays.Path()).error);
    EXPECT_THAT(folder.Read("ozy.h"), HasSubstr("skema_ozy_task_extra("));
    EXPECT_THAT(folder.Read("ozy.h"), HasSubstr("SKEMA_OZY_WORD_ONE"));
    EXPECT_THAT(folder.Read("schemaTables.cpp"), HasSubstr("// more"));

    SetModificationTime(folder.Path("schemaTables.cpp"), 1000);
    ASSERT_EQ(0, make(overlays.Path()).status);
    EXPECT_EQ(1000, ModificationTime(folder.Path("schemaTables.cpp"))); /* the same bytes */

    const std::string bad = overlays.Write("3.schema", "namespace ozy\nmanaged Task\n  more int\n");
    const Outcome outcome = make(overlays.Path());
    EXPECT_NE(0, outcome.status);
    EXPECT_EQ(bad + ":3: field 'more' of 'Task' is int, but " + overlays.Path() +
                  "/2.schema:4 declares Word\n",
              outcome.error);
    EXPECT_THAT(make(folder.Path() + "/none").error, HasSubstr("/none: "));
}

} // namespace
