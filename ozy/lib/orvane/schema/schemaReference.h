/*
 * schemaReference.h -- managed objects in fields: kept as an id and a type, never held
 *
 * A reference would keep a proxy alive as long as any data object that mentions it. So a store takes the
 * proxy's id, its type and, for the object, its session; a read asks the session's manager for the
 * proxy again, which makes it if it is gone. A proxy without an owner is still floating. When an
 * object that mentions it releases it, look-up, ref_sink and unref destroy it; they change nothing
 * for a proxy with owners.
 *
 * The id of a single reference has the proxy beside it that the last look-up found. It is valid while the manager's registry
 * is in the same state, so a second read needs no look-up.
 *
 * A store puts the new value in place before it releases the old one, since finalising a proxy may run
 * the application's code. It keeps the new proxies alive meanwhile: an object that mentions a
 * floating proxy and is given the same one again must not destroy it.
 *
 * Errors:  a read without a manager logs a warning and leaves the value as it was; of an any it makes
 *          an empty value of the proxy's type.
 * Threads: the loop's.
 */
#pragma once

#include "ozy/lib/orvane/schema/schemaStore.h"

/* An id, in one block of memory with its text. */
struct SchemaId {
    guint64 registryState;         /* that of the manager at the last look-up; 0 before the first */
    SkemaQormManagedObject *proxy; /* not owned; dangling once the manager has another state */
    const char *proxyId;           /* proxy->id at the last look-up, to be prefetched only */

    const char *Text() const { return reinterpret_cast<const char *>(this + 1); }
};

/* A field of a managed-object type. */
struct SchemaReference {
    SchemaId *id; /* owned; NULL: nothing held */
    GType type;   /* the proxy's own class */
};

/* A list of managed objects. Either both are NULL or they are of the same length. */
struct SchemaReferenceArray {
    GValueArray *ids; /* of strings */
    GArray *types;    /* of GType; in a list of any NULL if ids holds the values themselves */
};

/* A field of any type. */
struct SchemaAny {
    GValue value; /* zeroed: nothing held */
    GType moType; /* not 0: value is a string with the id of a managed object of this type */
};

/*
 * Finds the proxy of a field of a managed-object type, or makes it. NULL if the field is empty, or if there is no
 * manager, which logs a warning.
 *
 * Returns: (transfer none)
 */
SkemaQormManagedObject *SchemaReference_GetProxy(GObject *object, const SchemaField *field);

/* Stores a value in a field of any type. The value is empty afterwards. */
void SchemaReference_TakeAny(const SchemaPlace &place, GValue *content);

/*
 * A list of managed objects that can be changed in place: it has elements, and their manager exists. Any other is changed
 * by a store of the whole list, which has the same result.
 */
class SchemaReferenceList {
public:
    SchemaReferenceList() = default; /* not valid */
    SchemaReferenceList(GObject *object, const SchemaField *field);
    bool IsValid() const { return list != nullptr; }
    bool IsIn(const OrvaneMOMgr *manager) const;
    guint Count() const { return list->ids->n_values; }
    const GValueArray *Ids() const { return list->ids; } /* texts */
    /* Index of the first element with that id, or -1. */
    gint Find(const char *id) const;
    /* The proxy of an element; it is made if it is gone. Returns: (transfer none) (nullable) */
    SkemaQormManagedObject *GetProxy(guint index) const;
    void Append(const SkemaQormManagedObject *proxy);
    /* Releases the proxy of an element that was removed, as a store does. The list is not to be used any more: that may run
     * the application's code. */
    void Release(const char *id) const;

private:
    SchemaPlace place{};
    SchemaReferenceArray *list = nullptr; /* NULL: it cannot be changed in place */
};

extern const SchemaStore kSchemaReferenceStore;
extern const SchemaStore kSchemaReferenceArrayStore;
extern const SchemaStore kSchemaDynamicArrayStore;
extern const SchemaStore kSchemaAnyStore;
