/*
 * outputFile.h -- writes a file as a whole or not at all
 *
 * A file that has these bytes already is left alone with its time stamp, so that nothing that is
 * built from it is built again.
 */
#pragma once

#include <string>
#include <string_view>

/* False if it could not be written; the error then has the reason, and the file is unchanged. */
bool OutputFile_Write(const std::string &path, std::string_view bytes, std::string *error);
