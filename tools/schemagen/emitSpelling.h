/*
 * emitSpelling.h -- spelling of stub arguments in C, and of types in comments; for the emitters only
 */
#pragma once

#include "tools/schemagen/emit.h"

/* Returns the C type of a stub's parameter: "const gchar *", "gint ", "SkemaOzyTaskInfo *". */
std::string Spelling_CType(const Emission &emission, const TableTypeRef &type);
/* Returns the name of a parameter: that of the argument, with a "_" if C or the stub uses that word. */
std::string Spelling_Parameter(const TableArgument &argument);
/* Returns all parameters of a stub, from the object to the listener, without parentheses. */
std::string Spelling_Parameters(const Emission &emission, gsize type, const TableMethod &method);

/* Returns a type for comments: "#SkemaOzyTaskInfo", "list of string". */
std::string Spelling_Words(const Emission &emission, const TableTypeRef &type);
/* Returns whether the parameter is a pointer to the engine, so that NULL leaves the argument out. */
bool Spelling_IsPointer(const Emission &emission, const TableTypeRef &type);

/* Returns the type with a wire name, or NULL. */
const TableType *Spelling_Type(const Emission &emission, std::string_view name);
