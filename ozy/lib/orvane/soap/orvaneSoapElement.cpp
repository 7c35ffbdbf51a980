/*
 * The forms of elements with simple content:
 *
 *   <NAME xsi:type="TYPE">CONTENT</NAME>
 *
 * Nothing but strings and URIs is escaped.
 */
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <limits>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/runtime/orvaneRuntime.h"

namespace {

/* Bytes that g_markup_escape_text() may write in another way; it decides. */
constexpr auto kMayNeedEscape = [] {
    std::array<bool, 256> table{};
    for (unsigned byte = 0; byte < 256; byte++)
        table[byte] = byte < 0x20 || byte >= 0x7f;
    for (unsigned char byte : {'&', '<', '>', '\'', '"'})
        table[byte] = true;
    return table;
}();

bool SoapIsClean(std::string_view text) {
    for (unsigned char byte : text) {
        if (kMayNeedEscape[byte])
            return false;
    }
    return true;
}

template <class Number>
bool SoapWriteNumber(GString *out, std::string_view name, std::string_view xsiType, Number number) {
    char digits[std::numeric_limits<Number>::digits10 + 3];
    const auto end = std::to_chars(digits, digits + sizeof digits, number).ptr;
    return OrvaneSoapWriteText(out, name, xsiType, {digits, end});
}

/* Writes the number at data if it is as large as one of the types. */
template <class... Numbers>
bool SoapWriteSized(GString *out, std::string_view name,
                    const std::array<std::string_view, sizeof...(Numbers)> &xsiTypes, gsize size,
                    gconstpointer data) {
    gsize row = 0;
    const auto write = [&]<class Number>(Number number) {
        const std::string_view xsiType = xsiTypes[row++];
        if (size != sizeof number)
            return false;
        std::memcpy(&number, data, sizeof number);
        return SoapWriteNumber(out, name, xsiType, number);
    };
    return (write(Numbers()) || ...);
}

} // namespace

bool OrvaneSoapWriteText(GString *out, std::string_view name, std::string_view xsiType,
                         std::string_view content) {
    OrvaneSoapAppend(out, "<", name, " xsi:type=\"", xsiType, "\">", content, "</", name, ">");
    return true;
}

bool OrvaneSoapWriteEscaped(GString *out, std::string_view name, std::string_view xsiType,
                            const char *text) {
    if (text != nullptr && SoapIsClean(text))
        return OrvaneSoapWriteText(out, name, xsiType, text);
    const GPtr<char> escaped(g_markup_escape_text(text, -1)); // warns if the text is NULL
    return OrvaneSoapWriteText(out, name, xsiType, OrvaneSoapSpell(escaped.get()));
}

bool OrvaneSoapWriteSigned(GString *out, std::string_view name, std::string_view xsiType,
                           gint64 number) {
    return SoapWriteNumber(out, name, xsiType, number);
}

bool OrvaneSoapWriteUnsigned(GString *out, std::string_view name, std::string_view xsiType,
                             guint64 number) {
    return SoapWriteNumber(out, name, xsiType, number);
}

bool OrvaneSoapWriteReal(GString *out, std::string_view name, std::string_view xsiType,
                         gdouble number) {
    char text[std::numeric_limits<gdouble>::max_exponent10 + 16];
    const int length = std::snprintf(text, sizeof text, "%f", number);
    return OrvaneSoapWriteText(out, name, xsiType, {text, static_cast<gsize>(length)});
}

bool OrvaneSoapWriteEnum(GString *out, std::string_view name, GType enumType, gint value) {
    const TypeClassPtr klass(g_type_class_ref(enumType));
    const GEnumValue *row = g_enum_get_value(static_cast<GEnumClass *>(klass.get()), value);
    if (row != nullptr)
        OrvaneSoapWriteText(out, name, OrvaneSoapSpell(OrvaneType_WireName(enumType)),
                            row->value_nick);
    return row != nullptr;
}

bool OrvaneSoapWriteTimeval(GString *out, std::string_view name, const GTimeVal *value) {
    if (value == nullptr)
        return false;
    GTimeVal time = *value;
    const GPtr<char> text(g_time_val_to_iso8601(&time));
    return text != nullptr && OrvaneSoapWriteText(out, name, "xsd:dateTime", text.get());
}

bool OrvaneSoapWriteByteArray(GString *out, std::string_view name, const GByteArray *value) {
    if (value == nullptr)
        return false;
    const GPtr<char> text(g_base64_encode(value->data, value->len));
    return text != nullptr && OrvaneSoapWriteText(out, name, "xsd:base64Binary", text.get());
}

bool OrvaneSoapWriteManaged(GString *out, std::string_view name,
                            const SkemaQormManagedObject *proxy) {
    if (proxy == nullptr)
        return false;
    const SchemaClass *schema = SchemaClass_Of(proxy);
    const char *wireName = schema->type == G_OBJECT_TYPE(proxy)
                               ? schema->wireName
                               : OrvaneType_WireName(G_OBJECT_TYPE(proxy));
    OrvaneSoapAppend(out, "<", name, " type=\"", OrvaneSoapSpell(wireName),
                     "\" xsi:type=\"ManagedObjectReference\">", OrvaneSoapSpell(proxy->id), "</",
                     name, ">");
    return true;
}

gboolean orvane_soap_serialize_managed_object(GString *out, const char *name,
                                              SkemaQormManagedObject *proxy) {
    return OrvaneSoapWriteManaged(out, name, proxy);
}

gboolean orvane_soap_serialize_signed(GString *out, const char *name, gsize size,
                                      gconstpointer data) {
    return SoapWriteSized<gint8, gint16, gint32, gint64>(
        out, name, {"xsd:byte", "xsd:short", "xsd:int", "xsd:long"}, size, data);
}

gboolean orvane_soap_serialize_unsigned(GString *out, const char *name, gsize size,
                                        gconstpointer data) {
    return SoapWriteSized<guint8, guint16, guint32, guint64>(
        out, name,
        {"xsd:unsignedBtype", "xsd:unsignedShort", "xsd:unsignedInt", "xsd:unsignedLong"}, size,
        data);
}

gboolean orvane_soap_serialize_bool(GString *out, const char *name, gboolean value) {
    return OrvaneSoapWriteText(out, name, "xsd:boolean", value ? "1" : "0");
}

gboolean orvane_soap_serialize_float(GString *out, const char *name, gfloat value) {
    return OrvaneSoapWriteReal(out, name, "xsd:float", static_cast<gdouble>(value));
}

gboolean orvane_soap_serialize_double(GString *out, const char *name, gdouble value) {
    return OrvaneSoapWriteReal(out, name, "xsd:double", value);
}

gboolean orvane_soap_serialize_string(GString *out, const char *name, const char *value) {
    return OrvaneSoapWriteEscaped(out, name, "xsd:string", value);
}

gboolean orvane_soap_serialize_uri(GString *out, const char *name, const char *value) {
    return OrvaneSoapWriteEscaped(out, name, "xsd:anyURI", value);
}

gboolean orvane_soap_serialize_timeval(GString *out, const char *name, const GTimeVal *value) {
    return OrvaneSoapWriteTimeval(out, name, value);
}

gboolean orvane_soap_serialize_byte_array(GString *out, const char *name, const GByteArray *value) {
    return OrvaneSoapWriteByteArray(out, name, value);
}

gboolean orvane_soap_serialize_enum(GString *out, const char *name, GType enumType, gint value) {
    return OrvaneSoapWriteEnum(out, name, enumType, value);
}
