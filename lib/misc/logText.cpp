#include "lib/misc/logText.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "lib/misc/log.h"

namespace {

constexpr LogLevelRow kLevels[] = {
    {LOG_LEVEL_FATAL, LOG_LEVEL_FATAL, 'E', 0},     {LOG_LEVEL_ERROR, LOG_LEVEL_ERROR, 'E', 3},
    {LOG_LEVEL_WARNING, LOG_LEVEL_WARNING, 'W', 4}, {LOG_LEVEL_AUDIT, LOG_LEVEL_AUDIT, 'A', 5},
    {LOG_LEVEL_INFO, LOG_LEVEL_INFO, 'I', 5},       {LOG_LEVEL_VERBOSE, LOG_LEVEL_VERBOSE, 'I', 6},
    {LOG_LEVEL_TRIVIA, LOG_LEVEL_TRIVIA, 'I', 6},   {LOG_LEVEL_DEBUG, LOG_LEVEL_DEBUG_LAST, 'D', 7},
};

constexpr guint8 kNoRow = G_MAXUINT8;

/* The row of each level from FATAL on, as an index. */
constexpr auto kRowOfLevel = [] {
    std::array<guint8, LOG_LEVEL_DEBUG_LAST - LOG_LEVEL_FATAL + 1> rows;
    rows.fill(kNoRow);
    for (size_t row = 0; row < std::size(kLevels); row++) {
        for (gint level = kLevels[row].first; level <= kLevels[row].last; level++)
            rows[level - LOG_LEVEL_FATAL] = guint8(row);
    }
    return rows;
}();

const LogLevelRow *LogFindRow(gint level) {
    if (level < LOG_LEVEL_FATAL || level > LOG_LEVEL_DEBUG_LAST)
        return nullptr;
    const guint8 row = kRowOfLevel[level - LOG_LEVEL_FATAL];
    return row != kNoRow ? &kLevels[row] : nullptr;
}

bool IsControl(guchar byte) {
    return (byte < 0x20 && byte != '\t' && byte != '\n') || byte == 0x7f;
}

/* U+0080 to U+009F, which terminals interpret like the control bytes. */
bool IsHighControl(std::string_view rest) {
    return rest.size() > 1 && guchar(rest[0]) == 0xc2 && guchar(rest[1]) < 0xa0;
}

/* A control byte, or the first byte of a high one. */
bool IsSuspect(char byte) {
    return IsControl(guchar(byte)) || guchar(byte) == 0xc2;
}

using Bytes16 = guint8 __attribute__((vector_size(16)));

/* As IsSuspect(), of sixteen bytes: a lane is not zero where the byte is suspect. */
auto FindSuspects(const char *text) {
    Bytes16 bytes;
    memcpy(&bytes, text, sizeof bytes);
    return ((bytes < 0x20) & (bytes != '\t') & (bytes != '\n')) | (bytes == 0x7f) | (bytes == 0xc2);
}

using SignedBytes16 = gint8 __attribute__((vector_size(16)));

/* As FindSuspects(), but tabs, newlines and all bytes above 0x7f are found, too: one comparison for all. */
auto FindCandidates(const char *text) {
    Bytes16 bytes;
    memcpy(&bytes, text, sizeof bytes);
    return reinterpret_cast<SignedBytes16>(bytes + 1) < 0x21;
}

/* As FindCandidates(), but for zeros. */
auto FindNameSuspects(const char *text) {
    Bytes16 bytes;
    memcpy(&bytes, text, sizeof bytes);
    return FindCandidates(text) & (bytes != 0);
}

/* Whether a function finds something in a text of at least sixteen bytes. */
template <class Find> bool IsFound(std::string_view text, Find find) {
    constexpr size_t kStep = sizeof(Bytes16);
    const char *last = text.data() + text.size() - kStep; /* overlaps the step before it */
    auto found = find(last);
    for (const char *at = text.data(); at < last; at += kStep)
        found |= find(at);
    guint64 halves[2];
    memcpy(halves, &found, sizeof halves);
    return (halves[0] | halves[1]) != 0;
}

bool IsContinuation(char byte) {
    return (guchar(byte) & 0xc0) == 0x80;
}

/* Returns the number of bytes of the character that a byte begins; 1 for a byte that begins none. */
size_t CharacterLength(guchar byte) {
    if (byte >= 0xc2 && byte < 0xe0)
        return 2;
    if (byte >= 0xe0 && byte < 0xf0)
        return 3;
    return byte >= 0xf0 && byte < 0xf5 ? 4 : 1;
}

} // namespace

const LogLevelRow &LogText_FindLevel(gint level) {
    const LogLevelRow *row = LogFindRow(level);
    return row != nullptr ? *row : *LogFindRow(LOG_LEVEL_INFO);
}

gint LogText_KnownLevel(gint level) {
    return LogFindRow(level) != nullptr ? level : LOG_LEVEL_INFO;
}

size_t LogText_WholeLength(std::string_view text, size_t limit) {
    if (text.size() <= limit)
        return text.size();
    size_t last = limit; /* the beginning of the last character that has a byte within the limit */
    while (last > 0 && IsContinuation(text[last - 1]))
        last--;
    if (last == 0)
        return 0;
    last--;
    const size_t end = last + CharacterLength(guchar(text[last]));
    return end <= limit ? end : last;
}

size_t LogText_SafeTruncate(char *buffer, size_t size) {
    const std::string_view text(buffer);
    if (size < 2)
        return 0;
    // A text that fills the buffer has been cut there, perhaps inside a character.
    const size_t limit = size - 2;
    const size_t length = text.size() <= limit ? text.size() : LogText_WholeLength(text, limit);
    if (length == 0)
        return 0;
    buffer[length] = '\n';
    buffer[length + 1] = '\0';
    return length + 1;
}

bool LogText_HasControls(std::string_view text) {
    if (text.ends_with('\n'))
        text.remove_suffix(1);
    if (text.size() < sizeof(Bytes16))
        return std::ranges::any_of(text, IsSuspect);
    return IsFound(text, FindCandidates) && IsFound(text, FindSuspects);
}

std::string LogText_EscapeControls(std::string_view text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string escaped;
    escaped.reserve(text.size() + text.size() / 8);
    for (size_t i = 0; i < text.size(); i++) {
        const guchar byte = guchar(text[i]);
        if (text.substr(i).starts_with("\r\n"))
            continue;
        const bool isHigh =
            IsHighControl(text.substr(i)) || (i > 0 && IsHighControl(text.substr(i - 1)));
        if (!IsControl(byte) && !isHigh) {
            escaped += text[i];
            continue;
        }
        for (char c : {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]})
            escaped += c;
    }
    return escaped;
}

void LogText_MaskControls(char *text, size_t length) {
    for (size_t i = 0; i < length; i++) {
        const bool isHigh = IsHighControl({text + i, length - i});
        if (!isHigh && !IsControl(guchar(text[i])))
            continue;
        text[i] = '?';
        if (isHigh)
            text[++i] = '?';
    }
}

void LogText_MaskName(char *name, size_t size) {
    name[size - 1] = '\0';
    if (!IsFound({name, size}, FindNameSuspects)) [[likely]]
        return;
    const size_t length = strlen(name);
    LogText_MaskControls(name, length);
    std::ranges::replace_if(
        name, name + length, [](char byte) { return byte == '\t' || byte == '\n'; }, '?');
    memset(name + length, 0, size - length);
}
