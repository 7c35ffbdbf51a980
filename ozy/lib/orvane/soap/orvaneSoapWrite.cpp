#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <span>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaLookup.h"
#include "ozy/lib/orvane/schema/schemaReference.h"

namespace {

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<soapenv:Envelope xmlns:soapenc=\"http://schemas.xmlsoap.org/soap/encoding/\"\n"
    " xmlns:soapenv=\"http://schemas.xmlsoap.org/soap/envelope/\"\n"
    " xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"\n"
    " xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n"
    "<soapenv:Body>\n";
/* Room for a plain call. Larger blocks are slower to allocate. */
constexpr gsize kFirstSize = 1000;
constexpr gsize kMaxFirstSize = 4 << 20;

/* Length of the last request, which the next one probably has, too. */
constinit std::atomic<gsize> gLastLength = 0;

gsize SoapFirstSize() {
    return std::clamp(gLastLength.load(std::memory_order_relaxed) + 1, kFirstSize, kMaxFirstSize);
}
constexpr std::string_view kTrailer = "\n</soapenv:Body>\n</soapenv:Envelope>";

/* As many levels of objects as the reader accepts of elements. */
constexpr guint kMaxObjects = 256;
/* An any value that holds an array per object, as the reader makes them. */
constexpr guint kMaxContainers = 2 * kMaxObjects;

/* The versions that the session's includes; none without a session or a version. */
guint32 SoapSessionVersions(OrvaneSession *session) {
    const char *version = session != nullptr ? orvane_session_get_version(session) : nullptr;
    const OrvaneVersionEntry *entry = version != nullptr ? orvane_lookup_version(version) : nullptr;
    return entry != nullptr ? entry->mask : 0;
}

SoapDestination SoapSessionDestination(OrvaneSession *session) {
    return {session != nullptr ? orvane_session_get_namespace(session) : nullptr,
            SoapSessionVersions(session)};
}

/* Whether the nesting is within the limits. Logs if it is not. */
bool SoapMayNest(const SoapWriter &writer, std::string_view name) {
    if (writer.numObjects <= kMaxObjects && writer.numContainers <= kMaxContainers)
        return true;
    if (writer.isCut != nullptr)
        *writer.isCut = true;
    Log("SOAP: %.*s is nested too deeply and is left out\n", static_cast<int>(name.size()),
        name.data());
    return false;
}

/* The writer of what an any value or an array holds. */
SoapWriter SoapInContainer(const SoapWriter &writer) {
    SoapWriter inner = writer;
    inner.numContainers++;
    return inner;
}

/*
 * Objects of a long array are scattered in memory, and waiting for it takes longer than writing them. So what an
 * object further on consists of is requested early: first the object, then the list of its data, which has its marks, and
 * the id of its first reference, then the proxy that was last found for that id. The proxy may be gone by now, which a
 * prefetch does not mind.
 * A call of a function that only prefetches has no effect for the compiler, which would drop it; hence always inline.
 */
[[gnu::always_inline]] inline void SoapPrefetch(std::span<const GValue> members, GType type,
                                                const SchemaField *reference) {
    constexpr gsize kObjectAhead = 8;
    constexpr gsize kDataAhead = 4;
    constexpr gsize kProxyAhead = 2;
    constexpr guintptr kFlags = 7; /* GLib keeps them in the pointer to the list */
    constexpr gsize kLine = 64;
    if (members.size() <= kObjectAhead)
        return;
    const auto object = guintptr(members[kObjectAhead].data[0].v_pointer);
    __builtin_prefetch(reinterpret_cast<const void *>(object));
    __builtin_prefetch(reinterpret_cast<const void *>(object + kLine));
    const auto objectAt = [&](gsize ahead) {
        const GValue &value = members[ahead];
        return static_cast<GObject *>(G_VALUE_TYPE(&value) == type ? value.data[0].v_pointer
                                                                   : nullptr);
    };
    if (GObject *next = objectAt(kDataAhead)) {
        __builtin_prefetch(reinterpret_cast<const void *>(guintptr(next->qdata) & ~kFlags));
        if (reference != nullptr)
            __builtin_prefetch(SchemaField_In<SchemaReference>(next, reference)->id);
    }
    GObject *nearer = reference != nullptr ? objectAt(kProxyAhead) : nullptr;
    if (nearer == nullptr)
        return;
    if (const SchemaId *id = SchemaField_In<SchemaReference>(nearer, reference)->id) {
        __builtin_prefetch(id->proxy);
        __builtin_prefetch(id->proxyId);
    }
}

/*
 * The marks of an object, which say which of its optional fields were set. Its data are read once, since each look-up of
 * one would lock their list.
 */
class SoapMarks {
public:
    /* A class of the application may change marks while its properties are read, so these are looked up one by one. */
    SoapMarks(GObject *of, bool isRead) : object(of), isComplete(isRead) {
        if (isRead)
            g_datalist_foreach(&object->qdata, Add, this);
    }
    bool Has(GQuark mark) const {
        if (!isComplete)
            return g_object_get_qdata(object, mark) != nullptr;
        const auto known = std::span(keys).first(count);
        return std::ranges::find(known, mark) != known.end();
    }

private:
    static void Add(GQuark key, gpointer, gpointer data) {
        auto *marks = static_cast<SoapMarks *>(data);
        if (marks->count == marks->keys.size())
            marks->isComplete = false;
        else
            marks->keys[marks->count++] = key;
    }

