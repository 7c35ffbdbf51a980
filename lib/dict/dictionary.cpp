// The entries of a dictionary: look-up, getting, setting, removing.
#include "lib/dict/dictionary.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "lib/dict/dictionaryInt.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"
#include "lib/user/msg.h"

namespace {

constexpr guint kNumBuckets = 512;
constexpr gsize kMaxName = 1024;

/* A name made from a format. */
struct Name {
    char text[kMaxName];

    Name(const char *format, va_list arguments) {
        g_vsnprintf(text, sizeof text, format, arguments);
    }
};

/* Whether readers so often give a value of this kind as their default that it gets no entry. */
bool IsCommonDefault(guint type, gconstpointer value) {
    const gconstpointer zero = DictionaryZeroValue(type);
    if (type == DICT_LONG || type == DICT_TRISTATE)
        return *static_cast<const gint32 *>(value) == 0 ||
               *static_cast<const gint32 *>(value) == -1;
    DictionaryValue known;
    DictionaryCopyValue(&known, type, zero);
    return DictionaryIsValueEqual(&known, type, value);
}

/* Returns the shared constant that equals a common default. */
gconstpointer CommonDefault(guint type, gconstpointer value) {
    static constexpr gint32 kAllOnes = -1;
    if ((type == DICT_LONG || type == DICT_TRISTATE) && *static_cast<const gint32 *>(value) == -1)
        return &kAllOnes;
    return DictionaryZeroValue(type);
}

/* Returns the entry that a request sees, or NULL. */
DictionaryEntry *FindVisible(const Dictionary *dictionary, const char *name, guint typeWord) {
    DictionaryEntry *entry = DictionaryFindEntry(dictionary, name);
    return entry != nullptr && !DictionaryIsHidden(dictionary, entry, typeWord) ? entry : nullptr;
}

/* Calls for each entry that a test selects. The function may remove the entry. */
template <class Test, class Function>
bool ForEachEntry(Dictionary *dictionary, Test test, Function function) {
    bool isAny = false;
    for (DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;) {
        DictionaryEntry *next = entry->next;
        if (test(entry)) {
            function(entry);
            isAny = true;
        }
        entry = next;
    }
    return isAny;
}

void FreeEntry(DictionaryEntry *entry) {
    if (DictionaryIsText(entry->type))
        Secret_FreeText(entry->value.string);
    Secret_Wipe(entry->name, strlen(entry->name));
    Secret_FreeText(entry->stringCache);
    free(entry);
}

/* Splits "name=value" and sets an entry, unless it exists and must not. */
bool SetFromText(Dictionary *dictionary, const char *text, bool isReplacing, MsgList **messages) {
    const char *equals = strchr(text, '=');
    const gsize nameSize = equals != nullptr ? static_cast<gsize>(equals - text) : strlen(text);
    const char *value = equals != nullptr ? equals + 1 : "";
    SecretText name(UtilSafeStrndup0(text, nameSize));

    DictionaryEntry *entry = DictionaryFindEntry(dictionary, name.get());
    if (entry != nullptr && !isReplacing) {
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.alreadyDefined.string)Variable \"%s\" is already "
                       "defined.\n",
                       name.get());
        return false;
    }
    if (entry == nullptr) {
        entry = DictionaryAddEntry(dictionary, name.get(), nameSize);
        DictionaryCopyValue(&entry->value, DICT_ANY, &value);
        entry->modified = true;
    } else {
        DictionaryModifyEntry(entry, &value, DICT_ANY, true, false, messages);
    }
    return true;
}

} // namespace

PendingMessages::~PendingMessages() {
    Msg_AppendMsgList(list);
    MsgList_Free(list);
}

DictionaryEntry *DictionaryFindEntry(const Dictionary *dictionary, const char *name) {
    gpointer entry = nullptr;
    HashTable_Lookup(dictionary->entries, name, &entry);
    return static_cast<DictionaryEntry *>(entry);
}

bool DictionaryIsHidden(const Dictionary *dictionary, const DictionaryEntry *entry,
                        guint typeWord) {
    return dictionary->keySafe != nullptr && entry->plain && (typeWord & DICT_PLAIN) == 0;
}

DictionaryEntry *DictionaryTryAddEntry(Dictionary *dictionary, std::string_view name) {
    auto *entry = static_cast<DictionaryEntry *>(
        UtilSafeCalloc0(1, sizeof(DictionaryEntry) + name.size() + 1));
    entry->name = reinterpret_cast<char *>(entry + 1);
    memcpy(entry->name, name.data(), name.size());
    if (!HashTable_Insert(dictionary->entries, entry->name, entry)) {
        FreeEntry(entry);
        return nullptr;
    }
    dictionary->entryList.Insert(entry, nullptr);
    dictionary->numEntries++;
    return entry;
}

