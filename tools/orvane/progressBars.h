/*
 * progressBars.h -- a bar for each of several tasks at the foot of the terminal, and a line for each that has ended
 *
 *   machine-0001  done                              lines stay, and scroll
 *   machine-0002  ███████░░░░░░░░░  40 %            bars are redrawn in place, ten times a second at most
 *   machine-0003  ░░░░░░░░░░░░░░░░   0 %
 *
 * Where lines cannot be replaced there are no bars. Bars that find no room on the terminal are not drawn.
 *
 * Threads: one.
 */
#pragma once

#include <map>
#include <string>

#include "tools/orvane/terminal.h"

namespace orvaneCli {

class ProgressBars {
public:
    /* Draws nothing if the bars are not wanted, or the terminal cannot move its cursor. */
    explicit ProgressBars(bool isWanted);
    ~ProgressBars(); /* removes the bars */
    ProgressBars(const ProgressBars &) = delete;
    ProgressBars &operator=(const ProgressBars &) = delete;

    bool IsLive() const { return isLive; }
    /* Shows a bar, or moves it. The text is printable. */
    void Set(size_t number, const std::string &label, int percent);
    /* Removes a bar. */
    void Remove(size_t number) { isDirty = bars.erase(number) > 0 || isDirty; }
    /* Writes a line above the bars. */
    void Line(const std::string &text);
    /* Draws what has changed. */
    void Draw();

private:
    struct Bar {
        std::string label;
        int percent;
        bool operator==(const Bar &) const = default;
    };
    std::string BarLine(const Bar &bar, int labelWidth, int width) const;
    std::string Erasure() const;

    Terminal terminal;
    bool isLive;
    bool isDirty = false;
    size_t numDrawn = 0;        /* lines of bars on the terminal */
    std::string lines;          /* to be written above the bars */
    std::map<size_t, Bar> bars; /* in the order of their numbers */
};

} // namespace orvaneCli