    GObject *object;
    bool isComplete;
    gsize count = 0;
    std::array<GQuark, 32> keys; /* of all data of the object */
};

bool SoapWriteProperty(const SoapWriter &writer, const SoapProperty &property, GObject *object) {
    const SoapKindRow &row = OrvaneSoapKind_Row(property.kind);
    if (property.heldAt != 0) {
        SchemaEngine_NoteRead(object, property.field);
        return row.writeHeld(writer, property.name,
                             G_STRUCT_MEMBER(gpointer, object, property.heldAt));
    }
    if (property.isReference) {
        const SkemaQormManagedObject *proxy = SchemaReference_GetProxy(object, property.field);
        if (proxy == nullptr || g_type_is_a(G_OBJECT_TYPE(proxy), property.type))
            return OrvaneSoapWriteManaged(writer.out, property.name, proxy);
    }
    GValue value = G_VALUE_INIT;
    g_value_init(&value, property.type);
    if (property.get != nullptr)
        property.get(object, property.pspec->param_id, &value, property.pspec);
    else
        g_object_get_property(object, property.name.c_str(), &value);
    const bool isWritten = row.write(writer, property.name, &value);
    if (!row.ownsNothing)
        g_value_unset(&value);
    return isWritten;
}

} // namespace

bool OrvaneSoapWriteObject(const SoapWriter &outer, std::string_view name, GObject *object) {
    const SoapPlan *plan = object != nullptr ? outer.plans.Get(G_OBJECT_TYPE(object)) : nullptr;
    SoapWriter writer = outer;
    writer.numObjects++;
    if (plan == nullptr || !SoapMayNest(writer, name))
        return false;

    OrvaneSoapAppend(writer.out, "<", name, " xsi:type=\"", OrvaneSoapSpell(plan->wireName), "\">");
    const SoapMarks marks(object, plan->isDirect);
    bool isWritten = true;
    for (const SoapProperty &property : plan->properties) {
        if ((property.versions & writer.versions) == 0)
            continue;
        if (property.mark != 0 && !marks.Has(property.mark))
            continue;
        // Only the last property's result counts: an empty array must not lose the object.
        isWritten = SoapWriteProperty(writer, property, object);
    }
    OrvaneSoapAppend(writer.out, "</", name, ">");
    return isWritten;
}

bool OrvaneSoapWriteAny(const SoapWriter &outer, std::string_view name, const GValue *held) {
    const SoapWriter writer = SoapInContainer(outer);
    return SoapMayNest(writer, name) && OrvaneSoapWriteValue(writer, name, held);
}

