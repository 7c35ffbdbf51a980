// Formatting from collected arguments. What a format asks for is checked against the arguments, since a
// catalogue may hold anything.
#include <cerrno>
#include <charconv>
#include <clocale>
#include <cstdlib>
#include <cstring>
#include <locale.h>
#include <string_view>

#include "lib/misc/glibPtr.h"
#include "lib/user/msgFmt.h"
#include "lib/user/msgFmtInt.h"

namespace {

constexpr gsize kStep = 64;
constexpr gint kMaxWidth = 1 << 20; /* a catalogue cannot fill the memory with blanks */

/* Where the text goes: a buffer of fixed size, or one that grows. */
struct Output {
    char *text;
    gsize size;   /* of the buffer, with room for the NUL */
    gsize length; /* of the whole text, which may be more than fits */
    bool isGrowing;
    const MsgFmt_Arg *args;
    gint count;
    gint nextArg; /* of a format without positions */

    /* Whether so many bytes more fit, with the NUL. */
    bool Fits(gsize more) const { return length < size && more < size - length; }

    bool Reserve(gsize more) {
        if (Fits(more) || !isGrowing)
            return true;
        gsize wanted;
        if (__builtin_add_overflow(length, more, &wanted) || wanted > G_MAXINT)
            return false;
        wanted = MAX(wanted + kStep, size * 2) / kStep * kStep + kStep;
        auto *grown = static_cast<char *>(realloc(text, wanted));
        if (grown == nullptr)
            return false;
        text = grown;
        size = wanted;
        return true;
    }

    bool Append(std::string_view piece) {
        if (!Reserve(piece.size()))
            return false;
        if (length < size) {
            const gsize fitting = MIN(piece.size(), size - 1 - length);
            memcpy(text + length, piece.data(), fitting);
        }
        length += piece.size();
        return length <= G_MAXINT;
    }

    bool Fill(char c, gsize count_) {
        if (!Reserve(count_))
            return false;
        if (length < size)
            memset(text + length, c, MIN(count_, size - 1 - length));
        length += count_;
        return length <= G_MAXINT;
    }
};

/* The "C" locale for as long as it lives; numbers look the same wherever a message is formatted. */
class PlainNumbers {
public:
    PlainNumbers() : former(uselocale(Plain())) {}
    ~PlainNumbers() { uselocale(former); }
    PlainNumbers(const PlainNumbers &) = delete;
    PlainNumbers &operator=(const PlainNumbers &) = delete;

private:
    static locale_t Plain() {
        static constinit locale_t kept = nullptr;
        locale_t plain = __atomic_load_n(&kept, __ATOMIC_ACQUIRE);
        if (plain != nullptr)
            return plain;
        locale_t made = newlocale(LC_ALL_MASK, "C", nullptr);
        if (__atomic_compare_exchange_n(&kept, &plain, made, false, __ATOMIC_ACQ_REL,
                                        __ATOMIC_ACQUIRE))
            return made;
        freelocale(made);
        return plain;
    }

