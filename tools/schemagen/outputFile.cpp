#include "tools/schemagen/outputFile.h"

#include <glib.h>
#include <glib/gstdio.h>

#include "lib/misc/glibPtr.h"

namespace {

bool HasBytes(const std::string &path, std::string_view bytes) {
    gchar *raw = nullptr;
    gsize size = 0;
    if (!g_file_get_contents(path.c_str(), &raw, &size, nullptr))
        return false;
    const GPtr<gchar> text(raw);
    return std::string_view(raw, size) == bytes;
}

} // namespace

bool OutputFile_Write(const std::string &path, std::string_view bytes, std::string *error) {
    if (HasBytes(path, bytes))
        return true;

    const GPtr<gchar> folder(g_path_get_dirname(path.c_str()));
    if (g_mkdir_with_parents(folder.get(), 0777) != 0) {
        *error = "cannot make folder " + std::string(folder.get()) + ": " + g_strerror(errno);
        return false;
    }

    GError *raw = nullptr;
    if (g_file_set_contents(path.c_str(), bytes.data(), static_cast<gssize>(bytes.size()), &raw))
        return true; /* written beside it and renamed */
    *error = raw->message;
    g_error_free(raw);
    return false;
}
