#include "tools/orvane/progressBars.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "tools/orvane/textWidth.h"

namespace orvaneCli {

namespace {

constexpr int kUsualColumns = 80;
constexpr int kUsualRows = 24;
constexpr int kBeside =
    9; /* columns of a line beside label and bar: blanks, percentage, one for the cursor */
constexpr int kMostBar = 30;
constexpr int kLeastBar = 4;

int Rows() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row != 0 ? size.ws_row
                                                                            : kUsualRows;
}

} // namespace

ProgressBars::ProgressBars(bool isWanted) : isLive(isWanted && terminal.IsLive()) {}

ProgressBars::~ProgressBars() {
    if (numDrawn > 0 || !lines.empty())
        WriteOutput(Erasure() + lines);
}

void ProgressBars::Set(size_t number, const std::string &label, int percent) {
    const Bar bar{label, std::clamp(percent, 0, 100)};
    const auto found = bars.find(number);
    if (found != bars.end() && found->second == bar)
        return;
    bars.insert_or_assign(number, bar);
    isDirty = true;
}

void ProgressBars::Line(const std::string &text) {
    if (!isLive) {
        WriteOutput(text + "\n");
        return;
    }
    lines += text + "\n";
    isDirty = true;
}

/* Moves the cursor to the first line of the bars, and clears from there on. */
std::string ProgressBars::Erasure() const {
    return numDrawn > 0 ? fmt::format("\033[{}A\r\033[J", numDrawn) : "";
}

std::string ProgressBars::BarLine(const Bar &bar, int labelWidth, int width) const {
    const char *cut = terminal.HasUnicode() ? "\u2026" : "~";
    return fmt::format("{}  {} {:3} %\n", PadText(CutText(bar.label, labelWidth, cut), labelWidth),
                       terminal.DrawnBar(bar.percent, width), bar.percent);
}

void ProgressBars::Draw() {
    if (!isLive || !isDirty)
        return;
    isDirty = false;
    const int columns = OutputColumns() > 0 ? OutputColumns() : kUsualColumns;
    int labelWidth = 0;
    for (const auto &[number, bar] : bars)
        labelWidth = std::max(labelWidth, TextWidth(bar.label));
    labelWidth = std::min(labelWidth, std::max(columns - kBeside - kLeastBar, 1));
    const int width = std::clamp(columns - kBeside - labelWidth, 0, kMostBar);
    std::string text = Erasure() + std::exchange(lines, "");
    numDrawn = 0;
    for (const auto &[number, bar] : bars) {
        if (int(numDrawn) + 1 >= Rows())
            break;
        text += BarLine(bar, labelWidth, width);
        numDrawn++;
    }
    WriteOutput(text);
}

} // namespace orvaneCli
