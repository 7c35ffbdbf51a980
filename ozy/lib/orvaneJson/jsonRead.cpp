#include <orvane/json.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include <json-glib/json-glib.h>
#include <orvane/schema/qorm.h>
#include <orvane/session.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvaneJson/jsonClass.h"
#include "ozy/lib/orvaneJson/valuePath.h"

namespace {

constexpr gsize kMaxShown = 40; /* bytes of a text that a message quotes */

/* What a value is read for. */
struct Place {
    GType type;
    JsonKind kind;
    GType elementType = 0; /* of an array; 0: each element says its own */

    static Place Of(GType type, GType elementType = 0) {
        return {type, JsonKind_Of(type), elementType};
    }
};

/* Whether brackets are nested no deeper than allowed. The parser goes down with each. */
bool IsShallow(const char *text) {
    guint depth = 0;
    bool isQuoted = false;
    for (const char *at = text; *at != '\0'; at++) {
        if (isQuoted && *at == '\\' && at[1] != '\0')
            at++;
        else if (*at == '"')
            isQuoted = !isQuoted;
        else if (!isQuoted && (*at == '[' || *at == '{') && ++depth > kJsonMaxDepth)
            return false;
        else if (!isQuoted && (*at == ']' || *at == '}') && depth > 0)
            depth--;
    }
    return true;
}

const char *TextOf(JsonNode *node) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_STRING
               ? json_node_get_string(node)
               : nullptr;
}

bool IsWholeNumber(JsonNode *node) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_INT64;
}

/* A value as a message quotes it. */
std::string Show(JsonNode *node) {
    if (JSON_NODE_HOLDS_NULL(node))
        return "null";
    if (JSON_NODE_HOLDS_OBJECT(node))
        return "an object";
    if (JSON_NODE_HOLDS_ARRAY(node))
        return "an array";
    const GPtr<char> text(json_to_string(node, FALSE));
    std::string shown = text.get();
    if (shown.size() <= kMaxShown)
        return shown;
    const char *end = g_utf8_find_prev_char(shown.c_str(), shown.c_str() + kMaxShown + 1);
    return shown.substr(0, static_cast<gsize>(end - shown.c_str())) + "...\"";
}

class Reader {
public:
    Reader(OrvaneSession *itsSession, GError **itsError) : session(itsSession), error(itsError) {}

    /* Reads into a value that was initialised with the place's type. */
    bool Read(const ValuePath &path, JsonNode *node, const Place &place, GValue *value);

private:
    bool ReadAny(const ValuePath &path, JsonNode *node, GValue *value);
    bool ReadTyped(const ValuePath &path, JsonObject *members, GValue *value);
    bool ReadArray(const ValuePath &path, JsonNode *node, GType elementType, GValue *value);
    bool ReadElement(const ValuePath &path, JsonNode *node, GType elementType, GValue *value);
    bool ReadManaged(const ValuePath &path, JsonNode *node, GType type, GValue *value);
    bool ReadObject(const ValuePath &path, JsonNode *node, GType type, GValue *value);
    bool ReadMembers(const ValuePath &path, JsonObject *members, GObject *object);
    bool ReadMember(const ValuePath &path, JsonNode *node, const JsonProperty &property,
                    GObject *object);
    bool ReadClass(const ValuePath &path, JsonObject *members, GType declared, GType *type);
    bool ReadEnum(const ValuePath &path, JsonNode *node, GValue *value);
    bool ReadBytes(const ValuePath &path, JsonNode *node, GValue *value);
    template <class Number>
    bool ReadWhole(const ValuePath &path, JsonNode *node, const char *what, Number *number);
    template <class Number>
    bool ReadReal(const ValuePath &path, JsonNode *node, const char *what, Number *number);

    bool Fail(const ValuePath &path, const std::string &text) {
        return ValuePath_Fail(&path, ORVANE_JSON_ERROR_MISMATCH, text, error);
    }
    bool IsNo(const ValuePath &path, JsonNode *node, const char *what) {
        return Fail(path, Show(node) + " is no " + what);
    }

    OrvaneSession *session;
    GError **error;
};

