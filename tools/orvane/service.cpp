#include "tools/orvane/service.h"

#include "tools/orvane/message.h"

namespace orvaneCli {

Service::Service(Connection &connected, int stepSeconds, bool quiet)
    : connection(connected), timeoutSeconds(stepSeconds), isQuiet(quiet) {
    GObject *found = nullptr;
    g_object_get(Session(), "serviceInstanceContent", &found, nullptr);
    content.reset(found);
}

ProxyPtr Service::Manager(const char *property) const {
    GParamSpec *spec =
        content ? g_object_class_find_property(G_OBJECT_GET_CLASS(content.get()), property)
                : nullptr;
    if (spec == nullptr || !g_type_is_a(spec->value_type, G_TYPE_OBJECT))
        return nullptr;
    SkemaQormManagedObject *manager = nullptr;
    g_object_get(content.get(), property, &manager, nullptr);
    return ProxyPtr(manager);
}

ProxyPtr Service::RequireManager(const char *property) const {
    ProxyPtr manager = Manager(property);
    if (!manager)
        throw Failure(Text(MSGID("service.noManager") "the service has no %s", property));
    return manager;
}

SkemaQormManagedObject *Service::Root() const {
    if (!root)
        root = RequireManager("rootFolder");
    return root.get();
}

ProxyPtr Service::Proxy(const std::string &id, GType type) const {
    SkemaQormManagedObject *proxy = orvane_session_get_object(Session(), id.c_str(), type);
    if (proxy == nullptr)
        throw LostFailure();
    return ProxyPtr(static_cast<SkemaQormManagedObject *>(g_object_ref_sink(proxy)));
}

} // namespace orvaneCli
