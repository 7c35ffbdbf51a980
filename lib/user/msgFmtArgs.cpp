// Arguments of formats: collected from a va_list, copied, released, and laid out in one block.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/misc/err.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgFmt.h"
#include "lib/user/msgFmtInt.h"

namespace {

/* An array that is being collected: from malloc(), or at the head of a caller's buffer, with the strings
 * behind it. */
struct Collection {
    MsgFmt_Arg *args;
    gint count;
    gint maxPosition; /* a format of this length that uses a higher one has a gap */
    bool isBeyond;    /* whether it does */
    char *error;
    char *buffer; /* NULL: malloc() */
    gsize bufferSize;
    gsize bufferUsed;
};

/* Takes bytes of the buffer, or of the heap. NULL if there are none. */
gpointer TakeMemory(Collection *collection, gsize size, gsize alignment) {
    if (collection->buffer == nullptr)
        return malloc(size);
    const gsize start = (collection->bufferUsed + alignment - 1) / alignment * alignment;
    if (start > collection->bufferSize || size > collection->bufferSize - start)
        return nullptr;
    collection->bufferUsed = start + size;
    return collection->buffer + start;
}

/* Makes the array long enough for a position; the new entries are gaps. */
bool Grow(Collection *collection, gint count) {
    if (count <= collection->count)
        return true;
    const gsize size = static_cast<gsize>(count) * sizeof(MsgFmt_Arg);
    gpointer grown;
    if (collection->buffer != nullptr) {
        grown = size <= collection->bufferSize ? collection->buffer : nullptr;
        collection->bufferUsed = size;
    } else {
        grown = realloc(collection->args, size);
    }
    if (grown == nullptr)
        return false;
    collection->args = static_cast<MsgFmt_Arg *>(grown);
    memset(collection->args + collection->count, 0,
           static_cast<gsize>(count - collection->count) * sizeof(MsgFmt_Arg));
    collection->count = count;
    return true;
}

/* Keeps the first error. */
gint Fail(Collection *collection, const char *format, ...) G_GNUC_PRINTF(2, 3);

gint Fail(Collection *collection, const char *format, ...) {
    if (collection->error == nullptr) {
        va_list arguments;
        va_start(arguments, format);
        if (vasprintf(&collection->error, format, arguments) < 0)
            collection->error = UtilSafeStrdup0(format);
        va_end(arguments);
    }
    return -1;
}

/* Notes the type of one specifier's argument. */
gint MsgFmtGetArg1(gpointer data, const char *position, guint positionSize, const char *spec,
                   guint specSize) {
    auto *collection = static_cast<Collection *>(data);
    const int posSize = static_cast<int>(positionSize);
    const int typeSize = static_cast<int>(specSize);
    const char *pos = position != nullptr ? position : "";
    MsgFmtSpec parsed;
    const gint status = MsgFmt_ParseSpec(position, positionSize, spec, specSize, &parsed.position,
                                         &parsed.flags, &parsed.width, &parsed.precision,
                                         &parsed.lengthModifier, &parsed.conversion);
    if (status < 0)
        return Fail(collection,
                    "MsgFmtGetArg1: bad specifier, status %d, pos \"%.*s\", type \"%.*s\"", status,
                    posSize, pos, typeSize, spec);

    const gint type = MsgFmtArgType(parsed.conversion, parsed.lengthModifier);
    if (parsed.conversion == 'n')
        return Fail(collection, "MsgFmtGetArg1: %%n not supported, pos \"%.*s\", type \"%.*s\"",
                    posSize, pos, typeSize, spec);
    if (type == kMsgFmtLongDouble)
        return Fail(collection, "MsgFmtGetArg1: %%%c%c not supported, pos \"%.*s\", type \"%.*s\"",
                    parsed.lengthModifier, parsed.conversion, posSize, pos, typeSize, spec);
    if (type == MSGFMT_ARG_INVALID)
        return Fail(collection, "MsgFmtGetArg1: %%%c not understood, pos \"%.*s\", type \"%.*s\"",
                    parsed.conversion, posSize, pos, typeSize, spec);

    const gint place = parsed.position > 0 ? parsed.position : collection->count + 1;
    if (place > collection->maxPosition) {
        collection->isBeyond = true;
        return 0;
    }
    if (!Grow(collection, place))
        return Fail(collection, "MsgFmtGetArg1: out of memory at arg %d", place);
    MsgFmt_Arg *arg = collection->args + place - 1;
    if (arg->type == MSGFMT_ARG_INVALID) {
        arg->type = type;
        arg->precision = parsed.precision;
        return 0;
    }
    if (arg->type != type)
        return Fail(collection,
                    "MsgFmtGetArg1: incompatible specifiers for argument %d, old type %d, "
                    "new type %d, pos \"%.*s\", type \"%.*s\"",
                    place, arg->type, type, posSize, pos, typeSize, spec);
    /* the longest use decides how much of a string is kept */
    if (parsed.precision < 0 || arg->precision < 0)
        arg->precision = -1;
    else
        arg->precision = MAX(arg->precision, parsed.precision);
    return 0;
}

/* Copies a string that is ended by a zero or by the precision. NULL without memory. */
template <class Char> Char *CopyString(Collection *collection, const Char *text, gint precision) {
    gsize length = 0;
    while ((precision < 0 || length < static_cast<gsize>(precision)) && text[length] != 0)
        length++;
    auto *copy =
        static_cast<Char *>(TakeMemory(collection, (length + 1) * sizeof(Char), alignof(Char)));
    if (copy == nullptr)
        return nullptr;
    memcpy(copy, text, length * sizeof(Char));
    copy[length] = 0;
    return copy;
}

/* Reads one argument. False without memory. */
bool ReadArg(Collection *collection, MsgFmt_Arg *arg, va_list *arguments) {
    switch (arg->type) {
    case MSGFMT_ARG_INT32:
        arg->signed32 = va_arg(*arguments, gint32);
        return true;
    case MSGFMT_ARG_INT64:
        arg->signed64 = va_arg(*arguments, gint64);
        return true;
    case MSGFMT_ARG_PTR64:
        arg->pointer = va_arg(*arguments, gpointer);
        return true;
    case MSGFMT_ARG_FLOAT64:
        arg->float64 = va_arg(*arguments, double);
        return true;
    case MSGFMT_ARG_STRING8: {
        const char *text = va_arg(*arguments, const char *);
        arg->string8 = text != nullptr ? CopyString(collection, text, arg->precision) : nullptr;
        if (const gint number = Err_String2Errno(text); number >= 0) {
            arg->type = MSGFMT_ARG_ERRNO;
            arg->error = {MSGFMT_PLATFORM_POSIX, number};
        }
        return text == nullptr || arg->string8 != nullptr;
    }
    case MSGFMT_ARG_STRING32: {
        const auto *text = va_arg(*arguments, const gunichar *);
        arg->string32 = text != nullptr ? CopyString(collection, text, arg->precision) : nullptr;
        return text == nullptr || arg->string32 != nullptr;
    }
    default:
        NOT_REACHED();
    }
}

bool IsString(const MsgFmt_Arg &arg) {
    return arg.type == MSGFMT_ARG_STRING8 || arg.type == MSGFMT_ARG_STRING16 ||
           arg.type == MSGFMT_ARG_STRING32 || arg.type == MSGFMT_ARG_ERRNO;
}

gsize CharSize(const MsgFmt_Arg &arg) {
    switch (arg.type) {
    case MSGFMT_ARG_STRING16:
        return sizeof(gunichar2);
    case MSGFMT_ARG_STRING32:
        return sizeof(gunichar);
    default:
        return 1;
    }
}

/* Whether there is a zero unit before the end. */
bool IsTerminated(const char *text, const char *end, gsize charSize) {
    constexpr char kZero[sizeof(gunichar)] = {};
    for (; static_cast<gsize>(end - text) >= charSize; text += charSize)
        if (memcmp(text, kZero, charSize) == 0)
            return true;
    return false;
}

/* Frees what was collected so far from the heap. */
void Discard(Collection *collection) {
    if (collection->buffer == nullptr)
        MsgFmt_FreeArgs(collection->args, collection->count);
}

} // namespace