template <class Number>
bool Reader::ReadWhole(const ValuePath &path, JsonNode *node, const char *what, Number *number) {
    if (IsWholeNumber(node)) {
        const gint64 read = json_node_get_int(node);
        if (!std::in_range<Number>(read))
            return IsNo(path, node, what);
        *number = static_cast<Number>(read);
        return true;
    }
    /* beyond what all readers of JSON hold exactly */
    const char *text = TextOf(node);
    if (text == nullptr)
        return IsNo(path, node, what);
    const char *end = text + strlen(text);
    const auto read = std::from_chars(text, end, *number);
    return (read.ec == std::errc() && read.ptr == end && end != text) || IsNo(path, node, what);
}

template <class Number>
bool Reader::ReadReal(const ValuePath &path, JsonNode *node, const char *what, Number *number) {
    const char *text = TextOf(node);
    if (text != nullptr) {
        constexpr auto kInfinite = std::numeric_limits<Number>::infinity();
        const std::string_view word = text;
        *number = word == "NaN" ? std::numeric_limits<Number>::quiet_NaN()
                                : (word == "-INF" ? -kInfinite : kInfinite);
        return word == "NaN" || word == "INF" || word == "-INF" || IsNo(path, node, what);
    }
    if (!JSON_NODE_HOLDS_VALUE(node) ||
        (!IsWholeNumber(node) && json_node_get_value_type(node) != G_TYPE_DOUBLE))
        return IsNo(path, node, what);
    const double read = IsWholeNumber(node) ? static_cast<double>(json_node_get_int(node))
                                            : json_node_get_double(node);
    *number = static_cast<Number>(read);
    return std::isfinite(*number) || IsNo(path, node, what);
}

bool Reader::ReadEnum(const ValuePath &path, JsonNode *node, GValue *value) {
    const GType type = G_VALUE_TYPE(value);
    const char *text = TextOf(node);
    const GEnumValue *word = text != nullptr ? orvane_enum_get_by_nick(type, text) : nullptr;
    if (word == nullptr) {
        const TypeClassPtr klass(g_type_class_ref(type));
        const auto *words = static_cast<GEnumClass *>(klass.get());
        std::string known;
        for (guint i = 0; i < words->n_values; i++)
            known += (i > 0 ? ", " : "") + std::string(words->values[i].value_nick);
        return Fail(path, Show(node) + " is no " + JsonType_Name(type) + " (" + known + ")");
    }
    g_value_set_enum(value, word->value);
    return true;
}

bool Reader::ReadBytes(const ValuePath &path, JsonNode *node, GValue *value) {
    const char *text = TextOf(node);
    if (text == nullptr)
        return IsNo(path, node, "text in base 64");
    gsize size = 0;
    const GPtr<guchar> bytes(g_base64_decode(text, &size));
    const GPtr<char> again(g_base64_encode(bytes.get(), size));
    if (strcmp(text, again.get()) != 0)
        return IsNo(path, node, "text in base 64");
    GByteArray *array = g_byte_array_sized_new(static_cast<guint>(size));
    g_byte_array_append(array, bytes.get(), static_cast<guint>(size));
    g_value_take_boxed(value, array);
    return true;
}

