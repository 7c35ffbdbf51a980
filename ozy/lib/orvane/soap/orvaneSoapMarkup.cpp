#include "ozy/lib/orvane/soap/orvaneSoapMarkup.h"

#include <algorithm>
#include <vector>

#include "ozy/lib/orvane/soap/orvaneSoapScan.h"

namespace {

constexpr std::string_view kByteOrderMark = "\xef\xbb\xbf";
constexpr std::string_view kBlanks = " \t\r\n";
/* No byte of a name; a name may have others that XML does not allow. */
constexpr std::string_view kNotInName = " \t\r\n/<>=\"'";
constexpr gsize kMaxDepth = 300;       /* libxml2 stops at 256 levels */
constexpr gsize kMaxSection = 9999999; /* bytes; libxml2 may leave a longer section in its middle */

/* Whether the text has no character that XML does not allow. libxml2 leaves a comment at such a one. */
bool SoapIsXmlText(std::string_view text) {
    for (guchar byte : text) {
        if (byte < 0x20 && !SoapScan_Is(char(byte), SOAP_SCAN_BLANK))
            return false;
    }
    return g_utf8_validate(text.data(), gssize(text.size()), nullptr) &&
           text.find("\xef\xbf\xbe") == text.npos && text.find("\xef\xbf\xbf") == text.npos;
}

/* Follows the tags of one text. Each function consumes its part from the front of the rest. */
class SoapTags {
public:
    explicit SoapTags(std::string_view text) : rest(text) {}
    SoapMarkup Follow();

private:
    SoapMarkup Tag();
    SoapMarkup StartTag();
    SoapMarkup EndTag();
    void SkipDeclaration();
    SoapMarkup Section(std::string_view start, std::string_view end);
    bool TakeName(std::string_view *name);
    bool TakeValue();
    void SkipBlanks() {
        rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    }
    bool Take(std::string_view wanted) {
        if (!rest.starts_with(wanted))
            return false;
        rest.remove_prefix(wanted.size());
        return true;
    }

    std::string_view rest;
    std::vector<gsize> numDeclared; /* by each open element, the innermost last */
    gsize numInScope = 0;           /* all of them */
    bool isOver = false;            /* behind the root, or where libxml2 stops */
};

SoapMarkup SoapTags::Follow() {
    SkipDeclaration();
    SoapMarkup found = SoapMarkup::Fine;
    while (found == SoapMarkup::Fine && !isOver) {
        const gsize next = rest.find('<');
        if (next == rest.npos)
            break;
        rest.remove_prefix(next);
        found = Tag();
    }
    return found;
}

/* Skips <?xml version="1.0"?>. If it is malformed, libxml2 continues behind the next '>'. */
void SoapTags::SkipDeclaration() {
    Take(kByteOrderMark);
    if (rest.starts_with("<?xml") && rest.find_first_of(kBlanks) == 5)
        rest.remove_prefix(std::min(rest.find('>'), rest.size()));
}

SoapMarkup SoapTags::Tag() {
    if (Take("</"))
        return EndTag();
    if (rest.starts_with("<!--"))
        return Section("<!--", "-->");
    if (rest.starts_with("<![CDATA[") && !numDeclared.empty())
        return Section("<![CDATA[", "]]>");
    if (rest.starts_with("<!DOCTYPE") && numDeclared.empty())
        return SoapMarkup::DocumentType;
    return rest.starts_with("<?") ? Section("<?", "?>") : StartTag();
}

/* A comment, a section of plain text or an instruction: tags inside it are none. */
SoapMarkup SoapTags::Section(std::string_view start, std::string_view end) {
    rest.remove_prefix(start.size());
    const gsize length = rest.find(end);
    if (length == rest.npos)
        return SoapMarkup::Malformed;
    const std::string_view inner = rest.substr(0, length);
    const bool isNamed =
        start != "<?" || (!inner.empty() && SoapScan_Is(inner.front(), SOAP_SCAN_NAME_START));
    if ((!isNamed || length > kMaxSection) && inner.find('<') != inner.npos)
        return SoapMarkup::Malformed;
    rest.remove_prefix(length + end.size());
    return SoapMarkup::Fine;
}

SoapMarkup SoapTags::EndTag() {
    const gsize end = rest.find_first_of("<>");
    if (end == rest.npos || rest[end] == '<' || numDeclared.empty())
        return SoapMarkup::Malformed;
    rest.remove_prefix(end + 1);
    numInScope -= numDeclared.back();
    numDeclared.pop_back();
    isOver = numDeclared.empty();
    return SoapMarkup::Fine;
}

SoapMarkup SoapTags::StartTag() {
    std::string_view name;
    rest.remove_prefix(1);
    if (!TakeName(&name))
        return SoapMarkup::Malformed;
    gsize numAttributes = 0;
    gsize numNamespaces = 0;
    for (SkipBlanks(); !Take(">"); SkipBlanks()) {
        if (Take("/>")) {
            isOver = numDeclared.empty();
            return SoapMarkup::Fine;
        }
        if (!TakeName(&name) || !TakeValue())
            return SoapMarkup::Malformed;
        numNamespaces += name == "xmlns" || name.starts_with("xmlns:");
        if (++numAttributes > kSoapMaxAttributes || numInScope + numNamespaces > kSoapMaxNamespaces)
            return SoapMarkup::TooManyAttributes;
    }
    numDeclared.push_back(numNamespaces);
    numInScope += numNamespaces;
    isOver = numDeclared.size() > kMaxDepth;
    return SoapMarkup::Fine;
}

bool SoapTags::TakeName(std::string_view *name) {
    *name = rest.substr(0, rest.find_first_of(kNotInName));
    rest.remove_prefix(name->size());
    return !name->empty();
}

/* = "value", which has no '<' */
bool SoapTags::TakeValue() {
    SkipBlanks();
    if (!Take("="))
        return false;
    SkipBlanks();
    if (rest.empty() || (rest.front() != '"' && rest.front() != '\''))
        return false;
    const gsize end = rest.find(rest.front(), 1);
    const std::string_view value = rest.substr(0, end);
    if (end == rest.npos || value.find('<') != value.npos)
        return false;
    rest.remove_prefix(end + 1);
    return true;
}

} // namespace

SoapMarkup OrvaneSoapMarkup_Check(std::string_view text) {
    /* each attribute has an '=' */
    if (std::count(text.begin(), text.end(), '=') <= gssize(kSoapMaxAttributes))
        return SoapMarkup::Fine;
    return SoapIsXmlText(text) ? SoapTags(text).Follow() : SoapMarkup::Malformed;
}
