/*
 * sslThunkTable.h -- the table of the thunks: one row for each function of sslNames.inc
 *
 *   row 7:  "SSL_SESSION_free", SSL_LIBSSL    <->    sslThunkTargets[7]    <->    __wrap_SSL_SESSION_free
 *
 * Names and libraries are constants without relocations. The targets are one array, which SSL_Init() fills in
 * the order of the rows and which is never cleared. __wrap_NAME jumps to its target and changes no register.
 * So arguments in registers and on the stack, variadic ones and results are passed unchanged, and the caller
 * is the next frame of a backtrace.
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

/* Returns the name of the OpenSSL function of a row. */
const char *SSLThunkName(std::size_t row);

/* Returns the library that has the function of a row. */
SSLThunkLibrary SSLThunkLibraryOf(std::size_t row);
