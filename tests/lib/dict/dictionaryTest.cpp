#include "lib/dict/dictionary.h"

#include <fcntl.h>

#include <cstring>
#include <thread>

#include <gmock/gmock.h>

#include "lib/dict/dictionaryFile.h"
#include "lib/keyLocator/keySafe.h"
#include "lib/keyLocator/keySafeUserRing.h"
#include "lib/user/msg.h"
#include "tests/support/fileFaults.h"
#include "tests/support/logText.h"
#include "tests/support/taken.h"
#include "tests/support/temporaryFolder.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Text = MallocPtr<char>;

constexpr const char *kEncodingLine = ".encoding = \"UTF-8\"\n";

std::string Written(Dictionary *dictionary, bool encrypt = false) {
    char *buffer;
    gsize size;
    EXPECT_TRUE(Dictionary_WriteToBuffer(dictionary, encrypt, &buffer, &size));
    const Text owner(buffer);
    EXPECT_EQ(strlen(buffer) + 1, size);
    return buffer;
}

/* Returns the pending messages of the thread, and discards them. */
std::string Messages() {
    return Msg_GetMessagesAndReset();
}

using RingPtr = std::unique_ptr<KeySafeUserRing, Release<KeySafeUserRing_Destroy>>;

RingPtr RingOf(const char *passphrase) {
    KeySafeUserRing *ring = nullptr;
    EXPECT_EQ(0u, KeySafeUserRing_Create(&ring));
    EXPECT_EQ(0u, KeySafeUserRing_AddPassphrase(ring, passphrase, "AES-256"));
    return RingPtr(ring);
}

struct DictionaryTest : testing::Test {
    DictionaryTest() : dictionary(Dictionary_Create()) {}
    ~DictionaryTest() override { Msg_Reset(FALSE); }
    Dictionary *Get() const { return dictionary.get(); }
    bool Load(const std::string &text, StringEncoding encoding = STRING_ENCODING_UTF8) {
        return Dictionary_LoadFromBufferWithDefaultEncoding(Get(), text.c_str(), FALSE, encoding);
    }
    std::string String(const char *name) const { return String(dictionary, name); }
    static std::string String(const DictionaryPtr &from, const char *name) {
        return Taken(Dict_GetString(from.get(), nullptr, "%s", name));
    }

    DictionaryPtr dictionary;
};

TEST_F(DictionaryTest, OneChangedValueLeavesAllOtherBytes) {
    const std::string head = "# first\n# second\n";
    const std::string tail =
        "\n  # indented\n\tname\t= value # behind\nOdd=|41|4\n.meta = \"x\"\nlast = \"\"\n";
    ASSERT_TRUE(Load(head + "a = 1\n" + tail));
    EXPECT_EQ(head + kEncodingLine + "a = 1\n" + tail, Written(Get()));
    EXPECT_FALSE(Dictionary_NeedSave(Get()));
    EXPECT_EQ("A|4", String("odd"));
    EXPECT_EQ(1, Dict_GetLong(Get(), 5, "A"));
    Dict_SetLong(Get(), 1, "a");
    EXPECT_FALSE(Dictionary_NeedSave(Get())) << "the same value";
    Dict_SetLong(Get(), 2, "a");
    Dict_SetString(Get(), "quote\" \xc3\xa4", "new");
    EXPECT_TRUE(Dictionary_NeedSave(Get()));
    EXPECT_EQ(head + kEncodingLine + "a = \"2\"\n" + tail + "new = \"quote|22 \xc3\xa4\"\n",
              Written(Get()));
    Dictionary_Unset(Get(), "NAME");
    EXPECT_THAT(Written(Get()), Not(HasSubstr("behind")));
}