DictionaryEntry *DictionaryAddEntry(Dictionary *dictionary, const char *name, gsize nameSize) {
    DictionaryEntry *entry = DictionaryTryAddEntry(dictionary, {name, nameSize});
    VERIFY(entry != nullptr);
    return entry;
}

void DictionaryRemoveEntry(Dictionary *dictionary, DictionaryEntry *entry) {
    HashTable_Delete(dictionary->entries, entry->name);
    dictionary->entryList.Remove(entry);
    dictionary->numEntries--;
    if (entry->line != nullptr)
        DictionaryRemoveLine(dictionary, entry->line);
    FreeEntry(entry);
}

void DictionaryModifyEntry(DictionaryEntry *entry, gconstpointer value, guint type, bool isForced,
                           bool isClean, MsgList **messages) {
    if (entry->type == DICT_ANY && type != DICT_ANY) {
        /* a text that is no value of this type is replaced, also if the new value is the one in its place */
        MsgList *unfit = nullptr;
        DictionaryNarrowValue(entry, type, value, &unfit);
        isForced = isForced || (unfit != nullptr && !isClean);
        MsgList_AppendMsgList(messages, unfit);
    }

    /* a text for an entry that has a type: converted by an entry of its own */
    DictionaryEntry converted = {};
    if (type == DICT_ANY && entry->type != DICT_ANY) {
        converted.name = entry->name;
        DictionaryCopyValue(&converted.value, DICT_ANY, value);
        const DictionaryValue current = entry->value;
        DictionaryNarrowValue(&converted, entry->type, &current, messages);
        value = &converted.value;
        type = entry->type;
    }
    VERIFY(entry->type == type);

    if (!DictionaryIsValueEqual(&entry->value, type, value)) {
        char *former = DictionaryIsText(type) ? entry->value.string : nullptr;
        DictionaryCopyValue(&entry->value, type, value);
        Secret_FreeText(former);
        entry->modified = entry->modified || !isClean;
    }
    entry->modified = entry->modified || isForced;
    entry->isDefault = false;
    if (converted.name != nullptr && DictionaryIsText(type))
        Secret_FreeText(converted.value.string);
}

Dictionary *Dictionary_Create(void) {
    auto *dictionary = static_cast<Dictionary *>(UtilSafeCalloc0(1, sizeof(Dictionary)));
    dictionary->entries = HashTable_Alloc(kNumBuckets, HASHTABLE_ISTRING, nullptr);
    dictionary->encoding = STRING_ENCODING_UNKNOWN;
    return dictionary;
}

void Dictionary_Free(Dictionary *dictionary) {
    if (dictionary == nullptr)
        return;
    Dictionary_Clear(dictionary);
    HashTable_Free(dictionary->entries);
    free(dictionary);
}

void Dictionary_ClearPreserveKeys(Dictionary *dictionary) {
    HashTable_Clear(dictionary->entries);
    while (DictionaryEntry *entry = dictionary->entryList.first) {
        dictionary->entryList.Remove(entry);
        FreeEntry(entry);
    }
    while (DictionaryLine *line = dictionary->lineList.first)
        DictionaryRemoveLine(dictionary, line);
    dictionary->numEntries = 0;
    dictionary->encoding = STRING_ENCODING_UNKNOWN;
}

gconstpointer Dictionary_GetEx(Dictionary *dictionary, gconstpointer defaultValue, guint typeWord,
                               const char *name, MsgList **messages) {
    const guint type = typeWord & DICT_TYPE_MASK;
    DictionaryEntry *entry = DictionaryFindEntry(dictionary, name);
    const bool isHidden = entry != nullptr && DictionaryIsHidden(dictionary, entry, typeWord);
    if (entry != nullptr && !isHidden) {
        if (entry->type == DICT_ANY && type != DICT_ANY)
            DictionaryNarrowValue(entry, type, defaultValue, messages);
        VERIFY(type == DICT_ANY || entry->type == type);
        return &entry->value;
    }
    if (defaultValue == nullptr)
        return DictionaryZeroValue(type);
    if (IsCommonDefault(type, defaultValue))
        return CommonDefault(type, defaultValue);
    if (isHidden) /* its name is taken, so there can be no entry for the default */
        return defaultValue;

    entry = DictionaryAddEntry(dictionary, name, strlen(name));
    entry->type = type;
    entry->isDefault = true;
    entry->plain = (typeWord & DICT_PLAIN) != 0;
    DictionaryCopyValue(&entry->value, type, defaultValue);
    return &entry->value;
}

