/*
 * releases.h -- what the documents of several releases say, as one schema with dates
 *
 * The release in which a type or an element first stands becomes its firstRelease. What a later
 * release takes back or says differently is noted; the earlier word stays, except that an element
 * which any release leaves out or makes optional is optional.
 *
 * Threads: no state.
 */
#pragma once

#include "tools/schemaImport/xsdModel.h"

namespace schemaImport {

/* The documents of one release. */
struct Release {
    std::string version; /* wire text, "ozy25/5.0"; empty if none was named */
    XsdSchema schema;
};

/* From the oldest to the newest. */
XsdSchema CombineReleases(const std::vector<Release> &releases, Notes *notes);

} // namespace schemaImport
