/*
 * manualPage.h -- pages of the manual, in mdoc(7), from the descriptions that --help shows
 *
 *   manual::Book book{.program = "orvane", .date = "November 23, 2026"};
 *   for (const manual::Page &page : manual::MakePages(program, book))
 *       page.name                    "orvane.1", and with `commandPages` "orvane-about.1", ...
 *       page.text                    .Dd November 23, 2026 ...
 *
 * The description of the program or command is the page's DESCRIPTION, its footer follows. In a footer lines with two
 * blanks in front are shown as they are, and a line "Examples:" begins the section EXAMPLES.
 *
 * Threads: no state.
 */
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace manual {

/* A row of a table, such as an exit status with its meaning. */
struct Entry {
    std::string word;
    std::string text;
};

struct Book {
    std::string program;
    std::string date; /* of all pages: "November 23, 2026" */
    bool commandPages = false;
    std::vector<Entry> exitStatuses;
    std::vector<Entry> environment;
    std::vector<Entry> files;
};

struct Page {
    std::string name; /* of its file */
    std::string text;
};

/* The commands right below the program or command that help shows. */
std::vector<const CLI::App *> CommandsOf(const CLI::App &app);

std::vector<Page> MakePages(const CLI::App &program, const Book &book);

/* Writes the pages to a folder, which is made. Throws std::runtime_error. */
void WritePages(const std::vector<Page> &pages, const std::string &folder);

} // namespace manual
