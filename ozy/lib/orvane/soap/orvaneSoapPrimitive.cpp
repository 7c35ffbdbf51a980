/* Readers of simple values from the text of an element. */
#include "ozy/lib/orvane/soap/orvaneSoapInt.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <langinfo.h>

#include "lib/misc/glibPtr.h"

namespace {

/* As scanf's %d, %u, %ld and %lu read: a smaller type takes the lowest bits of the number. */
template <class Stored, auto scan, auto set>
bool SoapReadWhole(const char *function, const char *content, GValue *value) {
    if (!OrvaneSoapCheck(content != nullptr, function, "content"))
        return false;
    char *end = nullptr;
    const auto number = scan(content, &end, 10);
    if (!OrvaneSoapCheck(end != content, function, "1 == numScanned"))
        return false;
    set(value, static_cast<Stored>(number));
    return true;
}

/*
 * Reads a number of the form -123.456 that is the quotient of two numbers which Stored holds exactly, so that it is
 * rounded once, as scanf rounds it. Returns false for any other text, which is left to scanf: it takes blanks, exponents,
 * and another decimal point by the locale, and it is five times as slow.
 */
template <class Stored> bool SoapReadUsualReal(const char *text, Stored *number) {
    constexpr gint64 kMaxWhole = gint64(1) << std::numeric_limits<Stored>::digits;
    constexpr int kMaxPlaces = sizeof(Stored) == sizeof(float) ? 10 : 22;
    const char *at = *text == '-' ? text + 1 : text;
    if (!g_ascii_isdigit(*at))
        return false;
    gint64 whole = 0;
    int numPlaces = 0;
    bool hasPoint = false;
    for (; g_ascii_isdigit(*at) || (*at == '.' && !hasPoint); at++) {
        if (*at == '.') {
            hasPoint = true;
            continue;
        }
        whole = whole * 10 + (*at - '0');
        numPlaces += hasPoint ? 1 : 0;
        if (whole >= kMaxWhole || numPlaces > kMaxPlaces)
            return false;
    }
    if (*at != '\0' || (hasPoint && *nl_langinfo(RADIXCHAR) != '.'))
        return false;
    Stored divisor = 1;
    for (; numPlaces > 0; numPlaces--)
        divisor *= 10;
    *number = static_cast<Stored>(whole) / divisor;
    if (*text == '-')
        *number = -*number;
    return true;
}

template <class Stored, auto set>
bool SoapReadReal(const char *function, const char *format, const char *content, GValue *value) {
    if (!OrvaneSoapCheck(content != nullptr, function, "content"))
        return false;
    Stored number = 0;
    const int numScanned =
        SoapReadUsualReal(content, &number) ? 1 : std::sscanf(content, format, &number);
    if (!OrvaneSoapCheck(numScanned == 1, function, "1 == numScanned"))
        return false;
    set(value, number);
    return true;
}

/* Value of count decimal digits. */
gint64 SoapDigits(const char *text, int count) {
    gint64 number = 0;
    for (int i = 0; i < count; i++)
        number = number * 10 + (text[i] - '0');
    return number;
}

/* Number of days from 1970-01-01 to the day. */
gint64 SoapDays(gint64 year, gint64 month, gint64 day) {
    const gint64 shifted = month <= 2 ? year - 1 : year; // a year begins with March here
    const gint64 era = shifted / 400;
    const gint64 yearOfEra = shifted - era * 400;
    const gint64 dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

/*
 * The form that services send, "2014-03-01T09:26:53.589793Z", as g_time_val_from_iso8601() reads it,
 * which takes ten times as long. Returns false for any other form, which is left to GLib.
 */
bool SoapReadUsualTime(const char *text, GTimeVal *time) {
    static constexpr char kForm[] = "dddd-dd-ddTdd:dd:dd";
    for (gsize i = 0; i < sizeof kForm - 1; i++) {
        if (kForm[i] == 'd' ? !g_ascii_isdigit(text[i]) : text[i] != kForm[i])
            return false;
    }
    const gint64 year = SoapDigits(text, 4);
    const gint64 month = SoapDigits(text + 5, 2);
    const gint64 day = SoapDigits(text + 8, 2);
    const gint64 hour = SoapDigits(text + 11, 2);
    const gint64 minute = SoapDigits(text + 14, 2);
    const gint64 second = SoapDigits(text + 17, 2);
    if (year < 1970 || month < 1 || month > 12 || day < 1 || day > 28 || hour > 23 || minute > 59 ||
        second > 59)
        return false; // the last days of a month too: GLib knows which there are

    glong micro = 0;
    text += sizeof kForm - 1;
    if (*text == '.') {
        glong weight = 100000;
        for (text++; weight > 0 && g_ascii_isdigit(*text); text++, weight /= 10)
            micro += (*text - '0') * weight;
    }
    if (text[0] != 'Z' || text[1] != '\0')
        return false;
    time->tv_sec = ((SoapDays(year, month, day) * 24 + hour) * 60 + minute) * 60 + second;
    time->tv_usec = micro;
    return true;
}

} // namespace

gboolean orvane_soap_deserialize_char(const char *content, GValue *value) {
    return SoapReadWhole<gint8, std::strtol, g_value_set_schar>(__func__, content, value);
}

gboolean orvane_soap_deserialize_uchar(const char *content, GValue *value) {
    return SoapReadWhole<guchar, std::strtoul, g_value_set_uchar>(__func__, content, value);
}

gboolean orvane_soap_deserialize_int(const char *content, GValue *value) {
    return SoapReadWhole<gint, std::strtol, g_value_set_int>(__func__, content, value);
}

gboolean orvane_soap_deserialize_uint(const char *content, GValue *value) {
    return SoapReadWhole<guint, std::strtoul, g_value_set_uint>(__func__, content, value);
}

gboolean orvane_soap_deserialize_long(const char *content, GValue *value) {
    return SoapReadWhole<glong, std::strtol, g_value_set_long>(__func__, content, value);
}

gboolean orvane_soap_deserialize_ulong(const char *content, GValue *value) {
    return SoapReadWhole<gulong, std::strtoul, g_value_set_ulong>(__func__, content, value);
}

gboolean orvane_soap_deserialize_int64(const char *content, GValue *value) {
    return SoapReadWhole<gint64, std::strtol, g_value_set_int64>(__func__, content, value);
}

gboolean orvane_soap_deserialize_uint64(const char *content, GValue *value) {
    return SoapReadWhole<guint64, std::strtoul, g_value_set_uint64>(__func__, content, value);
}

gboolean orvane_soap_deserialize_float(const char *content, GValue *value) {
    return SoapReadReal<gfloat, g_value_set_float>(__func__, "%f", content, value);
}

gboolean orvane_soap_deserialize_double(const char *content, GValue *value) {
    return SoapReadReal<gdouble, g_value_set_double>(__func__, "%lf", content, value);
}

gboolean orvane_soap_deserialize_bool(const char *content, GValue *value) {
    if (!OrvaneSoapCheck(content != nullptr, __func__, "content"))
        return FALSE;
    const std::string_view word(content);
    const bool isTrue = word == "true" || word == "1";
    if (!isTrue && word != "false" && word != "0")
        return FALSE;
    g_value_set_boolean(value, isTrue);
    return TRUE;
}

gboolean orvane_soap_deserialize_string(const char *content, GValue *value) {
    g_value_set_string(value, content);
    return TRUE;
}

gboolean orvane_soap_deserialize_uri(const char *content, GValue *value) {
    g_value_set_boxed(value, content);
    return TRUE;
}

bool OrvaneSoapReadWord(const char *content, GEnumClass *words, GValue *value) {
    constexpr char kFunction[] = "orvane_soap_deserialize_enum";
    if (!OrvaneSoapCheck(content != nullptr, kFunction, "content") ||
        !OrvaneSoapCheck(words != nullptr, kFunction, "enumClass"))
        return false;
    const GEnumValue *row = g_enum_get_value_by_nick(words, content);
    if (row != nullptr)
        g_value_set_enum(value, row->value);
    return row != nullptr;
}

gboolean orvane_soap_deserialize_enum(const char *content, GType enumType, GValue *value) {
    return OrvaneSoapReadWord(content, SoapEnumClasses().Get(enumType), value);
}

gboolean orvane_soap_deserialize_timeval(const char *content, GValue *value) {
    if (!OrvaneSoapCheck(content != nullptr, __func__, "content"))
        return FALSE;
    GTimeVal time = {};
    if (!OrvaneSoapCheck(SoapReadUsualTime(content, &time) ||
                             g_time_val_from_iso8601(content, &time),
                         __func__, "g_time_val_from_iso8601((const gchar *) content, &timevalue)"))
        return FALSE;
    g_value_set_boxed(value, &time);
    return TRUE;
}

gboolean orvane_soap_deserialize_byte_array(const char *content, GValue *value) {
    if (!OrvaneSoapCheck(content != nullptr, __func__, "content"))
        return FALSE;
    gsize length = 0;
    guchar *bytes = g_base64_decode(content, &length);
    g_value_take_boxed(value, g_byte_array_new_take(bytes, length));
    return TRUE;
}