TEST_F(DictionaryTest, EveryKindOfLineSurvivesAChangeOfAnother) {
    /* the name, which what is no pair does not have, and the line */
    const std::pair<const char *, const char *> lines[] = {
        {nullptr, "# head \t"},
        {nullptr, "#"},
        {"first", "first=1"},
        {nullptr, ""},
        {nullptr, " \t "},
        {nullptr, "\t# indented = \"no pair\""},
        {"blanks", "\t blanks\t=  value \t"},
        {"behind", "behind = 5#6"},
        {"quoted", "quoted = \"a # b|22 |zz |7C\" # \"behind\""},
        {"empty", "empty ="},
        {"emptyQuoted", "emptyQuoted=\"\""},
        {"na\"me", "na\"me = x\"y"},
        {"equals", "equals = a=b"},
        {"utf8", "utf8 = \"\xc3\xa4\xe2\x82\xac\""},
        {"tab", "tab = \"a\tb\""},
        {nullptr, ".meta = \"ignored\""},
        {"Last", "Last = |41"},
    };
    const TemporaryFolder folder;
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        for (const std::string mark : {"", "\xef\xbb\xbf"}) {
            for (const bool isEnded : {true, false}) {
                std::string text = mark;
                for (const auto &[name, line] : lines)
                    text += line + end;
                const std::string path =
                    folder.Write("f", isEnded ? text : text.substr(0, text.size() - end.size()));
                for (gsize changed = 0; changed < std::size(lines); changed++) {
                    if (lines[changed].first == nullptr)
                        continue;
                    ASSERT_TRUE(Dictionary_LoadWithDefaultEncoding(Get(), path.c_str(),
                                                                   STRING_ENCODING_UTF8));
                    Dict_SetString(Get(), "new|", "%s", lines[changed].first);
                    std::string want;
                    for (gsize i = 0; i < std::size(lines); i++) {
                        want += i == 2 ? kEncodingLine : "";
                        want += i == changed ? lines[i].first + std::string(" = \"new|7C\"")
                                             : lines[i].second;
                        want += "\n";
                    }
                    EXPECT_EQ(want, Written(Get()));
                }
            }
        }
    }
}

TEST_F(DictionaryTest, ATextIsConvertedOnFirstUse) {
    /* the last: a part of the message */
    const std::tuple<const char *, guint, const char *, const char *> rows[] = {
        {"", DICT_BOOL, "true", ""},
        {"YES", DICT_BOOL, "true", ""},
        {"off", DICT_BOOL, "false", ""},
        {"2", DICT_BOOL, "false",
         "Value \"2\" for variable \"x\" is not a valid boolean value. Using value \"FALSE\"."},
        {"0x10", DICT_LONG, "16", ""},
        {"-7", DICT_LONG, "-7", ""},
        {"0xffffffff", DICT_LONG, "-1", ""},
        {"4294967296", DICT_LONG, "0", "is too large. Using value \"0\"."},
        {"99999999999999999999999", DICT_LONG, "0", "is too large"},
        {"12 apples", DICT_LONG, "0", "not a valid integer value"},
        {"-1", DICT_INT64, "-1", ""},
        {"9223372036854775807", DICT_INT64, "9223372036854775807", ""},
        {"99999999999999999999999", DICT_INT64, "0", "is too large"},
        {"1e3", DICT_DOUBLE, "1000", ""},
        {"1,5", DICT_DOUBLE, "0", "not a valid floating point value. Using value \"0.000000\""},
        {"dontcare", DICT_TRISTATE, "default", ""},
        {"maybe", DICT_TRISTATE, "false", "not a valid tristate value. Using value \"FALSE\""},
    };
    for (const auto &[text, type, want, message] : rows) {
        Dictionary_Clear(Get());
        Dict_SetAny(Get(), text, "x");
        EXPECT_STREQ(text, Dictionary_GetAsString(Get(), "x"));
        Dictionary_Get(Get(), nullptr, type, "x");
        EXPECT_STREQ(want, Dictionary_GetAsString(Get(), "x")) << text;
        const std::string messages = Messages();
        EXPECT_THAT(messages, HasSubstr(message)) << text;
        EXPECT_EQ(*message == '\0', messages.empty()) << messages;
    }
}

