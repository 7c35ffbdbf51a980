#include "tools/orvane/terminal.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <fmt/format.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/printableText.h"
#include "lib/user/msg.h"
#include "lib/user/msgId.h"
#include "tools/orvane/settings.h"

namespace orvaneCli {

namespace {

constexpr int kBarWidth = 30;
constexpr int kBesideBar = 11; /* columns: blanks, the percentage, and one for the cursor */
constexpr int kUsualColumns = 80;
constexpr int kUsualRows = 24;
constexpr char kClearLine[] = "\r\033[K";

/* Whether stdout is a terminal on which the cursor can be moved. */
bool StdoutTakesMoves() {
    const char *term = getenv("TERM");
    return isatty(STDOUT_FILENO) && term && *term && strcmp(term, "dumb") != 0;
}

bool IsColorRefused() {
    const char *noColor = getenv("NO_COLOR");
    return noColor && *noColor;
}

bool LocaleIsUnicode() {
    setlocale(LC_CTYPE, "");
    return strcmp(nl_langinfo(CODESET), "UTF-8") == 0;
}

const char *Code(Style style) {
    switch (style) {
    case Style::kPlain:
        return "";
    case Style::kHeading:
        return "\033[1;36m";
    case Style::kGood:
        return "\033[32m";
    case Style::kBad:
        return "\033[31m";
    case Style::kFaint:
        return "\033[2m";
    }
    return "";
}

/* Only a terminal reads single bytes of a character, and only if it does not expect UTF-8. */
bool IsAscii() {
    static const bool isAscii =
        !LocaleIsUnicode() && (isatty(STDOUT_FILENO) == 1 || isatty(STDERR_FILENO) == 1);
    return isAscii;
}

constinit Terminal *gWithBar = nullptr; /* the one that shows a bar */
constinit int gOutputError = 0;         /* errno of the first write that failed */

std::function<void()> &RedrawFunction() {
    static std::function<void()> function;
    return function;
}

std::string Repeated(std::string_view text, int count) {
    std::string all;
    for (int i = 0; i < count; i++)
        all += text;
    return all;
}

} // namespace

std::string Printable(std::string_view foreign) {
    std::string text =
        PrintableText_Make(foreign, IsAscii() ? PrintableForm::Ascii : PrintableForm::Utf8);
    /* an argument that is a message would be replaced by its translation, and a damaged one ends the program */
    if (text.starts_with(MSG_MAGIC))
        text.replace(0, 1, "\\x40");
    return text;
}

std::string ForTerminal(const char *text) {
    if (!IsAscii() || !g_utf8_validate(text, -1, nullptr))
        return text;
    const GPtr<char> ascii(g_str_to_ascii(text, Msg_GetLocale()));
    return ascii.get();
}

/* Does not throw, since callbacks of the library write, too. */
void WriteOutput(std::string_view text) {
    const bool isWritten =
        fwrite(text.data(), 1, text.size(), stdout) == text.size() && fflush(stdout) == 0;
    if (!isWritten && gOutputError == 0)
        gOutputError = errno;
}

int OutputError() {
    return gOutputError;
}

void NoteClosedOutput() {
    if (gOutputError == 0)
        gOutputError = EPIPE;
}

int OutputRows() {
    winsize size{};
    if (isatty(STDOUT_FILENO) == 0)
        return 0;
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row != 0 ? size.ws_row
                                                                            : kUsualRows;
}

int OutputColumns() {
    winsize size{};
    if (isatty(STDOUT_FILENO) == 0)
        return 0;
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col
                                                                            : kUsualColumns;
}

Terminal::Terminal() : hasUnicode(LocaleIsUnicode()) {
    const ColorSetting setting = GetColorSetting();
    takesMoves = StdoutTakesMoves();
    isLive = takesMoves && (setting == ColorSetting::kAlways ||
                            (setting == ColorSetting::kAuto && !IsColorRefused()));
    hasStyles = isLive || setting == ColorSetting::kAlways;
}

std::string Terminal::Styled(Style style, std::string_view text) const {
    if (!hasStyles || style == Style::kPlain)
        return std::string(text);
    return fmt::format("{}{}\033[0m", Code(style), text);
}

void Terminal::Line(std::string_view text) {
    if (isSilent)
        return;
    if (isLive && !label.empty())
        WriteOutput(fmt::format("{}{}\n{}", kClearLine, text, Bar()));
    else
        WriteOutput(fmt::format("{}\n", text));
}

void Terminal::Heading(std::string_view title, std::string_view remark) {
    Line(Styled(Style::kHeading, title) + (remark.empty() ? "" : "  ") +
         Styled(Style::kFaint, remark));
}

Terminal::~Terminal() {
    if (gWithBar == this)
        gWithBar = nullptr;
}

void Terminal::OnRedraw(std::function<void()> function) {
    RedrawFunction() = std::move(function);
}

void Terminal::RedrawBar() {
    if (RedrawFunction())
        RedrawFunction()();
    if (gWithBar != nullptr && gWithBar->isLive)
        WriteOutput(kClearLine + gWithBar->Bar());
}

void Terminal::Progress(std::string_view newLabel, int newPercent) {
    if (isSilent)
        return;
    gWithBar = this;
    label = newLabel;
    percent = std::clamp(newPercent, 0, 100);
    if (seen.empty() || seen.back() != percent)
        seen.push_back(percent);
    if (isLive)
        WriteOutput(kClearLine + Bar());
}

void Terminal::EndProgress(Style style, std::string_view word) {
    if (isSilent)
        return;
    const std::string text =
        isLive ? fmt::format("{}{} {}\n", kClearLine, Bar(), Styled(style, word))
               : fmt::format("  {}  {} %  {}\n", label, fmt::join(seen, " "), word);
    gWithBar = nullptr;
    label.clear();
    seen.clear();
    WriteOutput(text);
}

std::string Terminal::Bar() const {
    const int width = std::clamp(OutputColumns() - kBesideBar - int(label.size()), 0, kBarWidth);
    return fmt::format("  {}  {} {:3} %", label, DrawnBar(percent, width), percent);
}

std::string Terminal::DrawnBar(int percentDone, int width) const {
    const int full = percentDone * width / 100;
    return Styled(Style::kGood, Repeated(hasUnicode ? "\u2588" : "#", full)) +
           Styled(Style::kFaint, Repeated(hasUnicode ? "\u2591" : ".", width - full));
}

} // namespace orvaneCli
