/*
 * Parses a reply's bytes into a tree. Replies are hostile until proved otherwise.
 *
 * Everything is set on the one parser context. The application may use libxml2 as well, so its global
 * error handlers and defaults are not relied on, and are as they were when the document is read.
 */
#include "ozy/lib/orvane/soap/orvaneSoap.h"

#include <algorithm>
#include <climits>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

#include <libxml/SAX2.h>
#include <libxml/encoding.h>
#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/xmlErrorScope.h"
#include "ozy/lib/orvane/soap/orvaneSoapMarkup.h"
#include "ozy/lib/orvane/soap/orvaneSoapScan.h"

namespace {

using ParserPtr = std::unique_ptr<xmlParserCtxt, Release<xmlFreeParserCtxt>>;

constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_COMPACT;
constexpr guint kMaxMessages = 3;  /* logged for one document; a parser can have one per element */
constexpr gsize kMaxMessage = 200; /* bytes of one message */
/* A shorter text has no element with too many attributes: " a=''" is the shortest. */
constexpr gsize kMinLength = 5 * kSoapMaxAttributes;

/* The state of one parse, for its callbacks; the context's _private. */
struct SoapParse {
    const char *name;
    guint64 maxBytes; /* of the tree; 0: no limit */
    guint64 numBytes = 0;
    guint numMessages = 0;
    bool hasDocumentType = false;
    bool isTooBig = false;
};

/* A text as libxml2 is to read it. */
struct SoapSource {
    const char *content;
    gsize length;
    int options = kOptions;
    GPtr<char> converted; /* of another encoding than UTF-8 */
};

SoapParse *SoapParseOf(void *context) {
    return static_cast<SoapParse *>(static_cast<xmlParserCtxt *>(context)->_private);
}

void SoapLogMessage(void *context, xmlError *error) {
    SoapParse *parse = SoapParseOf(context);
    if (++parse->numMessages > kMaxMessages)
        return;
    const char *text = error->message != nullptr ? error->message : "unknown";
    const int length = static_cast<int>(std::min(std::strcspn(text, "\n"), kMaxMessage));
    Log("SOAP: %s, line %d: %.*s\n", parse->name, error->line, length, text);
}

/* Called when the parser has read <!DOCTYPE and a name, before it reads the declaration itself. */
void SoapRefuseDocumentType(void *context, const xmlChar *, const xmlChar *, const xmlChar *) {
    SoapParseOf(context)->hasDocumentType = true;
    xmlStopParser(static_cast<xmlParserCtxt *>(context));
}

/* -- the size of the tree ----------------------------------------------------------------------- */

constexpr gsize kAllocation = 16; /* bytes that the allocator adds */
constexpr gsize kNodeBytes = sizeof(xmlNode) + kAllocation;

/* Counts bytes of the tree. Returns whether there is room; without it nothing more is added. */
bool SoapTakeRoom(void *context, guint64 bytes) {
    SoapParse *parse = SoapParseOf(context);
    parse->numBytes += bytes;
    if (parse->maxBytes != 0 && parse->numBytes > parse->maxBytes)
        parse->isTooBig = true;
    return !parse->isTooBig;
}

void SoapStartElement(void *context, const xmlChar *name, const xmlChar *prefix, const xmlChar *uri,
                      int numNamespaces, const xmlChar **namespaces, int numAttributes,
                      int numDefaulted, const xmlChar **attributes) {
    guint64 bytes = kNodeBytes;
    for (const xmlChar *text : std::span(namespaces, 2 * gsize(numNamespaces)))
        bytes += sizeof(xmlNs) / 2 + kAllocation + gsize(xmlStrlen(text));
    /* five pointers each, of which the last two enclose the value */
    for (gsize i = 0; i < gsize(numAttributes); i++)
        bytes += sizeof(xmlAttr) + kAllocation + kNodeBytes +
                 gsize(attributes[i * 5 + 4] - attributes[i * 5 + 3]);
    if (SoapTakeRoom(context, bytes))
        xmlSAX2StartElementNs(context, name, prefix, uri, numNamespaces, namespaces, numAttributes,
                              numDefaulted, attributes);
    else
        xmlStopParser(static_cast<xmlParserCtxt *>(context));
}

/* A text may come in pieces. It grows by doubling, and the parser may hold both copies. */
void SoapCharacters(void *context, const xmlChar *text, int length) {
    auto *parser = static_cast<xmlParserCtxt *>(context);
    const xmlNode *last = parser->node != nullptr ? parser->node->last : nullptr;
    const bool isMore = last != nullptr && last->type == XML_TEXT_NODE;
    if (SoapTakeRoom(context, (isMore ? 0 : kNodeBytes) + 2 * guint64(length)))
        xmlSAX2Characters(context, text, length);
    else
        xmlStopParser(parser);
}

/* These do not stop the parser; the next element or text does. */
void SoapCDataBlock(void *context, const xmlChar *text, int length) {
    if (SoapTakeRoom(context, kNodeBytes + guint64(length)))
        xmlSAX2CDataBlock(context, text, length);
}

void SoapComment(void *context, const xmlChar *text) {
    if (SoapTakeRoom(context, kNodeBytes + gsize(xmlStrlen(text))))
        xmlSAX2Comment(context, text);
}

void SoapInstruction(void *context, const xmlChar *target, const xmlChar *text) {
    if (SoapTakeRoom(context, kNodeBytes + gsize(xmlStrlen(text))))
        xmlSAX2ProcessingInstruction(context, target, text);
}

/* -- what is refused before it is parsed --------------------------------------------------------- */

bool SoapLooksReadable(const char *content, gsize length, const char *name) {
    if (length > INT_MAX) {
        Log("SOAP: %s refused: %zu bytes are too many\n", name, length);
        return false;
    }
    if (length > 0 && std::memchr(content, '\0', length) != nullptr) {
        Log("SOAP: %s refused: it contains a NUL\n", name);
        return false;
    }
    return content != nullptr && length > 0;
}

/* Whether libxml2 reads the first bytes as ASCII. */
bool SoapBeginsAsAscii(const SoapSource &source) {
    const auto *bytes = reinterpret_cast<const guchar *>(source.content);
    const xmlCharEncoding detected = xmlDetectCharEncoding(bytes, 4);
    return detected == XML_CHAR_ENCODING_NONE || detected == XML_CHAR_ENCODING_UTF8;
}

/* The encoding that a text declares; empty for UTF-8. */
std::string SoapForeignEncoding(const SoapSource &source) {
    const std::string_view text(source.content, source.length);
    const std::string head(text.substr(0, text.find('>')));
    SoapScan scan{head.c_str()};
    const std::string declared(SoapScan_Encoding(&scan));
    return g_ascii_strcasecmp(declared.c_str(), "UTF-8") == 0 ? std::string() : declared;
}

/*
 * Makes the text UTF-8, so that its tags can be looked at and libxml2 reads the very text that was
 * looked at. An encoding that is not known is left to libxml2, which refuses it.
 */
bool SoapConvert(SoapSource *source, const char *name) {
    if (!SoapBeginsAsAscii(*source)) {
        Log("SOAP: %s refused: its encoding is not supported\n", name);
        return false;
    }
    const std::string encoding = SoapForeignEncoding(*source);
    if (encoding.empty()) {
        source->options |= XML_PARSE_IGNORE_ENC;
        return true;
    }
    if (xmlCharEncodingHandler *handler = xmlFindCharEncodingHandler(encoding.c_str()))
        xmlCharEncCloseFunc(handler);
    else
        return true;
    gsize length = 0;
    GPtr<char> converted(g_convert(source->content, gssize(source->length), "UTF-8",
                                   encoding.c_str(), nullptr, &length, nullptr));
    if (converted == nullptr || !SoapLooksReadable(converted.get(), length, name)) {
        Log("SOAP: %s refused: its bytes are not of the encoding that it declares\n", name);
        return false;
    }
    *source = {converted.get(), length, kOptions | XML_PARSE_IGNORE_ENC, std::move(converted)};
    return true;
}

bool SoapMayBeParsed(SoapSource *source, const char *name) {
    if (source->length < kMinLength)
        return true;
    if (!SoapConvert(source, name))
        return false;
    switch (OrvaneSoapMarkup_Check({source->content, source->length})) {
    case SoapMarkup::Fine:
        return true;
    case SoapMarkup::DocumentType:
        Log("SOAP: %s refused: it has a document type declaration\n", name);
        return false;
    case SoapMarkup::TooManyAttributes:
        Log("SOAP: %s refused: an element has too many attributes or namespaces\n", name);
        return false;
    case SoapMarkup::Malformed:
        Log("SOAP: %s refused: it is malformed\n", name);
        return false;
    }
    return false;
}

void SoapSetUpParser(xmlParserCtxt *parser, SoapParse *parse) {
    parser->_private = parse;
    parser->keepBlanks = 1; // the application may have set another default
    parser->sax->serror = SoapLogMessage;
    parser->sax->internalSubset = SoapRefuseDocumentType;
    parser->sax->startElementNs = SoapStartElement;
    parser->sax->characters = parser->sax->ignorableWhitespace = SoapCharacters;
    parser->sax->cdataBlock = SoapCDataBlock;
    parser->sax->comment = SoapComment;
    parser->sax->processingInstruction = SoapInstruction;
}

} // namespace