gint MsgFmtArgType(char conversion, char lengthModifier) {
    switch (conversion) {
    case 'd':
    case 'i':
    case 'o':
    case 'u':
    case 'x':
    case 'X':
        return lengthModifier == '\0' || lengthModifier == 'h' || lengthModifier == 'H'
                   ? MSGFMT_ARG_INT32
                   : MSGFMT_ARG_INT64;
    case 'c':
    case 'C':
        return MSGFMT_ARG_INT32;
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
    case 'a':
    case 'A':
        return lengthModifier == 'j' || lengthModifier == 'L' ? kMsgFmtLongDouble
                                                              : MSGFMT_ARG_FLOAT64;
    case 'p':
        return MSGFMT_ARG_PTR64;
    case 's':
        return lengthModifier == 'l' || lengthModifier == 'L' || lengthModifier == 'j'
                   ? MSGFMT_ARG_STRING32
                   : MSGFMT_ARG_STRING8;
    case 'S':
        return MSGFMT_ARG_STRING32;
    default:
        return MSGFMT_ARG_INVALID;
    }
}

gboolean MsgFmt_GetArgs(const char *format, va_list arguments, MsgFmt_Arg **args, gint *count,
                        char **error) {
    return MsgFmt_GetArgsWithBuf(format, arguments, args, count, error, nullptr, 0);
}

