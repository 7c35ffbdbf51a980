// The lines of a dictionary: reading buffers, writing them, and the encodings in between.
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

#include "lib/dict/dictionaryInt.h"
#include "lib/dict/dictll.h"
#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/utilSafe.h"

namespace {

constexpr gint kMaxDuplicates = 100;
constexpr const char *kEncodingName = ".encoding";
constexpr std::string_view kEncodingDirectives[] = {kEncodingName, "config.encoding",
                                                    "preferences.encoding", "vmlist.encoding",
                                                    "snapshot.encoding"};

enum class LineResult { Fine = 0, Duplicate = 1, Fatal = 2 };

/* Three forms of one message: with file and line, with the file alone, with neither. Each is called with the
 * arguments that it names. */
#define REPORT(dictionary, messages, withLine, withFile, withNeither, ...)                         \
    do {                                                                                           \
        if ((dictionary)->fileName != nullptr && (dictionary)->lineNumber > 0)                     \
            MsgList_Append(messages, withLine, (dictionary)->fileName,                             \
                           (dictionary)->lineNumber __VA_OPT__(, ) __VA_ARGS__);                   \
        else if ((dictionary)->fileName != nullptr)                                                \
            MsgList_Append(messages, withFile, (dictionary)->fileName __VA_OPT__(, ) __VA_ARGS__); \
        else                                                                                       \
            MsgList_Append(messages, withNeither __VA_OPT__(, ) __VA_ARGS__);                      \
    } while (0)

bool IsEncodingDirective(std::string_view name) {
    if (g_ascii_tolower(name.back()) != 'g')
        return false;
    for (const std::string_view directive : kEncodingDirectives)
        if (name.size() == directive.size() &&
            g_ascii_strncasecmp(name.data(), directive.data(), name.size()) == 0)
            return true;
    return false;
}

bool IsCommentOrBlank(std::string_view line) {
    const gsize start = line.find_first_not_of(" \t");
    return start == std::string_view::npos || line[start] == '#';
}

const char *EncodingName(StringEncoding encoding) {
    const char *name = Unicode_EncodingEnumToName(encoding);
    return name != nullptr ? name : "unknown";
}

const char *NameForLog(const Dictionary *dictionary) {
    return dictionary->fileName != nullptr ? dictionary->fileName : "<buffer>";
}

void ReportBadInput(const Dictionary *dictionary, const char *name, const char *value,
                    StringEncoding encoding, MsgList **messages) {
    const SecretText shown(Unicode_EscapeBuffer(value, strlen(value), encoding));
    REPORT(dictionary, messages,
           "@&!*@*@(msg.dictionary.badEncodedInput)File \"%s\" line %d: Value \"%s\" for variable "
           "\"%s\" is not valid in encoding \"%s\".\n",
           "@&!*@*@(msg.dictionary.badEncodedInputNoLine)File \"%s\": Value \"%s\" for variable "
           "\"%s\" is not valid in encoding \"%s\".\n",
           "@&!*@*@(msg.dictionary.badEncodedInputNoFile)Value \"%s\" for variable \"%s\" is not "
           "valid in encoding \"%s\".\n",
           shown.get(), name, EncodingName(encoding));
}

/* Finds the encoding that a name or, without one, a number means. Unknown after a message. */
StringEncoding ResolveEncoding(const Dictionary *dictionary, const char *name,
                               StringEncoding encoding, MsgList **messages) {
    if (name == nullptr)
        return Unicode_ResolveEncoding(encoding);
    encoding = Unicode_EncodingNameToEnum(name);
    if (encoding != STRING_ENCODING_UNKNOWN)
        return encoding;
    if (dictionary->fileName != nullptr && dictionary->lineNumber > 0)
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.unknownEncoding)File \"%s\" (line %d) specifies a "
                       "character encoding (%s) that is not supported.\n",
                       dictionary->fileName, dictionary->lineNumber, name);
    else if (dictionary->fileName != nullptr)
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.unknownEncodingNoLine)File \"%s\": Character "
                       "encoding \"%s\" is not supported.\n",
                       dictionary->fileName, name);
    else
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.unknownEncodingNoFile)Character encoding \"%s\" is "
                       "not supported.\n",
                       name);
    return STRING_ENCODING_UNKNOWN;
}

SecretText Copy(std::string_view text) {
    auto *copy = static_cast<char *>(UtilSafeMalloc0(text.size() + 1));
    if (!text.empty()) /* an empty one may have no address */
        memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return SecretText(copy);
}