gconstpointer Dictionary_Get(Dictionary *dictionary, gconstpointer defaultValue, guint typeWord,
                             const char *name) {
    PendingMessages messages;
    return Dictionary_GetEx(dictionary, defaultValue, typeWord, name, messages);
}

/* The families of getters and setters: one row a function. */
#define NAME_OF_FORMAT(name)                                                                       \
    va_list arguments;                                                                             \
    va_start(arguments, name);                                                                     \
    const Name formatted(name, arguments);                                                         \
    va_end(arguments)

#define GETTER(function, Type, typeWord)                                                           \
    Type function(Dictionary *dictionary, Type defaultValue, const char *name, ...) {              \
        NAME_OF_FORMAT(name);                                                                      \
        return *static_cast<const Type *>(                                                         \
            Dictionary_Get(dictionary, &defaultValue, typeWord, formatted.text));                  \
    }
GETTER(Dict_GetBool, gboolean, DICT_BOOL)
GETTER(Dict_GetLong, gint32, DICT_LONG)
GETTER(Dict_GetInt64, gint64, DICT_INT64)
GETTER(Dict_GetDouble, double, DICT_DOUBLE)
GETTER(Dict_GetTriState, gint32, DICT_TRISTATE)
GETTER(Dict_GetBoolPlain, gboolean, DICT_BOOL | DICT_PLAIN)
GETTER(Dict_GetLongPlain, gint32, DICT_LONG | DICT_PLAIN)
GETTER(Dict_GetInt64Plain, gint64, DICT_INT64 | DICT_PLAIN)
#undef GETTER

#define STRING_GETTER(function, typeWord)                                                          \
    char *function(Dictionary *dictionary, const char *defaultValue, const char *name, ...) {      \
        NAME_OF_FORMAT(name);                                                                      \
        return UtilSafeStrdup0(*static_cast<const char *const *>(                                  \
            Dictionary_Get(dictionary, &defaultValue, typeWord, formatted.text)));                 \
    }
STRING_GETTER(Dict_GetString, DICT_STRING)
STRING_GETTER(Dict_GetStringPlain, DICT_STRING | DICT_PLAIN)
#undef STRING_GETTER

#define SETTER(function, Type, typeWord)                                                           \
    void function(Dictionary *dictionary, Type value, const char *name, ...) {                     \
        NAME_OF_FORMAT(name);                                                                      \
        Dictionary_Set(dictionary, &value, typeWord, formatted.text);                              \
    }
SETTER(Dict_SetString, const char *, DICT_STRING)
SETTER(Dict_SetBool, gboolean, DICT_BOOL)
SETTER(Dict_SetLong, gint32, DICT_LONG)
SETTER(Dict_SetInt64, gint64, DICT_INT64)
SETTER(Dict_SetDouble, double, DICT_DOUBLE)
SETTER(Dict_SetTriState, gint32, DICT_TRISTATE)
SETTER(Dict_SetAny, const char *, DICT_ANY)
SETTER(Dict_SetStringPlain, const char *, DICT_STRING | DICT_PLAIN)
SETTER(Dict_SetBoolPlain, gboolean, DICT_BOOL | DICT_PLAIN)
SETTER(Dict_SetLongPlain, gint32, DICT_LONG | DICT_PLAIN)
SETTER(Dict_SetInt64Plain, gint64, DICT_INT64 | DICT_PLAIN)
#undef SETTER

const char *Dictionary_GetStringEnum(Dictionary *dictionary, const char *defaultValue,
                                     const char *const *choices, const char *name,
                                     MsgList **messages) {
    const char *value = *static_cast<const char *const *>(
        Dictionary_GetEx(dictionary, &defaultValue, DICT_STRING, name, messages));
    if (value == nullptr || *value == '\0')
        return defaultValue;
    for (; *choices != nullptr; choices++)
        if (g_ascii_strcasecmp(value, *choices) == 0)
            return *choices;
    if (defaultValue != nullptr)
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.notEnum)Value \"%s\" for variable \"%s\" is not a "
                       "valid value. Using value \"%s\".\n",
                       value, name, defaultValue);
    else
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.notEnumAndNoDefault)Value \"%s\" for variable "
                       "\"%s\" is not a valid value.\n",
                       value, name);
    return defaultValue;
}

char *Dict_GetStringEnum(Dictionary *dictionary, const char *defaultValue,
                         const char *const *choices, const char *name, ...) {
    NAME_OF_FORMAT(name);
    PendingMessages messages;
    return UtilSafeStrdup0(
        Dictionary_GetStringEnum(dictionary, defaultValue, choices, formatted.text, messages));
}

