#include "ozy/lib/orvane/soap/orvaneSoapBuilder.h"

#include <cstddef>
#include <span>

#include <libxml/parserInternals.h>

namespace {

/*
 * A text is stored inside its node, in place of the fields that only elements have. The node ends with
 * the text, which may be before its last fields or behind them.
 */
constexpr gsize kTextOffset = offsetof(xmlNode, properties);
constexpr gsize kMaxDepth = 200; /* open elements; libxml2 allows a few more */

constexpr gsize kResultDepth = 4; /* Envelope, Body, the response element, its "returnval" */
/*
 * Of an element that may be a piece. The value of a change is at 8, a list in an object of it at 10. Each level may cost
 * a hostile text one more look at pieceBytes of each of its long elements.
 */
constexpr gsize kMaxPieceDepth = 12;
constexpr gsize kMinPieceMemory = 256; /* of nodes; fewer are not worth reading the text again */

/* The names "xmlns" and "xmlns:p". */
bool SoapIsDeclaration(const SoapGiven &given) {
    return given.prefix == "xmlns" || (given.prefix.empty() && given.name == "xmlns");
}

std::string_view SoapText(const xmlChar *text) {
    return text != nullptr ? reinterpret_cast<const char *>(text) : std::string_view();
}

constexpr gsize SoapTextNodeSize(gsize length) {
    return SoapBlocks_Round(kTextOffset + length + 1);
}

/* Names that begin with "xml" have rules of their own, and so have their namespaces. */
bool SoapIsPlainNs(std::string_view prefix, std::string_view href) {
    return !prefix.starts_with("xml") && !href.empty() &&
           !href.starts_with("http://www.w3.org/XML/") &&
           !href.starts_with("http://www.w3.org/2000/xmlns");
}

} // namespace

bool SoapBuilder::Make(const char *end) {
    if (!SoapScan_Head(&scan))
        return false;
    doc = Zeroed<xmlDoc>();
    doc->type = XML_DOCUMENT_NODE;
    SoapScan_Blanks(&scan);
    if (!Element())
        return false;
    SoapScan_Blanks(&scan);
    return scan.at == end;
}

/*
 * The private functions are inline, as only this file calls them: most have one caller, for each element of a reply.
 */

/* The root, or the element of a piece, up to its end tag. */
inline bool SoapBuilder::Element() {
    if (!SoapScan_Char(&scan, '<') || !Start())
        return false;
    while (!open.empty()) {
        if (!Content() || IsOverLimit())
            return false;
    }
    return true;
}

/* A piece of what is between two tags, or a tag. */
inline bool SoapBuilder::Content() {
    const std::string_view plain = SoapScan_Text(&scan);
    if (!plain.empty())
        AddText(plain);
    if (SoapScan_Char(&scan, '<'))
        return SoapScan_Char(&scan, '/') ? End() : Start();
    char bytes[8];
    gsize length = 0;
    if (!SoapScan_Replaced(&scan, bytes, &length))
        return false;
    AddText({bytes, length});
    return true;
}

/* Behind the '<' of a start tag. */
inline bool SoapBuilder::Start() {
    if (!TakeTag() || open.size() == kMaxDepth)
        return false;
    if (open.size() == kResultDepth - 1)
        isInResult = tag.name.local == "returnval";
    bool isPiece = false;
    if (MayBePiece() && !Skim(&isPiece))
        return false;
    return isPiece || OpenTag();
}

/* Behind the "</" of an end tag. */
inline bool SoapBuilder::End() {
    if (!SoapScan_KnownName(&scan, open.back().name))
        return false;
    SoapScan_Blanks(&scan);
    if (!SoapScan_Char(&scan, '>'))
        return false;
    Close();
    return true;
}

/* Behind the '<' of a start tag, up to its '>'. */
inline bool SoapBuilder::TakeTag() {
    tag.start = scan.at - 1;
    tag.name = SoapScan_Name(&scan);
    tag.given.count = 0;
    bool hasBlanks = SoapScan_Blanks(&scan);
    while (*scan.at != '>' && *scan.at != '/') {
        if (!hasBlanks || !TakeAttribute())
            return false;
        hasBlanks = SoapScan_Blanks(&scan);
    }
    tag.isEmpty = SoapScan_Char(&scan, '/');
    return !tag.name.whole.empty() && SoapScan_Char(&scan, '>');
}

inline bool SoapBuilder::TakeAttribute() {
    SoapGivenList *given = &tag.given;
    const SoapScanName name = SoapScan_Name(&scan);
    SoapScan_Blanks(&scan);
    if (name.whole.empty() || !SoapScan_Char(&scan, '=') || given->count == kSoapMaxAttributes)
        return false;
    SoapScan_Blanks(&scan);
    bool isPlain = false;
    SoapGiven &taken = given->items[given->count];
    taken.value = SoapScan_Value(&scan, &isPlain);
    taken.prefix = name.prefix;
    taken.name = name.local;
    /* two of one name may be an error, even if their prefixes differ */
    for (const SoapGiven &before : std::span(given->items).first(given->count)) {
        if (before.name == taken.name &&
            (before.prefix == taken.prefix ||
             (!before.prefix.empty() && !taken.prefix.empty() && !SoapIsDeclaration(before))))
            return false;
    }
    given->count++;
    return isPlain;
}

