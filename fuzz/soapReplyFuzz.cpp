/*
 * Replies from anybody: whatever the bytes, reading them ends, and what was read can be written and
 * released. Reading them in pieces yields the same. The last byte, the newline of the recorded replies, picks the
 * method whose reply they are taken for.
 */
#include <cstdint>
#include <cstdlib>
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

/* What a reply reads as, written as an argument; "refused" if it is not read at all. */
std::string Reread(const std::string &text, const Method &method, gsize pieceBytes) {
    SoapTreePtr tree(OrvaneSoapTree_ParsePieces(text.data(), text.size(), "fuzz",
                                                {.maxBytes = 0, .pieceBytes = pieceBytes}));
    xmlNode *body = tree != nullptr ? Child(OrvaneSoapTree_Root(tree.get()), "Body") : nullptr;
    if (body == nullptr)
        return "refused";
    const ObjectPtr<OrvaneSession> session(Session());
    ScopedValue value;
    const GType type = method.type != nullptr ? orvane_lookup_type(method.type) : G_TYPE_NONE;
    OrvaneSoap_ReadBody(session.get(), method.name, tree.get(), body, type, method.isArray,
                        &value.value);
    tree.reset(); // nothing that was read may still need it
    if (!G_IS_VALUE(&value.value))
        return "nothing";
    const OrvaneArgument argument{"value", &value.value};
    const GPtr<char> written(
        OrvaneSoap_Serialize(session.get(), "Task", "task-1", "Echo", &argument, 1, nullptr));
    return written != nullptr ? written.get() : "too deep";
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
    const std::string whole = Reread(text, method, 0);
    for (const gsize pieceBytes : {gsize(64), gsize(1024)}) {
        if (Reread(text, method, pieceBytes) != whole)
            abort();
    }
    return 0;
}
