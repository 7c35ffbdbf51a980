/*
 * runtime.h -- what applications need of the object runtime: the three root classes of the schema,
 * its boxed types, the quarks under which the classes publish their metadata, and any values
 */
#pragma once

#include <glib-object.h>

#include <orvane/export.h>

G_BEGIN_DECLS

typedef struct _OrvaneSession OrvaneSession;
typedef struct _OrvaneListener OrvaneListener;
typedef struct _OrvaneMOMgr OrvaneMOMgr;

typedef struct _SkemaQormDataObject SkemaQormDataObject;
typedef struct _SkemaQormMethodFault SkemaQormMethodFault;
typedef struct _SkemaQormManagedObject SkemaQormManagedObject;

struct _SkemaQormDataObject {
    GObject parent;
    OrvaneSession *session;
};

struct _SkemaQormMethodFault {
    GObject parent;
    SkemaQormMethodFault *faultCause;
    GValueArray *faultMessage;
    OrvaneSession *session;
    char *fault_code;
    char *fault_string;
};

struct _SkemaQormManagedObject {
    GInitiallyUnowned parent;
    OrvaneSession *session;
    char *id;
    guint32 loadCount;
    guint32 partialUpdates;
};

ORVANE_EXPORT GType orvane_byte_array_get_type(void);
ORVANE_EXPORT GType orvane_uri_get_type(void);
ORVANE_EXPORT GType orvane_timeval_get_type(void);

#define ORVANE_TYPE_BYTE_ARRAY (orvane_byte_array_get_type())
#define ORVANE_TYPE_URI (orvane_uri_get_type())
#define ORVANE_TYPE_TIMEVAL (orvane_timeval_get_type())

ORVANE_EXPORT GQuark orvane_quark_listener(void);
ORVANE_EXPORT GQuark orvane_quark_arraytype(void);
ORVANE_EXPORT GQuark orvane_quark_wsdlname(void);
ORVANE_EXPORT GQuark orvane_quark_version(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy2_2_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_2_5(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_2_5u2(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_2_5u2server(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_4_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_4_1(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_5_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_5_1(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_5_5(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_6_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_dev2(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i2(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i3(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i4(void);
ORVANE_EXPORT GQuark orvane_quark_version_ozy25_r15i4x3cd75(void);
ORVANE_EXPORT GQuark orvane_quark_version_reflect_1_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ferry_1_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ferry_2_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ferry_3_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ferry_4_0(void);
ORVANE_EXPORT GQuark orvane_quark_version_ferry_5_0(void);

ORVANE_EXPORT GType orvane_lookup_type(const char *name);
ORVANE_EXPORT GEnumValue *orvane_enum_get_by_nick(GType enumType, const char *nick);
ORVANE_EXPORT void orvane_value_cond_unset(GValue *value);
ORVANE_EXPORT void orvane_object_set_any(GObject *object, const char *propertyName,
                                         const GValue *value);
ORVANE_EXPORT void orvane_object_get_any(GObject *object, const char *propertyName, GValue *dest);

ORVANE_EXPORT GType orvane_fault_invalid_response_get_type(void);
ORVANE_EXPORT GType orvane_fault_unexpected_get_type(void);

#define ORVANE_TYPE_FAULT_INVALID_RESPONSE (orvane_fault_invalid_response_get_type())
#define ORVANE_TYPE_FAULT_UNEXPECTED (orvane_fault_unexpected_get_type())

G_END_DECLS
