#include <orvane/method.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/runtime/orvaneArgument.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/schema/schemaKinds.h"
#include "ozy/lib/orvane/schema/schemaSession.h"

namespace {

/* What a class of the schema is made of; NULL for any other type. The class is kept. */
const SchemaClass *ClassOf(GType type) {
    if (!g_type_is_a(type, SKEMA_TYPE_QORM_MANAGED_OBJECT))
        return nullptr;
    gpointer klass = g_type_class_peek(type);
    return SchemaClass_Get(klass != nullptr ? klass : g_type_class_ref(type));
}

guint IndexOf(const SchemaClass *klass) {
    return static_cast<guint>(klass->row - SchemaEngine_Tables()->types);
}

/* Calls a function with each method of the class and then of its bases. */
template <class Function> void ForEachMethod(const SchemaClass *klass, Function function) {
    const SchemaTables *tables = SchemaEngine_Tables();
    for (; klass != nullptr; klass = klass->base) {
        for (guint i = 0; i < tables->numMethods; i++) {
            if (tables->methods[i].owner == IndexOf(klass))
                function(tables->methods[i], *klass);
        }
    }
}

/* A stub cannot leave out a number that it takes by value. */
bool IsRequired(const SchemaArgumentRow &row) {
    if (row.flags & (SCHEMA_REQUIRED | SCHEMA_OPTIONAL))
        return (row.flags & SCHEMA_REQUIRED) != 0;
    return (SchemaKind_Row(row.kind).traits & SCHEMA_KIND_NUMBER) && !(row.flags & SCHEMA_ARRAY);
}

OrvaneArgumentInfo DescribeArgument(const SchemaArgumentRow &row) {
    const bool isUnknown = row.kind == SCHEMA_VALUE_UNKNOWN;
    const GType type = isUnknown ? G_TYPE_VALUE : SchemaEngine_ValueType(row.kind, row.type);
    const bool isList = (row.flags & SCHEMA_ARRAY) != 0;
    int flags = IsRequired(row) ? ORVANE_ARGUMENT_REQUIRED : 0;
    if (row.flags & SCHEMA_OPTIONAL)
        flags |= ORVANE_ARGUMENT_OPTIONAL;
    if (row.flags & SCHEMA_LIKELY)
        flags |= ORVANE_ARGUMENT_LIKELY;
    if (isUnknown)
        flags |= ORVANE_ARGUMENT_UNKNOWN;
    return {SchemaEngine_Tables()->text + row.name, isList ? G_TYPE_VALUE_ARRAY : type,
            isList ? type : 0, static_cast<OrvaneArgumentFlags>(flags)};
}

OrvaneMethodInfo *Describe(const SchemaMethodRow &row, GType owner) {
    const SchemaTables *tables = SchemaEngine_Tables();
    auto *method = g_new0(OrvaneMethodInfo, 1);
    const GType result = SchemaEngine_ValueType(row.resultKind, row.resultType);
    const bool isList = (row.resultFlags & SCHEMA_ARRAY) != 0;
    method->name = tables->text + row.wireName;
    method->owner = owner;
    method->resultType = isList ? G_TYPE_VALUE_ARRAY : result;
    method->resultElementType = isList ? result : 0;
    method->numArguments = row.numArguments;
    auto *arguments = g_new0(OrvaneArgumentInfo, row.numArguments);
    for (guint i = 0; i < row.numArguments; i++)
        arguments[i] = DescribeArgument(tables->arguments[row.firstArgument + i]);
    method->arguments = arguments;
    return method;
}

void SetReturnType(const OrvaneMethodInfo *method, OrvaneListener *listener) {
    const gboolean isList = method->resultElementType != 0;
    orvane_listener_set_return_type(
        listener, isList ? method->resultElementType : method->resultType, isList);
}

} // namespace

OrvaneMethodInfo *orvane_method_info_new(GType type, const char *name) {
    g_return_val_if_fail(name != nullptr, nullptr);
    const SchemaMethodRow *found = nullptr;
    GType owner = 0;
    ForEachMethod(ClassOf(type), [&](const SchemaMethodRow &row, const SchemaClass &klass) {
        if (found != nullptr ||
            std::string_view(SchemaEngine_Tables()->text + row.wireName) != name)
            return;
        found = &row;
        owner = klass.type;
    });
    return found != nullptr ? Describe(*found, owner) : nullptr;
}

void orvane_method_info_free(OrvaneMethodInfo *method) {
    if (method == nullptr)
        return;
    g_free(const_cast<OrvaneArgumentInfo *>(method->arguments));
    g_free(method);
}

char **orvane_type_list_methods(GType type) {
    std::vector<std::string_view> names;
    ForEachMethod(ClassOf(type), [&](const SchemaMethodRow &row, const SchemaClass &) {
        names.push_back(SchemaEngine_Tables()->text + row.wireName);
    });
    std::ranges::sort(names);
    names.erase(std::unique(names.begin(), names.end()), names.end());
    char **list = g_new0(char *, names.size() + 1);
    for (size_t i = 0; i < names.size(); i++)
        list[i] = g_strdup(names[i].data());
    return list;
}

void orvane_method_invoke(const OrvaneMethodInfo *method, SkemaQormManagedObject *object,
                          const GValue *values, guint numValues, OrvaneListener *listener) {
    g_return_if_fail(method != nullptr && numValues <= method->numArguments);
    g_return_if_fail(SKEMA_IS_QORM_MANAGED_OBJECT(object));
    g_return_if_fail(g_type_is_a(G_OBJECT_TYPE(object), method->owner));
    g_return_if_fail(listener == nullptr || ORVANE_IS_LISTENER(listener));
    OrvaneSession *session = SchemaSession_GetLive(object);
    if (session == nullptr)
        OrvaneListener_RefuseOperation(listener);
    g_return_if_fail(session != nullptr);

    std::vector<OrvaneArgument> arguments;
    for (guint i = 0; i < numValues; i++)
        arguments.push_back({method->arguments[i].name, &values[i]});
    if (listener != nullptr)
        SetReturnType(method, listener);
    OrvaneSession_InvokeMethodV(session, G_OBJECT(object), method->name, listener, arguments.data(),
                                numValues);
}
