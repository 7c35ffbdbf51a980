#include "ozy/lib/orvane/schema/schemaEngine.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <span>
#include <utility>

#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "lib/misc/panic.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaKinds.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/schema/schemaReference.h"
#include "ozy/lib/orvane/schema/schemaSession.h"

namespace {

/* The class struct of the roots, and so of all classes below them. The slots are the default
 * handlers: array_notify of data objects and faults; leave, then array_notify, of managed objects.
 */
struct SchemaRootClass {
    GObjectClass parent;
    void (*slots[2])();
    const SchemaClass *schema;
};

constexpr guint kFirstSlot = offsetof(SchemaRootClass, slots);
constexpr guint kSecondSlot = kFirstSlot + sizeof(void (*)());

constexpr auto kArrayNotifyFlags =
    static_cast<GSignalFlags>(G_SIGNAL_RUN_FIRST | G_SIGNAL_NO_RECURSE | G_SIGNAL_DETAILED |
                              G_SIGNAL_ACTION | G_SIGNAL_NO_HOOKS);
constexpr auto kLeaveFlags =
    static_cast<GSignalFlags>(G_SIGNAL_RUN_FIRST | G_SIGNAL_NO_RECURSE | G_SIGNAL_ACTION);

constinit std::atomic<const SchemaTables *> gTables{&kSchemaTables};
constinit std::atomic<bool> gIsAnyRegistered{false};

/* Observers of all threads; a look at the thread's own costs more. */
constinit std::atomic<int> gNumObservers{0};
constinit thread_local SchemaObserver tObserver = nullptr;
constinit std::atomic<int> gNumReadObservers{0};
constinit thread_local SchemaObserver tReadObserver = nullptr;

void Observe(GObject *object, const SchemaField *field) {
    if (gNumObservers.load(std::memory_order_relaxed) > 0 && tObserver != nullptr)
        tObserver(object, field);
}

void SetObserver(SchemaObserver *slot, std::atomic<int> *count, SchemaObserver observer) {
    count->fetch_add((observer != nullptr) - (*slot != nullptr), std::memory_order_relaxed);
    *slot = observer;
}

const char *Text(guint32 offset) {
    return SchemaEngine_Tables()->text + offset;
}

std::span<const SchemaFieldRow> FieldsOf(const SchemaTypeRow &row) {
    return std::span(SchemaEngine_Tables()->fields + row.first, row.count);
}

const SchemaClass *SchemaOf(gconstpointer object) {
    return reinterpret_cast<const SchemaRootClass *>(G_OBJECT_GET_CLASS(object))->schema;
}

/* ---- where things are in an instance ---- */

struct RootLayout {
    guint firstField; /* a fault's two properties are part of its root's struct */
    guint session;
    guint size;
};

constexpr RootLayout kDataLayout = {sizeof(SkemaQormDataObject),
                                    offsetof(SkemaQormDataObject, session),
                                    sizeof(SkemaQormDataObject)};
constexpr RootLayout kFaultLayout = {offsetof(SkemaQormMethodFault, faultCause),
                                     offsetof(SkemaQormMethodFault, session),
                                     sizeof(SkemaQormMethodFault)};
constexpr RootLayout kManagedLayout = {sizeof(SkemaQormManagedObject),
                                       offsetof(SkemaQormManagedObject, session),
                                       sizeof(SkemaQormManagedObject)};

const RootLayout &LayoutOf(SchemaKind kind) {
    if (kind == SCHEMA_KIND_MANAGED)
        return kManagedLayout;
    return kind == SCHEMA_KIND_FAULT ? kFaultLayout : kDataLayout;
}

guint RoundUp(guint offset, guint size) {
    const guint alignment = MIN(size, static_cast<guint>(sizeof(gpointer)));
    return (offset + alignment - 1) & ~(alignment - 1);
}

/* Where a class keeps its first field: behind the instance of its base, which is registered. */
guint FirstOffset(const SchemaTypeRow &row) {
    if (row.base == kSchemaNoType)
        return LayoutOf(row.kind).firstField;
    return SchemaEngine_Tables()->instanceSizes[row.base];
}

guint InstanceSize(const SchemaTypeRow &row) {
    guint offset = FirstOffset(row);
    for (const SchemaFieldRow &field : FieldsOf(row)) {
        const guint size = SchemaStore_For(field)->size;
        offset = RoundUp(offset, size) + size;
    }
    if (row.base != kSchemaNoType)
        return RoundUp(offset, sizeof(gpointer));
    /* a root is the very struct that applications see */
    const RootLayout &layout = LayoutOf(row.kind);
    VERIFY(row.count == 0 || offset <= layout.session);
    return layout.size;
}

/* ---- the session of an instance ---- */

OrvaneSession *&SessionField(gpointer object) {
    return G_STRUCT_MEMBER(OrvaneSession *, object, SchemaOf(object)->sessionOffset);
}

SchemaSession &Record(gpointer object) {
    return G_STRUCT_MEMBER(SchemaSession, object, SchemaOf(object)->recordOffset);
}

/* Records that an optional field was set. */
void Mark(GObject *object, const SchemaField *field) {
    if (field->mark != 0)
        g_object_set_qdata(object, field->mark, GINT_TO_POINTER(1));
}

/* ---- called by the property system ---- */

/* The class that a property id is meant for: the owner of the pspec; in a call that did not come
 * through the property system, the closest class that has properties. */
const SchemaClass *ClassFor(const SchemaClass *klass, guint id, const GParamSpec *pspec) {
    if (pspec != nullptr && pspec->param_id == id) {
        for (const SchemaClass *owner = klass; owner != nullptr; owner = owner->base) {
            if (owner->type == pspec->owner_type)
                return owner;
        }
    }
    while (klass->numFields == 0 && klass->base != nullptr)
        klass = klass->base;
    return klass;
}

/* The field with a property id; NULL, with a warning in the log, if there is none. */
const SchemaField *FieldFor(GObject *object, guint id, const GParamSpec *pspec) {
    const SchemaClass *klass = ClassFor(SchemaOf(object), id, pspec);
    if (id - 1 < klass->numFields)
        return klass->fields + id - 1;
    g_log(nullptr, G_LOG_LEVEL_WARNING, "Invalid property %d on object of type %s.\n",
          static_cast<int>(id), klass->name);
    return nullptr;
}

SchemaPlace PlaceOf(GObject *object, const SchemaField *field) {
    return {field, G_STRUCT_MEMBER_P(object, field->offset), object};
}

void SchemaSetProperty(GObject *object, guint id, const GValue *value, GParamSpec *pspec) {
    if (const SchemaField *field = FieldFor(object, id, pspec))
        SchemaClass_SetField(object, field, value);
}

void SchemaGetProperty(GObject *object, guint id, GValue *value, GParamSpec *pspec) {
    if (const SchemaField *field = FieldFor(object, id, pspec))
        SchemaClass_GetField(object, field, value);
}

void ReleaseFields(GObject *object, const SchemaClass *klass) {
    for (const SchemaField &field : std::span(klass->fields, klass->numFields)) {
        if (field.store->release != nullptr)
            field.store->release(PlaceOf(object, &field));
    }
}

/* Releases what a root's struct owns beside fields. */
void ReleaseRoot(GObject *object, SchemaKind kind) {
    if (kind == SCHEMA_KIND_FAULT) {
        auto *fault = reinterpret_cast<SkemaQormMethodFault *>(object);
        g_free(fault->fault_code);
        g_free(fault->fault_string);
    } else if (kind == SCHEMA_KIND_MANAGED) {
        g_free(reinterpret_cast<SkemaQormManagedObject *>(object)->id);
    }
}

/* One for all: from the object's own class up to the root, each class's fields in their order. */
void SchemaFinalize(GObject *object) {
    Observe(object, nullptr);
    const SchemaClass *own = SchemaOf(object);
    for (const SchemaClass *klass = own; klass != nullptr; klass = klass->base)
        ReleaseFields(object, klass);
    ReleaseRoot(object, own->row->kind);
    own->chainUp(object);
}

/* ---- param specs ---- */

/* The type's name for an element, in the blurb of a list. */
const char *ElementName(const SchemaKindRow &kind, GType type) {
    return kind.elementName != nullptr ? kind.elementName : g_type_name(type);
}

GParamSpec *NewParamSpec(const SchemaFieldRow &row, GType type, const char *name,
                         GParamFlags flags) {
    const SchemaKindRow &kind = SchemaKind_Row(row.kind);
    if (!(row.flags & SCHEMA_ARRAY))
        return kind.makeSpec(name, type, flags);
    const GPtr<char> blurb(g_strdup_printf("Array of '%s'", ElementName(kind, type)));
    return g_param_spec_boxed(name, "", blurb.get(), G_TYPE_VALUE_ARRAY, flags);
}

void InitField(SchemaField &field, const SchemaFieldRow &row) {
    /* names live as long as the process, so GLib need not copy them */
    const char *name = g_intern_static_string(Text(row.name));
    const bool isOptional = row.flags & SCHEMA_OPTIONAL;
    const auto flags =
        static_cast<GParamFlags>(G_PARAM_READWRITE | (isOptional ? 1 << G_PARAM_USER_SHIFT : 0));

    field.row = &row;
    field.store = SchemaStore_For(row);
    field.valueType = SchemaEngine_ValueType(row.kind, row.type);
    field.pspec = NewParamSpec(row, field.valueType, name, flags);
    if (isOptional)
        field.mark = g_quark_from_string(GPtr<char>(g_strconcat("_", name, nullptr)).get());

    const char *version = g_intern_static_string(OrvaneVersion_Text(row.version));
    g_param_spec_set_qdata(field.pspec, orvane_quark_version(), const_cast<char *>(version));
    if (row.flags & SCHEMA_ARRAY)
        g_param_spec_set_qdata(field.pspec, orvane_quark_arraytype(),
                               GSIZE_TO_POINTER(field.valueType));
}

/* ---- classes ---- */

/* Where an instance of the root keeps its SchemaSession; in all classes below it, too. */
gint AddRecord(gpointer rootClass) {
    gint offset = g_type_add_instance_private(G_TYPE_FROM_CLASS(rootClass), sizeof(SchemaSession));
    g_type_class_adjust_private_offset(rootClass, &offset);
    return offset;
}

/* Where a class keeps the names of all fields. */
auto NamesOf(const SchemaClass *schema) {
    return [schema](gsize index) { return schema->allFields[index]->pspec->name; };
}

void IndexFields(SchemaClass *schema) {
    for (const SchemaField &field : std::span(schema->fields, schema->numFields))
        schema->allFields.push_back(&field);
    if (const SchemaClass *base = schema->base)
        schema->allFields.insert(schema->allFields.end(), base->allFields.begin(),
                                 base->allFields.end());
    schema->names = NameIndex(schema->allFields.size(), NamesOf(schema));
}

SchemaClass *NewSchemaClass(const SchemaRootClass &from, const SchemaTypeRow &row) {
    const GType type = G_TYPE_FROM_CLASS(&from);
    auto *schema = new SchemaClass{};
    schema->base = row.base == kSchemaNoType ? nullptr : from.schema; /* still the base's */
    schema->row = &row;
    schema->name = Text(row.name);
    schema->wireName = Text(row.wireName);
    schema->type = type;
    schema->chainUp =
        schema->base != nullptr ? schema->base->chainUp : from.parent.finalize; /* GObject's */
    schema->sessionOffset = LayoutOf(row.kind).session;
    schema->recordOffset = schema->base != nullptr ? schema->base->recordOffset : 0;
    schema->numFields = row.count;
    schema->fields = g_new0(SchemaField, row.count);

    guint offset = FirstOffset(row);
    for (guint i = 0; i < row.count; i++) {
        SchemaField &field = schema->fields[i];
        InitField(field, FieldsOf(row)[i]);
        field.offset = RoundUp(offset, field.store->size);
        offset = field.offset + field.store->size;
    }
    IndexFields(schema);
    return schema;
}

void NewRootSignals(GType type, SchemaKind kind) {
    const bool isManaged = kind == SCHEMA_KIND_MANAGED;
    if (isManaged)
        g_signal_new("leave", type, kLeaveFlags, kFirstSlot, nullptr, nullptr,
                     g_cclosure_marshal_VOID__VOID, G_TYPE_NONE, 0);
    g_signal_new("array_notify", type, kArrayNotifyFlags, isManaged ? kSecondSlot : kFirstSlot,
                 nullptr, nullptr, orvane_marshal_VOID__PARAM_BOOLEAN_BOXED, G_TYPE_NONE, 3,
                 G_TYPE_PARAM, G_TYPE_BOOLEAN, G_TYPE_VALUE);
}

void SchemaClassInit(gpointer klass, gpointer index) {
    const SchemaTypeRow &row = SchemaEngine_Tables()->types[GPOINTER_TO_UINT(index)];
    auto *root = static_cast<SchemaRootClass *>(klass);
    SchemaClass *schema = NewSchemaClass(*root, row);
    if (row.base == kSchemaNoType)
        schema->recordOffset = AddRecord(klass);
    root->schema = schema;
    root->parent.finalize = SchemaFinalize;
    if (row.count > 0) {
        root->parent.set_property = SchemaSetProperty;
        root->parent.get_property = SchemaGetProperty;
    }
    for (guint i = 0; i < schema->numFields; i++)
        g_object_class_install_property(&root->parent, i + 1, schema->fields[i].pspec);
    if (row.base == kSchemaNoType)
        NewRootSignals(G_TYPE_FROM_CLASS(klass), row.kind);
}

/* ---- registration ---- */

/* One lock for all: a type pulls its bases, and a name map pulls thousands of types at a stretch,
 * so it is taken once for all of them. Nothing that waits for another thread runs under it. */
GRecMutex gRegistration;

struct RegistrationLock {
    RegistrationLock() { g_rec_mutex_lock(&gRegistration); }
    ~RegistrationLock() { g_rec_mutex_unlock(&gRegistration); }
    RegistrationLock(const RegistrationLock &) = delete;
    RegistrationLock &operator=(const RegistrationLock &) = delete;
};

GType RegisterOnce(guint index);

GType ParentOf(const SchemaTypeRow &row) {
    if (row.base != kSchemaNoType)
        return RegisterOnce(row.base);
    return row.kind == SCHEMA_KIND_MANAGED ? G_TYPE_INITIALLY_UNOWNED : G_TYPE_OBJECT;
}

GType RegisterClass(const SchemaTypeRow &row, const char *name, guint index) {
    const GType parent = ParentOf(row);
    const guint instanceSize = InstanceSize(row);
    VERIFY(instanceSize <= G_MAXUINT16); /* the range of GTypeInfo::instance_size */
    SchemaEngine_Tables()->instanceSizes[index] = static_cast<guint16>(instanceSize);
    const GTypeInfo info = {
        .class_size = sizeof(SchemaRootClass),
        .class_init = SchemaClassInit,
        .class_data = GUINT_TO_POINTER(index),
        .instance_size = static_cast<guint16>(instanceSize),
    };
    return g_type_register_static(parent, name, &info, static_cast<GTypeFlags>(0));
}

/* The values are made when the class is first used; few of the enumerations ever are. */
void SchemaEnumInit(gpointer klass, gpointer index) {
    const SchemaTypeRow &row = SchemaEngine_Tables()->types[GPOINTER_TO_UINT(index)];
    auto *values = g_new0(GEnumValue, row.count + 1u); /* kept by the class */
    for (guint i = 0; i < row.count; i++) {
        const SchemaWordRow &word = SchemaEngine_Tables()->words[row.first + i];
        values[i] = {static_cast<gint>(i), Text(word.identifier), Text(word.word)};
    }
    auto *words = static_cast<GEnumClass *>(klass);
    words->minimum = 0;
    words->maximum = std::max(row.count - 1, 0);
    words->n_values = row.count;
    words->values = values;
}

GType RegisterEnum(const char *name, guint index) {
    const GTypeInfo info = {
        .class_size = sizeof(GEnumClass),
        .class_init = SchemaEnumInit,
        .class_data = GUINT_TO_POINTER(index),
    };
    return g_type_register_static(G_TYPE_ENUM, name, &info, static_cast<GTypeFlags>(0));
}

/* Thousands of types are registered at a stretch, so the quark is looked up once. Names are left to
 * GLib to copy: to intern each before would cost more than the registration's own look-up. */
GQuark GetWireNameQuark() {
    static constinit std::atomic<GQuark> kept{0};
    GQuark quark = kept.load(std::memory_order_relaxed);
    if (quark == 0) {
        quark = orvane_quark_wsdlname();
        kept.store(quark, std::memory_order_relaxed);
    }
    return quark;
}

GType RegisterType(const SchemaTypeRow &row, guint index) {
    gIsAnyRegistered.store(true, std::memory_order_relaxed);
    const char *name = Text(row.name);
    const GType type =
        row.kind == SCHEMA_KIND_ENUM ? RegisterEnum(name, index) : RegisterClass(row, name, index);
    g_type_set_qdata(type, GetWireNameQuark(), const_cast<char *>(Text(row.wireName)));
    return type;
}

/* The lock is held. */
GType RegisterOnce(guint index) {
    const SchemaTables *tables = SchemaEngine_Tables();
    const std::atomic_ref<GType> id(tables->ids[index]);
    GType type = id.load(std::memory_order_relaxed);
    if (type == 0) {
        type = RegisterType(tables->types[index], index);
        id.store(type, std::memory_order_release);
    }
    return type;
}

void PopulateNameMap(GHashTable *table, SchemaNamespace ns) {
    const RegistrationLock lock;
    const SchemaTables *tables = SchemaEngine_Tables();
    for (guint i = 0; i < tables->numTypes; i++) {
        const SchemaTypeRow &row = tables->types[i];
        if (row.ns != ns || (row.flags & SCHEMA_TYPE_UNLISTED))
            continue;
        const GType type = RegisterOnce(i);
        if (table != nullptr)
            g_hash_table_insert(table, const_cast<char *>(Text(row.wireName)),
                                GSIZE_TO_POINTER(type));
    }
}

} // namespace

