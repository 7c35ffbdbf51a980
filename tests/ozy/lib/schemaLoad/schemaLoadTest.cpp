// Overlays at run time. Tables change only before the first type of a process is registered, so the body
// of each test runs in a child process, and the program itself registers none.
#include <sys/stat.h>

#include <orvane/schema/ferry.h>
#include <orvane/schema/ozy.h>
#include <orvane/schemaOverlay.h>

#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "tests/ozy/lib/orvane/soap/soapFixture.h"
#include "tests/support/inChild.h"
#include "tests/support/logText.h"
#include "tests/support/temporaryFolder.h"
#include "tests/support/testLoop.h"

/* A test whose body runs in a child. */
#define TEST_IN_CHILD(suite, name)                                                                 \
    void suite##name();                                                                            \
    TEST(suite, name) {                                                                            \
        InChild(suite##name);                                                                      \
    }                                                                                              \
    void suite##name()

namespace {

using testing::StartsWith;

constexpr const char *kOverlay = "namespace ozy\n"
                                 "data VirtualMachineSummary ...\n"
                                 "  overallState   SiteState?\n"
                                 "  vm             VirtualMachine?      @ozy2/2.0\n"
                                 "  display        SiteDisplay[]?       @ozy25/4.0\n"
                                 "  note           string               @ozy25/5.5\n"
                                 "data SiteDisplay : DynamicData  @all\n"
                                 "  width          int\n"
                                 "enum SiteState\n"
                                 "  fine broken\n"
                                 "enum TaskInfoState\n"
                                 "  queued running success error paused\n"
                                 "managed SiteManager : ManagedObject\n"
                                 "  CleanSite(deep boolean) SiteState\n";

constexpr int kLoaded = -1;

struct Outcome {
    int code = kLoaded; /* of the domain, or kLoaded */
    std::string message;
};

Outcome Load(const std::string &path) {
    GError *error = nullptr;
    const gboolean isLoaded = orvane_schema_load_overlay(path.c_str(), &error);
    EXPECT_EQ(isLoaded, error == nullptr);
    if (error == nullptr)
        return {};
    EXPECT_EQ(ORVANE_SCHEMA_ERROR, error->domain);
    const Outcome outcome = {error->code, error->message};
    g_error_free(error);
    return outcome;
}

/* The names of the properties of a class, without those of its base. */
std::vector<std::string> Properties(const char *wireName) {
    const ObjectPtr<GObject> object = New(wireName);
    guint count = 0;
    const GPtr<GParamSpec *> specs(
        g_object_class_list_properties(G_OBJECT_GET_CLASS(object.get()), &count));
    std::vector<std::string> names;
    for (guint i = 0; i < count; i++) {
        if (specs.get()[i]->owner_type == G_OBJECT_TYPE(object.get()))
            names.emplace_back(specs.get()[i]->name);
    }
    return names;
}

bool HasProperty(const char *wireName, const char *name) {
    const auto names = Properties(wireName);
    return std::find(names.begin(), names.end(), name) != names.end();
}

TEST_IN_CHILD(SchemaLoad, FieldsAndTypesAreLikeAllOthers) {
    const TemporaryFolder folder;
    const Outcome outcome = Load(folder.Write("a.schema", kOverlay));
    ASSERT_EQ(kLoaded, outcome.code) << outcome.message;

    EXPECT_THAT(Properties("VirtualMachineSummary"),
                ElementsAre("overallState", "vm", "display", "note"));
    EXPECT_STREQ("SkemaOzySiteDisplay", g_type_name(orvane_lookup_type("SiteDisplay")));
    EXPECT_TRUE(g_type_is_a(orvane_lookup_type("SiteDisplay"), SKEMA_TYPE_QORM_DYNAMIC_DATA));
    EXPECT_TRUE(g_type_is_a(orvane_lookup_type("SiteManager"), SKEMA_TYPE_QORM_MANAGED_OBJECT));

    const GEnumValue *state = orvane_enum_get_by_nick(orvane_lookup_type("SiteState"), "broken");
    ASSERT_NE(nullptr, state);
    EXPECT_EQ(1, state->value);
    EXPECT_STREQ("SKEMA_OZY_SITE_STATE_BROKEN", state->value_name);
    const GEnumValue *paused = orvane_enum_get_by_nick(SKEMA_TYPE_OZY_TASK_INFO_STATE, "paused");
    ASSERT_NE(nullptr, paused);
    EXPECT_EQ(4, paused->value);
    EXPECT_STREQ("SKEMA_OZY_TASK_INFO_PAUSED", paused->value_name);
}

TEST_IN_CHILD(SchemaLoad, FoldersByNameAndCallsOneOverTheOther) {
    const TemporaryFolder folder;
    folder.Write("2.schema", "namespace ozy\ndata SiteDisplay ...\n  depth SiteState\n");
    folder.Write("1.schema", "namespace ozy\ndata SiteDisplay : DynamicData ...\n  width int\n"
                             "enum SiteState\n  fine\n");
    folder.Write("ignored.txt", "no table");
    EXPECT_EQ("", Load(folder.Path()).message);

    const TemporaryFolder other;
    EXPECT_EQ("", Load(other.Path()).message); /* empty */
    EXPECT_EQ("", Load(other.Write("a.schema", "namespace ozy\ndata SiteDisplay @ozy25/4.0\n"
                                               "  width int @all\n  height int\n"
                                               "  depth SiteState @all\n"
                                               "enum SiteState\n  fine broken\n"))
                      .message);
    EXPECT_THAT(
        Load(other.Write("a.schema", "namespace ozy\ndata SiteDisplay ...\n  more int\n")).message,
        HasSubstr("field 'more' of 'SiteDisplay' is new, but the built-in schema declares"));
    EXPECT_THAT(Properties("SiteDisplay"), ElementsAre("width", "height", "depth"));
    EXPECT_NE(nullptr, orvane_enum_get_by_nick(orvane_lookup_type("SiteState"), "broken"));
}

TEST_IN_CHILD(SchemaLoad, RefusesAsAWhole) {
    const std::string good = std::string(kOverlay);
    /* texts, codes, and messages behind the file's name */
    const std::tuple<std::string, int, const char *> rows[] = {
        {good + "dato X : DynamicData ...\n", ORVANE_SCHEMA_ERROR_SYNTAX,
         ":15: unknown kind of type 'dato'"},
        {good + "  Foo(9a int)\n", ORVANE_SCHEMA_ERROR_SYNTAX,
         ":15: name that begins with a digit: '9a'"},
        {good + std::string(10 << 20, 'x'), ORVANE_SCHEMA_ERROR_SYNTAX,
         ":15: line of more than 240 bytes"},
        {good + "# \xc3\n", ORVANE_SCHEMA_ERROR_SYNTAX, ":15: byte that is no printable ASCII"},
        {good + std::string("\0", 1), ORVANE_SCHEMA_ERROR_SYNTAX,
         ":15: byte that is no printable ASCII"},
        {good + "data X : DynamicData ...\n  a Nothing\n", ORVANE_SCHEMA_ERROR_UNSOUND,
         ":16: unknown type 'Nothing'"},
        {good + "data TaskInfo ...\n  key int\n", ORVANE_SCHEMA_ERROR_CONTRADICTION,
         ":16: field 'key' of 'TaskInfo' is int, but the built-in schema declares string"},
        {good + "data DynamicData ...\n", ORVANE_SCHEMA_ERROR_CONTRADICTION,
         ":15: 'DynamicData' is in namespace ozy, but the built-in schema declares qorm"},
        {good + "data X : DynamicData ...\n  a Nothing\n  b Nobody\n", ORVANE_SCHEMA_ERROR_UNSOUND,
         ":16: unknown type 'Nothing' (and 1 more)"},
    };
    const SchemaTables *before = SchemaEngine_Tables();
    const TemporaryFolder folder;
    for (const auto &[text, code, message] : rows) {
        const std::string file = folder.Write("a.schema", text);
        const Outcome outcome = Load(file);
        EXPECT_EQ(code, outcome.code) << message;
        EXPECT_EQ(file + message, outcome.message);
        EXPECT_EQ(before, SchemaEngine_Tables());
    }
    /* one bad file among good ones */
    folder.Write("b.schema", "namespace ozy\ndata B : DynamicData ...\n");
    EXPECT_EQ(ORVANE_SCHEMA_ERROR_UNSOUND, Load(folder.Path()).code);
    EXPECT_EQ(before, SchemaEngine_Tables());
    EXPECT_FALSE(HasProperty("VirtualMachineSummary", "note"));
    EXPECT_EQ(0u, orvane_lookup_type("SiteDisplay"));
}

TEST_IN_CHILD(SchemaLoad, SaysWhatItCannotRead) {
    const TemporaryFolder folder;
    const std::string missing = folder.Path("missing");
    const Outcome none = Load(missing);
    EXPECT_EQ(ORVANE_SCHEMA_ERROR_IO, none.code);
    EXPECT_THAT(none.message, StartsWith(missing + ": "));

    const std::string fifo = folder.Path("fifo.schema");
    ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600));
    EXPECT_EQ(fifo + ": is no regular file", Load(fifo).message);
    EXPECT_EQ(ORVANE_SCHEMA_ERROR_IO, Load(folder.Path()).code);
    EXPECT_FALSE(orvane_schema_load_overlay(missing.c_str(), nullptr));
}

