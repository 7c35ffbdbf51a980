/*
 * importVerify.h -- takes out of an overlay what the schema's own rules refuse
 *
 * SchemaOverlay_Apply() and SchemaOverlay_Check() are asked until they have nothing to say. A field or a
 * method that they refuse goes alone, and its class then is one with "..."; anything else goes with the
 * whole type. Each is noted, with what they said.
 *
 * Threads: no state.
 */
#pragma once

#include "ozy/lib/schemaText/schemaOverlay.h"
#include "tools/schemaImport/xsdModel.h"

namespace schemaImport {

void VerifyOverlay(const SchemaModel &shipped, SchemaModel *overlay, Notes *notes);

} // namespace schemaImport
