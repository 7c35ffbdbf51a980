/*
 * The ring is an array of small slots. A line takes as many consecutive slots as its text requires. Their
 * numbers (tickets) always increase, and slot = ticket modulo the number of slots.
 *
 *   state of a slot:  2 * ticket + 1  while being written  ->  2 * ticket + 2  whole
 *
 * A reader reads the state before and after copying a slot, and uses the copy only if both belong to the
 * ticket that it looks for. A writer drops its line if a slot is still being written by a thread that is a
 * whole round behind. So no thread waits. The text is kept in atomic words because a reader may read it while
 * it changes.
 */
#include "lib/misc/log.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "lib/misc/atomicFence.h"
#include "lib/misc/glibPtr.h"

namespace {

constexpr size_t kNumSlots = 512;
constexpr size_t kWordsInSlot = 14;
constexpr size_t kSlotText = kWordsInSlot * sizeof(guint64);
constexpr size_t kMaxLine = kNumSlots / 2 * kSlotText; /* the rest of a longer one is cut off */
constexpr size_t kFirstTry = 1024;
constexpr size_t kMaxMessage = 32768;

struct SlotHead {
    guint8 level;
    guint8 isContinued;  /* not the first line of its message */
    guint16 length;      /* of the text in this slot */
    guint16 slotsBefore; /* of the same line */
    guint16 slotsAfter;
};
static_assert(sizeof(SlotHead) == sizeof(guint64));

struct Slot {
    std::atomic<guint64> state;
    std::atomic<guint64> head;
    std::array<std::atomic<guint64>, kWordsInSlot> words;
};

struct Ring {
    std::array<Slot, kNumSlots> slots;
    std::atomic<guint64> next;  /* ticket of the next slot to be written */
    std::atomic<guint64> start; /* the oldest ticket that may be shown */
};

constinit Ring ring{};

struct LevelRow {
    gint first;
    gint last;
    char letter;
};

constexpr LevelRow kLevels[] = {
    {LOG_LEVEL_FATAL, LOG_LEVEL_FATAL, 'E'},     {LOG_LEVEL_ERROR, LOG_LEVEL_ERROR, 'E'},
    {LOG_LEVEL_WARNING, LOG_LEVEL_WARNING, 'W'}, {LOG_LEVEL_AUDIT, LOG_LEVEL_AUDIT, 'A'},
    {LOG_LEVEL_INFO, LOG_LEVEL_INFO, 'I'},       {LOG_LEVEL_VERBOSE, LOG_LEVEL_VERBOSE, 'I'},
    {LOG_LEVEL_TRIVIA, LOG_LEVEL_TRIVIA, 'I'},   {LOG_LEVEL_DEBUG, LOG_LEVEL_DEBUG_LAST, 'D'},
};

/* Returns the letter of a level; NUL if the level is unknown. */
char LogLetter(gint level) {
    for (const LevelRow &row : kLevels) {
        if (level >= row.first && level <= row.last)
            return row.letter;
    }
    return '\0';
}

bool RingWriteSlot(guint64 ticket, const SlotHead &head, std::string_view text) {
    Slot &slot = ring.slots[ticket % kNumSlots];
    guint64 state = slot.state.load(std::memory_order_relaxed);
    const guint64 writing = 2 * ticket + 1;
    if (state % 2 != 0 || state > writing || !Atomic_CompareExchange(&slot.state, &state, writing))
        return false;

    guint64 word = 0;
    memcpy(&word, &head, sizeof word);
    slot.head.store(word, std::memory_order_release);
    for (size_t at = 0; at < text.size(); at += sizeof word) {
        const std::string_view piece = text.substr(at, sizeof word);
        word = 0;
        memcpy(&word, piece.data(), piece.size());
        slot.words[at / sizeof word].store(word, std::memory_order_release);
    }
    slot.state.store(writing + 1, std::memory_order_release);
    return true;
}

void RingAdd(gint level, bool isContinued, std::string_view line) {
    line = line.substr(0, kMaxLine);
    const size_t count = std::max<size_t>(1, (line.size() + kSlotText - 1) / kSlotText);
    const guint64 ticket = Atomic_FetchAdd(&ring.next, count);
    for (size_t i = 0; i < count; i++) {
        const std::string_view text = line.substr(i * kSlotText, kSlotText);
        const SlotHead head{guint8(level), isContinued, guint16(text.size()), guint16(i),
                            guint16(count - 1 - i)};
        if (!RingWriteSlot(ticket + i, head, text))
            return; /* readers see that the line is incomplete */
    }
}

/* Copies a slot. Returns false unless it holds this ticket completely. */
bool RingReadSlot(guint64 ticket, SlotHead *head, char *text) {
    const Slot &slot = ring.slots[ticket % kNumSlots];
    const guint64 whole = 2 * ticket + 2;
    if (slot.state.load(std::memory_order_acquire) != whole)
        return false;
    guint64 word = slot.head.load(std::memory_order_acquire);
    memcpy(head, &word, sizeof word);
    for (size_t i = 0; i < kWordsInSlot; i++) {
        word = slot.words[i].load(std::memory_order_acquire);
        memcpy(text + i * sizeof word, &word, sizeof word);
    }
    return slot.state.load(std::memory_order_acquire) == whole;
}

bool IsControl(guchar byte) {
    return (byte < 0x20 && byte != '\t') || byte == 0x7f;
}

/* U+0080 to U+009F, which terminals interpret like the control bytes. */
bool IsHighControl(std::string_view rest) {
    return rest.size() > 1 && guchar(rest[0]) == 0xc2 && guchar(rest[1]) < 0xa0;
}

/* Writes a text with its control bytes escaped, as far as the buffer has room. */
std::string_view LogEscapeControls(std::string_view text, std::span<char> buffer) {
    constexpr char kDigits[] = "0123456789abcdef";
    size_t used = 0;
    for (size_t i = 0; i < text.size() && used + 4 <= buffer.size(); i++) {
        const guchar byte = guchar(text[i]);
        const bool isHigh = IsHighControl(text.substr(i));
        if (!IsControl(byte) && !isHigh && !(i > 0 && IsHighControl(text.substr(i - 1)))) {
            buffer[used++] = text[i];
            continue;
        }
        for (char c : {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]})
            buffer[used++] = c;
    }
    return {buffer.data(), used};
}

