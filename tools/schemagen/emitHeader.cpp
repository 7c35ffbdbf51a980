#include <algorithm>
#include <array>
#include <iterator>
#include <set>

#include <fmt/format.h>

#include "tools/schemagen/emitSpelling.h"

namespace {

using Out = std::back_insert_iterator<std::string>;

/* Their structs are in <orvane/runtime.h>. */
constexpr auto kRootNames =
    std::to_array<std::string_view>({"DataObject", "MethodFault", "ManagedObject"});

struct HeaderRow {
    const char *title;
    const char *includes;
};

constexpr auto kHeaders = std::to_array<HeaderRow>({
    {"the core of the schema", "#include <orvane/runtime.h>\n"},
    {"the schema of the main service", "#include <orvane/schema/qorm.h>\n"},
    {"the schema of the second service", "#include <orvane/schema/qorm.h>\n"},
});
static_assert(kHeaders.size() == SCHEMA_NUM_NAMESPACES);

constexpr const char *kAbout = R"(
 * Each class TaskInfo of the schema has here
 *   SkemaOzyTaskInfo                 its instance struct, opaque: see the list of its properties
 *   SKEMA_TYPE_OZY_TASK_INFO         its GType
 *   SKEMA_OZY_TASK_INFO(obj)         the cast, SKEMA_IS_OZY_TASK_INFO(obj) the test
 *   skema_ozy_task_info_get_type()
 * and each method of a managed class a stub, which sends the call and returns at once; the outcome comes
 * as signals of the listener.
 *
 * Ownership: stubs only read what they are given, during the call. A listener's reference is taken over
 *            as orvane_session_invoke_method() does it.
 * Threads:   stubs are for the thread of the loop; a get_type may be called anywhere.
 *
 * g_autoptr() and g_autolist() work with all classes.
 */
)";

struct Header {
    const Emission &emission;
    SchemaNamespace ns;
    Out out;

    template <class Visit> void EachType(Visit visit) const {
        for (guint32 at : emission.built.order) {
            if (emission.model.types[at].ns == ns)
                visit(emission.model.types[at], emission.names[at]);
        }
    }
};

bool IsClass(const TableType &type) {
    return type.form != SCHEMA_FORM_ENUM;
}

/* Declares the classes of the third namespace that are used here, without its header. */
std::set<std::string> ForeignClasses(const Header &header) {
    std::set<std::string> foreign;
    header.EachType([&](const TableType &type, const SchemaTypeNames &) {
        for (const TableMethod &method : type.methods) {
            for (const TableArgument &argument : method.arguments) {
                const auto at = header.emission.index.find(argument.type.name);
                if (at == header.emission.index.end())
                    continue;
                const SchemaNamespace ns = header.emission.model.types[at->second].ns;
                if (ns != header.ns && ns != SCHEMA_NAMESPACE_QORM)
                    foreign.insert(header.emission.names[at->second].type);
            }
        }
    });
    return foreign;
}

void EmitClasses(const Header &header) {
    for (const std::string &name : ForeignClasses(header))
        fmt::format_to(header.out, "typedef struct _{0} {0};\n", name);
    header.EachType([&](const TableType &type, const SchemaTypeNames &names) {
        if (IsClass(type) && std::ranges::find(kRootNames, type.name) == kRootNames.end())
            fmt::format_to(header.out, "typedef struct _{0} {0};\n", names.type);
    });
}

void EmitEnumerations(const Header &header) {
    header.EachType([&](const TableType &type, const SchemaTypeNames &names) {
        if (IsClass(type))
            return;
        fmt::format_to(header.out, "\n/* {} */\ntypedef enum {{\n", type.name);
        for (gsize i = 0; i < type.words.size(); i++)
            fmt::format_to(header.out, "    {}, /* \"{}\" */\n", names.constants[i],
                           type.words[i].word);
        fmt::format_to(header.out, "}} {};\n", names.type);
    });
}

std::string ReleaseText(const TableType &type, const TableField &field) {
    const std::string &version = field.version.empty() ? type.version : field.version;
    if (version.empty() || version == "all")
        return "";
    return ", since " + version;
}

const char *FormWords(SchemaForm form) {
    switch (form) {
    case SCHEMA_FORM_DATA:
        return "The data object";
    case SCHEMA_FORM_EVENT:
        return "The event";
    case SCHEMA_FORM_FAULT:
        return "The fault";
    case SCHEMA_FORM_MANAGED:
        return "The managed object";
    case SCHEMA_FORM_ENUM:
        break;
    }
    return "The enumeration";
}

/* Documents the properties of a class, since its struct is opaque. */
void EmitProperties(const Header &header, const TableType &type, const SchemaTypeNames &names) {
    fmt::format_to(
        header.out,
        "\n/**\n * {}:\n *\n * {} \"{}\", derived from {}. Properties of its own{}:\n *\n",
        names.type, FormWords(type.form), type.name, Spelling_Words(header.emission, {type.base}),
        type.isPartial ? " (there may be more)" : "");
    for (const TableField &field : type.fields)
        fmt::format_to(header.out, " * - {}: {}{}{}\n", field.name,
                       Spelling_Words(header.emission, field.type),
                       field.type.isOptional ? ", optional" : "", ReleaseText(type, field));
    fmt::format_to(header.out, " */\n");
}

