/*
 * preference.h -- six dictionaries in layers: where a setting comes from
 *
 *   1 GLOBAL_SETTINGS   libdir/settings                4 USER_DEFAULTS   ~/.halden/config
 *   2 NON_PERSISTENT    set while the process runs     5 HOST_DEFAULTS   /etc/halden/config
 *   3 USER_PREFERENCES  ~/.halden/preferences          6 SITE_DEFAULTS   libdir/config
 *
 * The first layer that has a key wins; without one the caller's default is the value. libdir is a setting of
 * HOST_DEFAULTS, "/usr/lib/halden" if it is not there. Until Preference_Init() every read gives its default.
 *
 * Ownership: texts that are returned are copies, to be released with free().
 * Errors:    an unreadable layer is empty and leaves a line in the log.
 * Threads:   any, after Preference_Init().
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

typedef enum {
    PREFERENCE_GLOBAL_SETTINGS = 0,
    PREFERENCE_NON_PERSISTENT = 1,
    PREFERENCE_USER_PREFERENCES = 2,
    PREFERENCE_USER_DEFAULTS = 3,
    PREFERENCE_HOST_DEFAULTS = 4,
    PREFERENCE_SITE_DEFAULTS = 5,
    PREFERENCE_NUM_LAYERS = 6,
} PreferenceLayer;

/* Loads the layers. TRUE whatever happened. */
gboolean Preference_Init(void);

/* Frees everything; reads give their defaults again. No other thread may be reading. */
void Preference_Exit(void);

/* To be called before Preference_Init(): USER_PREFERENCES is then empty. */
void Preference_DisableUserPreferences(void);

/* To be called before Preference_Init(): a file in place of the usual one; "" for none. */
void Preference_SetFileName(PreferenceLayer layer, const char *fileName);

char *Preference_GetString(const char *defaultValue, const char *name);
char *Preference_GetStringPlain(const char *defaultValue, const char *name);
gboolean Preference_GetBool(gboolean defaultValue, const char *name);
gint32 Preference_GetLong(gint32 defaultValue, const char *name);
gint64 Preference_GetInt64(gint64 defaultValue, const char *name);
double Preference_GetDouble(double defaultValue, const char *name);
/* 0 false, 1 true, -1 default. */
gint32 Preference_GetTriState(gint32 defaultValue, const char *name);
/* A path, after Util_ExpandString(). */
char *Preference_GetPathName(const char *defaultValue, const char *name);
/* One of the choices (array zero-terminated), or the default. */
char *Preference_GetStringEnum(const char *defaultValue, const char *const *choices,
                               const char *name);

/* Whether no layer sets a key. */
gboolean Preference_NotSet(const char *name);

/**
 * Preference_FindLayer:
 * @name: a key
 * @layer: (out): the layer that its value comes from
 *
 * Returns: %FALSE if no layer sets it
 */
gboolean Preference_FindLayer(const char *name, PreferenceLayer *layer);

/* Returns the name of a layer in logs, "USER_PREFERENCES". */
const char *Preference_LayerName(PreferenceLayer layer);

/* Sets "name=value" for the life of the process. @restore allows a name that is set. */
gboolean Preference_SetFromString(const char *text, gboolean restore);

/* Logs all layers; the second only where their files are. */
void Preference_Log(void);
void Preference_LogFileLocations(void);

G_END_DECLS