TEST_F(DictionaryTest, AnUncommonDefaultIsRemembered) {
    EXPECT_EQ(7, Dict_GetLong(Get(), 7, "size"));
    EXPECT_EQ(7, Dict_GetLong(Get(), 9, "size"));
    EXPECT_EQ(-1, Dict_GetLong(Get(), -1, "other"));
    EXPECT_EQ(3, Dict_GetLong(Get(), 3, "other")) << "a common one is not";
    EXPECT_TRUE(Dictionary_NotSet(Get(), "size"));
    EXPECT_TRUE(Dictionary_IsDefined(Get(), "size"));
    EXPECT_FALSE(Dictionary_IsDefined(Get(), "third"));
    EXPECT_EQ(0, Dictionary_NumberOfEntries(Get()));
    EXPECT_EQ(std::string(kEncodingLine) + "\n", Written(Get()));
    Dict_SetLong(Get(), 7, "size");
    EXPECT_FALSE(Dictionary_NotSet(Get(), "size"));
    EXPECT_THAT(Written(Get()), HasSubstr("size = \"7\"\n"));
    EXPECT_DEATH(Dict_GetBool(Get(), FALSE, "size"), "VERIFY");

    const char *const choices[] = {"Red", "Green", nullptr};
    Dict_SetString(Get(), "GREEN", "color");
    EXPECT_EQ(choices[1], Dictionary_GetStringEnum(Get(), "Red", choices, "color", nullptr));
    Dict_SetString(Get(), "blue", "color");
    MsgList *messages = nullptr;
    EXPECT_EQ(nullptr, Dictionary_GetStringEnum(Get(), nullptr, choices, "color", &messages));
    EXPECT_STREQ("msg.dictionary.notEnumAndNoDefault", MsgList_GetMsgID(messages));
    MsgList_Free(messages);
}

TEST_F(DictionaryTest, RefusesDuplicatesAndLinesOfNoForm) {
    std::string text = "a = 1\n";
    for (int i = 0; i < 100; i++)
        text += "A = 2\n";
    EXPECT_FALSE(Load(text));
    EXPECT_EQ(100, std::ranges::count(Messages(), '\n'));
    EXPECT_EQ("1", String("a"));
    EXPECT_FALSE(Load(text + "a = 3\nb = 4\n"));
    EXPECT_EQ(101, std::ranges::count(Messages(), '\n'));
    EXPECT_EQ("(null)", String("b"));

    EXPECT_FALSE(Load("a = 1\nnonsense\nb = 2\n"));
    EXPECT_EQ("Syntax error.\n", Messages());
    EXPECT_EQ("1", String("a"));
    EXPECT_EQ("(null)", String("b"));
}

TEST_F(DictionaryTest, TheEncodingMayBeNamedAnywhere) {
    const StringEncoding latin = Unicode_EncodingNameToEnum("latin1");
    ASSERT_TRUE(Load("a = \"\xe4\"\nconfig.encoding = \"ISO-8859-1\"\nb = \"\xf6\"\n"));
    EXPECT_EQ("\xc3\xa4", String("a"));
    EXPECT_EQ("\xc3\xb6", String("b"));
    EXPECT_EQ(".encoding = \"ISO-8859-1\"\na = \"\xe4\"\nb = \"\xf6\"\n", Written(Get()));
    Dict_SetString(Get(), "\xe2\x82\xac", "euro");
    EXPECT_EQ(std::string(kEncodingLine) +
                  "a = \"\xc3\xa4\"\nb = \"\xc3\xb6\"\neuro = \"\xe2\x82\xac\"\n",
              Written(Get()))
        << "what the encoding cannot express moves the file to UTF-8";

    ASSERT_TRUE(Load("a = \"\xe4\"\n", latin));
    EXPECT_EQ("\xc3\xa4", String("a"));
    const std::pair<const char *, const char *> rows[] = {
        {"a = \"\xe4\"\n",
         "Value \"\\xe4\" for variable \"a\" is not valid in encoding \"UTF-8\"."},
        {".encoding = \"klingon\"\n", "Character encoding \"klingon\" is not supported."},
        {".encoding = \"UTF-8\"\n.encoding = \"latin1\"\n",
         "The dictionary already has encoding \"UTF-8\"."},
        {".encoding = \"UTF-8\"\na = \"\xff\"\n", "is not valid in encoding \"UTF-8\"."},
        {".encoding = \"UTF-8\"\na = 1\nA = \"\xff\"\n", "Variable \"A\" is already defined."},
    };
    for (const auto &[text, message] : rows) {
        EXPECT_FALSE(Load(text)) << text;
        EXPECT_THAT(Messages(), HasSubstr(message)) << text;
    }
}