    locale_t former;
};

/* Writes text with the width and the precision of its specifier. */
bool AppendText(Output *output, const MsgFmtSpec &spec, std::string_view text) {
    const gsize width = spec.width > 0 ? static_cast<gsize>(spec.width) : 0;
    const gsize padding = width > text.size() ? width - text.size() : 0;
    const bool isLeft = (spec.flags & MSGFMT_FLAG_MINUS) != 0;
    return (isLeft || output->Fill(' ', padding)) && output->Append(text) &&
           (!isLeft || output->Fill(' ', padding));
}

/* Returns the text without what the precision cuts off. */
std::string_view Cut(const MsgFmtSpec &spec, const char *text) {
    return spec.precision < 0
               ? std::string_view(text)
               : std::string_view(text, strnlen(text, static_cast<gsize>(spec.precision)));
}

bool AppendString8(Output *output, const MsgFmtSpec &spec, const char *text) {
    return AppendText(output, spec, Cut(spec, text != nullptr ? text : "(null)"));
}

/* Writes a text that was converted to UTF-8, cut at a whole character. */
bool AppendConverted(Output *output, const MsgFmtSpec &spec, const char *text) {
    if (text == nullptr)
        return AppendString8(output, spec, nullptr);
    std::string_view cut = Cut(spec, text);
    while (!cut.empty() && (text[cut.size()] & 0xc0) == 0x80)
        cut.remove_suffix(1);
    return AppendText(output, spec, cut);
}

bool AppendCharacter(Output *output, const MsgFmtSpec &spec, gint32 value) {
    char bytes[8] = {static_cast<char>(value)};
    gint size = 1;
    if (spec.conversion == 'C' || spec.lengthModifier == 'l' || spec.lengthModifier == 'L')
        size = g_unichar_to_utf8(static_cast<gunichar>(value), bytes);
    return AppendText(output, spec, {bytes, static_cast<gsize>(size)});
}

/* Has the C library write a number, by a specifier made anew from what was understood. */
template <class Number>
bool AppendByPrintf(Output *output, const MsgFmtSpec &spec, const char *length, Number number) {
    char format[48] = "%";
    char *end = format + 1;
    for (gint bit = 0; bit < 6; bit++)
        if ((spec.flags & (1 << bit)) != 0)
            *end++ = "#0- +'"[bit];
    if (spec.width >= 0)
        end = std::to_chars(end, end + 12, spec.width).ptr;
    if (spec.precision >= 0) {
        *end++ = '.';
        end = std::to_chars(end, end + 12, spec.precision).ptr;
    }
    while (*length != '\0')
        *end++ = *length++;
    *end++ = spec.conversion;
    *end = '\0';

    for (;;) {
        const gsize room = output->length < output->size ? output->size - output->length : 0;
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        const int written =
            snprintf(room > 0 ? output->text + output->length : nullptr, room, format, number);
#pragma GCC diagnostic pop
        if (written < 0)
            return false;
        const auto size = static_cast<gsize>(written);
        if (size < room || !output->isGrowing) {
            output->length += size;
            return output->length <= G_MAXINT;
        }
        if (!output->Reserve(size))
            return false;
    }
}

bool AppendInteger(Output *output, const MsgFmtSpec &spec, gint64 value) {
    const bool isSigned = spec.conversion == 'd' || spec.conversion == 'i';
    const guint bits = spec.lengthModifier == 'H'    ? 8
                       : spec.lengthModifier == 'h'  ? 16
                       : spec.lengthModifier == '\0' ? 32
                                                     : 64;
    value = isSigned
                ? value << (64 - bits) >> (64 - bits)
                : static_cast<gint64>(static_cast<guint64>(value) << (64 - bits) >> (64 - bits));
    if (spec.flags == 0 && spec.width < 0 && spec.precision < 0 &&
        (isSigned || spec.conversion == 'u')) {
        char digits[24];
        const auto end =
            isSigned ? std::to_chars(digits, digits + sizeof digits, value)
                     : std::to_chars(digits, digits + sizeof digits, static_cast<guint64>(value));
        return output->Append({digits, static_cast<gsize>(end.ptr - digits)});
    }
    return AppendByPrintf(output, spec, "ll", static_cast<long long>(value));
}

bool AppendDouble(Output *output, const MsgFmtSpec &spec, double value) {
    if ((spec.flags & MSGFMT_FLAG_QUOTE) != 0) /* grouping is the locale's */
        return AppendByPrintf(output, spec, "", value);
    const PlainNumbers plain;
    return AppendByPrintf(output, spec, "", value);
}

/* Writes one argument, if it is of the kind that the specifier wants. */
bool AppendArg(Output *output, const MsgFmtSpec &spec, const MsgFmt_Arg &arg) {
    switch (MsgFmtArgType(spec.conversion, spec.lengthModifier)) {
    case MSGFMT_ARG_INT32:
    case MSGFMT_ARG_INT64:
        if (arg.type != MSGFMT_ARG_INT32 && arg.type != MSGFMT_ARG_INT64)
            return false;
        if (spec.conversion == 'c' || spec.conversion == 'C')
            return arg.type == MSGFMT_ARG_INT32 && AppendCharacter(output, spec, arg.signed32);
        return AppendInteger(output, spec,
                             arg.type == MSGFMT_ARG_INT32 ? arg.signed32 : arg.signed64);
    case MSGFMT_ARG_FLOAT64:
        return arg.type == MSGFMT_ARG_FLOAT64 && AppendDouble(output, spec, arg.float64);
    case MSGFMT_ARG_PTR64:
        return arg.type == MSGFMT_ARG_PTR64 && AppendByPrintf(output, spec, "", arg.pointer);
    case MSGFMT_ARG_STRING8:
    case MSGFMT_ARG_STRING32:
        break;
    default:
        return false;
    }

    /* any string can be shown by any string conversion: a localised text takes the place of each kind */
    if (arg.localString != nullptr)
        return AppendString8(output, spec, arg.localString);
    switch (arg.type) {
    case MSGFMT_ARG_STRING8:
    case MSGFMT_ARG_ERRNO:
        return AppendString8(output, spec, arg.string8);
    case MSGFMT_ARG_STRING16:
        return AppendConverted(
            output, spec,
            GPtr<char>(arg.string16 != nullptr
                           ? g_utf16_to_utf8(arg.string16, -1, nullptr, nullptr, nullptr)
                           : nullptr)
                .get());
    case MSGFMT_ARG_STRING32:
        return AppendConverted(
            output, spec,
            GPtr<char>(arg.string32 != nullptr
                           ? g_ucs4_to_utf8(arg.string32, -1, nullptr, nullptr, nullptr)
                           : nullptr)
                .get());
    default:
        return false;
    }
}

gint AppendLiteral(gpointer data, const char *text, guint size) {
    return static_cast<Output *>(data)->Append({text, size}) ? 0 : -1;
}

gint AppendSpec(gpointer data, const char *position, guint positionSize, const char *text,
                guint size) {
    auto *output = static_cast<Output *>(data);
    MsgFmtSpec spec;
    if (MsgFmt_ParseSpec(position, positionSize, text, size, &spec.position, &spec.flags,
                         &spec.width, &spec.precision, &spec.lengthModifier, &spec.conversion) < 0)
        return MSGFMT_BAD_FORMAT;
    if (spec.width > kMaxWidth || spec.precision > kMaxWidth)
        return -1;
    const gint index = spec.position > 0 ? spec.position - 1 : output->nextArg++;
    if (index >= output->count)
        return -1;
    return AppendArg(output, spec, output->args[index]) ? 0 : -1;
}

/* Writes the whole text and its NUL. */
gint MsgFmtSnprintfWork(Output *output, const char *format) {
    const gint result = MsgFmt_Parse(AppendLiteral, AppendSpec, output, format);
    if (result < 0)
        return result;
    if (output->size > 0)
        output->text[MIN(output->length, output->size - 1)] = '\0';
    return 0;
}

} // namespace

char *MsgFmt_Asprintf(gsize *length, const char *format, const MsgFmt_Arg *args, gint count) {
    if (length != nullptr)
        *length = 0;
    const gsize size = (strlen(format) + kStep) / kStep * kStep + kStep;
    Output output = {.text = static_cast<char *>(malloc(size)),
                     .size = size,
                     .length = 0,
                     .isGrowing = true,
                     .args = args,
                     .count = count,
                     .nextArg = 0};
    if (output.text == nullptr)
        return nullptr;
    if (MsgFmtSnprintfWork(&output, format) < 0) {
        free(output.text);
        return nullptr;
    }
    if (length != nullptr)
        *length = output.length;
    return output.text;
}

gint MsgFmt_Snprintf(char *buffer, gsize size, const char *format, const MsgFmt_Arg *args,
                     gint count) {
    Output output = {.text = buffer,
                     .size = size,
                     .length = 0,
                     .isGrowing = false,
                     .args = args,
                     .count = count,
                     .nextArg = 0};
    if (MsgFmtSnprintfWork(&output, format) < 0)
        return -1;
    return static_cast<gint>(output.length);
}
