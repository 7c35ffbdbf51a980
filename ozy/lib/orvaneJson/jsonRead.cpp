#include "ozy/lib/orvaneJson/jsonRead.h"

#include <cstring>
#include <utility>

#include <orvane/json.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"

namespace {

constexpr gsize kMaxShown = 40; /* bytes of a text that a message quotes */

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

} // namespace

const char *ValueNode_Text(JsonNode *node) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_STRING
               ? json_node_get_string(node)
               : nullptr;
}

bool ValueReader::Fail(const ValuePath &path, const std::string &text) {
    return ValuePath_Fail(&path, ORVANE_JSON_ERROR_MISMATCH, text, error);
}

bool ValueReader::IsNo(const ValuePath &path, JsonNode *node, const char *expected) {
    return Fail(path, Show(node) + " is no " + expected);
}

bool ValueReader::Read(const ValuePath &path, JsonNode *node, const JsonPlace &place,
                       GValue *value) {
    const JsonKindRow &row = JsonKind_Row(place.kind);
    return (row.isNullable && JSON_NODE_HOLDS_NULL(node)) ||
           row.read(*this, path, node, place, value);
}

bool ValueReader::ReadAny(const ValuePath &path, JsonNode *node, GValue *value) {
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
    return Read(path, node, JsonPlace::Of(type), value);
}

/* {"_type": "xsd:long", "_value": 5}, {"_type": "VirtualMachine", "_id": "vm-42"}, {"_type": "HostInfo", ...} */
bool ValueReader::ReadTyped(const ValuePath &path, JsonObject *members, GValue *value) {
    GType type = 0;
    if (!ReadClass(path, members, 0, &type))
        return false;
    g_value_init(value, type);
    JsonNode *held = json_object_get_member(members, "_value");
    const JsonPlace place = JsonPlace::Of(type);
    const bool isObject = JsonKind_Row(place.kind).hasMembers;
    if (isObject == (held != nullptr) || (held != nullptr && json_object_get_size(members) != 2))
        return Fail(path, std::string(JsonType_Name(type)) +
                              (isObject ? " has no \"_value\"" : " has a \"_value\" and no more"));
    JsonNode *whole = json_node_init_object(json_node_alloc(), members);
    const bool isRead = Read(path, isObject ? whole : held, place, value);
    json_node_free(whole);
    return isRead;
}

/* A list that may hold managed objects in place of its elements has them as an "any" has. */
bool ValueReader::ReadElement(const ValuePath &path, JsonNode *node, const JsonPlace &place,
                              GValue *value) {
    bool isAny = place.type == 0;
    if (!isAny && place.kind != JsonKind::Managed && JSON_NODE_HOLDS_OBJECT(node)) {
        const char *name = json_object_get_string_member_with_default(json_node_get_object(node),
                                                                      "_type", nullptr);
        isAny = name != nullptr && JsonKind_Of(JsonType_OfName(name)) == JsonKind::Managed;
    }
    if (isAny)
        return ReadAny(path, node, value);
    g_value_init(value, place.type);
    return Read(path, node, place, value);
}

bool ValueReader::ReadArray(const ValuePath &path, JsonNode *node, const JsonPlace &place,
                            GValue *value) {
    if (!JSON_NODE_HOLDS_ARRAY(node))
        return IsUnexpected(path, node, place.kind);
    JsonArray *elements = json_node_get_array(node);
    const guint count = json_array_get_length(elements);
    ValueArrayPtr array(g_value_array_new(count));
    const JsonPlace each = JsonPlace::Of(place.elementType);
    for (guint i = 0; i < count; i++) {
        ScopedValue element;
        const ValuePath where{&path, nullptr, static_cast<gint>(i)};
        if (!ReadElement(where, json_array_get_element(elements, i), each, &element.value))
            return false;
        g_value_array_append(array.get(), nullptr);
        std::swap(array->values[i], element.value);
    }
    g_value_take_boxed(value, array.release());
    return true;
}

