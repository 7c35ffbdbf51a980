/*
 * helpTexts.h -- what the help of all commands has: translated words, the options of every command, examples
 *
 *   SetHelpTexts(program);                                      // before the commands are added
 *   CLI::App *ls = program.add_subcommand("ls", ...);
 *   ls->footer(FooterText(remarks, {"orvane ls -R"}));
 *   GroupHelpOptions(program);                                  // after that
 *
 * Threads: one.
 */
#pragma once

#include <initializer_list>
#include <string>

#include <CLI/CLI.hpp>

namespace orvaneCli {

/* Translates the words of the help that are no command's own, and shows the options of the program with each command. */
void SetHelpTexts(CLI::App &program);

/* Puts the help options of all commands into the group of the others. */
void GroupHelpOptions(CLI::App &command);

/* Returns the remarks, which may be empty, and the examples behind a heading. */
std::string FooterText(const std::string &remarks, std::initializer_list<const char *> examples);

} // namespace orvaneCli
