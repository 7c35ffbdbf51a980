/*
 * typeMap.h -- types of schema documents as types of the tables
 *
 *   xsd:string, its kin, xsd:anyURI       string; an array of anyURI remains one
 *   xsd:unsignedByte, -Short, -Int        the next larger one: short, int, long
 *   xsd:base64Binary, xsd:anyType         binary, any
 *   ManagedObjectReference                ManagedObject, or the class that the schema states
 *   a simpleType without words            its base
 *   any other                             its name, if the schema knows it or it can be added
 *
 * Threads: no state of its own.
 */
#pragma once

#include <map>
#include <optional>

#include "ozy/lib/schemaText/schemaNames.h"
#include "tools/schemaImport/xsdModel.h"

namespace schemaImport {

class TypeMap {
public:
    /* Both must outlive this and stay unchanged. */
    TypeMap(const SchemaModel &shipped, const XsdSchema &schema);

    /* Returns NULL if the schema does not have it. */
    const TableType *Shipped(const std::string &name) const;

    /* Returns the form of a complex type of the documents, by its chain of bases; nothing if its root is unknown. */
    std::optional<SchemaForm> FormOf(const XsdType &type) const;

    /* Finds the type of an element in the terms of the tables; "known" is its type in the schema, or NULL.
     * Returns false with a reason if the tables cannot express it. */
    bool RefOf(const XsdField &field, const TableTypeRef *known, TableTypeRef *ref,
               std::string *why) const;

    /* Returns whether it is ArrayOfString or similar, which occurs only as the type of an any value. */
    static bool IsWrapper(const XsdType &type);

private:
    const XsdType *Document(const std::string &name) const;
    bool NameOf(const XsdName &type, bool isArray, const TableTypeRef *known, std::string *name,
                std::string *why) const;

    const SchemaModel &shipped;
    const SchemaIndex index;
    std::map<std::string, const XsdType *> documents;
};

/* Returns whether a name can be written in the tables. */
bool IsIdentifier(const std::string &name);

} // namespace schemaImport
