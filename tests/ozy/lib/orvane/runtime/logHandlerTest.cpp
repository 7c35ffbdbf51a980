#include <orvane/log.h>

#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tests/lib/misc/logRecorder.h"
#include "tests/support/logText.h"

namespace {

struct LogHandler : testing::Test {
    LogHandler() { LogRing_Clear(); }
    ~LogHandler() override {
        orvane_log_set_handler(nullptr, nullptr, 0);
        EXPECT_FALSE(Log_Outputting());
        LogRing_Clear();
    }
    void Attach(gint level = 120) { orvane_log_set_handler(OnLine, this, level); }
    static void OnLine(gint level, const char *text, gpointer data) {
        auto *self = static_cast<LogHandler *>(data);
        self->lines += std::to_string(level) + " " + text + "\n";
        if (const auto function = self->onLine)
            function();
    }
    std::string Taken() { return std::exchange(lines, {}); }

    std::string lines;
    std::function<void()> onLine;
};

TEST_F(LogHandler, ReceivesTheRingAndThenEachLine) {
    Log("early\n");
    Warning("two\nlines\n");
    Log("be");
    Attach();
    EXPECT_EQ("120 early\n110 two\n110 lines\n", Taken());
    Log("gun\n");
    Warning("in ");
    Log("pieces ");
    EXPECT_EQ("120 begun\n", Taken());
    Log("\x1b\nmore");
    EXPECT_EQ("110 in pieces \\x1b\n", Taken());
    Log("\n");
    EXPECT_EQ("120 more\n", Taken());
    orvane_log_set_handler(nullptr, nullptr, 0);
    Log("late\n");
    EXPECT_EQ("", Taken());
    Attach();
    EXPECT_EQ("120 late\n", Taken());
}

TEST_F(LogHandler, HasALevel) {
    for (const auto &[level, expected] : std::vector<std::pair<gint, const char *>>{
             {145, "100\n110\n115\n120\n145\n"}, {110, "100\n110\n115\n"}, {0, "115\n"}}) {
        Attach(level);
        for (gint logged : {100, 110, 115, 120, 145})
            Log_Level(logged, "\n");
        std::string levels = Taken();
        for (size_t at = 0; (at = levels.find(' ', at)) != std::string::npos;)
            levels.erase(at, 1);
        EXPECT_EQ(expected, levels);
    }
}

TEST_F(LogHandler, MayLogAndReplaceItself) {
    Attach();
    onLine = [this] {
        onLine = nullptr;
        Log("from inside\n");
    };
    Log("1\n");
    EXPECT_EQ("120 1\n", Taken());
    Log("2\n");
    EXPECT_EQ("120 from inside\n120 2\n", Taken());

    onLine = [this] { Attach(110); };
    Log("3\n");
    Log("4\n");
    EXPECT_EQ("120 3\n", Taken());
    onLine = [] { orvane_log_set_handler(nullptr, nullptr, 0); };
    Warning("5\n");
    Warning("6\n");
    EXPECT_EQ("110 5\n", Taken());
    EXPECT_EQ("W 6\n", LogText());
}

TEST_F(LogHandler, ALineThatIsBegunIsNotLost) {
    const auto otherOnLine = [](gint level, const char *text, gpointer data) {
        OnLine(level + 1000, text, data);
    };
    Attach(145);
    Warning("in ");
    orvane_log_set_handler(otherOnLine, this, 110);
    Warning("two handlers\nand ");
    EXPECT_EQ("1110 in two handlers\n", Taken());
    orvane_log_set_handler(nullptr, nullptr, 0);
    Warning("in the ");
    Attach();
    Warning("ring\n");
    EXPECT_EQ("110 and in the ring\n", Taken());

    /* its rest has a level that the handler has no interest in, or it is too detailed for the next handler */
    LogRecorder *detailed = LogRecorder::New("detailed", kLogTypeSingle);
    EXPECT_TRUE(Log_AddOutput(detailed));
    Log_SetOutputLevel(detailed, 145);
    Log("begun ");
    Log_Level(130, "and ended\n");
    Log("next\n");
    EXPECT_EQ("120 begun \n120 next\n", Taken());
    EXPECT_TRUE(Log_ReplaceOutput(detailed, nullptr, FALSE));
    Log("begun ");
    Attach(110);
    Log("and ended\n");
    Warning("next\n");
    EXPECT_EQ("110 next\n", Taken());

    /* a line that was logged inside the handler comes between two pieces */
    onLine = [this] {
        onLine = nullptr;
        Warning("from inside\n");
    };
    Warning("1\n2");
    Warning("3\n");
    EXPECT_EQ("110 1\n110 from inside\n110 23\n", Taken());
}

TEST_F(LogHandler, LinesWithoutEndAreBounded) {
    Attach();
    for (int i = 0; i < 500; i++)
        Log("%0*d", 100, i);
    Log("\n");
    EXPECT_EQ(Log_MaxLineLength() + 5, Taken().size());
}

TEST_F(LogHandler, IsSetByAnyThread) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++)
        threads.emplace_back([this, i] {
            for (int n = 0; n < 80; n++) {
                Log("line\n");
                i % 2 == 0 ? Attach() : orvane_log_set_handler(nullptr, nullptr, 0);
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    Attach();
    // Each line comes once. The ring is larger than all of them.
    std::string rest = Taken();
    size_t count = 0;
    for (size_t at = 0; (at = rest.find("120 line\n", at)) != std::string::npos; at++)
        count++;
    EXPECT_EQ(320u, count);
}

} // namespace
