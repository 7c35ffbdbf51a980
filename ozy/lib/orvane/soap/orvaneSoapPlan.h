/*
 * orvaneSoapPlan.h -- what the codec has to know of a class, gathered once from its property list
 *
 * Listing the properties of a class looks at every param spec of the process, and the version, the
 * optional flag, the key of the "was set" mark and the element type of an array never change. So all
 * that is read once per class, kept with the type, and found again by one look-up.
 *
 *   TaskInfo -> {"key", String, every version, required}, {"state", Enum, ...}, {"error", Fault, ...}
 *
 * Ownership: plans live as long as the process and hold a reference on their class.
 * Errors:    none; a type that is no object has no plan.
 * Threads:   any thread may ask; of two that are made at once, one is kept.
 */
#pragma once

#include <string>
#include <vector>

#include <glib-object.h>

#include "ozy/lib/orvane/soap/orvaneSoapKinds.h"

struct SoapProperty {
    GParamSpec *pspec; /* the class keeps it */
    GType type;
    GType elementType; /* of an array, 0 if the class does not say */
    SoapKind kind;
    SoapKind elementKind;
    guint32 heldAt;   /* where in the object the pointer to the value is kept; 0: ask the class */
    bool isPlain;     /* GLib would store any value of the type and range unchanged */
    guint32 versions; /* as OrvaneVersionEntry::mask; 0 if the property is never written */
    GQuark mark;      /* the object's data under it tells that the property was set; 0: required */
    std::string name;
    void (*set)(GObject *object, guint id, const GValue *value, GParamSpec *pspec);
    void (*get)(GObject *object, guint id, GValue *value, GParamSpec *pspec); /* or NULL: by name */
};

struct SoapPlan {
    GType type;
    const char *wireName; /* as OrvaneType_WireName() */
    bool isDirect;        /* objects can be filled by the classes' own set functions */
    std::vector<SoapProperty> properties; /* in wire order: base classes first */
    std::vector<guint16> slots; /* by hash of the name: index plus 1; size a power of two */
};

const SoapPlan *OrvaneSoapPlan_Get(GType type);

/* Index of the property of that name, looked for at likely first; -1 if there is none. */
gint OrvaneSoapPlan_Find(const SoapPlan *plan, const char *name, gint likely);
