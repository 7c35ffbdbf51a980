// XSD and WSDL documents of both styles become tables.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "tests/support/cannedServer.h"
#include "tests/support/paths.h"
#include "tests/support/testLoop.h"
#include "tests/tools/orvane/program.h"
#include "tests/tools/schemaImport/importFixture.h"

namespace {

using testing::HasSubstr;

const std::string kDocuments = SourcePath("tests/tools/schemaImport/documents/");

constexpr const char *kPlant = R"(# made by orvane schema import
namespace ozy

data Boiler : DynamicData  @ozy25/5.0
  inlet             Site                @ozy2/2.0
  bars              int
  burner            Burner?             @ozy25/5.5
  soot              string?

data Burner : DynamicData  @ozy25/5.5

data Pump : DynamicData  @ozy25/5.5
  label             string
  running           boolean
  litres            long?
  step              byte
  gear              short
  valves            int[]
  ratio             float
  load              double
  serviced          dateTime?
  seal              binary[]?
  homepage          string
  mirror            anyURI[]?
  extra             any
  port              int
  path              string
  mode              PumpMode
  site              ManagedObject
  colour            PumpColour?

event PumpStoppedEvent : Event  @ozy25/5.5
  pump              Pump

fault PumpJammed : MethodFault  @ozy25/5.5

managed PumpHouse
  StartPump_Task(mode PumpMode, sites ~Site[]?) Task
  Drain(litres long)

enum PumpColour
  green red

enum PumpMode in Boiler
  turbo idle eco
)";

TEST(SchemaImport, OneLargeFileOfTwoReleases) {
    const Imported imported = Import({.documents = {"ozy25/5.5=" + kDocuments + "plant.wsdl",
                                                    "ozy25/5.0=" + kDocuments + "early"}});
    EXPECT_EQ(0, imported.status);
    EXPECT_EQ(kPlant, imported.tables);
    EXPECT_EQ("{}", Refusals(imported.tables));
    EXPECT_EQ(kDocuments +
                  "plant.wsdl:57: element 'soot' of 'Boiler' is gone in release ozy25/5.5; it "
                  "stays, as optional, from " +
                  kDocuments + "early/plant.xsd:9\n" + kDocuments +
                  "plant.wsdl:61: element 'inlet' of 'Boiler' comes with ozy25/5.5, but the schema "
                  "declares @ozy2/2.0\n"
                  "5 classes (3 new), 2 enumerations (1 new), 2 methods; 2 things not used\n",
              imported.report);
}

TEST(SchemaImport, ManySmallFilesInACircle) {
    const Imported imported = Import({.documents = {kDocuments + "many/service.wsdl"}});
    EXPECT_EQ(0, imported.status);
    EXPECT_EQ("# made by orvane schema import\nnamespace ozy\n\n"
              "data Mill : DynamicData  @all\n"
              "  wheel             Wheel[]\n"
              "  Owner             string?\n\n"
              "data Wheel : DynamicData  @all\n"
              "  spokes            int\n\n"
              "managed PumpHouse\n"
              "  Grind(grain Grain)\n\n"
              "enum Grain\n"
              "  wheat rye\n",
              imported.tables);
    EXPECT_EQ("{}", Refusals(imported.tables));
    EXPECT_EQ(kDocuments + "many/parts/wheel.xsd:4: 'missing.xsd' No such file or directory\n"
                           "2 classes (2 new), 1 enumeration (1 new), 1 method; 1 thing not used\n",
              imported.report);
}

/* The shipped tables as text, and as the program has them. */
SchemaModel ReadTables() {
    SchemaModel model;
    SchemaErrors errors;
    for (const char *name : {"qorm/core", "qorm/reflect", "ozy/data", "ozy/enums", "ozy/events",
                             "ozy/faults", "ozy/managed", "ferry/data", "ferry/enums",
                             "ferry/events", "ferry/faults", "ferry/managed"}) {
        const std::string path = SourcePath("generated/") + name + ".schema";
        EXPECT_TRUE(SchemaText_Parse(&model, path.c_str(), FileText(path), &errors)) << path;
    }
    return model;
}

TEST(SchemaImport, CompletesTheSchemaThatIsShipped) {
    const std::string tables = "# made by orvane schema import\n"
                               "namespace ozy\n\n"
                               "data AlarmSpec : DynamicData  @ozy25/5.0\n"
                               "  name              string\n"
                               "  state             TaskInfoState\n\n"
                               "event PumpStoppedEvent : VmEvent  @ozy25/5.0\n\n"
                               "managed AlarmManager\n"
                               "  CreateAlarm(entity ManagedEntity, spec AlarmSpec) Alarm\n\n"
                               "enum TaskInfoState in TaskInfo\n"
                               "  queued running success error stalled\n";
    for (const SchemaModel &shipped : {ReadTables(), schemaImport::BuiltInSchema()}) {
        const Imported imported =
            Import({.documents = {"ozy25/5.0=" + kDocuments + "shipped.xsd"}}, shipped);
        EXPECT_EQ(tables, imported.tables);
        EXPECT_THAT(
            imported.report,
            testing::MatchesRegex("2 classes .1 new., 1 enumeration .0 new., 1 method; 0 .*"));
        EXPECT_EQ("{}", Refusals(imported.tables, shipped));
    }
}