const SchemaTables *SchemaEngine_Tables() {
    return gTables.load(std::memory_order_acquire);
}

gboolean SchemaEngine_SetTables(const SchemaTables *tables) {
    const RegistrationLock lock;
    if (gIsAnyRegistered)
        return FALSE;
    gTables.store(tables, std::memory_order_release);
    return TRUE;
}

gboolean SchemaEngine_IsInUse() {
    return gIsAnyRegistered;
}

GType SchemaEngine_ValueType(SchemaValueKind kind, guint16 type) {
    return SchemaKind_Row(kind).type(type);
}

GType orvane_schema_get_type(guint index) {
    const SchemaTables *tables = SchemaEngine_Tables();
    VERIFY(index < tables->numTypes);
    const std::atomic_ref<GType> id(tables->ids[index]);
    const GType type = id.load(std::memory_order_acquire);
    if (type != 0)
        return type;
    const RegistrationLock lock; /* the tables may have been replaced before it was taken */
    return RegisterOnce(index);
}

GType SchemaEngine_FindType(std::string_view wireName) {
    const SchemaTables *tables = SchemaEngine_Tables();
    const auto wireNameAt = [&](gsize row) { return tables->text + tables->types[row].wireName; };
    const gint row =
        NameSlots_Find(std::span(tables->nameSlots, tables->numNameSlots), wireName, wireNameAt);
    return row >= 0 ? orvane_schema_get_type(static_cast<guint>(row)) : 0;
}

