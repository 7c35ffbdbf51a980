#include <orvane/json.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>
#include <utility>

#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvaneJson/jsonClass.h"
#include "ozy/lib/orvaneJson/valuePath.h"

namespace {

constexpr gint64 kMaxExact = gint64{1} << 53; /* what a double holds exactly */
constexpr gsize kFirstSize = 4096;

class Writer {
public:
    Writer(OrvaneJsonFlags itsFlags, GError **itsError) : flags(itsFlags), error(itsError) {
        out.reserve(kFirstSize);
    }

    /* A value whose type the place says, except where its class is another one. */
    bool WriteValue(const ValuePath &path, const GValue *value, JsonKind kind, GType declared,
                    GType elementType);
    /* A value of a place that can hold any. */
    bool WriteAny(const ValuePath &path, const GValue *value);
    bool WriteObject(const ValuePath &path, GObject *object, GType declared);
    /* A managed object with what was loaded of it. */
    bool WriteProxy(const ValuePath &path, SkemaQormManagedObject *proxy);

    std::string out;

private:
    bool WriteProperties(const ValuePath &path, const JsonClass *klass, GObject *object,
                         bool isFirst);
    bool WriteReference(const ValuePath &path, const SkemaQormManagedObject *proxy);
    bool WriteArray(const ValuePath &path, const GValueArray *array, GType elementType);
    bool WriteElement(const ValuePath &path, const GValue *value, GType elementType);
    bool WriteText(const ValuePath &path, const char *text);
    bool WriteEnum(const ValuePath &path, const GValue *value);
    bool WriteTime(const ValuePath &path, const GTimeVal *time);
    template <class Number> void WriteWholeNumber(Number number);
    template <class Number> void WriteReal(Number number);
    void WriteEscape(gunichar c);
    bool Fail(const ValuePath &path, const std::string &what) {
        return ValuePath_Fail(&path, ORVANE_JSON_ERROR_UNWRITABLE, what, error);
    }
    bool MayNest(const ValuePath &path) {
        return level <= kJsonMaxDepth || Fail(path, "is nested too deeply");
    }

    /* Begins an object or an array; the item that follows is the first. */
    void Open(char bracket) {
        out += bracket;
        level++;
    }
    void Close(char bracket, bool isEmpty) {
        level--;
        if (!isEmpty)
            NewLine();
        out += bracket;
    }
    void Separate(bool isFirst) {
        if (!isFirst)
            out += ',';
        NewLine();
    }
    void NewLine() {
        if ((flags & ORVANE_JSON_INDENTED) == 0)
            return;
        out += '\n';
        out.append(gsize{2} * level, ' ');
    }
    /* Behind a colon. */
    void Space() {
        if (flags & ORVANE_JSON_INDENTED)
            out += ' ';
    }
    void WriteMember(std::string_view key, std::string_view word, bool isFirst) {
        Separate(isFirst);
        out.append("\"").append(key).append("\":");
        Space();
        out.append("\"").append(word).append("\"");
    }

