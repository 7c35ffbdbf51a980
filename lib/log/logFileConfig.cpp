#include <algorithm>
#include <cstring>
#include <string>

#include "lib/config/preference.h"
#include "lib/file/file.h"
#include "lib/file/fileTemp.h"
#include "lib/log/logFileInt.h"
#include "lib/misc/err.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "lib/misc/utilExpand.h"

constexpr LogConfigOps kLogPreferences = {Preference_GetString, Preference_GetLong,
                                          Preference_GetBool};

namespace {

constexpr char kSystemArea[] = "/var/log/halden";
constexpr mode_t kSystemAreaMode = 0755;
constexpr gint32 kDefaultPermissions = 0640;
constexpr gint32 kModeBits = 0777;
constexpr gint32 kDefaultKeepOld = 3;
constexpr gint32 kDefaultThreshold = 1000000;
constexpr gint32 kDefaultBytesPerSec = 1000;

/* The sources of settings of one output. */
class Settings {
public:
    Settings(const char *prefix, const char *outputName, Dictionary *from, const LogConfigOps *ops)
        : dictionary(from), configOps(ops) {
        if (std::string_view(outputName) != "file")
            suffix = std::string(".") + outputName;
        if (prefix != nullptr)
            appPrefix = std::string(prefix) + ".";
    }

    /* A text that only the dictionary has; "" if it is not set. */
    std::string OwnText(const char *key) const {
        const MallocPtr<char> text(
            dictionary != nullptr ? Dict_GetString(dictionary, nullptr, "%s", key) : nullptr);
        return text != nullptr ? text.get() : "";
    }
    bool OwnBool(const char *key) const {
        return dictionary != nullptr && Dict_GetBool(dictionary, FALSE, "%s", key);
    }

    /* The text of a key that another setting names; "" if it is not set. */
    std::string TextOfKey(const std::string &key) const {
        const MallocPtr<char> text(configOps != nullptr ? configOps->getString(nullptr, key.c_str())
                                                        : nullptr);
        return text != nullptr ? text.get() : "";
    }

    bool Bool(const char *key, bool isDefault) const {
        bool value = isDefault;
        if (dictionary != nullptr)
            value = Dict_GetBool(dictionary, isDefault, "%s", key) != FALSE;
        ForEachName(key, [&](const std::string &name) {
            if ((configOps->getBool(isDefault, name.c_str()) != FALSE) != isDefault)
                value = !isDefault;
        });
        return value;
    }

    gint32 Number(const char *key, gint32 defaultValue) const {
        gint32 value = defaultValue;
        if (dictionary != nullptr)
            TakeNumber(Dict_GetLong(dictionary, defaultValue, "%s", key), &value);
        ForEachName(key, [&](const std::string &name) {
            TakeNumber(configOps->getLong(-1, name.c_str()), &value);
        });
        return value;
    }

    bool HasConfigOps() const { return configOps != nullptr; }
    /* A number without suffix, that only configOps has. */
    gint32 PlainNumber(const std::string &key, gint32 defaultValue) const {
        gint32 value = defaultValue;
        if (configOps == nullptr)
            return value;
        TakeNumber(configOps->getLong(-1, key.c_str()), &value);
        if (!appPrefix.empty())
            TakeNumber(configOps->getLong(-1, (appPrefix + key).c_str()), &value);
        return value;
    }

private:
    static void TakeNumber(gint32 found, gint32 *value) {
        if (found >= 0)
            *value = found;
    }

    /* Calls a function with the names of a key in configOps, the most special one last. */
    template <class Function> void ForEachName(const char *key, Function function) const {
        if (configOps == nullptr)
            return;
        const std::string name = key + suffix;
        function(name);
        if (!appPrefix.empty())
            function(appPrefix + name);
    }

