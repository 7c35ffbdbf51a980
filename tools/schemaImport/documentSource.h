/*
 * documentSource.h -- sources of schema documents: files, or a service (fetch.h)
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
    /* Finds the document at a location that another document contains. */
    virtual bool Resolve(const DocumentRef &from, const std::string &location, DocumentRef *found,
                         std::string *why) = 0;
    virtual bool Read(const DocumentRef &document, std::string *bytes, std::string *why) = 0;
};

/* Reads files, but none outside the folders of those that were named. */
class FileSource : public DocumentSource {
public:
    /* Adds a file, or the *.wsdl and *.xsd files of a folder in the order of their names. */
    bool Name(const std::string &path, std::vector<DocumentRef> *documents, std::string *why);

    bool Resolve(const DocumentRef &from, const std::string &location, DocumentRef *found,
                 std::string *why) override;
    bool Read(const DocumentRef &document, std::string *bytes, std::string *why) override;

private:
    bool IsBelow(const std::string &path) const;

    std::vector<std::string> roots; /* real paths of folders */
};

} // namespace schemaImport
