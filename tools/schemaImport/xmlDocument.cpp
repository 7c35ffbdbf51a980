#include "tools/schemaImport/xmlDocument.h"

#include <climits>
#include <cstring>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/xmlErrorScope.h"

namespace schemaImport {

namespace {

using ParserPtr = std::unique_ptr<xmlParserCtxt, Release<xmlFreeParserCtxt>>;

constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_COMPACT | XML_PARSE_BIG_LINES;

/* State of one parse, in the context's _private. */
struct Parse {
    int line = 0;
    std::string why; /* the first error */
    bool hasDocumentType = false;
};

Parse *ParseOf(void *context) {
    return static_cast<Parse *>(static_cast<xmlParserCtxt *>(context)->_private);
}

void OnError(void *context, xmlError *error) {
    Parse *parse = ParseOf(context);
    if (!parse->why.empty() || error->level < XML_ERR_ERROR)
        return;
    parse->line = error->line;
    const char *text = error->message != nullptr ? error->message : "no XML";
    for (const char *byte = text; *byte != '\0' && *byte != '\n'; byte++)
        parse->why += g_ascii_isprint(*byte) ? *byte : '?';
}

/* Called after <!DOCTYPE and its name, before the content of the declaration is read. */
void OnDocumentType(void *context, const xmlChar *, const xmlChar *, const xmlChar *) {
    Parse *parse = ParseOf(context);
    parse->hasDocumentType = true;
    parse->line = xmlSAX2GetLineNumber(context);
    xmlStopParser(static_cast<xmlParserCtxt *>(context));
}

const char *Text(const xmlChar *text) {
    return reinterpret_cast<const char *>(text);
}

} // namespace

XmlDocPtr ParseXml(const std::string &bytes, int *line, std::string *why) {
    const ParserPtr parser(xmlNewParserCtxt());
    if (bytes.size() > INT_MAX || parser == nullptr) {
        *why = "too large";
        return nullptr;
    }
    Parse parse;
    parser->_private = &parse;
    parser->sax->serror = OnError;
    parser->sax->internalSubset = OnDocumentType;
    const XmlErrorScope scope(OnError, parser.get());
    XmlDocPtr document(xmlCtxtReadMemory(parser.get(), bytes.data(), static_cast<int>(bytes.size()),
                                         nullptr, nullptr, kOptions));
    *line = parse.line;
    if (parse.hasDocumentType) {
        *why = "refused: it has a document type declaration";
        return nullptr;
    }
    if (document == nullptr)
        *why = parse.why.empty() ? "no XML" : parse.why;
    return document;
}

bool IsElement(const xmlNode *node, const char *ns, const char *name) {
    return node->type == XML_ELEMENT_NODE && node->ns != nullptr &&
           std::strcmp(Text(node->ns->href), ns) == 0 && std::strcmp(Text(node->name), name) == 0;
}

bool IsXsd(const xmlNode *node, const char *name) {
    return IsElement(node, kXsdNamespace, name);
}

std::string ElementText(const xmlNode *node) {
    const bool hasPrefix = node->ns != nullptr && node->ns->prefix != nullptr;
    return (hasPrefix ? std::string(Text(node->ns->prefix)) + ":" : "") + Text(node->name);
}

std::vector<xmlNode *> Children(const xmlNode *node) {
    std::vector<xmlNode *> children;
    for (xmlNode *child = node->children; child != nullptr; child = child->next) {
        if (child->type == XML_ELEMENT_NODE)
            children.push_back(child);
    }
    return children;
}

std::string Attribute(const xmlNode *node, const char *name) {
    const XmlTextPtr value(xmlGetNoNsProp(node, reinterpret_cast<const xmlChar *>(name)));
    return value != nullptr ? Text(value.get()) : "";
}

bool HasAttribute(const xmlNode *node, const char *name) {
    return xmlHasNsProp(node, reinterpret_cast<const xmlChar *>(name), nullptr) != nullptr;
}

std::string NamespaceOf(xmlNode *node, const std::string &qualifiedName) {
    const size_t colon = qualifiedName.find(':');
    const std::string prefix = colon == std::string::npos ? "" : qualifiedName.substr(0, colon);
    const xmlNs *ns =
        xmlSearchNs(node->doc, node,
                    prefix.empty() ? nullptr : reinterpret_cast<const xmlChar *>(prefix.c_str()));
    return ns != nullptr && ns->href != nullptr ? Text(ns->href) : "";
}

std::string LocalName(const std::string &qualifiedName) {
    return qualifiedName.substr(qualifiedName.find(':') + 1);
}

} // namespace schemaImport
