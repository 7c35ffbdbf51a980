// The one function behind all method stubs: reads the stub's parameters by the method's rows, packs
// each into a value, and hands names and values to the session in the schema's order. What is left
// out stays a zeroed value. The values live during the call only, so texts, lists and boxed values
// are not copied.
#include <cstdarg>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/panic.h"
#include "ozy/lib/orvane/runtime/orvaneArgument.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"

namespace {

/* A va_list that can be handed on by reference. */
struct Parameters {
    va_list list;
};

template <class T> T Next(Parameters &from) {
    return va_arg(from.list, T);
}

/* By value if required; otherwise by pointer, and left out if it is NULL. Passed is what a T
 * becomes on its way through "...". */
template <class T, class Passed, auto set>
void PackNumber(const SchemaArgumentRow &row, Parameters &from, GValue *value) {
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
void PackPointer(const SchemaArgumentRow &row, GType type, Parameters &from, GValue *value) {
    const void *pointer = Next<const void *>(from);
    if (IsLeftOut(row, pointer))
        return;
    g_value_init(value, type);
    set(value, static_cast<const char *>(pointer));
}

/* A type that is only likely must not stand in the way of an object of another. */
void PackObject(const SchemaArgumentRow &row, Parameters &from, GValue *value) {
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
void PackAny(const SchemaArgumentRow &row, Parameters &from, GValue *value) {
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

void SetString(GValue *value, const char *text) {
    g_value_set_static_string(value, text);
}

void SetBoxed(GValue *value, const char *boxed) {
    g_value_set_static_boxed(value, boxed);
}

void Pack(const SchemaArgumentRow &row, Parameters &from, GValue *value) {
    switch (row.kind) {
    case SCHEMA_VALUE_BOOLEAN:
        return PackNumber<gboolean, int, g_value_set_boolean>(row, from, value);
    case SCHEMA_VALUE_BYTE:
        return PackNumber<gint8, int, g_value_set_schar>(row, from, value);
    case SCHEMA_VALUE_SHORT:
    case SCHEMA_VALUE_INT:
        return PackNumber<gint, int, g_value_set_int>(row, from, value);
    case SCHEMA_VALUE_LONG:
        return PackNumber<gint64, gint64, g_value_set_int64>(row, from, value);
    case SCHEMA_VALUE_FLOAT:
        return PackNumber<gfloat, double, g_value_set_float>(row, from, value);
    case SCHEMA_VALUE_DOUBLE:
        return PackNumber<gdouble, double, g_value_set_double>(row, from, value);
    case SCHEMA_VALUE_ENUM:
        return PackNumber<gint, int, g_value_set_enum>(row, from, value);
    case SCHEMA_VALUE_STRING:
        return PackPointer<SetString>(row, G_TYPE_STRING, from, value);
    case SCHEMA_VALUE_URI:
    case SCHEMA_VALUE_DATETIME:
    case SCHEMA_VALUE_BINARY:
        return PackPointer<SetBoxed>(row, SchemaEngine_ValueType(row.kind, row.type), from, value);
    case SCHEMA_VALUE_OBJECT:
    case SCHEMA_VALUE_MANAGED:
        return PackObject(row, from, value);
    case SCHEMA_VALUE_ANY:
        return PackAny(row, from, value);
    case SCHEMA_VALUE_NONE:
    case SCHEMA_VALUE_UNKNOWN: /* is the caller's own value */
        break;
    }
    NOT_REACHED();
}

/* The value of one argument: the caller's own, or one packed into what is given. */
const GValue *ValueOf(const SchemaArgumentRow &row, Parameters &from, GValue *packed) {
    if (row.flags & SCHEMA_ARRAY) {
        PackPointer<SetBoxed>(row, G_TYPE_VALUE_ARRAY, from, packed);
        return packed;
    }
    if (row.kind == SCHEMA_VALUE_UNKNOWN) {
        const GValue *own = Next<const GValue *>(from);
        return own != nullptr ? own : packed;
    }
    Pack(row, from, packed);
    return packed;
}

/* A method without result records none; a list records the type of one element. */
void RecordResult(const SchemaMethodRow &row, OrvaneListener *listener) {
    const gboolean isArray = (row.resultFlags & SCHEMA_ARRAY) != 0;
    orvane_listener_set_return_type(
        listener, SchemaEngine_ValueType(row.resultKind, row.resultType), isArray);
}

void Invoke(const SchemaMethodRow &row, SkemaQormManagedObject *object, OrvaneListener *listener,
            Parameters &from) {
    const SchemaTables *tables = SchemaEngine_Tables();
    std::vector<GValue> values(row.numArguments, GValue(G_VALUE_INIT));
    std::vector<OrvaneArgument> arguments(row.numArguments);
    for (guint i = 0; i < row.numArguments; i++) {
        const SchemaArgumentRow &argument = tables->arguments[row.firstArgument + i];
        arguments[i] = {tables->text + argument.name, ValueOf(argument, from, &values[i])};
    }

    if (listener != nullptr)
        RecordResult(row, listener);
    OrvaneSession_InvokeMethodV(object->session, G_OBJECT(object), tables->text + row.wireName,
                                listener, arguments.data(), row.numArguments);

    for (GValue &value : values)
        orvane_value_cond_unset(&value);
}

} // namespace

void orvane_schema_invoke(guint method, gpointer object, OrvaneListener *listener, ...) {
    VERIFY(method < SchemaEngine_Tables()->numMethods);
    g_return_if_fail(SKEMA_IS_QORM_MANAGED_OBJECT(object));
    auto *target = static_cast<SkemaQormManagedObject *>(object);
    g_return_if_fail(target->session != nullptr);

    Parameters from;
    va_start(from.list, listener);
    Invoke(SchemaEngine_Tables()->methods[method], target, listener, from);
    va_end(from.list);
}
