/*
 * dictionaryInt.h -- the records of a dictionary, shared by its sources
 *
 *   dictionary.cpp        entries: look-up, getting, setting
 *   dictionaryValue.cpp   conversions between values and texts
 *   dictionaryText.cpp    lines: reading and writing buffers, encodings
 *   dictionaryMerge.cpp   whole dictionaries: update, marshalling, log
 *   dictionaryCrypto.cpp  the encrypted part: sealing, opening, other keys
 *   dictionaryFile.cpp    dictionaries in files
 */
#pragma once

#include <string_view>

#include "lib/dict/dictionary.h"
#include "lib/misc/hashTable.h"
#include "lib/misc/secret.h"

struct CryptoKey;
struct KeySafe;

union DictionaryValue {
    char *string;
    gboolean boolean;
    gint32 number; /* long and tristate */
    double real;
    gint64 number64;
};

struct DictionaryLine;

struct DictionaryEntry {
    DictionaryEntry *prev;
    DictionaryEntry *next;
    DictionaryValue value;
    char *name; /* behind the record, in one block with it */
    guint type;
    bool modified;
    bool written;   /* by the write in progress */
    bool isDefault; /* only there because a reader gave a default */
    bool cleanSet;  /* was once set as a clean value; such entries are written first */
    bool plain;     /* stays outside the encrypted part */
    char *
        stringCache; /* owned; the text that a caller got for a value that is no text; NULL for none */
    DictionaryLine *line; /* where it was read from; NULL for none */
};

struct DictionaryLine {
    DictionaryLine *prev;
    DictionaryLine *next;
    DictionaryEntry *entry; /* NULL for a comment or a blank line */
    char text[];
};

/* The ends of a list whose links are in its members. */
template <class Member> struct DictionaryList {
    Member *first = nullptr;
    Member *last = nullptr;

    /* Adds a member before another one; at the end for NULL. */
    void Insert(Member *member, Member *before) {
        member->next = before;
        member->prev = before != nullptr ? before->prev : last;
        (member->prev != nullptr ? member->prev->next : first) = member;
        (before != nullptr ? before->prev : last) = member;
    }
    void Remove(Member *member) {
        (member->prev != nullptr ? member->prev->next : first) = member->next;
        (member->next != nullptr ? member->next->prev : last) = member->prev;
    }
};

struct Dictionary {
    DictionaryList<DictionaryEntry> entryList;
    DictionaryList<DictionaryLine> lineList;
    const char *fileName; /* of the load in progress */
    gint32 lineNumber;
    HashTable *entries; /* name -> entry */
    KeySafe *keySafe;
    CryptoKey *key;
    gint numEntries;
    StringEncoding encoding;
};

/* Collects messages in a list of its own and hands them to the pending messages of the thread at the end. */
class PendingMessages {
public:
    PendingMessages() = default;
    ~PendingMessages();
    PendingMessages(const PendingMessages &) = delete;
    PendingMessages &operator=(const PendingMessages &) = delete;
    operator MsgList **() { return &list; }

private:
    MsgList *list = nullptr;
};

inline bool DictionaryIsText(guint type) {
    return type == DICT_ANY || type == DICT_STRING;
}

DictionaryEntry *DictionaryFindEntry(const Dictionary *dictionary, const char *name);
/* Whether a request without the plain flag does not see the entry. */
bool DictionaryIsHidden(const Dictionary *dictionary, const DictionaryEntry *entry, guint typeWord);
/* Adds an entry of type any without a value at the end. The name must be new. */
DictionaryEntry *DictionaryAddEntry(Dictionary *dictionary, const char *name, gsize nameSize);
/* The same; NULL if the name is not new. */
DictionaryEntry *DictionaryTryAddEntry(Dictionary *dictionary, std::string_view name);
void DictionaryRemoveEntry(Dictionary *dictionary, DictionaryEntry *entry);
/* Gives an existing entry a value of a type. @isForced marks it modified also if the value is the same; with
 * @isClean a new value does not mark it. */
void DictionaryModifyEntry(DictionaryEntry *entry, gconstpointer value, guint type, bool isForced,
                           bool isClean, MsgList **messages);

/* Adds a line before another one; at the end for NULL. */
DictionaryLine *DictionaryAddLine(Dictionary *dictionary, std::string_view text,
                                  DictionaryLine *before);
void DictionaryRemoveLine(Dictionary *dictionary, DictionaryLine *line);

/* -- dictionaryValue.cpp ------------------------------------------------------------------------- */

/* Converts the text of an entry of type any to a type, in place. If it is none, the value is the default (NULL: that
 * of the type), and a message says so. */
void DictionaryNarrowValue(DictionaryEntry *entry, guint type, gconstpointer defaultValue,
                           MsgList **messages);
/* Copies a value, given by its address, into a record. The old text is not released. */
void DictionaryCopyValue(DictionaryValue *value, guint type, gconstpointer from);
bool DictionaryIsValueEqual(const DictionaryValue *value, guint type, gconstpointer other);
/* Returns a value as people read it: "true", "%g". NULL for a NULL string. */
SecretText DictionaryConvertValueToString(const DictionaryEntry *entry);
/* Returns a value as it is in a file, in UTF-8: "TRUE", "%.9g". Empty for a NULL string. */
SecretText DictionaryFileText(const DictionaryEntry *entry);
/* Returns the address of the value that a type has when nothing says otherwise. */
gconstpointer DictionaryZeroValue(guint type);

/* -- dictionaryText.cpp -------------------------------------------------------------------------- */

inline constexpr const char *kDictionaryKeySafeName = "encryption.keySafe";
inline constexpr const char *kDictionaryDataName = "encryption.data";

/* What ends a line: in a buffer a line feed, perhaps with a carriage return before it; in a stream either. */
enum class DictionaryLineEnds { Buffer, Stream };

/* Reads lines, up to the first that is malformed. The counter of lines goes on. False after a message. */
bool DictionaryReadLines(Dictionary *dictionary, std::string_view text, DictionaryLineEnds lineEnds,
                         MsgList **messages);
/* Settles the encoding of what was read, if the text did not name it. @hasMark tells of a byte-order mark. */
bool DictionarySettleEncoding(Dictionary *dictionary, bool hasMark, StringEncoding encoding,
                              MsgList **messages);

/* -- dictionaryCrypto.cpp ------------------------------------------------------------------------ */

/* Seals a text: the exported key safe and the sealed data in Base64. False after a warning. */
bool DictionaryEncryptData(const Dictionary *dictionary, std::string_view text, SecretText *safe,
                           SecretText *data);
void DictionaryFreeCryptoState(Dictionary *dictionary);