/* The second byte of some characters is a bar or a backslash. */
TEST_F(DictionaryTest, EachEncodingComesBack) {
    const std::pair<const char *, const char *> rows[] = {
        {"Shift_JIS", "ポソ表|\"#"}, {"EUC-JP", "ポソ表|"},      {"GBK", "簗|東"},
        {"GB18030", "簗|€😀"},        {"Big5", "功許蓋|"},        {"EUC-KR", "한국|"},
        {"KOI8-R", "Привет"},        {"windows-1252", "€uro ä"}, {"ISO-8859-15", "€"},
    };
    for (const auto &[name, text] : rows) {
        Dictionary_Clear(Get());
        Dictionary_SetEncoding(Get(), Unicode_EncodingNameToEnum(name));
        Dict_SetString(Get(), text, "a");
        Dict_SetString(Get(), "plain", "b");
        const std::string written = Written(Get());
        EXPECT_THAT(written, StartsWith(".encoding = \"" + std::string(name) + "\"\n"));
        EXPECT_THAT(written, Not(HasSubstr(text)));
        ASSERT_TRUE(Load(written)) << name;
        EXPECT_EQ(text, String("a")) << name;
        EXPECT_EQ(written, Written(Get())) << name;
    }
}

TEST_F(DictionaryTest, AMalformedTextIsReplacedByWhateverIsSet) {
    ASSERT_TRUE(Dictionary_LoadFromBuffer(Get(), "x = \"abc\"\ny = \"maybe\"\n", FALSE));
    Dict_SetLong(Get(), 5, "x");
    Dict_SetBool(Get(), FALSE, "y");
    EXPECT_EQ(kEncodingLine + std::string("x = \"5\"\ny = \"FALSE\"\n"), Written(Get()));
}

TEST_F(DictionaryTest, PipesAreReadWholeAndNeverReplaced) {
    const TemporaryFolder folder;
    const std::string pipe = folder.Path("pipe");
    ASSERT_EQ(0, mkfifo(pipe.c_str(), 0600));
    const std::string_view lines = "abc = 1\nb = 2\n";
    std::thread writer([&] {
        const int out = open(pipe.c_str(), O_WRONLY | O_CLOEXEC);
        EXPECT_EQ(static_cast<ssize_t>(lines.size()), write(out, lines.data(), lines.size()));
        close(out);
    });
    EXPECT_TRUE(Dictionary_Load(Get(), pipe.c_str())) << Messages();
    writer.join();
    EXPECT_EQ("1", String("abc"));

    const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    Dictionary_WriteSync(Get(), pipe.c_str());
    close(reader);
    Messages();
    EXPECT_TRUE(S_ISFIFO(ModeOf(pipe)));
}

