#include "tools/orvane/settings.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <optional>

#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>

#include "lib/config/panicSettings.h"
#include "lib/config/preference.h"
#include "lib/dict/dictionaryFile.h"
#include "lib/misc/glibPtr.h"
#include "lib/misc/hostinfo.h"
#include "lib/user/msg.h"
#include "tools/orvane/failure.h"
#include "tools/orvane/jsonText.h"
#include "tools/orvane/message.h"
#include "tools/orvane/terminal.h"
#include "tools/orvane/userFile.h"

namespace orvaneCli {

namespace {

using PreferenceText = MallocPtr<char>;

enum SettingIndex { kColor, kOutput, kTimeout, kNumSettings };

struct SettingRow {
    const char *name;
    const char *defaultValue;
    std::array<const char *, 5> choices; /* none: a number of seconds */
};

constexpr std::array<SettingRow, kNumSettings> kSettings = {{
    {"color", "auto", {"auto", "always", "never"}},
    {"output", "table", {"table", "plain", "json", "jsonl", "text"}}, /* text: as table */
    {"timeout", "30", {}},
}};

constexpr PreferenceLayer kLayersWithFiles[] = {
    PREFERENCE_GLOBAL_SETTINGS, PREFERENCE_USER_PREFERENCES, PREFERENCE_USER_DEFAULTS,
    PREFERENCE_HOST_DEFAULTS, PREFERENCE_SITE_DEFAULTS};

/* The folder that the program is in; its catalogues and the installation's settings are there, too. */
std::string ProgramFolder() {
    const PreferenceText path(Hostinfo_GetModulePath(0));
    const std::string text = path != nullptr ? path.get() : "";
    const size_t slash = text.rfind('/');
    return slash == std::string::npos ? "/usr/lib/halden" : text.substr(0, slash);
}

std::string FileOf(PreferenceLayer layer) {
    switch (layer) {
    case PREFERENCE_GLOBAL_SETTINGS:
        return ProgramFolder() + "/settings";
    case PREFERENCE_USER_PREFERENCES:
        return UserFile::Folder() + "/preferences";
    case PREFERENCE_USER_DEFAULTS:
        return UserFile::Folder() + "/config";
    case PREFERENCE_HOST_DEFAULTS:
        return "/etc/orvane/config";
    case PREFERENCE_SITE_DEFAULTS:
        return ProgramFolder() + "/config";
    case PREFERENCE_NON_PERSISTENT:
    case PREFERENCE_NUM_LAYERS:
        break;
    }
    return "";
}

struct LeftOut {
    std::string file;
    std::string why; /* empty: it is no regular file */
};
std::vector<LeftOut> &AllLeftOut() {
    static std::vector<LeftOut> all;
    return all;
}

/* Whether the file of a layer can be read to its end. A file that does not exist is an empty layer. */
bool IsUsable(const std::string &file) {
    struct stat status {};
    const bool isFound = stat(file.c_str(), &status) == 0;
    if (!isFound && (errno == ENOENT || errno == ENOTDIR))
        return true;
    if (isFound && !S_ISREG(status.st_mode)) {
        AllLeftOut().push_back({file, ""});
        return false;
    }
    const DictionaryPtr dictionary(Dictionary_Create());
    MsgList *messages = nullptr;
    if (!Dictionary_LoadEx(dictionary.get(), file.c_str(), &messages)) {
        const PreferenceText text(Msg_LocalizeList(messages));
        std::string why = text.get();
        while (why.ends_with('\n'))
            why.pop_back();
        AllLeftOut().push_back({file, why});
    }
    MsgList_Free(messages);
    return true;
}

std::optional<int> ParseTimeout(const std::string &text) {
    int seconds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), seconds);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    return isNumber && seconds >= kMinTimeout && seconds <= kMaxTimeout ? std::optional(seconds)
                                                                        : std::nullopt;
}

bool IsValid(const SettingRow &row, const std::string &value) {
    if (row.choices[0] == nullptr)
        return ParseTimeout(value).has_value();
    return std::ranges::any_of(
        row.choices, [&](const char *choice) { return choice != nullptr && value == choice; });
}

std::string WhyInvalid(const SettingRow &row, const std::string &value) {
    if (row.choices[0] == nullptr)
        return Text(MSGID("setting.badNumber") "setting \"%s\": \"%s\" is no "
                                               "number of seconds from %d to %d",
                    row.name, Printable(value).c_str(), kMinTimeout, kMaxTimeout);
    std::string all;
    for (const char *choice : row.choices) {
        if (choice != nullptr)
            all += fmt::format("{}{}", all.empty() ? "" : ", ", choice);
    }
    return Text(MSGID("setting.badChoice") "setting \"%s\": \"%s\" is none of %s", row.name,
                Printable(value).c_str(), all.c_str());
}

