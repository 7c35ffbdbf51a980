/*
 * schemagen: makes the library's rows, get_type functions, method stubs and headers from the
 * schema's tables
 *
 *   schemagen --sources build/generated --headers build/include/orvane/schema generated/ozy/data.schema ...
 *   schemagen --count generated/ozy/data.schema ...
 *
 * --overlay adds tables that complete and extend the others, but must not contradict them.
 *
 * Nothing is written unless all tables are valid; errors are listed by file and line, and the exit status is 1.
 */
#include <cstdio>

#include <CLI/CLI.hpp>

#include "ozy/lib/schemaText/schemaFiles.h"
#include "ozy/lib/schemaText/schemaOverlay.h"
#include "tools/schemagen/emit.h"
#include "tools/schemagen/outputFile.h"

namespace {

/* Numbers of files, which compile in parallel. generated/CMakeLists.txt lists the same files. */
constexpr gsize kNumTypeParts = 2;
constexpr gsize kNumMethodParts = 2;

struct Options {
    std::vector<std::string> tables;
    std::vector<std::string> overlays; /* files, and folders of them */
    std::string sources;
    std::string headers;
    bool wantsCount = false;
};

bool FailWith(const std::string &message) {
    std::fprintf(stderr, "schemagen: %s\n", message.c_str());
    return false;
}

bool ReadTable(const std::string &path, SchemaModel *model, SchemaErrors *errors) {
    std::string text;
    std::string why;
    if (!SchemaFiles_Read(path, &text, &why))
        return FailWith(why);
    SchemaText_Parse(model, path.c_str(), text, errors);
    return true;
}

/* Applies each overlay to all tables before it. */
bool ApplyOverlays(const Options &options, SchemaModel *model, SchemaErrors *errors) {
    std::vector<std::string> files;
    for (const std::string &path : options.overlays) {
        std::string why;
        if (!SchemaFiles_List(path, &files, &why))
            return FailWith(why);
    }
    for (const std::string &file : files) {
        SchemaModel overlay;
        if (!ReadTable(file, &overlay, errors))
            return false;
        if (errors->count > 0 || !SchemaOverlay_Apply(model, std::move(overlay), errors))
            return false;
    }
    return true;
}

bool ReadTables(const Options &options, SchemaModel *model, SchemaErrors *errors) {
    for (const std::string &path : options.tables) {
        if (!ReadTable(path, model, errors))
            return false;
    }
    return errors->count == 0 && ApplyOverlays(options, model, errors) &&
           SchemaOverlay_Check(*model, errors);
}

void ShowErrors(const SchemaErrors &errors) {
    for (const std::string &message : errors.messages)
        std::fprintf(stderr, "%s\n", message.c_str());
    if (errors.count > errors.messages.size())
        std::fprintf(stderr, "schemagen: and %zu more\n", errors.count - errors.messages.size());
}

struct File {
    std::string path;
    std::string text;
};

std::vector<File> MakeFiles(const Options &options, const Emission &emission) {
    std::vector<File> files;
    if (!options.sources.empty()) {
        files.push_back({options.sources + "/schemaTables.cpp", Emit_Tables(emission)});
        for (gsize i = 0; i < kNumTypeParts; i++)
            files.push_back({options.sources + "/schemaTypes" + std::to_string(i + 1) + ".cpp",
                             Emit_Types(emission, {i, kNumTypeParts})});
        for (gsize i = 0; i < kNumMethodParts; i++)
            files.push_back({options.sources + "/schemaMethods" + std::to_string(i + 1) + ".cpp",
                             Emit_Methods(emission, {i, kNumMethodParts})});
    }
    for (int i = 0; i < SCHEMA_NUM_NAMESPACES && !options.headers.empty(); i++) {
        const auto ns = static_cast<SchemaNamespace>(i);
        files.push_back(
            {options.headers + "/" + SchemaNamespace_Word(ns) + ".h", Emit_Header(emission, ns)});
    }
    return files;
}

bool WriteFiles(const std::vector<File> &files) {
    for (const File &file : files) {
        std::string error;
        if (!OutputFile_MakeFolder(file.path, &error) ||
            !OutputFile_Write(file.path, file.text, &error)) {
            std::fprintf(stderr, "schemagen: %s\n", error.c_str());
            return false;
        }
    }
    return true;
}

int Run(const Options &options) {
    SchemaModel model;
    SchemaErrors errors;
    if (!ReadTables(options, &model, &errors)) {
        ShowErrors(errors);
        return 1;
    }

    const Emission emission = Emission_Make(model);
    if (options.wantsCount)
        std::fputs(Emit_Counts(emission).c_str(), stdout);
    return WriteFiles(MakeFiles(options, emission)) ? 0 : 1;
}

} // namespace

int main(int argc, char **argv) {
    Options options;
    CLI::App app("Makes sources and headers from the tables of the schema.", "schemagen");
    app.add_option("--sources", options.sources, "folder for the C++ sources");
    app.add_option("--headers", options.headers, "folder for the headers");
    app.add_flag("--count", options.wantsCount,
                 "print how many types, methods and words there are");
    app.add_option(
           "--overlay", options.overlays,
           "tables that complete the others: a file, or a folder of *.schema; may be repeated")
        ->allow_extra_args(false);
    app.add_option("tables", options.tables, "the *.schema files")->required();
    CLI11_PARSE(app, argc, argv);
    return Run(options);
}
