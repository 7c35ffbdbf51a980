// The same application in C++20.
#include <memory>

#include <orvane/json.h>
#include <orvane/orvane.h>
#include <orvane/orvaneGlib.h>
#include <orvane/schema/ferry.h>
#include <orvane/schema/ozy.h>
#include <orvane/schema/qorm.h>
#include <ssl/ssl.h>

int main() {
    if (!orvane_glib_init(nullptr))
        return 1;
    {
        const auto release = [](auto *object) { g_object_unref(object); };
        const std::unique_ptr<OrvaneSession, decltype(release)> session(orvane_session_new());
        const std::unique_ptr<GObject, decltype(release)> spec(
            orvane_property_spec_new(SKEMA_TYPE_OZY_VIRTUAL_MACHINE, FALSE, "name", nullptr));
        const std::unique_ptr<char, decltype(&g_free)> json(
            orvane_object_to_json(spec.get(), ORVANE_JSON_COMPACT, nullptr), g_free);
        g_print("%s %s %d %s\n", g_type_name(SKEMA_TYPE_OZY_VIRTUAL_MACHINE),
                G_OBJECT_TYPE_NAME(spec.get()), SSL_IsThumbprint("x"), json.get());
    }
    orvane_glib_shutdown();
}
