/*
 * msgFmt.h -- formats and their arguments apart: collected now, formatted later
 *
 *   MsgFmt_GetArgs("%2$s has %1$d disks", arguments, &args, &count, &error)
 *   MsgFmt_Asprintf(&length, "%1$d Platten in %2$s", args, count)        ->  "3 Platten in vm1"
 *
 * A catalogue may give the arguments of a message another order, and the text may be made in another
 * thread or process. So a format and its va_list become an array of typed arguments, which can be kept,
 * copied, sent, and formatted by any format that names the same positions.
 *
 *   specifier   "%" [position "$"] [flags] [width] ["." precision] [length] conversion
 *
 * Positions count from 1. Within one format either all specifiers have one or none.
 *
 * Ownership: said with each function; memory is the C library's, released with free().
 * Errors:    a code below 0, or a text; formats may come from a catalogue and are not trusted.
 * Threads:   any; an array belongs to one thread at a time.
 */
#pragma once

#include <stdarg.h>

#include <glib.h>

G_BEGIN_DECLS

enum {
    MSGFMT_ARG_INVALID = 0, /* not seen: a gap */
    MSGFMT_ARG_INT32 = 1,
    MSGFMT_ARG_INT64 = 2,
    MSGFMT_ARG_PTR32 = 3,
    MSGFMT_ARG_PTR64 = 4,
    MSGFMT_ARG_FLOAT64 = 5,
    MSGFMT_ARG_STRING8 = 6,
    MSGFMT_ARG_STRING16 = 7,
    MSGFMT_ARG_STRING32 = 8,
    MSGFMT_ARG_ERRNO = 9, /* a text of Err_Errno2String(), with its number */
};

enum {
    MSGFMT_PLATFORM_POSIX = 1,
    MSGFMT_PLATFORM_WINDOWS = 2,
};

/* Result of a scanner for a malformed format. */
enum { MSGFMT_BAD_FORMAT = -2 };

typedef struct {
    gint32 type;
    gint32 precision; /* of a string: how many characters to keep; -1 means all */
    union {
        gint32 signed32;
        gint64
            signed64; /* a pointer, too; in a swizzled array the offset of a string, 0 for NULL */
        double float64;
        gpointer pointer;
        char *string8;
        gunichar2 *string16;
        gunichar *string32;
    };
    char *
        localString; /* a localised text in place of the string while a list is localised; or NULL */
    struct {
        gint32 platform;
        gint32 number;
    } error;
} MsgFmt_Arg;

enum {
    MSGFMT_FLAG_ALTERNATE = 1, /* "#" */
    MSGFMT_FLAG_ZERO = 2,      /* "0" */
    MSGFMT_FLAG_MINUS = 4,     /* "-" */
    MSGFMT_FLAG_SPACE = 8,     /* " " */
    MSGFMT_FLAG_PLUS = 16,     /* "+" */
    MSGFMT_FLAG_QUOTE = 32,    /* "'" */
};

/* Gets a run of literal text. A result below 0 ends the scan. */
typedef gint (*MsgFmt_LitFunc)(gpointer data, const char *text, guint size);
/* Gets a specifier: its position (NULL and 0 if it has none), and what follows it up to the conversion. */
typedef gint (*MsgFmt_SpecFunc)(gpointer data, const char *position, guint positionSize,
                                const char *spec, guint specSize);

/**
 * MsgFmt_Parse:
 * @literalFunc: (nullable) (scope call): gets each run of literal text
 * @specFunc: (nullable) (scope call): gets each specifier
 * @data: passed to both
 * @format: the format
 *
 * Returns: 0; MSGFMT_BAD_FORMAT; or the negative result of a function, which ended the scan
 */
gint MsgFmt_Parse(MsgFmt_LitFunc literalFunc, MsgFmt_SpecFunc specFunc, gpointer data,
                  const char *format);

/* The same for formats of the other platform: "%1", "%1!d!". "%n" and "%0" end the process. */
gint MsgFmt_ParseWin32(MsgFmt_LitFunc literalFunc, MsgFmt_SpecFunc specFunc, gpointer data,
                       const char *format);

