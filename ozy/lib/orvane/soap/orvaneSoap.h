/*
 * orvaneSoap.h -- the SOAP codec: request text from typed values, typed values and faults from reply
 * documents
 *
 * Nothing here knows a class of the schema by name, apart from the roots. A value is a GValue; an
 * object is walked along the property list of its class, with the metadata that the class publishes
 * (wire name of a type, version and element type of a property, flag 259 for an optional one). So
 * classes that an application registers itself cross the wire as well.
 *
 *   <name xsi:type="xsd:string">web-01</name>             a string, here the property "name"
 *   <host type="HostSystem" xsi:type="ManagedObjectReference">host-9</host>
 *   <info xsi:type="TaskInfo">...</info>                  an object: its properties, base classes first
 *
 * The writer leaves out what the session's version does not know and what is optional and was never
 * set. The reader is forgiving: it skips elements that it does not know, lets an attribute narrow a
 * declared type but not contradict it, and leaves a property that it cannot read out of the object.
 *
 * A session is needed for two things: writing takes the namespace and the version from it, and
 * reading a reference to a managed object finds the proxy in its manager. A NULL session, or one that
 * has no version yet, writes objects without properties.
 *
 * Ownership: texts are the caller's, to be released with g_free(). Values are the caller's, to be
 *            released with orvane_value_cond_unset(), also after a failure. Trees of nodes are only read.
 * Errors:    TRUE for success and FALSE for failure. A failure below the top is absorbed: the piece is
 *            left out. NULL where a text is needed is reported as one of GLib's failed checks.
 * Threads:   the thread of the session. Nothing is kept but one plan per class, which any
 *            thread may cause to be made.
 */
#pragma once

#include <cstdarg>

#include <libxml/tree.h>

#include <orvane/session.h>

#include "ozy/lib/orvane/runtime/orvaneArgument.h"

struct OrvaneSoapTree;

G_BEGIN_DECLS

/* Writing requests */

/*
 * The text of a request: method methodName on the target of wire type typeName and id objectId. The
 * arguments are pairs of const char * and const GValue *, closed by a NULL name; an uninitialised value
 * is skipped. A value that cannot be written, such as an empty array, ends the arguments; the envelope
 * is closed all the same, so this never fails.
 */
char *orvane_soap_serialize(OrvaneSession *session, const char *typeName, const char *objectId,
                            const char *methodName, va_list arguments);

/*
 * The same with the arguments as an array, as a request that is to be sent; length, which may be NULL, is in bytes
 * without the NUL. NULL, with a line in the log, if an argument is nested too deeply to be written whole.
 */
char *OrvaneSoap_Serialize(OrvaneSession *session, const char *typeName, const char *objectId,
                           const char *methodName, const OrvaneArgument *arguments, guint count,
                           gsize *length);

/* One value, by its type; an array is one element per member, all under the same name. */
gboolean orvane_soap_serialize_value(OrvaneSession *session, GString *out, const char *name,
                                     const GValue *value);

/*
 * A data object or fault. The result is that of the last property written: an empty array in the
 * middle neither stops the object nor is remembered. An object without properties is an
 * empty element. Objects nested deeper than 256 levels are left out, with a line in the log.
 */
gboolean orvane_soap_serialize_object(OrvaneSession *session, GString *out, const char *name,
                                      GObject *object);
gboolean orvane_soap_serialize_managed_object(GString *out, const char *name,
                                              SkemaQormManagedObject *proxy);

/* Whole numbers of 1, 2, 4 or 8 bytes at data; another size is a failure without text. */
gboolean orvane_soap_serialize_signed(GString *out, const char *name, gsize size,
                                      gconstpointer data);
gboolean orvane_soap_serialize_unsigned(GString *out, const char *name, gsize size,
                                        gconstpointer data);
gboolean orvane_soap_serialize_bool(GString *out, const char *name, gboolean value);
/* Six decimals, with the decimal point of the process's numeric locale. */
gboolean orvane_soap_serialize_float(GString *out, const char *name, gfloat value);
gboolean orvane_soap_serialize_double(GString *out, const char *name, gdouble value);
/* Text and URIs are the only content that is escaped. NULL is a GLib warning and the text "(null)". */
gboolean orvane_soap_serialize_string(GString *out, const char *name, const char *value);
gboolean orvane_soap_serialize_uri(GString *out, const char *name, const char *value);
gboolean orvane_soap_serialize_timeval(GString *out, const char *name, const GTimeVal *value);
gboolean orvane_soap_serialize_byte_array(GString *out, const char *name, const GByteArray *value);
/* The nick of value; a number that the enumeration does not have is a failure without text. */
gboolean orvane_soap_serialize_enum(GString *out, const char *name, GType enumType, gint value);

/* Reading replies */

/* The memory that a reply's tree may take unless the session says otherwise. */
inline constexpr guint64 kOrvaneSoapMaxTreeBytes = guint64(1) << 30;

