#include "lib/unicode/unicode.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string_view>

#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include "lib/misc/panic.h"
#include "lib/misc/secret.h"

namespace {

/* The place of a name is its number; the first three are named in the header. */
constexpr auto kEncodings = std::to_array<const char *>({
    "UTF-8",        "US-ASCII",     "ISO-8859-1",   "ISO-8859-2",   "ISO-8859-3",   "ISO-8859-4",
    "ISO-8859-5",   "ISO-8859-6",   "ISO-8859-7",   "ISO-8859-8",   "ISO-8859-9",   "ISO-8859-10",
    "ISO-8859-13",  "ISO-8859-14",  "ISO-8859-15",  "windows-1250", "windows-1251", "windows-1252",
    "windows-1253", "windows-1254", "windows-1255", "windows-1256", "windows-1257", "windows-1258",
    "KOI8-R",       "KOI8-U",       "windows-874",  "Shift_JIS",    "EUC-JP",       "GBK",
    "GB18030",      "Big5",         "EUC-KR",       "EUC-TW",
});

using Converter = std::unique_ptr<UConverter, Release<ucnv_close>>;

/* Opens a converter that stops at the first fault. NULL if ICU has none. */
Converter OpenConverter(StringEncoding encoding) {
    UErrorCode status = U_ZERO_ERROR;
    Converter converter(ucnv_open(Unicode_EncodingEnumToName(encoding), &status));
    if (converter == nullptr)
        return nullptr;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &status);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                          &status);
    ucnv_setFallback(converter.get(), FALSE);
    return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

/* Calls a function of ICU for the size of its result and then for the result, with a unit behind it. Empty
 * after a failure. */
template <class Unit, class Function> SecretBlock Convert(int32_t *size, Function function) {
    UErrorCode status = U_ZERO_ERROR;
    *size = function(nullptr, 0, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status))
        return {};
    SecretBlock result = SecretBlock::Allocate((static_cast<gsize>(*size) + 1) * sizeof(Unit));
    if (!result)
        return {};
    status = U_ZERO_ERROR;
    function(reinterpret_cast<Unit *>(result.data()), *size + 1, &status);
    if (U_FAILURE(status))
        return {};
    return result;
}

char *CopyBytes(gconstpointer bytes, gsize size) {
    auto *copy = static_cast<char *>(malloc(size + 1));
    if (copy != nullptr) {
        memcpy(copy, bytes, size);
        copy[size] = '\0';
    }
    return copy;
}

char *ReleaseText(SecretBlock block) {
    gsize size;
    return reinterpret_cast<char *>(block.release(&size));
}

bool IsAscii(gconstpointer bytes, gsize size) {
    const auto *at = static_cast<const guint8 *>(bytes);
    return std::all_of(at, at + size, [](guint8 byte) { return byte < 0x80; });
}

} // namespace

StringEncoding Unicode_EncodingNameToEnum(const char *name) {
    UErrorCode status = U_ZERO_ERROR;
    const char *canonical = ucnv_getAlias(name, 0, &status);
    if (canonical == nullptr || U_FAILURE(status))
        return STRING_ENCODING_UNKNOWN;
    for (gsize i = 0; i < kEncodings.size(); i++) {
        UErrorCode rowStatus = U_ZERO_ERROR;
        const char *row = ucnv_getAlias(kEncodings[i], 0, &rowStatus);
        if (row != nullptr && strcmp(row, canonical) == 0)
            return static_cast<StringEncoding>(i);
    }
    return STRING_ENCODING_UNKNOWN;
}

const char *Unicode_EncodingEnumToName(StringEncoding encoding) {
    encoding = Unicode_ResolveEncoding(encoding);
    return encoding >= 0 && static_cast<gsize>(encoding) < kEncodings.size() ? kEncodings[encoding]
                                                                             : nullptr;
}

StringEncoding Unicode_GetCurrentEncoding(void) {
    const char *charset = nullptr;
    if (g_get_charset(&charset))
        return STRING_ENCODING_UTF8;
    const StringEncoding encoding = Unicode_EncodingNameToEnum(charset);
    /* "C" says ASCII, and every text of ASCII is UTF-8 */
    return encoding == STRING_ENCODING_UNKNOWN || encoding == STRING_ENCODING_US_ASCII
               ? STRING_ENCODING_UTF8
               : encoding;
}

