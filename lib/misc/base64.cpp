#include "lib/misc/base64.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "lib/misc/secret.h"

namespace {

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/* Classes of bytes; a value from 0 to 63 is the byte's place in the alphabet. */
constexpr signed char kOther = -1;
constexpr signed char kSpace = -2;
constexpr signed char kEnd = -3;

constexpr std::array<signed char, 256> MakeClasses() {
    std::array<signed char, 256> classes = {};
    classes.fill(kOther);
    for (unsigned char c : {'\t', '\n', '\v', '\f', '\r', ' '})
        classes[c] = kSpace;
    classes['='] = kEnd;
    classes['\0'] = kEnd;
    for (size_t i = 0; i < kAlphabet.size(); i++)
        classes[static_cast<unsigned char>(kAlphabet[i])] = static_cast<signed char>(i);
    return classes;
}
constexpr std::array<signed char, 256> kClasses = MakeClasses();

/* Writes the four characters of one to three bytes. */
void EncodeGroup(const guint8 *bytes, gsize count, char *out) {
    const guint32 bits =
        bytes[0] << 16 | (count > 1 ? bytes[1] << 8 : 0) | (count > 2 ? bytes[2] : 0);
    for (gsize i = 0; i < 4; i++)
        out[i] = i <= count ? kAlphabet[bits >> (18 - 6 * i) & 63] : '=';
}

} // namespace

gboolean Base64_Encode(const guint8 *source, gsize size, char *target, gsize targetSize,
                       gsize *outSize) {
    if (outSize)
        *outSize = 0;
    /* the target limits the size, so that the sum below cannot wrap around */
    if (size > targetSize || Base64_EncodedLength(source, size) > targetSize)
        return FALSE;
    char *out = target;
    for (gsize i = 0; i < size; i += 3, out += 4)
        EncodeGroup(source + i, std::min<gsize>(3, size - i), out);
    *out = '\0';
    if (outSize)
        *outSize = static_cast<gsize>(out - target);
    return TRUE;
}

gboolean Base64_Decode(const char *source, guint8 *target, gsize targetSize, gsize *outSize) {
    return Base64_ChunkDecode(source, G_MAXSIZE, target, targetSize, outSize);
}

gboolean Base64_ChunkDecode(const char *source, gsize sourceSize, guint8 *target, gsize targetSize,
                            gsize *outSize) {
    *outSize = 0;
    guint32 bits = 0; /* the newest bits, of which numBits were not written yet */
    int numBits = 0;
    gsize written = 0;
    bool isGood = true;
    for (gsize i = 0; i < sourceSize; i++) {
        const signed char value = kClasses[static_cast<guint8>(source[i])];
        if (value == kEnd)
            break;
        if (value == kSpace)
            continue;
        isGood = value >= 0;
        if (!isGood)
            break;
        bits = bits << 6 | static_cast<guint32>(value);
        numBits += 6;
        if (numBits < 8)
            continue;
        isGood = written < targetSize;
        if (!isGood)
            break;
        numBits -= 8;
        target[written++] = static_cast<guint8>(bits >> numBits);
    }
    if (!isGood) {
        Secret_Wipe(target, written);
        return FALSE;
    }
    *outSize = written;
    return TRUE;
}

gboolean Base64_EasyEncode(const guint8 *source, gsize size, char **target) {
    *target = nullptr;
    if (size > G_MAXSIZE / 2)
        return FALSE;
    const gsize needed = Base64_EncodedLength(source, size);
    auto *text = static_cast<char *>(malloc(needed));
    if (!text)
        return FALSE;
    Base64_Encode(source, size, text, needed, nullptr); // there is room for it
    *target = text;
    return TRUE;
}

gboolean Base64_EasyDecode(const char *source, guint8 **target, gsize *size) {
    *target = nullptr;
    *size = 0;
    const gsize room = Base64_DecodedLength(source, strlen(source));
    auto *bytes = static_cast<guint8 *>(malloc(std::max<gsize>(room, 1)));
    if (!bytes)
        return FALSE;
    if (!Base64_Decode(source, bytes, room, size)) {
        free(bytes);
        return FALSE;
    }
    *target = bytes;
    return TRUE;
}

gsize Base64_EncodedLength(const guint8 *, gsize size) {
    return (size + 2) / 3 * 4 + 1;
}

gsize Base64_DecodedLength(const char *source, gsize size) {
    gsize length = size / 4 * 3;
    if (length < 3)
        return length;
    for (gsize back = 1; back <= 2; back++)
        length -= source[size - back] == '=' ? 1 : 0;
    return length;
}

gboolean Base64_ValidEncoding(const char *source, gsize size) {
    return std::ranges::all_of(std::string_view(source, size), [](char c) {
        return kClasses[static_cast<guint8>(c)] >= 0 || c == '=';
    });
}
