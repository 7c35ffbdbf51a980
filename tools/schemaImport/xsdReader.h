/*
 * xsdReader.h -- reads XSD and WSDL documents, and those that they include and import
 *
 * Each document is read once, even if documents refer to one another in a circle. What is not understood is
 * noted with its place; the rest is read. A document with a document type declaration is refused before the
 * declaration is read, and the XML parser loads no entity and no other document.
 *
 *   complexType, extension, sequence, all     a type, its base, its elements in their order
 *   minOccurs="0", maxOccurs above 1          optional, array
 *   simpleType, restriction, enumeration      words
 *   message, portType, operation, or the      operations: the elements of the request are the
 *   name XRequestType with an element _this   arguments
 *
 * Threads: one at a time.
 */
#pragma once

#include "tools/schemaImport/documentSource.h"
#include "tools/schemaImport/xsdModel.h"

namespace schemaImport {

/* Limits for all documents of one call. */
inline constexpr size_t kMaxDocuments = 2000;
inline constexpr size_t kMaxBytes = size_t(256) << 20;

XsdSchema ReadDocuments(DocumentSource &source, const std::vector<DocumentRef> &documents,
                        Notes *notes);

} // namespace schemaImport