/* The class that the members name, or the declared one. */
bool ValueReader::ReadClass(const ValuePath &path, JsonObject *members, GType declared,
                            GType *type) {
    *type = declared;
    JsonNode *node = json_object_get_member(members, "_type");
    if (node == nullptr)
        return declared != 0 || Fail(path, "has no \"_type\"");
    const char *name = ValueNode_Text(node);
    if (name != nullptr && declared != 0 && strcmp(name, JsonType_Name(declared)) == 0)
        return true; /* also where no name leads to the class */
    *type = name != nullptr ? JsonType_OfName(name) : 0;
    if (*type == 0)
        return Fail(path, Show(node) + " is no type of the schema");
    if (declared != 0 && !g_type_is_a(*type, declared))
        return Fail(path, Show(node) + " is no " + JsonType_Name(declared));
    return true;
}

bool ValueReader::ReadManaged(const ValuePath &path, JsonNode *node, const JsonPlace &place,
                              GValue *value) {
    if (!JSON_NODE_HOLDS_OBJECT(node))
        return IsUnexpected(path, node, place.kind);
    JsonObject *members = json_node_get_object(node);
    JsonNode *idNode = json_object_get_member(members, "_id");
    const char *id = idNode != nullptr ? ValueNode_Text(idNode) : nullptr;
    if (id == nullptr || *id == '\0')
        return Fail(path, "has no \"_id\"");
    GType named = 0;
    if (!ReadClass(path, members, place.type, &named))
        return false;
    if (session == nullptr || orvane_session_get_momgr(session) == nullptr)
        return Fail(path, "a managed object needs a session that was connected");
    SkemaQormManagedObject *proxy = orvane_session_get_object(session, id, named);
    if (proxy == nullptr || !g_type_is_a(G_OBJECT_TYPE(proxy), place.type))
        return Fail(path, "\"" + std::string(id) + "\" is no " + JsonType_Name(place.type));
    g_value_set_object(value, proxy);
    return true;
}

bool ValueReader::ReadObject(const ValuePath &path, JsonNode *node, const JsonPlace &place,
                             GValue *value) {
    if (!JSON_NODE_HOLDS_OBJECT(node))
        return IsNo(path, node, JsonType_Name(place.type));
    JsonObject *members = json_node_get_object(node);
    GType named = 0;
    if (!ReadClass(path, members, place.type, &named))
        return false;
    if (G_TYPE_IS_ABSTRACT(named))
        return Fail(path, std::string(JsonType_Name(named)) + " is no class of data objects");
    const ObjectPtr<GObject> object(static_cast<GObject *>(g_object_new(named, nullptr)));
    if (!ReadMembers(path, members, object.get()))
        return false;
    g_value_set_object(value, object.get());
    return true;
}

bool ValueReader::ReadMembers(const ValuePath &path, JsonObject *members, GObject *object) {
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

bool ValueReader::ReadMember(const ValuePath &path, JsonNode *node, const JsonProperty &property,
                             GObject *object) {
    if (JSON_NODE_HOLDS_NULL(node) && property.isOptional)
        return true;
    ScopedValue value(property.place.type);
    if (!Read(path, node, property.place, &value.value))
        return false;
    if (!JsonKind_Row(property.place.kind).isNullable &&
        g_param_value_validate(property.pspec, &value.value))
        return Fail(path, Show(node) + " is out of range");
    g_object_set_property(object, property.pspec->name, &value.value);
    return true;
}

namespace {

/* Parses a text and reads it into a value that was initialised with the place's type. */
bool ReadText(OrvaneSession *session, const JsonPlace &place, const char *text, GValue *value,
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
    return ValueReader(session, error).Read(root, node, place, value);
}

} // namespace

GObject *orvane_object_from_json(OrvaneSession *session, GType type, const char *text,
                                 GError **error) {
    g_return_val_if_fail(g_type_is_a(type, G_TYPE_OBJECT), nullptr);
    g_return_val_if_fail(text != nullptr, nullptr);
    ScopedValue value(type);
    if (!ReadText(session, JsonPlace::Of(type), text, &value.value, error))
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
    if (!ReadText(session, JsonPlace::Of(type, elementType), text, &read.value, error))
        return FALSE;
    *value = read.value;
    read.value = G_VALUE_INIT;
    return TRUE;
}