/* Adds each line of a message. A newline at the end adds no empty line. */
void LogAddLines(gint level, std::string_view message) {
    char shown[kFirstTry * 4];
    for (bool isContinued = false;; isContinued = true) {
        const size_t end = message.find('\n');
        std::string_view line = message.substr(0, end);
        if (end != std::string_view::npos && line.ends_with('\r'))
            line.remove_suffix(1);
        const bool isClean = std::ranges::none_of(
            line, [](char c) { return IsControl(guchar(c)) || guchar(c) == 0xc2; });
        RingAdd(level, isContinued, isClean ? line : LogEscapeControls(line, shown));
        if (end == std::string_view::npos || end + 1 == message.size())
            return;
        message.remove_prefix(end + 1);
    }
}

} // namespace

void LogV(gint level, const char *format, va_list arguments) {
    const int savedErrno = errno;
    if (LogLetter(level) == '\0')
        level = LOG_LEVEL_INFO;

    char first[kFirstTry];
    va_list again;
    va_copy(again, arguments);
    const int length = vsnprintf(first, sizeof first, format, arguments);
    if (length >= int(sizeof first)) {
        const size_t size = std::min(size_t(length) + 1, kMaxMessage);
        const MallocPtr<char> large(static_cast<char *>(malloc(size)));
        if (large)
            vsnprintf(large.get(), size, format, again);
        LogAddLines(level, large ? large.get() : first);
    } else if (length >= 0) {
        LogAddLines(level, first);
    }
    va_end(again);
    errno = savedErrno;
}

void Log(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogV(LOG_LEVEL_INFO, format, arguments);
    va_end(arguments);
}

void Warning(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogV(LOG_LEVEL_WARNING, format, arguments);
    va_end(arguments);
}

void Log_Audit(const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogV(LOG_LEVEL_AUDIT, format, arguments);
    va_end(arguments);
}

void Log_Level(gint level, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogV(level, format, arguments);
    va_end(arguments);
}

void LogRing_ForEach(LogRingFunc function, gpointer data) {
    const guint64 end = ring.next.load(std::memory_order_acquire);
    const guint64 oldest = end > kNumSlots ? end - kNumSlots : 0;
    guint64 ticket = std::max(ring.start.load(std::memory_order_acquire), oldest);
    std::string line;
    guint16 slotsRead = 0; /* of the line being put together */
    for (; ticket < end; ticket++) {
        SlotHead head;
        char text[kSlotText];
        const bool isWhole = RingReadSlot(ticket, &head, text);
        if (!isWhole || head.slotsBefore == 0) { /* the line before is incomplete */
            line.clear();
            slotsRead = 0;
        }
        if (!isWhole || head.slotsBefore != slotsRead)
            continue;
        line.append(text, head.length);
        slotsRead++;
        if (head.slotsAfter == 0)
            function(head.level, head.isContinued, line.c_str(), data);
    }
}

char *LogRing_Copy(void) {
    GString *all = g_string_new(nullptr);
    LogRing_ForEach(
        [](gint level, gboolean isContinued, const char *line, gpointer data) {
            g_string_append_printf(static_cast<GString *>(data), "%c%c%s\n", LogLetter(level),
                                   isContinued ? '+' : ' ', line);
        },
        all);
    return g_string_free(all, FALSE);
}

void LogRing_Clear(void) {
    ring.start.store(ring.next.load(std::memory_order_acquire), std::memory_order_release);
}
