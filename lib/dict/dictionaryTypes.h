/*
 * dictionaryTypes.h -- the kinds of value of a dictionary, and the flags that go with them
 */
#pragma once

typedef struct Dictionary Dictionary;

enum {
    DICT_ANY = 0,      /* char *: text from a file, of no type yet */
    DICT_STRING = 1,   /* char *, may be NULL */
    DICT_BOOL = 2,     /* gboolean */
    DICT_LONG = 3,     /* gint32 */
    DICT_DOUBLE = 4,   /* double */
    DICT_TRISTATE = 5, /* gint32: 0 false, 1 true, -1 default */
    DICT_INT64 = 6,    /* gint64 */

    DICT_TYPE_MASK = 0xfff,
    DICT_CLEAN = 0x1000, /* the entry is set but not modified, and is written before the others */
    DICT_PLAIN = 0x2000, /* the readable part of an encrypted dictionary */
};