bool Reader::Read(const ValuePath &path, JsonNode *node, const Place &place, GValue *value) {
    if (JSON_NODE_HOLDS_NULL(node) && place.kind >= JsonKind::String)
        return true;
    switch (place.kind) {
    case JsonKind::Boolean:
        if (!JSON_NODE_HOLDS_VALUE(node) || json_node_get_value_type(node) != G_TYPE_BOOLEAN)
            return IsNo(path, node, "boolean");
        g_value_set_boolean(value, json_node_get_boolean(node));
        return true;
    case JsonKind::Byte: {
        gint8 number = 0;
        return ReadWhole(path, node, "byte", &number) && (g_value_set_schar(value, number), true);
    }
    case JsonKind::UnsignedByte: {
        guint8 number = 0;
        return ReadWhole(path, node, "unsigned byte", &number) &&
               (g_value_set_uchar(value, number), true);
    }
    case JsonKind::Int: {
        gint number = 0;
        return ReadWhole(path, node, "int", &number) && (g_value_set_int(value, number), true);
    }
    case JsonKind::UnsignedInt: {
        guint number = 0;
        return ReadWhole(path, node, "unsigned int", &number) &&
               (g_value_set_uint(value, number), true);
    }
    case JsonKind::Long: {
        gint64 number = 0;
        return ReadWhole(path, node, "long", &number) && (g_value_set_int64(value, number), true);
    }
    case JsonKind::UnsignedLong: {
        guint64 number = 0;
        return ReadWhole(path, node, "unsigned long", &number) &&
               (g_value_set_uint64(value, number), true);
    }
    case JsonKind::Float: {
        float number = 0;
        return ReadReal(path, node, "float", &number) && (g_value_set_float(value, number), true);
    }
    case JsonKind::Double: {
        double number = 0;
        return ReadReal(path, node, "double", &number) && (g_value_set_double(value, number), true);
    }
    case JsonKind::String:
        if (TextOf(node) == nullptr)
            return IsNo(path, node, "text");
        g_value_set_string(value, TextOf(node));
        return true;
    case JsonKind::Uri:
        if (TextOf(node) == nullptr)
            return IsNo(path, node, "text");
        g_value_set_boxed(value, TextOf(node));
        return true;
    case JsonKind::Enum:
        return ReadEnum(path, node, value);
    case JsonKind::Timeval: {
        GTimeVal time;
        if (TextOf(node) == nullptr || !g_time_val_from_iso8601(TextOf(node), &time))
            return IsNo(path, node, "date, such as \"2026-11-23T13:14:15Z\"");
        g_value_set_boxed(value, &time);
        return true;
    }
    case JsonKind::Bytes:
        return ReadBytes(path, node, value);
    case JsonKind::Any: {
        ScopedValue held;
        if (!ReadAny(path, node, &held.value))
            return false;
        g_value_set_boxed(value, &held.value);
        return true;
    }
    case JsonKind::Array:
        return ReadArray(path, node, place.elementType, value);
    case JsonKind::Managed:
        return ReadManaged(path, node, place.type, value);
    case JsonKind::Object:
        return ReadObject(path, node, place.type, value);
    case JsonKind::Other:
        break;
    }
    return Fail(path, "is of a type that does not cross the wire: " +
                          std::string(g_type_name(place.type)));
}

/* Reads into a zeroed value what says its type by itself. */
bool Reader::ReadAny(const ValuePath &path, JsonNode *node, GValue *value) {
    if (JSON_NODE_HOLDS_NULL(node))
        return true;
    if (JSON_NODE_HOLDS_OBJECT(node))
        return ReadTyped(path, json_node_get_object(node), value);
    GType type = G_TYPE_VALUE_ARRAY;
    if (JSON_NODE_HOLDS_VALUE(node))
        type = json_node_get_value_type(node);
    if (type == G_TYPE_INT64 && std::in_range<gint>(json_node_get_int(node)))
        type = G_TYPE_INT;
    g_value_init(value, type);
    return Read(path, node, Place::Of(type), value);
}

/* {"_type": "xsd:long", "_value": 5}, {"_type": "VirtualMachine", "_id": "vm-42"}, {"_type": "HostInfo", ...} */
bool Reader::ReadTyped(const ValuePath &path, JsonObject *members, GValue *value) {
    GType type = 0;
    if (!ReadClass(path, members, 0, &type))
        return false;
    g_value_init(value, type);
    JsonNode *held = json_object_get_member(members, "_value");
    const Place place = Place::Of(type);
    const bool isObject = place.kind == JsonKind::Object || place.kind == JsonKind::Managed;
    if (isObject == (held != nullptr) || (held != nullptr && json_object_get_size(members) != 2))
        return Fail(path, std::string(JsonType_Name(type)) +
                              (isObject ? " has no \"_value\"" : " has a \"_value\" and no more"));
    JsonNode *whole = json_node_init_object(json_node_alloc(), members);
    const bool isRead = Read(path, isObject ? whole : held, place, value);
    json_node_free(whole);
    return isRead;
}

