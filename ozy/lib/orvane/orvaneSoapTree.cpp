#include "ozy/lib/orvane/orvaneSoapTree.h"

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include <libxml/parser.h>
#include <libxml/parserInternals.h>

#include "ozy/lib/orvane/orvaneSoapBlocks.h"
#include "ozy/lib/orvane/orvaneSoapInt.h"

struct OrvaneSoapTree {
    xmlDoc *doc; /* without children if the nodes are in blocks */
    xmlNode *root;
    SoapBlocks blocks;
};

namespace {

using ParserPtr = std::unique_ptr<xmlParserCtxt, Release<xmlFreeParserCtxt>>;

/* Names stay in a parser's dictionary; one that has seen more than these is not used again. */
constexpr int kMaxNames = 2000;

/* The parser that waits for the next reply, whole as after a reset. */
constinit std::atomic<xmlParserCtxt *> gParser;

ParserPtr SoapTakeParser() {
    xmlParserCtxt *parser = gParser.exchange(nullptr, std::memory_order_acq_rel);
    return ParserPtr(parser != nullptr ? parser : xmlNewParserCtxt());
}

/* Only for a parser that met no error. */
void SoapKeepParser(ParserPtr parser) {
    if (xmlDictSize(parser->dict) > kMaxNames)
        return;
    parser->_private = nullptr;
    xmlCtxtReset(parser.get());
    const ParserPtr other(gParser.exchange(parser.release(), std::memory_order_acq_rel));
}

/*
 * A text stands inside its node, in place of the fields that only elements have; the node ends where
 * the text does, before its last fields or behind them.
 */
constexpr gsize kTextOffset = offsetof(xmlNode, properties);

/* The document so far; the parser's _private. */
struct SoapBuilder {
    SoapBlocks blocks;
    xmlNode *root = nullptr;
    xmlNode *parent = nullptr; /* the innermost open element; NULL outside the root */
    xmlNode *text = nullptr;   /* the last child of parent if more text belongs to it */
    gsize textLength = 0;
    gsize textCapacity = 0;
    std::vector<xmlNs *> scope; /* declared by the open elements, the innermost last */
    bool hasFailed = false;
};

SoapBuilder *SoapBuilderOf(void *context) {
    return static_cast<SoapBuilder *>(static_cast<xmlParserCtxt *>(context)->_private);
}

void SoapGiveUp(void *context) {
    SoapBuilderOf(context)->hasFailed = true;
    xmlStopParser(static_cast<xmlParserCtxt *>(context));
}

void SoapLink(SoapBuilder *builder, xmlNode *node) {
    xmlNode *parent = builder->parent;
    node->parent = parent;
    node->prev = parent->last;
    if (parent->last != nullptr)
        parent->last->next = node;
    else
        parent->children = node;
    parent->last = node;
}

/* A node with text; capacity is the room for it, with the NUL. */
xmlNode *SoapMakeText(SoapBuilder *builder, xmlDoc *doc, xmlElementType type, const xmlChar *text,
                      gsize length, gsize *capacity) {
    const gsize size = SoapBlocks_Round(kTextOffset + length + 1);
    auto *node = static_cast<xmlNode *>(builder->blocks.Take(size));
    std::memset(node, 0, kTextOffset);
    node->type = type;
    node->name = type == XML_COMMENT_NODE ? xmlStringComment : xmlStringText;
    node->doc = doc;
    node->content = reinterpret_cast<xmlChar *>(node) + kTextOffset;
    std::memcpy(node->content, text, length);
    node->content[length] = 0;
    *capacity = size - kTextOffset;
    return node;
}

/* More of the text that is the last child of the open element. */
void SoapExtendText(SoapBuilder *builder, const xmlChar *text, gsize length) {
    const gsize needed = builder->textLength + length + 1;
    if (needed > builder->textCapacity) {
        const gsize wanted = SoapBlocks_Round(needed * 2);
        auto *moved = static_cast<xmlChar *>(builder->blocks.Take(wanted));
        std::memcpy(moved, builder->text->content, builder->textLength);
        builder->text->content = moved;
        builder->textCapacity = wanted;
    }
    std::memcpy(builder->text->content + builder->textLength, text, length);
    builder->textLength += length;
    builder->text->content[builder->textLength] = 0;
}

void SoapOnCharacters(void *context, const xmlChar *text, int length) {
    SoapBuilder *builder = SoapBuilderOf(context);
    if (builder->parent == nullptr)
        return;
    if (builder->text != nullptr) {
        SoapExtendText(builder, text, static_cast<gsize>(length));
        return;
    }
    builder->textLength = static_cast<gsize>(length);
    builder->text = SoapMakeText(builder, builder->parent->doc, XML_TEXT_NODE, text,
                                 builder->textLength, &builder->textCapacity);
    SoapLink(builder, builder->text);
}

void SoapOnOther(void *context, xmlElementType type, const xmlChar *text, gsize length) {
    SoapBuilder *builder = SoapBuilderOf(context);
    if (builder->parent == nullptr)
        return; // before or behind the root, where nothing is read
    gsize capacity = 0;
    SoapLink(builder, SoapMakeText(builder, builder->parent->doc, type, text, length, &capacity));
    builder->text = nullptr;
}

void SoapOnComment(void *context, const xmlChar *text) {
    SoapOnOther(context, XML_COMMENT_NODE, text, std::strlen(reinterpret_cast<const char *>(text)));
}

void SoapOnCData(void *context, const xmlChar *text, int length) {
    SoapOnOther(context, XML_CDATA_SECTION_NODE, text, static_cast<gsize>(length));
}

void SoapOnInstruction(void *context, const xmlChar *, const xmlChar *) {
    if (SoapBuilderOf(context)->parent != nullptr)
        SoapGiveUp(context);
}

/* Names and prefixes come from the parser's dictionary: equal ones are the same text. */
xmlNs *SoapFindNs(const SoapBuilder *builder, const xmlChar *prefix) {
    for (std::size_t i = builder->scope.size(); i > 0; i--) {
        if (builder->scope[i - 1]->prefix == prefix)
            return builder->scope[i - 1];
    }
    return nullptr;
}

void SoapDeclare(SoapBuilder *builder, xmlNode *node, int count, const xmlChar **pairs) {
    xmlNs **end = &node->nsDef;
    for (int i = 0; i < count; i++, pairs += 2) {
        auto *ns = static_cast<xmlNs *>(builder->blocks.Take(SoapBlocks_Round(sizeof(xmlNs))));
        *ns = xmlNs{};
        ns->type = XML_LOCAL_NAMESPACE;
        ns->prefix = pairs[0];
        ns->href = pairs[1];
        builder->scope.push_back(ns);
        *end = ns;
        end = &ns->next;
    }
}

/* One attribute as the parser hands it over. */
struct SoapAttribute {
    const xmlChar *name;
    const xmlChar *prefix;
    const xmlChar *uri;
    const xmlChar *value;
    const xmlChar *end;
};

bool SoapAddAttribute(SoapBuilder *builder, xmlNode *node, const SoapAttribute &given,
                      xmlAttr **end) {
    const gsize length = static_cast<gsize>(given.end - given.value);
    xmlNs *ns = given.prefix != nullptr ? SoapFindNs(builder, given.prefix) : nullptr;
    if ((given.prefix != nullptr && ns == nullptr) || std::memchr(given.value, '&', length))
        return false;
    auto *attribute =
        static_cast<xmlAttr *>(builder->blocks.Take(SoapBlocks_Round(sizeof(xmlAttr))));
    *attribute = xmlAttr{};
    attribute->type = XML_ATTRIBUTE_NODE;
    attribute->name = given.name;
    attribute->parent = node;
    attribute->doc = node->doc;
    attribute->ns = ns;
    gsize capacity = 0;
    attribute->children =
        SoapMakeText(builder, node->doc, XML_TEXT_NODE, given.value, length, &capacity);
    attribute->children->parent = reinterpret_cast<xmlNode *>(attribute);
    attribute->last = attribute->children;
    *end = attribute;
    return true;
}

void SoapOnStart(void *context, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
                 int numNamespaces, const xmlChar **namespaces, int numAttributes, int,
                 const xmlChar **attributes) {
    SoapBuilder *builder = SoapBuilderOf(context);
    auto *node = static_cast<xmlNode *>(builder->blocks.Take(SoapBlocks_Round(sizeof(xmlNode))));
    std::memset(node, 0, sizeof(xmlNode));
    node->type = XML_ELEMENT_NODE;
    node->name = name;
    node->doc = static_cast<xmlParserCtxt *>(context)->myDoc;
    SoapDeclare(builder, node, numNamespaces, namespaces);
    if (uri != nullptr)
        node->ns = SoapFindNs(builder, prefix);
    if (node->ns == nullptr && (uri != nullptr || prefix != nullptr))
        return SoapGiveUp(context);

    xmlAttr **end = &node->properties;
    xmlAttr *before = nullptr;
    for (int i = 0; i < numAttributes; i++, attributes += 5) {
        if (!SoapAddAttribute(
                builder, node,
                {attributes[0], attributes[1], attributes[2], attributes[3], attributes[4]}, end))
            return SoapGiveUp(context);
        (*end)->prev = before;
        before = *end;
        end = &before->next;
    }

    if (builder->parent != nullptr)
        SoapLink(builder, node);
    else
        builder->root = node;
    builder->parent = node;
    builder->text = nullptr;
}

void SoapOnEnd(void *context, const xmlChar *, const xmlChar *, const xmlChar *) {
    SoapBuilder *builder = SoapBuilderOf(context);
    if (builder->hasFailed)
        return;
    for (const xmlNs *ns = builder->parent->nsDef; ns != nullptr; ns = ns->next)
        builder->scope.pop_back();
    builder->parent = builder->parent->parent;
    builder->text = nullptr;
}

void SoapUseBuilder(xmlParserCtxt *parser, SoapBuilder *builder) {
    parser->_private = builder;
    parser->keepBlanks = 1;
    xmlSAXHandler *sax = parser->sax;
    sax->startElementNs = SoapOnStart;
    sax->endElementNs = SoapOnEnd;
    sax->characters = SoapOnCharacters;
    sax->ignorableWhitespace = SoapOnCharacters;
    sax->cdataBlock = SoapOnCData;
    sax->comment = SoapOnComment;
    sax->processingInstruction = SoapOnInstruction;
    sax->reference = [](void *context, const xmlChar *) { SoapGiveUp(context); };
    sax->internalSubset = [](void *context, const xmlChar *, const xmlChar *, const xmlChar *) {
        SoapGiveUp(context);
    };
    // Any word of the parser is a reason to let the plain way read the text, and report it.
    sax->serror = [](void *context, xmlError *) { SoapGiveUp(context); };
}

bool SoapIsUtf8(const xmlParserCtxt *parser) {
    return parser->encoding == nullptr || xmlStrcasecmp(parser->encoding, BAD_CAST "UTF-8") == 0;
}

/* Reads the text where it is. The parser neither copies nor converts it: it ends at its NUL, and any
 * encoding but UTF-8 is an error. */
XmlDocPtr SoapParseInPlace(xmlParserCtxt *parser, const char *content) {
    xmlCtxtUseOptions(parser, XML_PARSE_NONET);
    xmlParserInput *input = xmlNewStringInputStream(parser, BAD_CAST content);
    if (input == nullptr || inputPush(parser, input) < 0)
        return nullptr;
    xmlParseDocument(parser);
    XmlDocPtr doc(std::exchange(parser->myDoc, nullptr));
    return parser->wellFormed && SoapIsUtf8(parser) ? std::move(doc) : nullptr;
}

/* The tree in blocks, or NULL if the text needs the plain way or is to be refused. */
OrvaneSoapTree *SoapParseInBlocks(const char *content, gsize length) {
    if (content == nullptr || length == 0 || length > INT_MAX ||
        std::memchr(content, '\0', length + 1) != content + length)
        return nullptr;
    ParserPtr parser = SoapTakeParser();
    if (parser == nullptr)
        return nullptr;
    SoapBuilder builder;
    SoapUseBuilder(parser.get(), &builder);
    XmlDocPtr doc = SoapParseInPlace(parser.get(), content);
    if (doc == nullptr || builder.hasFailed || builder.root == nullptr)
        return nullptr;
    SoapKeepParser(std::move(parser));
    builder.root->parent = reinterpret_cast<xmlNode *>(doc.get());
    return new OrvaneSoapTree{doc.release(), builder.root, std::move(builder.blocks)};
}

} // namespace

OrvaneSoapTree *OrvaneSoapTree_Parse(const char *content, gsize length, const char *name) {
    if (OrvaneSoapTree *tree = SoapParseInBlocks(content, length))
        return tree;
    xmlDoc *doc = OrvaneSoap_ParseDocument(content, length, name);
    if (doc == nullptr)
        return nullptr;
    return new OrvaneSoapTree{doc, xmlDocGetRootElement(doc), {}};
}

xmlNode *OrvaneSoapTree_Root(const OrvaneSoapTree *tree) {
    return tree->root;
}

bool OrvaneSoapTree_IsInBlocks(const OrvaneSoapTree *tree) {
    return tree->doc->children == nullptr;
}

void OrvaneSoapTree_Free(OrvaneSoapTree *tree) {
    xmlFreeDoc(tree->doc);
    delete tree;
}

void OrvaneSoapTree_ReleaseKept() {
    const ParserPtr parser(gParser.exchange(nullptr, std::memory_order_acq_rel));
    SoapBlocks_ReleaseKept();
}