const SchemaClass *SchemaClass_Get(gpointer klass) {
    /* Only classes below a root have this function, so their types need not be compared. */
    if (static_cast<const GObjectClass *>(klass)->finalize == SchemaFinalize)
        return static_cast<const SchemaRootClass *>(klass)->schema;
    const GType type = G_TYPE_FROM_CLASS(klass);
    for (GType root : {SKEMA_TYPE_QORM_DATA_OBJECT, SKEMA_TYPE_QORM_METHOD_FAULT,
                       SKEMA_TYPE_QORM_MANAGED_OBJECT}) {
        if (g_type_is_a(type, root))
            return static_cast<const SchemaRootClass *>(klass)->schema;
    }
    return nullptr;
}

void SchemaEngine_Observe(SchemaObserver observer) {
    SetObserver(&tObserver, &gNumObservers, observer);
}

void SchemaEngine_ObserveReads(SchemaObserver observer) {
    SetObserver(&tReadObserver, &gNumReadObservers, observer);
}

void SchemaEngine_NoteRead(GObject *object, const SchemaField *field) {
    if (gNumReadObservers.load(std::memory_order_relaxed) > 0 && tReadObserver != nullptr)
        tReadObserver(object, field);
}

void SchemaClass_SetField(GObject *object, const SchemaField *field, const GValue *value) {
    Observe(object, field);
    field->store->set(PlaceOf(object, field), value);
    Mark(object, field);
}

