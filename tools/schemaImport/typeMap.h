/*
 * typeMap.h -- types of schema documents as types of the tables
 *
 *   xsd:string, its kin, xsd:anyURI       string; an array of anyURI stays one
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
    /* Both must stay as they are. */
    TypeMap(const SchemaModel &shipped, const XsdSchema &schema);

    /* NULL if the schema does not know it. */
    const TableType *Shipped(const std::string &name) const;

    /* What a complex type of the documents is, by its chain of bases; nothing if that leads nowhere. */
    std::optional<SchemaForm> FormOf(const XsdType &type) const;

    /* How the tables name the type of an element, where "known" is what the schema says of it, or
     * NULL; false with a reason if they cannot. */
    bool RefOf(const XsdField &field, const TableTypeRef *known, TableTypeRef *ref,
               std::string *why) const;

    /* ArrayOfString and its like, which stand in the text of an any only. */
    static bool IsWrapper(const XsdType &type);

private:
    const XsdType *Document(const std::string &name) const;
    bool NameOf(const XsdName &type, bool isArray, const TableTypeRef *known, std::string *name,
                std::string *why) const;

    const SchemaModel &shipped;
    const SchemaIndex index;
    std::map<std::string, const XsdType *> documents;
};

/* Can the tables hold this name? */
bool IsIdentifier(const std::string &name);

} // namespace schemaImport
