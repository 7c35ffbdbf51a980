/*
 * schemaFiles.h -- finds and reads the files of tables: a file, or all *.schema of a folder
 *
 * Ownership: results are the caller's.
 * Errors:    a message that names the file.
 * Threads:   no state.
 */
#pragma once

#include <string>
#include <vector>

/* The path itself if it is a file; the folder's *.schema, by name, if it is a folder, which may have
 * none. False, with nothing added, if it is neither. */
bool SchemaFiles_List(const std::string &path, std::vector<std::string> *files, std::string *error);

/* The bytes of a regular file of at most 32 MiB. */
bool SchemaFiles_Read(const std::string &path, std::string *bytes, std::string *error);