/**
 * MsgFmt_ParseSpec:
 * @position: (nullable) (array length=positionSize): the digits of the position
 * @positionSize: number of bytes; 0 if there is no position
 * @spec: (array length=specSize): flags to conversion
 * @specSize: number of bytes
 * @outPosition: (out): 0 if there is no position
 * @flags: (out): bits of MSGFMT_FLAG
 * @width: (out): -1 if there is none
 * @precision: (out): -1 if there is none
 * @lengthModifier: (out): 'h', 'H' (hh), 'l', 'L' (ll, q), 'j', 't', 'z', or 0
 * @conversion: (out): the conversion character
 *
 * Returns: 0, or MSGFMT_BAD_FORMAT
 */
gint MsgFmt_ParseSpec(const char *position, guint positionSize, const char *spec, guint specSize,
                      gint *outPosition, gint *flags, gint *width, gint *precision,
                      char *lengthModifier, char *conversion);

/**
 * MsgFmt_GetArgs:
 * @format: a format that uses every position up to its highest
 * @arguments: its arguments
 * @args: (out) (transfer full) (array length=count) (nullable): to be released with MsgFmt_FreeArgs()
 * @count: (out): number of arguments
 * @error: (out) (optional) (transfer full) (nullable): what is wrong, after a failure
 *
 * Strings are copied.
 *
 * Returns: %FALSE for a bad format, or without memory
 */
gboolean MsgFmt_GetArgs(const char *format, va_list arguments, MsgFmt_Arg **args, gint *count,
                        char **error);

/* The same in the caller's buffer of so many bytes, aligned for a MsgFmt_Arg: array and strings in one
 * block. A buffer that is too small counts as lack of memory. @buffer may be NULL, as above. */
gboolean MsgFmt_GetArgsWithBuf(const char *format, va_list arguments, MsgFmt_Arg **args,
                               gint *count, char **error, gpointer buffer, gsize bufferSize);

/**
 * MsgFmt_Asprintf:
 * @length: (out) (optional): in bytes, without the NUL
 * @format: a format; each position must be there, with an argument of that kind
 * @args: (array length=count): the arguments
 * @count: their number
 *
 * Formatting does not depend on the locale, but for the "'" flag.
 *
 * Returns: (transfer full) (nullable): the text; %NULL for a format that does not fit
 */
char *MsgFmt_Asprintf(gsize *length, const char *format, const MsgFmt_Arg *args, gint count);

/* Like snprintf(): returns the size of the whole text, of which the buffer has as much as fits, with a
 * NUL; -1 for a format that does not fit the arguments. */
gint MsgFmt_Snprintf(char *buffer, gsize size, const char *format, const MsgFmt_Arg *args,
                     gint count);

/* Copies an array with its strings; NULL without memory. Release the copy with MsgFmt_FreeArgs(). */
MsgFmt_Arg *MsgFmt_CopyArgs(const MsgFmt_Arg *args, gint count);

/* Frees an array of MsgFmt_GetArgs() or MsgFmt_CopyArgs(), with its strings. NULL is allowed. */
void MsgFmt_FreeArgs(MsgFmt_Arg *args, gint count);

/* Replaces each string by its offset from the array's start, so that the block can be sent elsewhere. */
void MsgFmt_SwizzleArgs(MsgFmt_Arg *args, gint count);

/* Turns the offsets of a block that ends at @end into pointers again. -1 if any of them leads outside of
 * the part behind the array, or to a text without terminator; its pointer is then NULL. */
gint MsgFmt_UnswizzleArgs(MsgFmt_Arg *args, gint count, gconstpointer end);

/* Checks the offset of the argument at @index and returns its string, or NULL; 0 or -1 as above. */
gint MsgFmt_GetSwizzledString(const MsgFmt_Arg *args, gint count, gint index, gconstpointer end,
                              gconstpointer *string);

G_END_DECLS
