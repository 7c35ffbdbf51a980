#include "tools/schemaImport/documentSource.h"

#include <algorithm>
#include <filesystem>

#include "ozy/lib/schemaText/schemaFiles.h"

namespace schemaImport {

namespace {

namespace fs = std::filesystem;

bool IsDocument(const fs::path &path) {
    return path.extension() == ".wsdl" || path.extension() == ".xsd";
}

bool IsAddress(const std::string &location) {
    return location.find("://") != std::string::npos || location.starts_with("urn:") ||
           location.starts_with("file:");
}

} // namespace

bool FileSource::Name(const std::string &path, std::vector<DocumentRef> *documents,
                      std::string *why) {
    std::error_code error;
    const fs::path real = fs::canonical(path, error);
    if (error) {
        *why = error.message();
        return false;
    }
    if (!fs::is_directory(real, error)) {
        roots.push_back(real.parent_path());
        documents->push_back({path, real});
        return true;
    }

    roots.push_back(real);
    std::vector<DocumentRef> found;
    for (const fs::directory_entry &entry : fs::directory_iterator(real, error)) {
        if (IsDocument(entry.path()))
            found.push_back(
                {(fs::path(path) / entry.path().filename()).lexically_normal(), entry.path()});
    }
    if (found.empty()) {
        *why = error ? error.message() : "no *.wsdl and no *.xsd in this folder";
        return false;
    }
    std::ranges::sort(found, {}, &DocumentRef::name);
    std::ranges::move(found, std::back_inserter(*documents));
    return true;
}

bool FileSource::IsBelow(const std::string &path) const {
    return std::ranges::any_of(roots, [&](const std::string &root) {
        return path.starts_with(root == "/" ? root : root + "/");
    });
}

bool FileSource::Resolve(const DocumentRef &from, const std::string &location, DocumentRef *found,
                         std::string *why) {
    if (IsAddress(location)) {
        *why = "is no local file; nothing is fetched without --url";
        return false;
    }
    std::error_code error;
    const fs::path named = (fs::path(from.name).parent_path() / location).lexically_normal();
    const fs::path real = fs::canonical(named, error);
    if (error) {
        *why = error.message();
        return false;
    }
    if (!IsBelow(real)) {
        *why = "is outside the folders of the documents that were named";
        return false;
    }
    *found = {named, real};
    return true;
}

bool FileSource::Read(const DocumentRef &document, std::string *bytes, std::string *why) {
    return SchemaFiles_Read(document.key, bytes, why);
}

} // namespace schemaImport
