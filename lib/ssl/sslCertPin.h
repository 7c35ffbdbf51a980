/*
 * sslCertPin.h -- an expected thumbprint:  "AA:BB:..." or "aabb..."  ->  20 or 32 bytes
 *
 * Its length determines the digest: SHA-1 or SHA-256.
 *
 * Errors:  parsing is strict; a text of any other form is refused as a whole.
 * Threads: stateless; any thread may call.
 */
#pragma once

#include <array>
#include <string_view>

#include <glib.h>

enum { SSL_SHA1_SIZE = 20, SSL_SHA256_SIZE = 32 };

struct SSLCertPin {
    std::array<guint8, SSL_SHA256_SIZE> bytes{};
    gsize size = 0; /* 0: no pin */
};

SSLCertPin SSLCertPin_Parse(std::string_view text);

/* Compares in the same time wherever the bytes differ. */
bool SSLCertPin_Equals(const SSLCertPin &pin, const guint8 *digest, gsize size);