void SchemaClass_TakeField(GObject *object, const SchemaField *field, GValue *value) {
    Observe(object, field);
    const auto take = field->store->take;
    if (take != nullptr)
        take(PlaceOf(object, field), value);
    else
        field->store->set(PlaceOf(object, field), value);
    Mark(object, field);
}

void SchemaClass_TakeText(GObject *object, const SchemaField *field, char *text) {
    Observe(object, field);
    g_free(std::exchange(*SchemaField_In<char *>(object, field), text));
    Mark(object, field);
}

void SchemaClass_TakeAny(GObject *object, const SchemaField *field, GValue *content) {
    Observe(object, field);
    SchemaReference_TakeAny(PlaceOf(object, field), content);
    Mark(object, field);
}

const SchemaClass *SchemaClass_Of(gconstpointer object) {
    return SchemaOf(object);
}

GValueArray *SchemaField_GetArray(GObject *object, const SchemaField *field) {
    const bool isPlain = (field->row->flags & SCHEMA_ARRAY) &&
                         !(field->row->flags & SCHEMA_DYNAMIC) &&
                         field->row->kind != SCHEMA_VALUE_MANAGED;
    return isPlain ? *SchemaField_In<GValueArray *>(object, field) : nullptr;
}

void SchemaArray_MakeRoom(GValueArray *array) {
    if (array->n_values < array->n_prealloced || array->n_values > G_MAXUINT / 4)
        return;
    const guint size = std::max(array->n_values * 2, 8U);
    array->values = g_renew(GValue, array->values, size);
    std::ranges::fill(std::span(array->values, size).subspan(array->n_values),
                      GValue(G_VALUE_INIT));
    array->n_prealloced = size;
}

