/*
 * schemaOverlay.h -- puts tables of one's own over a model of the schema
 *
 *   namespace ozy
 *
 *   data VirtualMachineSummary ...                 completes a class: what is known of it stays
 *     overallState    ManagedEntityStatus          @ozy25/2.5
 *
 *   data VirtualMachineDisplaySummary : DynamicData  @ozy25/4.0       a new class
 *     screens         int
 *
 * An overlay has the form of schemaText.h. It may add to the model, but not contradict it:
 *
 *   new types          are appended, in any namespace
 *   known types        base, path and enclosing class may be left out; where given, they agree
 *   classes with "..." and managed classes whose use and releases are not known, get the fields.
 *                      "..." adds some: each goes behind the one that is listed before it, and
 *                      without one before it, in front of the next that is known, else behind all.
 *                      "@v" is the full list: it must have all that are known, and its order counts
 *   other classes      may only be repeated
 *   enumerations       begin with the words that are known, in their order, and may go on
 *   arguments          of type "*" or "~T" take the type that is given; others agree
 *   methods            a managed class may get more of them
 *
 * A field, argument or result agrees if it has the same type, use and release; of a field without
 * release in a class with "..." only the type counts. The roots get no fields.
 *
 * Errors:    a contradiction names both places, as "b.schema:7: field 'x' of 'Foo' is int, but
 *            generated/ozy/data.schema:120 declares string".
 * Threads:   no state.
 */
#pragma once

#include "ozy/lib/schemaText/schemaText.h"

/*
 * Puts one overlay over the model, which may have others applied already. False if it contradicts;
 * the model then is good for nothing but further messages.
 */
bool SchemaOverlay_Apply(SchemaModel *model, SchemaModel overlay, SchemaErrors *errors);

/* SchemaCheck_Run(), and that no field of an overlay is in a base class as well. */
bool SchemaOverlay_Check(const SchemaModel &model, SchemaErrors *errors);
