/*
 * orvaneSoap.h -- the SOAP codec: request text from typed values, typed values and faults from reply
 * documents
 */
#pragma once

#include <cstdarg>

#include <libxml/tree.h>

#include <orvane/session.h>

G_BEGIN_DECLS

char *orvane_soap_serialize(OrvaneSession *session, const char *typeName, const char *objectId,
                            const char *methodName, va_list arguments);
gboolean orvane_soap_serialize_value(OrvaneSession *session, GString *out, const char *name,
                                     const GValue *value);
gboolean orvane_soap_serialize_object(OrvaneSession *session, GString *out, const char *name,
                                      GObject *object);
gboolean orvane_soap_serialize_managed_object(GString *out, const char *name,
                                              SkemaQormManagedObject *proxy);

/* Parses a reply's text under the guards against hostile documents; NULL if it is refused. */
xmlDoc *OrvaneSoap_ParseDocument(const char *content, gsize length, const char *name);

gboolean orvane_soap_deserialize(OrvaneSession *session, const char *methodName, xmlNode *body,
                                 GType returnType, gboolean isArray, GValue *value);
GType orvane_soap_lookup_type(const char *name, GType *elementType);
gboolean orvane_soap_deserialize_value(OrvaneSession *session, xmlNode *node, GType expectedType,
                                       GValue *value);
gboolean orvane_soap_deserialize_value_array(OrvaneSession *session, xmlNode *first,
                                             GType elementType, GValue *value);
gboolean orvane_soap_deserialize_object(OrvaneSession *session, xmlNode *node, GType objectType,
                                        GValue *value);
gboolean orvane_soap_deserialize_managed_object(OrvaneSession *session, const char *content,
                                                GType objectType, GValue *value);
gboolean orvane_soap_deserialize_fault(OrvaneSession *session, xmlNode *node, GValue *value);
gboolean orvane_soap_deserialize_localized_fault(OrvaneSession *session, xmlNode *node,
                                                 GValue *value);

G_END_DECLS
