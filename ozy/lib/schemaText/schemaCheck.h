/*
 * schemaCheck.h -- does a model of the schema hang together?
 *
 * Refused, by file and line: unknown types, bases and versions; two types, members, arguments,
 * words or C names of one name; a base of another kind, or a chain of bases that comes back to its
 * start; marks where they mean nothing (a "likely" field, an enumeration with a base); and more
 * rows than the tables can number.
 *
 * Threads: no state.
 */
#pragma once

#include "ozy/lib/schemaText/schemaText.h"

/* True if the model is sound; otherwise the errors name the places. */
bool SchemaCheck_Run(const SchemaModel &model, SchemaErrors *errors);
