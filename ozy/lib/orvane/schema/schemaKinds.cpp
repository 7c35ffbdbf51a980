#include "ozy/lib/orvane/schema/schemaStore.h"

#include <utility>

#include "ozy/lib/orvane/schema/schemaReference.h"

namespace {

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
        [](const SchemaPlace &place, GValue *value) { write(value, Held<T>(place)); },
        nullptr,
    };
}

/* What is kept through one pointer: a copy made by dup, given back by release, shown by show. The
 * copy is made before the old one goes, so that a value may show what the place itself holds. */
template <class T, auto dup, auto show, auto release> constexpr SchemaStore Pointer() {
    return {
        sizeof(T *),
        [](const SchemaPlace &place, const GValue *value) {
            T *old = std::exchange(Held<T *>(place), static_cast<T *>(dup(value)));
            if (old != nullptr)
                release(old);
        },
        [](const SchemaPlace &place, GValue *value) { show(value, Held<T *>(place)); },
        [](const SchemaPlace &place) {
            if (T *old = std::exchange(Held<T *>(place), nullptr))
                release(old);
        },
    };
}

void ByteArrayFree(GByteArray *array) {
    g_byte_array_free(array, TRUE);
}

constexpr SchemaStore kBoolean = Plain<gboolean, g_value_get_boolean, g_value_set_boolean>();
constexpr SchemaStore kByte = Plain<gint8, g_value_get_schar, g_value_set_schar>();
constexpr SchemaStore kShort = Plain<gint16, g_value_get_int, g_value_set_int>();
constexpr SchemaStore kInt = Plain<gint32, g_value_get_int, g_value_set_int>();
constexpr SchemaStore kLong = Plain<gint64, g_value_get_int64, g_value_set_int64>();
constexpr SchemaStore kFloat = Plain<gfloat, g_value_get_float, g_value_set_float>();
constexpr SchemaStore kDouble = Plain<gdouble, g_value_get_double, g_value_set_double>();
constexpr SchemaStore kEnum = Plain<gint32, g_value_get_enum, g_value_set_enum>();
constexpr SchemaStore kString = Pointer<char, g_value_dup_string, g_value_set_string, g_free>();
constexpr SchemaStore kTimeval = Pointer<GTimeVal, g_value_dup_boxed, g_value_set_boxed, g_free>();
constexpr SchemaStore kBinary =
    Pointer<GByteArray, g_value_dup_boxed, g_value_set_boxed, ByteArrayFree>();
constexpr SchemaStore kObject =
    Pointer<GObject, g_value_dup_object, g_value_set_object, g_object_unref>();
constexpr SchemaStore kArray =
    Pointer<GValueArray, g_value_dup_boxed, g_value_set_boxed, g_value_array_free>();

const SchemaStore *StoreOfArray(const SchemaFieldRow &row) {
    if (row.flags & SCHEMA_DYNAMIC)
        return &kSchemaDynamicArrayStore;
    return row.kind == SCHEMA_VALUE_MANAGED ? &kSchemaReferenceArrayStore : &kArray;
}

} // namespace

const SchemaStore *SchemaStore_For(const SchemaFieldRow &row) {
    if (row.flags & SCHEMA_ARRAY)
        return StoreOfArray(row);
    switch (row.kind) {
    case SCHEMA_VALUE_BOOLEAN:
        return &kBoolean;
    case SCHEMA_VALUE_BYTE:
        return &kByte;
    case SCHEMA_VALUE_SHORT:
        return &kShort;
    case SCHEMA_VALUE_INT:
        return &kInt;
    case SCHEMA_VALUE_LONG:
        return &kLong;
    case SCHEMA_VALUE_FLOAT:
        return &kFloat;
    case SCHEMA_VALUE_DOUBLE:
        return &kDouble;
    case SCHEMA_VALUE_STRING:
    case SCHEMA_VALUE_URI:
        return &kString;
    case SCHEMA_VALUE_DATETIME:
        return &kTimeval;
    case SCHEMA_VALUE_BINARY:
        return &kBinary;
    case SCHEMA_VALUE_ANY:
        return &kSchemaAnyStore;
    case SCHEMA_VALUE_ENUM:
        return &kEnum;
    case SCHEMA_VALUE_OBJECT:
        return &kObject;
    case SCHEMA_VALUE_MANAGED:
        return &kSchemaReferenceStore;
    case SCHEMA_VALUE_NONE:
    case SCHEMA_VALUE_UNKNOWN:
        break; /* of methods and arguments, never of a field */
    }
    return nullptr;
}
