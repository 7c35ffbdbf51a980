/*
 * runtime.h -- what applications need of the object runtime: the three root classes of the schema,
 * its boxed types, the quarks under which the classes publish their metadata, and any values
 *
 * Every type of the schema is a GObject class or a GEnum type. Objects are made with g_object_new()
 * and filled and read through their properties:
 *
 *   g_object_new(SKEMA_TYPE_QORM_CORE_PROPERTY_COLLECTOR_PROPERTY_SPEC, "all", TRUE, NULL)
 *
 * An optional property has the first user flag of its param spec (flags 259, a required one 3).
 * When it is set, to whatever value, the object gets data under "_" and the property's name
 * ("_all") and keeps it for good: that is what sends the property with a request. A string property
 * that was never set is NULL, whatever its default says.
 *
 * How the schema's kinds of value are kept:
 *
 *   string, boolean, numbers, enumerations    as GLib has them
 *   dateTime        #GTimeVal of ORVANE_TYPE_TIMEVAL
 *   binary          #GByteArray of ORVANE_TYPE_BYTE_ARRAY
 *   any             a boxed #GValue; see orvane_object_set_any()
 *   array           #GValueArray; the type of an element is the param spec's qdata
 *   managed object  its id and class; reading the property finds or makes the proxy
 *
 * Ownership: objects own what their properties hold, but for managed objects: these are never held
 *            by a property, and a proxy that nobody has sunk ends with the object that mentions it.
 * Threads:   types may be looked up from any thread once the first look-up has returned; objects
 *            belong to the thread of the loop.
 */
#pragma once

#include <string.h>

#include <glib-object.h>

#include <orvane/export.h>

G_BEGIN_DECLS

typedef struct _OrvaneSession OrvaneSession;
typedef struct _OrvaneListener OrvaneListener;
typedef struct _OrvaneMOMgr OrvaneMOMgr;

typedef struct _SkemaQormDataObject SkemaQormDataObject;
typedef struct _SkemaQormMethodFault SkemaQormMethodFault;
typedef struct _SkemaQormManagedObject SkemaQormManagedObject;

/**
 * SkemaQormDataObject:
 * @session: (nullable): the session whose managed objects the object mentions; borrowed, taken over
 *   from the first managed object that is stored in a property
 *
 * The root of all data objects and events. It has the signal "array_notify" (the param spec, a
 * boolean and a #GValue; the detail is the property's name), which tells of a change to a part of
 * an array property.
 */
struct _SkemaQormDataObject {
    GObject parent;
    OrvaneSession *session;
};

/**
 * SkemaQormMethodFault:
 * @faultCause: (nullable): the property of that name
 * @faultMessage: (nullable): the property of that name
 * @session: (nullable): as in #SkemaQormDataObject
 * @fault_code: (nullable): the fault code of the reply; not a property
 * @fault_string: (nullable): the fault string of the reply, for people; not a property
 *
 * The root of all faults, which are no data objects. It has the signal "array_notify".
 */
struct _SkemaQormMethodFault {
    GObject parent;
    SkemaQormMethodFault *faultCause;
    GValueArray *faultMessage;
    OrvaneSession *session;
    char *fault_code;
    char *fault_string;
};

/**
 * SkemaQormManagedObject:
 * @session: the session that the object is of; borrowed
 * @id: the object's reference value on the server; owned
 * @loadCount: loads less unloads
 * @partialUpdates: whether the last load asked for partial updates
 *
 * The root of all managed objects: a proxy for an object of the server. A new proxy is floating; an
 * application that keeps it takes ownership with g_object_ref_sink(). It has the signals
 * "array_notify" and, when the object has left the server's view, "leave".
 */
struct _SkemaQormManagedObject {
    GInitiallyUnowned parent;
    OrvaneSession *session;
    char *id;
    guint32 loadCount;
    guint32 partialUpdates;
};

/**
 * orvane_byte_array_get_type:
 *
 * Returns: the boxed type of binary properties; what is boxed is a #GByteArray, copied with its
 * bytes
 */
ORVANE_EXPORT GType orvane_byte_array_get_type(void);

/**
 * orvane_uri_get_type:
 *
 * Returns: the boxed type of an element of arrays of URIs; what is boxed is a text
 */
ORVANE_EXPORT GType orvane_uri_get_type(void);

/**
 * orvane_timeval_get_type:
 *
 * Returns: the boxed type of dateTime properties; what is boxed is a #GTimeVal in UTC
 */
ORVANE_EXPORT GType orvane_timeval_get_type(void);

#define ORVANE_TYPE_BYTE_ARRAY (orvane_byte_array_get_type())
#define ORVANE_TYPE_URI (orvane_uri_get_type())
#define ORVANE_TYPE_TIMEVAL (orvane_timeval_get_type())

/**
 * orvane_quark_listener:
 *
 * Returns: the key of an object's qdata that is the #OrvaneListener bound to it
 */
ORVANE_EXPORT GQuark orvane_quark_listener(void);

/**
 * orvane_quark_arraytype:
 *
 * Returns: the key of a param spec's qdata that is the #GType of one element of an array property,
 * as a pointer-sized integer (GPOINTER_TO_SIZE())
 */
ORVANE_EXPORT GQuark orvane_quark_arraytype(void);

/**
 * orvane_quark_wsdlname:
 *
 * Returns: the key of a type's qdata that is its name on the wire, a static string
 */
ORVANE_EXPORT GQuark orvane_quark_wsdlname(void);

/**
 * orvane_quark_version:
 *
 * Returns: the key of a param spec's qdata that is the wire text of the release that brought the
 * property, an interned string: the text of one of the quarks below
 */
ORVANE_EXPORT GQuark orvane_quark_version(void);