/* Whether the value of an entry is still in the bytes of the file. */
bool IsRaw(const DictionaryEntry *entry) {
    return entry->line != nullptr && DictionaryIsText(entry->type) &&
           entry->value.string != nullptr;
}

/* Settles the encoding: every value read so far must be valid in it and is converted. */
bool DictionaryUseEncoding(Dictionary *dictionary, const char *name, StringEncoding encoding,
                           MsgList **messages) {
    encoding = ResolveEncoding(dictionary, name, encoding, messages);
    if (encoding == STRING_ENCODING_UNKNOWN)
        return false;
    if (dictionary->encoding != STRING_ENCODING_UNKNOWN) {
        if (dictionary->encoding == encoding)
            return true;
        REPORT(dictionary, messages,
               "@&!*@*@(msg.dictionary.hasEncoding)File \"%s\" (line %d) already has encoding "
               "\"%s\".\n",
               "@&!*@*@(msg.dictionary.hasEncodingNoLine)File \"%s\" already has encoding "
               "\"%s\".\n",
               "@&!*@*@(msg.dictionary.hasEncodingNoFile)The dictionary already has encoding "
               "\"%s\".\n",
               EncodingName(dictionary->encoding));
        return false;
    }

    bool isValid = true;
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next) {
        if (IsRaw(entry) &&
            !Unicode_IsBufferValid(entry->value.string, strlen(entry->value.string), encoding)) {
            ReportBadInput(dictionary, entry->name, entry->value.string, encoding, messages);
            isValid = false;
        }
    }
    if (!isValid)
        return false;
    for (DictionaryEntry *entry = dictionary->entryList.first;
         entry != nullptr && encoding != STRING_ENCODING_UTF8; entry = entry->next) {
        if (!IsRaw(entry))
            continue;
        SecretText raw(entry->value.string);
        entry->value.string = Unicode_AllocWithLength(raw.get(), strlen(raw.get()), encoding);
        VERIFY(entry->value.string != nullptr);
    }
    dictionary->encoding = encoding;
    return true;
}

/* Returns a value from the bytes of the file; NULL if it is not valid in the encoding, once that is known. */
SecretText DecodeValue(const Dictionary *dictionary, std::string_view raw) {
    if (dictionary->encoding != STRING_ENCODING_UNKNOWN && raw.find('|') == std::string_view::npos)
        return SecretText(Unicode_AllocWithLength(raw.data(), raw.size(), dictionary->encoding));
    SecretText value(DictLL_UnescapeValue(raw));
    VERIFY(value != nullptr);
    if (dictionary->encoding == STRING_ENCODING_UNKNOWN)
        return value;
    return SecretText(
        Unicode_AllocWithLength(value.get(), strlen(value.get()), dictionary->encoding));
}

/* Makes an entry of a pair, or finds out what else it is. */
LineResult ParsePair(Dictionary *dictionary, std::string_view line, std::string_view name,
                     std::string_view rawValue, MsgList **messages) {
    if (IsEncodingDirective(name)) {
        const SecretText value(DictLL_UnescapeValue(rawValue));
        VERIFY(value != nullptr);
        return DictionaryUseEncoding(dictionary, value.get(), STRING_ENCODING_UNKNOWN, messages)
                   ? LineResult::Fine
                   : LineResult::Fatal;
    }
    if (name.front() == '.') {
        Log("%s: \"%s\" line %d: unrecognized metavariable \"%s\"\n", "DictionaryParseReadLine",
            NameForLog(dictionary), dictionary->lineNumber, Copy(name).get());
        DictionaryAddLine(dictionary, line, nullptr);
        return LineResult::Fine;
    }
    SecretText value = DecodeValue(dictionary, rawValue);
    if (value == nullptr && DictionaryFindEntry(dictionary, Copy(name).get()) == nullptr) {
        const SecretText raw(DictLL_UnescapeValue(rawValue));
        ReportBadInput(dictionary, Copy(name).get(), raw.get(), dictionary->encoding, messages);
        return LineResult::Fatal;
    }
    DictionaryEntry *entry = DictionaryTryAddEntry(dictionary, name);
    if (entry == nullptr) {
        REPORT(dictionary, messages,
               "@&!*@*@(msg.dictionary.alreadyDefined)File \"%s\" line %d: Variable \"%s\" is "
               "already defined.\n",
               "@&!*@*@(msg.dictionary.alreadyDefinedNoLine)File \"%s\": Variable \"%s\" is "
               "already defined.\n",
               "@&!*@*@(msg.dictionary.alreadyDefinedNoFile)Variable \"%s\" is already "
               "defined.\n",
               Copy(name).get());
        DictionaryAddLine(dictionary, line, nullptr);
        return LineResult::Duplicate;
    }
    entry->value.string = value.release();
    entry->line = DictionaryAddLine(dictionary, line, nullptr);
    entry->line->entry = entry;
    return LineResult::Fine;
}