const char *Dictionary_GetAsString(Dictionary *dictionary, const char *name) {
    DictionaryEntry *entry = FindVisible(dictionary, name, 0);
    if (entry == nullptr)
        return nullptr;
    Secret_FreeText(entry->stringCache);
    entry->stringCache = DictionaryConvertValueToString(entry).release();
    return entry->stringCache;
}

gboolean Dictionary_IsDefined(Dictionary *dictionary, const char *name) {
    return FindVisible(dictionary, name, 0) != nullptr;
}

gboolean Dictionary_IsDefinedWithPrefix(Dictionary *dictionary, const char *prefix) {
    const gsize size = strlen(prefix);
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        if (!DictionaryIsHidden(dictionary, entry, 0) &&
            g_ascii_strncasecmp(entry->name, prefix, size) == 0)
            return TRUE;
    return FALSE;
}

gboolean Dictionary_NotSet(Dictionary *dictionary, const char *name) {
    const DictionaryEntry *entry = FindVisible(dictionary, name, 0);
    return entry == nullptr || entry->isDefault;
}

gint Dictionary_NumberOfEntries(const Dictionary *dictionary) {
    gint count = 0;
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        count += !entry->isDefault;
    return count;
}

gboolean Dictionary_NeedSave(const Dictionary *dictionary) {
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        if (entry->modified)
            return TRUE;
    return FALSE;
}

gint Dictionary_Iterate(Dictionary *dictionary, DictionaryIterateFunc callback, gpointer data,
                        gboolean includeDefaults) {
    gint index = 0;
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        if (includeDefaults || !entry->isDefault)
            callback(entry->name, DictionaryConvertValueToString(entry).get(), index++, data);
    return index;
}

void Dictionary_Set(Dictionary *dictionary, gconstpointer value, guint typeWord, const char *name) {
    const guint type = typeWord & DICT_TYPE_MASK;
    const bool isClean = (typeWord & DICT_CLEAN) != 0;
    DictionaryEntry *entry = DictionaryFindEntry(dictionary, name);
    if (entry != nullptr) {
        PendingMessages messages;
        DictionaryModifyEntry(entry, value, type, false, isClean, messages);
    } else {
        entry = DictionaryAddEntry(dictionary, name, strlen(name));
        entry->type = type;
        DictionaryCopyValue(&entry->value, type, value);
        entry->modified = !isClean;
    }
    entry->cleanSet = entry->cleanSet || isClean;
    entry->plain = entry->plain || (typeWord & DICT_PLAIN) != 0;
}

void Dictionary_SetAll(Dictionary *dictionary, const char *prefix, guint type, gconstpointer value,
                       MsgList **messages) {
    ForEachEntry(
        dictionary,
        [&](const DictionaryEntry *entry) {
            return g_str_has_prefix(entry->name, prefix) &&
                   (entry->type == DICT_ANY || entry->type == type);
        },
        [&](DictionaryEntry *entry) {
            DictionaryModifyEntry(entry, value, type, false, false, messages);
        });
}

gboolean Dictionary_SetFromString(Dictionary *dictionary, const char *text, MsgList **messages) {
    return SetFromText(dictionary, text, false, messages);
}

gboolean Dictionary_RestoreFromString(Dictionary *dictionary, const char *text,
                                      MsgList **messages) {
    return SetFromText(dictionary, text, true, messages);
}

void Dictionary_Unset(Dictionary *dictionary, const char *name) {
    if (DictionaryEntry *entry = DictionaryFindEntry(dictionary, name))
        DictionaryRemoveEntry(dictionary, entry);
}

void Dict_Unset(Dictionary *dictionary, const char *name, ...) {
    NAME_OF_FORMAT(name);
    Dictionary_Unset(dictionary, formatted.text);
}
#undef NAME_OF_FORMAT

gboolean Dictionary_UnsetWithPrefix(Dictionary *dictionary, const char *prefix) {
    const gsize size = strlen(prefix);
    return ForEachEntry(
        dictionary,
        [&](const DictionaryEntry *entry) {
            return g_ascii_strncasecmp(entry->name, prefix, size) == 0;
        },
        [&](DictionaryEntry *entry) { DictionaryRemoveEntry(dictionary, entry); });
}

void Dictionary_MarkModified(Dictionary *dictionary, const char *name) {
    DictionaryEntry *entry = DictionaryFindEntry(dictionary, name);
    if (entry == nullptr)
        return;
    entry->modified = true;
    entry->isDefault = false;
}
