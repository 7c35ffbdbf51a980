/*
 * filledObjects.h -- objects of every class with random values, and objects as text, to compare
 *
 *   TEST_F(FilledObjects, ...) { const ObjectPtr<GObject> object = Filled(type, 0); ... Tell(object.get()) ... }
 *
 * What cannot come back from the wire by design is not put in: empty texts and lists (nothing is written for them),
 * numbers with more than six decimals, required objects that are NULL (they end a list).
 */
#pragma once

#include <map>
#include <random>
#include <set>

#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "tests/ozy/lib/orvane/schema/shownValue.h"

namespace filledObjects {

constexpr int kDepth = 3; /* below, optional objects are left out */
constexpr const char *kNewest =
    "ozy25/r15i4x3CD75"; /* includes whatever a field may be tagged with */

/* ---- objects as text, to compare ---- */

inline std::string Tell(GObject *object);

inline std::string TellValue(const GValue *value) {
    if (G_VALUE_HOLDS(value, ORVANE_TYPE_URI) && g_value_get_boxed(value) != nullptr)
        return std::string("uri ") + static_cast<const char *>(g_value_get_boxed(value));
    if (G_VALUE_HOLDS(value, G_TYPE_VALUE) && g_value_get_boxed(value) != nullptr)
        return "any(" + TellValue(static_cast<const GValue *>(g_value_get_boxed(value))) + ")";
    if (G_VALUE_HOLDS(value, G_TYPE_VALUE_ARRAY) && g_value_get_boxed(value) != nullptr) {
        const auto *array = static_cast<const GValueArray *>(g_value_get_boxed(value));
        std::string text = "[";
        for (const GValue &element : std::span(array->values, array->n_values))
            text += TellValue(&element) + " ";
        return text + "]";
    }
    if (!G_VALUE_HOLDS_OBJECT(value) || g_value_get_object(value) == nullptr ||
        SKEMA_IS_QORM_MANAGED_OBJECT(g_value_get_object(value)))
        return schemaKinds::Show(value);
    return Tell(static_cast<GObject *>(g_value_get_object(value)));
}

/* "SkemaQormCoreChange{name=\"x\" val*=any(7) }"; the star is the mark of what was set. */
inline std::string Tell(GObject *object) {
    std::string text = std::string(G_OBJECT_TYPE_NAME(object)) + "{";
    for (const SoapProperty &property : OrvaneSoapPlan_Get(G_OBJECT_TYPE(object))->properties) {
        Value value(property.type);
        g_object_get_property(object, property.name.c_str(), value.get());
        text += property.name + (IsMarked(object, property.name.c_str()) ? "*=" : "=") +
                TellValue(value.get()) + " ";
    }
    return text + "}";
}

/* A class whose objects are read as the fault in their property "fault". */
inline bool IsWrapper(GType type) {
    return g_type_is_a(type, SKEMA_TYPE_QORM_LOCALIZED_METHOD_FAULT) ||
           (g_type_is_a(type, SKEMA_TYPE_QORM_METHOD_FAULT) &&
            OrvaneSoapPlan_Find(OrvaneSoapPlan_Get(type), "fault", 0) >= 0);
}

struct FilledObjects : testing::Test {
    FilledObjects() : session(orvane_session_new()), tables(SchemaEngine_Tables()) {
        session->priv->version = g_strdup(kNewest);
        session->priv->nameSpace = g_strdup("ozy25");
        session->priv->moMgr = orvane_momgr_new(session.get());
    }
    ~FilledObjects() override {
        EXPECT_EQ(0, numAlive) << "objects that nobody released";
        for (const std::string &id : ids)
            EXPECT_EQ(nullptr, orvane_momgr_lookup(session->priv->moMgr, id.c_str())) << id;
    }

    /* Calls for each class of the schema, until something fails. */
    template <class Function> void ForEachClass(Function function) {
        for (guint i = 0; i < tables->numTypes && !HasFailure(); i++) {
            if (tables->types[i].kind == SCHEMA_KIND_ENUM)
                continue;
            SCOPED_TRACE(tables->text + tables->types[i].name);
            const int rounds = tables->types[i].count > 0 ? 4 : 1;
            for (int round = 0; round < rounds && !HasFailure(); round++)
                function(orvane_schema_get_type(i));
        }
    }

    /* ---- random values ---- */

    gint64 Number(gint64 least, gint64 most) {
        if (Chance(8))
            return Chance(2) ? least : most;
        return std::uniform_int_distribution<gint64>(least, most)(random);
    }
    bool Chance(int oneIn) { return random() % oneIn == 0; }
    gdouble Decimals() { return static_cast<gdouble>(Number(-(1 << 20), 1 << 20)) / 64; }

