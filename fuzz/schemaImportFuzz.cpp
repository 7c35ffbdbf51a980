/*
 * Schema documents from anybody: whatever the bytes, importing them ends, and what is made of them
 * is an overlay that the schema's own rules take. A line "%% name" begins a document of that name,
 * "%%%" the documents of the next release; the first byte picks how releases are counted.
 */
#include <array>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>

#include "ozy/lib/schemaText/schemaOverlay.h"
#include "tests/tools/schemaImport/shippedTables.h"
#include "tools/schemaImport/importMerge.h"
#include "tools/schemaImport/overlayWriter.h"
#include "tools/schemaImport/xsdReader.h"

namespace {

using namespace schemaImport;

constexpr auto kReleases = std::to_array<const char *>({"", "ozy2/2.0", "ozy25/4.0", "ozy25/5.0"});

SchemaModel Shipped() {
    SchemaModel model;
    SchemaErrors errors;
    if (!SchemaText_Parse(&model, "shipped.schema", kShipped, &errors))
        abort();
    return model;
}

/* Documents in memory, by name. */
class TextSource : public DocumentSource {
public:
    bool Resolve(const DocumentRef &, const std::string &location, DocumentRef *found,
                 std::string *why) override {
        *found = {location, location};
        *why = "is not there";
        return texts.contains(location);
    }
    bool Read(const DocumentRef &document, std::string *bytes, std::string *) override {
        *bytes = texts[document.key];
        return true;
    }
    std::map<std::string, std::string> texts;
};

/* The documents of one release: the first, and those that it leads to. */
XsdSchema ReadRelease(std::string_view text, Notes *notes) {
    TextSource source;
    std::string name = "a.xsd";
    while (true) {
        const size_t end = std::min(text.find("\n%% "), text.size());
        source.texts[name] = text.substr(0, end);
        text.remove_prefix(end);
        if (text.empty())
            break;
        text.remove_prefix(4);
        const size_t line = std::min(text.find('\n'), text.size());
        name = text.substr(0, line);
        text.remove_prefix(line);
    }
    return ReadDocuments(source, {{"a.xsd", "a.xsd"}}, notes);
}

std::vector<Release> ReadReleases(std::string_view text, Notes *notes) {
    std::vector<Release> releases;
    for (const char *version : kReleases) {
        const size_t end = std::min(text.find("\n%%%\n"), text.size());
        releases.push_back({version, ReadRelease(text.substr(0, end), notes)});
        if (end == text.size())
            break;
        text.remove_prefix(end + 5);
    }
    return releases;
}

void Verify(const std::string &tables, SchemaModel shipped) {
    SchemaModel overlay;
    SchemaErrors errors;
    if (!SchemaText_Parse(&overlay, "imported.schema", tables, &errors) ||
        !SchemaOverlay_Apply(&shipped, std::move(overlay), &errors) ||
        !SchemaOverlay_Check(shipped, &errors)) {
        fprintf(stderr, "%s\n%s", errors.messages.front().c_str(), tables.c_str());
        abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const SchemaModel shipped = Shipped();
    if (size < 1)
        return 0;
    const std::string_view text(reinterpret_cast<const char *>(data) + 1, size - 1);
    const MergeOptions options = {data[0] % 4 < 2 ? SCHEMA_NAMESPACE_OZY : SCHEMA_NAMESPACE_FERRY,
                                  data[0] % 2 == 1};
    Notes notes;
    const Merged merged = MergeImport(shipped, ReadReleases(text, &notes), options, &notes);
    if (!merged.IsEmpty())
        Verify(WriteOverlay(merged.overlay, "fuzz"), shipped);
    return 0;
}