TEST_IN_CHILD(SchemaLoad, TextsThatAnApplicationCarriesAreAddedAfterThoseOfFiles) {
    const TemporaryFolder folder;
    ASSERT_EQ(kLoaded, Load(folder.Write("a.schema", kOverlay)).code);
    GError *error = nullptr;
    const char *const added = "namespace ozy\ndata HostListSummary ...\n"
                              "  rackLabel string? @ozy2/2.0\n";
    ASSERT_TRUE(orvane_schema_add_overlay("own tables", added, &error));
    const char *const other = "namespace ozy\ndata VirtualMachineSummary ...\n"
                              "  note int @ozy2/2.0\n";
    EXPECT_FALSE(orvane_schema_add_overlay("own tables", other, &error));
    EXPECT_EQ(ORVANE_SCHEMA_ERROR_CONTRADICTION, error->code);
    EXPECT_THAT(error->message, StartsWith("own tables:3: "));
    g_clear_error(&error);
    EXPECT_TRUE(HasProperty("HostListSummary", "rackLabel"));
    EXPECT_TRUE(HasProperty("VirtualMachineSummary", "note"));
    EXPECT_FALSE(orvane_schema_add_overlay("own tables", added, &error));
    EXPECT_EQ(ORVANE_SCHEMA_ERROR_TOO_LATE, error->code);
    g_error_free(error);
}

