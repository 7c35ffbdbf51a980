// Values and texts: what a text means as a type, and how a value is written.
#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string_view>

#include "lib/dict/dictionaryInt.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"

namespace {

enum class Conversion { Good, TooBig, Malformed };

/* Reads a 32-bit number in any base of C; one that only an unsigned number can hold wraps. An empty text is 0. */
Conversion ReadLong(const char *text, gint32 *number) {
    char *end;
    errno = 0;
    const long value = strtol(text, &end, 0);
    if (errno == 0 && value >= G_MININT32 && value <= G_MAXUINT32) {
        *number = static_cast<gint32>(value);
        return *end == '\0' ? Conversion::Good : Conversion::Malformed;
    }
    return *end == '\0' ? Conversion::TooBig : Conversion::Malformed;
}

Conversion ReadInt64(const char *text, gint64 *number) {
    char *end;
    errno = 0;
    const unsigned long long value = strtoull(text, &end, 0);
    if (*end != '\0')
        return Conversion::Malformed;
    if (errno != 0)
        return Conversion::TooBig;
    *number = static_cast<gint64>(value);
    return Conversion::Good;
}

const char *TristateText(gint32 value) {
    return value < 0 ? "DEFAULT" : value != 0 ? "TRUE" : "FALSE";
}

bool IsTristateDefault(const char *text) {
    for (const char *word : {"default", "dontcare", "auto"})
        if (g_ascii_strcasecmp(text, word) == 0)
            return true;
    return false;
}

/* Returns the text of a value that is no string, in the form for a file or in that for people. */
SecretText NumberText(const DictionaryEntry *entry, bool isForFile) {
    switch (entry->type) {
    case DICT_BOOL:
        return SecretText(isForFile ? g_strdup(entry->value.boolean ? "TRUE" : "FALSE")
                                    : g_strdup(entry->value.boolean ? "true" : "false"));
    case DICT_LONG:
        return SecretText(g_strdup_printf("%d", entry->value.number));
    case DICT_DOUBLE: {
        char digits[G_ASCII_DTOSTR_BUF_SIZE];
        return SecretText(g_strdup(
            g_ascii_formatd(digits, sizeof digits, isForFile ? "%.9g" : "%g", entry->value.real)));
    }
    case DICT_TRISTATE: {
        const char *text = TristateText(entry->value.number);
        return SecretText(isForFile ? g_strdup(text) : g_ascii_strdown(text, -1));
    }
    case DICT_INT64:
        return SecretText(g_strdup_printf("%ld", static_cast<long>(entry->value.number64)));
    default:
        Panic("Dictionary internal error - unknown parameter type\n");
    }
}

} // namespace

gconstpointer DictionaryZeroValue(guint type) {
    static constexpr DictionaryValue kZero = {.number64 = 0};
    static constexpr double kZeroReal = 0;
    return type == DICT_DOUBLE ? static_cast<gconstpointer>(&kZeroReal) : &kZero;
}

void DictionaryCopyValue(DictionaryValue *value, guint type, gconstpointer from) {
    switch (type) {
    case DICT_ANY:
    case DICT_STRING:
        value->string = UtilSafeStrdup0(*static_cast<const char *const *>(from));
        return;
    case DICT_BOOL:
        value->boolean = *static_cast<const gboolean *>(from) != FALSE;
        return;
    case DICT_LONG:
    case DICT_TRISTATE:
        value->number = *static_cast<const gint32 *>(from);
        return;
    case DICT_DOUBLE:
        value->real = *static_cast<const double *>(from);
        return;
    case DICT_INT64:
        value->number64 = *static_cast<const gint64 *>(from);
        return;
    default:
        Panic("Dictionary internal error - unknown parameter type\n");
    }
}

bool DictionaryIsValueEqual(const DictionaryValue *value, guint type, gconstpointer other) {
    switch (type) {
    case DICT_ANY:
    case DICT_STRING:
        return g_strcmp0(value->string, *static_cast<const char *const *>(other)) == 0;
    case DICT_BOOL:
        return value->boolean == (*static_cast<const gboolean *>(other) != FALSE);
    case DICT_LONG:
    case DICT_TRISTATE:
        return value->number == *static_cast<const gint32 *>(other);
    case DICT_DOUBLE:
        return value->real == *static_cast<const double *>(other);
    case DICT_INT64:
        return value->number64 == *static_cast<const gint64 *>(other);
    default:
        Panic("Dictionary internal error - unknown parameter type\n");
    }
}

gboolean Dictionary_StringToBool(const char *text, gboolean *error) {
    constexpr std::string_view kTrue[] = {"", "true", "t", "yes", "y", "on", "1"};
    constexpr std::string_view kFalse[] = {"false", "f", "no", "n", "off", "0"};
    if (error != nullptr)
        *error = FALSE;
    for (const std::string_view word : kTrue)
        if (text != nullptr && g_ascii_strcasecmp(text, word.data()) == 0)
            return TRUE;
    for (const std::string_view word : kFalse)
        if (text != nullptr && g_ascii_strcasecmp(text, word.data()) == 0)
            return FALSE;
    if (error != nullptr)
        *error = TRUE;
    return FALSE;
}

