/*
 * schemaWords.h -- names of the schema for people: "string", "VirtualMachineConfigSpec", "HostSystem[]"
 *
 * Threads: any, once the library has started.
 */
#pragma once

#include <string>
#include <vector>

#include <glib-object.h>

namespace orvaneCli {

/* The name of a type in the schema; of a list with the type of an element. */
std::string TypeWord(GType type, GType elementType = 0);

/* The words of an enumeration; none for another type. */
std::vector<std::string> WordsOf(GType type);

/* A field of a class of data objects. */
struct SchemaFieldInfo {
    std::string name;
    GType type;
    GType elementType; /* of a list; otherwise 0 */
    bool isOptional;
    std::string release; /* that brought it; empty: each has it */
};
/* In the order of the wire, without those that all data objects have; none for another type, and for a class of which no
 * field is known. */
std::vector<SchemaFieldInfo> FieldsOf(GType type);

/* The names of the classes of data objects. */
std::vector<std::string> DataClassNames();

/* The managed classes that have a method of their own with that name. */
std::vector<GType> ClassesWithMethod(const std::string &name);

/* The names of the methods of all classes, or of one and its bases. */
std::vector<std::string> AllMethodNames();
std::vector<std::string> MethodNamesOf(GType type);

} // namespace orvaneCli