/* A list that may hold managed objects in place of its elements has them as an "any" has. */
bool Reader::ReadElement(const ValuePath &path, JsonNode *node, GType elementType, GValue *value) {
    GType type = elementType;
    if (elementType != 0 && JSON_NODE_HOLDS_OBJECT(node)) {
        const char *name = json_object_get_string_member_with_default(json_node_get_object(node),
                                                                      "_type", nullptr);
        const GType said = name != nullptr ? JsonType_OfName(name) : 0;
        if (said != 0 && JsonKind_Of(said) == JsonKind::Managed &&
            JsonKind_Of(elementType) != JsonKind::Managed)
            type = 0;
    }
    if (type == 0)
        return ReadAny(path, node, value);
    g_value_init(value, type);
    return Read(path, node, Place::Of(type), value);
}

bool Reader::ReadArray(const ValuePath &path, JsonNode *node, GType elementType, GValue *value) {
    if (!JSON_NODE_HOLDS_ARRAY(node))
        return IsNo(path, node, "array");
    JsonArray *elements = json_node_get_array(node);
    const guint count = json_array_get_length(elements);
    ValueArrayPtr array(g_value_array_new(count));
    for (guint i = 0; i < count; i++) {
        ScopedValue element;
        const ValuePath place{&path, nullptr, static_cast<gint>(i)};
        if (!ReadElement(place, json_array_get_element(elements, i), elementType, &element.value))
            return false;
        g_value_array_append(array.get(), nullptr);
        std::swap(array->values[i], element.value);
    }
    g_value_take_boxed(value, array.release());
    return true;
}

/* The class that the members name, or the declared one. */
bool Reader::ReadClass(const ValuePath &path, JsonObject *members, GType declared, GType *type) {
    *type = declared;
    JsonNode *node = json_object_get_member(members, "_type");
    if (node == nullptr)
        return declared != 0 || Fail(path, "has no \"_type\"");
    const char *name = TextOf(node);
    if (name != nullptr && declared != 0 && strcmp(name, JsonType_Name(declared)) == 0)
        return true; /* also where no name leads to the class */
    *type = name != nullptr ? JsonType_OfName(name) : 0;
    if (*type == 0)
        return Fail(path, Show(node) + " is no type of the schema");
    if (declared != 0 && !g_type_is_a(*type, declared))
        return Fail(path, Show(node) + " is no " + JsonType_Name(declared));
    return true;
}

bool Reader::ReadManaged(const ValuePath &path, JsonNode *node, GType type, GValue *value) {
    if (!JSON_NODE_HOLDS_OBJECT(node))
        return IsNo(path, node, R"(managed object, such as {"_type": "Task", "_id": "task-1"})");
    JsonObject *members = json_node_get_object(node);
    JsonNode *idNode = json_object_get_member(members, "_id");
    const char *id = idNode != nullptr ? TextOf(idNode) : nullptr;
    if (id == nullptr || *id == '\0')
        return Fail(path, "has no \"_id\"");
    GType named = 0;
    if (!ReadClass(path, members, type, &named))
        return false;
    if (session == nullptr || orvane_session_get_momgr(session) == nullptr)
        return Fail(path, "a managed object needs a session that was connected");
    SkemaQormManagedObject *proxy = orvane_session_get_object(session, id, named);
    if (proxy == nullptr || !g_type_is_a(G_OBJECT_TYPE(proxy), type))
        return Fail(path, "\"" + std::string(id) + "\" is no " + JsonType_Name(type));
    g_value_set_object(value, proxy);
    return true;
}

bool Reader::ReadObject(const ValuePath &path, JsonNode *node, GType type, GValue *value) {
    if (!JSON_NODE_HOLDS_OBJECT(node))
        return IsNo(path, node, JsonType_Name(type));
    JsonObject *members = json_node_get_object(node);
    GType named = 0;
    if (!ReadClass(path, members, type, &named))
        return false;
    if (JsonKind_Of(named) != JsonKind::Object || G_TYPE_IS_ABSTRACT(named))
        return Fail(path, std::string(JsonType_Name(named)) + " is no class of data objects");
    const ObjectPtr<GObject> object(static_cast<GObject *>(g_object_new(named, nullptr)));
    if (!ReadMembers(path, members, object.get()))
        return false;
    g_value_set_object(value, object.get());
    return true;
}