StringEncoding Unicode_ResolveEncoding(StringEncoding encoding) {
    return encoding == STRING_ENCODING_DEFAULT ? Unicode_GetCurrentEncoding() : encoding;
}

gboolean Unicode_IsBufferValid(gconstpointer buffer, gsize size, StringEncoding encoding) {
    SecretText text(Unicode_AllocWithLength(buffer, size, encoding));
    return text != nullptr;
}

char *Unicode_AllocWithLength(gconstpointer buffer, gsize size, StringEncoding encoding) {
    encoding = Unicode_ResolveEncoding(encoding);
    const auto *bytes = static_cast<const char *>(buffer);
    if (size > G_MAXINT32 / 4)
        return nullptr;
    if (encoding == STRING_ENCODING_UTF8)
        return g_utf8_validate(bytes, static_cast<gssize>(size), nullptr) ? CopyBytes(bytes, size)
                                                                          : nullptr;
    /* every encoding here leaves ASCII in place */
    if (IsAscii(buffer, size) && memchr(buffer, '\0', size) == nullptr)
        return CopyBytes(bytes, size);

    const Converter converter = OpenConverter(encoding);
    if (converter == nullptr)
        return nullptr;
    int32_t numUnits;
    const SecretBlock units =
        Convert<UChar>(&numUnits, [&](UChar *target, int32_t capacity, UErrorCode *status) {
            return ucnv_toUChars(converter.get(), target, capacity, bytes,
                                 static_cast<int32_t>(size), status);
        });
    if (!units)
        return nullptr;
    int32_t textSize;
    return ReleaseText(
        Convert<char>(&textSize, [&](char *target, int32_t capacity, UErrorCode *status) {
            int32_t needed = 0;
            u_strToUTF8(target, capacity, &needed, reinterpret_cast<const UChar *>(units.data()),
                        numUnits, status);
            return needed;
        }));
}

char *Unicode_GetAllocBytes(const char *text, StringEncoding encoding) {
    encoding = Unicode_ResolveEncoding(encoding);
    const gsize size = strlen(text);
    if (size > G_MAXINT32 / 4)
        return nullptr;
    if (encoding == STRING_ENCODING_UTF8)
        return g_utf8_validate(text, static_cast<gssize>(size), nullptr) ? CopyBytes(text, size)
                                                                         : nullptr;
    if (IsAscii(text, size))
        return CopyBytes(text, size);

    const Converter converter = OpenConverter(encoding);
    if (converter == nullptr)
        return nullptr;
    int32_t numUnits;
    const SecretBlock units =
        Convert<UChar>(&numUnits, [&](UChar *target, int32_t capacity, UErrorCode *status) {
            int32_t needed = 0;
            u_strFromUTF8(target, capacity, &needed, text, static_cast<int32_t>(size), status);
            return needed;
        });
    if (!units)
        return nullptr;
    int32_t bytesSize;
    return ReleaseText(
        Convert<char>(&bytesSize, [&](char *target, int32_t capacity, UErrorCode *status) {
            return ucnv_fromUChars(converter.get(), target, capacity,
                                   reinterpret_cast<const UChar *>(units.data()), numUnits, status);
        }));
}

char *Unicode_EscapeBuffer(gconstpointer buffer, gsize size, StringEncoding /* encoding */) {
    constexpr const char *kDigits = "0123456789abcdef";
    const auto *bytes = static_cast<const guint8 *>(buffer);
    VERIFY(size < G_MAXSIZE / 4);
    auto *text = static_cast<char *>(malloc(size * 4 + 1));
    if (text == nullptr)
        return nullptr;
    char *end = text;
    for (gsize i = 0; i < size; i++) {
        if (g_ascii_isprint(static_cast<char>(bytes[i])) && bytes[i] != '\\') {
            *end++ = static_cast<char>(bytes[i]);
            continue;
        }
        *end++ = '\\';
        *end++ = 'x';
        *end++ = kDigits[bytes[i] >> 4];
        *end++ = kDigits[bytes[i] & 15];
    }
    *end = '\0';
    return text;
}
