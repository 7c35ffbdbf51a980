#include "tools/schemagen/emit.h"

#include <gmock/gmock.h>

#include "ozy/lib/schemaText/schemaCheck.h"
#include "tests/ozy/lib/schemaText/readSchema.h"

namespace {

using testing::HasSubstr;
using testing::Not;

/* Returns all files of a small schema in one text. */
std::string EmitAll(const char *table) {
    const auto read = ReadAndCheck(table);
    EXPECT_THAT(read->errors.messages, testing::ElementsAre());
    const Emission emission = Emission_Make(read->model);
    return Emit_Tables(emission) + Emit_Types(emission, {0, 1}) + Emit_Methods(emission, {0, 1}) +
           Emit_Header(emission, SCHEMA_NAMESPACE_QORM) +
           Emit_Header(emission, SCHEMA_NAMESPACE_OZY) +
           Emit_Header(emission, SCHEMA_NAMESPACE_FERRY);
}

constexpr const char *kTable = "namespace ozy\n"
                               "managed Task : ManagedObject\n"
                               "  CancelTask() = cancel\n"
                               "  Clone_Task(spec Spec!, list ~Spec[]) Task\n"
                               "data Spec : DynamicData  @ozy2/2.0\n"
                               "  name  string?\n"
                               "enum Word\n"
                               "  one two\n";

TEST(Emit, StubsPassTheirRowAndTheirArgumentsInOrder) {
    const std::string all = EmitAll(kTable);
    EXPECT_THAT(all, HasSubstr("void skema_ozy_task_cancel(SkemaOzyTask *object, "
                               "OrvaneListener *listener) {\n"
                               "    orvane_schema_invoke(0, object, listener);\n}"));
    EXPECT_THAT(all, HasSubstr("orvane_schema_invoke(1, object, listener, spec, list);"));
}

TEST(Emit, GetTypesNameTheRowThatHoldsTheirType) {
    const auto read = ReadAndCheck(kTable);
    const Emission emission = Emission_Make(read->model);
    const std::string types = Emit_Types(emission, {0, 1});
    for (gsize row = 0; row < emission.built.types.size(); row++) {
        const std::string name = emission.built.text.c_str() + emission.built.types[row].name;
        EXPECT_THAT(types, HasSubstr("GType " + SchemaNames_Snake(name) +
                                     "_get_type(void) {\n    return orvane_schema_get_type(" +
                                     std::to_string(row) + ");"));
    }
}

TEST(Emit, PartsHoldEachFunctionOnce) {
    const auto read = ReadAndCheck(kTable);
    const Emission emission = Emission_Make(read->model);
    const std::string parts[] = {Emit_Types(emission, {0, 3}), Emit_Types(emission, {1, 3}),
                                 Emit_Types(emission, {2, 3})};
    for (const SchemaTypeNames &names : emission.names) {
        int seen = 0;
        for (const std::string &part : parts)
            seen += part.find("GType " + names.prefix + "_get_type(") != std::string::npos;
        EXPECT_EQ(1, seen) << names.prefix;
    }
}

TEST(Emit, ParametersFollowTheirTypes) {
    const std::pair<const char *, const char *> rows[] = {
        {"string", "const gchar *a"},
        {"string?", "const gchar *a"},
        {"boolean", "gboolean a"},
        {"boolean?", "gboolean *a"},
        {"byte", "gint8 a"},
        {"short", "gint a"},
        {"int?", "gint *a"},
        {"long", "gint64 a"},
        {"~long?", "gint64 *a"},
        {"float", "gfloat a"},
        {"double?", "gdouble *a"},
        {"dateTime", "const GTimeVal *a"},
        {"binary?", "const GByteArray *a"},
        {"any", "gpointer a"},
        {"any?", "gpointer a"},
        {"*", "const GValue *a"},
        {"*[]", "GValueArray *a"},
        {"int[]", "GValueArray *a"},
        {"anyURI[]?", "GValueArray *a"},
        {"Word", "SkemaOzyWord a"},
        {"~Word?", "SkemaOzyWord *a"},
        {"Word[]", "GValueArray *a"},
        {"DynamicData?", "SkemaQormDynamicData *a"},
        {"~MethodFault!", "SkemaQormMethodFault *a"},
        {"M", "SkemaOzyM *a"},
    };
    for (const auto &[type, parameter] : rows) {
        const std::string table = std::string("namespace ozy\nmanaged M : ManagedObject\n  F(a ") +
                                  type + ")\nenum Word\n  one\n";
        EXPECT_THAT(EmitAll(table.c_str()),
                    HasSubstr(std::string("void skema_ozy_m_f(SkemaOzyM *object, ") + parameter +
                              ", OrvaneListener *listener);"))
            << type;
    }
}

TEST(Emit, ParametersAvoidTakenWords) {
    const std::string all = EmitAll("namespace ozy\nmanaged M : ManagedObject\n"
                                    "  F(default int, object string, listener int, fine int)\n");
    EXPECT_THAT(all, HasSubstr("orvane_schema_invoke(0, object, listener, default_, object_, "
                               "listener_, fine);"));
    EXPECT_THAT(all, HasSubstr("\"default\\0\"")); /* its name in XML is unchanged */
}

TEST(Emit, CommentsSayWhatTheTypesCannot) {
    const std::string all = EmitAll(kTable);
    EXPECT_THAT(all, HasSubstr(" * @spec: #SkemaOzySpec; required\n"));
    EXPECT_THAT(all, HasSubstr(" * @list: (nullable): list of #SkemaOzySpec; its type is likely, "
                               "not stated; %NULL leaves it out\n"));
    EXPECT_THAT(all, HasSubstr("Calls \"CancelTask\". Result: none."));
    EXPECT_THAT(all, HasSubstr("Calls \"Clone_Task\". Result: #SkemaOzyTask, which the listener "
                               "follows"));
    EXPECT_THAT(all, HasSubstr(" * - name: string, optional, since ozy2/2.0\n"));
}

TEST(Emit, HeadersDeclareEachClassOnce) {
    const std::string all = EmitAll("namespace ozy\ndata A : DynamicData\n"
                                    "namespace ferry\nmanaged FerryM : ManagedObject\n  F(a A)\n");
    EXPECT_THAT(all, HasSubstr("#define SKEMA_IS_OZY_A(obj)"));
    EXPECT_THAT(all, HasSubstr("#define SKEMA_TYPE_FERRY_M (skema_ferry_m_get_type())"));
    EXPECT_THAT(all, Not(HasSubstr("typedef struct _SkemaQormDataObject ")));

    const std::string ferry = all.substr(all.find("<orvane/schema/ferry.h> --"));
    EXPECT_THAT(ferry, HasSubstr("typedef struct _SkemaOzyA SkemaOzyA;")) << "a stub takes one";
}

} // namespace
