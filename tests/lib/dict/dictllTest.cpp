#include "lib/dict/dictll.h"

#include <gtest/gtest.h>

#include "lib/misc/glibPtr.h"

namespace {

using Stream = std::unique_ptr<FILE, Release<fclose>>;

Stream Open(const std::string &text) {
    FILE *stream = tmpfile();
    fwrite(text.data(), 1, text.size(), stream);
    rewind(stream);
    return Stream(stream);
}

/* Returns "line|name|value", or "line" for what is no pair; frees all. */
std::string Show(char *line, char *name, char *value) {
    EXPECT_EQ(name == nullptr, value == nullptr);
    std::string shown = line != nullptr ? line : "(null)";
    if (name != nullptr)
        shown = std::string("<") + name + "><" + value + ">";
    free(line);
    free(name);
    free(value);
    return shown;
}

std::vector<std::string> ReadAll(const std::string &text) {
    Stream stream = Open(text);
    DictLL_ReadUTF8BOM(stream.get());
    std::vector<std::string> lines;
    char *line, *name, *value;
    while (DictLL_ReadLine(stream.get(), &line, &name, &value) == STDIO_SUCCESS)
        lines.push_back(Show(line, name, value));
    return lines;
}

std::vector<std::string> UnmarshalAll(const std::string &text) {
    std::vector<std::string> lines;
    const char *end = text.data() + text.size();
    char *line, *name, *value;
    for (const char *at = text.data();
         (at = DictLL_UnmarshalLine(at, static_cast<gsize>(end - at), &line, &name, &value)) !=
         nullptr;)
        lines.push_back(Show(line, name, value));
    return lines;
}

TEST(DictLL, ReadsOneLine) {
    const std::pair<const char *, const char *> pairs[] = {
        {"a=b", "<a><b>"},
        {" \ta\t=  \"b c\"\t ", "<a><b c>"},
        {"a = \"\"", "<a><>"},
        {"a =", "<a><>"},
        {"a = # none", "<a><>"},
        {"a = \"x # y\" # z", "<a><x # y>"},
        {"a = x#y", "<a><x>"},
        {"a = \"|22|7C|0a\"", "<a><\"|\n>"},
        {"a = |41", "<a><A>"},
        {"a = \"|4\"", "<a><|4>"},
        {"a = |4g|", "<a><|4g|>"},
        {"q\"uote = 1", "<q\"uote><1>"},
        {"a|41 = 1", "<a|41><1>"},
        {"\xc3\xa4 = \"\xff\"", "<\xc3\xa4><\xff>"},
        {".encoding = \"UTF-8\"", "<.encoding><UTF-8>"},
        {"a = b\"c", "<a><b\"c>"},
        {"a ==", "<a><=>"},
    };
    const auto expect = [](const std::string &shown, const char *line) {
        EXPECT_EQ(std::vector{shown}, ReadAll(std::string(line) + "\n")) << line;
        EXPECT_EQ(std::vector{shown}, UnmarshalAll(std::string(line) + "\n")) << line;
    };
    for (const auto &[line, shown] : pairs)
        expect(shown, line);
    for (const char *noPair : {"a = b = c", "a == b", "a", "= b", "a b = c", "a = \"b",
                               "a = \"b\" c", "a = \"b\"\"c\"", "# a = b", "", " \t"})
        expect(noPair, noPair);
}

TEST(DictLL, FindsTheEndsOfLines) {
    using Lines = std::vector<std::string>;
    EXPECT_EQ((Lines{"1", "2", "", "3", "4"}), ReadAll("1\r\n2\r\r3\n4"));
    EXPECT_EQ((Lines{"<a><1\r>", "2\r3"}), UnmarshalAll("a=1\r\n2\r3"));
    EXPECT_EQ((Lines{}), ReadAll("\xef\xbb\xbf"));
    EXPECT_EQ((Lines{"<a><1>"}), ReadAll("\xef\xbb\xbf"
                                         "a=1"));
    EXPECT_EQ((Lines{"\xef\xbb"}), ReadAll("\xef\xbb"));
    EXPECT_EQ((Lines{"", "x"}), ReadAll("\nx\n"));
    EXPECT_EQ((Lines{"<a><1>"}), ReadAll(std::string("a=1\0=2", 6)));
    EXPECT_EQ((Lines{}), UnmarshalAll(""));
}

TEST(DictLL, StopsAtTheLimitAndAtErrors) {
    const std::string text = std::string(1000, 'x') + "\nnext\n";
    Stream stream = Open(text);
    char *line;
    gsize length = 7;
    EXPECT_EQ(STDIO_ERROR, StdIO_ReadNextLine(stream.get(), &line, 999, &length));
    EXPECT_EQ(E2BIG, errno);
    EXPECT_EQ(nullptr, line);
    EXPECT_EQ(0u, length);

    rewind(stream.get());
    EXPECT_EQ(STDIO_SUCCESS, StdIO_ReadNextLine(stream.get(), &line, 1000, &length));
    EXPECT_EQ(1000u, length);
    free(line);

    Stream unreadable(fopen("/", "r"));
    EXPECT_EQ(STDIO_ERROR, StdIO_ReadNextLine(unreadable.get(), &line, 0, nullptr));
    EXPECT_EQ(EISDIR, errno);
}

TEST(DictLL, WritesWhatItReadsBack) {
    std::string all;
    for (int c = 1; c < 256; c++)
        all += static_cast<char>(c);
    DynBuf buffer;
    DynBuf_Init(&buffer);
    ASSERT_TRUE(DictLL_MarshalLine(&buffer, nullptr, "# as it is = \"|"));
    ASSERT_TRUE(DictLL_MarshalLine(&buffer, "a", "tab\tquote\"bar|newline\n\x7f\xff"));
    ASSERT_TRUE(DictLL_MarshalLine(&buffer, "all", all.c_str()));
    const std::string text(buffer.data, buffer.size);
    DynBuf_Destroy(&buffer);
    EXPECT_EQ(0u, text.find("# as it is = \"|\na = \"tab\tquote|22bar|7Cnewline|0A|7F\xff\"\n"));
    EXPECT_EQ("<all><" + all + ">", UnmarshalAll(text).at(2));

    Stream full(fopen("/dev/full", "w"));
    setvbuf(full.get(), nullptr, _IONBF, 0);
    EXPECT_FALSE(DictLL_WriteLine(full.get(), "a", "b"));
    EXPECT_EQ(ENOSPC, errno);
}

} // namespace
