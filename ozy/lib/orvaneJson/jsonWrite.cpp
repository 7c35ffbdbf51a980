#include "ozy/lib/orvaneJson/jsonWrite.h"

#include "lib/misc/glibPtr.h"

namespace {

constexpr gsize kFirstSize = 4096;

/* Control characters, line separators and marks of direction, which a terminal would act upon. */
bool MustBeEscaped(gunichar c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x061c || (c >= 0x200e && c <= 0x200f) ||
           (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == '"' || c == '\\';
}

/* Whether a value is of a kind that can be missing, and is. */
bool IsNull(const GValue *value, JsonKind kind) {
    return JsonKind_Row(kind).isNullable && g_value_peek_pointer(value) == nullptr;
}

} // namespace

ValueWriter::ValueWriter(OrvaneJsonFlags itsFlags, GError **itsError)
    : flags(itsFlags), error(itsError) {
    out.reserve(kFirstSize);
}

bool ValueWriter::Fail(const ValuePath &path, const std::string &what) {
    return ValuePath_Fail(&path, ORVANE_JSON_ERROR_UNWRITABLE, what, error);
}

bool ValueWriter::MayNest(const ValuePath &path) {
    return level <= kJsonMaxDepth || Fail(path, "is nested too deeply");
}

/* Begins an object or an array; the item that follows is the first. */
void ValueWriter::Open(char bracket) {
    out += bracket;
    level++;
}

void ValueWriter::Close(char bracket, bool isEmpty) {
    level--;
    if (!isEmpty)
        NewLine();
    out += bracket;
}

void ValueWriter::Separate(bool isFirst) {
    if (!isFirst)
        out += ',';
    NewLine();
}

void ValueWriter::NewLine() {
    if ((flags & ORVANE_JSON_INDENTED) == 0)
        return;
    out += '\n';
    out.append(gsize{2} * level, ' ');
}

/* Behind a colon. */
void ValueWriter::Space() {
    if (flags & ORVANE_JSON_INDENTED)
        out += ' ';
}

void ValueWriter::WriteMember(std::string_view key, std::string_view word, bool isFirst) {
    Separate(isFirst);
    out.append("\"").append(key).append("\":");
    Space();
    out.append("\"").append(word).append("\"");
}

void ValueWriter::WriteEscape(gunichar c) {
    constexpr std::string_view kShort = "\b\f\n\r\t\"\\";
    constexpr std::string_view kLetters = "bfnrt\"\\";
    const gsize found = c < 0x80 ? kShort.find(static_cast<char>(c)) : std::string_view::npos;
    if (found != std::string_view::npos) {
        out += '\\';
        out += kLetters[found];
        return;
    }
    char digits[8];
    g_snprintf(digits, sizeof digits, "\\u%04x", c);
    out += digits;
}

bool ValueWriter::WriteText(const ValuePath &path, const char *text) {
    if (!g_utf8_validate(text, -1, nullptr))
        return Fail(path, "is no UTF-8");
    out += '"';
    const char *from = text; /* what is not yet written */
    for (const char *at = text; *at != '\0';) {
        const auto byte = static_cast<guint8>(*at);
        if (byte >= 0x20 && byte < 0x7f && byte != '"' && byte != '\\') {
            at++;
            continue;
        }
        const gunichar c = g_utf8_get_char(at);
        const char *next = g_utf8_next_char(at);
        if (MustBeEscaped(c)) {
            out.append(from, static_cast<gsize>(at - from));
            WriteEscape(c);
            from = next;
        }
        at = next;
    }
    out.append(from).append("\"");
    return true;
}

bool ValueWriter::WriteValue(const ValuePath &path, const GValue *value, const JsonPlace &place) {
    if (IsNull(value, place.kind)) {
        out += "null";
        return true;
    }
    return JsonKind_Row(place.kind).write(*this, path, value, place);
}

bool ValueWriter::WriteAny(const ValuePath &path, const GValue *value) {
    if (!G_IS_VALUE(value)) {
        out += "null";
        return true;
    }
    const GType type = G_VALUE_TYPE(value);
    const JsonKind kind = JsonKind_Of(type);
    if (JsonKind_Row(kind).saysItsType)
        return WriteValue(path, value, {0, kind});
    const char *name = JsonType_Name(type);
    if (name == nullptr)
        return Fail(path, "is of a type without a name: " + std::string(g_type_name(type)));
    Open('{');
    WriteMember("_type", name, true);
    Separate(false);
    out += "\"_value\":";
    Space();
    const bool isWritten = WriteValue(path, value, {type, kind});
    Close('}', false);
    return isWritten;
}

bool ValueWriter::WriteElement(const ValuePath &path, const GValue *value, const JsonPlace &place) {
    /* a list of a place that takes several kinds: each element says what it is */
    if (place.type == 0 || !G_IS_VALUE(value) || !g_type_is_a(G_VALUE_TYPE(value), place.type))
        return WriteAny(path, value);
    return WriteValue(path, value, place);
}

bool ValueWriter::WriteArray(const ValuePath &path, const GValueArray *array, GType elementType) {
    Open('[');
    if (!MayNest(path))
        return false;
    const JsonPlace each = JsonPlace::Of(elementType);
    for (guint i = 0; i < array->n_values; i++) {
        Separate(i == 0);
        const ValuePath element{&path, nullptr, static_cast<gint>(i)};
        if (!WriteElement(element, &array->values[i], each))
            return false;
    }
    Close(']', array->n_values == 0);
    return true;
}

bool ValueWriter::WriteReference(const ValuePath &path, const SkemaQormManagedObject *proxy) {
    Open('{');
    WriteMember("_type", JsonClass_Get(G_OBJECT_TYPE(proxy))->wireName, true);
    Separate(false);
    out += "\"_id\":";
    Space();
    const bool isWritten = WriteText(path, proxy->id != nullptr ? proxy->id : "");
    Close('}', false);
    return isWritten;
}

bool ValueWriter::WriteProperties(const ValuePath &path, const JsonClass *klass, GObject *object,
                                  bool isFirst) {
    for (const JsonProperty &property : klass->properties) {
        if (property.mark != 0 && g_object_get_qdata(object, property.mark) == nullptr)
            continue;
        ScopedValue value(property.place.type);
        if (property.get != nullptr)
            property.get(object, property.pspec->param_id, &value.value, property.pspec);
        else
            g_object_get_property(object, property.pspec->name, &value.value);
        if (property.isOptional && IsNull(&value.value, property.place.kind))
            continue; /* a request does not have it, either */
        Separate(isFirst);
        isFirst = false;
        out += property.key;
        Space();
        if (!WriteValue({&path, property.pspec->name}, &value.value, property.place))
            return false;
    }
    Close('}', isFirst);
    return true;
}

bool ValueWriter::WriteObject(const ValuePath &path, GObject *object, GType declared) {
    const JsonClass *klass = JsonClass_Get(G_OBJECT_TYPE(object));
    if (klass->wireName == nullptr)
        return Fail(path,
                    "is of a class without a name: " + std::string(G_OBJECT_TYPE_NAME(object)));
    Open('{');
    if (!MayNest(path))
        return false;
    const bool hasType = (flags & ORVANE_JSON_ALL_TYPES) || klass->type != declared;
    if (hasType)
        WriteMember("_type", klass->wireName, true);
    return WriteProperties(path, klass, object, !hasType);
}

bool ValueWriter::WriteProxy(const ValuePath &path, SkemaQormManagedObject *proxy) {
    if (proxy->loadCount == 0)
        return WriteReference(path, proxy);
    const JsonClass *klass = JsonClass_Get(G_OBJECT_TYPE(proxy));
    Open('{');
    WriteMember("_type", klass->wireName, true);
    Separate(false);
    out += "\"_id\":";
    Space();
    return WriteText(path, proxy->id != nullptr ? proxy->id : "") &&
           WriteProperties(path, klass, G_OBJECT(proxy), false);
}

namespace {

char *TextOf(const ValueWriter &writer) {
    return g_strndup(writer.out.data(), writer.out.size());
}

} // namespace

G_DEFINE_QUARK(orvane - json - error - quark, orvane_json_error)

bool ValuePath_Fail(const ValuePath *path, gint code, const std::string &text, GError **error) {
    const std::string place = path->Text();
    g_set_error(error, ORVANE_JSON_ERROR, code, "%s%s%s", place.c_str(), place.empty() ? "" : ": ",
                text.c_str());
    return false;
}

char *orvane_object_to_json(GObject *object, OrvaneJsonFlags flags, GError **error) {
    g_return_val_if_fail(G_IS_OBJECT(object), nullptr);
    ValueWriter writer(flags, error);
    const ValuePath root;
    if (SKEMA_IS_QORM_MANAGED_OBJECT(object))
        return writer.WriteProxy(root, SKEMA_QORM_MANAGED_OBJECT(object)) ? TextOf(writer)
                                                                          : nullptr;
    if (!JsonKind_Row(JsonKind_Of(G_OBJECT_TYPE(object))).hasMembers) {
        ValuePath_Fail(&root, ORVANE_JSON_ERROR_UNWRITABLE,
                       "is no object of the schema: " + std::string(G_OBJECT_TYPE_NAME(object)),
                       error);
        return nullptr;
    }
    return writer.WriteObject(root, object, 0) ? TextOf(writer) : nullptr;
}

char *orvane_value_to_json(const GValue *value, OrvaneJsonFlags flags, GError **error) {
    g_return_val_if_fail(value != nullptr, nullptr);
    ValueWriter writer(flags, error);
    const ValuePath root;
    const bool isWritten =
        G_IS_VALUE(value) ? writer.WriteValue(root, value, {0, JsonKind_Of(G_VALUE_TYPE(value))})
                          : writer.WriteAny(root, value);
    return isWritten ? TextOf(writer) : nullptr;
}
