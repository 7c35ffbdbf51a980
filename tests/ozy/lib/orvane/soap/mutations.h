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

/* Where the element that begins at a position ends; npos if it does not. */
inline gsize ElementEnd(const std::string &text, gsize at) {
    for (int depth = 0; at != text.npos;) {
        const gsize end = text.find('>', at);
        if (end == text.npos)
            return end;
        if (text[at + 1] == '/')
            depth--;
        else if (text[end - 1] != '/')
            depth++;
        if (depth <= 0)
            return end + 1;
        at = text.find('<', end);
    }
    return at;
}

/* Some elements dropped, doubled, emptied, wrapped, put elsewhere or split by a comment: the text stays well-formed. */
inline std::string Restructured(std::string text, std::mt19937 *random) {
    for (gsize left = 1 + (*random)() % 3; left > 0; left--) {
        const gsize at = text.find('<', (*random)() % text.size());
        const gsize other = text.find('<', (*random)() % text.size());
        const gsize end = at != text.npos && text[at + 1] != '/' ? ElementEnd(text, at) : text.npos;
        if (at == 0 || end == text.npos || other == text.npos)
            continue;
        const std::string element = text.substr(at, end - at);
        switch ((*random)() % 8) {
        case 0:
            text.erase(at, element.size());
            break;
        case 1:
            text.replace(at, element.size(),
                         "<fault xsi:type='LocalizedMethodFault'>" + element + "</fault>");
            break;
        case 2:
            text.insert(other, "<p:q xmlns:p='urn:p' p:type='x'>text</p:q>");
            break;
        case 3:
            text.insert(at, std::string(300, 'x') + "&amp;");
            break;
        case 4:
            if ((*random)() % 8 == 0)
                text.insert(other, "<!-- not plain -->");
            break;
        case 5:
            text.insert(at, element + element);
            break;
        default:
            text.insert(other, element);
        }
    }
    return text;
}
