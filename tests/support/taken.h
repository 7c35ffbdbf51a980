/*
 * taken.h -- the text that a function returns to be freed
 *
 *   EXPECT_EQ("/bin/sh", Taken(Hostinfo_GetModulePath(0)));
 */
#pragma once

#include <string>

#include "lib/misc/glibPtr.h"

/* Frees the text. One that is NULL is shown as "(null)". */
inline std::string Taken(char *text) {
    const MallocPtr<char> owner(text);
    return text != nullptr ? text : "(null)";
}
