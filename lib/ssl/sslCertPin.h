/*
 * sslCertPin.h -- the thumbprint that somebody expects:  "AA:BB:..." or "aabb..."  ->  20 or 32 bytes
 *
 * Its length tells which digest it is of: SHA-1 or SHA-256.
 *
 * Ownership: values.
 * Errors:    reading is strict; a text of any other form is refused as a whole.
 * Threads:   no state; any thread may call.
 */
#pragma once

#include <array>
#include <string_view>

#include <glib.h>

enum { SSL_SHA1_SIZE = 20, SSL_SHA256_SIZE = 32 };

struct SSLCertPin {
    std::array<guint8, SSL_SHA256_SIZE> bytes{};
    gsize size = 0; /* 0: the text was no pin */
};

SSLCertPin SSLCertPin_Parse(std::string_view text);

/* Takes the same time wherever the bytes differ. */
bool SSLCertPin_Equals(const SSLCertPin &pin, const guint8 *digest, gsize size);