/**
 * orvane_quark_version_ozy0:
 *
 * The version of what every release has. The functions that follow are of the same form.
 *
 * Returns: the quark of the version's wire text, here the empty one
 */
ORVANE_EXPORT GQuark orvane_quark_version_ozy0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy2_2_0(void);          /* "ozy2/2.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_2_5(void);         /* "ozy25/2.5" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_2_5u2(void);       /* "ozy25/2.5u2" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_2_5u2server(void); /* "ozy25/2.5u2server" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_4_0(void);         /* "ozy25/4.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_4_1(void);         /* "ozy25/4.1" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_5_0(void);         /* "ozy25/5.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_5_1(void);         /* "ozy25/5.1" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_5_5(void);         /* "ozy25/5.5" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_6_0(void);         /* "ozy25/6.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_dev2(void);        /* "ozy25/dev2" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i2(void);       /* "ozy25/r15i2" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i3(void);       /* "ozy25/r15i3" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i4(void);       /* "ozy25/r15i4" */
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i4x3cd75(void); /* "ozy25/r15i4x3CD75" */
ORVANE_EXPORT GQuark orvane_quark_version_reflect_1_0(void);       /* "reflect/1.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ferry_1_0(void);         /* "ferry/1.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ferry_2_0(void);         /* "ferry/2.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ferry_3_0(void);         /* "ferry/3.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ferry_4_0(void);         /* "ferry/4.0" */
ORVANE_EXPORT GQuark orvane_quark_version_ferry_5_0(void);         /* "ferry/5.0" */

/**
 * orvane_lookup_type:
 * @name: the name of a type on the wire, with or without a prefix: "Task", "ozy25:Task"
 *
 * The first look-up of the process registers all types of the schema, some thousands, in a few
 * milliseconds; it belongs on the thread of the loop. Later ones are a look into a table. The
 * classes of this library's own faults and the reflection types have no wire name that leads to
 * them.
 *
 * Returns: the type, or 0 if the schema has none of that name
 */
ORVANE_EXPORT GType orvane_lookup_type(const char *name);

/**
 * orvane_set_reader_checks_to_log:
 * @value: whether the reader's failed checks go to the library's log
 *
 * A reply that has no text where one is needed, or no number, is reported by default as a failed check of
 * GLib: a critical message, though the application has made no mistake. A program that ends at such
 * messages (G_DEBUG=fatal-criticals) can be ended by any service. With %TRUE they are lines of the
 * library's log instead. What is read is the same. For the whole process, from any thread.
 */
ORVANE_EXPORT void orvane_set_reader_checks_to_log(gboolean value);

/**
 * orvane_enum_get_by_nick:
 * @enumType: an enumeration
 * @nick: the word that stands for a value on the wire: "running"
 *
 * The class of the enumeration stays initialised for the rest of the process.
 *
 * Returns: (transfer none) (nullable): the value, or %NULL if there is no such word; %NULL with a
 * warning in the log if @enumType is no enumeration
 */
ORVANE_EXPORT GEnumValue *orvane_enum_get_by_nick(GType enumType, const char *nick);

/**
 * orvane_value_cond_unset:
 * @value: (nullable): a value that is initialised, or zeroed
 *
 * Releases what @value holds and zeroes it; does nothing if there is nothing. This is how to
 * release a #GValue that may never have been initialised.
 */
ORVANE_EXPORT void orvane_value_cond_unset(GValue *value);

/**
 * orvane_object_set_any:
 * @object: an object of the schema
 * @propertyName: a property of the any kind
 * @value: (nullable): what it is to hold; copied. %NULL or a zeroed value for nothing
 *
 * A managed object in @value is kept as its id, as in a property of its own type.
 */
ORVANE_EXPORT void orvane_object_set_any(GObject *object, const char *propertyName,
                                         const GValue *value);

/**
 * orvane_object_get_any:
 * @object: an object of the schema
 * @propertyName: a property of the any kind
 * @dest: (inout): a zeroed value, or one whose content is released first; afterwards a copy of what
 * the property holds, or zeroed if it holds nothing. To be released with orvane_value_cond_unset()
 */
ORVANE_EXPORT void orvane_object_get_any(GObject *object, const char *propertyName, GValue *dest);

/**
 * orvane_fault_invalid_response_get_type:
 *
 * Returns: the class of the fault for a reply that did not come or could not be read. Properties:
 * "errorCode", the transport's error; "responseCode", the HTTP status; "responseMessage", what came
 * instead, as it came: the page of a gateway may quote the request with the password of a login, so show it to
 * nobody else
 */
ORVANE_EXPORT GType orvane_fault_invalid_response_get_type(void);

/**
 * orvane_fault_unexpected_get_type:
 *
 * Returns: the class of a fault that says no more than its fault_code and fault_string
 */
ORVANE_EXPORT GType orvane_fault_unexpected_get_type(void);

#define ORVANE_TYPE_FAULT_INVALID_RESPONSE (orvane_fault_invalid_response_get_type())
#define ORVANE_TYPE_FAULT_UNEXPECTED (orvane_fault_unexpected_get_type())

/* For g_autoptr() and g_autolist() of all classes of the schema; not to be called otherwise. */
typedef GList *OrvaneAutoList;

static inline void orvane_autoptr_clear(gpointer object) {
    if (object)
        g_object_unref(object);
}

/* The variable holds a pointer of any class. */
static inline void orvane_autoptr_cleanup(gpointer variable) {
    gpointer object;
    memcpy(&object, variable, sizeof object);
    orvane_autoptr_clear(object);
}

static inline void orvane_autolist_cleanup(OrvaneAutoList *list) {
    g_list_free_full(*list, orvane_autoptr_clear);
}

G_END_DECLS
