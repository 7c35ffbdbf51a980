#include "lib/log/logFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <regex>
#include <thread>

#include <gmock/gmock.h>

#include "lib/lock/vthreadBase.h"
#include "lib/log/logFileInt.h"
#include "lib/misc/hostinfo.h"
#include "tests/lib/lock/inThreads.h"
#include "tests/lib/misc/logRecorder.h"
#include "tests/support/logText.h"
#include "tests/support/processLimits.h"
#include "tests/support/temporaryFolder.h"

namespace {

using Texts = std::map<std::string, std::string>;

/* The settings of the current test, as a program's layers have them. */
Texts configured;

constexpr LogConfigOps kOps = {
    [](const char *defaultValue, const char *key) {
        const auto found = configured.find(key);
        return g_strdup(found != configured.end() ? found->second.c_str() : defaultValue);
    },
    [](gint32 defaultValue, const char *key) {
        const auto found = configured.find(key);
        return found != configured.end() ? gint32(std::stol(found->second)) : defaultValue;
    },
    [](gboolean defaultValue, const char *key) {
        const auto found = configured.find(key);
        return found != configured.end() ? gboolean(found->second == "TRUE") : defaultValue;
    },
};

struct LogFile : testing::Test {
    LogFile() {
        LogRing_Clear();
        configured.clear();
        setenv("TMPDIR", folder.Path().c_str(), 1);
    }
    ~LogFile() override {
        Log_Exit();
        HostinfoSetClocks(nullptr);
        unsetenv("TMPDIR");
    }

    LogFileOutput *New(const Texts &settings, const char *name = "file",
                       const char *prefix = nullptr) {
        std::string text;
        for (const auto &[key, value] : settings)
            text += key + " = \"" + value + "\"\n";
        Dictionary *dictionary = Dictionary_Create();
        EXPECT_TRUE(Dictionary_LoadFromBuffer(dictionary, text.c_str(), FALSE));
        LogOutput *output = Log_NewFileOutput(prefix, name, dictionary, &kOps);
        Dictionary_Free(dictionary);
        LogRing_Clear(); /* the same note */
        return static_cast<LogFileOutput *>(output);
    }
    /* An attached output to "log" that writes plain lines. */
    LogFileOutput *Attach(Texts settings = {}) {
        settings.insert({{"log.fileName", folder.Path("log")},
                         {"log.useTimeStamps", "FALSE"},
                         {"log.useThreadName", "FALSE"}});
        LogFileOutput *file = New(settings);
        EXPECT_TRUE(Log_AddOutput(file)) << LogText();
        return file;
    }
    /* The lines of a file without its labels, and without a note that a setting was read early. */
    std::string Lines(const char *name = "log") const {
        return std::regex_replace(
            folder.Read(name),
            std::regex("I120: (Log for|The process is|Host |Log creation|PREF early)[^\n]*\n"), "");
    }
    /* The lines of the file and of those that it has replaced. */
    std::string AllLines() const {
        std::string all = Lines();
        for (int n = 0; std::filesystem::exists(folder.Path("log-" + std::to_string(n))); n++)
            all.insert(0, Lines(("log-" + std::to_string(n)).c_str()));
        return all;
    }

