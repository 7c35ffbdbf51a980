/*
 * What is on this machine: the port of its own web proxy, tickets handed over in local files.
 *
 *   <ConfigRoot>
 *     <httpsPort>443</httpsPort>      the first of each counts, anything else is passed over
 *     <httpPort>80</httpPort>
 *   </ConfigRoot>
 */
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <libxml/parser.h>

#include "lib/misc/log.h"
#include "lib/misc/panic.h"
#include "lib/misc/secret.h"
#include "ozy/lib/orvane/session/orvaneSessionInt.h"

namespace {

constexpr const char *kProxyVariable = "HALDEN_PROXY_FILEPATH";
constexpr const char *kProxyFile = "/etc/halden/nodehub/proxy.xml";
constexpr gsize kMaxTicketSize = 4096;

bool IsNamed(const xmlNode *node, const char *name) {
    return node->type == XML_ELEMENT_NODE && xmlStrcmp(node->name, BAD_CAST name) == 0;
}

/* The text of the root's first child of that name; NULL if there is none. */
XmlTextPtr ConfigText(const xmlDoc *document, const char *name) {
    const xmlNode *root = xmlDocGetRootElement(document);
    if (root == nullptr || !IsNamed(root, "ConfigRoot"))
        return nullptr;
    for (xmlNode *child = root->children; child != nullptr; child = child->next) {
        if (IsNamed(child, name))
            return XmlTextPtr(xmlNodeGetContent(child));
    }
    return nullptr;
}

char *LocalSoapUrlOzy(bool useHttps) {
    const char *path = secure_getenv(kProxyVariable);
    if (path == nullptr)
        path = kProxyFile;
    const char *scheme = useHttps ? "https" : "http";
    XmlDocPtr document(
        xmlReadFile(path, nullptr, XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    if (!document) {
        Log("%s: Failed to load %s file. Set the env var %s to specify proxy filepath.\n",
            "orvane_session_get_local_soap_url_ozy", path, kProxyVariable);
        return g_strdup_printf("%s://localhost/sdk", scheme);
    }
    const XmlTextPtr port = ConfigText(document.get(), useHttps ? "httpsPort" : "httpPort");
    if (!port)
        return g_strdup_printf("%s://localhost/sdk", scheme);
    return g_strdup_printf("%s://127.0.0.1:%s/sdk", scheme, reinterpret_cast<char *>(port.get()));
}

struct Descriptor {
    int number;
    ~Descriptor() {
        if (number >= 0)
            close(number);
    }
};

} // namespace

char *orvane_session_get_local_soap_url(OrvaneSession *session, gboolean useHttps) {
    g_return_val_if_fail(ORVANE_IS_SESSION(session), nullptr);
    if (orvane_session_target_is_ferry(session))
        NOT_IMPLEMENTED();
    return LocalSoapUrlOzy(useHttps);
}

/* The public names have the transport's values. */
static_assert(int(ORVANE_URL_INVALID) == int(BASICHTTP_URL_INVALID));
static_assert(int(ORVANE_URL_UNENCRYPTED) == int(BASICHTTP_URL_UNENCRYPTED));
static_assert(int(ORVANE_URL_LOOPBACK) == int(BASICHTTP_URL_LOOPBACK));
static_assert(int(ORVANE_URL_ENCRYPTED) == int(BASICHTTP_URL_ENCRYPTED));

OrvaneUrlKind orvane_session_judge_url(const char *url) {
    return static_cast<OrvaneUrlKind>(BasicHttp_JudgeUrl(url));
}

char *OrvaneSessionReadTicket(const char *path) {
    /* non-blocking, so that a pipe in the file's place is refused and not waited for */
    const Descriptor file{open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK)};
    struct stat about;
    if (file.number < 0 || fstat(file.number, &about) != 0 || !S_ISREG(about.st_mode))
        return nullptr;
    if (about.st_uid != 0 && about.st_uid != geteuid()) /* another user could have left it there */
        return nullptr;

    char bytes[kMaxTicketSize + 1];
    gsize size = 0;
    gssize count = 1;
    while (size < sizeof bytes && count > 0) {
        do
            count = read(file.number, bytes + size, sizeof bytes - size);
        while (count < 0 && errno == EINTR);
        if (count > 0)
            size += static_cast<gsize>(count);
    }
    const bool isGood = count == 0 && size <= kMaxTicketSize && memchr(bytes, 0, size) == nullptr;
    char *text = isGood ? g_strndup(bytes, size) : nullptr;
    Secret_Wipe(bytes, sizeof bytes);
    return text;
}