xmlDoc *OrvaneSoap_ParseDocument(const char *content, gsize length, const char *name,
                                 guint64 maxTreeBytes) {
    while (length > 0 && content[length - 1] == '\0')
        length--;
    SoapSource source{content, length};
    if (!SoapLooksReadable(content, length, name) || !SoapMayBeParsed(&source, name))
        return nullptr;
    const ParserPtr parser(xmlNewParserCtxt());
    if (parser == nullptr)
        return nullptr;

    SoapParse parse{name, maxTreeBytes};
    SoapSetUpParser(parser.get(), &parse);
    const XmlErrorScope scope(SoapLogMessage, parser.get());
    XmlDocPtr doc(xmlCtxtReadMemory(parser.get(), source.content, static_cast<int>(source.length),
                                    name, nullptr, source.options));
    if (parse.numMessages > kMaxMessages)
        Log("SOAP: %s: %u more messages\n", name, parse.numMessages - kMaxMessages);
    if (parse.hasDocumentType)
        Log("SOAP: %s refused: it has a document type declaration\n", name);
    if (parse.isTooBig)
        Log("SOAP: %s refused: its tree takes more than %" G_GUINT64_FORMAT " bytes\n", name,
            maxTreeBytes);
    return parse.hasDocumentType || parse.isTooBig ? nullptr : doc.release();
}
