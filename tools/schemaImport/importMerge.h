/*
 * importMerge.h -- an overlay with what schema documents add to the schema
 *
 *   a class that is known in full         nothing; what contradicts it is noted
 *   a class with "...", a new one         its fields with their releases: "@v" if all of them can be
 *                                         used, else "..."
 *   an enumeration                        its words, the known ones first
 *   a method with "*" or "~T"             the types of its arguments
 *
 * The built-in schema is never changed. The overlay passes SchemaOverlay_Apply() and
 * SchemaOverlay_Check(): what they refuse is removed and noted.
 *
 * Threads: no state.
 */
#pragma once

#include "tools/schemaImport/releases.h"
#include "tools/schemaImport/typeMap.h"

namespace schemaImport {

struct MergeOptions {
    SchemaNamespace ns = SCHEMA_NAMESPACE_OZY; /* of new types */
    bool isOldestAll = false;                  /* the oldest release counts as "all" */
};

struct Merged {
    SchemaModel overlay; /* files are the documents */
    size_t numClasses = 0;
    size_t numNewClasses = 0; /* of them */
    size_t numEnums = 0;
    size_t numNewEnums = 0; /* of them */
    size_t numMethods = 0;

    bool IsEmpty() const { return overlay.types.empty(); }
};

Merged MergeImport(const SchemaModel &shipped, const std::vector<Release> &releases,
                   const MergeOptions &options, Notes *notes);

} // namespace schemaImport
