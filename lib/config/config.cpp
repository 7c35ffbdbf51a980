#include "lib/config/config.h"

#include <cstdarg>

#include "lib/config/preference.h"
#include "lib/misc/panic.h"

namespace {

constexpr gsize kMaxName = 1024;

} // namespace

#define GETTER(function, preference, Type, Default)                                                \
    Type function(Default defaultValue, const char *name, ...) {                                   \
        char text[kMaxName];                                                                       \
        va_list arguments;                                                                         \
        va_start(arguments, name);                                                                 \
        g_vsnprintf(text, sizeof text, name, arguments);                                           \
        va_end(arguments);                                                                         \
        return preference(defaultValue, text);                                                     \
    }
GETTER(Config_GetString, Preference_GetString, char *, const char *)
GETTER(Config_GetStringPlain, Preference_GetString, char *,
       const char *) /* without the plain flag */
GETTER(Config_GetBool, Preference_GetBool, gboolean, gboolean)
GETTER(Config_GetLong, Preference_GetLong, gint32, gint32)
GETTER(Config_GetInt64, Preference_GetInt64, gint64, gint64)
GETTER(Config_GetDouble, Preference_GetDouble, double, double)
GETTER(Config_GetTriState, Preference_GetTriState, gint32, gint32)
GETTER(Config_GetPathName, Preference_GetPathName, char *, const char *)
#undef GETTER

gboolean Config_NotSet(const char *name, ...) {
    char text[kMaxName];
    va_list arguments;
    va_start(arguments, name);
    g_vsnprintf(text, sizeof text, name, arguments);
    va_end(arguments);
    return Preference_NotSet(text);
}

#define SETTER(function, Type)                                                                     \
    void function(Type, const char *, ...) {                                                       \
        NOT_IMPLEMENTED();                                                                         \
    }
SETTER(Config_SetString, const char *)
SETTER(Config_SetStringPlain, const char *)
SETTER(Config_SetBool, gboolean)
SETTER(Config_SetBoolPlain, gboolean)
SETTER(Config_SetLong, gint32)
SETTER(Config_SetLongPlain, gint32)
SETTER(Config_SetInt64, gint64)
SETTER(Config_SetDouble, double)
#undef SETTER

void Config_Set(gconstpointer, guint, const char *) {
    NOT_IMPLEMENTED();
}

gconstpointer Config_Get(gconstpointer, guint, const char *) {
    NOT_IMPLEMENTED();
}

gint32 Config_GetLongPlain(gint32, const char *, ...) {
    NOT_IMPLEMENTED();
}

gboolean Config_GetBoolPlain(gboolean, const char *, ...) {
    NOT_IMPLEMENTED();
}

char *Config_GetDataFileKey(void) {
    NOT_REACHED();
}

gboolean Config_WriteNoMsg(void) {
    NOT_REACHED();
}
