#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

#include <array>
#include <climits>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>
#include <utility>

#include <libxml/parserInternals.h>

#include "lib/misc/log.h"
#include "ozy/lib/orvane/soap/orvaneSoapBlocks.h"
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"
#include "ozy/lib/orvane/soap/orvaneSoapScan.h"

struct OrvaneSoapTree {
    XmlDocPtr doc; /* NULL if the nodes are in blocks */
    xmlNode *root;
    SoapBlocks blocks;
};

namespace {

/*
 * A text is stored inside its node, in place of the fields that only elements have. The node ends with
 * the text, which may be before its last fields or behind them.
 */
constexpr gsize kTextOffset = offsetof(xmlNode, properties);
constexpr int kMaxDepth = 200;      /* open elements; libxml2 allows a few more */
constexpr gsize kMaxAttributes = 8; /* of one element, namespaces included */
constexpr gsize kMaxScope = 16;     /* namespaces that are declared at one place */

/* An attribute as it is in the text. */
struct SoapGiven {
    std::string_view prefix;
    std::string_view name;
    std::string_view value;
};

struct SoapGivenList {
    std::array<SoapGiven, kMaxAttributes> items;
    gsize count = 0;
};

/* Splits "soapenv:Envelope". */
void SoapSplit(std::string_view whole, std::string_view *prefix, std::string_view *name) {
    const gsize colon = whole.find(':');
    *prefix = colon == std::string_view::npos ? std::string_view() : whole.substr(0, colon);
    *name = colon == std::string_view::npos ? whole : whole.substr(colon + 1);
}

/* The names "xmlns" and "xmlns:p". */
bool SoapIsDeclaration(const SoapGiven &given) {
    return given.prefix == "xmlns" || (given.prefix.empty() && given.name == "xmlns");
}

std::string_view SoapText(const xmlChar *text) {
    return text != nullptr ? reinterpret_cast<const char *>(text) : std::string_view();
}

/* Makes the nodes of one text. Its functions return false where the text is not plain. */
class SoapBuilder {
public:
    SoapBuilder(const char *content, guint64 maxBytes) : blocks(maxBytes), scan{content} {}

    bool Make();

    xmlNode *root = nullptr;
    SoapBlocks blocks;

private:
    bool Content();
    bool Start();
    bool End();
    bool TakeAttribute(SoapGivenList *given);
    bool Declare(xmlNode *node, const SoapGivenList &given);
    bool AddAttributes(xmlNode *node, const SoapGivenList &given);
    void AddText(std::string_view text);
    void ExtendText(std::string_view text);

    void Open(xmlNode *node);
    void Close();
    void Link(xmlNode *node);
    xmlNs *FindNs(std::string_view prefix) const;
    const xmlChar *Copy(std::string_view text);
    const xmlChar *Intern(std::string_view name);
    xmlNode *MakeText(std::string_view text, gsize *capacity);
    template <class T> T *Zeroed() {
        gpointer memory = blocks.Take(SoapBlocks_Round(sizeof(T)));
        return static_cast<T *>(std::memset(memory, 0, sizeof(T)));
    }

