/*
 * secret.h -- owners of passwords, tickets and cookies that wipe them before they are freed
 *
 *   SecretText password(g_strdup(text));     // wiped on every path out of the scope
 *
 * Ownership: texts come from GLib's allocator.
 * Errors:    none; NULL is accepted everywhere.
 * Threads:   any.
 */
#pragma once

#include <cstring>

#include "lib/misc/glibPtr.h"

/* Overwrites the bytes in a way that the compiler must not remove. */
inline void Secret_Wipe(void *bytes, gsize size) {
    if (bytes != nullptr)
        explicit_bzero(bytes, size);
}

/* Wipes a text up to its NUL and frees it. */
inline void Secret_FreeText(char *text) {
    if (text == nullptr)
        return;
    explicit_bzero(text, strlen(text));
    g_free(text);
}

using SecretText = std::unique_ptr<char, Release<Secret_FreeText>>;