/* Runs "orvane schema import" as a user does. */
TEST(SchemaImport, TheProgramFetchesAndWritesAFile) {
    testLoop::Reset();
    CannedServer server;
    server.Answer([](const CannedRequest &request) {
        const std::string text = FileText(kDocuments + "many" + request.target);
        return HttpReply(text, text.empty() ? 404 : 200);
    });
    const DocumentFolder folder;
    const std::string output = folder.Write("out/old.schema", "");
    const std::string target = output.substr(0, output.rfind('/'));
    Program program("bin/orvane", {"schema", "import", "--url",
                                   "ozy25/5.5=" + server.Url("/service.wsdl"), "-o", target});
    EXPECT_TRUE(testLoop::RunUntil([&] { return server.Requests().size() == 5; }));
    const Ended ended = program.Wait();
    EXPECT_EQ(0, ended.status);
    EXPECT_EQ("", ended.out);
    EXPECT_THAT(ended.err, HasSubstr("'Grind' is new"));
    EXPECT_THAT(ended.err, HasSubstr(server.Url("/parts/missing.xsd") +
                                     ": cannot be read: the service answers with status 404"));
    EXPECT_THAT(FileText(target + "/imported.schema"),
                HasSubstr("data Mill : DynamicData  @ozy25/5.5\n"));
}

int ImportTo(const std::string &output) {
    return Program("bin/orvane",
                   {"schema", "import", "-o", output, kDocuments + "many/service.wsdl"})
        .Wait()
        .status;
}

TEST(SchemaImport, TheProgramReplacesNothingButRegularFiles) {
    const DocumentFolder folder;
    const std::string target = folder.Write("target", "old");
    const std::string base = target.substr(0, target.rfind('/'));
    std::filesystem::create_symlink("target", base + "/link");
    std::filesystem::create_symlink("nowhere", base + "/dangling");
    ASSERT_EQ(0, mkfifo((base + "/pipe").c_str(), 0600));

    EXPECT_EQ(0, ImportTo(base + "/link"));
    EXPECT_TRUE(std::filesystem::is_symlink(base + "/link"));
    EXPECT_GT(std::filesystem::file_size(target), 100u);
    std::filesystem::permissions(folder.Write("private", "old"), std::filesystem::perms{0600});
    EXPECT_EQ(0, ImportTo(base + "/private"));
    EXPECT_EQ(std::filesystem::perms{0600},
              std::filesystem::status(base + "/private").permissions());
    EXPECT_EQ(1, ImportTo(base + "/dangling"));
    EXPECT_EQ(1, ImportTo(base + "/pipe")) << "it has no reader";
    const int reader = open((base + "/pipe").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(0, ImportTo(base + "/pipe"));
    char first = 0;
    EXPECT_EQ(1, read(reader, &first, 1));
    EXPECT_EQ('#', first);
    close(reader);
    EXPECT_TRUE(std::filesystem::is_fifo(base + "/pipe"));

    for (const char *name : {"/new/file", "/new/"})
        EXPECT_EQ(1, ImportTo(base + name));
    EXPECT_FALSE(std::filesystem::exists(base + "/new")) << "no folder is made unasked";
}

TEST(SchemaImport, TheExitStatusOfTheProgram) {
    const std::pair<std::vector<std::string>, int> rows[] = {
        {{"schema", "import", kDocuments + "many/service.wsdl"}, 0},
        {{"schema", "import", "-o", "-", kDocuments + "many/service.wsdl"}, 0},
        {{"schema", "import", "/nonexistent.xsd"}, 1},
        {{"schema", "import"}, 2},
        {{"schema", "import", "ozy99/1.0=a.xsd"}, 2},
        {{"schema", "import", "--nonsense"}, 2},
        {{"schema", "import", "a.xsd", "--insecure", "--ca-file", "/dev/null"}, 2},
        {{"schema"}, 2},
    };
    for (const auto &[arguments, status] : rows) {
        const Ended ended = Program("bin/orvane", arguments).Wait();
        EXPECT_EQ(status, ended.status) << testing::PrintToString(arguments);
        EXPECT_EQ(status == 0, ended.out.starts_with("# made by orvane schema import"));
        EXPECT_NE("", ended.err);
    }
}

} // namespace