bool OrvaneSoapWriteArray(const SoapWriter &outer, std::string_view name,
                          const GValueArray *array) {
    const SoapWriter writer = SoapInContainer(outer);
    if (array == nullptr || array->n_values == 0 || !SoapMayNest(writer, name))
        return false;
    GType type = 0;
    SoapKind kind = SoapKind::Other;
    const SchemaField *reference = nullptr; /* of objects of the type */
    const std::span members(array->values, array->n_values);
    for (const GValue &member : members) {
        if (G_VALUE_TYPE(&member) != type) {
            type = G_VALUE_TYPE(&member);
            kind = OrvaneSoapKind_Of(type);
            const SoapPlan *plan = kind == SoapKind::Object ? writer.plans.Get(type) : nullptr;
            reference = plan != nullptr ? plan->reference : nullptr;
        }
        if (kind == SoapKind::Object)
            SoapPrefetch(members.subspan(gsize(&member - members.data())), type, reference);
        if (!OrvaneSoapKind_Row(kind).write(writer, name, &member))
            return false;
    }
    return true;
}

bool OrvaneSoapWriteValue(const SoapWriter &writer, std::string_view name, const GValue *value) {
    return G_IS_VALUE(value) &&
           OrvaneSoapKind_Row(OrvaneSoapKind_Of(G_VALUE_TYPE(value))).write(writer, name, value);
}

char *OrvaneSoapWriteRequest(const SoapDestination &destination, const char *typeName,
                             const char *objectId, const char *methodName,
                             const OrvaneArgument *arguments, guint count, gsize *length,
                             bool *isCut) {
    const std::string_view method = OrvaneSoapSpell(methodName);
    GStringPtr out(g_string_sized_new(SoapFirstSize()));
    OrvaneSoapAppend(out.get(), kHead, "<", method,
                     " xmlns=\"urn:", OrvaneSoapSpell(destination.ns), "\">", "<_this type=\"",
                     OrvaneSoapSpell(typeName), "\">", OrvaneSoapSpell(objectId), "</_this>");

    SoapPlanCache plans;
    SoapWriter writer{out.get(), destination.versions, plans};
    writer.isCut = isCut;
    for (const OrvaneArgument &argument : std::span(arguments, count)) {
        if (!G_IS_VALUE(argument.value))
            continue; // an optional argument that the caller left out
        if (!OrvaneSoapWriteValue(writer, argument.name, argument.value))
            break;
    }

    OrvaneSoapAppend(out.get(), "</", method, ">", kTrailer);
    gLastLength.store(out->len, std::memory_order_relaxed);
    if (length != nullptr)
        *length = out->len;
    return g_string_free(out.release(), FALSE);
}

char *OrvaneSoap_Serialize(OrvaneSession *session, const char *typeName, const char *objectId,
                           const char *methodName, const OrvaneArgument *arguments, guint count,
                           gsize *length) {
    bool isCut = false;
    GPtr<char> text(OrvaneSoapWriteRequest(SoapSessionDestination(session), typeName, objectId,
                                           methodName, arguments, count, length, &isCut));
    if (!isCut)
        return text.release();
    Log("SOAP: no request for %s of %s: an argument is nested too deeply\n", methodName, objectId);
    return nullptr;
}

char *orvane_soap_serialize(OrvaneSession *session, const char *typeName, const char *objectId,
                            const char *methodName, va_list arguments) {
    std::vector<OrvaneArgument> gathered;
    while (const char *name = va_arg(arguments, const char *))
        gathered.push_back({name, va_arg(arguments, const GValue *)});
    return OrvaneSoapWriteRequest(SoapSessionDestination(session), typeName, objectId, methodName,
                                  gathered.data(), static_cast<guint>(gathered.size()), nullptr);
}

gboolean orvane_soap_serialize_value(OrvaneSession *session, GString *out, const char *name,
                                     const GValue *value) {
    SoapPlanCache plans;
    return OrvaneSoapWriteValue({out, SoapSessionVersions(session), plans}, name, value);
}

gboolean orvane_soap_serialize_object(OrvaneSession *session, GString *out, const char *name,
                                      GObject *object) {
    SoapPlanCache plans;
    return OrvaneSoapWriteObject({out, SoapSessionVersions(session), plans}, name, object);
}