    std::string Text() {
        static const char *const kPieces[] = {
            // clang-format off
            "web", "-01", "<", "&", "\"", "'", ">", " ", "\t", "\n", "]]>", "\xc3\xa9", "\xe2\x82\xac", "&lt;",
            "\xf0\x9f\x98\x80", "%s"
            // clang-format on
        };
        std::string text = "x";
        for (auto i = random() % 6; i > 0; i--)
            text += kPieces[random() % std::size(kPieces)];
        return text;
    }

    Value Bytes() {
        GByteArray *bytes = g_byte_array_new();
        for (auto i = random() % 20 + 1; i > 0; i--) {
            const auto byte = static_cast<guint8>(random());
            g_byte_array_append(bytes, &byte, 1);
        }
        Value value(ORVANE_TYPE_BYTE_ARRAY);
        g_value_take_boxed(value.get(), bytes);
        return value;
    }

    /* Whether values of a place of the declared type can be of the row's class, and come back so. */
    static bool MayStandIn(const SchemaTypeRow &row, GType type, GType declared) {
        if (row.kind == SCHEMA_KIND_ENUM || !g_type_is_a(type, declared))
            return false;
        if ((row.flags & SCHEMA_TYPE_UNLISTED) && type != declared)
            return false; /* no wire name leads to it */
        if (row.kind == SCHEMA_KIND_MANAGED)
            return true;
        return !IsWrapper(type) && !OrvaneSoapPlan_Get(type)->properties.empty();
    }

    /* One of the classes that an attribute may narrow a place of that type to. */
    GType ClassBelow(GType declared) {
        std::vector<GType> &found = below[declared];
        for (guint i = 0, isNew = found.empty(); isNew && i < tables->numTypes; i++) {
            const GType type = orvane_schema_get_type(i);
            if (MayStandIn(tables->types[i], type, declared))
                found.push_back(type);
        }
        if (found.empty())
            found.push_back(declared);
        return found[random() % found.size()];
    }

    Value Proxy(GType declared) {
        const GType type = ClassBelow(declared);
        const std::string id = std::string(g_type_name(type)) + "-" + std::to_string(random() % 9);
        ids.insert(id);
        Value value(declared);
        g_value_set_object(value.get(),
                           orvane_momgr_lookup_or_create(session->priv->moMgr, id.c_str(), type));
        return value;
    }

    GType AnyEnum() {
        for (;;) {
            const guint i = static_cast<guint>(random() % tables->numTypes);
            const SchemaTypeRow &row = tables->types[i];
            if (row.kind == SCHEMA_KIND_ENUM && !(row.flags & SCHEMA_TYPE_UNLISTED))
                return orvane_schema_get_type(i);
        }
    }

    gint WordOf(GType type) {
        auto *klass = static_cast<GEnumClass *>(g_type_class_ref(type));
        const gint word = static_cast<gint>(random() % klass->n_values);
        g_type_class_unref(klass);
        return word;
    }

    enum Place { kField, kList };

    /* A list of any owns what its elements hold, so it cannot hold proxies without an owner. */
    Value Any(int depth, Place place) {
        static constexpr std::pair<SchemaValueKind, GType (*)()> kHeld[] = {
            {SCHEMA_VALUE_MANAGED, skema_qorm_managed_object_get_type},
            {SCHEMA_VALUE_BOOLEAN, [] { return G_TYPE_BOOLEAN; }},
            {SCHEMA_VALUE_BYTE, [] { return G_TYPE_CHAR; }},
            {SCHEMA_VALUE_INT, [] { return G_TYPE_INT; }},
            {SCHEMA_VALUE_LONG, [] { return G_TYPE_INT64; }},
            {SCHEMA_VALUE_FLOAT, [] { return G_TYPE_FLOAT; }},
            {SCHEMA_VALUE_DOUBLE, [] { return G_TYPE_DOUBLE; }},
            {SCHEMA_VALUE_STRING, [] { return G_TYPE_STRING; }},
            {SCHEMA_VALUE_URI, orvane_uri_get_type},
            {SCHEMA_VALUE_DATETIME, orvane_timeval_get_type},
            {SCHEMA_VALUE_BINARY, orvane_byte_array_get_type},
            {SCHEMA_VALUE_OBJECT, skema_qorm_data_object_get_type},
            {SCHEMA_VALUE_OBJECT, skema_qorm_method_fault_get_type},
        };
        const size_t first = place == kList ? 1 : 0;
        const size_t pick = first + random() % (std::size(kHeld) + 1 - first);
        if (pick == std::size(kHeld))
            return AnyValue(One(SCHEMA_VALUE_ENUM, AnyEnum(), depth));
        const auto &[kind, type] = kHeld[pick];
        if (kind == SCHEMA_VALUE_OBJECT && depth >= kDepth)
            return AnyValue(IntValue(7));
        return AnyValue(One(kind, type(), depth));
    }

