/*
 * xmlErrorScope.h -- receives libxml2's errors that belong to no parser while a document is read
 *
 * libxml2 reports most errors to the handler of the parser. Bytes that are invalid in the declared encoding
 * of a document are reported to the handler of the thread instead, and without one to stderr. During the
 * scope that handler is the given one. Afterwards the application's own handler is restored.
 *
 *   const XmlErrorScope scope(OnError, parser);
 *
 * Threads: the handler is the calling thread's.
 */
#pragma once

#include <libxml/globals.h>
#include <libxml/xmlerror.h>

class XmlErrorScope {
public:
    XmlErrorScope(xmlStructuredErrorFunc handler, void *context)
        : formerHandler(xmlStructuredError), formerContext(xmlStructuredErrorContext) {
        xmlSetStructuredErrorFunc(context, handler);
    }
    ~XmlErrorScope() { xmlSetStructuredErrorFunc(formerContext, formerHandler); }
    XmlErrorScope(const XmlErrorScope &) = delete;
    XmlErrorScope &operator=(const XmlErrorScope &) = delete;

private:
    xmlStructuredErrorFunc formerHandler;
    void *formerContext;
};
