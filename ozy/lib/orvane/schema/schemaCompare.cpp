#include "ozy/lib/orvane/schema/schemaCompare.h"

#include <bit>
#include <cstring>
#include <span>

#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/schema/schemaStore.h"

namespace {

constexpr int kMaxDepth = 256;

/* Compares what two objects of a class keep in a field. */
bool AreFieldsEqual(GObject *first, GObject *second, const SchemaField *field, int depth) {
    if (field->mark != 0 && (g_object_get_qdata(first, field->mark) == nullptr) !=
                                (g_object_get_qdata(second, field->mark) == nullptr))
        return false;
    SchemaEngine_NoteRead(first, field);
    SchemaEngine_NoteRead(second, field);
    return field->store->isEqual({field, SchemaField_In<char>(first, field), first},
                                 {field, SchemaField_In<char>(second, field), second}, depth);
}

bool AreBoxedEqual(const GValue *first, const GValue *second, int depth) {
    const GType type = G_VALUE_TYPE(first);
    gpointer a = g_value_get_boxed(first);
    gpointer b = g_value_get_boxed(second);
    if (type == G_TYPE_VALUE_ARRAY)
        return SchemaCompare_Arrays(static_cast<GValueArray *>(a), static_cast<GValueArray *>(b),
                                    depth);
    if (type == ORVANE_TYPE_TIMEVAL)
        return SchemaCompare_Times(static_cast<GTimeVal *>(a), static_cast<GTimeVal *>(b), depth);
    if (type == ORVANE_TYPE_URI)
        return g_strcmp0(static_cast<char *>(a), static_cast<char *>(b)) == 0;
    if (type == ORVANE_TYPE_BYTE_ARRAY)
        return SchemaCompare_Bytes(static_cast<GByteArray *>(a), static_cast<GByteArray *>(b),
                                   depth);
    return a == b;
}

/* The value itself, or the one that it boxes, as an element of a list of any values may. */
const GValue *Unboxed(const GValue *value) {
    const bool isBox = G_IS_VALUE(value) && G_VALUE_HOLDS(value, G_TYPE_VALUE);
    return isBox ? static_cast<const GValue *>(g_value_get_boxed(value)) : value;
}

} // namespace

bool SchemaCompare_Arrays(const GValueArray *first, const GValueArray *second, int depth) {
    if (first == nullptr || second == nullptr)
        return first == second;
    if (first->n_values != second->n_values)
        return false;
    for (guint i = 0; i < first->n_values; i++) {
        if (!SchemaCompare_Values(&first->values[i], &second->values[i], depth))
            return false;
    }
    return true;
}

bool SchemaCompare_Bytes(const GByteArray *first, const GByteArray *second, int) {
    if (first == nullptr || second == nullptr)
        return first == second;
    return first->len == second->len &&
           (first->len == 0 || memcmp(first->data, second->data, first->len) == 0);
}

bool SchemaCompare_Times(const GTimeVal *first, const GTimeVal *second, int) {
    if (first == nullptr || second == nullptr)
        return first == second;
    return first->tv_sec == second->tv_sec && first->tv_usec == second->tv_usec;
}

bool SchemaCompare_Texts(const char *first, const char *second, int) {
    return g_strcmp0(first, second) == 0;
}

bool SchemaCompare_Objects(GObject *first, GObject *second, int depth) {
    if (first == second)
        return true;
    if (first == nullptr || second == nullptr || G_OBJECT_TYPE(first) != G_OBJECT_TYPE(second) ||
        depth >= kMaxDepth)
        return false;
    const SchemaClass *schema = SchemaClass_Get(G_OBJECT_GET_CLASS(first));
    if (schema == nullptr || schema->type != G_OBJECT_TYPE(first))
        return false;
    if (SKEMA_IS_QORM_MANAGED_OBJECT(first))
        return g_strcmp0(SKEMA_QORM_MANAGED_OBJECT(first)->id,
                         SKEMA_QORM_MANAGED_OBJECT(second)->id) == 0;
    for (; schema != nullptr; schema = schema->base) {
        for (const SchemaField &field : std::span(schema->fields, schema->numFields)) {
            if (!AreFieldsEqual(first, second, &field, depth + 1))
                return false;
        }
    }
    return true;
}

bool SchemaCompare_Values(const GValue *outerFirst, const GValue *outerSecond, int depth) {
    const GValue *first = Unboxed(outerFirst);
    const GValue *second = Unboxed(outerSecond);
    if (!G_IS_VALUE(first) || !G_IS_VALUE(second))
        return !G_IS_VALUE(first) && !G_IS_VALUE(second);
    if (G_VALUE_HOLDS_OBJECT(first) &&
        G_VALUE_HOLDS_OBJECT(second)) /* of whatever declared types */
        return SchemaCompare_Objects(static_cast<GObject *>(g_value_get_object(first)),
                                     static_cast<GObject *>(g_value_get_object(second)), depth);
    if (G_VALUE_TYPE(first) != G_VALUE_TYPE(second) || depth >= kMaxDepth)
        return false;
    /* by GLib's types, not by the schema's kinds: any values also hold types that no field of the schema has */
    switch (G_TYPE_FUNDAMENTAL(G_VALUE_TYPE(first))) {
    case G_TYPE_STRING:
        return g_strcmp0(g_value_get_string(first), g_value_get_string(second)) == 0;
    case G_TYPE_BOXED:
        return AreBoxedEqual(first, second, depth + 1);
    case G_TYPE_INT64:
    case G_TYPE_UINT64:
        return first->data[0].v_int64 == second->data[0].v_int64;
    case G_TYPE_FLOAT:
        return std::bit_cast<guint32>(g_value_get_float(first)) ==
               std::bit_cast<guint32>(g_value_get_float(second));
    case G_TYPE_DOUBLE:
        return std::bit_cast<guint64>(g_value_get_double(first)) ==
               std::bit_cast<guint64>(g_value_get_double(second));
    case G_TYPE_BOOLEAN:
    case G_TYPE_CHAR:
    case G_TYPE_UCHAR:
    case G_TYPE_INT:
    case G_TYPE_UINT:
    case G_TYPE_ENUM:
    case G_TYPE_FLAGS:
        return first->data[0].v_int == second->data[0].v_int;
    case G_TYPE_LONG:
    case G_TYPE_ULONG:
        return first->data[0].v_long == second->data[0].v_long;
    default:
        return false;
    }
}

bool SchemaCompare_AreEqual(const GValue *first, const GValue *second) {
    return SchemaCompare_Values(first, second, 0);
}
