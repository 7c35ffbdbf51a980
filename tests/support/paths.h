/*
 * paths.h -- files of the tree and of the build folder, for tests
 *
 * Functions, not macros: the text of a test is then the same in every clone, and a compiler cache serves all of them.
 */
#pragma once

#include <string>

std::string SourcePath(const std::string &relative);
std::string BuildPath(const std::string &relative);