TEST_F(DictionaryTest, AFileIsReadAndWrittenInLargePieces) {
    const TemporaryFolder folder;
    std::string text = kEncodingLine;
    for (int i = 0; i < 10000; i++)
        text += "name" + std::to_string(i) + " = \"value\"\n";
    const std::string path = folder.Write("f", text);
    size_t calls = 0;
    const FileFaults faults([&](const FileCall &call) {
        calls += call.kind == FileCall::Read;
        return call.kind == FileCall::Write ? FileFaults::kShort : FileFaults::kPass;
    });
    ASSERT_TRUE(Dictionary_Load(Get(), path.c_str()));
    EXPECT_GT(20u, calls);
    EXPECT_TRUE(Dictionary_WriteSync(Get(), path.c_str())) << "short writes go on";
    EXPECT_EQ(text, FileText(path));
}

TEST_F(DictionaryTest, FilesAreReadInAnyFormAndReplaced) {
    const TemporaryFolder folder;
    const std::string path = folder.Write("f", "\xef\xbb\xbf# h\r\na = 1\rb = \"\xc3\xa4\"", 0640);
    ASSERT_TRUE(Dictionary_LoadWithDefaultEncoding(Get(), path.c_str(),
                                                   Unicode_EncodingNameToEnum("latin1")));
    EXPECT_EQ("\xc3\xa4", String("b")) << "the mark says UTF-8";
    Dict_SetBool(Get(), TRUE, "c");
    ASSERT_TRUE(Dictionary_WriteSync(Get(), path.c_str()));
    EXPECT_EQ(std::string("# h\n") + kEncodingLine + "a = 1\nb = \"\xc3\xa4\"\nc = \"TRUE\"\n",
              FileText(path));
    EXPECT_EQ(S_IFREG | 0640u, ModeOf(path));

    const std::string wrong = folder.Write("wrong", "a = 1\n\nb = 2\na = 3\n");
    EXPECT_FALSE(Dictionary_Load(Get(), wrong.c_str()));
    EXPECT_EQ("File \"" + wrong + "\" line 4: Variable \"a\" is already defined.\n", Messages());
    EXPECT_EQ("2", String("b"));
    EXPECT_FALSE(Dictionary_Load(Get(), folder.Path("absent").c_str()));
    EXPECT_THAT(Messages(), HasSubstr("Cannot open file"));
    EXPECT_EQ("2", String("b")) << "a failed open leaves the old contents";
    EXPECT_FALSE(Dictionary_Load(Get(), folder.Path().c_str()));
    EXPECT_THAT(Messages(), HasSubstr("is a directory"));
    EXPECT_TRUE(Dictionary_Load(Get(), nullptr));
    EXPECT_EQ(0, Dictionary_NumberOfEntries(Get()));
}

TEST_F(DictionaryTest, ASealedPartOpensWithThePassphraseOnly) {
    const RingPtr ring = RingOf("passphrase");
    Dict_SetStringPlain(Get(), "https://host", "url");
    Dict_SetString(Get(), "hunter2", "password");
    ASSERT_TRUE(Dictionary_Rekey(Get(), ring.get()));
    const std::string sealed = Written(Get(), true);
    EXPECT_THAT(sealed, StartsWith(std::string(kEncodingLine) +
                                   "url = \"https://host\"\nencryption.keySafe = \""));
    EXPECT_THAT(sealed, HasSubstr("\nencryption.data = \""));
    EXPECT_THAT(sealed, Not(HasSubstr("hunter2")));
    EXPECT_THAT(sealed, Not(HasSubstr("password =")));
    EXPECT_THAT(Written(Get()), HasSubstr("hunter2")) << "not encrypting";

    DictionaryPtr locked(Dictionary_Create());
    ASSERT_TRUE(Dictionary_LoadFromBuffer(locked.get(), sealed.c_str(), FALSE));
    EXPECT_TRUE(Dictionary_IsEncrypted(locked.get()));
    EXPECT_FALSE(Dictionary_Unlock(locked.get(), nullptr, nullptr));
    EXPECT_FALSE(Dictionary_Unlock(locked.get(), nullptr, RingOf("guess").get()));
    ASSERT_TRUE(Dictionary_Unlock(locked.get(), nullptr, ring.get()));
    EXPECT_EQ("hunter2", String(locked, "password"));
    EXPECT_EQ("(null)", String(locked, "url")) << "plain, so hidden";
    EXPECT_EQ("https://host", Taken(Dict_GetStringPlain(locked.get(), nullptr, "url")));

    Dict_SetString(locked.get(), "changed", "password");
    const std::string resealed = Written(locked.get(), true);
    const gsize head = sealed.find("encryption.keySafe");
    EXPECT_EQ(sealed.substr(0, head), resealed.substr(0, head));
    DictionaryPtr again(Dictionary_Create());
    ASSERT_TRUE(Dictionary_LoadFromBuffer(again.get(), resealed.c_str(), FALSE));
    ASSERT_TRUE(Dictionary_Unlock(again.get(), nullptr, ring.get()));
    EXPECT_STREQ("changed", Dictionary_GetAsString(again.get(), "password"));
    Dict_SetString(locked.get(), "hunter2", "password");

    /* a plain value never replaces a sealed one */
    DictionaryPtr source(Dictionary_Create());
    Dict_SetString(source.get(), "stolen", "password");
    Dictionary_Update(locked.get(), source.get(), nullptr);
    EXPECT_EQ("hunter2", String(locked, "password"));
    ASSERT_TRUE(Dictionary_Rekey(locked.get(), nullptr));
    EXPECT_THAT(Written(locked.get(), true), HasSubstr("password = \"hunter2\""));
}