/* Returns what the layers say, whether or not it can be used. */
std::string WrittenValue(const SettingRow &row) {
    const PreferenceText text(Preference_GetString(row.defaultValue, row.name));
    return text != nullptr ? text.get() : row.defaultValue;
}

/* Returns what the layers say, or the default if that cannot be used. */
std::string Value(SettingIndex index) {
    static constinit std::array<bool, kNumSettings> isReported = {};
    const SettingRow &row = kSettings[index];
    const std::string value = WrittenValue(row);
    if (IsValid(row, value))
        return value;
    PreferenceLayer layer = PREFERENCE_NON_PERSISTENT;
    if (!std::exchange(isReported[index], true) && Preference_FindLayer(row.name, &layer))
        Report(Text(MSGID("setting.ignored") "%s: %s; %s is used", FileOf(layer).c_str(),
                    WhyInvalid(row, value).c_str(), row.defaultValue));
    return row.defaultValue;
}

} // namespace

void StartSettings() {
    for (const PreferenceLayer layer : kLayersWithFiles)
        Preference_SetFileName(layer, IsUsable(FileOf(layer)) ? FileOf(layer).c_str() : "");
    Preference_Init();
    Panic_Init();
    CoreDump_PreloadDebugSupport();
    /* where catalogues are */
    if (Preference_NotSet("libdir"))
        Preference_SetFromString(("libdir=" + ProgramFolder()).c_str(), TRUE);
}

void ReportLeftOutSettings() {
    for (const LeftOut &each : AllLeftOut())
        Report(each.why.empty()
                   ? Text(MSGID("setting.leftOut") "the settings of %s are ignored: it is no "
                                                   "regular file",
                          each.file.c_str())
                   : Text(MSGID("setting.cutOff") "settings behind a mistake are ignored: %s",
                          Printable(each.why).c_str()));
}

void EndSettings() {
    Preference_Exit();
}

void SetForThisRun(const std::string &text) {
    const size_t equals = text.find('=');
    const std::string name = text.substr(0, equals);
    const auto row =
        std::ranges::find_if(kSettings, [&](const SettingRow &each) { return name == each.name; });
    if (equals == std::string::npos || row == kSettings.end()) {
        std::string all;
        for (const SettingRow &each : kSettings)
            all += fmt::format("{}{}", all.empty() ? "" : ", ", each.name);
        throw BadUsage(Text(MSGID("setting.unknown") "--set %s: is not NAME=VALUE "
                                                     "with one of the names %s",
                            Printable(text).c_str(), all.c_str()));
    }
    const std::string value = text.substr(equals + 1);
    if (!IsValid(*row, value))
        throw BadUsage(WhyInvalid(*row, value));
    Preference_SetFromString(text.c_str(), TRUE);
}

ColorSetting GetColorSetting() {
    const std::string value = Value(kColor);
    if (value == "always")
        return ColorSetting::kAlways;
    return value == "never" ? ColorSetting::kNever : ColorSetting::kAuto;
}

OutputForm GetOutputForm() {
    const std::string value = Value(kOutput);
    if (value == "json")
        return OutputForm::kJson;
    if (value == "jsonl")
        return OutputForm::kJsonLines;
    return value == "plain" ? OutputForm::kPlain : OutputForm::kTable;
}

bool IsJsonWanted() {
    const OutputForm form = GetOutputForm();
    return form == OutputForm::kJson || form == OutputForm::kJsonLines;
}

int TimeoutSetting() {
    return ParseTimeout(Value(kTimeout)).value();
}

std::vector<SettingShown> AllSettings() {
    std::vector<SettingShown> all;
    for (int i = 0; i < kNumSettings; i++) {
        const SettingRow &row = kSettings[i];
        SettingShown shown = {row.name, Value(static_cast<SettingIndex>(i)), "", ""};
        PreferenceLayer layer;
        if (IsValid(row, WrittenValue(row)) && Preference_FindLayer(row.name, &layer)) {
            shown.layer = Preference_LayerName(layer);
            shown.file = FileOf(layer);
        }
        all.push_back(shown);
    }
    return all;
}

void WriteJson(const nlohmann::ordered_json &document) {
    using Json = nlohmann::ordered_json;
    constexpr auto replace = Json::error_handler_t::replace;
    if (GetOutputForm() == OutputForm::kJson) {
        WriteOutput(EscapeJson(document.dump(2, ' ', false, replace)) + "\n");
        return;
    }
    const Json lines = document.is_array() ? document : Json::array({document});
    for (const Json &line : lines)
        WriteOutput(EscapeJson(line.dump(-1, ' ', false, replace)) + "\n");
}

} // namespace orvaneCli