    Value One(SchemaValueKind kind, GType type, int depth) {
        const auto with = [type](auto set, auto content) {
            Value value(type);
            set(value.get(), content);
            return value;
        };
        switch (kind) {
        case SCHEMA_VALUE_BOOLEAN:
            return with(g_value_set_boolean, Chance(2));
        case SCHEMA_VALUE_BYTE:
            return with(g_value_set_schar, static_cast<gint8>(Number(G_MININT8, G_MAXINT8)));
        case SCHEMA_VALUE_SHORT:
            return with(g_value_set_int, static_cast<gint>(Number(G_MINSHORT, G_MAXSHORT)));
        case SCHEMA_VALUE_INT:
            return with(g_value_set_int, static_cast<gint>(Number(G_MININT, G_MAXINT)));
        case SCHEMA_VALUE_LONG:
            return with(g_value_set_int64, Number(G_MININT64, G_MAXINT64));
        case SCHEMA_VALUE_FLOAT:
            return with(g_value_set_float, static_cast<gfloat>(Decimals()));
        case SCHEMA_VALUE_DOUBLE:
            return with(g_value_set_double, Decimals());
        case SCHEMA_VALUE_STRING:
            return with(g_value_set_string, Text().c_str());
        case SCHEMA_VALUE_URI:
            return with(g_value_set_boxed, Text().c_str());
        case SCHEMA_VALUE_DATETIME: {
            const GTimeVal time = {Number(0, 4102444800), Chance(3) ? 0 : Number(0, 999999)};
            return with(g_value_set_boxed, &time);
        }
        case SCHEMA_VALUE_BINARY:
            return Bytes();
        case SCHEMA_VALUE_ANY:
            return Any(depth, kField);
        case SCHEMA_VALUE_ENUM:
            return with(g_value_set_enum, WordOf(type));
        case SCHEMA_VALUE_MANAGED:
            return Proxy(type);
        case SCHEMA_VALUE_OBJECT:
            return with(g_value_take_object, Filled(ClassBelow(type), depth + 1).release());
        case SCHEMA_VALUE_NONE:
        case SCHEMA_VALUE_UNKNOWN:
            break;
        }
        ADD_FAILURE() << "a field of kind " << int{kind};
        return {};
    }

    Value List(const SchemaField &field, int depth) {
        GValueArray *array = g_value_array_new(0);
        const bool isOfProxies = (field.row->flags & SCHEMA_DYNAMIC) && Chance(2);
        for (auto i = random() % 3 + 1; i > 0; i--) {
            const Value element = isOfProxies ? Proxy(SKEMA_TYPE_QORM_MANAGED_OBJECT)
                                  : field.row->kind == SCHEMA_VALUE_ANY
                                      ? Any(depth, kList)
                                      : One(field.row->kind, field.valueType, depth);
            g_value_array_append(array, element.get());
        }
        Value value(G_TYPE_VALUE_ARRAY);
        g_value_take_boxed(value.get(), array);
        return value;
    }

    void Fill(GObject *object, const SchemaClass *klass, int depth) {
        if (klass->base != nullptr)
            Fill(object, klass->base, depth);
        for (const SchemaField &field : std::span(klass->fields, klass->numFields)) {
            const bool isTooDeep = field.row->kind == SCHEMA_VALUE_OBJECT && depth >= kDepth;
            if ((field.row->flags & SCHEMA_OPTIONAL) && (isTooDeep || Chance(4)))
                continue;
            const Value value = (field.row->flags & SCHEMA_ARRAY)
                                    ? List(field, depth)
                                    : One(field.row->kind, field.valueType, depth);
            g_object_set_property(object, field.pspec->name, value.get());
        }
    }

    ObjectPtr<GObject> Filled(GType type, int depth) {
        ObjectPtr<GObject> object = NewObject(type);
        numAlive++;
        g_object_weak_ref(
            object.get(), [](gpointer count, GObject *) { --*static_cast<int *>(count); },
            &numAlive);
        Fill(object.get(), SchemaClass_Get(G_OBJECT_GET_CLASS(object.get())), depth);
        return object;
    }

    ObjectPtr<OrvaneSession> session;
    const SchemaTables *tables;

private:
    std::mt19937 random{20260703}; /* fixed: a failure comes again */
    std::map<GType, std::vector<GType>> below;
    std::set<std::string> ids;
    int numAlive = 0;
};

} // namespace filledObjects
