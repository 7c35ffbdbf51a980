#include "tools/schemaImport/importCommand.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>

#include <fmt/format.h>

#include "lib/misc/err.h"
#include "lib/misc/printableText.h"
#include "ozy/lib/schemaRows/versionTexts.h"
#include "ozy/lib/schemaText/schemaRecover.h"
#include "tools/schemaImport/fetch.h"
#include "tools/schemaImport/overlayWriter.h"
#include "tools/schemaImport/xsdReader.h"
#include "tools/schemagen/outputFile.h"

namespace schemaImport {

namespace {

constexpr const char *kComment = "made by orvane schema import";
constexpr const char *kOutputName = "imported.schema"; /* in a folder */
constexpr int kLimitFactor = 20; /* time-outs that a whole document may take while bytes arrive */

/* An argument of the command line, in parts. */
struct Named {
    std::string version; /* empty if none was named */
    std::string where;
    bool isUrl;
};

/* A word before "=" is a release only if it is a known one; a file's name may contain "=". */
bool TakeApart(const std::string &text, bool isUrl, Named *named, std::string *why) {
    const size_t equal = text.find('=');
    const std::string word = equal == std::string::npos ? "" : text.substr(0, equal);
    *named = {"", text, isUrl};
    if (!word.empty() && VersionTexts_Index(word) > 0) {
        *named = {word, text.substr(equal + 1), isUrl};
        return true;
    }
    std::error_code error;
    if (word.empty() ||
        (isUrl ? word.find("://") != std::string::npos : std::filesystem::exists(text, error)))
        return true;
    *why = "unknown release '" + word + "'";
    return false;
}

/* "ozy" of "ozy25/5.0" */
std::string FamilyOf(const std::string &version) {
    std::string family = version.substr(0, version.find('/'));
    while (!family.empty() && g_ascii_isdigit(family.back()))
        family.pop_back();
    return family;
}

/* Sorts by release, documents without one first. Returns false if the releases are of two services. */
bool SortNamed(std::vector<Named> *all, std::string *why) {
    std::string family;
    for (const Named &named : *all) {
        if (named.version.empty())
            continue;
        if (!family.empty() && family != FamilyOf(named.version)) {
            *why = "releases of two services: '" + named.version + "' beside those of " + family;
            return false;
        }
        family = FamilyOf(named.version);
    }
    std::ranges::stable_sort(*all, {}, [](const Named &named) {
        return named.version.empty() ? 0 : VersionTexts_Index(named.version);
    });
    return true;
}

bool ParseNamed(const ImportOptions &options, std::vector<Named> *all, std::string *why) {
    Named named;
    for (const std::string &text : options.documents) {
        if (!TakeApart(text, false, &named, why))
            return false;
        all->push_back(named);
    }
    for (const std::string &text : options.urls) {
        if (!TakeApart(text, true, &named, why))
            return false;
        all->push_back(named);
    }
    *why = "no document named";
    return !all->empty() && SortNamed(all, why);
}

void Append(XsdSchema *to, XsdSchema from, Notes *notes) {
    for (XsdType &type : from.types) {
        const auto found = std::ranges::find(to->types, type.name, &XsdType::name);
        if (found == to->types.end())
            to->types.push_back(std::move(type));
        else
            notes->push_back({type.place, "type '" + type.name + "' is already defined at " +
                                              PlaceText(found->place)});
    }
    std::ranges::move(from.operations, std::back_inserter(to->operations));
}

void Call(const std::function<void()> &function) {
    if (function)
        function();
}

/* Reads the documents of one release. */
struct ReleaseReader {
    const ImportOptions &options;
    Notes *notes;
    std::optional<GlibFetchLoop> ownLoop = {};

    void AddNote(const Named &named, const std::string &why) {
        notes->push_back({{named.where}, why});
    }

