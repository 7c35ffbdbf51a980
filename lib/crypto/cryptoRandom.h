/*
 * cryptoRandom.h -- sources of random bytes, and the kernel's
 *
 * Ownership: sources are constants.
 * Errors:    codes of cryptoError.h.
 * Threads:   any.
 */
#pragma once

#include <crypto/cryptoError.h>

/* A source of random bytes. */
struct CryptoPRNG {
    CryptoError (*getBytes)(guint8 *bytes, gsize size);
    void (*destroy)();
    /* Replaces the state; with nullptr, asks for a new seed from the kernel. */
    CryptoError (*seed)(const guint8 *bytes, gsize size);
    gsize (*getSeedSize)();
};

/* The source that CryptoRandom_GetBytes() uses, which cannot be destroyed. */
extern const CryptoPRNG *const CryptoDefaultPRNG;

/* Fills a buffer from /dev/urandom. Returns false, with a line in the log, if that cannot be read. */
bool RandomBytesHost(guint8 *bytes, gsize size);
