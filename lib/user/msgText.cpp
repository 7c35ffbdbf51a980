// Localised texts: the catalogue's in place of the default ones.
#include <cmath>
#include <cstring>
#include <string>

#include "lib/misc/err.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msgId.h"
#include "lib/user/msgInt.h"

namespace {

struct SizeRow {
    guint64 unit;
    const char *text;
};

constexpr SizeRow kSizes[] = {
    {guint64{1} << 40, MSG_MAGIC "(msg.msg.terabyte.abbreviation)%s TB"},
    {guint64{1} << 30, MSG_MAGIC "(msg.msg.gigabyte.abbreviation)%s GB"},
    {guint64{1} << 20, MSG_MAGIC "(msg.msg.megabyte.abbreviation)%s MB"},
    {guint64{1} << 10, MSG_MAGIC "(msg.msg.kilobyte.abbreviation)%s KB"},
};

/* Returns the catalogue's text for an identifier, or the default. */
MsgText LookUp(const char *id, const char *defaultText) {
    const MsgLocked locked;
    Dictionary *catalogue = MsgState()->catalogue;
    char *text = catalogue != nullptr ? Dict_GetString(catalogue, nullptr, "%s", id) : nullptr;
    return MsgText(text != nullptr ? text : UtilSafeStrdup0(defaultText));
}

bool HasCatalogue() {
    const MsgLocked locked;
    return MsgState()->catalogue != nullptr;
}

/* Returns the system's text of an error in the language of the messages; NULL if it has none of its own. */
MsgText Locale_Errno2LocalString(gint number) {
    std::string name;
    {
        const MsgLocked locked; /* another thread may set the locale */
        name = std::string(MsgState()->locale) + ".UTF-8";
    }
    locale_t locale = newlocale(LC_ALL_MASK, name.c_str(), nullptr);
    if (locale == nullptr)
        return nullptr;
    MsgText text(UtilSafeStrdup0(strerror_l(number, locale)));
    freelocale(locale);
    if (strcmp(text.get(), Err_Errno2String(number)) == 0)
        text.reset();
    return text;
}

/* Formats a message of arguments; one that does not fit ends the process. */
MsgText Format(const char *format, const MsgFmt_Arg *args, gint count) {
    MsgText text(MsgFmt_Asprintf(nullptr, format, args, count));
    VERIFY(text != nullptr);
    return text;
}

MsgText LocalizeError(const MsgFmt_Arg &arg) {
    const bool isPosix = arg.error.platform == MSGFMT_PLATFORM_POSIX;
    if (isPosix)
        if (MsgText text = Locale_Errno2LocalString(arg.error.number))
            return text;
    if (!HasCatalogue())
        return MsgText(UtilSafeStrdup0(arg.string8));
    return MsgText(isPosix
                       ? Msg_Format(MSG_MAGIC "(msg.msg.systemError)Error %d [%s]",
                                    arg.error.number, arg.string8)
                       : Msg_Format(MSG_MAGIC "(msg.msg.systemErrorWindows)Error %d (0x%x) [%s]",
                                    arg.error.number, arg.error.number, arg.string8));
}

/* Returns the localised form of an argument; NULL to show it as it is. */
MsgText LocalizeArg(const MsgFmt_Arg &arg) {
    if (arg.type == MSGFMT_ARG_ERRNO)
        return LocalizeError(arg);
    if (arg.type != MSGFMT_ARG_STRING8 || arg.string8 == nullptr)
        return nullptr;
    const MsgId message = MsgId_Split(arg.string8);
    if (!message.IsMessage() || message.id.size() >= kMsgMaxId) /* foreign text may look like one */
        return nullptr;
    MsgText text = MsgGetText(arg.string8);
    return message.id.starts_with("button.") ? MsgStripMnemonic(text.get()) : std::move(text);
}

/* Returns one message of a list as localised text. */
MsgText MsgLocalize(const MsgList *message) {
    VERIFY(strlen(message->id) < kMsgMaxId);
    MsgText format = LookUp(message->id, message->format);
    if (message->args == nullptr)
        return format;
    for (gint i = 0; i < message->numArgs; i++)
        message->args[i].localString = LocalizeArg(message->args[i]).release();
    MsgText text = Format(format.get(), message->args, message->numArgs);
    for (gint i = 0; i < message->numArgs; i++) {
        free(message->args[i].localString);
        message->args[i].localString = nullptr;
    }
    return text;
}

} // namespace