TEST_F(DictionaryTest, MergesMarshallsAndLogs) {
    ASSERT_TRUE(Load("a = 1\nb = 2\nx.one = p\nX.two = q\n"));
    DictionaryPtr source(Dictionary_Create());
    Dict_SetLong(source.get(), 5, "a");
    Dict_SetBool(source.get(), TRUE, "new");
    Dictionary_Update(Get(), source.get(), nullptr);
    EXPECT_TRUE(Dictionary_IsDefinedWithPrefix(Get(), "X.O"));
    EXPECT_TRUE(Dictionary_UnsetWithPrefix(Get(), "x."));
    EXPECT_FALSE(Dictionary_UnsetWithPrefix(Get(), "x."));
    EXPECT_EQ(std::string(kEncodingLine) + "a = \"5\"\nb = 2\nnew = \"TRUE\"\n", Written(Get()));

    MsgList *messages = nullptr;
    EXPECT_FALSE(Dictionary_SetFromString(Get(), "b=3", &messages));
    EXPECT_STREQ("msg.dictionary.alreadyDefined.string", MsgList_GetMsgID(messages));
    MsgList_Free(messages);
    EXPECT_TRUE(Dictionary_RestoreFromString(Get(), "b=x=y", nullptr));
    EXPECT_EQ("x=y", String("b"));

    char *buffer;
    gsize size;
    ASSERT_TRUE(Dictionary_Marshall(Get(), &buffer, &size));
    const Text owner(buffer);
    EXPECT_EQ(std::string("a\0\0"
                          "5\0b\0\0x=y\0new\0\0true\0",
                          22),
              std::string(buffer, size));

    LogRing_Clear();
    Dictionary_LogNotDefault(Get());
    EXPECT_THAT(LogText(), HasSubstr("DICT                         a = 5\n"));
    EXPECT_THAT(LogText(), HasSubstr("DICT                         b = \"x=y\"\n"));

    const char *const header[] = {"# one", "# two", nullptr};
    Dictionary_SetFileHeader(header, Get());
    Dictionary_SetFileHeader(header, Get());
    EXPECT_TRUE(Dictionary_SetExecPath(Get(), "/bin/x"));
    EXPECT_FALSE(Dictionary_SetExecPath(Get(), "/bin/y"));
    EXPECT_THAT(Written(Get()),
                StartsWith(std::string("#!/bin/x\n# one\n# two\n") + kEncodingLine + "a = "));
}

} // namespace
