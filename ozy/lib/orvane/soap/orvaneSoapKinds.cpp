#include "ozy/lib/orvane/soap/orvaneSoapKinds.h"

#include <algorithm>

#include <orvane/runtime.h>
#include <orvane/schema/qorm.h>

#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

namespace {

/* -- reading -------------------------------------------------------------------------------------- */

bool ReadNothing(SoapReader *, xmlNode *, const SoapFound &, GValue *) {
    return false;
}

template <auto read> bool ReadText(SoapReader *, xmlNode *node, const SoapFound &, GValue *value) {
    return read(OrvaneSoapContent(node), value);
}

bool ReadEnum(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value) {
    return OrvaneSoapReadWord(OrvaneSoapContent(node), reader->enums.Get(found.type), value);
}

bool ReadObject(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value) {
    return OrvaneSoapReadObject(reader, node, found.type, value);
}

bool ReadFaultOrObject(SoapReader *reader, xmlNode *node, const SoapFound &found, GValue *value) {
    return OrvaneSoapReadLocalizedFault(reader, node, value) ||
           OrvaneSoapReadObject(reader, node, found.type, value);
}

/* -- writing -------------------------------------------------------------------------------------- */

bool WriteNothing(const SoapWriter &, std::string_view, const GValue *) {
    return false;
}

bool WriteBoolean(const SoapWriter &writer, std::string_view name, const GValue *value) {
    return OrvaneSoapWriteText(writer.out, name, "xsd:boolean",
                               g_value_get_boolean(value) ? "1" : "0");
}

/* The wire's name of a number. */
struct WireName {
    char text[20];
    template <std::size_t size> constexpr WireName(const char (&from)[size]) : text{} {
        std::copy_n(from, size, text);
    }
};

template <WireName type, auto write, auto get>
bool WriteNumber(const SoapWriter &writer, std::string_view name, const GValue *value) {
    return write(writer.out, name, type.text, get(value));
}

bool WriteEnum(const SoapWriter &writer, std::string_view name, const GValue *value) {
    return OrvaneSoapWriteEnum(writer.out, name, G_VALUE_TYPE(value), g_value_get_enum(value));
}

/* What a value keeps through one pointer is written in the same way as what an object keeps so. */
template <auto writeHeld>
bool WriteBoxed(const SoapWriter &writer, std::string_view name, const GValue *value) {
    return writeHeld(writer, name, g_value_get_boxed(value));
}

template <auto writeHeld>
bool WriteReference(const SoapWriter &writer, std::string_view name, const GValue *value) {
    return writeHeld(writer, name, g_value_get_object(value));
}

bool WriteHeldString(const SoapWriter &writer, std::string_view name, gpointer text) {
    return OrvaneSoapWriteEscaped(writer.out, name, "xsd:string", static_cast<char *>(text));
}

bool WriteString(const SoapWriter &writer, std::string_view name, const GValue *value) {
    return OrvaneSoapWriteEscaped(writer.out, name, "xsd:string", g_value_get_string(value));
}

bool WriteHeldUri(const SoapWriter &writer, std::string_view name, gpointer text) {
    return OrvaneSoapWriteEscaped(writer.out, name, "xsd:anyURI", static_cast<char *>(text));
}

bool WriteHeldTimeval(const SoapWriter &writer, std::string_view name, gpointer time) {
    return OrvaneSoapWriteTimeval(writer.out, name, static_cast<const GTimeVal *>(time));
}

bool WriteHeldByteArray(const SoapWriter &writer, std::string_view name, gpointer bytes) {
    return OrvaneSoapWriteByteArray(writer.out, name, static_cast<const GByteArray *>(bytes));
}

bool WriteHeldAny(const SoapWriter &writer, std::string_view name, gpointer held) {
    return OrvaneSoapWriteAny(writer, name, static_cast<const GValue *>(held));
}

bool WriteHeldArray(const SoapWriter &writer, std::string_view name, gpointer array) {
    return OrvaneSoapWriteArray(writer, name, static_cast<const GValueArray *>(array));
}

bool WriteHeldManaged(const SoapWriter &writer, std::string_view name, gpointer proxy) {
    return OrvaneSoapWriteManaged(writer.out, name,
                                  static_cast<const SkemaQormManagedObject *>(proxy));
}

bool WriteHeldObject(const SoapWriter &writer, std::string_view name, gpointer object) {
    return OrvaneSoapWriteObject(writer, name, static_cast<GObject *>(object));
}

/* -- storing -------------------------------------------------------------------------------------- */

/* G_TYPE_PARAM_... are entries of a table that GLib fills. */
template <auto offset> bool IsSpec(const GParamSpec *pspec) {
    return G_PARAM_SPEC_TYPE(pspec) == offset();
}

bool IsPlainString(const GParamSpec *pspec) {
    const auto *text = reinterpret_cast<const GParamSpecString *>(pspec);
    return G_PARAM_SPEC_TYPE(pspec) == G_TYPE_PARAM_STRING && text->cset_first == nullptr &&
           text->cset_nth == nullptr && !text->null_fold_if_empty && !text->ensure_non_null;
}

/* A NaN is in no range. */
template <class Spec, auto get> bool FitsRange(const SoapProperty &property, const GValue *value) {
    const auto *range = reinterpret_cast<const Spec *>(property.pspec);
    const auto number = get(value);
    return range->minimum <= number && number <= range->maximum;
}

bool FitsClass(const SoapProperty &property, const GValue *value) {
    if (!g_type_is_a(G_VALUE_TYPE(value), property.type))
        return false;
    gpointer held = g_value_get_object(value);
    return held == nullptr || g_type_is_a(G_OBJECT_TYPE(held), property.type);
}

constexpr auto kIsBoxed = IsSpec<[] { return G_TYPE_PARAM_BOXED; }>;
constexpr auto kIsObject = IsSpec<[] { return G_TYPE_PARAM_OBJECT; }>;

constexpr std::array<SoapKindRow, kNumSoapKinds> kRows = {{
    {.kind = SoapKind::None, .isLeaf = true, .read = ReadNothing, .write = WriteNothing},
    {.kind = SoapKind::Byte,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_char>,
     .write = WriteNumber<"xsd:byte", OrvaneSoapWriteSigned, g_value_get_schar>,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_CHAR; }>,
     .fits = FitsRange<GParamSpecChar, g_value_get_schar>},
    {.kind = SoapKind::UnsignedByte,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_uchar>,
     .write = WriteNumber<"xsd:unsignedBtype", OrvaneSoapWriteUnsigned, g_value_get_uchar>,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_UCHAR; }>,
     .fits = FitsRange<GParamSpecUChar, g_value_get_uchar>},
    {.kind = SoapKind::Boolean,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_bool>,
     .write = WriteBoolean,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_BOOLEAN; }>},
    {.kind = SoapKind::Int,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_int>,
     .write = WriteNumber<"xsd:int", OrvaneSoapWriteSigned, g_value_get_int>,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_INT; }>,
     .fits = FitsRange<GParamSpecInt, g_value_get_int>},
    {.kind = SoapKind::UnsignedInt,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_uint>,
     .write = WriteNumber<"xsd:unsignedInt", OrvaneSoapWriteUnsigned, g_value_get_uint>},
    {.kind = SoapKind::Long,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_long>,
     .write = WriteNumber<"xsd:long", OrvaneSoapWriteSigned, g_value_get_long>},
    {.kind = SoapKind::UnsignedLong,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_ulong>,
     .write = WriteNumber<"xsd:unsignedLong", OrvaneSoapWriteUnsigned, g_value_get_ulong>},
    {.kind = SoapKind::Int64,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_int64>,
     .write = WriteNumber<"xsd:long", OrvaneSoapWriteSigned, g_value_get_int64>,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_INT64; }>,
     .fits = FitsRange<GParamSpecInt64, g_value_get_int64>},
    {.kind = SoapKind::UnsignedInt64,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_uint64>,
     .write = WriteNumber<"xsd:unsignedLong", OrvaneSoapWriteUnsigned, g_value_get_uint64>},
    {.kind = SoapKind::Float,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_float>,
     .write = WriteNumber<"xsd:float", OrvaneSoapWriteReal, g_value_get_float>,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_FLOAT; }>,
     .fits = FitsRange<GParamSpecFloat, g_value_get_float>},
    {.kind = SoapKind::Double,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadText<orvane_soap_deserialize_double>,
     .write = WriteNumber<"xsd:double", OrvaneSoapWriteReal, g_value_get_double>,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_DOUBLE; }>,
     .fits = FitsRange<GParamSpecDouble, g_value_get_double>},
    {.kind = SoapKind::String,
     .isLeaf = true,
     .read = ReadText<orvane_soap_deserialize_string>,
     .write = WriteString,
     .writeHeld = WriteHeldString,
     .isPlain = IsPlainString},
    {.kind = SoapKind::Enum,
     .isLeaf = true,
     .ownsNothing = true,
     .read = ReadEnum,
     .write = WriteEnum,
     .isPlain = IsSpec<[] { return G_TYPE_PARAM_ENUM; }>},
    {.kind = SoapKind::Any,
     .isLeaf = true,
     .read = OrvaneSoapReadAny,
     .write = WriteBoxed<WriteHeldAny>,
     .isPlain = kIsBoxed},
    {.kind = SoapKind::Array,
     .read = OrvaneSoapReadArray,
     .write = WriteBoxed<WriteHeldArray>,
     .writeHeld = WriteHeldArray,
     .isPlain = kIsBoxed},
    {.kind = SoapKind::Timeval,
     .isLeaf = true,
     .read = ReadText<orvane_soap_deserialize_timeval>,
     .write = WriteBoxed<WriteHeldTimeval>,
     .writeHeld = WriteHeldTimeval,
     .isPlain = kIsBoxed},
    {.kind = SoapKind::Uri,
     .isLeaf = true,
     .read = ReadText<orvane_soap_deserialize_uri>,
     .write = WriteBoxed<WriteHeldUri>,
     .isPlain = kIsBoxed},
    {.kind = SoapKind::ByteArray,
     .isLeaf = true,
     .read = ReadText<orvane_soap_deserialize_byte_array>,
     .write = WriteBoxed<WriteHeldByteArray>,
     .writeHeld = WriteHeldByteArray,
     .isPlain = kIsBoxed},
    {.kind = SoapKind::Managed,
     .read = OrvaneSoapReadManaged,
     .write = WriteReference<WriteHeldManaged>,
     .isPlain = kIsObject,
     .fits = FitsClass},
    {.kind = SoapKind::Fault,
     .read = ReadFaultOrObject,
     .write = WriteReference<WriteHeldObject>,
     .writeHeld = WriteHeldObject,
     .isPlain = kIsObject,
     .fits = FitsClass},
    {.kind = SoapKind::Object,
     .read = ReadObject,
     .write = WriteReference<WriteHeldObject>,
     .writeHeld = WriteHeldObject,
     .isPlain = kIsObject,
     .fits = FitsClass},
    {.kind = SoapKind::Other, .read = ReadNothing, .write = WriteNothing},
}};
static_assert(std::ranges::is_sorted(kRows, {}, &SoapKindRow::kind));

