/*
 * terminal.h -- the program's output on stdout: lines, styled words, a progress bar
 *
 * On a terminal words are coloured and the bar moves in place. Elsewhere, and with NO_COLOR or
 * TERM=dumb in the environment, the output is plain lines; the setting "color" decides otherwise. Texts of a service
 * or a certificate go through Printable() first.
 *
 * Errors:  output that cannot be written is dropped; OutputError() says so at the end.
 * Threads: one.
 */
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace orvaneCli {

enum class Style { kPlain, kHeading, kGood, kBad, kFaint };

/* Returns a text of a service or certificate as it may be written to stdout and stderr. */
std::string Printable(std::string_view foreign);

/* Returns a text of the program's own with letters in place of others that the terminal cannot show. */
std::string ForTerminal(const char *text);

/* Writes to stdout. */
void WriteOutput(std::string_view text);
/* Returns the errno of the first write to stdout that failed; 0 if none did. */
int OutputError();
/* Says that nobody reads the output any more, as a write would. */
void NoteClosedOutput();

/* Return the number of columns and lines of the terminal that stdout is; 0 if it is none. */
int OutputColumns();
int OutputRows();

class Terminal {
public:
    Terminal(); /* looks at stdout and the environment */
    ~Terminal();
    Terminal(const Terminal &) = delete;
    Terminal &operator=(const Terminal &) = delete;

    bool IsLive() const { return isLive; }
    /* Whether stdout is a terminal on which the cursor can be moved, whatever the colours are. */
    bool TakesMoves() const { return takesMoves; }
    /* Whether the locale can show more than ASCII. */
    bool HasUnicode() const { return hasUnicode; }

    std::string Styled(Style style, std::string_view text) const;
    /* A progress bar of so many columns. */
    std::string DrawnBar(int percentDone, int width) const;
    /* Writes a line; above the bar, if one is shown. */
    void Line(std::string_view text);
    void Heading(std::string_view title, std::string_view remark = "");

    /* Lets lines, headings and bars not be written. */
    void Silence() { isSilent = true; }

    /* Shows a bar, or moves it. */
    void Progress(std::string_view label, int percent);
    /* Ends the bar, with a word after it. */
    void EndProgress(Style style, std::string_view word);
    /* Draws the bar again, if one is shown, as wide as the terminal is by now. */
    static void RedrawBar();
    /* Calls a function in that case, too; an empty one ends that. */
    static void OnRedraw(std::function<void()> function);

private:
    std::string Bar() const;

    bool takesMoves = false;
    bool isSilent = false;
    bool isLive = false;    /* lines can be replaced */
    bool hasStyles = false; /* words can be coloured */
    bool hasUnicode;
    std::string label; /* of the bar; empty if none is shown */
    int percent = 0;
    std::vector<int> seen; /* percentages that the bar has shown */
};

} // namespace orvaneCli
