/*
 * xmlErrorScope.h -- what libxml2 says of no parser in particular, caught while a document is read
 *
 * Most faults go to the handler of the parser that meets them. Bytes that do not fit the encoding
 * that a document claims are reported to the thread's own handler instead, and without one to
 * stderr. For the life of the scope that handler is the given one; then the application has its own
 * back.
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
