/*
 * outputFile.h -- writes a file as a whole or not at all
 *
 * A regular file that has these bytes already is left alone with its time stamp, so that nothing that is built
 * from it is built again. A link is followed. Anything else (a device, a pipe) is written to and never replaced;
 * a pipe has to be opened by its reader within two seconds.
 *
 * Errors: a false result with a text that says why; a regular file is then as it was.
 */
#pragma once

#include <string>
#include <string_view>

/* The file's folder must exist. False if it could not be written; @error then has the reason, and the file is
 * unchanged. */
bool OutputFile_Write(const std::string &path, std::string_view bytes, std::string *error);

/* Creates the folder of a file, with its parents. */
bool OutputFile_MakeFolder(const std::string &path, std::string *error);
