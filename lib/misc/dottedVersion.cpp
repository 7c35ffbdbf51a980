#include "lib/misc/dottedVersion.h"

#include <string_view>

namespace {

/* Removes the first component and its separator from the text, and returns the component. */
std::string_view TakeComponent(std::string_view *rest) {
    const size_t end = rest->find('.');
    const std::string_view component = rest->substr(0, end);
    rest->remove_prefix(end == std::string_view::npos ? rest->size() : end + 1);
    return component;
}

/* Removes the digits at the beginning, and returns them without leading zeros. */
std::string_view TakeNumber(std::string_view *text) {
    size_t end = 0;
    while (end < text->size() && g_ascii_isdigit((*text)[end]))
        end++;
    std::string_view digits = text->substr(0, end);
    text->remove_prefix(end);
    while (!digits.empty() && digits.front() == '0')
        digits.remove_prefix(1);
    return digits;
}

gint CompareNumbers(std::string_view first, std::string_view second) {
    if (first.size() != second.size())
        return first.size() < second.size() ? -1 : 1;
    return first.compare(second);
}

/* Compares numbers and other characters in turn. */
gint CompareComponents(std::string_view first, std::string_view second) {
    do {
        const gint numbers = CompareNumbers(TakeNumber(&first), TakeNumber(&second));
        if (numbers != 0)
            return numbers;
        if (first.empty() || second.empty())
            return static_cast<gint>(!first.empty()) - static_cast<gint>(!second.empty());
        if (first.front() != second.front())
            return first.front() < second.front() ? -1 : 1;
        first.remove_prefix(1);
        second.remove_prefix(1);
    } while (!first.empty() || !second.empty());
    return 0;
}

} // namespace

gint Util_CompareDotted(const char *first, const char *second) {
    std::string_view left = first != nullptr ? first : "";
    std::string_view right = second != nullptr ? second : "";
    while (!left.empty() || !right.empty()) {
        const gint order = CompareComponents(TakeComponent(&left), TakeComponent(&right));
        if (order != 0)
            return order;
    }
    return 0;
}