/* Opens the element of the tag. */
inline bool SoapBuilder::OpenTag() {
    const gsize outerScope = scopeSize;
    xmlNode *node = isSkimming ? nullptr : MakeElement(tag.name.local);
    numBytes += sizeof(xmlNode);
    if (!Declare(node))
        return false;
    const SoapDeclared *declared = FindNs(tag.name.prefix);
    if ((declared == nullptr && !tag.name.prefix.empty()) || !AddAttributes(node))
        return false;
    if (node != nullptr && declared != nullptr)
        node->ns = declared->ns;
    const bool isEmpty = tag.isEmpty;
    Open(node, outerScope);
    if (isEmpty)
        Close();
    return true;
}

/* -- pieces ------------------------------------------------------------------------------------- */

/* The reader looks for a fault and its message inside the element that it is about to read, so both have all nodes. */
inline bool SoapBuilder::MayBePiece() const {
    return pieceBytes != 0 && !isSkimming && isInResult && open.size() >= kResultDepth - 1 &&
           open.size() < kMaxPieceDepth && tag.name.local != "fault" &&
           tag.name.local != "localizedMessage";
}

/*
 * Reads the element of the tag without making nodes. If it is a piece, that is all. If it is too long or too short for
 * one, everything is as before, and its nodes are to be made.
 */
inline bool SoapBuilder::Skim(bool *isPiece) {
    const SoapTag element = tag;
    const gsize outerScope = scopeSize;
    const guint64 bytesBefore = numBytes;
    const gsize numOuter = open.size();
    const auto isTooLong = [&] { return gsize(scan.at - element.start) > pieceBytes; };

    const SoapScan behindTag = scan;
    isSkimming = true;
    bool isPlain = OpenTag();
    while (isPlain && open.size() > numOuter && !isTooLong())
        isPlain = Content() && !IsOverLimit();
    isSkimming = false;
    if (!isPlain)
        return false;
    hasText = false;
    *isPiece = !isTooLong() && numBytes - bytesBefore >= kMinPieceMemory;
    if (*isPiece) {
        AddPiece(element.start, element.name.local);
        return true;
    }
    tag = element;
    scan = behindTag;
    scopeSize = outerScope;
    numBytes = bytesBefore;
    open.resize(numOuter);
    return true;
}

inline void SoapBuilder::AddPiece(const char *start, std::string_view name) {
    xmlNode *node = MakeElement(name);
    node->psvi = const_cast<char *>(start);
    node->extra = SOAP_NODE_CLOSED;
    Link(node);
}

xmlNode *SoapBuilder::Expand(const xmlNode *piece) {
    FindScope(piece->parent);
    scopeSize = scopeOfSize;
    scan.at = static_cast<const char *>(piece->psvi);
    pieceBytes = 0;
    maxBytes = 0;
    names = {}; /* they are in blocks that may have been rewound */
    return Element() ? root : nullptr;
}

/* Fills the scope with the namespaces that an element's children know. */
inline void SoapBuilder::FindScope(const xmlNode *outer) {
    if (outer == scopeOf)
        return;
    scopeOf = outer;
    scopeSize = 0;
    std::vector<const xmlNode *> path;
    for (const xmlNode *node = outer; node != nullptr; node = node->parent)
        path.push_back(node);
    for (gsize i = path.size(); i > 0; i--) {
        for (xmlNs *ns = path[i - 1]->nsDef; ns != nullptr; ns = ns->next)
            scope[scopeSize++] = {SoapText(ns->prefix), ns};
    }
    scopeOfSize = scopeSize;
}

/* -- nodes -------------------------------------------------------------------------------------- */

/* Without a node, the namespaces are only counted. */
inline bool SoapBuilder::Declare(xmlNode *node) {
    xmlNs **end = node != nullptr ? &node->nsDef : nullptr;
    for (const SoapGiven &attribute : std::span(tag.given.items).first(tag.given.count)) {
        if (!SoapIsDeclaration(attribute))
            continue;
        const std::string_view prefix =
            attribute.prefix.empty() ? std::string_view() : attribute.name;
        if (!SoapIsPlainNs(prefix, attribute.value) || scopeSize == kSoapMaxScope)
            return false;
        numBytes += sizeof(xmlNs) + attribute.value.size();
        xmlNs *ns = nullptr;
        if (node != nullptr) {
            ns = Zeroed<xmlNs>();
            ns->type = XML_LOCAL_NAMESPACE;
            ns->prefix = prefix.empty() ? nullptr : Intern(prefix);
            ns->href = Copy(attribute.value);
            *end = ns;
            end = &ns->next;
        }
        scope[scopeSize++] = {prefix, ns};
    }
    return true;
}

