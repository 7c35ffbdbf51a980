/*
 * importVerify.h -- removes from an overlay what the schema's rules refuse
 *
 * SchemaOverlay_Apply() and SchemaOverlay_Check() run until they report nothing. A field or a method that they
 * refuse is removed, and its class becomes one with "..."; for anything else the whole type is removed. Each is
 * noted, with their message.
 *
 * Threads: no state.
 */
#pragma once

#include "ozy/lib/schemaText/schemaOverlay.h"
#include "tools/schemaImport/xsdModel.h"

namespace schemaImport {

void VerifyOverlay(const SchemaModel &shipped, SchemaModel *overlay, Notes *notes);

} // namespace schemaImport
