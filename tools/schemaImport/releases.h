/*
 * releases.h -- the documents of several releases as one schema
 *
 * The first release that has a type or an element becomes its firstRelease. What a later release removes or
 * changes is noted, and the earlier form is kept; but an element that any release leaves out or makes optional
 * is optional.
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

/* The releases go from the oldest to the newest. */
XsdSchema CombineReleases(const std::vector<Release> &releases, Notes *notes);

} // namespace schemaImport