void EmitGetTypes(const Header &header) {
    header.EachType([&](const TableType &type, const SchemaTypeNames &names) {
        if (!type.fields.empty())
            EmitProperties(header, type, names);
        const std::string typeMacro = SchemaNames_Macro(names.prefix, "TYPE");
        fmt::format_to(header.out,
                       "ORVANE_EXPORT GType {0}_get_type(void);\n#define {1} ({0}_get_type())\n",
                       names.prefix, typeMacro);
        if (!IsClass(type))
            return;
        fmt::format_to(header.out,
                       "#define {}(obj) (G_TYPE_CHECK_INSTANCE_CAST((obj), {}, {}))\n"
                       "#define {}(obj) (G_TYPE_CHECK_INSTANCE_TYPE((obj), {}))\n",
                       SchemaNames_Macro(names.prefix, ""), typeMacro, names.type,
                       SchemaNames_Macro(names.prefix, "IS"), typeMacro);
    });
}

std::string ArgumentWords(const Header &header, const TableArgument &argument) {
    const TableTypeRef &type = argument.type;
    std::string text = Spelling_Words(header.emission, type);
    if (type.isLikely)
        text += "; its type is likely, not stated";
    if (type.isUnknown)
        text += ", sent as it is; the type is not known";
    if (type.name == "any" && !type.isArray)
        text += "; the parameter itself is read as a #GValue, so to send a value call "
                "orvane_session_invoke_method()";
    if (type.isRequired)
        text += "; required";
    else if (Spelling_IsPointer(header.emission, type))
        text += "; %NULL leaves it out";
    return text;
}

std::string ResultWords(const Header &header, const TableTypeRef &result) {
    if (result.name.empty())
        return "none";
    std::string text = Spelling_Words(header.emission, result);
    if (result.name == "Task" && !result.isArray)
        text += ", which the listener follows; its result is that of the task";
    return text;
}

void EmitStub(const Header &header, gsize at, const TableMethod &method, const std::string &stub) {
    fmt::format_to(header.out, "\n/**\n * {}:\n * @object: the object to call\n", stub);
    for (const TableArgument &argument : method.arguments) {
        const bool isNullable =
            Spelling_IsPointer(header.emission, argument.type) && !argument.type.isRequired;
        fmt::format_to(header.out, " * @{}:{} {}\n", Spelling_Parameter(argument),
                       isNullable ? " (nullable):" : "", ArgumentWords(header, argument));
    }
    fmt::format_to(header.out,
                   " * @listener: (nullable): takes the outcome\n *\n"
                   " * Calls \"{}\". Result: {}.\n */\nORVANE_EXPORT void {}({});\n",
                   method.wireName, ResultWords(header, method.result), stub,
                   Spelling_Parameters(header.emission, at, method));
}

void EmitStubs(const Header &header) {
    header.EachType([&](const TableType &type, const SchemaTypeNames &names) {
        const gsize at = static_cast<gsize>(&type - header.emission.model.types.data());
        for (gsize i = 0; i < type.methods.size(); i++)
            EmitStub(header, at, type.methods[i], names.stubs[i]);
    });
}

/* Does the work of G_DEFINE_AUTOPTR_CLEANUP_FUNC(), under the names that g_autoptr() uses. Four functions for each
 * class would cost a compiler more than a second a file, so all classes share theirs. */
void EmitAutoptr(const Header &header) {
    header.EachType([&](const TableType &type, const SchemaTypeNames &names) {
        if (IsClass(type))
            fmt::format_to(header.out,
                           "typedef {0} *{0}_autoptr;\n"
                           "#define glib_autoptr_cleanup_{0} orvane_autoptr_cleanup\n"
                           "#define glib_autoptr_clear_{0} orvane_autoptr_clear\n"
                           "#define {0}_listautoptr OrvaneAutoList\n"
                           "#define glib_listautoptr_cleanup_{0} orvane_autolist_cleanup\n",
                           names.type);
    });
}

} // namespace

std::string Emit_Header(const Emission &emission, SchemaNamespace ns) {
    std::string text;
    const Header header{emission, ns, Out(text)};
    const char *word = SchemaNamespace_Word(ns);
    fmt::format_to(header.out,
                   "/* Generated by schemagen from the tables in generated/{0}; do not edit. */\n"
                   "/*\n * <orvane/schema/{0}.h> -- {1}\n *{2}#pragma once\n\n{3}\nG_BEGIN_DECLS\n"
                   "G_GNUC_BEGIN_IGNORE_DEPRECATIONS\n\n",
                   word, kHeaders[ns].title, kAbout, kHeaders[ns].includes);
    EmitClasses(header);
    EmitEnumerations(header);
    fmt::format_to(header.out, "\n");
    EmitGetTypes(header);
    EmitStubs(header);
    fmt::format_to(header.out, "\n");
    EmitAutoptr(header);
    fmt::format_to(header.out, "\nG_GNUC_END_IGNORE_DEPRECATIONS\nG_END_DECLS\n");
    return text;
}

std::string Emit_Counts(const Emission &emission) {
    gsize core = 0;
    gsize reflection = 0;
    gsize others[SCHEMA_NUM_NAMESPACES] = {};
    gsize enumerations = 0;
    for (const TableType &type : emission.model.types) {
        enumerations += !IsClass(type);
        others[type.ns]++;
        core += type.ns == SCHEMA_NAMESPACE_QORM && !type.isUnlisted;
        reflection += type.ns == SCHEMA_NAMESPACE_QORM && type.isUnlisted;
    }
    const SchemaBuilt &built = emission.built;
    return fmt::format("types {}: core {}, reflection {}, ozy {}, ferry {}\n"
                       "fields {}\nmethods {}\narguments {}\nenumerations {}\nwords {}\n",
                       built.types.size(), core, reflection, others[SCHEMA_NAMESPACE_OZY],
                       others[SCHEMA_NAMESPACE_FERRY], built.fields.size(), built.methods.size(),
                       built.arguments.size(), enumerations, built.words.size());
}
