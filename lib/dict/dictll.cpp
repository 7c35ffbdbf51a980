#include "lib/dict/dictll.h"

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "lib/misc/escape.h"
#include "lib/misc/panic.h"
#include "lib/misc/secret.h"

namespace {

constexpr char kEscape = '|';
constexpr std::string_view kBOM = "\xef\xbb\xbf";

using ByteClass = std::array<bool, 256>;

/* All bytes except the listed ones. */
constexpr ByteClass AllBut(std::string_view bytes) {
    ByteClass all;
    all.fill(true);
    for (char c : bytes)
        all[static_cast<guint8>(c)] = false;
    return all;
}

constexpr ByteClass ws_in = [] {
    ByteClass blanks = {};
    blanks['\t'] = blanks[' '] = true;
    return blanks;
}();
constexpr ByteClass wspe_out = AllBut({"\0\t #=", 5});
constexpr ByteClass wsp_out = AllBut({"\0\t #", 4});
constexpr ByteClass q_out = AllBut({"\0\"", 2});

constexpr std::array<int, 256> toEscape = [] {
    std::array<int, 256> marked = {};
    for (int c = 0; c < 0x20; c++)
        marked[c] = c != '\t';
    marked['"'] = marked[kEscape] = marked[0x7f] = 1;
    return marked;
}();

/* Removes the bytes of a class from the start of the text and returns them. */
std::string_view Take(std::string_view *text, const ByteClass &bytes) {
    const std::string_view all = *text;
    gsize size = 0;
    while (size < all.size() && bytes[static_cast<guint8>(all[size])])
        size++;
    *text = all.substr(size);
    return all.substr(0, size);
}

/* Removes one character from the start of the text, if it is the wanted one. */
bool TakeOne(std::string_view *text, char wanted) {
    if (!text->starts_with(wanted))
        return false;
    text->remove_prefix(1);
    return true;
}

/* Returns a copy with a NUL; NULL without memory. */
char *CopyText(std::string_view text) {
    auto *copy = static_cast<char *>(malloc(text.size() + 1));
    if (copy == nullptr)
        return nullptr;
    if (!text.empty()) /* an empty one may have no address */
        memcpy(copy, text.data(), text.size());
    copy[text.size()] = '\0';
    return copy;
}

/* Takes a line apart. What follows a NUL is no part of it. False without memory. */
bool SplitLine(std::string_view text, char **name, char **value) {
    text = text.substr(0, text.find('\0'));
    std::string_view rawName;
    std::string_view rawValue;
    if (!DictLL_ParsePair(text, &rawName, &rawValue))
        return true;
    SecretText nameCopy(CopyText(rawName));
    if (nameCopy == nullptr)
        return false;
    *value = DictLL_UnescapeValue(rawValue);
    VERIFY(*value != nullptr);
    *name = nameCopy.release();
    return true;
}

/* A line that grows byte by byte. What it leaves behind when it moves is wiped. */
struct LineBuffer {
    SecretBlock block;
    gsize size = 0;

    bool Add(char c) {
        if (size == block.size()) {
            SecretBlock larger = SecretBlock::Allocate(MAX(block.size() * 2, gsize{128}));
            if (!larger)
                return false;
            if (size > 0)
                memcpy(larger.data(), block.data(), size);
            block = std::move(larger);
        }
        block.data()[size++] = static_cast<guint8>(c);
        return true;
    }
};

} // namespace

bool DictLL_ParsePair(std::string_view line, std::string_view *name, std::string_view *value) {
    Take(&line, ws_in);
    *name = Take(&line, wspe_out);
    Take(&line, ws_in);
    if (name->empty() || !TakeOne(&line, '='))
        return false;
    Take(&line, ws_in);
    if (TakeOne(&line, '"')) {
        *value = Take(&line, q_out);
        if (!TakeOne(&line, '"'))
            return false;
    } else {
        *value = Take(&line, wsp_out);
    }
    Take(&line, ws_in);
    return line.empty() || line.front() == '#';
}

char *DictLL_UnescapeValue(std::string_view value) {
    if (value.find(kEscape) == std::string_view::npos)
        return CopyText(value);
    return Escape_Undo(kEscape, value.data(), value.size(), nullptr);
}