const SchemaField *SchemaClass_FindField(GObject *object, const GParamSpec *pspec) {
    const SchemaClass *schema = SchemaClass_Get(G_OBJECT_GET_CLASS(object));
    if (schema == nullptr || schema->type != G_OBJECT_TYPE(object))
        return nullptr;
    while (schema != nullptr && schema->type != pspec->owner_type)
        schema = schema->base;
    const bool isField = schema != nullptr && pspec->param_id - 1 < schema->numFields &&
                         schema->fields[pspec->param_id - 1].pspec == pspec;
    return isField ? schema->fields + pspec->param_id - 1 : nullptr;
}

const SchemaField *SchemaClass_FindFieldByName(GObject *object, std::string_view name) {
    const SchemaClass *schema = SchemaClass_Get(G_OBJECT_GET_CLASS(object));
    if (schema == nullptr || schema->type != G_OBJECT_TYPE(object))
        return nullptr;
    const gint found = schema->names.Find(name, NamesOf(schema));
    return found >= 0 ? schema->allFields[static_cast<gsize>(found)] : nullptr;
}

void SchemaClass_GetField(GObject *object, const SchemaField *field, GValue *value) {
    SchemaEngine_NoteRead(object, field);
    field->store->get(PlaceOf(object, field), value);
}

