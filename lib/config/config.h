/*
 * config.h -- tunable values by name, for modules
 *
 *   Config_GetLong(16384, "filePosix.coalesce.size")      ->  what a layer of preference.h says, or 16384
 *
 * A name is a printf() format, of whose result 1,023 bytes count. This form of the library has no configuration
 * that can be written: the setters end the process.
 *
 * Ownership: texts that are returned are copies, to be released with free().
 * Threads:   any.
 */
#pragma once

#include <glib.h>

G_BEGIN_DECLS

char *Config_GetString(const char *defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
char *Config_GetStringPlain(const char *defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
gboolean Config_GetBool(gboolean defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
gint32 Config_GetLong(gint32 defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
gint64 Config_GetInt64(gint64 defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
double Config_GetDouble(double defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
gint32 Config_GetTriState(gint32 defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
char *Config_GetPathName(const char *defaultValue, const char *name, ...) G_GNUC_PRINTF(2, 3);
gboolean Config_NotSet(const char *name, ...) G_GNUC_PRINTF(1, 2);

/* Each ends the process: "NOT_IMPLEMENTED". */
void Config_Set(gconstpointer value, guint typeWord, const char *name) G_GNUC_NORETURN;
void Config_SetString(const char *value, const char *name, ...) G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
void Config_SetStringPlain(const char *value, const char *name, ...)
    G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
void Config_SetBool(gboolean value, const char *name, ...) G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
void Config_SetBoolPlain(gboolean value, const char *name, ...) G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
void Config_SetLong(gint32 value, const char *name, ...) G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
void Config_SetLongPlain(gint32 value, const char *name, ...) G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
void Config_SetInt64(gint64 value, const char *name, ...) G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
void Config_SetDouble(double value, const char *name, ...) G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
gconstpointer Config_Get(gconstpointer defaultValue, guint typeWord,
                         const char *name) G_GNUC_NORETURN;
gint32 Config_GetLongPlain(gint32 defaultValue, const char *name, ...)
    G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;
gboolean Config_GetBoolPlain(gboolean defaultValue, const char *name, ...)
    G_GNUC_PRINTF(2, 3) G_GNUC_NORETURN;

/* Each ends the process: "NOT_REACHED". */
char *Config_GetDataFileKey(void) G_GNUC_NORETURN;
gboolean Config_WriteNoMsg(void) G_GNUC_NORETURN;

G_END_DECLS
