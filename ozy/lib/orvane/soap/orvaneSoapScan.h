/*
 * orvaneSoapScan.h -- the words of the plain part of XML, which is all that a service's replies use
 *
 *   SoapScan scan{content};
 *   if (!SoapScan_Head(&scan)) ...                 // byte order mark and <?xml?>, if there are any
 *   std::string_view name = SoapScan_Name(&scan);  // "soapenv:Envelope"; empty if there is none
 *
 * Plain are UTF-8, names of ASCII characters, elements, attributes without references, text with the
 * predefined entities and numeric references. Comments, sections, instructions, document types and
 * other encodings are not; nor is anything that may be an error. Whoever meets something that is not
 * plain gives up: libxml2 then reads the same text from its start, and has the only say on what is an
 * error. So nothing here may take what libxml2 would refuse.
 *
 * Each function takes what it is for off the front of the text; on failure the place is of no meaning.
 * The text ends with its only NUL, which is part of nothing, so no function reads beyond it.
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
    SOAP_SCAN_TEXT = 8, /* stands for itself in text; neither '<', '&', ']', CR nor beyond ASCII */
    SOAP_SCAN_VALUE = 16, /* stands for itself in an attribute; neither a quote */
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

/* Whether there were any. */
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
std::string_view SoapScan_Name(SoapScan *scan);
/* From an opening quote to behind the closing one; isPlain is false if it could not be taken. */
std::string_view SoapScan_Value(SoapScan *scan, bool *isPlain);
/* As much as stands for itself, characters beyond ASCII included; empty in front of all else. */
std::string_view SoapScan_Text(SoapScan *scan);
/* A reference, or a line end that counts as one LF; gives the bytes that it stands for. */
bool SoapScan_Replaced(SoapScan *scan, char bytes[8], gsize *length);
