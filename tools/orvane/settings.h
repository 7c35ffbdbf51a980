/*
 * settings.h -- what the user, the host or the installation has set for the program, in layers
 *
 *   GLOBAL_SETTINGS    settings, beside the program          what an installation prescribes
 *   NON_PERSISTENT     --set NAME=VALUE, --color, --output   this run
 *   USER_PREFERENCES   $XDG_CONFIG_HOME/orvane/preferences
 *   USER_DEFAULTS      $XDG_CONFIG_HOME/orvane/config
 *   HOST_DEFAULTS      /etc/orvane/config
 *   SITE_DEFAULTS      config, beside the program
 *
 * The first layer with a setting counts. A value that the program cannot use is reported once, and its default used.
 *
 * Errors:  BadUsage.
 * Threads: one.
 */
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json_fwd.hpp>

namespace orvaneCli {

constexpr int kMinTimeout = 1;
constexpr int kMaxTimeout = 3600;

/* Loads the layers. Files that cannot be used are left out. */
void StartSettings();
/* Reports what was left out; to be called after StartMessages(). */
void ReportLeftOutSettings();
void EndSettings();

/* Sets "NAME=VALUE" for this run; a name or value that does not exist is BadUsage. */
void SetForThisRun(const std::string &text);

enum class ColorSetting { kAuto, kAlways, kNever };
ColorSetting GetColorSetting();

enum class OutputForm {
    kTable,    /* aligned columns for people */
    kPlain,    /* a line a row, columns separated by tabs, without headings */
    kJson,     /* one document */
    kJsonLines /* a document a line */
};
OutputForm GetOutputForm();
/* Whether it is one of the two forms of JSON. */
bool IsJsonWanted();

/* In seconds. */
int TimeoutSetting();

/* A setting, its value, and where that comes from. */
struct SettingShown {
    std::string name, value;
    std::string layer; /* empty for a default */
    std::string file;  /* of the layer; empty if it has none */
};
std::vector<SettingShown> AllSettings();

/* Writes a document to stdout; as JSON lines, a line for each element of an array. */
void WriteJson(const nlohmann::ordered_json &document);

} // namespace orvaneCli