bool Reader::ReadMembers(const ValuePath &path, JsonObject *members, GObject *object) {
    const JsonClass *klass = JsonClass_Get(G_OBJECT_TYPE(object));
    JsonObjectIter iterator;
    const char *name = nullptr;
    JsonNode *node = nullptr;
    json_object_iter_init(&iterator, members);
    while (json_object_iter_next(&iterator, &name, &node))
        if (strcmp(name, "_type") != 0 && JsonClass_Find(klass, name) == nullptr)
            return Fail(path, std::string(klass->wireName) + " has no property \"" + name + "\"");
    /* in the order of the class, so that the same text has the same effects */
    for (const JsonProperty &property : klass->properties) {
        const char *key = property.pspec->name;
        JsonNode *member = json_object_get_member(members, key);
        if (member == nullptr && !property.isOptional)
            return Fail(path, std::string(klass->wireName) + " needs \"" + key + "\"");
        if (member != nullptr && !ReadMember({&path, key}, member, property, object))
            return false;
    }
    return true;
}

bool Reader::ReadMember(const ValuePath &path, JsonNode *node, const JsonProperty &property,
                        GObject *object) {
    if (JSON_NODE_HOLDS_NULL(node) && property.isOptional)
        return true;
    ScopedValue value(property.type);
    if (!Read(path, node, {property.type, property.kind, property.elementType}, &value.value))
        return false;
    if (property.kind < JsonKind::String && g_param_value_validate(property.pspec, &value.value))
        return Fail(path, Show(node) + " is out of range");
    g_object_set_property(object, property.pspec->name, &value.value);
    return true;
}

/* Parses a text and reads it into a value that was initialised with the place's type. */
bool ReadText(OrvaneSession *session, const Place &place, const char *text, GValue *value,
              GError **error) {
    const ValuePath root;
    if (!IsShallow(text))
        return ValuePath_Fail(&root, ORVANE_JSON_ERROR_SYNTAX, "the text is nested too deeply",
                              error);
    const ObjectPtr<JsonParser> parser(json_parser_new_immutable());
    GError *problem = nullptr;
    if (!json_parser_load_from_data(parser.get(), text, -1, &problem)) {
        const char *shown =
            g_str_has_prefix(problem->message, "<data>:") ? problem->message + 7 : problem->message;
        ValuePath_Fail(&root, ORVANE_JSON_ERROR_SYNTAX, shown, error);
        g_error_free(problem);
        return false;
    }
    JsonNode *node = json_parser_get_root(parser.get());
    if (node == nullptr || json_parser_has_assignment(parser.get(), nullptr))
        return ValuePath_Fail(&root, ORVANE_JSON_ERROR_SYNTAX, "the text is no JSON", error);
    return Reader(session, error).Read(root, node, place, value);
}

} // namespace

GObject *orvane_object_from_json(OrvaneSession *session, GType type, const char *text,
                                 GError **error) {
    g_return_val_if_fail(g_type_is_a(type, G_TYPE_OBJECT), nullptr);
    g_return_val_if_fail(text != nullptr, nullptr);
    ScopedValue value(type);
    if (!ReadText(session, Place::Of(type), text, &value.value, error))
        return nullptr;
    auto *object = static_cast<GObject *>(g_value_dup_object(&value.value));
    if (object == nullptr)
        g_set_error(error, ORVANE_JSON_ERROR, ORVANE_JSON_ERROR_MISMATCH, "null is no %s",
                    JsonType_Name(type));
    return object;
}

gboolean orvane_value_from_json(OrvaneSession *session, GType type, GType elementType,
                                const char *text, GValue *value, GError **error) {
    g_return_val_if_fail(text != nullptr && value != nullptr && !G_IS_VALUE(value), FALSE);
    ScopedValue read(type);
    if (!ReadText(session, Place::Of(type, elementType), text, &read.value, error))
        return FALSE;
    *value = read.value;
    read.value = G_VALUE_INIT;
    return TRUE;
}