LineResult DictionaryParseReadLine(Dictionary *dictionary, std::string_view line,
                                   MsgList **messages) {
    line = line.substr(0, line.find('\0'));
    std::string_view name;
    std::string_view value;
    if (DictLL_ParsePair(line, &name, &value))
        return ParsePair(dictionary, line, name, value, messages);
    if (IsCommentOrBlank(line)) {
        DictionaryAddLine(dictionary, line, nullptr);
        return LineResult::Fine;
    }
    Log("%s: syntax error with line, \"%s\".\n", "DictionaryParseReadLine", Copy(line).get());
    REPORT(dictionary, messages,
           "@&!*@*@(msg.dictionary.read.syntaxError)File \"%s\" line %d: Syntax error.\n",
           "@&!*@*@(msg.dictionary.read.syntaxErrorNoLine)File \"%s\": Syntax error.\n",
           "@&!*@*@(msg.dictionary.read.syntaxErrorNoFile)Syntax error.\n");
    return LineResult::Fatal;
}

/* Removes the first line from the text and returns it without its end. A stream's line ends at a carriage return,
 * too; a buffer's only at a line feed, and a carriage return before it is no part of the line. */
std::string_view TakeLine(std::string_view *text, DictionaryLineEnds lineEnds) {
    const bool isStream = lineEnds == DictionaryLineEnds::Stream;
    const gsize end = isStream ? text->find_first_of("\r\n") : text->find('\n');
    std::string_view line = text->substr(0, end);
    if (end == std::string_view::npos) {
        *text = {};
        return line;
    }
    const bool isPair = isStream && text->substr(end).starts_with("\r\n");
    text->remove_prefix(end + (isPair ? 2 : 1));
    if (!isStream && line.ends_with('\r'))
        line.remove_suffix(1);
    return line;
}

/* -- writing ------------------------------------------------------------------------------------- */

/* Text that grows. What it leaves behind when it moves is wiped. */
class Output {
public:
    void Append(std::string_view text) {
        if (text.empty())
            return;
        if (text.size() > block.size() - used) {
            SecretBlock larger =
                SecretBlock::Allocate(MAX(block.size() * 2, used + text.size() + 1024));
            VERIFY(static_cast<bool>(larger));
            if (used > 0)
                memcpy(larger.data(), block.data(), used);
            block = std::move(larger);
        }
        memcpy(block.data() + used, text.data(), text.size());
        used += text.size();
    }
    void AppendLine(std::string_view text) {
        Append(text);
        Append("\n");
    }
    void AppendPair(const char *name, const char *value) {
        DynBuf line;
        DynBuf_Init(&line);
        VERIFY(DynBuf_Reserve(&line, strlen(name) + 3 * strlen(value) + 8) &&
               DictLL_MarshalLine(&line, name, value));
        Append({line.data, line.size});
        Secret_Wipe(line.data, line.size);
        DynBuf_Destroy(&line);
    }
    std::string_view Text() const { return {reinterpret_cast<const char *>(block.data()), used}; }
    char *Release(gsize *size) {
        Append(std::string_view("\0", 1));
        *size = used;
        gsize allocated;
        return reinterpret_cast<char *>(block.release(&allocated));
    }

private:
    SecretBlock block;
    gsize used = 0;
};

/* One write: a readable head and, behind it, what may be sealed. */
struct Writer {
    Dictionary *dictionary;
    bool isEncrypting;
    Output head;
    Output body;

    /* Writes an entry in canonical form. False if the encoding cannot express it. */
    bool WriteEntry(Output *output, DictionaryEntry *entry) {
        entry->written = true;
        const SecretText text = DictionaryFileText(entry);
        if (!DictionaryIsText(entry->type) || dictionary->encoding == STRING_ENCODING_UTF8) {
            output->AppendPair(entry->name, text.get());
            return true;
        }
        const SecretText encoded(Unicode_GetAllocBytes(text.get(), dictionary->encoding));
        if (encoded == nullptr) {
            const SecretText shown(
                Unicode_EscapeBuffer(text.get(), strlen(text.get()), STRING_ENCODING_UTF8));
            MsgList *message = MsgList_Create(
                "@&!*@*@(msg.dictionary.badEncodedOutput)Value \"%s\" for variable \"%s\" is not "
                "valid in the \"%s\" encoding.\n",
                shown.get(), entry->name, EncodingName(dictionary->encoding));
            MsgList_Log(message);
            MsgList_Free(message);
            return false;
        }
        output->AppendPair(entry->name, encoded.get());
        return true;
    }