    OrvaneJsonFlags flags;
    GError **error;
    guint level = 0;
};

/* Control characters, line separators and marks of direction, which a terminal would act upon. */
bool MustBeEscaped(gunichar c) {
    return c < 0x20 || (c >= 0x7f && c < 0xa0) || c == 0x061c || (c >= 0x200e && c <= 0x200f) ||
           (c >= 0x2028 && c <= 0x202e) || (c >= 0x2066 && c <= 0x2069) || c == '"' || c == '\\';
}

void Writer::WriteEscape(gunichar c) {
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

bool Writer::WriteText(const ValuePath &path, const char *text) {
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

template <class Number> void Writer::WriteWholeNumber(Number number) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const std::string_view text(digits, static_cast<gsize>(end - digits));
    const bool isExact =
        std::cmp_less_equal(number, kMaxExact) && std::cmp_greater_equal(number, -kMaxExact);
    if (isExact)
        out += text;
    else
        out.append("\"").append(text).append("\"");
}

template <class Number> void Writer::WriteReal(Number number) {
    if (std::isnan(number)) {
        out += "\"NaN\"";
    } else if (std::isinf(number)) {
        out += number > 0 ? "\"INF\"" : "\"-INF\"";
    } else {
        char digits[64];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        const std::string_view text(digits, static_cast<gsize>(end - digits));
        out += text;
        if (text.find_first_of(".e") == std::string_view::npos)
            out += ".0"; /* so that a reader that knows no type takes it for what it is */
    }
}

/* Whether a value is of a kind that can be missing, and is. */
bool IsNull(const GValue *value, JsonKind kind) {
    return kind >= JsonKind::String && g_value_peek_pointer(value) == nullptr;
}

bool Writer::WriteEnum(const ValuePath &path, const GValue *value) {
    const TypeClassPtr klass(g_type_class_ref(G_VALUE_TYPE(value)));
    const GEnumValue *word =
        g_enum_get_value(static_cast<GEnumClass *>(klass.get()), g_value_get_enum(value));
    if (word == nullptr)
        return Fail(path, "is no word of " + std::string(G_VALUE_TYPE_NAME(value)));
    return WriteText(path, word->value_nick);
}

bool Writer::WriteTime(const ValuePath &path, const GTimeVal *time) {
    GTimeVal copy = *time;
    const GPtr<char> text(g_time_val_to_iso8601(&copy));
    return text != nullptr ? WriteText(path, text.get()) : Fail(path, "is no date");
}

bool Writer::WriteValue(const ValuePath &path, const GValue *value, JsonKind kind, GType declared,
                        GType elementType) {
    switch (kind) {
    case JsonKind::Boolean:
        out += g_value_get_boolean(value) ? "true" : "false";
        return true;
    case JsonKind::Byte:
        WriteWholeNumber(gint{g_value_get_schar(value)});
        return true;
    case JsonKind::UnsignedByte:
        WriteWholeNumber(gint{g_value_get_uchar(value)});
        return true;
    case JsonKind::Int:
        WriteWholeNumber(g_value_get_int(value));
        return true;
    case JsonKind::UnsignedInt:
        WriteWholeNumber(g_value_get_uint(value));
        return true;
    case JsonKind::Long:
        WriteWholeNumber(g_value_get_int64(value));
        return true;
    case JsonKind::UnsignedLong:
        WriteWholeNumber(g_value_get_uint64(value));
        return true;
    case JsonKind::Float:
        WriteReal(g_value_get_float(value));
        return true;
    case JsonKind::Double:
        WriteReal(g_value_get_double(value));
        return true;
    case JsonKind::Enum:
        return WriteEnum(path, value);
    case JsonKind::Other:
        return Fail(path, "is of a type that does not cross the wire: " +
                              std::string(G_VALUE_TYPE_NAME(value)));
    default:
        break;
    }

    if (IsNull(value, kind)) {
        out += "null";
        return true;
    }
    const gconstpointer held = g_value_peek_pointer(value);
    switch (kind) {
    case JsonKind::String:
    case JsonKind::Uri:
        return WriteText(path, static_cast<const char *>(held));
    case JsonKind::Timeval:
        return WriteTime(path, static_cast<const GTimeVal *>(held));
    case JsonKind::Bytes: {
        const auto *bytes = static_cast<const GByteArray *>(held);
        const GPtr<char> text(g_base64_encode(bytes->data, bytes->len));
        out.append("\"").append(text.get()).append("\"");
        return true;
    }
    case JsonKind::Any:
        return WriteAny(path, static_cast<const GValue *>(held));
    case JsonKind::Array:
        return WriteArray(path, static_cast<const GValueArray *>(held), elementType);
    case JsonKind::Managed:
        return WriteReference(path, static_cast<const SkemaQormManagedObject *>(held));
    default:
        return WriteObject(path, static_cast<GObject *>(g_value_get_object(value)), declared);
    }
}

bool Writer::WriteAny(const ValuePath &path, const GValue *value) {
    if (!G_IS_VALUE(value)) {
        out += "null";
        return true;
    }
    const GType type = G_VALUE_TYPE(value);
    const JsonKind kind = JsonKind_Of(type);
    switch (kind) {
    case JsonKind::String:
    case JsonKind::Boolean:
    case JsonKind::Int:
    case JsonKind::Any:
    case JsonKind::Managed:
    case JsonKind::Array:
    case JsonKind::Object: /* says its class, as none is declared */
    case JsonKind::Other:
        return WriteValue(path, value, kind, 0, 0);
    default:
        break;
    }
    const char *name = JsonType_Name(type);
    if (name == nullptr)
        return Fail(path, "is of a type without a name: " + std::string(g_type_name(type)));
    Open('{');
    WriteMember("_type", name, true);
    Separate(false);
    out += "\"_value\":";
    Space();
    const bool isWritten = WriteValue(path, value, kind, type, 0);
    Close('}', false);
    return isWritten;
}

bool Writer::WriteElement(const ValuePath &path, const GValue *value, GType elementType) {
    /* a list of a place that takes several kinds: each element says what it is */
    if (elementType == 0 || !G_IS_VALUE(value) || !g_type_is_a(G_VALUE_TYPE(value), elementType))
        return WriteAny(path, value);
    return WriteValue(path, value, JsonKind_Of(elementType), elementType, 0);
}

bool Writer::WriteArray(const ValuePath &path, const GValueArray *array, GType elementType) {
    Open('[');
    if (!MayNest(path))
        return false;
    for (guint i = 0; i < array->n_values; i++) {
        Separate(i == 0);
        const ValuePath element{&path, nullptr, static_cast<gint>(i)};
        if (!WriteElement(element, &array->values[i], elementType))
            return false;
    }
    Close(']', array->n_values == 0);
    return true;
}

bool Writer::WriteReference(const ValuePath &path, const SkemaQormManagedObject *proxy) {
    Open('{');
    WriteMember("_type", JsonType_Name(G_OBJECT_TYPE(proxy)), true);
    Separate(false);
    out += "\"_id\":";
    Space();
    const bool isWritten = WriteText(path, proxy->id != nullptr ? proxy->id : "");
    Close('}', false);
    return isWritten;
}

bool Writer::WriteProperties(const ValuePath &path, const JsonClass *klass, GObject *object,
                             bool isFirst) {
    for (const JsonProperty &property : klass->properties) {
        if (property.mark != 0 && g_object_get_qdata(object, property.mark) == nullptr)
            continue;
        ScopedValue value(property.type);
        if (property.get != nullptr)
            property.get(object, property.pspec->param_id, &value.value, property.pspec);
        else
            g_object_get_property(object, property.pspec->name, &value.value);
        if (property.isOptional && IsNull(&value.value, property.kind))
            continue; /* a request does not have it, either */
        Separate(isFirst);
        isFirst = false;
        out += property.key;
        Space();
        if (!WriteValue({&path, property.pspec->name}, &value.value, property.kind, property.type,
                        property.elementType))
            return false;
    }
    Close('}', isFirst);
    return true;
}

bool Writer::WriteObject(const ValuePath &path, GObject *object, GType declared) {
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

bool Writer::WriteProxy(const ValuePath &path, SkemaQormManagedObject *proxy) {
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

char *TextOf(const Writer &writer) {
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
    Writer writer(flags, error);
    const ValuePath root;
    if (SKEMA_IS_QORM_MANAGED_OBJECT(object))
        return writer.WriteProxy(root, SKEMA_QORM_MANAGED_OBJECT(object)) ? TextOf(writer)
                                                                          : nullptr;
    if (JsonKind_Of(G_OBJECT_TYPE(object)) != JsonKind::Object) {
        ValuePath_Fail(&root, ORVANE_JSON_ERROR_UNWRITABLE,
                       "is no object of the schema: " + std::string(G_OBJECT_TYPE_NAME(object)),
                       error);
        return nullptr;
    }
    return writer.WriteObject(root, object, 0) ? TextOf(writer) : nullptr;
}

char *orvane_value_to_json(const GValue *value, OrvaneJsonFlags flags, GError **error) {
    g_return_val_if_fail(value != nullptr, nullptr);
    Writer writer(flags, error);
    const ValuePath root;
    const bool isWritten =
        G_IS_VALUE(value) ? writer.WriteValue(root, value, JsonKind_Of(G_VALUE_TYPE(value)), 0, 0)
                          : writer.WriteAny(root, value);
    return isWritten ? TextOf(writer) : nullptr;
}
