/*
 * Replies from anybody: whatever the bytes, reading them ends, and what was read can be written and
 * released. The last byte, the newline of the recorded replies, picks the method whose reply they
 * are taken for.
 */
#include <cstdint>
#include <iterator>
#include <string>

#include <orvane/orvane.h>
#include <sanitizer/lsan_interface.h>

#include "lib/misc/glibPtr.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"
#include "ozy/lib/orvane/soap/orvaneSoap.h"
#include "ozy/lib/orvane/soap/orvaneSoapTree.h"

namespace {

struct Method {
    const char *name;
    const char *type; /* wire name of the result's type; NULL for none */
    bool isArray;
};

constexpr Method kMethods[] = {
    {"Login", "UserSession", false},
    {"CancelTask", nullptr, false},
    {"RetrieveProperties", "ObjectContent", true},
    {"RetrievePropertiesEx", "RetrieveResult", false},
    {"WaitForUpdatesEx", "UpdateSet", false},
    {"WaitForTask", "TaskInfo", false},
};

/* Complaints about bad values are expected, and not worth printing a million times. */
void Silence(const gchar *, GLogLevelFlags, const gchar *, gpointer) {}

/*
 * GLib drops its table of quarks each time it outgrows it, on purpose. So what is allocated until all
 * types are registered does not count as leaked, from before GLib's own initialisation on.
 */
void IgnoreLeaks(int, char **, char **) {
    __lsan_disable();
}
__attribute__((section(".preinit_array"), used)) void (*gIgnoreLeaks)(int, char **,
                                                                      char **) = IgnoreLeaks;

OrvaneSession *Session() {
    OrvaneSession *session = orvane_session_new();
    session->priv->version = g_strdup("ozy25/6.0");
    session->priv->nameSpace = g_strdup("ozy25");
    session->priv->moMgr = orvane_momgr_new(session);
    return session;
}

xmlNode *Child(xmlNode *node, const char *name) {
    for (node = node->children; node != nullptr; node = node->next) {
        if (node->type == XML_ELEMENT_NODE && xmlStrEqual(node->name, BAD_CAST name))
            return node;
    }
    return nullptr;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    g_log_set_default_handler(Silence, nullptr);
    orvane_lookup_type("Task");
    __lsan_enable();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 1)
        return 0;
    const Method &method = kMethods[data[size - 1] % std::size(kMethods)];
    const std::string text(reinterpret_cast<const char *>(data), size - 1);
    SoapTreePtr tree(OrvaneSoapTree_Parse(text.data(), text.size(), "fuzz", 0));
    xmlNode *body = tree != nullptr ? Child(OrvaneSoapTree_Root(tree.get()), "Body") : nullptr;
    if (body == nullptr)
        return 0;

    const ObjectPtr<OrvaneSession> session(Session());
    GValue value = G_VALUE_INIT;
    const GType type = method.type != nullptr ? orvane_lookup_type(method.type) : G_TYPE_NONE;
    orvane_soap_deserialize(session.get(), method.name, body, type, method.isArray, &value);
    tree.reset(); // nothing that was read may still need it
    if (G_IS_VALUE(&value)) {
        const OrvaneArgument argument{"value", &value};
        const GPtr<char> written(
            OrvaneSoap_Serialize(session.get(), "Task", "task-1", "Echo", &argument, 1, nullptr));
    }
    orvane_value_cond_unset(&value);
    return 0;
}
