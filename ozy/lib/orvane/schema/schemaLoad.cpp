// Overlays at run time: text -> model over the model of the tables in force -> new tables in force.
// Tables that were in force are kept to the end of the process, since another thread may be reading
// them.
#include <orvane/schemaOverlay.h>

#include <atomic>

#include "lib/misc/glibPtr.h"
#include "lib/misc/log.h"
#include "ozy/lib/orvane/runtime/roomsAbove.h"
#include "ozy/lib/orvane/schema/schemaEngine.h"
#include "ozy/lib/schemaText/schemaBuild.h"
#include "ozy/lib/schemaText/schemaFiles.h"
#include "ozy/lib/schemaText/schemaOverlay.h"
#include "ozy/lib/schemaText/schemaRecover.h"

namespace {

/* Tables made at run time, each with those that it replaced. */
struct LoadedTables {
    SchemaBuilt built;
    SchemaTables tables;
    const LoadedTables *former;
};

constinit std::atomic<const LoadedTables *> gLoadedTables{nullptr};
GMutex gLoading;

struct LoadingLock {
    LoadingLock() { g_mutex_lock(&gLoading); }
    ~LoadingLock() { g_mutex_unlock(&gLoading); }
    LoadingLock(const LoadingLock &) = delete;
    LoadingLock &operator=(const LoadingLock &) = delete;
};

bool Fail(GError **error, OrvaneSchemaError code, const std::string &message) {
    g_set_error_literal(error, ORVANE_SCHEMA_ERROR, code, message.c_str());
    return false;
}

bool FailTooLate(GError **error) {
    return Fail(error, ORVANE_SCHEMA_ERROR_TOO_LATE,
                "types of the schema are in use already, an overlay comes too late");
}

/* Reports the first error and the number of further ones. */
bool FailWith(GError **error, OrvaneSchemaError code, const SchemaErrors &errors) {
    std::string message = errors.messages.front();
    if (errors.count > 1)
        message += " (and " + std::to_string(errors.count - 1) + " more)";
    return Fail(error, code, message);
}

bool ReadText(const char *name, std::string_view text, std::vector<SchemaModel> *overlays,
              GError **error) {
    SchemaErrors errors;
    if (!SchemaText_Parse(&overlays->emplace_back(), name, text, &errors))
        return FailWith(error, ORVANE_SCHEMA_ERROR_SYNTAX, errors);
    return true;
}

bool ReadFile(const std::string &path, std::vector<SchemaModel> *overlays, GError **error) {
    std::string text;
    std::string why;
    if (!SchemaFiles_Read(path, &text, &why))
        return Fail(error, ORVANE_SCHEMA_ERROR_IO, why);
    const GPtr<char> name(g_filename_display_name(path.c_str()));
    return ReadText(name.get(), text, overlays, error);
}

/* Reads all files, in the order in which they are applied. */
bool ReadPaths(const std::vector<std::string> &paths, std::vector<SchemaModel> *overlays,
               GError **error) {
    std::vector<std::string> files;
    for (const std::string &path : paths) {
        std::string why;
        if (!SchemaFiles_List(path, &files, &why))
            return Fail(error, ORVANE_SCHEMA_ERROR_IO, why);
    }
    for (const std::string &file : files) {
        if (!ReadFile(file, overlays, error))
            return false;
    }
    return true;
}

/* Applies each overlay to the model with those before it. */
bool Apply(SchemaModel *model, std::vector<SchemaModel> &&overlays, GError **error) {
    SchemaErrors errors;
    for (SchemaModel &overlay : overlays) {
        if (!SchemaOverlay_Apply(model, std::move(overlay), &errors))
            return FailWith(error, ORVANE_SCHEMA_ERROR_CONTRADICTION, errors);
    }
    if (!SchemaOverlay_Check(*model, &errors))
        return FailWith(error, ORVANE_SCHEMA_ERROR_UNSOUND, errors);
    return true;
}

/* Fails if the application has registered a type of one of the names itself. */
bool CheckTypeNames(const SchemaModel &model, const LoadedTables &loaded, guint32 numKnown,
                    GError **error) {
    for (guint32 i = numKnown; i < loaded.tables.numTypes; i++) {
        const char *name = loaded.tables.text + loaded.tables.types[i].name;
        if (g_type_from_name(name) == 0)
            continue;
        return Fail(error, ORVANE_SCHEMA_ERROR_CONTRADICTION,
                    SchemaPlace_Text(model, model.types[i].place) + ": type '" + name +
                        "' is registered already");
    }
    return true;
}

/* Puts tables with the overlays in force. The lock is held. */
bool Extend(std::vector<SchemaModel> &&overlays, GError **error) {
    const SchemaTables &base = *SchemaEngine_Tables();
    SchemaModel model = SchemaRecover_Run(base);
    if (!Apply(&model, std::move(overlays), error))
        return false;

    auto loaded = std::make_unique<LoadedTables>();
    loaded->built = SchemaBuild_Extend(base, model);
    loaded->tables = SchemaBuild_Tables(&loaded->built);
    loaded->former = gLoadedTables.load();
    if (!CheckTypeNames(model, *loaded, base.numTypes, error))
        return false;
    if (!SchemaEngine_SetTables(&loaded->tables))
        return FailTooLate(error);
    gLoadedTables.store(loaded.release());
    return true;
}

/* Loads all of the paths, or none if one fails. */
bool Load(const std::vector<std::string> &paths, GError **error) {
    const LoadingLock lock;
    if (SchemaEngine_IsInUse())
        return FailTooLate(error);
    std::vector<SchemaModel> overlays;
    return ReadPaths(paths, &overlays, error) && Extend(std::move(overlays), error);
}

} // namespace

GQuark orvane_schema_error_quark(void) {
    return g_quark_from_static_string("orvane-schema-error-quark");
}

gboolean orvane_schema_load_overlay(const char *path, GError **error) {
    g_return_val_if_fail(path != nullptr, FALSE);
    g_return_val_if_fail(error == nullptr || *error == nullptr, FALSE);
    return Load({path}, error);
}

gboolean orvane_schema_add_overlay(const char *name, const char *text, GError **error) {
    g_return_val_if_fail(name != nullptr, FALSE);
    g_return_val_if_fail(text != nullptr, FALSE);
    g_return_val_if_fail(error == nullptr || *error == nullptr, FALSE);
    const LoadingLock lock;
    if (SchemaEngine_IsInUse())
        return FailTooLate(error);
    std::vector<SchemaModel> overlays;
    return ReadText(name, text, &overlays, error) && Extend(std::move(overlays), error);
}

void SchemaLoad_FromEnvironment(char *(*getVariable)(const char *name)) {
    const char *variable = getVariable("ORVANE_SCHEMA_OVERLAY");
    if (variable == nullptr)
        return;
    std::vector<std::string> paths;
    const StrvPtr parts(g_strsplit(variable, ":", -1));
    for (char **part = parts.get(); *part != nullptr; part++) {
        if (**part != '\0')
            paths.emplace_back(*part);
    }
    if (paths.empty())
        return;

    GError *error = nullptr;
    if (Load(paths, &error))
        return;
    Warning("Schema: ORVANE_SCHEMA_OVERLAY is not loaded: %s\n", error->message);
    g_error_free(error);
}
