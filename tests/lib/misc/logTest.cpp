#include "lib/misc/log.h"

#include <gtest/gtest.h>

#include "lib/lock/vthreadBase.h"
#include "lib/misc/hostinfo.h"
#include "lib/misc/logThrottle.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/lib/misc/logRecorder.h"
#include "tests/support/inChild.h"
#include "tests/support/logText.h"

namespace {

std::string Times(size_t count, const char *text) {
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

struct LogTest : testing::Test {
    LogTest() { LogRing_Clear(); }
    ~LogTest() override {
        Log_Exit();
        HostinfoSetClocks(nullptr);
        EXPECT_EQ(0, LogRecorder::living);
    }
    LogRecorder *Attach(const char *name = "a", guint32 type = kLogTypeSingle) {
        LogRecorder *recorder = LogRecorder::New(name, type);
        EXPECT_TRUE(Log_AddOutput(recorder));
        return recorder;
    }
    void Logged(const std::string &text) { Log("%s", text.c_str()); }

    static inline gint64 realTime = 0;
    static inline guint64 timer = 0;
    static constexpr HostinfoClocks kStepped = {[] { return timer; }, [] { return realTime; }};
};

TEST_F(LogTest, RingKeepsLinesWithTheirLevels) {
    errno = ERANGE;
    Log("SSL: %d of %s\n", 3, "four");
    Warning("in ");
    Log("pieces\n");
    Log_Audit("taken\n");
    Log("%s", "");
    const std::pair<gint, const char *> rows[] = {
        {100, "E 100\n"}, {105, "E 105\n"}, {110, "W 110\n"}, {115, "A 115\n"},
        {120, "I 120\n"}, {125, ""},        {135, ""},        {145, ""},
        {146, "I 146\n"}, {99, "I 99\n"},   {-1, "I -1\n"},   {371, "I 371\n"}};
    std::string expected = "I SSL: 3 of four\nW in pieces\nA taken\n";
    for (const auto &[level, kept] : rows) {
        Log_Level(level, "%d\n", level);
        expected += kept;
    }
    EXPECT_EQ(ERANGE, errno);
    EXPECT_EQ(expected, LogText());
    LogRing_Clear();
    EXPECT_EQ("", LogText());
}

TEST_F(LogTest, MessagesBecomeLines) {
    LogRecorder *recorder = Attach();
    const std::pair<std::vector<const char *>, const char *> rows[] = {
        {{"a\n"}, "I120: a\n"},
        {{""}, ""},
        {{"a\nb\nc\n"}, "I120: a\nI120+ b\nI120+ c\n"},
        {{"a\n\n"}, "I120: a\nI120: \n"},
        {{"a\n\nb\n"}, "I120: a\nI120+ \nI120+ b\n"},
        {{"a", "b", "c\n"}, "I120: abc\n"},
        {{"a", "b\nc\n"}, "I120: ab\nI120+ c\n"},
        {{"x\r\nE 1\x1b[2J\tq\x7f\xc2\x9b"
          "1m \xc2\xa7 \xc3\x84\rend\n"},
         "I120: x\nI120+ E 1\\x1b[2J\tq\\x7f\\xc2\\x9b1m \xc2\xa7 \xc3\x84\\x0dend\n"},
    };
    for (const auto &[pieces, lines] : rows) {
        recorder->text.clear();
        for (const char *piece : pieces)
            Logged(piece);
        EXPECT_EQ(lines, recorder->text);
    }
}

TEST(LogText, AControlByteIsFoundAtEachPlace) {
    for (size_t size = 1; size < 50; size++)
        for (size_t at = 0; at < size; at++)
            for (const char c : {'\0', '\x1b', '\x1f', '\x7f', '\xc2', '\t', '\n', ' ', '\xc3'}) {
                std::string text(size, 'a');
                text[at] = c;
                EXPECT_EQ(strchr("\t\n \xc3", c) == nullptr || c == '\0', LogText_HasControls(text))
                    << size << " " << at << " " << int(c);
            }
}

TEST_F(LogTest, LongMessagesAreCutAtACharacter) {
    LogRecorder *recorder = Attach();
    const std::pair<std::string, std::string> rows[] = {
        {Times(318, "y") + "\n", Times(318, "y") + "\n"},
        {Times(319, "y") + "\n", Times(319, "y") + "\n"},
        {Times(320, "y") + "\n", Times(320, "y") + "\n"},
        {Times(32766, "y") + "\n", Times(32766, "y") + "\n"},
        {Times(32767, "y") + "\n", Times(32766, "y") + "\n"},
        {Times(40000, "\xc3\xa4"), Times(16383, "\xc3\xa4") + "\n"},
        {"z" + Times(40000, "\xc3\xa4"), "z" + Times(16382, "\xc3\xa4") + "\n"},
        {Times(40000, "\x80"), "*LONG LINE TRUNCATION*\n"},
    };
    for (const auto &[message, line] : rows) {
        recorder->text.clear();
        Logged(message);
        EXPECT_EQ("I120: " + line, recorder->text) << message.size();
    }
}

TEST_F(LogTest, RingKeepsTheNewestLinesForTheFirstOutput) {
    for (int i = 0; i < 1000; i++)
        Log("%d %s\n", i, std::string(i % 300, '.').c_str());
    const std::string all = LogText();
    EXPECT_EQ(0u, all.find("I 8")); /* whole, and the oldest of what 32,768 bytes hold */
    EXPECT_LT(all.size(), 32768u);
    EXPECT_GT(all.size(), 20000u);
    LogRecorder *first = Attach();
    std::string dispatched;
    for (size_t at = 0; at < all.size(); at = all.find('\n', at) + 1)
        dispatched += "I120: " + all.substr(at + 2, all.find('\n', at) - at - 1);
    EXPECT_EQ(dispatched, first->text);
    EXPECT_EQ("", LogText());
    EXPECT_EQ("", Attach("b", 1)->text);
}

TEST_F(LogTest, RingHoldsLinesOfAnySizeAndInPieces) {
    for (size_t size : {1u, 319u, 32684u}) {
        LogRing_Clear();
        Logged("before\n");
        Logged(std::string(size, 'y') + "\n");
        EXPECT_EQ((size < 1000 ? "I before\nI " : "I ") + std::string(size, 'y') + "\n", LogText());
    }
    for (size_t size : {32685u, 32766u, 90000u}) {
        Logged(std::string(size, 'y') + "\n");
        EXPECT_EQ("I " + std::string(32684, 'y') + "\n", LogText()) << size;
    }
    // A line that never ends loses its beginning, and keeps its header.
    LogRing_Clear();
    for (int i = 0; i < 500; i++)
        Logged(Times(10, "0123456789"));
    EXPECT_EQ(0u, LogText().find("I 0123456789"));
    Logged("\n");
    EXPECT_EQ(0u, Attach()->text.find("I120: 0123456789"));
}

TEST_F(LogTest, LineBegunBeforeTheFirstOutputArrivesWhole) {
    Logged("abc");
    LogRecorder *recorder = Attach();
    EXPECT_EQ("", recorder->text);
    Logged("def\nghi\n");
    EXPECT_EQ("I120: abcdef\nI120: ghi\n", recorder->text);
}

TEST_F(LogTest, OutputsThatLogAreNotEntered) {
    LogRecorder *recorder = Attach();
    int calls = 0;
    recorder->onDispatch = [&] { Log("inner %d\n", ++calls); };
    Logged("1\n");
    EXPECT_EQ("I120: 1\n", recorder->text);
    EXPECT_EQ("I inner 1\n", LogText());
    Logged("2\n");
    EXPECT_EQ("I120: 1\nI120: inner 1\nI120: 2\n", recorder->text);
    Log_SkipLocking(TRUE);
    Logged("3\n");
    Log_SkipLocking(FALSE);
    EXPECT_EQ("I inner 4\nI inner 5\nI inner 6\n", LogText());
    recorder->onDispatch = [&] { EXPECT_TRUE(Log_ReplaceOutput(recorder, nullptr, FALSE)); };
    Logged("4\n"); /* the output is freed while it is in use */
    EXPECT_FALSE(Log_Outputting());
}

TEST_F(LogTest, LevelsChooseTheOutputs) {
    LogRecorder *quiet = Attach();
    LogRecorder *loud = Attach("loud", 1);
    EXPECT_EQ(120, Log_SetOutputLevel(quiet, 110));
    EXPECT_EQ(120, Log_SetOutputLevel(loud, 130));
    for (gint level : {100, 110, 115, 120, 130, 135, 122})
        Log_Level(level, "%d\n", level);
    EXPECT_EQ("E100: 100\nW110: 110\nA115: 115\n", quiet->text);
    EXPECT_EQ("E100: 100\nW110: 110\nA115: 115\nI120: 120\nI130: 130\nI120: 122\n", loud->text);
    Log_DisableThrottling();
    EXPECT_TRUE(quiet->text.ends_with("unthrottled\n") && loud->text.ends_with("unthrottled\n"));
}

TEST_F(LogTest, StderrHasItsOwnLevel) {
    EXPECT_EQ(-1, Log_SetStderrLevel(145));
    testing::internal::CaptureStderr();
    Log_Level(145, "debug \x1b\n");
    Log("two\nlines");
    Log_Audit("never\n");
    EXPECT_EQ("debug \\x1b\ntwo\nlines", testing::internal::GetCapturedStderr());
    Attach();
    EXPECT_EQ(-1, Log_GetStderrLevel()); /* the output's */
    InChild([] {
        close(STDERR_FILENO);
        Log_SetStderrLevel(145);
        alarm(20); /* a line that cannot be written is lost */
        Log("lost\n");
    });
}

TEST_F(LogTest, OutputsAreAttachedByRules) {
    LogRecorder *first = Attach();
    const auto refused = [](LogRecorder *output) {
        const bool isRefused = !Log_AddOutput(output);
        EXPECT_EQ(isRefused, Log_FreeOutput(output) != FALSE);
        return isRefused;
    };
    EXPECT_TRUE(refused(LogRecorder::New("a", 1)));
    EXPECT_TRUE(refused(LogRecorder::New("", 1)));
    EXPECT_TRUE(refused(LogRecorder::New("second", kLogTypeSingle)));
    EXPECT_TRUE(refused(LogRecorder::New("alone", kLogTypeAlone)));
    LogRecorder *broken = LogRecorder::New("broken", 1);
    broken->canActivate = false;
    EXPECT_TRUE(refused(broken));
    EXPECT_FALSE(Log_AddOutput(first)); /* is attached */
    for (int i = 2; i <= 10; i++)
        Attach(std::to_string(i).c_str(), 1);
    EXPECT_TRUE(refused(LogRecorder::New("eleventh", 1)));

    LogRecorder *unrelated = LogRecorder::New("a");
    EXPECT_FALSE(Log_ReplaceOutput(unrelated, nullptr, FALSE));
    EXPECT_FALSE(Log_ReplaceOutput(first, unrelated, TRUE)); /* not a file */
    EXPECT_FALSE(Log_ReplaceOutput(first, nullptr, TRUE));
    unrelated->name = "b";
    EXPECT_FALSE(Log_ReplaceOutput(first, unrelated, FALSE));
    unrelated->name = "a";
    EXPECT_TRUE(Log_ReplaceOutput(first, unrelated, FALSE));
    Logged("x\n");
    EXPECT_EQ("I120: x\n", unrelated->text);
    EXPECT_TRUE(Log_ReplaceOutput(unrelated, nullptr, FALSE));
    EXPECT_EQ(9, LogRecorder::living);
    EXPECT_TRUE(Log_FreeOutput(nullptr));
    Log_Exit();
    Attach("alone", kLogTypeAlone);
}

TEST_F(LogTest, StampsHaveTheZoneAndAreReusedInSignals) {
    const char *before = getenv("TZ");
    const std::string kept = before != nullptr ? before : "";
    HostinfoSetClocks(&kStepped);
    LogRecorder *recorder = Attach();
    const auto stamp = [&] {
        Logged("x\n");
        return std::string(recorder->last.dateTime) + " " + recorder->last.milliseconds + " " +
               recorder->last.zone;
    };
    const std::tuple<const char *, gint64, const char *> rows[] = {
        {"UTC0", 1772356502123456, "2026-03-01T09:15:02 .123 Z"},
        {"CET-1", 1772356503000000, "2026-03-01T10:15:03 .000 +01:00"},
        {"CET-1", 1772356503999999, "2026-03-01T10:15:03 .999 +01:00"},
        {"ABC3:30", 1772356504000000, "2026-03-01T05:45:04 .000 -03:30"}};
    for (const auto &[zone, microseconds, expected] : rows) {
        setenv("TZ", zone, 1);
        tzset();
        realTime = microseconds;
        EXPECT_EQ(expected, stamp());
    }
    realTime += 7250000;
    const guint32 id = VThreadBase_CurID();
    VThreadBase_SetIsInSignal(id, TRUE);
    EXPECT_EQ("2026-03-01T05:45:04-03:30[+7 .250 ]", stamp());
    VThreadBase_SetIsInSignal(id, FALSE);
    EXPECT_EQ("2026-03-01T05:45:11 .250 -03:30", stamp());
    before != nullptr ? setenv("TZ", kept.c_str(), 1) : unsetenv("TZ");
    tzset();
}

TEST_F(LogTest, ASignalHandlerMakesNoRing) {
    Log_Exit();
    const guint32 id = VThreadBase_CurID();
    VThreadBase_SetIsInSignal(id, TRUE);
    Log("lost\n");
    VThreadBase_SetIsInSignal(id, FALSE);
    Log("kept\n");
    EXPECT_EQ("I kept\n", LogText());
}

TEST_F(LogTest, ThreadNamesCannotBreakARecord) {
    const std::pair<std::string, const char *> rows[] = {
        {"a\nb, which is much longer than thirty-one bytes", "a?b, which is much longer than "},
        {"\t\x1b[2J\x7f\xc2\x9b\xc3\xa4", "??[2J???\xc3\xa4"},
        {std::string("host\0\nx", 7), "host"}, /* bytes behind the name of a host's own record */
    };
    for (const auto &[name, shown] : rows) {
        std::thread([&text = name] {
            auto *record = static_cast<VThreadBaseData *>(calloc(1, sizeof(VThreadBaseData)));
            record->id = 77;
            text.copy(record->name, sizeof record->name - 1);
            VThreadBase_InitWithTLS(record);
            Log("x\n");
        }).join();
        LogRecorder *recorder = Attach();
        EXPECT_TRUE(recorder->text.ends_with("I120: x\n"));
        EXPECT_STREQ(shown, recorder->last.threadName);
        EXPECT_TRUE(Log_ReplaceOutput(recorder, nullptr, FALSE));
    }
}

TEST(LogThrottle, MeasuresInWindows) {
    static guint64 now;
    static constexpr HostinfoClocks kClocks = {[] { return now * 1000000000; },
                                               [] { return gint64{0}; }};
    HostinfoSetClocks(&kClocks);
    now = 1000;
    LogThrottleState state{FALSE, 1000, 100, 0, 0, 0};
    const std::tuple<guint64, guint32, bool> rows[] = {
        {0, 999, false}, {0, 1, false}, {5, 700, false}, {1, 1, true}, /* 5 s are over */
        {59, 1, true},   {1, 1, true},  {1, 1, false},                 /* 60 s are over */
        {1, 1, true}};
    for (const auto &[seconds, bytes, isThrottled] : rows) {
        now += seconds;
        EXPECT_EQ(isThrottled, Log_IsThrottled(&state, bytes) != FALSE) << now;
        state.throttled |= isThrottled;
    }
    state.bytesPerSec = 0;
    EXPECT_TRUE(Log_IsThrottled(&state, 1));
    state.bytesPerSec = LOG_NEVER_THROTTLE;
    EXPECT_FALSE(Log_IsThrottled(&state, 1));
    HostinfoSetClocks(nullptr);
}

TEST_F(LogTest, RepeatedMessagesGrowRare) {
    LogRecorder *recorder = Attach();
    guint32 counter = 0;
    for (int i = 0; i < 2000001; i++)
        counter % 2 == 0 ? LogThrottled(&counter, "%u\n", counter + 1)
                         : WarningThrottled(&counter, "%u\n", counter + 1);
    size_t lines = 0;
    for (char c : recorder->text)
        lines += c == '\n';
    EXPECT_EQ(99u + 99 + 99 + 2, lines);
    EXPECT_TRUE(recorder->text.ends_with("W110: 990000\nW110: 1000000\nW110: 2000000\n"));
}

G_GNUC_PRINTF(2, 3) void Guest(LogThrottleState *state, const char *format, ...) {
    va_list arguments;
    va_start(arguments, format);
    LogForGuest(state, format, arguments);
    va_end(arguments);
}

TEST_F(LogTest, GuestsAreThrottledOnTheirOwn) {
    LogThrottleState state{FALSE, 50, 0, 0, 0, 0};
    Guest(&state, "to nobody\n");
    EXPECT_EQ("", LogText());
    LogRecorder *recorder = Attach();
    Guest(&state, "%s\n", std::string(40000, 'x').c_str());
    Guest(&state, "20 bytes\x1b, perhaps.\n");
    Guest(&state, "again\n");
    EXPECT_EQ("I120: *GUEST LONG LINE TRUNCATION*\nI120: <<< Guest Log Throttled >>>\n",
              recorder->text);
}

/* Every line is a complete line that was written, in the ring as in outputs that come and go. */
TEST_F(LogTest, ThreadsNeverMixTheirLines) {
    InThreads(5, [](int i) {
        const std::string text(50 + i * 200, char('a' + i));
        for (int n = 0; i < 4 && n < 2000; n++)
            Log("%s\n", text.c_str());
        for (int n = 0; i == 4 && n < 300; n++) {
            LogRecorder *recorder = LogRecorder::New("comes");
            EXPECT_TRUE(Log_AddOutput(recorder));
            EXPECT_TRUE(Log_ReplaceOutput(recorder, nullptr, FALSE));
            LogRing_ForEach(
                [](gint, gboolean, const char *line, gpointer) {
                    const int kind = line[0] - 'a';
                    if (kind >= 0 && kind < 4) {
                        ASSERT_EQ(std::string(50 + kind * 200, line[0]), line);
                    }
                },
                nullptr);
        }
    });
}

} // namespace
