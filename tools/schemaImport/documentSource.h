/*
 * documentSource.h -- where schema documents come from: files, or a service (fetch.h)
 *
 * Errors:  a false result with a text that says why.
 * Threads: one.
 */
#pragma once

#include <string>
#include <vector>

namespace schemaImport {

/* A document that can be read. Equal keys are the same document. */
struct DocumentRef {
    std::string name; /* for people */
    std::string key;
};

class DocumentSource {
public:
    virtual ~DocumentSource() = default;
    /* What a location that stands in a document leads to. */
    virtual bool Resolve(const DocumentRef &from, const std::string &location, DocumentRef *found,
                         std::string *why) = 0;
    virtual bool Read(const DocumentRef &document, std::string *bytes, std::string *why) = 0;
};

/* Files, none of which lies outside the folders of those that were named. */
class FileSource : public DocumentSource {
public:
    /* A file, or a folder, which stands for its *.wsdl and *.xsd by name. Adds what it stands for. */
    bool Name(const std::string &path, std::vector<DocumentRef> *documents, std::string *why);

    bool Resolve(const DocumentRef &from, const std::string &location, DocumentRef *found,
                 std::string *why) override;
    bool Read(const DocumentRef &document, std::string *bytes, std::string *why) override;

private:
    bool IsBelow(const std::string &path) const;

    std::vector<std::string> roots; /* real paths of folders */
};

} // namespace schemaImport
