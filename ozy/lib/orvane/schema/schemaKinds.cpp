#include "ozy/lib/orvane/schema/schemaKinds.h"

#include <algorithm>
#include <array>
#include <cfloat>
#include <cstring>
#include <span>
#include <utility>

#include <orvane/schema/qorm.h>

#include "lib/misc/panic.h"
#include "ozy/lib/orvane/schema/schemaCompare.h"
#include "ozy/lib/orvane/schema/schemaReference.h"

namespace {

/* -- how values are stored ----------------------------------------------------------------------- */

template <class T> T &Held(const SchemaPlace &place) {
    return *static_cast<T *>(place.data);
}

/* Numbers, booleans and enumerations: by value, narrowed to what the object has room for. */
template <class T, auto read, auto write> constexpr SchemaStore Plain() {
    return {
        sizeof(T),
        [](const SchemaPlace &place, const GValue *value) {
            Held<T>(place) = static_cast<T>(read(value));
        },
        nullptr,
        [](const SchemaPlace &place, GValue *value) { write(value, Held<T>(place)); },
        nullptr,
        [](const SchemaPlace &first, const SchemaPlace &second, int) {
            return memcmp(first.data, second.data, sizeof(T)) == 0;
        },
        nullptr,
    };
}

/* Takes the pointer that a value of a text, boxed or object type owns; NULL if it owns none. */
template <class T> T *StealPointer(GValue *value) {
    constexpr guint kNotOwned = G_VALUE_NOCOPY_CONTENTS | G_VALUE_INTERNED_STRING;
    const GType kind = G_TYPE_FUNDAMENTAL(G_VALUE_TYPE(value));
    const bool isOwned =
        kind == G_TYPE_OBJECT ||
        ((kind == G_TYPE_BOXED || kind == G_TYPE_STRING) && !(value->data[1].v_uint & kNotOwned));
    return isOwned ? static_cast<T *>(std::exchange(value->data[0].v_pointer, nullptr)) : nullptr;
}

/* What is kept through one pointer: a copy made by dup, given back by release, shown by show, compared by isEqual, visited by visit. The
 * copy is made before the old one goes, so that a value may show what the place itself holds. */
template <class T, auto dup, auto show, auto release, auto isEqual,
          void (*visit)(const SchemaPlace &, SchemaHeld *) = nullptr>
constexpr SchemaStore Pointer() {
    return {
        sizeof(T *),
        [](const SchemaPlace &place, const GValue *value) {
            T *old = std::exchange(Held<T *>(place), static_cast<T *>(dup(value)));
            if (old != nullptr)
                release(old);
        },
        [](const SchemaPlace &place, GValue *value) {
            T *next = StealPointer<T>(value);
            if (next == nullptr)
                next = static_cast<T *>(dup(value));
            T *old = std::exchange(Held<T *>(place), next);
            if (old != nullptr)
                release(old);
        },
        [](const SchemaPlace &place, GValue *value) { show(value, Held<T *>(place)); },
        [](const SchemaPlace &place) {
            if (T *old = std::exchange(Held<T *>(place), nullptr))
                release(old);
        },
        [](const SchemaPlace &first, const SchemaPlace &second, int depth) {
            return isEqual(Held<T *>(first), Held<T *>(second), depth);
        },
        visit,
    };
}

void ByteArrayFree(GByteArray *array) {
    g_byte_array_free(array, TRUE);
}

void VisitObject(const SchemaPlace &place, SchemaHeld *held) {
    if (auto *object = Held<GObject *>(place))
        held->objects.push_back(object);
}

void VisitArray(const SchemaPlace &place, SchemaHeld *held) {
    SchemaStore_VisitElements(Held<GValueArray *>(place), held);
}

constexpr SchemaStore kBoolean = Plain<gboolean, g_value_get_boolean, g_value_set_boolean>();
constexpr SchemaStore kByte = Plain<gint8, g_value_get_schar, g_value_set_schar>();
constexpr SchemaStore kShort = Plain<gint16, g_value_get_int, g_value_set_int>();
constexpr SchemaStore kInt = Plain<gint32, g_value_get_int, g_value_set_int>();
constexpr SchemaStore kLong = Plain<gint64, g_value_get_int64, g_value_set_int64>();
constexpr SchemaStore kFloat = Plain<gfloat, g_value_get_float, g_value_set_float>();
constexpr SchemaStore kDouble = Plain<gdouble, g_value_get_double, g_value_set_double>();
constexpr SchemaStore kEnum = Plain<gint32, g_value_get_enum, g_value_set_enum>();
constexpr SchemaStore kString =
    Pointer<char, g_value_dup_string, g_value_set_string, g_free, SchemaCompare_Texts>();
constexpr SchemaStore kTimeval =
    Pointer<GTimeVal, g_value_dup_boxed, g_value_set_boxed, g_free, SchemaCompare_Times>();
constexpr SchemaStore kBinary =
    Pointer<GByteArray, g_value_dup_boxed, g_value_set_boxed, ByteArrayFree, SchemaCompare_Bytes>();
constexpr SchemaStore kObject = Pointer<GObject, g_value_dup_object, g_value_set_object,
                                        g_object_unref, SchemaCompare_Objects, VisitObject>();
constexpr SchemaStore kArray = Pointer<GValueArray, g_value_dup_boxed, g_value_set_boxed,
                                       g_value_array_free, SchemaCompare_Arrays>();
/* Of elements that may lead to a proxy. */
constexpr SchemaStore kVisitedArray =
    Pointer<GValueArray, g_value_dup_boxed, g_value_set_boxed, g_value_array_free,
            SchemaCompare_Arrays, VisitArray>();

/* -- param specs ----------------------------------------------------------------------------------- */

template <auto make, auto minimum, auto maximum>
GParamSpec *RangeSpec(const char *name, GType, GParamFlags flags) {
    return make(name, "", "", minimum, maximum, 0, flags);
}

template <auto make> GParamSpec *TypeSpec(const char *name, GType type, GParamFlags flags) {
    return make(name, "", "", type, flags);
}

GParamSpec *BooleanSpec(const char *name, GType, GParamFlags flags) {
    return g_param_spec_boolean(name, "", "", FALSE, flags);
}

/* Floating-point numbers are no template arguments everywhere. */
GParamSpec *FloatSpec(const char *name, GType, GParamFlags flags) {
    return g_param_spec_float(name, "", "", -FLT_MAX, FLT_MAX, 0, flags);
}

GParamSpec *DoubleSpec(const char *name, GType, GParamFlags flags) {
    return g_param_spec_double(name, "", "", -DBL_MAX, DBL_MAX, 0, flags);
}

GParamSpec *StringSpec(const char *name, GType, GParamFlags flags) {
    return g_param_spec_string(name, "", "", "", flags);
}

GParamSpec *EnumSpec(const char *name, GType type, GParamFlags flags) {
    return g_param_spec_enum(name, "", "", type, 0, flags);
}

/* -- types ----------------------------------------------------------------------------------------- */

template <GType type> GType Fixed(guint16) {
    return type;
}

template <GType (*boxed)(void)> GType Boxed(guint16) {
    return boxed();
}

GType Declared(guint16 index) {
    return orvane_schema_get_type(index);
}

/* -- parameters of stubs ------------------------------------------------------------------------- */

template <class T> T Next(SchemaParameters &from) {
    return va_arg(from.list, T);
}

/* By value if required; otherwise by pointer, and left out if it is NULL. Passed is what a T
 * becomes on its way through "...". */
template <class T, class Passed, auto set>
void PackNumber(const SchemaArgumentRow &row, SchemaParameters &from, GValue *value) {
    const T *pointed = nullptr;
    T number = {};
    if (row.flags & SCHEMA_OPTIONAL) {
        pointed = Next<const T *>(from);
    } else {
        number = static_cast<T>(Next<Passed>(from));
        pointed = &number;
    }
    if (pointed == nullptr)
        return;
    g_value_init(value, SchemaEngine_ValueType(row.kind, row.type));
    set(value, *pointed);
}

bool IsLeftOut(const SchemaArgumentRow &row, gconstpointer pointer) {
    return pointer == nullptr && !(row.flags & SCHEMA_REQUIRED);
}

template <auto set>
void PackTyped(const SchemaArgumentRow &row, GType type, SchemaParameters &from, GValue *value) {
    const void *pointer = Next<const void *>(from);
    if (IsLeftOut(row, pointer))
        return;
    g_value_init(value, type);
    set(value, static_cast<const char *>(pointer));
}

template <auto set>
void PackPointer(const SchemaArgumentRow &row, SchemaParameters &from, GValue *value) {
    PackTyped<set>(row, SchemaEngine_ValueType(row.kind, row.type), from, value);
}

/* Where the type is only likely, an object of another type is accepted. */
void PackObject(const SchemaArgumentRow &row, SchemaParameters &from, GValue *value) {
    auto *instance = Next<GObject *>(from);
    if (IsLeftOut(row, instance))
        return;
    const bool isOwnType = instance != nullptr && (row.flags & SCHEMA_LIKELY);
    g_value_init(value,
                 isOwnType ? G_OBJECT_TYPE(instance) : SchemaEngine_ValueType(row.kind, row.type));
    g_value_set_object(value, instance);
}

/* The bytes of the parameter itself are read as a GValue, so its first word is the type. What would
 * follow it is not the parameter's and counts as zero; a word that is no fundamental type makes an
 * uninitialised value and is never followed as a pointer. */
void PackAny(const SchemaArgumentRow &row, SchemaParameters &from, GValue *value) {
    gpointer parameter = Next<gpointer>(from);
    if (IsLeftOut(row, parameter))
        return;
    const GType type = GPOINTER_TO_SIZE(parameter);
    GValue boxed = G_VALUE_INIT;
    if (type <= G_TYPE_FUNDAMENTAL_MAX && G_TYPE_IS_VALUE(type))
        g_value_init(&boxed, type);
    g_value_init(value, G_TYPE_VALUE);
    g_value_set_boxed(value, &boxed);
    if (G_IS_VALUE(&boxed))
        g_value_unset(&boxed);
}

/* -- the rows -------------------------------------------------------------------------------------- */

constexpr auto kRows = std::to_array<SchemaKindRow>({
    {SCHEMA_VALUE_NONE, nullptr, Fixed<G_TYPE_NONE>, nullptr, nullptr, nullptr},
    {SCHEMA_VALUE_BOOLEAN, nullptr, Fixed<G_TYPE_BOOLEAN>, BooleanSpec, &kBoolean,
     PackNumber<gboolean, int, g_value_set_boolean>, SCHEMA_KIND_NUMBER},
    {SCHEMA_VALUE_BYTE, "gint8", Fixed<G_TYPE_CHAR>,
     RangeSpec<g_param_spec_char, G_MININT8, G_MAXINT8>, &kByte,
     PackNumber<gint8, int, g_value_set_schar>, SCHEMA_KIND_NUMBER},
    {SCHEMA_VALUE_SHORT, "gint16", Fixed<G_TYPE_INT>,
     RangeSpec<g_param_spec_int, G_MINSHORT, G_MAXSHORT>, &kShort,
     PackNumber<gint, int, g_value_set_int>, SCHEMA_KIND_NUMBER},
    {SCHEMA_VALUE_INT, "gint32", Fixed<G_TYPE_INT>, RangeSpec<g_param_spec_int, G_MININT, G_MAXINT>,
     &kInt, PackNumber<gint, int, g_value_set_int>, SCHEMA_KIND_NUMBER | SCHEMA_KIND_UNCHECKED},
    {SCHEMA_VALUE_LONG, "gint64", Fixed<G_TYPE_INT64>,
     RangeSpec<g_param_spec_int64, G_MININT64, G_MAXINT64>, &kLong,
     PackNumber<gint64, gint64, g_value_set_int64>, SCHEMA_KIND_NUMBER | SCHEMA_KIND_UNCHECKED},
    {SCHEMA_VALUE_FLOAT, nullptr, Fixed<G_TYPE_FLOAT>, FloatSpec, &kFloat,
     PackNumber<gfloat, double, g_value_set_float>, SCHEMA_KIND_NUMBER},
    {SCHEMA_VALUE_DOUBLE, nullptr, Fixed<G_TYPE_DOUBLE>, DoubleSpec, &kDouble,
     PackNumber<gdouble, double, g_value_set_double>, SCHEMA_KIND_NUMBER},
    {SCHEMA_VALUE_STRING, "gchar *", Fixed<G_TYPE_STRING>, StringSpec, &kString,
     PackPointer<g_value_set_static_string>, SCHEMA_KIND_UNCHECKED},
    {SCHEMA_VALUE_URI, "gchar *", Boxed<orvane_uri_get_type>, StringSpec, &kString,
     PackPointer<g_value_set_static_boxed>},
    {SCHEMA_VALUE_DATETIME, nullptr, Boxed<orvane_timeval_get_type>, TypeSpec<g_param_spec_boxed>,
     &kTimeval, PackPointer<g_value_set_static_boxed>, SCHEMA_KIND_UNCHECKED},
    {SCHEMA_VALUE_BINARY, nullptr, Boxed<orvane_byte_array_get_type>, TypeSpec<g_param_spec_boxed>,
     &kBinary, PackPointer<g_value_set_static_boxed>, SCHEMA_KIND_UNCHECKED},
    {SCHEMA_VALUE_ANY, "GValue", Boxed<g_value_get_type>, TypeSpec<g_param_spec_boxed>,
     &kSchemaAnyStore, PackAny},
    {SCHEMA_VALUE_ENUM, nullptr, Declared, EnumSpec, &kEnum,
     PackNumber<gint, int, g_value_set_enum>, SCHEMA_KIND_NUMBER},
    {SCHEMA_VALUE_OBJECT, nullptr, Declared, TypeSpec<g_param_spec_object>, &kObject, PackObject},
    {SCHEMA_VALUE_MANAGED, nullptr, Declared, TypeSpec<g_param_spec_object>, &kSchemaReferenceStore,
     PackObject},
    {SCHEMA_VALUE_UNKNOWN, nullptr, Fixed<G_TYPE_NONE>, nullptr, nullptr, nullptr},
});
static_assert(kRows.size() == SCHEMA_VALUE_UNKNOWN + 1);
static_assert(std::ranges::is_sorted(kRows, {}, &SchemaKindRow::kind));

} // namespace

const SchemaKindRow &SchemaKind_Row(SchemaValueKind kind) {
    return kRows[kind];
}

const SchemaStore *SchemaStore_For(const SchemaFieldRow &row) {
    if (!(row.flags & SCHEMA_ARRAY))
        return SchemaKind_Row(row.kind).store;
    if (row.flags & SCHEMA_DYNAMIC)
        return &kSchemaDynamicArrayStore;
    if (row.kind == SCHEMA_VALUE_MANAGED)
        return &kSchemaReferenceArrayStore;
    return SchemaKind_Row(row.kind).store->visit != nullptr ? &kVisitedArray : &kArray;
}

void SchemaStore_VisitElements(const GValueArray *array, SchemaHeld *held) {
    if (array == nullptr)
        return;
    for (const GValue &element : std::span(array->values, array->n_values))
        held->values.push_back(&element);
}

void SchemaKind_PackList(const SchemaArgumentRow &row, SchemaParameters &from, GValue *value) {
    PackTyped<g_value_set_static_boxed>(row, G_TYPE_VALUE_ARRAY, from, value);
}