gboolean MsgFmt_GetArgsWithBuf(const char *format, va_list arguments, MsgFmt_Arg **args,
                               gint *count, char **error, gpointer buffer, gsize bufferSize) {
    *args = nullptr;
    *count = 0;
    if (error != nullptr)
        *error = nullptr;

    /* a specifier has at least two characters, so half the length bounds the arguments */
    const gsize longest = MIN(strlen(format), static_cast<gsize>(G_MAXINT)) / 2 + 1;
    Collection collection = {.args = nullptr,
                             .count = 0,
                             .maxPosition = static_cast<gint>(longest),
                             .isBeyond = false,
                             .error = nullptr,
                             .buffer = static_cast<char *>(buffer),
                             .bufferSize = bufferSize,
                             .bufferUsed = 0};
    const gint status = MsgFmt_Parse(nullptr, MsgFmtGetArg1, &collection, format);
    if (status == MSGFMT_BAD_FORMAT)
        Fail(&collection, "MsgFmt_GetArgs: error in format string");
    else if (status < 0)
        Fail(&collection, "MsgFmt_GetArgs: error %d", status);

    va_list rest;
    va_copy(rest, arguments);
    gint read = 0;
    for (; collection.error == nullptr && read < collection.count; read++) {
        MsgFmt_Arg *arg = collection.args + read;
        if (arg->type == MSGFMT_ARG_INVALID)
            Fail(&collection, "MsgFmt_GetArgs: gap in arguments at position %d", read + 1);
        else if (!ReadArg(&collection, arg, &rest))
            Fail(&collection, "MsgFmt_GetArgs: out of memory");
    }
    va_end(rest);
    if (collection.error == nullptr && collection.isBeyond)
        Fail(&collection, "MsgFmt_GetArgs: gap in arguments at position %d", collection.count + 1);

    if (collection.error != nullptr || status < 0) {
        Discard(&collection);
        if (error != nullptr)
            *error = collection.error;
        else
            free(collection.error);
        return FALSE;
    }
    *args = collection.args;
    *count = collection.count;
    return TRUE;
}

MsgFmt_Arg *MsgFmt_CopyArgs(const MsgFmt_Arg *args, gint count) {
    const gsize size = static_cast<gsize>(count) * sizeof(MsgFmt_Arg);
    auto *copies = static_cast<MsgFmt_Arg *>(malloc(size));
    if (copies == nullptr)
        return nullptr;
    for (gint i = 0; i < count; i++) {
        copies[i] = args[i];
        copies[i].localString = nullptr;
        if (args[i].type == MSGFMT_ARG_STRING16 || args[i].type == MSGFMT_ARG_STRING32)
            NOT_IMPLEMENTED();
        if (!IsString(args[i]) || args[i].string8 == nullptr)
            continue;
        copies[i].string8 = strdup(args[i].string8);
        if (copies[i].string8 == nullptr) {
            MsgFmt_FreeArgs(copies, i);
            return nullptr;
        }
    }
    return copies;
}

void MsgFmt_FreeArgs(MsgFmt_Arg *args, gint count) {
    for (gint i = 0; args != nullptr && i < count; i++) {
        if (IsString(args[i]))
            free(args[i].pointer);
        free(args[i].localString);
    }
    free(args);
}

void MsgFmt_SwizzleArgs(MsgFmt_Arg *args, gint count) {
    const char *start = reinterpret_cast<const char *>(args);
    for (gint i = 0; i < count; i++)
        if (IsString(args[i]))
            args[i].signed64 = args[i].string8 != nullptr ? args[i].string8 - start : 0;
}

gint MsgFmt_GetSwizzledString(const MsgFmt_Arg *args, gint count, gint index, gconstpointer end,
                              gconstpointer *string) {
    *string = nullptr;
    if (index < 0 || index >= count || !IsString(args[index]))
        return -1;
    const gint64 offset = args[index].signed64;
    if (offset == 0)
        return 0;

    const char *start = reinterpret_cast<const char *>(args);
    const char *limit = static_cast<const char *>(end);
    const gsize charSize = CharSize(args[index]);
    const auto arraySize = static_cast<gint64>(static_cast<gsize>(count) * sizeof(MsgFmt_Arg));
    if (offset < arraySize || offset >= limit - start ||
        offset % static_cast<gint64>(charSize) != 0 ||
        !IsTerminated(start + offset, limit, charSize))
        return -1;
    *string = start + offset;
    return 0;
}

gint MsgFmt_UnswizzleArgs(MsgFmt_Arg *args, gint count, gconstpointer end) {
    gint result = 0;
    for (gint i = 0; i < count; i++) {
        if (!IsString(args[i]))
            continue;
        gconstpointer string = nullptr;
        if (MsgFmt_GetSwizzledString(args, count, i, end, &string) < 0)
            result = -1;
        args[i].pointer = const_cast<gpointer>(string);
    }
    return result;
}
