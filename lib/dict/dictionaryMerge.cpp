// Whole dictionaries: merged, flattened, logged.
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "lib/dict/dictionaryInt.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"

namespace {

/* Whether an entry of a source is sealed there. */
bool IsSealed(const Dictionary *dictionary, const DictionaryEntry *entry) {
    return dictionary->keySafe != nullptr && !entry->plain;
}

/* Returns the address of a value, as the functions that set one take it. */
gconstpointer ValueAddress(const DictionaryEntry *entry) {
    return &entry->value;
}

void AddCopy(Dictionary *dictionary, const DictionaryEntry *from) {
    DictionaryEntry *entry = DictionaryAddEntry(dictionary, from->name, strlen(from->name));
    entry->type = from->type;
    DictionaryCopyValue(&entry->value, from->type, ValueAddress(from));
    entry->modified = true;
    entry->isDefault = from->isDefault;
    entry->plain = from->plain;
}

void UpdateEntry(Dictionary *dictionary, Dictionary *source, DictionaryEntry *from,
                 MsgList **messages) {
    const bool isSealed = IsSealed(source, from);
    DictionaryEntry *entry = DictionaryFindEntry(dictionary, from->name);
    if (entry == nullptr) {
        if (isSealed || dictionary->keySafe == nullptr)
            AddCopy(dictionary, from);
        return;
    }
    if (entry->type == DICT_ANY && from->type != DICT_ANY)
        DictionaryNarrowValue(entry, from->type, nullptr, messages);
    else if (from->type == DICT_ANY && entry->type != DICT_ANY)
        DictionaryNarrowValue(from, entry->type, nullptr, messages);
    if (entry->type != from->type) {
        Warning("type mismatch updating %s -- not changing\n", from->name);
        return;
    }
    if (IsSealed(dictionary, entry) && !isSealed)
        return;
    DictionaryModifyEntry(entry, ValueAddress(from), from->type, true, false, messages);
}

/* Whether an entry of an encrypted dictionary is not to be seen in a log. */
bool IsSecretName(std::string_view name) {
    constexpr std::string_view kSecrets[] = {"dataFileKey", "ancestorDataFileKeys", "annotation"};
    constexpr std::string_view kSuffix = ".key";
    for (const std::string_view secret : kSecrets)
        if (name.size() == secret.size() &&
            g_ascii_strncasecmp(name.data(), secret.data(), secret.size()) == 0)
            return true;
    return name.size() > kSuffix.size() &&
           g_ascii_strcasecmp(name.data() + name.size() - kSuffix.size(), kSuffix.data()) == 0;
}

void LogEntry(const Dictionary *dictionary, const DictionaryEntry *entry) {
    if ((dictionary->keySafe != nullptr || dictionary->key != nullptr) &&
        IsSecretName(entry->name)) {
        Log("DICT %25s = <not printed>\n", entry->name);
        return;
    }
    switch (entry->type) {
    case DICT_ANY:
    case DICT_STRING:
        Log("DICT %25s = \"%s\"\n", entry->name,
            entry->value.string != nullptr ? entry->value.string : "");
        return;
    case DICT_BOOL:
        Log("DICT %25s = %s\n", entry->name, entry->value.boolean ? "TRUE" : "FALSE");
        return;
    case DICT_LONG:
    case DICT_TRISTATE:
        Log("DICT %25s = %i\n", entry->name, entry->value.number);
        return;
    case DICT_DOUBLE:
        Log("DICT %25s = %g\n", entry->name, entry->value.real);
        return;
    case DICT_INT64:
        Log("DICT %25s = %ld\n", entry->name, static_cast<long>(entry->value.number64));
        return;
    default:
        Log("DICT %25s = <unknown parameter type>\n", entry->name);
    }
}

/* Calls for each entry of a marshalling with its text. */
template <class Function>
void ForEachText(Dictionary *dictionary, bool withDefaults, Function function) {
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        if (withDefaults || !entry->isDefault || entry->modified)
            function(entry->name, DictionaryConvertValueToString(entry).get());
}

gboolean Marshall(Dictionary *dictionary, bool withDefaults, char **buffer, gsize *size) {
    *buffer = nullptr;
    *size = 0;
    ForEachText(dictionary, withDefaults, [size](const char *name, const char *value) {
        *size += strlen(name) + 2 + (value != nullptr ? strlen(value) + 1 : 0);
    });
    if (*size == 0)
        return TRUE;
    *buffer = static_cast<char *>(UtilSafeMalloc0(*size));
    char *at = *buffer;
    ForEachText(dictionary, withDefaults, [&at](const char *name, const char *value) {
        at = stpcpy(at, name) + 1;
        *at++ = value != nullptr ? 0 : 1;
        if (value != nullptr)
            at = stpcpy(at, value) + 1;
    });
    VERIFY(at == *buffer + *size);
    return TRUE;
}

} // namespace

void Dictionary_Update(Dictionary *dictionary, Dictionary *source, MsgList **messages) {
    for (DictionaryEntry *entry = source->entryList.first; entry != nullptr; entry = entry->next)
        UpdateEntry(dictionary, source, entry, messages);
}

gboolean Dictionary_Marshall(Dictionary *dictionary, char **buffer, gsize *size) {
    return Marshall(dictionary, true, buffer, size);
}

gboolean Dictionary_MarshallModified(Dictionary *dictionary, char **buffer, gsize *size) {
    return Marshall(dictionary, false, buffer, size);
}

void Dictionary_LogNotDefault(Dictionary *dictionary) {
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        if (!entry->isDefault)
            LogEntry(dictionary, entry);
}
