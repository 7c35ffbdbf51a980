#include "lib/ssl/sslCertPin.h"

namespace {

/* Parses pairs of digits. A step of 3 means that they are separated by ":". */
SSLCertPin ParsePairs(std::string_view text, gsize size, gsize step) {
    SSLCertPin pin;
    for (gsize i = 0; i < size; i++) {
        const gsize at = i * step;
        const int high = g_ascii_xdigit_value(text[at]);
        const int low = g_ascii_xdigit_value(text[at + 1]);
        if (high < 0 || low < 0 || (step == 3 && i > 0 && text[at - 1] != ':'))
            return {};
        pin.bytes[i] = static_cast<guint8>(high * 16 + low);
    }
    pin.size = size;
    return pin;
}

} // namespace

SSLCertPin SSLCertPin_Parse(std::string_view text) {
    for (gsize size : {SSL_SHA1_SIZE, SSL_SHA256_SIZE}) {
        if (text.size() == size * 3 - 1)
            return ParsePairs(text, size, 3);
        if (text.size() == size * 2)
            return ParsePairs(text, size, 2);
    }
    return {};
}

bool SSLCertPin_Equals(const SSLCertPin &pin, const guint8 *digest, gsize size) {
    if (pin.size == 0 || pin.size != size)
        return false;
    volatile guint8 difference = 0; /* the compiler must not end the loop early */
    for (gsize i = 0; i < size; i++)
        difference = static_cast<guint8>(difference | (pin.bytes[i] ^ digest[i]));
    return difference == 0;
}