TEST_IN_CHILD(SchemaLoad, RefusesTheNameOfATypeOfTheApplication) {
    g_type_register_static_simple(G_TYPE_OBJECT, "SkemaOzySiteDisplay", sizeof(GObjectClass),
                                  nullptr, sizeof(GObject), nullptr, static_cast<GTypeFlags>(0));
    const TemporaryFolder folder;
    const std::string file = folder.Write("a.schema", kOverlay);
    const Outcome outcome = Load(file);
    EXPECT_EQ(ORVANE_SCHEMA_ERROR_CONTRADICTION, outcome.code);
    EXPECT_EQ(file + ":7: type 'SkemaOzySiteDisplay' is registered already", outcome.message);
}

TEST_IN_CHILD(SchemaLoad, InitLoadsWhatTheEnvironmentNames) {
    const TemporaryFolder folder;
    const TemporaryFolder other;
    folder.Write("a.schema", kOverlay);
    const std::string file =
        other.Write("b.schema", "namespace ozy\ndata SiteDisplay ...\n  width int\n");
    g_setenv("ORVANE_SCHEMA_OVERLAY", (folder.Path() + "::" + file).c_str(), TRUE);
    ASSERT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove));
    EXPECT_TRUE(HasProperty("VirtualMachineSummary", "note"));
    orvane_shutdown();
    ASSERT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove)); /* not again */
    orvane_shutdown();
    EXPECT_EQ(std::string::npos, LogText().find("ORVANE_SCHEMA_OVERLAY"));
}

TEST_IN_CHILD(SchemaLoad, InitGoesOnWithoutABrokenOverlay) {
    const TemporaryFolder folder;
    const std::string good = folder.Write("good.schema", kOverlay);
    const std::string bad = folder.Write("bad.schema", "data X\n");
    g_setenv("ORVANE_SCHEMA_OVERLAY", (good + ":" + bad).c_str(), TRUE);
    ASSERT_TRUE(orvane_init(testLoop::Callback, testLoop::CallbackRemove));
    EXPECT_THAT(LogText(), HasSubstr("W Schema: ORVANE_SCHEMA_OVERLAY is not loaded: " + bad +
                                     ":1: no 'namespace' line before the first type"));
    EXPECT_FALSE(HasProperty("VirtualMachineSummary", "note"));
    orvane_shutdown();
}

TEST_IN_CHILD(SchemaLoad, NothingIsLoadedWithoutAVariable) {
    const SchemaTables *before = SchemaEngine_Tables();
    const TemporaryFolder folder;
    g_setenv("ORVANE_SCHEMA_OVERLAY", folder.Write("a.schema", kOverlay).c_str(), TRUE);
    /* as secure_getenv() answers in a process with raised rights */
    SchemaLoad_FromEnvironment([](const char *) -> char * { return nullptr; });
    static char empty[] = ":";
    SchemaLoad_FromEnvironment([](const char *) { return empty; });
    EXPECT_EQ(before, SchemaEngine_Tables());
}

} // namespace
