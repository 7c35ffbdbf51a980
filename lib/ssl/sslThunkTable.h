/*
 * sslThunkTable.h -- the table behind the thunks: one row a function of sslNames.inc
 *
 *   row 7:  "SSL_SESSION_free", SSL_LIBSSL    <->    sslThunkTargets[7]    <->    __wrap_SSL_SESSION_free
 *
 * Names and libraries are constant and need no relocation; the targets are one array, which SSL_Init() fills in
 * the order of the rows and nothing ever clears. __wrap_NAME loads its target and jumps to it. It touches no
 * register, so arguments in registers and on the stack, variadic ones and results pass as
 * they are, and the caller is the next frame of a backtrace.
 *
 * Threads: targets are stored under sslStateLock and read without it; a later SSL_Init() stores the same again.
 */
#pragma once

#include <cstddef>

enum SSLThunkLibrary : unsigned char { SSL_LIBSSL, SSL_LIBCRYPTO };

enum : std::size_t {
#define SSL_NAME(name, library) SSL_THUNK_##name,
#include "lib/ssl/sslNames.inc"
#undef SSL_NAME
    SSL_THUNK_COUNT
};

extern "C" void *sslThunkTargets[SSL_THUNK_COUNT];

/* Name of the OpenSSL function of a row. */
const char *SSLThunkName(std::size_t row);

/* The library in which it is looked up. */
SSLThunkLibrary SSLThunkLibraryOf(std::size_t row);