gint StdIO_ReadNextLine(FILE *stream, char **line, gsize maxLength, gsize *length) {
    *line = nullptr;
    if (length != nullptr)
        *length = 0;

    LineBuffer buffer;
    bool isEnded = false;
    flockfile(stream);
    for (;;) {
        const int c = getc_unlocked(stream);
        if (c == EOF)
            break;
        isEnded = c == '\n' || c == '\r';
        if (c == '\r') {
            const int next = getc_unlocked(stream);
            if (next != '\n' && next != EOF)
                ungetc(next, stream);
        }
        if (isEnded)
            break;
        const bool isTooLong = maxLength != 0 && buffer.size == maxLength;
        if (isTooLong || !buffer.Add(static_cast<char>(c))) {
            funlockfile(stream);
            errno = isTooLong ? E2BIG : ENOMEM;
            return STDIO_ERROR;
        }
    }
    funlockfile(stream);

    if (!isEnded && ferror(stream))
        return STDIO_ERROR;
    if (!isEnded && buffer.size == 0)
        return STDIO_EOF;
    *line = CopyText({reinterpret_cast<const char *>(buffer.block.data()), buffer.size});
    if (*line == nullptr) {
        errno = ENOMEM;
        return STDIO_ERROR;
    }
    if (length != nullptr)
        *length = buffer.size;
    return STDIO_SUCCESS;
}

gboolean DictLL_ReadUTF8BOM(FILE *stream) {
    if (stream == stdin) /* cannot be rewound */
        return FALSE;
    char start[kBOM.size()];
    const gsize size = fread(start, 1, sizeof start, stream);
    if (std::string_view(start, size) == kBOM)
        return TRUE;
    clearerr(stream);
    if (fseek(stream, 0, SEEK_SET) != 0) /* a pipe */
        for (gsize i = size; i > 0; i--)
            ungetc(static_cast<guchar>(start[i - 1]), stream);
    return FALSE;
}

gint DictLL_ReadLine(FILE *stream, char **line, char **name, char **value) {
    *name = *value = nullptr;
    gsize length;
    const gint result = StdIO_ReadNextLine(stream, line, 0, &length);
    if (result != STDIO_SUCCESS)
        return result;
    if (!SplitLine({*line, length}, name, value)) {
        Secret_FreeText(*line);
        *line = nullptr;
        errno = ENOMEM;
        return STDIO_ERROR;
    }
    return STDIO_SUCCESS;
}

const char *DictLL_UnmarshalLine(const char *buffer, gsize size, char **line, char **name,
                                 char **value) {
    *line = *name = *value = nullptr;
    if (size == 0)
        return nullptr;
    const auto *end = static_cast<const char *>(memchr(buffer, '\n', size));
    const std::string_view text(buffer, end != nullptr ? static_cast<gsize>(end - buffer) : size);
    SecretText copy(CopyText(text));
    if (copy == nullptr || !SplitLine(text, name, value))
        return nullptr;
    *line = copy.release();
    return end != nullptr ? end + 1 : buffer + size;
}

gboolean DictLL_MarshalLine(DynBuf *output, const char *name, const char *value) {
    if (name == nullptr)
        return DynBuf_AppendString(output, value) && DynBuf_Append(output, "\n", 1);
    gsize size;
    SecretText escaped(Escape_Do(kEscape, toEscape.data(), value, strlen(value), &size));
    return escaped != nullptr && DynBuf_AppendString(output, name) &&
           DynBuf_AppendString(output, " = \"") && DynBuf_Append(output, escaped.get(), size) &&
           DynBuf_AppendString(output, "\"\n");
}

gboolean DictLL_WriteLine(FILE *stream, const char *name, const char *value) {
    DynBuf buffer;
    DynBuf_Init(&buffer);
    gboolean isWritten = DictLL_MarshalLine(&buffer, name, value);
    if (!isWritten)
        errno = ENOMEM;
    else
        isWritten = fwrite(buffer.data, 1, buffer.size, stream) == buffer.size;
    const int savedErrno = errno;
    Secret_Wipe(buffer.data, buffer.size);
    DynBuf_Destroy(&buffer);
    errno = savedErrno;
    return isWritten;
}
