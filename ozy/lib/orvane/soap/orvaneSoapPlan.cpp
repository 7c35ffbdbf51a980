#include "ozy/lib/orvane/soap/orvaneSoapPlan.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <span>

#include <orvane/runtime.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/schema/versionCatalogue.h"

namespace {

constexpr GParamFlags kOptional = static_cast<GParamFlags>(1 << G_PARAM_USER_SHIFT);
constexpr int kConstruct = G_PARAM_CONSTRUCT | G_PARAM_CONSTRUCT_ONLY;

constinit GMutex gPlanLock;

constinit std::atomic<GQuark> gPlanQuark;

/* The key of a type's plan. It is used per object, so the quark is looked up only once. */
GQuark SoapPlanQuark() {
    GQuark quark = gPlanQuark.load(std::memory_order_relaxed);
    if (quark == 0) {
        quark = g_quark_from_static_string("ORVANE_SOAP_PLAN");
        gPlanQuark.store(quark, std::memory_order_relaxed);
    }
    return quark;
}

bool SoapPropertyIsPlain(const GParamSpec *pspec, SoapKind kind) {
    const auto isPlain = OrvaneSoapKind_Row(kind).isPlain;
    return isPlain != nullptr && (pspec->flags & G_PARAM_WRITABLE) &&
           !(pspec->flags & kConstruct) && isPlain(pspec);
}

guint32 SoapPropertyVersions(GParamSpec *pspec) {
    const auto *version =
        static_cast<const char *>(g_param_spec_get_qdata(pspec, orvane_quark_version()));
    if (version == nullptr || !(pspec->flags & G_PARAM_READABLE))
        return 0;
    const gint index = OrvaneVersion_Index(version);
    return index < 0 ? 0 : 1u << index; // a version outside the catalogue is in no list
}

/* The field of a schema class behind a property; NULL if there is none. */
const SchemaField *SoapFieldOf(const SchemaClass *schema, const GParamSpec *pspec) {
    for (; schema != nullptr; schema = schema->base) {
        for (const SchemaField &field : std::span(schema->fields, schema->numFields)) {
            if (field.pspec == pspec)
                return &field;
        }
    }
    return nullptr;
}

/*
 * Where a field is kept as one pointer, which the writer may then look at without having a copy made.
 * References to managed objects are kept in other ways, and so are any values.
 */
guint32 SoapHeldAt(const SchemaField *field, SoapKind kind) {
    if (field == nullptr || field->row->kind == SCHEMA_VALUE_MANAGED ||
        (field->row->flags & SCHEMA_DYNAMIC))
        return 0;
    return OrvaneSoapKind_Row(kind).writeHeld != nullptr ? field->offset : 0;
}

bool SoapIsReference(const SchemaField *field, SoapKind kind) {
    return kind == SoapKind::Managed && field != nullptr &&
           field->row->kind == SCHEMA_VALUE_MANAGED && !(field->row->flags & SCHEMA_ARRAY);
}

SoapProperty SoapMakeProperty(const SchemaClass *schema, GParamSpec *pspec) {
    SoapProperty property{};
    property.pspec = pspec;
    property.name = pspec->name;
    property.type = G_PARAM_SPEC_VALUE_TYPE(pspec);
    property.kind = OrvaneSoapKind_Of(property.type);
    property.elementType =
        GPOINTER_TO_SIZE(g_param_spec_get_qdata(pspec, orvane_quark_arraytype()));
    property.elementKind =
        property.elementType != 0 ? OrvaneSoapKind_Of(property.elementType) : SoapKind::Other;
    property.field = SoapFieldOf(schema, pspec);
    property.heldAt = SoapHeldAt(property.field, property.kind);
    property.isReference = SoapIsReference(property.field, property.kind);
    property.versions = SoapPropertyVersions(pspec);
    if (pspec->flags & kOptional)
        property.mark = g_quark_from_string(("_" + property.name).c_str());

    // The class that overrides a redirected spec or an interface's stores it, so it is set by name.
    if (g_param_spec_get_redirect_target(pspec) == nullptr &&
        G_TYPE_IS_CLASSED(pspec->owner_type)) {
        const auto *owner = static_cast<GObjectClass *>(g_type_class_peek(pspec->owner_type));
        property.set = owner->set_property;
        property.get = owner->get_property;
    }
    property.isPlain = property.set != nullptr && SoapPropertyIsPlain(pspec, property.kind);
    return property;
}

/*
 * Classes of the schema do nothing in their construction, so filling one by its set functions
 * shows no difference from construction through the property system. A class that an application
 * registered may do anything there, also below a schema class.
 */
bool SoapPlanIsDirect(const SchemaClass *schema, GType type) {
    return schema != nullptr && schema->type == type;
}

/* Where a plan keeps its names. */
auto SoapNamesOf(const SoapPlan *plan) {
    return [plan](gsize index) { return plan->properties[index].name.c_str(); };
}

SoapPlan *SoapMakePlan(GType type) {
    auto *klass =
        static_cast<GObjectClass *>(g_type_class_ref(type)); // kept: the plan uses its specs
    auto *plan = new SoapPlan{};
    plan->type = type;
    plan->wireName = OrvaneType_WireName(type);

    const SchemaClass *schema = SchemaClass_Get(klass);
    guint count = 0;
    const GPtr<GParamSpec *> specs(g_object_class_list_properties(klass, &count));
    plan->properties.reserve(count);
    for (guint i = 0; i < count; i++)
        plan->properties.push_back(SoapMakeProperty(schema, specs.get()[i]));
    plan->isDirect = SoapPlanIsDirect(schema, type);
    plan->isAbstract = G_TYPE_IS_ABSTRACT(type);
    plan->isUnowned = g_type_is_a(type, G_TYPE_INITIALLY_UNOWNED);
    plan->names = NameIndex(plan->properties.size(), SoapNamesOf(plan));
    const auto reference = std::ranges::find_if(plan->properties, &SoapProperty::isReference);
    plan->reference = reference != plan->properties.end() ? reference->field : nullptr;
    return plan;
}

} // namespace

const SoapPlan *OrvaneSoapPlan_Get(GType type) {
    if (const auto *plan = static_cast<SoapPlan *>(g_type_get_qdata(type, SoapPlanQuark())))
        return plan;
    if (G_TYPE_FUNDAMENTAL(type) != G_TYPE_OBJECT)
        return nullptr;

    SoapPlan *made = SoapMakePlan(type);
    g_mutex_lock(&gPlanLock);
    auto *first = static_cast<SoapPlan *>(g_type_get_qdata(type, SoapPlanQuark()));
    if (first == nullptr)
        g_type_set_qdata(type, SoapPlanQuark(), made);
    g_mutex_unlock(&gPlanLock);
    if (first == nullptr)
        return made;
    delete made;
    return first;
}

gint OrvaneSoapPlan_Find(const SoapPlan *plan, const char *name, gint likely) {
    if (static_cast<std::size_t>(likely) < plan->properties.size() &&
        std::strcmp(plan->properties[likely].name.c_str(), name) == 0)
        return likely;
    return plan->names.Find(name, SoapNamesOf(plan));
}