MsgText MsgGetText(const char *text) {
    const MsgId message = MsgId_Split(text);
    VERIFY(message.IsMessage() && message.id.size() < kMsgMaxId);
    return LookUp(std::string(message.id).c_str(), message.text);
}

MsgText MsgStripMnemonic(const char *text) {
    MsgText stripped(UtilSafeStrdup0(text));
    char *end = stripped.get();
    for (const char *at = text; *at != '\0'; at++) {
        if (*at == '_' && *++at != '_') {
            if (*at == '\0')
                break;
        }
        *end++ = *at;
    }
    *end = '\0';
    return stripped;
}

char *Msg_GetString(const char *id) {
    return MsgGetText(id).release();
}

char *Msg_GetStringSafe(const char *text) {
    return MsgId_Split(text).IsMessage() ? Msg_GetString(text) : UtilSafeStrdup0(text);
}

char *Msg_GetPlainButtonText(const char *id) {
    return MsgStripMnemonic(MsgGetText(id).get()).release();
}

char *Msg_VFormat(const char *id, va_list arguments) {
    const MsgListPtr message(MsgList_VCreate(id, arguments));
    return MsgLocalize(message.get()).release();
}

char *Msg_Format(const char *id, ...) {
    va_list arguments;
    va_start(arguments, id);
    char *text = Msg_VFormat(id, arguments);
    va_end(arguments);
    return text;
}

char *Msg_LocalizeList(const MsgList *messages) {
    std::string all;
    for (; messages != nullptr; messages = messages->next) {
        all += MsgLocalize(messages).get();
        if (!all.ends_with('\n'))
            all += '\n';
    }
    return UtilSafeStrdup0(all.c_str());
}

gboolean Msg_CompareAnswer(const char *const *buttons, guint index, const char *text) {
    const MsgText button(Msg_GetPlainButtonText(buttons[index]));
    return g_ascii_strcasecmp(button.get(), MsgStripMnemonic(text).get()) == 0;
}

char *Msg_FormatFloat(guint precision, double value) {
    char format[24];
    g_snprintf(format, sizeof format, "%%'.%uf", precision);
    MsgFmt_Arg arg = {};
    arg.type = MSGFMT_ARG_FLOAT64;
    arg.float64 = value;
    return Format(format, &arg, 1).release();
}

char *Msg_FormatSizeInBytes(guint64 size) {
    for (const SizeRow &row : kSizes) {
        if (size < row.unit)
            continue;
        const double scaled = static_cast<double>(size) / static_cast<double>(row.unit);
        const bool isWhole = std::abs(scaled - std::round(scaled)) <= 0.01;
        const MsgText number(Msg_FormatFloat(isWhole ? 0 : 1, scaled));
        const MsgText format = MsgGetText(row.text);
        MsgFmt_Arg arg = {};
        arg.type = MSGFMT_ARG_STRING8;
        arg.precision = -1;
        arg.string8 = number.get();
        return Format(format.get(), &arg, 1).release();
    }
    const MsgText number(Msg_FormatFloat(0, static_cast<double>(size)));
    if (size >= 2)
        return Msg_Format(MSG_MAGIC "(msg.msg.byte.twoOrMore)%s bytes", number.get());
    return size == 1 ? Msg_Format(MSG_MAGIC "(msg.msg.byte.one)%s byte", number.get())
                     : Msg_Format(MSG_MAGIC "(msg.msg.byte.zero)%s bytes", number.get());
}