inline bool SoapBuilder::AddAttributes(xmlNode *node) {
    xmlAttr **end = node != nullptr ? &node->properties : nullptr;
    xmlAttr *before = nullptr;
    for (const SoapGiven &taken : std::span(tag.given.items).first(tag.given.count)) {
        if (SoapIsDeclaration(taken))
            continue;
        const SoapDeclared *declared = taken.prefix.empty() ? nullptr : FindNs(taken.prefix);
        if (declared == nullptr && !taken.prefix.empty())
            return false;
        numBytes += sizeof(xmlAttr) + SoapTextNodeSize(taken.value.size());
        if (node == nullptr)
            continue;
        auto *attribute = Zeroed<xmlAttr>();
        attribute->type = XML_ATTRIBUTE_NODE;
        attribute->name = Intern(taken.name);
        attribute->parent = node;
        attribute->doc = doc;
        attribute->ns = declared != nullptr ? declared->ns : nullptr;
        attribute->prev = before;
        attribute->children = attribute->last = MakeText(taken.value);
        attribute->children->parent = reinterpret_cast<xmlNode *>(attribute);
        before = *end = attribute;
        end = &attribute->next;
    }
    return true;
}

inline void SoapBuilder::AddText(std::string_view more) {
    if (hasText)
        return ExtendText(more);
    const gsize size = SoapTextNodeSize(more.size());
    numBytes += size;
    hasText = true;
    textLength = more.size();
    textCapacity = size - kTextOffset;
    if (isSkimming)
        return;
    text = MakeText(more);
    Link(text);
}

inline void SoapBuilder::ExtendText(std::string_view more) {
    const gsize lengthBefore = textLength;
    textLength += more.size();
    const bool isMoved = textLength + 1 > textCapacity;
    if (isMoved) {
        textCapacity = SoapBlocks_Round((textLength + 1) * 2);
        numBytes += textCapacity;
    }
    if (isSkimming)
        return;
    if (isMoved) {
        auto *moved = static_cast<xmlChar *>(blocks.Take(textCapacity));
        text->content = static_cast<xmlChar *>(std::memcpy(moved, text->content, lengthBefore));
    }
    std::memcpy(text->content + lengthBefore, more.data(), more.size());
    text->content[textLength] = 0;
}

/* The node is NULL in an element that is skimmed. */
inline void SoapBuilder::Open(xmlNode *node, gsize outerScope) {
    open.push_back({tag.name.whole, outerScope});
    hasText = false;
    if (node == nullptr)
        return;
    if (parent != nullptr)
        Link(node);
    else
        root = node;
    parent = node;
}

inline void SoapBuilder::Close() {
    const SoapOpened closed = open.back();
    open.pop_back();
    scopeSize = closed.outerScope;
    hasText = false;
    if (isSkimming)
        return;
    parent = parent->parent;
}

inline void SoapBuilder::Link(xmlNode *node) {
    node->parent = parent;
    node->prev = parent->last;
    if (parent->last != nullptr)
        parent->last->next = node;
    else
        parent->children = node;
    parent->last = node;
}

inline const SoapDeclared *SoapBuilder::FindNs(std::string_view prefix) const {
    for (gsize i = scopeSize; i > 0; i--) {
        if (scope[i - 1].prefix == prefix)
            return &scope[i - 1];
    }
    return nullptr;
}

inline const xmlChar *SoapBuilder::Copy(std::string_view from) {
    auto *copy = static_cast<char *>(blocks.Take(SoapBlocks_Round(from.size() + 1)));
    std::memcpy(copy, from.data(), from.size());
    copy[from.size()] = 0;
    return BAD_CAST copy;
}

inline const xmlChar *SoapBuilder::Intern(std::string_view name) {
    const gsize hash = name.size() * 7 + guchar(name.front()) + guchar(name.back()) * 3;
    std::string_view &known = names[hash % names.size()];
    if (known != name)
        known = SoapText(Copy(name));
    return BAD_CAST known.data();
}

inline xmlNode *SoapBuilder::MakeElement(std::string_view name) {
    auto *node = Zeroed<xmlNode>();
    node->type = XML_ELEMENT_NODE;
    node->name = Intern(name);
    node->doc = doc;
    return node;
}

inline xmlNode *SoapBuilder::MakeText(std::string_view from) {
    auto *node = static_cast<xmlNode *>(blocks.Take(SoapTextNodeSize(from.size())));
    std::memset(node, 0, kTextOffset);
    node->type = XML_TEXT_NODE;
    node->name = xmlStringText;
    node->doc = doc;
    node->content = reinterpret_cast<xmlChar *>(node) + kTextOffset;
    std::memcpy(node->content, from.data(), from.size());
    node->content[from.size()] = 0;
    return node;
}
