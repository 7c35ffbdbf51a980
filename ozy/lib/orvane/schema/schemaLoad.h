/*
 * schemaLoad.h -- overlays at run time: text -> model over the model of the tables in force -> new
 * tables in force
 *
 * The function for applications is in <orvane/schemaOverlay.h>.
 *
 * Ownership: tables that were in force stay to the end of the process, since another thread may
 *            just be looking at them.
 */
#pragma once

#include <orvane/schemaOverlay.h>

/* Loads what ORVANE_SCHEMA_OVERLAY names; a failure is a line in the log. The function reads the
 * variable: secure_getenv(). */
void SchemaLoad_FromEnvironment(char *(*getVariable)(const char *name));