/*
 * Parses a reply's text under the guards against hostile documents: no network, no document type
 * declaration (which is refused before a word of it is read), no NUL but at the end, at most 256
 * levels, at most 256 attributes and namespace declarations of an element. The name is that of the
 * document in the log, where the parser's messages go.
 *
 * maxTreeBytes limits the memory of the tree, 0 for no limit.
 *
 * Returns the tree, to be released with xmlFreeDoc(); or NULL if the text is refused, with a line in
 * the log. Nothing that is read from the tree points into it, so it can be released as soon as the
 * value is read.
 */
xmlDoc *OrvaneSoap_ParseDocument(const char *content, gsize length, const char *name,
                                 guint64 maxTreeBytes);

/*
 * Reads a reply's body: the element "soapenv:Body". Fills value with the method's result or with the
 * fault that the service sent; a reply without a result leaves it uninitialised, with success.
 * returnType is 0 or G_TYPE_NONE for a method without result, and the type of one element if isArray.
 */
gboolean orvane_soap_deserialize(OrvaneSession *session, const char *methodName, xmlNode *body,
                                 GType returnType, gboolean isArray, GValue *value);

/* The same for the body of a tree that may have pieces, see orvaneSoapTree.h. */
gboolean OrvaneSoap_ReadBody(OrvaneSession *session, const char *methodName, OrvaneSoapTree *tree,
                             xmlNode *body, GType returnType, gboolean isArray, GValue *value);

/*
 * The type that the text of an xsi:type means if it is that of a simple type or of an array, in
 * either case; 0 for any other. elementType is 0 unless the array's name determines it.
 */
GType orvane_soap_lookup_type(const char *name, GType *elementType);

/*
 * Reads one element into value, which must be zeroed. expectedType is the declared type, or 0 if the
 * element's attributes and name alone determine it.
 */
gboolean orvane_soap_deserialize_value(OrvaneSession *session, xmlNode *node, GType expectedType,
                                       GValue *value);

/*
 * Reads first and its later siblings of the same name as a GValueArray; what cannot be read is left
 * out. Never fails; first may be NULL, which is an empty array.
 */
gboolean orvane_soap_deserialize_value_array(OrvaneSession *session, xmlNode *first,
                                             GType elementType, GValue *value);

/* Makes an object of objectType from the children of node, for value, which holds such objects. */
gboolean orvane_soap_deserialize_object(OrvaneSession *session, xmlNode *node, GType objectType,
                                        GValue *value);

/* Finds or makes the proxy of the id in content. The value is NULL, with a line in the log, if it cannot
 * hold the proxy. */
gboolean orvane_soap_deserialize_managed_object(OrvaneSession *session, const char *content,
                                                GType objectType, GValue *value);

/* Reads the fault in the detail of a "soapenv:Fault"; FALSE if there is none that can be read. */
gboolean orvane_soap_deserialize_fault(OrvaneSession *session, xmlNode *node, GValue *value);

/*
 * Puts the fault that the child "fault" of node describes into value in place of the wrapper for which
 * value was initialised; FALSE, with value as it was, if there is no such child that can be read.
 */
gboolean orvane_soap_deserialize_localized_fault(OrvaneSession *session, xmlNode *node,
                                                 GValue *value);

/*
 * One simple value from the text of an element, into a value initialised with its type. Numbers are
 * read as by scanf: white space before the number and any text behind it are ignored. NULL, the text of an empty
 * element, is a failed check, but for strings and URIs, which it makes NULL.
 */
gboolean orvane_soap_deserialize_char(const char *content, GValue *value);
gboolean orvane_soap_deserialize_uchar(const char *content, GValue *value);
gboolean orvane_soap_deserialize_bool(const char *content, GValue *value);
gboolean orvane_soap_deserialize_int(const char *content, GValue *value);
gboolean orvane_soap_deserialize_uint(const char *content, GValue *value);
gboolean orvane_soap_deserialize_long(const char *content, GValue *value);
gboolean orvane_soap_deserialize_ulong(const char *content, GValue *value);
gboolean orvane_soap_deserialize_int64(const char *content, GValue *value);
gboolean orvane_soap_deserialize_uint64(const char *content, GValue *value);
gboolean orvane_soap_deserialize_float(const char *content, GValue *value);
gboolean orvane_soap_deserialize_double(const char *content, GValue *value);
gboolean orvane_soap_deserialize_string(const char *content, GValue *value);
gboolean orvane_soap_deserialize_uri(const char *content, GValue *value);
gboolean orvane_soap_deserialize_timeval(const char *content, GValue *value);
gboolean orvane_soap_deserialize_byte_array(const char *content, GValue *value);
gboolean orvane_soap_deserialize_enum(const char *content, GType enumType, GValue *value);

G_END_DECLS
