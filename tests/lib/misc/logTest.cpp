#include "lib/misc/log.h"

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"

namespace {

std::string Ring() {
    return GPtr<char>(LogRing_Copy()).get();
}

class LogRing : public testing::Test {
protected:
    LogRing() { LogRing_Clear(); }
};

TEST_F(LogRing, KeepsLinesWithTheirLevels) {
    errno = ERANGE;
    Log("SSL: %d of %s\n", 3, "four");
    Warning("no newline");
    Log_Audit("taken\n");
    const struct {
        gint level;
        char letter;
    } rows[] = {{100, 'E'}, {105, 'E'}, {110, 'W'}, {115, 'A'}, {120, 'I'},
                {125, 'I'}, {130, 'I'}, {135, 'D'}, {140, 'D'}, {145, 'D'},
                {146, 'I'}, {99, 'I'},  {-1, 'I'},  {0, 'I'},   {999, 'I'}};
    std::string expected = "I SSL: 3 of four\nW no newline\nA taken\n";
    for (const auto &row : rows) {
        Log_Level(row.level, "%d\n", row.level);
        expected += std::string(1, row.letter) + " " + std::to_string(row.level) + "\n";
    }
    EXPECT_EQ(ERANGE, errno);
    EXPECT_EQ(expected, Ring());
    LogRing_Clear();
    EXPECT_EQ("", Ring());
}

TEST_F(LogRing, TextOfAPeerIsNotMistakenForAMessage) {
    Log("\"%s\"\n", "x\r\nE 1\x1b[2J\tq\x7f\xc2\x9b"
                    "1m \xc2\xa7 \xc3\x84\rend");
    Log("\n");
    EXPECT_EQ("I \"x\nI+E 1\\x1b[2J\tq\\x7f\\xc2\\x9b1m \xc2\xa7 \xc3\x84\\x0dend\"\nI \n", Ring());
}

TEST_F(LogRing, LongLinesAreKeptWholeUpToALimit) {
    for (size_t size : {1u, 111u, 112u, 113u, 224u, 1023u, 1024u, 20000u}) {
        LogRing_Clear();
        Log("%s\n", std::string(size, 'y').c_str());
        EXPECT_EQ("I " + std::string(size, 'y') + "\n", Ring()) << size;
    }
    LogRing_Clear();
    Log("%s\n", std::string(100000, 'y').c_str());
    EXPECT_EQ("I " + std::string(112 * 256, 'y') + "\n", Ring());
    LogRing_Clear();
    Log("%s\n", std::string(5000, '\x1b').c_str());
    EXPECT_EQ(0u, Ring().find("I \\x1b\\x1b"));
}

TEST_F(LogRing, NewLinesPushOutOldOnes) {
    for (int i = 0; i < 5000; i++)
        Log("%d %s\n", i, std::string(size_t(i % 300), '.').c_str());
    const std::string all = Ring();
    EXPECT_NE(std::string::npos, all.find("I 4999 "));
    EXPECT_EQ(std::string::npos, all.find("I 10 "));
    EXPECT_EQ(0u, all.find("I ")); /* the oldest is complete */
}

/* Every line in the ring is a complete line that was written. */
TEST_F(LogRing, ThreadsNeverMixTheirLines) {
    std::atomic<bool> isDone = false;
    std::vector<std::thread> writers;
    for (int i = 0; i < 4; i++)
        writers.emplace_back([i] {
            const std::string text(size_t(50 + i * 100), char('a' + i));
            for (int n = 0; n < 3000; n++)
                Log("%s\n", text.c_str());
        });
    std::thread reader([&] {
        size_t seen = 0;
        while (!isDone || seen == 0)
            LogRing_ForEach(
                [](gint, gboolean, const char *line, gpointer count) {
                    const size_t kind = size_t(line[0] - 'a');
                    ASSERT_EQ(std::string(50 + kind * 100, line[0]), line);
                    ++*static_cast<size_t *>(count);
                },
                &seen);
    });
    for (std::thread &writer : writers)
        writer.join();
    isDone = true;
    reader.join();
}

} // namespace