/* -- kinds of types -------------------------------------------------------------------------------- */

SoapKind SoapKindOfBoxed(GType type) {
    if (g_type_is_a(type, G_TYPE_VALUE))
        return SoapKind::Any;
    if (g_type_is_a(type, G_TYPE_VALUE_ARRAY))
        return SoapKind::Array;
    if (g_type_is_a(type, ORVANE_TYPE_TIMEVAL))
        return SoapKind::Timeval;
    if (g_type_is_a(type, ORVANE_TYPE_URI))
        return SoapKind::Uri;
    if (g_type_is_a(type, ORVANE_TYPE_BYTE_ARRAY))
        return SoapKind::ByteArray;
    return SoapKind::Other;
}

SoapKind SoapKindOfObject(GType type) {
    if (g_type_is_a(type, skema_qorm_managed_object_get_type()))
        return SoapKind::Managed;
    if (g_type_is_a(type, skema_qorm_method_fault_get_type()) ||
        g_type_is_a(type, skema_qorm_localized_method_fault_get_type()))
        return SoapKind::Fault;
    return SoapKind::Object;
}

} // namespace

constinit const std::array<SoapKindRow, kNumSoapKinds> kSoapKindRows = kRows;

SoapKind OrvaneSoapKind_Of(GType type) {
    switch (type) {
    case G_TYPE_NONE:
        return SoapKind::None;
    case G_TYPE_CHAR:
        return SoapKind::Byte;
    case G_TYPE_UCHAR:
        return SoapKind::UnsignedByte;
    case G_TYPE_BOOLEAN:
        return SoapKind::Boolean;
    case G_TYPE_INT:
        return SoapKind::Int;
    case G_TYPE_UINT:
        return SoapKind::UnsignedInt;
    case G_TYPE_LONG:
        return SoapKind::Long;
    case G_TYPE_ULONG:
        return SoapKind::UnsignedLong;
    case G_TYPE_INT64:
        return SoapKind::Int64;
    case G_TYPE_UINT64:
        return SoapKind::UnsignedInt64;
    case G_TYPE_FLOAT:
        return SoapKind::Float;
    case G_TYPE_DOUBLE:
        return SoapKind::Double;
    case G_TYPE_STRING:
        return SoapKind::String;
    }
    switch (G_TYPE_FUNDAMENTAL(type)) {
    case G_TYPE_ENUM:
        return SoapKind::Enum;
    case G_TYPE_BOXED:
        return SoapKindOfBoxed(type);
    case G_TYPE_OBJECT:
        return SoapKindOfObject(type);
    }
    return SoapKind::Other;
}
