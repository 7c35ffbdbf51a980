/*
 * overlayWriter.h -- tables as text, in the form of those that are shipped
 *
 * The same model gives the same bytes: types are sorted by namespace, kind and name.
 *
 * Threads: no state.
 */
#pragma once

#include <string>

#include "ozy/lib/schemaText/schemaText.h"

namespace schemaImport {

/* The comment becomes the first line. */
std::string WriteOverlay(const SchemaModel &overlay, const std::string &comment);

} // namespace schemaImport
