/*
 * orvaneSoapScan.h -- tokens of plain XML, the part of XML that services' replies use
 *
 *   SoapScan scan{content};
 *   if (!SoapScan_Head(&scan)) ...                 // byte order mark and <?xml?>, if there are any
 *   SoapScanName name = SoapScan_Name(&scan);      // "soapenv:Envelope"; empty if there is none
 *
 * Plain are UTF-8, names of ASCII characters, elements, attributes without references, text with the
 * predefined entities and numeric references. Comments, sections, instructions, document types and
 * other encodings are not; nor is anything that may be an error. A text that is not plain is parsed by
 * libxml2 from its start, which alone decides what is an error. So nothing here may accept what
 * libxml2 would refuse.
 *
 * Each function consumes its token from the front of the text; after a failure the position is
 * undefined. The text ends with its only NUL, which is part of no token, so no function reads beyond it.
 *
 * Errors:  false, or an empty text.
 * Threads: no state but the SoapScan.
 */
#pragma once

#include <array>
#include <string_view>

#include <glib.h>

struct SoapScan {
    const char *at;
};

enum : guint8 {
    SOAP_SCAN_BLANK = 1,
    SOAP_SCAN_NAME_START = 2,
    SOAP_SCAN_NAME = 4,
    SOAP_SCAN_TEXT = 8,   /* literal in text: ASCII, but not '<', '&', ']', CR */
    SOAP_SCAN_VALUE = 16, /* literal in an attribute: ASCII, but not '<', '&' or a quote */
};

constexpr std::array<guint8, 256> SoapScan_MakeClasses() {
    std::array<guint8, 256> classes{};
    for (unsigned c = ' '; c < 0x80; c++) {
        const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
        const bool isInName = isLetter || (c >= '0' && c <= '9') || c == '-' || c == '.';
        const bool isMarkup = c == '<' || c == '&';
        classes[c] =
            guint8((isLetter ? SOAP_SCAN_NAME_START : 0) | (isInName ? SOAP_SCAN_NAME : 0) |
                   (!isMarkup && c != ']' ? SOAP_SCAN_TEXT : 0) |
                   (!isMarkup && c != '"' && c != '\'' ? SOAP_SCAN_VALUE : 0));
    }
    for (guchar c : {' ', '\t', '\n', '\r'})
        classes[c] |= SOAP_SCAN_BLANK;
    for (guchar c : {'\t', '\n'})
        classes[c] |= SOAP_SCAN_TEXT;
    return classes;
}

inline constexpr std::array<guint8, 256> kSoapScanClasses = SoapScan_MakeClasses();

inline bool SoapScan_Is(char c, guint8 wanted) {
    return (kSoapScanClasses[guchar(c)] & wanted) != 0;
}

/* Skips blanks. Returns whether there were any. */
inline bool SoapScan_Blanks(SoapScan *scan) {
    const char *start = scan->at;
    while (SoapScan_Is(*scan->at, SOAP_SCAN_BLANK))
        scan->at++;
    return scan->at != start;
}

inline bool SoapScan_Char(SoapScan *scan, char wanted) {
    if (*scan->at != wanted)
        return false;
    scan->at++;
    return true;
}

bool SoapScan_Head(SoapScan *scan);
/* The encoding that <?xml?> declares; empty if it declares none. */
std::string_view SoapScan_Encoding(SoapScan *scan);
/* A name, or two with a colon in between. */
struct SoapScanName {
    std::string_view whole;
    std::string_view prefix; /* empty if there is none */
    std::string_view local;
};
SoapScanName SoapScan_Name(SoapScan *scan);
/* The name of an end tag, which is known. */
bool SoapScan_KnownName(SoapScan *scan, std::string_view whole);
/* A quoted value with both quotes, which the result lacks; isPlain is false if it is not plain. */
std::string_view SoapScan_Value(SoapScan *scan, bool *isPlain);
/* Literal text, characters beyond ASCII included; empty if there is none at the position. */
std::string_view SoapScan_Text(SoapScan *scan);
/* A reference, or a line end that is read as one LF. Returns the bytes that replace it. */
bool SoapScan_Replaced(SoapScan *scan, char bytes[8], gsize *length);
