/*
 * terminal.h -- what the program writes to stdout: lines, styled words, a progress bar
 *
 * On a terminal words are coloured and the bar moves in place. Elsewhere, and with NO_COLOR or
 * TERM=dumb in the environment, the same comes as plain lines.
 *
 * Threads: one.
 */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvaneCli {

enum class Style { kPlain, kHeading, kGood, kBad, kFaint };

class Terminal {
public:
    Terminal(); /* looks at stdout and the environment */

    bool IsLive() const { return isLive; }
    /* Whether the locale can show more than ASCII. */
    bool HasUnicode() const { return hasUnicode; }

    std::string Styled(Style style, std::string_view text) const;
    /* A whole line; while a bar is shown, above it. */
    void Line(std::string_view text);
    void Heading(std::string_view title, std::string_view remark = "");

    /* Shows a bar, or moves the one that is shown. */
    void Progress(std::string_view label, int percent);
    /* Ends the bar with a word behind it. */
    void EndProgress(Style style, std::string_view word);

private:
    std::string Bar() const;

    bool isLive;
    bool hasUnicode;
    std::string label; /* of the bar; empty if none is shown */
    int percent = 0;
    std::vector<int> seen; /* what the bar has shown */
};

} // namespace orvaneCli