    /* Writes those entries of a kind that were not written yet. */
    template <class Test> bool WriteEntries(Output *output, Test test) {
        for (DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
             entry = entry->next)
            if (!entry->written && test(entry) && !WriteEntry(output, entry))
                return false;
        return true;
    }

    /* Writes a line as it was read, or its entry if that was changed. */
    bool WriteLine(Output *output, const DictionaryLine *line) {
        DictionaryEntry *entry = line->entry;
        if (entry == nullptr || (!entry->written && (!entry->modified || entry->isDefault))) {
            if (entry != nullptr)
                entry->written = true;
            output->AppendLine(line->text);
            return true;
        }
        return entry->written || WriteEntry(output, entry);
    }

    bool WriteAll() {
        for (DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
             entry = entry->next)
            entry->written = false;

        const DictionaryLine *line = dictionary->lineList.first;
        for (; line != nullptr && line->text[0] == '#'; line = line->next)
            head.AppendLine(line->text);
        head.AppendPair(kEncodingName, EncodingName(dictionary->encoding));
        if (!WriteEntries(&head, [this](const DictionaryEntry *entry) {
                return entry->cleanSet && !entry->isDefault &&
                       (entry->line == nullptr || dictionary->keySafe != nullptr);
            }))
            return false;
        if (isEncrypting && !WriteEntries(&head, [](const DictionaryEntry *entry) {
                return entry->plain && !entry->isDefault;
            }))
            return false;

        for (; line != nullptr; line = line->next)
            if (!WriteLine(&body, line))
                return false;
        return WriteEntries(&body, [](const DictionaryEntry *entry) { return !entry->isDefault; });
    }
};

} // namespace

DictionaryLine *DictionaryAddLine(Dictionary *dictionary, std::string_view text,
                                  DictionaryLine *before) {
    auto *line =
        static_cast<DictionaryLine *>(UtilSafeMalloc0(sizeof(DictionaryLine) + text.size() + 1));
    line->entry = nullptr;
    if (!text.empty()) /* an empty one may have no address */
        memcpy(line->text, text.data(), text.size());
    line->text[text.size()] = '\0';
    dictionary->lineList.Insert(line, before);
    return line;
}

void DictionaryRemoveLine(Dictionary *dictionary, DictionaryLine *line) {
    dictionary->lineList.Remove(line);
    Secret_Wipe(line->text, strlen(line->text));
    free(line);
}

bool DictionaryReadLines(Dictionary *dictionary, std::string_view text, DictionaryLineEnds lineEnds,
                         MsgList **messages) {
    gint duplicates = 0;
    while (!text.empty()) {
        dictionary->lineNumber++;
        switch (DictionaryParseReadLine(dictionary, TakeLine(&text, lineEnds), messages)) {
        case LineResult::Fine:
            break;
        case LineResult::Duplicate:
            if (++duplicates > kMaxDuplicates) {
                Log("%s: \"%s\" line %d: too many duplicate entries in dictionary, quitting.\n",
                    "DictionaryReadLines", NameForLog(dictionary), dictionary->lineNumber);
                return false;
            }
            break;
        case LineResult::Fatal:
            return false;
        }
    }
    return duplicates == 0;
}

bool DictionarySettleEncoding(Dictionary *dictionary, bool hasMark, StringEncoding encoding,
                              MsgList **messages) {
    if (dictionary->encoding != STRING_ENCODING_UNKNOWN)
        return true;
    dictionary->lineNumber = 0;
    if (hasMark && Unicode_ResolveEncoding(encoding) != STRING_ENCODING_UTF8) {
        MsgList *discarded = nullptr;
        const bool isUtf8 =
            DictionaryUseEncoding(dictionary, nullptr, STRING_ENCODING_UTF8, &discarded);
        MsgList_Free(discarded);
        if (isUtf8)
            return true;
    }
    if (DictionaryUseEncoding(dictionary, nullptr, encoding, messages))
        return true;
    if (dictionary->fileName != nullptr)
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.badDefaultEncoding)An error occurred while decoding "
                       "file \"%s\" using the default character encoding.\n",
                       dictionary->fileName);
    else
        MsgList_Append(messages,
                       "@&!*@*@(msg.dictionary.badDefaultEncodingNoFile)Failed to decode the "
                       "dictionary in the default character encoding.\n");
    return false;
}

