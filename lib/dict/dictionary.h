/*
 * dictionary.h -- a configuration document: named, typed values in order, and the text that they came from
 *
 *   Dictionary *config = Dictionary_Create();
 *   Dictionary_Load(config, "/etc/halden/config");
 *   gint32 size = Dict_GetLong(config, 512, "memsize");       // 512 if the file does not say
 *   Dict_SetBool(config, TRUE, "sound.present");
 *   Dictionary_WriteSync(config, "/etc/halden/config");
 *
 * The file keeps every comment, blank line and untouched entry byte for byte; changed and new entries are written
 * in one form. The line format is in dictll.h.
 *
 *   .encoding = "UTF-8"                      the encoding of the values, anywhere in the file
 *   encryption.keySafe, encryption.data      the sealed part of an encrypted dictionary
 *
 * Names match in any case (of ASCII). A value from a file has the type "any" until it is first read or set with a
 * type; it is then converted in place. In an encrypted dictionary the entries are either plain (they stay
 * readable in the file, and are hidden from functions without the plain flag) or sealed.
 *
 * Ownership: a dictionary owns everything in it, and wipes its texts before it frees them. Pointers that are
 *            returned are valid as long as the entry, unless a function says otherwise.
 * Errors:    functions report to a list of messages. Those without such a parameter report to the list of
 *            pending messages of the thread. A type that does not match the entry's is a fault of the
 *            program and ends it, as does lack of memory.
 * Threads:   a dictionary belongs to one thread at a time.
 */
#pragma once

#include <memory>

#include <glib.h>

#include "lib/dict/dictionaryTypes.h"
#include "lib/misc/dynBuf.h"
#include "lib/misc/glibPtr.h"
#include "lib/unicode/unicode.h"
#include "lib/user/msgList.h"

G_BEGIN_DECLS

Dictionary *Dictionary_Create(void);

/* NULL is allowed. */
void Dictionary_Free(Dictionary *dictionary);

/* Empties the dictionary; its encoding is unknown again, and its keys are gone. */
void Dictionary_Clear(Dictionary *dictionary);
void Dictionary_ClearPreserveKeys(Dictionary *dictionary);

/* -- reading ------------------------------------------------------------------------------------- */

/**
 * Dictionary_GetEx:
 * @dictionary: a dictionary
 * @defaultValue: (nullable): address of the value to return if there is none; %NULL for that of the type
 * @typeWord: a type of dictionaryTypes.h, with DICT_PLAIN for the readable part
 * @name: the name
 * @messages: (nullable): gets what is wrong with the stored text; the default is then the value
 *
 * An uncommon default becomes an entry of its own, which is not written to a file: a later reader with another
 * default gets the first one.
 *
 * Returns: (transfer none): address of the value: a char *, gboolean, gint32, double or gint64 as the type says
 */
gconstpointer Dictionary_GetEx(Dictionary *dictionary, gconstpointer defaultValue, guint typeWord,
                               const char *name, MsgList **messages);
gconstpointer Dictionary_Get(Dictionary *dictionary, gconstpointer defaultValue, guint typeWord,
                             const char *name);

/* Each takes a printf() format of the name, of which 1,023 bytes count. Texts are copies, to be wiped if they are
 * secrets, and released with free(). */