    Dictionary *dictionary;
    const LogConfigOps *configOps;
    std::string suffix;
    std::string appPrefix;
};

/* Settings that are no texts. Reading one of them as a text, too, would end the process. */
constexpr const char *kTypedKeys[] = {
    "log.systemareatemp",      "log.usetimestamps",       "log.milliseconds",
    "log.usethreadname",       "log.useleveldesignator",  "log.append",
    "log.syncafterwrite",      "log.fastrotation",        "log.keepold",
    "log.rotatesize",          "log.permissions",         "log.throttlethreshold",
    "log.throttlebytespersec", "log.nologafterthreshold", "log.logminlevel",
    "log.stderrminlevel",
};

/* Returns the file name that another setting has; "" with a warning if that setting is no text. */
std::string NamedElsewhere(const Settings &settings, const std::string &key) {
    const GPtr<char> lower(g_ascii_strdown(key.c_str(), -1));
    const bool isTyped = std::ranges::any_of(
        kTypedKeys, [&](const char *typed) { return strstr(lower.get(), typed) != nullptr; });
    if (!isTyped)
        return settings.TextOfKey(key);
    Warning("LOG: log.config names '%s', which is not the name of a file\n", key.c_str());
    return {};
}

void ReadSettings(LogFileOutput *file, const Settings &settings) {
    if (const std::string key = settings.OwnText("log.config");
        !key.empty() && settings.HasConfigOps())
        file->fileName = NamedElsewhere(settings, key);
    else
        file->fileName = settings.OwnText("log.fileName");
    file->suffix = settings.OwnText("log.suffix");
    file->systemAreaTemp = settings.OwnBool("log.systemAreaTemp");
    file->useTimeStamps = settings.Bool("log.useTimeStamps", true);
    file->milliseconds = settings.Bool("log.Milliseconds", true);
    file->useThreadName = settings.Bool("log.useThreadName", true);
    file->useLevelDesignator = settings.Bool("log.useLevelDesignator", true);
    file->append = settings.Bool("log.append", false);
    file->syncAfterWrite = settings.Bool("log.syncAfterWrite", false);
    file->fastRotation = settings.Bool("log.fastRotation", false);
    file->keepOld = settings.Number("log.keepOld", kDefaultKeepOld);
    file->rotateSize = settings.Number("log.rotateSize", 0);
    file->permissions = settings.Number("log.permissions", kDefaultPermissions) & kModeBits;
    file->throttle.threshold = settings.Number("log.throttleThreshold", kDefaultThreshold);
    file->throttle.bytesPerSec = settings.Number("log.throttleBytesPerSec", kDefaultBytesPerSec);
    if (file->throttle.bytesPerSec == 0)
        file->throttle.bytesPerSec = LOG_NEVER_THROTTLE;
    file->noLogAfterThreshold = settings.Bool("log.noLogAfterThreshold", false);
    if (file->noLogAfterThreshold)
        file->throttle.bytesPerSec = 0;
    file->logMinLevel = settings.Number("log.logMinLevel", LOG_LEVEL_INFO);
    file->stderrMinLevel = settings.PlainNumber("log.stderrMinLevel", -1);
}

bool SetDirectory(LogFileOutput *file) {
    const MallocPtr<char> safe(file->systemAreaTemp ? nullptr : File_GetSafeTmpDir(TRUE));
    const char *path = file->systemAreaTemp ? kSystemArea : safe.get();
    if (path != nullptr && File_CreateDirectoryHierarchy(path, kSystemAreaMode)) {
        file->directory = path;
        return true;
    }
    const char *reason = Err_ErrString();
    if (path != nullptr)
        Warning("Safe logging area '%s' validation failed!\n", path);
    Warning("Failed to establish the safe temporary directory area: %s\n", reason);
    return false;
}

bool GenerateName(LogFileOutput *file) {
    const std::string pattern =
        std::string("halden") + (file->suffix.empty() ? "" : "-") + file->suffix + "-$PID.log";
    const MallocPtr<char> name(Util_ExpandString(pattern.c_str()));
    if (name == nullptr)
        return false;
    const MallocPtr<char> path(File_PathJoin(file->directory.c_str(), name.get()));
    file->fileName = path.get();
    file->uniqueName = true;
    return true;
}

} // namespace

LogOutput *Log_NewFileOutput(const char *appPrefix, const char *outputName, Dictionary *dictionary,
                             const LogConfigOps *configOps) {
    if ((appPrefix != nullptr && *appPrefix == '\0') || outputName == nullptr ||
        *outputName == '\0')
        return nullptr;
    auto file = std::make_unique<LogFileOutput>();
    file->type = kLogTypeFile;
    file->name = outputName;
    file->operations = &kLogFileOperations;
    ReadSettings(file.get(), Settings(appPrefix, outputName, dictionary, configOps));
    if (!SetDirectory(file.get()))
        return nullptr;
    if (file->fileName.empty() && !GenerateName(file.get()))
        return nullptr;
    return file.release();
}