    XsdSchema ReadFiles(const std::vector<Named> &all) {
        FileSource source;
        std::vector<DocumentRef> documents;
        for (const Named &named : all) {
            std::string why;
            if (!named.isUrl && !source.Name(named.where, &documents, &why))
                AddNote(named, why);
        }
        return ReadDocuments(source, documents, notes);
    }
    XsdSchema ReadUrls(const std::vector<Named> &all) {
        GlibFetchLoop *loop = options.loop;
        if (loop == nullptr)
            loop = ownLoop ? &*ownLoop : &ownLoop.emplace();
        UrlSource source(loop->Loop(options.timeoutSeconds * kLimitFactor, options.checkpoint),
                         {options.trustOf, options.authorities, options.isInsecure,
                          static_cast<guint>(options.timeoutSeconds)});
        std::vector<DocumentRef> documents;
        for (const Named &named : all) {
            DocumentRef document;
            std::string why;
            if (!named.isUrl)
                continue;
            if (source.Name(named.where, &document, &why))
                documents.push_back(document);
            else
                AddNote(named, why);
        }
        return ReadDocuments(source, documents, notes);
    }
};

std::vector<Release> ReadReleases(const ImportOptions &options, const std::vector<Named> &all,
                                  Notes *notes) {
    ReleaseReader reader{options, notes};
    std::vector<Release> releases;
    for (size_t begin = 0; begin < all.size();) {
        std::vector<Named> same;
        while (begin < all.size() && (same.empty() || same[0].version == all[begin].version))
            same.push_back(all[begin++]);
        Call(options.checkpoint);
        Release release{same[0].version, reader.ReadFiles(same)};
        if (std::ranges::any_of(same, &Named::isUrl))
            Append(&release.schema, reader.ReadUrls(same), notes);
        releases.push_back(std::move(release));
    }
    return releases;
}

std::string Counted(size_t count, const char *noun) {
    const std::string plural = std::string(noun) == "class" ? "es" : "s";
    return fmt::format("{} {}{}", count, noun, count == 1 ? "" : plural);
}

std::string Report(const Merged &merged, const Notes &notes) {
    std::string report;
    for (const Note &note : notes)
        report += PrintableText_Make(PlaceText(note.place) + ": " + note.text) + "\n";
    report += fmt::format("{} ({} new), {} ({} new), {}; {} not used\n",
                          Counted(merged.numClasses, "class"), merged.numNewClasses,
                          Counted(merged.numEnums, "enumeration"), merged.numNewEnums,
                          Counted(merged.numMethods, "method"), Counted(notes.size(), "thing"));
    return report;
}

/* Guards against tables that the schema's own reader would refuse. */
bool IsReadable(const std::string &tables, std::string *report) {
    SchemaModel model;
    SchemaErrors errors;
    if (SchemaText_Parse(&model, kOutputName, tables, &errors))
        return true;
    for (const std::string &message : errors.messages)
        *report += PrintableText_Make(message) + "\n";
    return false;
}

bool WriteStdout(const std::string &tables, std::string *why) {
    if (std::fwrite(tables.data(), 1, tables.size(), stdout) == tables.size() &&
        std::fflush(stdout) == 0)
        return true;
    *why = std::string("stdout: ") + Err_ErrString();
    return false;
}

bool WriteTables(const ImportOptions &options, const std::string &tables, std::string *why) {
    const std::string &output = options.output;
    if (output.empty() || output == "-") {
        Call(options.beforeStream);
        return WriteStdout(tables, why);
    }
    std::error_code error;
    const bool isFolder = output.ends_with('/') || std::filesystem::is_directory(output, error);
    const std::string path =
        isFolder ? std::filesystem::path(output) / kOutputName : std::filesystem::path(output);
    if (std::filesystem::is_other(path, error))
        Call(options.beforeStream);
    return OutputFile_Write(path, tables, why);
}

} // namespace

SchemaModel BuiltInSchema() {
    return SchemaRecover_Run(kSchemaTables);
}

int ImportText(const SchemaModel &shipped, const ImportOptions &options, std::string *tables,
               std::string *report) {
    std::vector<Named> all;
    const SchemaNamespace ns = SchemaNamespace_Parse(options.ns);
    if (ns == SCHEMA_NUM_NAMESPACES) {
        *report = "unknown namespace '" + options.ns + "'\n";
        return kBadUsage;
    }
    std::string why;
    if (!ParseNamed(options, &all, &why)) {
        *report = why + "\n";
        return kBadUsage;
    }
    Notes notes;
    const std::vector<Release> releases = ReadReleases(options, all, &notes);
    Call(options.checkpoint);
    const Merged merged = MergeImport(shipped, releases, {ns, options.isOldestAll}, &notes);
    *report = Report(merged, notes);
    if (merged.IsEmpty())
        return kNothingUsable;
    *tables = WriteOverlay(merged.overlay, kComment);
    return IsReadable(*tables, report) ? kImported : kNothingUsable;
}

int RunImport(const ImportOptions &options) {
    std::string tables;
    std::string report;
    int status = ImportText(BuiltInSchema(), options, &tables, &report);
    std::string why;
    Call(options.checkpoint);
    if (status == kImported && !WriteTables(options, tables, &why)) {
        report += "orvane: the tables cannot be written: " + why + "\n";
        status = kNothingUsable;
    }
    if (status != kImported || !options.isQuiet)
        std::fputs(report.c_str(), stderr);
    return status;
}

} // namespace schemaImport