    const TemporaryFolder folder;
};

TEST_F(LogFile, LinesHaveThePrefixThatIsSet) {
    static constexpr HostinfoClocks kClocks = {[] { return guint64{0}; },
                                               [] { return gint64{1772356502123456}; }};
    HostinfoSetClocks(&kClocks);
    const std::string time = "2026-03-01T[0-9:]{8}";
    const std::string zone = "(Z|[-+][0-9:]{5})\\| ";
    const std::pair<Texts, std::string> rows[] = {
        {{}, time + "\\.123" + zone + "vthread-[0-9]+\\| I120: "},
        {{{"log.Milliseconds", "FALSE"}}, time + zone + "vthread-[0-9]+\\| I120: "},
        {{{"log.useTimeStamps", "FALSE"}}, "vthread-[0-9]+\\| I120: "},
        {{{"log.useThreadName", "FALSE"}}, time + "\\.123" + zone + "I120: "},
        {{{"log.useLevelDesignator", "FALSE"}}, time + "\\.123" + zone + "vthread-[0-9]+\\| "},
    };
    for (const auto &[set, prefix] : rows) {
        Texts settings = set;
        settings["log.fileName"] = folder.Path("log");
        ASSERT_TRUE(Log_AddOutput(New(settings)));
        Log("text\n");
        Log_Exit();
        std::string pattern = prefix +
                              "Log for unknown pid=[0-9]+ version=unknown build=unknown "
                              "option=unknown\n" +
                              prefix + "The process is 64-bit\\.\n" + prefix +
                              "Host codepage=[^ ]+ encoding=UTF-8\n";
        if (set.contains("log.useTimeStamps"))
            pattern += prefix + "Log creation time is " + time + "\\.123(Z|[-+][0-9:]{5})\n";
        pattern += prefix + "Host is [^\n]+\n" + prefix + "text\n";
        EXPECT_TRUE(std::regex_match(folder.Read("log"), std::regex(pattern)))
            << folder.Read("log");
    }
}

TEST_F(LogFile, TheFirstLinesHaveNoControlBytesOfAThreadName) {
    std::thread([this] {
        VThreadBase_SetName("a\n\x1b[2J");
        Attach({{"log.useThreadName", "TRUE"}});
    }).join();
    EXPECT_TRUE(folder.Read("log").starts_with("a??[2J| I120: Log for unknown"));
}

TEST_F(LogFile, AFullFileIsReplacedAfterASignalHandler) {
    Attach({{"log.rotateSize", "1"}});
    const std::string before = folder.Read("log");
    const guint32 id = VThreadBase_CurID();
    VThreadBase_SetIsInSignal(id, TRUE);
    Log("in a handler\n");
    VThreadBase_SetIsInSignal(id, FALSE);
    EXPECT_EQ(before + "I120: in a handler\n", folder.Read("log"));
    Log("later\n");
    EXPECT_EQ(before + "I120: in a handler\nI120: later\n", folder.Read("log-0"));
}

TEST_F(LogFile, SettingsComeFromTheMostSpecialSource) {
    configured = {{"log.keepOld.two", "5"},
                  {"App.Log.KeepOld.two", "9"},
                  {"app.log.keepOld.two", "6"},
                  {"log.rotateSize", "77"},
                  {"log.append.two", "TRUE"},
                  {"log.Milliseconds.two", "TRUE"},
                  {"log.throttleThreshold.two", "-5"},
                  {"log.stderrMinLevel", "110"},
                  {"place", folder.Path("other")}};
    LogFileOutput *file = New({{"log.config", "place"},
                               {"log.fileName", "unused"},
                               {"log.keepOld", "4"},
                               {"log.append", "FALSE"},
                               {"log.Milliseconds", "FALSE"},
                               {"log.logMinLevel", "-3"},
                               {"log.throttleBytesPerSec", "0"}},
                              "two", "app");
    EXPECT_EQ(folder.Path("other"), file->fileName);
    EXPECT_EQ(6, file->keepOld);
    EXPECT_EQ(0u, file->rotateSize); /* the key without the suffix is of another output */
    EXPECT_TRUE(file->append);
    EXPECT_FALSE(file->milliseconds); /* the default is no setting */
    EXPECT_EQ(120, file->logMinLevel);
    EXPECT_EQ(110, file->stderrMinLevel);
    EXPECT_EQ(1000000u, file->throttle.threshold);
    EXPECT_EQ(LOG_NEVER_THROTTLE, file->throttle.bytesPerSec);
    Log_FreeOutput(file);
    file = New({{"log.throttleBytesPerSec", "0"}, {"log.noLogAfterThreshold", "TRUE"}});
    EXPECT_EQ(0u, file->throttle.bytesPerSec);
    EXPECT_TRUE(file->uniqueName);
    EXPECT_EQ(file->directory + "/halden-" + std::to_string(getpid()) + ".log", file->fileName);
    Log_FreeOutput(file);
    file = New({{"log.config", "App.Log.KeepOld.two"}}); /* a number, which is no name */
    EXPECT_TRUE(file->uniqueName);
    Log_FreeOutput(file);
    EXPECT_EQ(nullptr, New({}, ""));
    EXPECT_EQ(nullptr, New({}, "file", ""));
}

TEST_F(LogFile, OldFilesAreKept) {
    const std::pair<Texts, std::string> rows[] = {
        {{{"log.keepOld", "2"}}, "log log-0 log-1 "},
        {{{"log.keepOld", "2"}, {"log.fastRotation", "TRUE"}}, "log log-2 log-3 "},
        {{{"log.keepOld", "0"}}, "log "},
        {{{"log.append", "TRUE"}}, "log "},
        {{{"log.keepOld", "2000000000"}}, "log log-0 log-1 log-2 log-3 "},
    };
    for (const auto &[settings, names] : rows) {
        for (int i = 0; i < 5; i++) {
            Attach(settings);
            Log("%d\n", i);
            Log_Exit();
        }
        std::map<std::string, std::string> found;
        for (const auto &entry : std::filesystem::directory_iterator(folder.Path())) {
            if (entry.is_regular_file())
                found[entry.path().filename()] = Lines(entry.path().filename().c_str());
        }
        std::string all;
        for (const auto &[name, lines] : found) {
            all += name + " ";
            std::filesystem::remove(folder.Path(name));
        }
        EXPECT_EQ(names, all);
        EXPECT_EQ(settings.contains("log.append") ? "I120: 0\nI120: 1\nI120: 2\nI120: 3\nI120: 4\n"
                                                  : "I120: 4\n",
                  found["log"]);
    }
}

TEST_F(LogFile, GrowingFilesAreRotated) {
    Attach({{"log.rotateSize", "2000"}, {"log.keepOld", "20"}});
    std::string expected;
    for (int i = 0; i < 500; i++) {
        Log("line %d\n", i);
        expected += "I120: line " + std::to_string(i) + "\n";
    }
    EXPECT_EQ(expected, AllLines());
    int files = 0;
    for (std::string text; !(text = folder.Read("log-" + std::to_string(files))).empty(); files++) {
        EXPECT_LT(text.size(), 2020u);
        EXPECT_TRUE(text.starts_with("I120: Log for"));
    }
    EXPECT_LT(3, files);

    // A path that cannot be opened: the log goes on in the file that it has.
    Log_Exit();
    Attach({{"log.rotateSize", "2000"}, {"log.append", "TRUE"}});
    std::filesystem::remove(folder.Path("log"));
    std::filesystem::create_directory(folder.Path("log"));
    for (int i = 0; i < 300; i++)
        Log("line %d\n", i);
    std::filesystem::remove(folder.Path("log"));
    Log("after\n");
    EXPECT_NE(std::string::npos, Lines().find("Unable to open"));
    EXPECT_TRUE(Lines().ends_with("I120: after\n")) << Lines();
}

TEST_F(LogFile, WithoutOldFilesTheSameFileIsWrittenAgain) {
    Attach({{"log.rotateSize", "1500"}, {"log.keepOld", "0"}});
    for (int i = 0; i < 200; i++)
        Log("line %d\n", i);
    EXPECT_LT(folder.Read("log").size(), 1530u);
    EXPECT_NE(std::string::npos, folder.Read("log").find("I120: line 199\n"));
}

TEST_F(LogFile, FastLinesWaitAndTheNewestAreWritten) {
    static guint64 seconds;
    static constexpr HostinfoClocks kClocks = {[] { return seconds * 1000000000; },
                                               [] { return gint64{1772356502123456}; }};
    seconds = 1000;
    HostinfoSetClocks(&kClocks);
    Attach({{"log.throttleThreshold", "1000"}, {"log.throttleBytesPerSec", "100"}});
    const std::string dots(100, '.');
    for (int i = 0; i < 700; i++) {
        Log("%d%s\nsecond\n", i, dots.c_str());
        seconds += i == 20 ? 10 : 0; /* the first measured window ends here */
    }
    const std::string throttled = Lines();
    EXPECT_TRUE(throttled.ends_with("I120: <<< file Throttled >>>\n"));
    EXPECT_NE(std::string::npos, throttled.find("I120: 20."));
    EXPECT_EQ(std::string::npos, throttled.find("I120: 30."));
    for (int i = 0; i < 2; i++) {
        seconds += 3600;
        Log("slow\n");
    }
    const std::string later = Lines().substr(throttled.size());
    EXPECT_EQ(std::string::npos, later.find("I120: 500."));
    EXPECT_NE(std::string::npos, later.find("I120: 699" + dots + "\nI120+ second\nI120: slow\n"));
    EXPECT_EQ(later.find("Throttled"), std::string::npos);

    Log_Exit();
    Attach({{"log.noLogAfterThreshold", "TRUE"}, {"log.throttleThreshold", "600"}});
    Log("%s\n", std::string(600, '.').c_str());
    seconds += 3600;
    Log("kept\n");
    EXPECT_EQ("I120: <<< file Throttled >>>\n", Lines());
    Log_DisableThrottling();
    Log("now\n");
    EXPECT_TRUE(Lines().ends_with(".\nI120: kept\nI120: now\n"));
}

TEST_F(LogFile, LostBytesAreAdmitted) {
    const auto oldAction = signal(SIGXFSZ, SIG_IGN);
    for (size_t limit : {3000u, 3001u, 3011u, 3015u, 4090u}) {
        Attach();
        const size_t labels = folder.Read("log").size();
        size_t written = 0;
        const auto log = [&](int number) {
            Log("line %d %s\n", number, std::string(number % 50, '.').c_str());
            written += ("I120: line " + std::to_string(number) + " \n").size() + number % 50;
        };
        {
            const ProcessLimit full(RLIMIT_FSIZE, limit);
            for (int i = 0; i < 400; i++)
                log(i);
        }
        for (int i = 400; i < 500; i++)
            log(i);
        Log_Exit();
        const std::string text = folder.Read("log");
        std::smatch notice;
        ASSERT_TRUE(std::regex_search(
            text, notice,
            std::regex("I120: >>> Error writing log, ([0-9]+) bytes discarded. Disk full\\?\n")));
        EXPECT_EQ(std::string::npos, notice.suffix().str().find(">>>"));
        EXPECT_EQ(written, text.size() - labels - notice.length() + std::stoul(notice[1]));
        EXPECT_TRUE(notice.suffix().str().starts_with("I120: line 400 \n"));
    }
    signal(SIGXFSZ, oldAction);
}

TEST_F(LogFile, OtherThanRegularFilesAreRefused) {
    folder.Write("target", "untouched");
    const std::pair<const char *, std::function<void(const char *)>> rows[] = {
        {"is a symbolic link",
         [&](const char *path) { ASSERT_EQ(0, symlink(folder.Path("target").c_str(), path)); }},
        {"is a symbolic link", [&](const char *path) { ASSERT_EQ(0, symlink("nowhere", path)); }},
        {"is not a regular file", [](const char *path) { ASSERT_EQ(0, mkfifo(path, 0600)); }},
        {"Unable to open", [](const char *path) { ASSERT_EQ(0, mkdir(path, 0700)); }},
    };
    for (const auto &[message, make] : rows) {
        make(folder.Path("log").c_str());
        LogRing_Clear();
        LogFileOutput *file = New({{"log.fileName", folder.Path("log")}, {"log.append", "TRUE"}});
        EXPECT_FALSE(Log_AddOutput(file));
        EXPECT_TRUE(Log_FreeOutput(file));
        EXPECT_THAT(LogText(), testing::HasSubstr(message));
        EXPECT_THAT(LogText(), testing::HasSubstr("W Open of '"));
        EXPECT_TRUE(std::filesystem::remove(folder.Path("log"))); /* it is still there */
    }
    EXPECT_EQ("untouched", folder.Read("target"));
    EXPECT_FALSE(std::filesystem::exists(folder.Path("nowhere")));
}

TEST_F(LogFile, ModeAndSafeFolder) {
    Attach();
    EXPECT_EQ(mode_t(S_IFREG), ModeOf(folder.Path("log")) & (S_IFMT | 0137));
    const std::string safe = folder.Path("halden-") + g_get_user_name();
    EXPECT_EQ(S_IFDIR | 0700u, ModeOf(safe));
    chmod(safe.c_str(), 0777); /* somebody else may have put something there */
    LogFileOutput *file = New({});
    EXPECT_EQ(0u, file->directory.find(folder.Path("halden-")));
    EXPECT_NE(safe, file->directory);
    Log_FreeOutput(file);

    setenv("TMPDIR", "/proc/none", 1);
    EXPECT_EQ(nullptr, New({}));
    EXPECT_NE(std::string::npos, Lines().find("W110: Failed to establish the safe temporary"));
}

TEST_F(LogFile, ReplacingCopiesTheOldFile) {
    LogFileOutput *first = Attach();
    Log("old\n");
    EXPECT_EQ(folder.Path("log"), Log_GetFileName());
    for (bool append : {false, true}) {
        const std::string path = folder.Path(append ? "third" : "second");
        LogFileOutput *next = New({{"log.fileName", path},
                                   {"log.append", append ? "TRUE" : "FALSE"},
                                   {"log.useTimeStamps", "FALSE"},
                                   {"log.useThreadName", "FALSE"}});
        const std::string former = first->fileName;
        ASSERT_TRUE(Log_ReplaceOutput(first, next, TRUE));
        EXPECT_FALSE(std::filesystem::exists(former));
        Log("%s\n", append ? "third" : "second");
        EXPECT_STREQ(path.c_str(), Log_GetOutputFileName(next));
        first = next;
    }
    EXPECT_EQ("I120: old\nI120: second\nI120: third\n", Lines("third"));
    // A second output to the same file must not remove it.
    LogFileOutput *same = New({{"log.fileName", folder.Path("third")}, {"log.append", "TRUE"}});
    ASSERT_TRUE(Log_ReplaceOutput(first, same, TRUE));
    EXPECT_EQ("I120: old\nI120: second\nI120: third\n", Lines("third"));
}

TEST_F(LogFile, FilesOfDeadProcessesAreBounded) {
    const pid_t dead = fork();
    if (dead == 0)
        _exit(0);
    waitpid(dead, nullptr, 0);
    LogFileOutput *file = New({{"log.suffix", "x"}, {"log.keepOld", "2"}});
    ASSERT_TRUE(Log_AddOutput(file));
    const auto make = [&](const std::string &name, int age) {
        const std::string path = file->directory + "/" + name;
        ASSERT_TRUE(g_file_set_contents(path.c_str(), "", 0, nullptr));
        const timespec times[2] = {{2000000000 - age, 0}, {2000000000 - age, 0}};
        utimensat(AT_FDCWD, path.c_str(), times, 0);
    };
    const std::string number = std::to_string(dead);
    EXPECT_FALSE(Log_BoundNumFiles(file, nullptr, nullptr));
    for (const char *ending : {".log", "-0.log"}) /* the second number is no process */
        make("halden-x-" + number + ending, 1);
    make("halden-x-" + number + ".a", 9);
    make("halden-x-" + number + ".b", 5);
    make("halden-x-" + number + ".c", 7);
    make("halden-y-" + number + ".d", 10);
    make("halden-x-" + std::to_string(getppid()) + ".e", 11);
    EXPECT_FALSE(Log_BoundNumFiles(file, nullptr, nullptr));
    std::vector<std::string> left;
    for (const auto &entry : std::filesystem::directory_iterator(file->directory))
        left.push_back(entry.path().filename().string().substr(7));
    std::ranges::sort(left);
    std::vector<std::string> expected = {"x-" + number + ".log",
                                         "x-" + number + "-0.log",
                                         "x-" + number + ".b",
                                         "y-" + number + ".d",
                                         "x-" + std::to_string(getppid()) + ".e",
                                         "x-" + std::to_string(getpid()) + ".log"};
    std::ranges::sort(expected);
    EXPECT_EQ(expected, left);
}

/* Eight threads write while the file is rotated and outputs come and go: no line is lost or torn. */
TEST_F(LogFile, ThreadsWriteWhileTheFileIsRotated) {
    constexpr int kThreads = 8;
    constexpr int kLines = 300;
    Attach(
        {{"log.rotateSize", "20000"}, {"log.keepOld", "1000"}, {"log.throttleBytesPerSec", "0"}});
    InThreads(kThreads + 1, [](int i) {
        for (int n = 0; i < kThreads && n < kLines; n++)
            Log("thread %d line %d %s\n", i, n, std::string(n % 90, '.').c_str());
        for (int n = 0; i == kThreads && n < 100; n++) {
            LogRecorder *recorder = LogRecorder::New("comes");
            EXPECT_TRUE(Log_AddOutput(recorder));
            EXPECT_TRUE(Log_ReplaceOutput(recorder, nullptr, FALSE));
        }
    });
    Log_Exit();

    const std::string all = AllLines();
    std::vector<int> next(kThreads);
    const std::regex line("I120: thread ([0-9]) line ([0-9]+) \\.*");
    for (size_t at = 0; at < all.size(); at = all.find('\n', at) + 1) {
        const std::string text = all.substr(at, all.find('\n', at) - at);
        std::smatch parts;
        if (text.find("VThreadBase") != std::string::npos)
            continue;
        ASSERT_TRUE(std::regex_match(text, parts, line)) << text;
        EXPECT_EQ(next[std::stoi(parts[1])]++, std::stoi(parts[2]));
    }
    EXPECT_EQ(std::vector<int>(kThreads, kLines), next);
}

} // namespace