gboolean Dictionary_LoadFromBuffer(Dictionary *dictionary, const char *text, gboolean append) {
    return Dictionary_LoadFromBufferWithDefaultEncoding(dictionary, text, append,
                                                        STRING_ENCODING_DEFAULT);
}

gboolean Dictionary_LoadFromBufferWithDefaultEncoding(Dictionary *dictionary, const char *text,
                                                      gboolean append, StringEncoding encoding) {
    PendingMessages messages;
    if (!append)
        Dictionary_Clear(dictionary);
    dictionary->fileName = nullptr;
    dictionary->lineNumber = 0;
    const bool isLoaded =
        DictionaryReadLines(dictionary, text, DictionaryLineEnds::Buffer, messages) &&
        DictionarySettleEncoding(dictionary, false, encoding, messages);
    dictionary->lineNumber = 0;
    return isLoaded;
}

gboolean Dictionary_WriteToBuffer(Dictionary *dictionary, gboolean encrypt, char **buffer,
                                  gsize *size) {
    *buffer = nullptr;
    *size = 0;
    if (dictionary->encoding == STRING_ENCODING_UNKNOWN)
        dictionary->encoding = Unicode_GetCurrentEncoding();

    for (;;) {
        Writer writer = {.dictionary = dictionary,
                         .isEncrypting = encrypt && dictionary->keySafe != nullptr};
        if (!writer.WriteAll()) {
            Log("%s: upgrading encoding from %s to %s\n", "Dictionary_WriteToBuffer",
                EncodingName(dictionary->encoding), EncodingName(STRING_ENCODING_UTF8));
            VERIFY(Dictionary_ChangeEncoding(dictionary, STRING_ENCODING_UTF8));
            continue;
        }
        if (writer.body.Text().empty())
            writer.body.Append("\n");
        if (writer.isEncrypting) {
            SecretText safe;
            SecretText data;
            if (!DictionaryEncryptData(dictionary, writer.body.Text(), &safe, &data))
                return FALSE;
            writer.head.AppendPair(kDictionaryKeySafeName, safe.get());
            writer.head.AppendPair(kDictionaryDataName, data.get());
        } else {
            writer.head.Append(writer.body.Text());
        }
        *buffer = writer.head.Release(size);
        return TRUE;
    }
}

void Dictionary_SetFileHeader(const char *const *lines, Dictionary *dictionary) {
    DictionaryLine *first = dictionary->lineList.first;
    const DictionaryLine *line = first;
    const char *const *wanted = lines;
    while (*wanted != nullptr && line != nullptr && strcmp(*wanted, line->text) == 0) {
        wanted++;
        line = line->next;
    }
    if (*wanted == nullptr)
        return;
    for (; *lines != nullptr; lines++)
        DictionaryAddLine(dictionary, *lines, first);
}

gboolean Dictionary_SetExecPath(Dictionary *dictionary, const char *path) {
    DictionaryLine *first = dictionary->lineList.first;
    if (first != nullptr && g_str_has_prefix(first->text, "#!"))
        return FALSE;
    DictionaryAddLine(dictionary, std::string("#!") + path, first);
    return TRUE;
}

StringEncoding Dictionary_GetEncoding(const Dictionary *dictionary) {
    return dictionary->encoding;
}

void Dictionary_SetEncoding(Dictionary *dictionary, StringEncoding encoding) {
    dictionary->encoding = encoding;
}

gboolean Dictionary_ChangeEncoding(Dictionary *dictionary, StringEncoding encoding) {
    encoding = Unicode_ResolveEncoding(encoding);
    const auto isText = [](const DictionaryEntry *entry) {
        return DictionaryIsText(entry->type) && entry->value.string != nullptr;
    };
    for (const DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        if (isText(entry) &&
            SecretText(Unicode_GetAllocBytes(entry->value.string, encoding)) == nullptr)
            return FALSE;
    if (dictionary->encoding == encoding)
        return TRUE;
    for (DictionaryEntry *entry = dictionary->entryList.first; entry != nullptr;
         entry = entry->next)
        if (isText(entry))
            entry->modified = true;
    dictionary->encoding = encoding;
    return TRUE;
}