namespace {

/* A text that is to become a value, and the variable that has it, for messages. */
struct NamedText {
    const char *text;  /* may be NULL, which is no truth value */
    const char *shown; /* the same, or empty for NULL */
    const char *name;
};

/* Each reads a text into a value, or leaves the value as it is, after a message. */

void NarrowToBool(const NamedText &from, DictionaryValue *value, MsgList **messages) {
    gboolean isBad;
    const gboolean read = Dictionary_StringToBool(from.text, &isBad);
    if (!isBad)
        value->boolean = read;
    else
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.notBoolean)Value \"%s\" for variable \"%s\" is "
                       "not a valid boolean value. Using value \"%s\".\n",
                       from.shown, from.name, value->boolean ? "TRUE" : "FALSE");
}

void NarrowToLong(const NamedText &from, DictionaryValue *value, MsgList **messages) {
    gint32 read;
    switch (ReadLong(from.shown, &read)) {
    case Conversion::Good:
        value->number = read;
        return;
    case Conversion::TooBig:
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.integerTooBig)Value \"%s\" for variable \"%s\" "
                       "is too large. Using value \"%d\".\n",
                       from.shown, from.name, value->number);
        return;
    case Conversion::Malformed:
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.notInteger)Value \"%s\" for variable \"%s\" is "
                       "not a valid integer value. Using value \"%d\".\n",
                       from.shown, from.name, value->number);
        return;
    }
}

void NarrowToInt64(const NamedText &from, DictionaryValue *value, MsgList **messages) {
    gint64 read;
    switch (ReadInt64(from.shown, &read)) {
    case Conversion::Good:
        value->number64 = read;
        return;
    case Conversion::TooBig:
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.integer64TooBig)Value \"%s\" for variable "
                       "\"%s\" is too large. Using value \"%ld\".\n",
                       from.shown, from.name, static_cast<long>(value->number64));
        return;
    case Conversion::Malformed:
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.notInteger64)Value \"%s\" for variable \"%s\" "
                       "is not a valid integer value. Using value \"%ld\".\n",
                       from.shown, from.name, static_cast<long>(value->number64));
        return;
    }
}

void NarrowToDouble(const NamedText &from, DictionaryValue *value, MsgList **messages) {
    char *end;
    const double read = g_ascii_strtod(from.shown, &end);
    if (*end == '\0')
        value->real = read;
    else
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.notFloat)Value \"%s\" for variable \"%s\" is "
                       "not a valid floating point value. Using value \"%f\".\n",
                       from.shown, from.name, value->real);
}

void NarrowToTristate(const NamedText &from, DictionaryValue *value, MsgList **messages) {
    gboolean isBad;
    const gboolean read = Dictionary_StringToBool(from.text, &isBad);
    if (!isBad)
        value->number = read;
    else if (IsTristateDefault(from.shown))
        value->number = -1;
    else
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.notTristate)Value \"%s\" for variable \"%s\" is "
                       "not a valid tristate value. Using value \"%s\".\n",
                       from.shown, from.name, TristateText(value->number));
}

struct NarrowRow {
    guint type;
    void (*narrow)(const NamedText &from, DictionaryValue *value, MsgList **messages);
};

constexpr NarrowRow kNarrowRows[] = {
    {DICT_BOOL, NarrowToBool},     {DICT_LONG, NarrowToLong},         {DICT_INT64, NarrowToInt64},
    {DICT_DOUBLE, NarrowToDouble}, {DICT_TRISTATE, NarrowToTristate},
};

} // namespace

void DictionaryNarrowValue(DictionaryEntry *entry, guint type, gconstpointer defaultValue,
                           MsgList **messages) {
    if (type == DICT_STRING) {
        entry->type = type;
        return;
    }
    const SecretText text(entry->value.string);
    entry->type = type;
    DictionaryCopyValue(&entry->value, type,
                        defaultValue != nullptr ? defaultValue : DictionaryZeroValue(type));
    const auto *row = std::ranges::find(kNarrowRows, type, &NarrowRow::type);
    if (row == std::end(kNarrowRows))
        Panic("Dictionary internal error - unknown parameter type\n");
    row->narrow({text.get(), text != nullptr ? text.get() : "", entry->name}, &entry->value,
                messages);
}

SecretText DictionaryConvertValueToString(const DictionaryEntry *entry) {
    return DictionaryIsText(entry->type) ? SecretText(UtilSafeStrdup0(entry->value.string))
                                         : NumberText(entry, false);
}

SecretText DictionaryFileText(const DictionaryEntry *entry) {
    if (!DictionaryIsText(entry->type))
        return NumberText(entry, true);
    return SecretText(UtilSafeStrdup0(entry->value.string != nullptr ? entry->value.string : ""));
}