char *Dict_GetString(Dictionary *dictionary, const char *defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
gboolean Dict_GetBool(Dictionary *dictionary, gboolean defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
gint32 Dict_GetLong(Dictionary *dictionary, gint32 defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
gint64 Dict_GetInt64(Dictionary *dictionary, gint64 defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
double Dict_GetDouble(Dictionary *dictionary, double defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
gint32 Dict_GetTriState(Dictionary *dictionary, gint32 defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
char *Dict_GetStringPlain(Dictionary *dictionary, const char *defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
gboolean Dict_GetBoolPlain(Dictionary *dictionary, gboolean defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
gint32 Dict_GetLongPlain(Dictionary *dictionary, gint32 defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
gint64 Dict_GetInt64Plain(Dictionary *dictionary, gint64 defaultValue, const char *name, ...)
    G_GNUC_PRINTF(3, 4);

/**
 * Dictionary_GetStringEnum:
 * @dictionary: a dictionary
 * @defaultValue: (nullable): what is returned for an absent, empty or unknown value
 * @choices: (array zero-terminated=1): the values that are allowed, in any case
 * @name: the name
 * @messages: (nullable): gets what is wrong with the value
 *
 * Returns: (transfer none) (nullable): the pointer of @choices, or @defaultValue
 */
const char *Dictionary_GetStringEnum(Dictionary *dictionary, const char *defaultValue,
                                     const char *const *choices, const char *name,
                                     MsgList **messages);
/* Returns a copy of the value that was found. */
char *Dict_GetStringEnum(Dictionary *dictionary, const char *defaultValue,
                         const char *const *choices, const char *name, ...) G_GNUC_PRINTF(4, 5);

/* Returns the text form of a value, valid until the next call for this name; NULL if it is absent or hidden. */
const char *Dictionary_GetAsString(Dictionary *dictionary, const char *name);

/* Whether there is an entry that is not hidden; a default counts. */
gboolean Dictionary_IsDefined(Dictionary *dictionary, const char *name);
gboolean Dictionary_IsDefinedWithPrefix(Dictionary *dictionary, const char *prefix);

/* Whether an entry is absent, hidden or a default. */
gboolean Dictionary_NotSet(Dictionary *dictionary, const char *name);

/* Counts the entries that are not defaults. */
gint Dictionary_NumberOfEntries(const Dictionary *dictionary);

/* Whether any entry was modified. */
gboolean Dictionary_NeedSave(const Dictionary *dictionary);

typedef void (*DictionaryIterateFunc)(const char *name, const char *value, gint index,
                                      gpointer data);

/* Calls the function for each entry in order, and returns the number of calls. @value may be NULL. The function
 * must not change the dictionary. */
gint Dictionary_Iterate(Dictionary *dictionary, DictionaryIterateFunc callback, gpointer data,
                        gboolean includeDefaults);

/* Converts "", "true", "t", "yes", "y", "on", "1" and their opposites, in any case. @error, which may be NULL,
 * tells whether the text was another, or NULL; the result is then FALSE. */
gboolean Dictionary_StringToBool(const char *text, gboolean *error);

/* Logs each entry that is not a default, but for secrets. */
void Dictionary_LogNotDefault(Dictionary *dictionary);

/* -- setting ------------------------------------------------------------------------------------- */

/* Sets a value, given by its address. @typeWord may have DICT_CLEAN and DICT_PLAIN. */
void Dictionary_Set(Dictionary *dictionary, gconstpointer value, guint typeWord, const char *name);

void Dict_SetString(Dictionary *dictionary, const char *value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetBool(Dictionary *dictionary, gboolean value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetLong(Dictionary *dictionary, gint32 value, const char *name, ...) G_GNUC_PRINTF(3, 4);
void Dict_SetInt64(Dictionary *dictionary, gint64 value, const char *name, ...) G_GNUC_PRINTF(3, 4);
void Dict_SetDouble(Dictionary *dictionary, double value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetTriState(Dictionary *dictionary, gint32 value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetAny(Dictionary *dictionary, const char *value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetStringPlain(Dictionary *dictionary, const char *value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetBoolPlain(Dictionary *dictionary, gboolean value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetLongPlain(Dictionary *dictionary, gint32 value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);
void Dict_SetInt64Plain(Dictionary *dictionary, gint64 value, const char *name, ...)
    G_GNUC_PRINTF(3, 4);

/* Sets every entry whose name begins with the prefix (its case counts) and whose type is any or this one. */
void Dictionary_SetAll(Dictionary *dictionary, const char *prefix, guint type, gconstpointer value,
                       MsgList **messages);

/* Sets an entry from "name=value". Without "=" the value is empty. The first form refuses a name that exists, the
 * second overwrites it. */
gboolean Dictionary_SetFromString(Dictionary *dictionary, const char *text, MsgList **messages);
gboolean Dictionary_RestoreFromString(Dictionary *dictionary, const char *text, MsgList **messages);

/* Removes an entry with its line. */
void Dictionary_Unset(Dictionary *dictionary, const char *name);
void Dict_Unset(Dictionary *dictionary, const char *name, ...) G_GNUC_PRINTF(2, 3);
/* Removes every entry whose name begins with the prefix, in any case; whether there was one. */
gboolean Dictionary_UnsetWithPrefix(Dictionary *dictionary, const char *prefix);

void Dictionary_MarkModified(Dictionary *dictionary, const char *name);

/* Merges the entries of another dictionary. A plain value never replaces a sealed one. */
void Dictionary_Update(Dictionary *dictionary, Dictionary *source, MsgList **messages);

/* Flattens the entries: name, NUL, a byte (0: a value follows, 1: none does), value, NUL. The buffer is to be released with
 * free(); it is NULL, with size 0, if there are none. The second form leaves out defaults. */
gboolean Dictionary_Marshall(Dictionary *dictionary, char **buffer, gsize *size);
gboolean Dictionary_MarshallModified(Dictionary *dictionary, char **buffer, gsize *size);

/* -- text ---------------------------------------------------------------------------------------- */

/* Reads lines, after the present ones if @append is set. Without an encoding in the text it is that of the
 * locale, or @encoding. */
gboolean Dictionary_LoadFromBuffer(Dictionary *dictionary, const char *text, gboolean append);
gboolean Dictionary_LoadFromBufferWithDefaultEncoding(Dictionary *dictionary, const char *text,
                                                      gboolean append, StringEncoding encoding);

/**
 * Dictionary_WriteToBuffer:
 * @dictionary: a dictionary
 * @encrypt: whether to seal what is not plain, if the dictionary has a key safe
 * @buffer: (out) (transfer full) (nullable): the text, to be wiped and released with free()
 * @size: (out): in bytes, with the NUL
 *
 * A character that the encoding cannot express turns the whole dictionary into UTF-8.
 *
 * Returns: %FALSE if sealing failed
 */
gboolean Dictionary_WriteToBuffer(Dictionary *dictionary, gboolean encrypt, char **buffer,
                                  gsize *size);

/* Puts comment lines (array zero-terminated) before all lines, unless they are there. */
void Dictionary_SetFileHeader(const char *const *lines, Dictionary *dictionary);

/* Puts the line "#!path" first, unless there is one of that kind; whether it did. */
gboolean Dictionary_SetExecPath(Dictionary *dictionary, const char *path);

StringEncoding Dictionary_GetEncoding(const Dictionary *dictionary);
void Dictionary_SetEncoding(Dictionary *dictionary, StringEncoding encoding);

/* Changes the encoding of the text to be written. FALSE if a value cannot be expressed in it. */
gboolean Dictionary_ChangeEncoding(Dictionary *dictionary, StringEncoding encoding);

G_END_DECLS

using DictionaryPtr = std::unique_ptr<Dictionary, Release<Dictionary_Free>>;