    SoapScan scan;
    xmlDoc *doc = nullptr;     /* in the blocks; only the target of all nodes' doc pointers */
    xmlNode *parent = nullptr; /* the innermost open element; NULL outside the root */
    int depth = 0;
    xmlNode *text = nullptr; /* the last child of parent if more text belongs to it */
    gsize textLength = 0;
    gsize textCapacity = 0;
    std::array<xmlNs *, kMaxScope> scope; /* declared by the open elements, the innermost last */
    gsize scopeSize = 0;
    /* Recent names, by a cheap hash: most elements have the name of an earlier one. */
    std::array<const xmlChar *, 64> names{};
};

bool SoapBuilder::Make() {
    if (!SoapScan_Head(&scan))
        return false;
    doc = Zeroed<xmlDoc>();
    doc->type = XML_DOCUMENT_NODE;
    SoapScan_Blanks(&scan);
    if (!SoapScan_Char(&scan, '<') || !Start())
        return false;
    while (parent != nullptr) {
        if (!Content() || blocks.IsOverLimit())
            return false;
    }
    SoapScan_Blanks(&scan);
    return *scan.at == '\0';
}

/* A piece of what is between two tags, or a tag. */
bool SoapBuilder::Content() {
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
bool SoapBuilder::Start() {
    const std::string_view whole = SoapScan_Name(&scan);
    SoapGivenList given;
    bool hasBlanks = SoapScan_Blanks(&scan);
    while (*scan.at != '>' && *scan.at != '/') {
        if (!hasBlanks || !TakeAttribute(&given))
            return false;
        hasBlanks = SoapScan_Blanks(&scan);
    }
    const bool isEmpty = SoapScan_Char(&scan, '/');
    if (whole.empty() || depth == kMaxDepth || !SoapScan_Char(&scan, '>'))
        return false;

    auto *node = Zeroed<xmlNode>();
    std::string_view prefix;
    std::string_view name;
    SoapSplit(whole, &prefix, &name);
    node->type = XML_ELEMENT_NODE;
    node->name = Intern(name);
    node->doc = doc;
    if (!Declare(node, given))
        return false;
    node->ns = FindNs(prefix);
    if ((node->ns == nullptr && !prefix.empty()) || !AddAttributes(node, given))
        return false;
    Open(node);
    if (isEmpty)
        Close();
    return true;
}

/* Behind the "</" of an end tag. */
bool SoapBuilder::End() {
    std::string_view prefix;
    std::string_view name;
    SoapSplit(SoapScan_Name(&scan), &prefix, &name);
    SoapScan_Blanks(&scan);
    const std::string_view opened =
        parent->ns != nullptr ? SoapText(parent->ns->prefix) : std::string_view();
    if (name != SoapText(parent->name) || prefix != opened || !SoapScan_Char(&scan, '>'))
        return false;
    Close();
    return true;
}

bool SoapBuilder::TakeAttribute(SoapGivenList *given) {
    const std::string_view whole = SoapScan_Name(&scan);
    SoapScan_Blanks(&scan);
    if (whole.empty() || !SoapScan_Char(&scan, '=') || given->count == kMaxAttributes)
        return false;
    SoapScan_Blanks(&scan);
    bool isPlain = false;
    SoapGiven taken;
    taken.value = SoapScan_Value(&scan, &isPlain);
    SoapSplit(whole, &taken.prefix, &taken.name);
    /* two of one name may be an error, even if their prefixes differ */
    for (const SoapGiven &before : std::span(given->items).first(given->count)) {
        if (before.name == taken.name &&
            (before.prefix == taken.prefix ||
             (!before.prefix.empty() && !taken.prefix.empty() && !SoapIsDeclaration(before))))
            return false;
    }
    given->items[given->count++] = taken;
    return isPlain;
}

/* Names that begin with "xml" have rules of their own, and so have their namespaces. */
bool SoapIsPlainNs(std::string_view prefix, std::string_view href) {
    return !prefix.starts_with("xml") && !href.empty() &&
           !href.starts_with("http://www.w3.org/XML/") &&
           !href.starts_with("http://www.w3.org/2000/xmlns");
}

bool SoapBuilder::Declare(xmlNode *node, const SoapGivenList &given) {
    xmlNs **end = &node->nsDef;
    for (const SoapGiven &attribute : std::span(given.items).first(given.count)) {
        if (!SoapIsDeclaration(attribute))
            continue;
        const std::string_view prefix =
            attribute.prefix.empty() ? std::string_view() : attribute.name;
        if (!SoapIsPlainNs(prefix, attribute.value) || scopeSize == kMaxScope)
            return false;
        auto *ns = Zeroed<xmlNs>();
        ns->type = XML_LOCAL_NAMESPACE;
        ns->prefix = prefix.empty() ? nullptr : Intern(prefix);
        ns->href = Copy(attribute.value);
        scope[scopeSize++] = ns;
        *end = ns;
        end = &ns->next;
    }
    return true;
}

bool SoapBuilder::AddAttributes(xmlNode *node, const SoapGivenList &given) {
    xmlAttr **end = &node->properties;
    xmlAttr *before = nullptr;
    for (const SoapGiven &taken : std::span(given.items).first(given.count)) {
        if (SoapIsDeclaration(taken))
            continue;
        xmlNs *ns = taken.prefix.empty() ? nullptr : FindNs(taken.prefix);
        if (ns == nullptr && !taken.prefix.empty())
            return false;
        auto *attribute = Zeroed<xmlAttr>();
        attribute->type = XML_ATTRIBUTE_NODE;
        attribute->name = Intern(taken.name);
        attribute->parent = node;
        attribute->doc = doc;
        attribute->ns = ns;
        attribute->prev = before;
        gsize capacity = 0;
        attribute->children = attribute->last = MakeText(taken.value, &capacity);
        attribute->children->parent = reinterpret_cast<xmlNode *>(attribute);
        before = *end = attribute;
        end = &attribute->next;
    }
    return true;
}

void SoapBuilder::AddText(std::string_view more) {
    if (text != nullptr)
        return ExtendText(more);
    text = MakeText(more, &textCapacity);
    textLength = more.size();
    Link(text);
}

void SoapBuilder::ExtendText(std::string_view more) {
    const gsize needed = textLength + more.size() + 1;
    if (needed > textCapacity) {
        const gsize wanted = SoapBlocks_Round(needed * 2);
        auto *moved = static_cast<xmlChar *>(blocks.Take(wanted));
        std::memcpy(moved, text->content, textLength);
        text->content = moved;
        textCapacity = wanted;
    }
    std::memcpy(text->content + textLength, more.data(), more.size());
    textLength += more.size();
    text->content[textLength] = 0;
}

void SoapBuilder::Open(xmlNode *node) {
    if (parent != nullptr)
        Link(node);
    else
        root = node;
    parent = node;
    text = nullptr;
    depth++;
}

void SoapBuilder::Close() {
    for (const xmlNs *ns = parent->nsDef; ns != nullptr; ns = ns->next)
        scopeSize--;
    parent = parent->parent;
    text = nullptr;
    depth--;
}

void SoapBuilder::Link(xmlNode *node) {
    node->parent = parent;
    node->prev = parent->last;
    if (parent->last != nullptr)
        parent->last->next = node;
    else
        parent->children = node;
    parent->last = node;
}

xmlNs *SoapBuilder::FindNs(std::string_view prefix) const {
    for (gsize i = scopeSize; i > 0; i--) {
        if (SoapText(scope[i - 1]->prefix) == prefix)
            return scope[i - 1];
    }
    return nullptr;
}

const xmlChar *SoapBuilder::Copy(std::string_view from) {
    auto *copy = static_cast<char *>(blocks.Take(SoapBlocks_Round(from.size() + 1)));
    std::memcpy(copy, from.data(), from.size());
    copy[from.size()] = 0;
    return BAD_CAST copy;
}

const xmlChar *SoapBuilder::Intern(std::string_view name) {
    const gsize hash = name.size() * 7 + guchar(name.front()) + guchar(name.back()) * 3;
    const xmlChar *&known = names[hash % names.size()];
    if (known == nullptr || SoapText(known) != name)
        known = Copy(name);
    return known;
}

/* A node with text; capacity is the room for it, with the NUL. */
xmlNode *SoapBuilder::MakeText(std::string_view from, gsize *capacity) {
    const gsize size = SoapBlocks_Round(kTextOffset + from.size() + 1);
    auto *node = static_cast<xmlNode *>(blocks.Take(size));
    std::memset(node, 0, kTextOffset);
    node->type = XML_TEXT_NODE;
    node->name = xmlStringText;
    node->doc = doc;
    node->content = reinterpret_cast<xmlChar *>(node) + kTextOffset;
    std::memcpy(node->content, from.data(), from.size());
    node->content[from.size()] = 0;
    *capacity = size - kTextOffset;
    return node;
}

bool SoapIsOneText(const char *content, gsize length) {
    return content != nullptr && length > 0 && length <= INT_MAX &&
           std::memchr(content, '\0', length) == nullptr;
}

} // namespace

OrvaneSoapTree *OrvaneSoapTree_Parse(const char *content, gsize length, const char *name,
                                     guint64 maxBytes) {
    while (length > 0 && content[length - 1] == '\0')
        length--;
    if (SoapIsOneText(content, length)) {
        SoapBuilder builder(content, maxBytes);
        if (builder.Make())
            return new OrvaneSoapTree{nullptr, builder.root, std::move(builder.blocks)};
        if (builder.blocks.IsOverLimit()) {
            Log("SOAP: %s refused: its tree takes more than %" G_GUINT64_FORMAT " bytes\n", name,
                maxBytes);
            return nullptr;
        }
    }
    XmlDocPtr doc(OrvaneSoap_ParseDocument(content, length, name, maxBytes));
    if (doc == nullptr)
        return nullptr;
    xmlNode *root = xmlDocGetRootElement(doc.get());
    return new OrvaneSoapTree{std::move(doc), root, SoapBlocks()};
}

xmlNode *OrvaneSoapTree_Root(const OrvaneSoapTree *tree) {
    return tree->root;
}

bool OrvaneSoapTree_IsInBlocks(const OrvaneSoapTree *tree) {
    return tree->doc == nullptr;
}

void OrvaneSoapTree_Free(OrvaneSoapTree *tree) {
    delete tree;
}
