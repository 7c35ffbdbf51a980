/*
 * The way from a reply's bytes to a tree, under guards: whoever answers may be anyone.
 *
 * Everything is set on the one parser context. The application may use libxml2 as well, so its global
 * error handlers and defaults are not relied on, and are as they were when the document is read.
 */
#include "ozy/lib/orvane/soap/orvaneSoap.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/xmlErrorScope.h"

namespace {

using ParserPtr = std::unique_ptr<xmlParserCtxt, Release<xmlFreeParserCtxt>>;

constexpr int kOptions = XML_PARSE_NONET | XML_PARSE_COMPACT;
constexpr guint kMaxMessages = 3;  /* logged for one document; a parser can have one per element */
constexpr gsize kMaxMessage = 200; /* bytes of one message */

/* What the callbacks of one parse know; the context's _private. */
struct SoapParse {
    const char *name;
    guint numMessages;
    bool hasDocumentType;
};

void SoapLogMessage(void *context, xmlError *error) {
    auto *parse = static_cast<SoapParse *>(static_cast<xmlParserCtxt *>(context)->_private);
    if (++parse->numMessages > kMaxMessages)
        return;
    const char *text = error->message != nullptr ? error->message : "unknown";
    const int length = static_cast<int>(std::min(std::strcspn(text, "\n"), kMaxMessage));
    Log("SOAP: %s, line %d: %.*s\n", parse->name, error->line, length, text);
}

/* The parser has read <!DOCTYPE and a name, and no word of what the declaration holds. */
void SoapRefuseDocumentType(void *context, const xmlChar *, const xmlChar *, const xmlChar *) {
    auto *parser = static_cast<xmlParserCtxt *>(context);
    static_cast<SoapParse *>(parser->_private)->hasDocumentType = true;
    xmlStopParser(parser);
}

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

} // namespace

xmlDoc *OrvaneSoap_ParseDocument(const char *content, gsize length, const char *name) {
    if (!SoapLooksReadable(content, length, name))
        return nullptr;
    const ParserPtr parser(xmlNewParserCtxt());
    if (parser == nullptr)
        return nullptr;

    SoapParse parse{name, 0, false};
    parser->_private = &parse;
    parser->keepBlanks = 1; // whatever the application made the default
    parser->sax->ignorableWhitespace = parser->sax->characters;
    parser->sax->serror = SoapLogMessage;
    parser->sax->internalSubset = SoapRefuseDocumentType;
    const XmlErrorScope scope(SoapLogMessage, parser.get());
    XmlDocPtr doc(xmlCtxtReadMemory(parser.get(), content, static_cast<int>(length), name, nullptr,
                                    kOptions));
    if (parse.numMessages > kMaxMessages)
        Log("SOAP: %s: %u more messages\n", name, parse.numMessages - kMaxMessages);
    if (parse.hasDocumentType) {
        Log("SOAP: %s refused: it has a document type declaration\n", name);
        return nullptr;
    }
    return doc.release();
}
