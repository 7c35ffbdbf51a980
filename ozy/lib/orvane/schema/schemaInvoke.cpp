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
#include "ozy/lib/orvane/schema/schemaKinds.h"
#include "ozy/lib/orvane/schema/schemaSession.h"

namespace {

/* The value of one argument: the caller's own, or one packed into what is given. */
const GValue *ValueOf(const SchemaArgumentRow &row, SchemaParameters &from, GValue *packed) {
    if (row.flags & SCHEMA_ARRAY) {
        SchemaKind_PackList(row, from, packed);
        return packed;
    }
    if (row.kind == SCHEMA_VALUE_UNKNOWN) {
        const auto *own = va_arg(from.list, const GValue *);
        return own != nullptr ? own : packed;
    }
    SchemaKind_Row(row.kind).pack(row, from, packed);
    return packed;
}

/* A method without result records none; a list records the type of one element. */
void RecordResult(const SchemaMethodRow &row, OrvaneListener *listener) {
    const gboolean isArray = (row.resultFlags & SCHEMA_ARRAY) != 0;
    orvane_listener_set_return_type(
        listener, SchemaEngine_ValueType(row.resultKind, row.resultType), isArray);
}

void Invoke(const SchemaMethodRow &row, SkemaQormManagedObject *object, OrvaneListener *listener,
            SchemaParameters &from) {
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
    const bool isSessionReused =
        OrvaneSession_IsLive(target->session) && SchemaSession_GetLive(target) == nullptr;
    if (target->session == nullptr || isSessionReused)
        OrvaneListener_RefuseOperation(listener);
    g_return_if_fail(target->session != nullptr);
    g_return_if_fail(!isSessionReused);

    SchemaParameters from;
    va_start(from.list, listener);
    Invoke(SchemaEngine_Tables()->methods[method], target, listener, from);
    va_end(from.list);
}
