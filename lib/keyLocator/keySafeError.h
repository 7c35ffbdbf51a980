/*
 * keySafeError.h -- result codes of user rings and key safes
 */
#pragma once

#include <glib.h>

/* 0 for success. */
typedef guint32 KeySafeError;

enum {
    KEYSAFE_ERROR_SUCCESS = 0,
    KEYSAFE_ERROR_NO_MEMORY = 1,
    KEYSAFE_ERROR_FAILED = 2,
    KEYSAFE_ERROR_NEED_KEY = 3, /* nothing opened the safe */
    KEYSAFE_ERROR_BAD_FORMAT = 4,
    KEYSAFE_ERROR_UNKNOWN = 5,
    KEYSAFE_ERROR_LOCKED = 6,
    KEYSAFE_ERROR_EMPTY = 7,
    KEYSAFE_ERROR_IO = 8,
    KEYSAFE_ERROR_LOCATOR = 9,
    KEYSAFE_ERROR_PARAMETER = 10,
};

/* A sentence without a full stop; the same behind its message identifier. */
const char *KeySafeError_ToString(KeySafeError error);
const char *KeySafeError_ToMsgString(KeySafeError error);
