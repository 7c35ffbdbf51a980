/*
 * orvaneSoapPlan.h -- the properties of a class as the codec needs them, gathered once
 *
 * Listing the properties of a class looks at every param spec of the process, and the version, the
 * optional flag, the key of the "was set" mark and the element type of an array never change. So all
 * that is read once per class, kept with the type, and found again by one look-up.
 *
 *   TaskInfo -> {"key", String, every version, required}, {"state", Enum, ...}, {"error", Fault, ...}
 *
 * Ownership: plans live as long as the process and hold a reference on their class.
 * Errors:    none; a type that is no object has no plan.
 * Threads:   any thread may get a plan; of two made at the same time, one is kept.
 */
#pragma once

#include <string>
#include <vector>

#include <glib-object.h>

#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/soap/orvaneSoapKinds.h"

struct SoapProperty {
    GParamSpec *pspec; /* the class keeps it */
    GType type;
    GType elementType; /* of an array; 0 if the class has not set it */
    SoapKind kind;
    SoapKind elementKind;
    const SchemaField *field; /* of the schema; NULL for a property of an application's */
    guint32 heldAt;           /* offset in the object of the pointer to the value; 0: read by get */
    bool isReference;         /* a class of the schema keeps it as a SchemaReference */
    bool isPlain;             /* GLib stores any value of the type and range unchanged */
    guint32 versions;         /* as OrvaneVersionEntry::mask; 0 if the property is never written */
    GQuark mark;              /* key of the object's data for "was set"; 0: a required property */
    std::string name;
    void (*set)(GObject *object, guint id, const GValue *value, GParamSpec *pspec);
    void (*get)(GObject *object, guint id, GValue *value, GParamSpec *pspec); /* or NULL: by name */
};

struct SoapPlan {
    GType type;
    const char *wireName; /* as OrvaneType_WireName() */
    bool isDirect;        /* objects can be filled by the classes' own set functions */
    bool isAbstract;
    bool isUnowned;                       /* new objects have a floating reference */
    std::vector<SoapProperty> properties; /* in wire order: base classes first */
    NameIndex names;                      /* of the properties */
    const SchemaField *reference;         /* the first that is a reference; NULL if none is */
};

const SoapPlan *OrvaneSoapPlan_Get(GType type);

/* Plans used in one request or reply, by their types' addresses: looking a plan up takes a lock of GLib. */
class SoapPlanCache {
public:
    const SoapPlan *Get(GType type) {
        const SoapPlan *&plan = recent[(type >> 4) % G_N_ELEMENTS(recent)];
        if (plan == nullptr || plan->type != type)
            plan = OrvaneSoapPlan_Get(type);
        return plan;
    }

private:
    const SoapPlan *recent[16] = {};
};

/* Index of the property of that name, or -1. The index likely is tried first. */
gint OrvaneSoapPlan_Find(const SoapPlan *plan, const char *name, gint likely);
