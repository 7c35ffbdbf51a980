#include "ozy/lib/orvane/soap/orvaneSoapScan.h"

#include <charconv>
#include <cstring>

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";

bool SoapTake(SoapScan *scan, std::string_view wanted) {
    if (std::strncmp(scan->at, wanted.data(), wanted.size()) != 0)
        return false;
    scan->at += wanted.size();
    return true;
}

/* name = "value", after at least one blank */
bool SoapTakeSetting(SoapScan *scan, std::string_view name, std::string_view *value) {
    SoapScan ahead = *scan;
    bool isPlain = false;
    if (!SoapScan_Blanks(&ahead) || !SoapTake(&ahead, name))
        return false;
    SoapScan_Blanks(&ahead);
    if (!SoapScan_Char(&ahead, '='))
        return false;
    SoapScan_Blanks(&ahead);
    *value = SoapScan_Value(&ahead, &isPlain);
    if (isPlain)
        *scan = ahead;
    return isPlain;
}

bool SoapIsUtf8(std::string_view encoding) {
    return encoding.size() == 5 && g_ascii_strncasecmp(encoding.data(), "UTF-8", 5) == 0;
}

bool SoapIsNameStart(char c) {
    return SoapScan_Is(c, SOAP_SCAN_NAME_START);
}

void SoapSkipNameRest(SoapScan *scan) {
    while (SoapScan_Is(*scan->at, SOAP_SCAN_NAME))
        scan->at++;
}

/* Length of one character beyond ASCII, in bytes; 0 if it is malformed or not allowed in XML. */
gsize SoapCharacter(const char *text) {
    const gunichar character = g_utf8_get_char_validated(text, gssize(strnlen(text, 4)));
    if (character >= gunichar(-2) || character == 0xfffe || character == 0xffff)
        return 0;
    return gsize(g_utf8_next_char(text) - text);
}

bool SoapIsXmlCharacter(guint32 code) {
    return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code < 0xd800) ||
           (code >= 0xe000 && code < 0x110000 && code != 0xfffe && code != 0xffff);
}

/* Consumes the part of a numeric reference behind "&#". */
bool SoapTakeNumber(SoapScan *scan, char bytes[8], gsize *length) {
    const int base = SoapScan_Char(scan, 'x') ? 16 : 10;
    guint32 code = 0;
    const auto read = std::from_chars(scan->at, scan->at + strnlen(scan->at, 8), code, base);
    scan->at = read.ptr;
    if (read.ec != std::errc() || !SoapScan_Char(scan, ';') || !SoapIsXmlCharacter(code))
        return false;
    *length = gsize(g_unichar_to_utf8(code, bytes));
    return true;
}

bool SoapTakeEntity(SoapScan *scan, char bytes[8], gsize *length) {
    constexpr struct {
        std::string_view name;
        char character;
    } kEntities[] = {{"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"quot;", '"'}, {"apos;", '\''}};
    for (const auto &entity : kEntities) {
        if (!SoapTake(scan, entity.name))
            continue;
        bytes[0] = entity.character;
        *length = 1;
        return true;
    }
    return false;
}

} // namespace

bool SoapScan_Head(SoapScan *scan) {
    std::string_view value;
    SoapTake(scan, kByteOrderMark);
    if (!SoapTake(scan, "<?xml"))
        return true;
    if (!SoapTakeSetting(scan, "version", &value) || value != "1.0")
        return false;
    if (SoapTakeSetting(scan, "encoding", &value) && !SoapIsUtf8(value))
        return false;
    if (SoapTakeSetting(scan, "standalone", &value) && value != "yes" && value != "no")
        return false;
    SoapScan_Blanks(scan);
    return SoapTake(scan, "?>");
}

std::string_view SoapScan_Encoding(SoapScan *scan) {
    std::string_view value;
    SoapTake(scan, kByteOrderMark);
    if (!SoapTake(scan, "<?xml") || !SoapTakeSetting(scan, "version", &value) ||
        !SoapTakeSetting(scan, "encoding", &value))
        return {};
    return value;
}

SoapScanName SoapScan_Name(SoapScan *scan) {
    const char *start = scan->at;
    const char *local = start;
    if (!SoapIsNameStart(*start))
        return {};
    SoapSkipNameRest(scan);
    if (*scan->at == ':') {
        local = ++scan->at;
        if (!SoapIsNameStart(*local))
            return {};
        SoapSkipNameRest(scan);
    }
    /* a further colon or a character that is no ASCII would belong to the name */
    if (*scan->at == ':' || guchar(*scan->at) >= 0x80)
        return {};
    const char *end = scan->at;
    return {{start, end}, {start, local != start ? local - 1 : start}, {local, end}};
}

bool SoapScan_KnownName(SoapScan *scan, std::string_view whole) {
    if (!SoapTake(scan, whole))
        return false;
    return !SoapScan_Is(*scan->at, SOAP_SCAN_NAME) && *scan->at != ':' && guchar(*scan->at) < 0x80;
}

std::string_view SoapScan_Value(SoapScan *scan, bool *isPlain) {
    const char quote = *scan->at;
    const char other = quote == '"' ? '\'' : '"';
    *isPlain = false;
    if (quote != '"' && quote != '\'')
        return {};
    const char *start = ++scan->at;
    while (SoapScan_Is(*scan->at, SOAP_SCAN_VALUE) || *scan->at == other)
        scan->at++;
    if (*scan->at != quote)
        return {};
    *isPlain = true;
    return {start, gsize(scan->at++ - start)};
}

std::string_view SoapScan_Text(SoapScan *scan) {
    const char *start = scan->at;
    for (;;) {
        while (SoapScan_Is(*scan->at, SOAP_SCAN_TEXT))
            scan->at++;
        if (*scan->at == ']' && std::strncmp(scan->at, "]]>", 3) != 0) {
            scan->at++;
            continue;
        }
        const gsize length = guchar(*scan->at) >= 0x80 ? SoapCharacter(scan->at) : 0;
        if (length == 0)
            return {start, gsize(scan->at - start)};
        scan->at += length;
    }
}

bool SoapScan_Replaced(SoapScan *scan, char bytes[8], gsize *length) {
    if (SoapScan_Char(scan, '\r')) {
        SoapScan_Char(scan, '\n');
        bytes[0] = '\n';
        *length = 1;
        return true;
    }
    if (!SoapScan_Char(scan, '&'))
        return false;
    return SoapScan_Char(scan, '#') ? SoapTakeNumber(scan, bytes, length)
                                    : SoapTakeEntity(scan, bytes, length);
}