SchemaSession SchemaSession_Of(gpointer object) {
    OrvaneSession *session = SessionField(object);
    const SchemaSession &record = Record(object);
    if (session == nullptr || record.session == session)
        return {session, session != nullptr ? record.number : 0};
    return {session, OrvaneSession_GetNumber(session)};
}

void SchemaSession_Set(gpointer object, const SchemaSession &of) {
    SessionField(object) = of.session;
    Record(object) = of;
}

void SchemaSession_Set(gpointer object, OrvaneSession *session) {
    SchemaSession_Set(object, {session, OrvaneSession_GetNumber(session)});
}

OrvaneSession *SchemaSession_GetLive(gpointer object) {
    const SchemaSession of = SchemaSession_Of(object);
    return of.number != 0 && OrvaneSession_GetNumber(of.session) == of.number ? of.session
                                                                              : nullptr;
}

OrvaneMOMgr *SchemaSession_GetManager(const SchemaSession &of) {
    return OrvaneSession_GetManager(of.session, of.number);
}

void skema_core_populate_name_map(GHashTable *table) {
    PopulateNameMap(table, SCHEMA_NAMESPACE_QORM);
}

void skema_ozy_populate_name_map(GHashTable *table) {
    PopulateNameMap(table, SCHEMA_NAMESPACE_OZY);
}

void skema_ferry_populate_name_map(GHashTable *table) {
    PopulateNameMap(table, SCHEMA_NAMESPACE_FERRY);
}
