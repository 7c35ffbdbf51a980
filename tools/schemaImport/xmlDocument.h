/*
 * xmlDocument.h -- safe parsing of XML, and access to the parts of a tree that schema documents need
 *
 * Errors:  a text that says what is wrong and at which line.
 * Threads: no state.
 */
#pragma once

#include <string>
#include <vector>

#include "lib/misc/glibPtr.h"

namespace schemaImport {

inline constexpr const char *kXsdNamespace = "http://www.w3.org/2001/XMLSchema";
inline constexpr const char *kWsdlNamespace = "http://schemas.xmlsoap.org/wsdl/";

/* Returns NULL with the line and the reason if the bytes are no XML or have a document type declaration. */
XmlDocPtr ParseXml(const std::string &bytes, int *line, std::string *why);

bool IsElement(const xmlNode *node, const char *ns, const char *name);
bool IsXsd(const xmlNode *node, const char *name);
/* Returns the name of a node as in the document: "xsd:choice". */
std::string ElementText(const xmlNode *node);
std::vector<xmlNode *> Children(const xmlNode *node);
/* Returns an attribute; empty if it is absent. */
std::string Attribute(const xmlNode *node, const char *name);
bool HasAttribute(const xmlNode *node, const char *name);
/* Returns the address of a qualified name's namespace; empty if there is none. */
std::string NamespaceOf(xmlNode *node, const std::string &qualifiedName);
std::string LocalName(const std::string &qualifiedName);

} // namespace schemaImport
