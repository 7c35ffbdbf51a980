/*
 * emitSpelling.h -- how arguments of stubs are spelt in C, and types in comments; for the emitters
 * only
 */
#pragma once

#include "tools/schemagen/emit.h"

/* The C type of a stub's parameter: "const gchar *", "gint ", "SkemaOzyTaskInfo *". */
std::string Spelling_CType(const Emission &emission, const TableTypeRef &type);
/* The name of a parameter: the argument's own, with a "_" where C or the stub has that word
 * already. */
std::string Spelling_Parameter(const TableArgument &argument);
/* All parameters of a stub, from the object to the listener, without parentheses. */
std::string Spelling_Parameters(const Emission &emission, gsize type, const TableMethod &method);

/* For comments: "#SkemaOzyTaskInfo", "list of string". */
std::string Spelling_Words(const Emission &emission, const TableTypeRef &type);
/* Whether the parameter is a pointer to the engine, so that NULL leaves the argument out. */
bool Spelling_IsPointer(const Emission &emission, const TableTypeRef &type);

/* The type of a wire name, or NULL. */
const TableType *Spelling_Type(const Emission &emission, std::string_view name);
