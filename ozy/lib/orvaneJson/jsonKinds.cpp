#include "ozy/lib/orvaneJson/jsonKinds.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>
#include <utility>

#include <orvane/runtime.h>
#include <orvane/schema/qorm.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvaneJson/jsonRead.h"
#include "ozy/lib/orvaneJson/jsonWrite.h"

namespace {

constexpr gint64 kMaxExact = gint64{1} << 53; /* what a double holds exactly */

/* -- reading -------------------------------------------------------------------------------------- */

bool ReadBoolean(ValueReader &reader, const ValuePath &path, JsonNode *node, const JsonPlace &place,
                 GValue *value) {
    if (!JSON_NODE_HOLDS_VALUE(node) || json_node_get_value_type(node) != G_TYPE_BOOLEAN)
        return reader.IsUnexpected(path, node, place.kind);
    g_value_set_boolean(value, json_node_get_boolean(node));
    return true;
}

bool IsWholeNumber(JsonNode *node) {
    return JSON_NODE_HOLDS_VALUE(node) && json_node_get_value_type(node) == G_TYPE_INT64;
}

/* A number beyond what all readers of JSON hold exactly is a text. */
template <class Number> bool ParseWhole(JsonNode *node, Number *number) {
    if (IsWholeNumber(node)) {
        const gint64 read = json_node_get_int(node);
        *number = static_cast<Number>(read);
        return std::in_range<Number>(read);
    }
    const char *text = ValueNode_Text(node);
    if (text == nullptr)
        return false;
    const char *end = text + strlen(text);
    const auto read = std::from_chars(text, end, *number);
    return read.ec == std::errc() && read.ptr == end && end != text;
}

template <class Number> bool ParseReal(JsonNode *node, Number *number) {
    if (const char *text = ValueNode_Text(node)) {
        constexpr auto kInfinite = std::numeric_limits<Number>::infinity();
        const std::string_view word = text;
        *number = word == "NaN" ? std::numeric_limits<Number>::quiet_NaN()
                                : (word == "-INF" ? -kInfinite : kInfinite);
        return word == "NaN" || word == "INF" || word == "-INF";
    }
    if (!JSON_NODE_HOLDS_VALUE(node) ||
        (!IsWholeNumber(node) && json_node_get_value_type(node) != G_TYPE_DOUBLE))
        return false;
    *number = static_cast<Number>(IsWholeNumber(node) ? static_cast<double>(json_node_get_int(node))
                                                      : json_node_get_double(node));
    return std::isfinite(*number);
}

template <class Number, auto parse, auto set>
bool ReadNumber(ValueReader &reader, const ValuePath &path, JsonNode *node, const JsonPlace &place,
                GValue *value) {
    Number number = 0;
    if (!parse(node, &number))
        return reader.IsUnexpected(path, node, place.kind);
    set(value, number);
    return true;
}

bool ReadEnum(ValueReader &reader, const ValuePath &path, JsonNode *node, const JsonPlace &place,
              GValue *value) {
    const char *text = ValueNode_Text(node);
    const GEnumValue *word = text != nullptr ? orvane_enum_get_by_nick(place.type, text) : nullptr;
    if (word == nullptr) {
        const TypeClassPtr klass(g_type_class_ref(place.type));
        const auto *words = static_cast<GEnumClass *>(klass.get());
        std::string known;
        for (guint i = 0; i < words->n_values; i++)
            known += (i > 0 ? ", " : "") + std::string(words->values[i].value_nick);
        const std::string name = JsonType_Name(place.type);
        return reader.IsNo(path, node, (name + " (" + known + ")").c_str());
    }
    g_value_set_enum(value, word->value);
    return true;
}

template <auto set> bool ReadText(ValueReader &reader, const ValuePath &path, JsonNode *node,
                                  const JsonPlace &place, GValue *value) {
    const char *text = ValueNode_Text(node);
    if (text == nullptr)
        return reader.IsUnexpected(path, node, place.kind);
    set(value, text);
    return true;
}

bool ReadTime(ValueReader &reader, const ValuePath &path, JsonNode *node, const JsonPlace &place,
              GValue *value) {
    const char *text = ValueNode_Text(node);
    GTimeVal time;
    if (text == nullptr || !g_time_val_from_iso8601(text, &time))
        return reader.IsUnexpected(path, node, place.kind);
    g_value_set_boxed(value, &time);
    return true;
}

bool ReadBytes(ValueReader &reader, const ValuePath &path, JsonNode *node, const JsonPlace &place,
               GValue *value) {
    const char *text = ValueNode_Text(node);
    if (text == nullptr)
        return reader.IsUnexpected(path, node, place.kind);
    gsize size = 0;
    const GPtr<guchar> bytes(g_base64_decode(text, &size));
    const GPtr<char> again(g_base64_encode(bytes.get(), size));
    if (strcmp(text, again.get()) != 0)
        return reader.IsUnexpected(path, node, place.kind);
    GByteArray *array = g_byte_array_sized_new(static_cast<guint>(size));
    g_byte_array_append(array, bytes.get(), static_cast<guint>(size));
    g_value_take_boxed(value, array);
    return true;
}

bool ReadAny(ValueReader &reader, const ValuePath &path, JsonNode *node, const JsonPlace &,
             GValue *value) {
    ScopedValue held;
    if (!reader.ReadAny(path, node, &held.value))
        return false;
    g_value_set_boxed(value, &held.value);
    return true;
}

template <auto read> bool ReadNested(ValueReader &reader, const ValuePath &path, JsonNode *node,
                                     const JsonPlace &place, GValue *value) {
    return (reader.*read)(path, node, place, value);
}

bool ReadNothing(ValueReader &reader, const ValuePath &path, JsonNode *, const JsonPlace &place,
                 GValue *) {
    return reader.Fail(path, "is of a type that does not cross the wire: " +
                                 std::string(g_type_name(place.type)));
}

/* -- writing -------------------------------------------------------------------------------------- */

bool WriteBoolean(ValueWriter &writer, const ValuePath &, const GValue *value, const JsonPlace &) {
    writer.out += g_value_get_boolean(value) ? "true" : "false";
    return true;
}

template <auto get>
bool WriteWhole(ValueWriter &writer, const ValuePath &, const GValue *value, const JsonPlace &) {
    const auto number = get(value);
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    const std::string_view text(digits, static_cast<gsize>(end - digits));
    const bool isExact =
        std::cmp_less_equal(number, kMaxExact) && std::cmp_greater_equal(number, -kMaxExact);
    if (isExact)
        writer.out += text;
    else
        writer.out.append("\"").append(text).append("\"");
    return true;
}

template <auto get>
bool WriteReal(ValueWriter &writer, const ValuePath &, const GValue *value, const JsonPlace &) {
    const auto number = get(value);
    if (std::isnan(number)) {
        writer.out += "\"NaN\"";
    } else if (std::isinf(number)) {
        writer.out += number > 0 ? "\"INF\"" : "\"-INF\"";
    } else {
        char digits[64];
        const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
        const std::string_view text(digits, static_cast<gsize>(end - digits));
        writer.out += text;
        if (text.find_first_of(".e") == std::string_view::npos)
            writer.out += ".0"; /* so that a reader that knows no type takes it for what it is */
    }
    return true;
}

bool WriteEnum(ValueWriter &writer, const ValuePath &path, const GValue *value, const JsonPlace &) {
    const TypeClassPtr klass(g_type_class_ref(G_VALUE_TYPE(value)));
    const GEnumValue *word =
        g_enum_get_value(static_cast<GEnumClass *>(klass.get()), g_value_get_enum(value));
    if (word == nullptr)
        return writer.Fail(path, "is no word of " + std::string(G_VALUE_TYPE_NAME(value)));
    return writer.WriteText(path, word->value_nick);
}

template <class T> const T *Held(const GValue *value) {
    return static_cast<const T *>(g_value_peek_pointer(value));
}

bool WriteText(ValueWriter &writer, const ValuePath &path, const GValue *value, const JsonPlace &) {
    return writer.WriteText(path, Held<char>(value));
}

bool WriteTime(ValueWriter &writer, const ValuePath &path, const GValue *value, const JsonPlace &) {
    GTimeVal copy = *Held<GTimeVal>(value);
    const GPtr<char> text(g_time_val_to_iso8601(&copy));
    return text != nullptr ? writer.WriteText(path, text.get()) : writer.Fail(path, "is no date");
}

bool WriteBytes(ValueWriter &writer, const ValuePath &, const GValue *value, const JsonPlace &) {
    const auto *bytes = Held<GByteArray>(value);
    const GPtr<char> text(g_base64_encode(bytes->data, bytes->len));
    writer.out.append("\"").append(text.get()).append("\"");
    return true;
}

bool WriteAny(ValueWriter &writer, const ValuePath &path, const GValue *value, const JsonPlace &) {
    return writer.WriteAny(path, Held<GValue>(value));
}

bool WriteArray(ValueWriter &writer, const ValuePath &path, const GValue *value,
                const JsonPlace &place) {
    return writer.WriteArray(path, Held<GValueArray>(value), place.elementType);
}

bool WriteManaged(ValueWriter &writer, const ValuePath &path, const GValue *value,
                  const JsonPlace &) {
    return writer.WriteReference(path, Held<SkemaQormManagedObject>(value));
}

bool WriteObject(ValueWriter &writer, const ValuePath &path, const GValue *value,
                 const JsonPlace &place) {
    return writer.WriteObject(path, static_cast<GObject *>(g_value_get_object(value)), place.type);
}

bool WriteNothing(ValueWriter &writer, const ValuePath &path, const GValue *value,
                  const JsonPlace &) {
    return writer.Fail(path, "is of a type that does not cross the wire: " +
                                 std::string(G_VALUE_TYPE_NAME(value)));
}

/* -- the rows -------------------------------------------------------------------------------------- */

constexpr std::array<JsonKindRow, kNumJsonKinds> kRows = {{
    {.kind = JsonKind::Boolean,
     .fundamental = G_TYPE_BOOLEAN,
     .wireName = "xsd:boolean",
     .expected = "boolean",
     .saysItsType = true,
     .read = ReadBoolean,
     .write = WriteBoolean},
    {.kind = JsonKind::Byte,
     .fundamental = G_TYPE_CHAR,
     .wireName = "xsd:byte",
     .expected = "byte",
     .read = ReadNumber<gint8, ParseWhole<gint8>, g_value_set_schar>,
     .write = WriteWhole<g_value_get_schar>},
    {.kind = JsonKind::UnsignedByte,
     .fundamental = G_TYPE_UCHAR,
     .wireName = "xsd:unsignedByte",
     .expected = "unsigned byte",
     .read = ReadNumber<guint8, ParseWhole<guint8>, g_value_set_uchar>,
     .write = WriteWhole<g_value_get_uchar>},
    {.kind = JsonKind::Int,
     .fundamental = G_TYPE_INT,
     .wireName = "xsd:int",
     .expected = "int",
     .saysItsType = true,
     .read = ReadNumber<gint, ParseWhole<gint>, g_value_set_int>,
     .write = WriteWhole<g_value_get_int>},
    {.kind = JsonKind::UnsignedInt,
     .fundamental = G_TYPE_UINT,
     .wireName = "xsd:unsignedInt",
     .expected = "unsigned int",
     .read = ReadNumber<guint, ParseWhole<guint>, g_value_set_uint>,
     .write = WriteWhole<g_value_get_uint>},
    {.kind = JsonKind::Long,
     .fundamental = G_TYPE_INT64,
     .wireName = "xsd:long",
     .expected = "long",
     .read = ReadNumber<gint64, ParseWhole<gint64>, g_value_set_int64>,
     .write = WriteWhole<g_value_get_int64>},
    {.kind = JsonKind::UnsignedLong,
     .fundamental = G_TYPE_UINT64,
     .wireName = "xsd:unsignedLong",
     .expected = "unsigned long",
     .read = ReadNumber<guint64, ParseWhole<guint64>, g_value_set_uint64>,
     .write = WriteWhole<g_value_get_uint64>},
    {.kind = JsonKind::Float,
     .fundamental = G_TYPE_FLOAT,
     .wireName = "xsd:float",
     .expected = "float",
     .read = ReadNumber<float, ParseReal<float>, g_value_set_float>,
     .write = WriteReal<g_value_get_float>},
    {.kind = JsonKind::Double,
     .fundamental = G_TYPE_DOUBLE,
     .wireName = "xsd:double",
     .expected = "double",
     .read = ReadNumber<double, ParseReal<double>, g_value_set_double>,
     .write = WriteReal<g_value_get_double>},
    {.kind = JsonKind::Enum, .fundamental = G_TYPE_ENUM, .read = ReadEnum, .write = WriteEnum},
    {.kind = JsonKind::String,
     .fundamental = G_TYPE_STRING,
     .wireName = "xsd:string",
     .expected = "text",
     .isNullable = true,
     .saysItsType = true,
     .read = ReadText<g_value_set_string>,
     .write = WriteText},
    {.kind = JsonKind::Timeval,
     .fundamental = G_TYPE_BOXED,
     .type = orvane_timeval_get_type,
     .wireName = "xsd:dateTime",
     .expected = "date, such as \"2026-11-23T13:14:15Z\"",
     .isNullable = true,
     .read = ReadTime,
     .write = WriteTime},
    {.kind = JsonKind::Uri,
     .fundamental = G_TYPE_BOXED,
     .type = orvane_uri_get_type,
     .wireName = "xsd:anyURI",
     .expected = "text",
     .isNullable = true,
     .read = ReadText<g_value_set_boxed>,
     .write = WriteText},
    {.kind = JsonKind::Bytes,
     .fundamental = G_TYPE_BOXED,
     .type = orvane_byte_array_get_type,
     .wireName = "xsd:base64Binary",
     .expected = "text in base 64",
     .isNullable = true,
     .read = ReadBytes,
     .write = WriteBytes},
    {.kind = JsonKind::Any,
     .fundamental = G_TYPE_BOXED,
     .type = g_value_get_type,
     .isNullable = true,
     .saysItsType = true,
     .read = ReadAny,
     .write = WriteAny},
    {.kind = JsonKind::Array,
     .fundamental = G_TYPE_BOXED,
     .type = g_value_array_get_type,
     .expected = "array",
     .isNullable = true,
     .saysItsType = true,
     .read = ReadNested<&ValueReader::ReadArray>,
     .write = WriteArray},
    {.kind = JsonKind::Managed,
     .fundamental = G_TYPE_OBJECT,
     .type = skema_qorm_managed_object_get_type,
     .expected = R"(managed object, such as {"_type": "Task", "_id": "task-1"})",
     .isNullable = true,
     .saysItsType = true,
     .hasMembers = true,
     .read = ReadNested<&ValueReader::ReadManaged>,
     .write = WriteManaged},
    {.kind = JsonKind::Object,
     .fundamental = G_TYPE_OBJECT,
     .type = skema_qorm_data_object_get_type,
     .isNullable = true,
     .saysItsType = true,
     .hasMembers = true,
     .read = ReadNested<&ValueReader::ReadObject>,
     .write = WriteObject},
    {.kind = JsonKind::Fault,
     .fundamental = G_TYPE_OBJECT,
     .type = skema_qorm_method_fault_get_type,
     .isNullable = true,
     .saysItsType = true,
     .hasMembers = true,
     .read = ReadNested<&ValueReader::ReadObject>,
     .write = WriteObject},
    {.kind = JsonKind::Other, .saysItsType = true, .read = ReadNothing, .write = WriteNothing},
}};
static_assert(std::ranges::is_sorted(kRows, {}, &JsonKindRow::kind));

} // namespace

constinit const std::array<JsonKindRow, kNumJsonKinds> kJsonKindRows = kRows;

JsonKind JsonKind_Of(GType type) {
    const GType fundamental = G_TYPE_FUNDAMENTAL(type);
    for (const JsonKindRow &row : kRows)
        if (row.fundamental == fundamental &&
            (row.type == nullptr || g_type_is_a(type, row.type())))
            return row.kind;
    return JsonKind::Other;
}

namespace {

/* The type of a row that has a wire name. */
GType TypeOf(const JsonKindRow &row) {
    return row.type != nullptr ? row.type() : row.fundamental;
}

} // namespace

const char *JsonType_Name(GType type) {
    for (const JsonKindRow &row : kRows)
        if (row.wireName != nullptr && TypeOf(row) == type)
            return row.wireName;
    for (; type != 0; type = g_type_parent(type))
        if (const auto *name =
                static_cast<const char *>(g_type_get_qdata(type, orvane_quark_wsdlname())))
            return name;
    return nullptr;
}

GType JsonType_OfName(const char *name) {
    for (const JsonKindRow &row : kRows)
        if (row.wireName != nullptr && strcmp(row.wireName, name) == 0)
            return TypeOf(row);
    return orvane_lookup_type(name);
}
