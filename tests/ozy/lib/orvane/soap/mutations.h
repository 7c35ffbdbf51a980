/* mutations.h -- replies with random faults */
#pragma once

#include <iterator>
#include <random>
#include <string>
#include <string_view>

#include <glib.h>

/* A few changes at random places: bytes, words that mean something, pieces of the text itself. */
inline std::string Mutated(std::string text, std::mt19937 *random) {
    constexpr std::string_view kWords[] = {
        // clang-format off
        "<", "</", "/>", ">", "&amp;", "&#10;", "&#x41;", "'", "\"", "=", "xmlns", "xmlns:p", "xml:", "p:",
        "]]>", "<!--", "<?", "\r\n", " ", ":", "\xc3\xa4", "\xef\xbf\xbf", "\xed\xa0\x80", "\x01",
        "urn:a", "&", "standalone='no'"
        // clang-format on
    };
    const auto below = [&](gsize limit) {
        return std::uniform_int_distribution<gsize>(0, limit - 1)(*random);
    };
    for (gsize left = below(5); left > 0 && !text.empty(); left--) {
        const gsize at = below(text.size());
        switch (below(4)) {
        case 0:
            text.insert(at, kWords[below(std::size(kWords))]);
            break;
        case 1:
            text.erase(at, 1 + below(4));
            break;
        case 2:
            text[at] = char(below(256));
            break;
        default:
            text.insert(at, text.substr(below(text.size()), 1 + below(20)));
        }
    }
    return text;
}

/* One change to a reply: another type, another word, a number that is none, an element that is gone. */
inline std::string Changed(std::string text, std::mt19937 *random) {
    constexpr const char *kWords[] = {
        "VirtualMachine",       "xsd:int", "Folder",     "ManagedEntity",    "LocalizedMethodFault",
        "xsd:dateTime",         "",        "ArrayOfInt", "xsd:base64Binary", "TaskInfoState",
        "xsd:boolean",          "x-1",     "DataObject", "xsd:float",        "NaN",
        "-99999999999999999999"};
    for (int left = 3; left > 0; left--) {
        const gsize at = text.find_first_of("'\">", (*random)() % text.size());
        const gsize end = at == text.npos ? at : text.find_first_of("'\"<", at + 1);
        if (end != text.npos)
            text.replace(at + 1, end - at - 1, kWords[(*random)() % std::size(kWords)]);
    }
    return text;
}
