/*
 * Settings of a log from anybody: an output is made of them, or refused; it takes lines, with rotation and
 * throttling as the settings say; and nothing is written outside of the folder that the target made.
 *
 * The input is a dictionary. Names of files that it gives are taken as names in that folder.
 */
#include <cstdlib>
#include <filesystem>
#include <string>

#include "fuzz/storedText.h"
#include "lib/log/logFile.h"
#include "lib/log/logFileInt.h"
#include "lib/misc/log.h"

namespace {

/* Returns a folder that is removed at the end of the process. */
std::string Folder() {
    static char path[] = "/tmp/logConfigFuzz-XXXXXX";
    static const bool isMade = [] {
        FuzzRequire(mkdtemp(path) != nullptr);
        setenv("TMPDIR", path, 1);
        return atexit([] { std::filesystem::remove_all(path); }) == 0;
    }();
    FuzzRequire(isMade);
    return path;
}

/* Keys that the program's own layers have, in place of a file: the same values as the dictionary's. */
Dictionary *layers;

constexpr LogConfigOps kLayers = {
    [](const char *defaultValue, const char *key) {
        return Dict_GetString(layers, defaultValue, "%s", key);
    },
    [](gint32 defaultValue, const char *key) {
        return Dict_GetLong(layers, defaultValue, "%s", key);
    },
    [](gboolean defaultValue, const char *key) {
        return Dict_GetBool(layers, defaultValue, "%s", key);
    },
};

Dictionary *Load(const std::string &text) {
    Dictionary *dictionary = Dictionary_Create();
    if (Dictionary_LoadFromBuffer(dictionary, text.c_str(), FALSE))
        return dictionary;
    Dictionary_Free(dictionary);
    return nullptr;
}

/* Moves the file of an output into the folder. */
void Confine(LogFileOutput *file) {
    std::string name = std::filesystem::path(file->fileName).filename();
    name.resize(std::min(name.size(), size_t(100)));
    file->fileName = Folder() + "/" + (name.empty() || name == "." || name == ".." ? "x" : name);
}

void Use(LogOutput *output) {
    if (!Log_AddOutput(output)) {
        FuzzRequire(Log_FreeOutput(output));
        return;
    }
    for (int i = 0; i < 40; i++)
        Log("%d %s\nsecond line\n", i, std::string(i * 13, 'x').c_str());
    Log_Audit("\x1b unfinished");
    Log_BoundNumFiles(output, nullptr, nullptr);
    Log_DisableThrottling();
    Warning("end\n");
    Log_Exit();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(FuzzText(data, size));
    Folder();
    if (text.find("systemAreaTemp") != text.npos)
        return 0; /* is outside of the folder */
    layers = Load(text);
    Dictionary *dictionary = layers != nullptr ? Load(text) : nullptr;
    if (dictionary != nullptr) {
        for (const char *name : {"file", "vm"}) {
            LogOutput *output = Log_NewFileOutput("app", name, dictionary, &kLayers);
            if (output == nullptr)
                continue;
            Confine(static_cast<LogFileOutput *>(output));
            Use(output);
        }
    }
    if (dictionary != nullptr)
        Dictionary_Free(dictionary);
    if (layers != nullptr)
        Dictionary_Free(layers);
    LogRing_Clear();
    std::error_code ignored;
    for (const auto &entry : std::filesystem::directory_iterator(Folder()))
        std::filesystem::remove_all(entry.path(), ignored);
    return 0;
}
